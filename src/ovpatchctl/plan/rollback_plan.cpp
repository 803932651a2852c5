#include "ovpatchctl/plan/rollback_plan.h"

#include <memory>

#include "fileops/paths.h"
#include "foundation/tokenizer.h"
#include "ovpatch/agent/agent_api.h"
#include "ovpatch/agent/item_bracket.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/result_codes.h"
#include "ovpatchctl/files/read_ledger.h"
#include "ovpatchctl/plan/backup_names.h"
#include "ovpatchctl/plan/file_checks.h"
#include "ovpatchctl/plan/room_ledger.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

// One rollback, item by item.
class RollbackPlanner {
public:
    RollbackPlanner(const UpdateStru& update, World* world, Plan* plan)
        : update_(update), world_(world), plan_(plan), names_(world), room_(world) {}

    void planAll();

private:
    ItemPlan& current() { return plan_->items[index_]; }
    void fail(const char* kind, std::int32_t result, const std::string& text, const std::string& path);
    void keep(const char* kind, const char* text, const std::string& path);
    void planItem(const UpdateItem& item);
    void planRecord(const BackupItem& record);
    bool saveState(const std::string& path);
    void planAdded(const std::string& path);
    void planWritten(const char* entry, bool hasCopy);
    bool copyStands(const char* entry);

    const UpdateStru& update_;
    World* world_;
    Plan* plan_;
    BackupNames names_;
    RoomLedger room_;
    std::unique_ptr<ReadLedger> ledger_;  // that of the last item
    std::string ledgerOf_;                // the last item's destination
    std::size_t index_ = 0;
};

void RollbackPlanner::fail(const char* kind, std::int32_t result, const std::string& text,
                           const std::string& path) {
    plan_->fail(kind, result, text, path, index_);
}

void RollbackPlanner::keep(const char* kind, const char* text, const std::string& path) {
    current().files.push_back({Act::KEPT, path});
    plan_->remark(kind, text, path, index_);
}

// Each file's state is saved, be there anything to save or not. False when that fails, which ends the run.
bool RollbackPlanner::saveState(const std::string& path) {
    const char* reason = names_.takeName();
    const Stand stands = world_->at(path);
    if (path.size() >= PATH_SIZE) reason = "its path is too long";
    if (stands == Stand::UNKNOWN || stands == Stand::NOT_READABLE) {
        // A link to nothing counts as gone.
        const platform::FileState state = stateOfFile(path.c_str());
        if (stands == Stand::UNKNOWN || !state.isLink || state.isFile) reason = "it cannot be read";
    }
    if (reason == nullptr) {
        if (stands == Stand::FILE && world_->isUntouched(path))
            room_.take(names_.directory(), stateOfFile(path.c_str()).size);
        return true;
    }
    current().files.push_back({Act::FAILING, path});
    fail("copy", RESULT_DISK_ERROR, std::string("the file as it is cannot be saved: ") + reason, path);
    return false;
}

void RollbackPlanner::planAdded(const std::string& path) {
    if (!saveState(path)) return;
    const Stand stands = world_->at(path);
    if (stands == Stand::NOTHING) {
        keep("gone", "the update had added the file, and it is gone already", path);
    } else if (stands == Stand::DIRECTORY) {
        keep("in-the-way", "a directory stands in the place of the file; it goes if it is empty", path);
    } else if (world_->isReadOnly(path)) {
        keep("read-only", "the file is read-only and stays", path);
    } else if (const char* reason = world_->refusesEntries(directoryPart(path.c_str()).cStr())) {
        keep("not-writable", reason, path);
    } else {
        current().files.push_back({Act::REMOVED, path});
        world_->remove(path);
    }
}

