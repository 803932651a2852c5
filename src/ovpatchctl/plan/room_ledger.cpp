#include "ovpatchctl/plan/room_ledger.h"

#include "fileops/wide_path.h"
#include "ovpatch/result_codes.h"

namespace ovpatch::ctl {

namespace {

// What journal, ledgers and log may take besides, one way of many.
constexpr std::uint64_t FOR_THE_REST = std::uint64_t{1} << 20;
constexpr std::uint64_t FOR_THE_REST_PER_FILE = 1024;

}  // namespace

std::uint64_t RoomLedger::fileSystemOf(const std::string& directory) {
    const auto known = systems_.find(directory);
    if (known != systems_.end()) return known->second;
    const std::string standing = world_->standingDirectory(directory);
    const WidePath wide(standing.c_str());
    platform::FileSystemRoom room = {0, 0, 1};
    if (wide.fits() && platform::roomAt(wide.text(), &room))
        rooms_.emplace(room.fileSystem, Room{{standing, 0, room.freeBytes}, room.blockBytes});
    return systems_[directory] = room.fileSystem;
}

void RoomLedger::take(const std::string& directory, std::uint64_t bytes) {
    const auto found = rooms_.find(fileSystemOf(directory));
    if (found == rooms_.end()) return;
    Room& room = found->second;
    room.plan.needed += (bytes + room.blockBytes - 1) / room.blockBytes * room.blockBytes;
    ++files_;
}

void RoomLedger::tell(Plan* plan) const {
    for (const auto& [system, room] : rooms_) {
        const RoomPlan& at = room.plan;
        plan->rooms.push_back(at);
        const std::string sums = "the files need " + std::to_string(at.needed) + " bytes here, and " +
                                 std::to_string(at.free) + " are free";
        if (at.needed > at.free)
            plan->fail("no-room", RESULT_DISK_ERROR, sums, at.directory);
        else if (at.needed + FOR_THE_REST + files_ * FOR_THE_REST_PER_FILE > at.free)
            plan->remark("little-room", sums + "; journal, ledger and log need room too", at.directory);
    }
}

}  // namespace ovpatch::ctl
