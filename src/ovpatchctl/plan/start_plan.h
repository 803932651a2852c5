// From a base directory to the plan of a start.
#ifndef OVPATCH_OVPATCHCTL_PLAN_START_PLAN_H
#define OVPATCH_OVPATCHCTL_PLAN_START_PLAN_H

#include <string>

#include "ovpatchctl/plan/plan.h"

namespace ovpatch::ctl {

// What `OvPatch <base>` would do now. `base` is device text. Throws a Failure when there is no such
// directory. To be called once in a process, whose settings it makes those of the base directory.
Plan planStart(const std::string& base);

}  // namespace ovpatch::ctl

#endif
