// What a rollback would do.
#ifndef OVPATCH_OVPATCHCTL_PLAN_ROLLBACK_PLAN_H
#define OVPATCH_OVPATCHCTL_PLAN_ROLLBACK_PLAN_H

#include "ovpatch/manifest/update_stru.h"
#include "ovpatchctl/plan/plan.h"
#include "ovpatchctl/plan/world.h"

namespace ovpatch::ctl {

// Puts into `plan`, whose result is 0, what the items lead to when the agent agrees to everything. It goes on
// behind a failure, so that all of them are told.
void planRollback(const UpdateStru& update, World* world, Plan* plan);

}  // namespace ovpatch::ctl

#endif