void RollbackPlanner::planWritten(const char* entry, bool hasCopy) {
    const std::string path = tokenAt(splitString(entry, ','), 1).cStr();
    char copy[PATH_SIZE];
    if (!backupCopyPath(names_.directory().c_str(), backupCopyName(entry).cStr(), copy, sizeof copy)) {
        current().files.push_back({Act::FAILING, path});
        return fail("path-too-long", RESULT_DISK_ERROR, "the path of the copy is too long", path);
    }
    if (!saveState(path)) return;
    if (splitString(entry, ',').stringCount() > 2)
        plan_->remark("comma", "the ledger's entry has a comma in its path: its front part alone is taken",
                      path, index_);
    if (!hasCopy) return keep("copy-missing", "its copy is missing: the file stays as it is", path);
    if (world_->isDirectory(path))
        return keep("in-the-way",
                    "a directory stands in the place of the file; its copy comes to lie in there", path);
    std::optional<Refusal> refusal = refusesCopy(world_, copy, path);
    if (refusal && world_->at(directoryPart(path.c_str()).cStr()) == Stand::NOTHING &&
        world_->makeDirectory(directoryPart(path.c_str()).cStr()) == nullptr)
        refusal = refusesCopy(world_, copy, path);
    if (refusal)
        return keep(refusal->kind, "the file cannot be put back, and its copy goes all the same", path);
    current().files.push_back({Act::RESTORED, path});
    world_->copyFile(copy, path);
    world_->remove(copy);
}

bool RollbackPlanner::copyStands(const char* entry) {
    const ByteString name = backupCopyName(entry);
    char copy[PATH_SIZE];
    return isBackupCopyName(name.cStr()) &&
           backupCopyPath(names_.directory().c_str(), name.cStr(), copy, sizeof copy) &&
           world_->at(copy) != Stand::NOTHING;
}

void RollbackPlanner::planRecord(const BackupItem& record) {
    // Which copies there are is settled before the first safety copy is made.
    std::vector<bool> copies;
    for (std::uint32_t k = 0; k < record.writtenCount; ++k)
        copies.push_back(copyStands(record.writtenFiles[k]));
    names_.keep(record);
    for (std::uint32_t k = 0; k < record.addedCount; ++k)
        planAdded(record.addedFiles[k]);
    for (std::uint32_t k = 0; k < record.writtenCount; ++k)
        planWritten(record.writtenFiles[k], copies[k]);
}

void RollbackPlanner::planItem(const UpdateItem& item) {
    ItemPlan& plan = plan_->items.emplace_back();
    plan.itemClass = item.itemClass;
    plan.itemType = item.itemType;
    plan.originVersion = item.originVersion;
    plan.resultVersion = item.resultVersion;
    plan.destination = item.destination;
    if (update_.patchAgentVersion == OLD_GENERATION && classBracket(item.itemClass) == nullptr)
        return fail("class", RESULT_REFUSED, "an agent of the old generation knows no such class", "");
    if (ledger_ == nullptr || ledgerOf_ != plan.destination)
        ledger_ = std::make_unique<ReadLedger>(item.destination);
    ledgerOf_ = plan.destination;
    const ReadLedger& ledger = *ledger_;
    if (ledger.state() == ReadLedger::State::NO_PATH)
        return fail("path-too-long", RESULT_INVALID, "the path of the ledger is too long", plan.destination);
    if (ledger.state() == ReadLedger::State::MISSING)
        return fail("ledger-missing", RESULT_DISK_ERROR, "there is no ledger", ledger.path());
    if (ledger.state() == ReadLedger::State::UNREADABLE)
        return fail("ledger-unreadable", RESULT_DISK_ERROR, "the ledger cannot be read", ledger.path());
    const BackupItem* record = ledger.find(item.itemClass, item.itemType);
    if (record == nullptr)
        return fail("not-recorded", RESULT_DISK_ERROR, "the ledger has no record of the item", ledger.path());
    if (!names_.enter(plan.destination, item.itemClass, item.itemType))
        return fail("path-too-long", RESULT_INVALID, "the path of the copies is too long", plan.destination);
    plan.isRecorded = true;
    plan.recordedOrigin = record->originVersion;
    plan.recordedResult = record->resultVersion;
    if (record->resultVersion.number != item.resultVersion.number ||
        record->resultVersion.build != item.resultVersion.build)
        plan_->remark("other-version",
                      "the ledger records version " + versionText(item.itemClass, record->resultVersion) +
                          ", the manifest names " + versionText(item.itemClass, item.resultVersion),
                      ledger.path(), index_);
    if (ledger.isReadOnly())
        plan_->remark("ledger-read-only", "the ledger is read-only: it will name the item still",
                      ledger.path(), index_);
    planRecord(*record);
}

void RollbackPlanner::planAll() {
    for (index_ = 0; index_ < update_.itemCount; ++index_)
        planItem(update_.items[index_]);
    room_.tell(plan_);
}

}  // namespace

void planRollback(const UpdateStru& update, World* world, Plan* plan) {
    RollbackPlanner(update, world, plan).planAll();
}

}  // namespace ovpatch::ctl
