#include "ovpatchctl/plan/record_checks.h"

#include <map>
#include <memory>

#include "ovpatch/ledger/backup_paths.h"
#include "ovpatchctl/files/read_ledger.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

bool isOneVersion(const ItemVersion& left, const ItemVersion& right) {
    return left.number == right.number && left.build == right.build;
}

void checkLedger(const ReadLedger& ledger, const std::string& destination, std::size_t item, World* world,
                 Plan* plan) {
    const auto lost = [&](const char* kind, const std::string& reason) {
        plan->remark(kind, reason + ": the update will not be recorded, and no rollback can undo it",
                     ledger.path().empty() ? destination : ledger.path(), item);
    };
    char root[PATH_SIZE];
    switch (ledger.state()) {
        case ReadLedger::State::NO_PATH:
            return lost("ledger-path", "the path of the ledger is too long");
        case ReadLedger::State::UNREADABLE:
            return lost("ledger-unreadable", "the ledger cannot be read");
        case ReadLedger::State::MISSING:
            if (!backupRoot(destination.c_str(), root, sizeof root)) return;
            if (const char* reason = world->makeDirectory(root)) return lost("ledger-not-made", reason);
            if (const char* reason = world->refusesEntries(root)) return lost("ledger-not-made", reason);
            return;
        case ReadLedger::State::READ:
            if (ledger.isReadOnly()) lost("ledger-read-only", "the ledger is read-only");
    }
}

void checkRecord(const ReadLedger& ledger, std::size_t index, Plan* plan) {
    ItemPlan& item = plan->items[index];
    const BackupItem* record = ledger.find(item.itemClass, item.itemType);
    if (record == nullptr) return;
    item.isRecorded = true;
    item.recordedOrigin = record->originVersion;
    item.recordedResult = record->resultVersion;
    if (!isOneVersion(record->resultVersion, item.resultVersion)) return;
    plan->remark("recorded-already",
                 "version " + versionText(item.itemClass, item.resultVersion) +
                     " is recorded already: a rollback will lead back to it, and no longer to " +
                     versionText(item.itemClass, record->originVersion),
                 "", index);
}

// The second one's record takes the place of the first one's.
void checkTwins(std::size_t index, Plan* plan) {
    const ItemPlan& item = plan->items[index];
    for (std::size_t i = 0; i < index; ++i) {
        const ItemPlan& other = plan->items[i];
        if (other.itemClass != item.itemClass || other.itemType != item.itemType ||
            other.destination != item.destination)
            continue;
        return plan->remark("item-twice", "an earlier item is the same: a rollback will undo this one alone",
                            "", index);
    }
}

}  // namespace

void checkRecords(World* world, Plan* plan) {
    std::map<std::string, std::unique_ptr<ReadLedger>> ledgers;
    for (std::size_t i = 0; i < plan->items.size(); ++i) {
        const std::string destination = plan->items[i].destination;
        std::unique_ptr<ReadLedger>& ledger = ledgers[destination];
        const bool isFirst = ledger == nullptr;
        if (isFirst) ledger = std::make_unique<ReadLedger>(destination.c_str());
        if (isFirst) checkLedger(*ledger, destination, i, world, plan);
        checkRecord(*ledger, i, plan);
        checkTwins(i, plan);
    }
}

}  // namespace ovpatch::ctl
