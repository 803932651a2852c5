// How much a run has to do.
#ifndef OVPATCH_OVPATCHCTL_RUN_WORK_COUNT_H
#define OVPATCH_OVPATCHCTL_RUN_WORK_COUNT_H

#include <cstddef>
#include <string>

namespace ovpatch::ctl {

// The files that a start with the opened base (base_directory.h) would be at, as far as can be told: of an
// update the new ones, of a rollback those that the records name. 0 where there is no manifest that can be
// read.
std::size_t countFiles(const std::string& base);

}  // namespace ovpatch::ctl

#endif
