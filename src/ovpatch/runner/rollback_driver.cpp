#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/manifest_reader.h"
#include "ovpatch/result_codes.h"
#include "ovpatch/rollback/rollback_transaction.h"
#include "ovpatch/runner/driver_resources.h"
#include "ovpatch/runner/drivers.h"

namespace ovpatch {

namespace {

// Answers RESULT_DONE when the transaction may begin.
std::int32_t bindAgent(DriverResources* own) {
    switch (own->update.patchAgentVersion) {
        case OLD_GENERATION:
            // The old generation is asked whether it wants a rollback by the transaction.
            own->stageForOldAgent();
            UPDATER_INFO(6, "rollback: rollback with old patch agent.");
            loadOldPatchAgent(own->update.patchAgentFile, &own->agent);
            return RESULT_DONE;
        case NEW_GENERATION:
            UPDATER_INFO(6, "rollback: rollback with new patch agent.");
            loadNewPatchAgent(own->update.patchAgentFile, &own->agent);
            UPDATER_INFO(6, "PatchAgent IsRollbackEx with: void");
            if (own->agent.IsRollbackEx() != 0) return RESULT_DONE;
            UPDATER_ERROR(9, "rollback: patch agent refused to rollback.");
            return RESULT_REFUSED;
        default:
            UPDATER_ERROR(6, "rollback: unkown patch agent version number.");
            return RESULT_INVALID;
    }
}

}  // namespace

std::int32_t rollback(KxIniUtil& manifest) {
    UPDATER_INFO(6, "rollback: start.");
    DriverResources own;
    const std::int32_t read = phaseIniForUpdate(manifest, &own.update);
    if (read < 0) {
        UPDATER_ERROR(6, "rollback: phaseIniForUpdate failed.");
        return RESULT_INVALID;
    }
    if (read > 0) {
        UPDATER_ERROR(6, "rollback: ovpatch contains no items.");
        return RESULT_NO_ROLLBACK_ITEMS;
    }
    std::int32_t result = bindAgent(&own);
    if (result == RESULT_DONE) {
        result = rollbackWithPatchAgent(own.agent, own.update);
        if (result != RESULT_DONE) UPDATER_ERROR(6, "rollback: rollbackWithPatchAgent failed.");
    }
    return result;
}

}  // namespace ovpatch
