// Whether single files can be read, saved and replaced, as a run would find out by trying.
#ifndef OVPATCH_OVPATCHCTL_PLAN_FILE_CHECKS_H
#define OVPATCH_OVPATCHCTL_PLAN_FILE_CHECKS_H

#include <optional>
#include <string>

#include "ovpatchctl/plan/world.h"

namespace ovpatch::ctl {

// Why something cannot be done.
struct Refusal {
    const char* kind;  // as in a Finding
    std::string text;
};

// Why a copy of `source` cannot take the place of `target`, or come to stand there.
std::optional<Refusal> refusesCopy(World* world, const std::string& source, const std::string& target);

// Whether two files that can be read hold the same bytes.
bool holdTheSame(const std::string& left, const std::string& right);

}  // namespace ovpatch::ctl

#endif
