#include "ovpatchctl/plan/update_plan.h"

#include "fileops/copy.h"
#include "fileops/dir_listing.h"
#include "fileops/paths.h"
#include "foundation/patch_session.h"
#include "ovpatch/agent/agent_loader.h"
#include "ovpatch/agent/class_paths.h"
#include "ovpatch/agent/item_bracket.h"
#include "ovpatch/agent/old_agent_staging.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/result_codes.h"
#include "ovpatchctl/plan/backup_names.h"
#include "ovpatchctl/plan/file_checks.h"
#include "ovpatchctl/plan/record_checks.h"
#include "ovpatchctl/plan/room_ledger.h"
#include "platform/file_state.h"

namespace ovpatch::ctl {

namespace {

constexpr std::size_t MOST_FAILURES = 200;  // that are looked for
constexpr char STAGING_AREA[] = "OVSrc.tmp";

// One update, item by item.
class UpdatePlanner {
public:
    UpdatePlanner(const UpdateStru& update, World* world, Plan* plan)
        : update_(update), world_(world), plan_(plan), names_(world), room_(world) {}

    void planAll();

private:
    bool isOld() const { return update_.patchAgentVersion == OLD_GENERATION; }
    ItemPlan& current() { return plan_->items[index_]; }
    void fail(const char* kind, std::int32_t result, const std::string& text, const std::string& path);
    void planItem(const UpdateItem& item);
    bool chooseTarget(const UpdateItem& item, std::string* target);
    void planDirectory(const std::string& source, const std::string& target);
    void planFile(const std::string& source, const std::string& target);
    std::optional<Refusal> refuses(const std::string& source, const std::string& target, Stand stands);
    void stageForOldAgent(const std::string& source);
    void noteFile(const std::string& source, const std::string& target, Stand stands);
    void takeRoom(const std::string& source, const std::string& target, bool isReplaced);

