// The base directory that a command is given.
#ifndef OVPATCH_OVPATCHCTL_FILES_BASE_DIRECTORY_H
#define OVPATCH_OVPATCHCTL_FILES_BASE_DIRECTORY_H

#include <string>

namespace ovpatch::ctl {

// Looks whether `base`, device text, is a directory that a run can have, and takes over its settings
// (ovcfg.ini): the code page, and those of the log. Throws a Failure of EXIT_NO_INPUT if it is none.
void openBase(const std::string& base);

// The path of `name` below the base; empty when a run could not form it.
std::string belowBase(const std::string& base, const char* name);

}  // namespace ovpatch::ctl

#endif
