// Adds up what a run takes of each file system.
#ifndef OVPATCH_OVPATCHCTL_PLAN_ROOM_LEDGER_H
#define OVPATCH_OVPATCHCTL_PLAN_ROOM_LEDGER_H

#include <cstdint>
#include <map>
#include <string>

#include "ovpatchctl/plan/plan.h"
#include "ovpatchctl/plan/world.h"
#include "platform/file_system.h"

namespace ovpatch::ctl {

class RoomLedger {
public:
    explicit RoomLedger(World* world) : world_(world) {}

    // A file of so many bytes is made in the directory, which need not be there yet.
    void take(const std::string& directory, std::uint64_t bytes);

    // The file system of the directory; 0 where the host does not tell it.
    std::uint64_t fileSystemOf(const std::string& directory);

    // Puts the sums into the plan, and what is lacking.
    void tell(Plan* plan) const;

private:
    struct Room {
        RoomPlan plan;
        std::uint64_t blockBytes;
    };

    World* world_;
    std::map<std::string, std::uint64_t> systems_;  // by directory
    std::map<std::uint64_t, Room> rooms_;
    std::uint64_t files_ = 0;
};

}  // namespace ovpatch::ctl

#endif