    const UpdateStru& update_;
    World* world_;
    Plan* plan_;
    BackupNames names_;
    RoomLedger room_;
    ClassPaths classPaths_{};
    std::size_t index_ = 0;
    std::size_t failures_ = 0;
};

void UpdatePlanner::fail(const char* kind, std::int32_t result, const std::string& text,
                         const std::string& path) {
    ++failures_;
    plan_->fail(kind, result, text, path, index_);
}

// False when the copy could not begin.
bool UpdatePlanner::chooseTarget(const UpdateItem& item, std::string* target) {
    ByteString path(isOld() ? classPath(classPaths_, item.itemClass) : item.destination);
    normalizeSlashes(path);
    *target = path.cStr();
    if (path.length() == 0) {
        fail("destination", RESULT_INVALID, "the item has no destination", "");
    } else if (endsWithSeparator(path.cStr())) {
        const char* reason = world_->makeDirectory(*target);
        if (reason == nullptr) return true;
        fail("destination", RESULT_DISK_ERROR, reason, *target);
    } else if (world_->at(*target) == Stand::DIRECTORY) {
        *target += '\\';
        return true;
    } else if (world_->at(*target) == Stand::UNKNOWN) {
        fail("destination", RESULT_DISK_ERROR, "the destination cannot be looked at", *target);
    } else {
        fail("destination", RESULT_INVALID, "the destination is no directory that is there", *target);
    }
    return false;
}

void UpdatePlanner::planItem(const UpdateItem& item) {
    ItemPlan& plan = plan_->items.emplace_back();
    plan.itemClass = item.itemClass;
    plan.itemType = item.itemType;
    plan.originVersion = item.originVersion;
    plan.resultVersion = item.resultVersion;
    plan.destination = item.destination;
    char source[PATH_SIZE];
    const std::size_t length =
        itemSourceDir(update_.orvellePath, item.itemClass, item.itemType, source, sizeof source);
    if (length == 0 || length + 1 >= sizeof source || plan.destination.size() >= PATH_SIZE)
        return fail("path-too-long", RESULT_INVALID, "the item's path is too long", "");
    if (isOld() && classBracket(item.itemClass) == nullptr)
        return fail("class", RESULT_REFUSED, "an agent of the old generation knows no such class", "");
    std::string target;
    names_.enter(plan.destination, item.itemClass, item.itemType);
    if (!chooseTarget(item, &target)) return;
    const std::size_t failed = failures_;
    planDirectory(source, target);
    if (current().files.empty() && failures_ == failed)
        plan_->remark("no-files", "the item has no files", source, index_);
}

// Both end in a separator, and `target` stands there by then.
void UpdatePlanner::planDirectory(const std::string& source, const std::string& target) {
    DirListing listing(source.c_str());
    if (!listing.isComplete())
        return fail("source-unreadable", RESULT_DISK_ERROR, "the directory cannot be read", source);
    while (listing.hasNext() && failures_ < MOST_FAILURES) {
        const std::string entry = listing.nextPath().cStr();
        if (!listing.lastIsDirectory()) {
            planFile(entry, target + baseName(entry.c_str()).cStr());
            continue;
        }
        const std::string directory = entry + '\\';
        const std::string made = target + lastComponent(directory.c_str()).cStr();
        const char* reason = world_->makeDirectory(made);
        if (reason == nullptr)
            planDirectory(directory, made);
        else
            fail("directory", RESULT_DISK_ERROR, reason, made);
    }
}

// An agent of the old generation finds the new file under its own name.
void UpdatePlanner::stageForOldAgent(const std::string& source) {
    char directory[PATH_SIZE];
    char staged[PATH_SIZE];
    const ByteString name = baseName(source.c_str());
    if (joinPath(directory, sizeof directory, current().destination.c_str(), STAGING_AREA) != 0 ||
        joinPath(staged, sizeof staged, directory, name.cStr()) != 0 ||
        world_->makeDirectory(directory) != nullptr)
        return;
    if (!refusesCopy(world_, source, staged)) world_->copyFile(source, staged);
}

// In the order in which a run finds out.
std::optional<Refusal> UpdatePlanner::refuses(const std::string& source, const std::string& target,
                                              Stand stands) {
    if (stands == Stand::UNKNOWN) return Refusal{"unknown", "what stands there cannot be looked at"};
    if (stands == Stand::DIRECTORY) return Refusal{"in-the-way", "a directory stands in its place"};
    if (target.size() >= PATH_SIZE) return Refusal{"path-too-long", "the path is too long"};
    if (!ledgerCanHold(target.c_str())) return Refusal{"name", "a ledger cannot hold this path"};
    if (isOld()) stageForOldAgent(source);
    if (stands == Stand::FILE) {
        if (const char* reason = names_.takeName())
            return Refusal{"copy", std::string("it cannot be saved: ") + reason};
    }
    return refusesCopy(world_, source, target);
}

void UpdatePlanner::takeRoom(const std::string& source, const std::string& target, bool isReplaced) {
    const std::string directory = directoryPart(target.c_str()).cStr();
    const platform::FileState old = isReplaced ? stateOfFile(target.c_str()) : platform::FileState();
    room_.take(directory, stateOfFile(source.c_str()).size);
    // Where the copy is a second name of the file, or the file is written in place, no more than this is
    // taken.
    const bool isOneSystem = room_.fileSystemOf(directory) == room_.fileSystemOf(names_.directory());
    const bool isPlain = old.names <= 1 && !old.isLink;
    if (isReplaced && !(isOneSystem && isPlain)) room_.take(names_.directory(), old.size);
}

void UpdatePlanner::noteFile(const std::string& source, const std::string& target, Stand stands) {
    const bool isReplaced = stands == Stand::FILE;
    const bool isSame = isReplaced && world_->isUntouched(target) && holdTheSame(source, target);
    current().files.push_back({isSame ? Act::SAME : isReplaced ? Act::REPLACED : Act::ADDED, target});
    takeRoom(source, target, isReplaced && world_->isUntouched(target));
    world_->copyFile(source, target);
    if (isReplaced && target.find(',') != std::string::npos)
        plan_->remark("comma", "a rollback will not find a file with a comma in its path", target, index_);
    if (stands == Stand::NOT_READABLE)
        plan_->remark("not-saved", "the file cannot be read: it is replaced and not saved", target, index_);
    if (world_->isReadOnly(source))
        plan_->remark("read-only-source", "the new file is read-only: no undo and no rollback can replace it",
                      target, index_);
}

void UpdatePlanner::planFile(const std::string& source, const std::string& target) {
    const Stand stands = world_->at(target);
    if (const std::optional<Refusal> refusal = refuses(source, target, stands)) {
        current().files.push_back({Act::FAILING, target});
        return fail(refusal->kind, RESULT_DISK_ERROR, refusal->text, target);
    }
    noteFile(source, target, stands);
}

void UpdatePlanner::planAll() {
    PatchAgentApi agreeing{};
    loadOldPatchAgent(nullptr, &agreeing);
    if (isOld()) askClassPaths(agreeing, update_, "plan", &classPaths_);
    for (index_ = 0; index_ < update_.itemCount && failures_ < MOST_FAILURES; ++index_)
        planItem(update_.items[index_]);
    if (failures_ >= MOST_FAILURES)
        plan_->remark("and-more", "there may be more that fails: the search ends here");
    if (update_.backup != 0) checkRecords(world_, plan_);
    room_.tell(plan_);
}

}  // namespace

void planUpdate(const UpdateStru& update, World* world, Plan* plan) {
    UpdatePlanner(update, world, plan).planAll();
}

void planStaging(const UpdateStru& update, World* world) {
    char area[OVPATCH_PATH_SIZE];
    char file[OVPATCH_PATH_SIZE];
    const char* destination = update.items[0].destination;
    if (joinPath(area, sizeof area, destination, "OVSrc.tmp\\") != 0 ||
        joinPath(file, sizeof file, area, "KxuPatch.ini") != 0)
        return;
    if (world->makeDirectory(area) == nullptr) world->makeFile(file);
    char own[OVPATCH_PATH_SIZE];
    if (update.patchAgentFile == nullptr || !agentIniPath(update.patchAgentFile, own)) return;
    for (const char* directory : {destination, static_cast<const char*>(patchSession().baseDirectory)}) {
        if (joinPath(file, sizeof file, directory, "PatchDll.ini") == 0 && !refusesCopy(world, own, file))
            world->copyFile(own, file);
    }
}

}  // namespace ovpatch::ctl
