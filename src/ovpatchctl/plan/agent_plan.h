// What a run would find of the patch agent, which is looked at and not loaded.
#ifndef OVPATCH_OVPATCHCTL_PLAN_AGENT_PLAN_H
#define OVPATCH_OVPATCHCTL_PLAN_AGENT_PLAN_H

#include "ovpatchctl/plan/plan.h"

namespace ovpatch::ctl {

// Puts into the plan what there is to tell of the agent `file`, null for none, of a known generation.
void planAgent(const char* file, std::int32_t generation, Plan* plan);

}  // namespace ovpatch::ctl

#endif
