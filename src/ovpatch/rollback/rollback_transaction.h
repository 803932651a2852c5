// The transaction of a requested rollback.
#ifndef OVPATCH_OVPATCH_ROLLBACK_ROLLBACK_TRANSACTION_H
#define OVPATCH_OVPATCH_ROLLBACK_ROLLBACK_TRANSACTION_H

#include <cstdint>

#include "ovpatch/agent/agent_api.h"
#include "ovpatch/manifest/update_stru.h"

namespace ovpatch {

// Undoes the manifest's items from the ledgers under their destinations, in manifest order, and rewrites the
// ledgers when all succeeded. A failure puts back what this run has changed and leaves the ledgers as they
// were. Answers a result code (ovpatch/result_codes.h).
std::int32_t rollbackWithPatchAgent(const PatchAgentApi& agent, const UpdateStru& update);

}  // namespace ovpatch

#endif
