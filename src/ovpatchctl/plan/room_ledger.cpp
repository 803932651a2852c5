#include "ovpatchctl/plan/room_ledger.h"

#include "fileops/wide_path.h"
#include "ovpatch/result_codes.h"

namespace ovpatch::ctl {

std::uint64_t RoomLedger::fileSystemOf(const std::string& directory) {
    const auto known = systems_.find(directory);
    if (known != systems_.end()) return known->second;
    const std::string standing = world_->standingDirectory(directory);
    const WidePath wide(standing.c_str());
    platform::FileSystemRoom room = {0, 0};
    if (wide.fits() && platform::roomAt(wide.text(), &room))
        rooms_.emplace(room.fileSystem, RoomPlan{standing, 0, room.freeBytes});
    return systems_[directory] = room.fileSystem;
}

void RoomLedger::take(const std::string& directory, std::uint64_t bytes) {
    const auto room = rooms_.find(fileSystemOf(directory));
    if (room != rooms_.end()) room->second.needed += bytes;
}

void RoomLedger::tell(Plan* plan) const {
    for (const auto& [system, room] : rooms_) {
        plan->rooms.push_back(room);
        if (room.needed > room.free)
            plan->fail("no-room", RESULT_DISK_ERROR,
                       "the run needs " + std::to_string(room.needed) + " bytes here, and " +
                           std::to_string(room.free) + " are free",
                       room.directory);
    }
}

}  // namespace ovpatch::ctl
