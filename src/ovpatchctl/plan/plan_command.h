// The command `plan`: what a start of OvPatch would do now.
#ifndef OVPATCH_OVPATCHCTL_PLAN_PLAN_COMMAND_H
#define OVPATCH_OVPATCHCTL_PLAN_PLAN_COMMAND_H

#include <string>

#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

struct PlanOptions {
    std::string base;  // the base directory, device text
};

// Looks, and changes nothing. Answers 0 nothing to remark, 1 remarks, 2 the run would fail.
int planCommand(const PlanOptions& options, Report& report);

}  // namespace ovpatch::ctl

#endif
