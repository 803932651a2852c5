// A plan for people.
#ifndef OVPATCH_OVPATCHCTL_PLAN_PLAN_TEXT_H
#define OVPATCH_OVPATCHCTL_PLAN_PLAN_TEXT_H

#include "ovpatchctl/plan/plan.h"
#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

void tell(const Plan& plan, Report& report);

}  // namespace ovpatch::ctl

#endif
