#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/manifest_reader.h"
#include "ovpatch/result_codes.h"
#include "ovpatch/runner/driver_resources.h"
#include "ovpatch/runner/drivers.h"
#include "ovpatch/update/update_transaction.h"

namespace ovpatch {

namespace {

// False when the manifest names no known generation.
bool bindAgent(DriverResources* own) {
    switch (own->update.patchAgentVersion) {
        case OLD_GENERATION:
            UPDATER_INFO(6, "update: update with old patch agent.");
            own->stageForOldAgent();
            loadOldPatchAgent(own->update.patchAgentFile, &own->agent);
            return true;
        case NEW_GENERATION:
            UPDATER_INFO(6, "update: update with new patch agent.");
            loadNewPatchAgent(own->update.patchAgentFile, &own->agent);
            return true;
        default:
            UPDATER_ERROR(6, "update: unknown patch agent version number.");
            return false;
    }
}

}  // namespace

std::int32_t update(KxIniUtil& manifest) {
    UPDATER_INFO(6, "update: start.");
    DriverResources own;
    const std::int32_t read = phaseIniForUpdate(manifest, &own.update);
    if (read < 0) {
        UPDATER_ERROR(6, "update: phaseIniForUpdate failed.");
        return RESULT_INVALID;
    }
    if (read > 0) {
        UPDATER_INFO(6, "update: ovpatch ini contains no items.");
        return RESULT_NO_UPDATE_ITEMS;
    }
    std::int32_t result = RESULT_INVALID;
    if (bindAgent(&own)) {
        result = updateWithPatchAgent(own.agent, own.update);
        if (result != RESULT_DONE) UPDATER_ERROR(6, "update: updateWithPatchAgent failed.");
    }
    return result;
}

}  // namespace ovpatch
