// The transaction of an update.
#ifndef OVPATCH_OVPATCH_UPDATE_UPDATE_TRANSACTION_H
#define OVPATCH_OVPATCH_UPDATE_UPDATE_TRANSACTION_H

#include <cstdint>

#include "ovpatch/agent/agent_api.h"
#include "ovpatch/manifest/update_stru.h"

namespace ovpatch {

// Copies the files of all items over their destinations, in manifest order, and enters what it changed into
// the ledgers when all succeeded. A failure puts back what this run has changed and leaves the ledgers as
// they were. Answers a result code (ovpatch/result_codes.h).
std::int32_t updateWithPatchAgent(const PatchAgentApi& agent, const UpdateStru& update);

}  // namespace ovpatch

#endif
