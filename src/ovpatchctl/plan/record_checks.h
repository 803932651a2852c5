// What the ledgers say to an update.
#ifndef OVPATCH_OVPATCHCTL_PLAN_RECORD_CHECKS_H
#define OVPATCH_OVPATCHCTL_PLAN_RECORD_CHECKS_H

#include "ovpatchctl/plan/plan.h"
#include "ovpatchctl/plan/world.h"

namespace ovpatch::ctl {

// Remarks on the items of an update whose record could not be kept, or would spoil the way back, and notes
// what is recorded of each.
void checkRecords(World* world, Plan* plan);

}  // namespace ovpatch::ctl

#endif
