// What a driver owns for its duration.
#ifndef OVPATCH_OVPATCH_RUNNER_DRIVER_RESOURCES_H
#define OVPATCH_OVPATCH_RUNNER_DRIVER_RESOURCES_H

#include <memory>
#include <new>

#include "ovpatch/agent/agent_api.h"
#include "ovpatch/agent/agent_loader.h"
#include "ovpatch/agent/old_agent_staging.h"
#include "ovpatch/manifest/update_stru.h"

namespace ovpatch {

struct DriverResources {
    DriverResources() = default;
    ~DriverResources() { release(); }
    DriverResources(const DriverResources&) = delete;
    DriverResources& operator=(const DriverResources&) = delete;

    UpdateStru update{};
    PatchAgentApi agent{};
    std::unique_ptr<OldAgentStaging> staging;  // old generation only

    // Lays out the files of an old-generation agent; without memory the run goes on without them.
    void stageForOldAgent() {
        staging.reset(new (std::nothrow) OldAgentStaging(update.items[0].destination, update.patchAgentFile));
    }

private:
    // The strings that the agent was given go first, then its library, and last the files that it found on
    // disk.
    void release() {
        freeUpdateStru(&update);
        unloadPatchAgent(&agent);
        staging.reset();
    }
};

}  // namespace ovpatch

#endif
