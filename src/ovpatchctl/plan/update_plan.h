// What an update would do.
#ifndef OVPATCH_OVPATCHCTL_PLAN_UPDATE_PLAN_H
#define OVPATCH_OVPATCHCTL_PLAN_UPDATE_PLAN_H

#include "ovpatch/manifest/update_stru.h"
#include "ovpatchctl/plan/plan.h"
#include "ovpatchctl/plan/world.h"

namespace ovpatch::ctl {

// Puts into `plan`, whose result is 0, what the items lead to when the agent agrees to everything and leaves
// its paths as they are. It goes on behind a failure, so that all of them are told.
void planUpdate(const UpdateStru& update, World* world, Plan* plan);

// What an old agent finds laid out for it: to be called before either plan.
void planStaging(const UpdateStru& update, World* world);

}  // namespace ovpatch::ctl

#endif
