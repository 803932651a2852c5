// What a driver owns for its duration.
#ifndef OVPATCH_OVPATCH_RUNNER_DRIVER_RESOURCES_H
#define OVPATCH_OVPATCH_RUNNER_DRIVER_RESOURCES_H

#include <optional>

#include "ovpatch/agent/agent_api.h"
#include "ovpatch/agent/agent_loader.h"
#include "ovpatch/agent/old_agent_staging.h"
#include "ovpatch/manifest/update_stru.h"

namespace ovpatch {

struct DriverResources {
    DriverResources() = default;
    // The strings that the agent was given go first, then its library, and last, with the members, the files
    // that it found on disk.
    ~DriverResources() {
        freeUpdateStru(&update);
        unloadPatchAgent(&agent);
    }
    DriverResources(const DriverResources&) = delete;
    DriverResources& operator=(const DriverResources&) = delete;

    UpdateStru update{};
    PatchAgentApi agent{};
    std::optional<OldAgentStaging> staging;  // old generation only

    // Lays out the files of an old-generation agent.
    void stageForOldAgent() { staging.emplace(update.items[0].destination, update.patchAgentFile); }
};

}  // namespace ovpatch

#endif
