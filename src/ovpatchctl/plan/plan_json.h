// A plan for scripts.
#ifndef OVPATCH_OVPATCHCTL_PLAN_PLAN_JSON_H
#define OVPATCH_OVPATCHCTL_PLAN_PLAN_JSON_H

#include "ovpatchctl/plan/plan.h"
#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

Json jsonOf(const Plan& plan);

}  // namespace ovpatch::ctl

#endif
