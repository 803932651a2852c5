#include "ovpatch/ledger/record_removal.h"

#include <new>

#include "logging/log.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/ledger/ledger_reader.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

// Where the reading fails, the reader tells it.
bool RecordRemoval::open(const char* path) {
    write();
    const StoredLedger::Reading reading =
        ledger_->isRead(path) ? StoredLedger::Reading::DONE : ledger_->read(path);
    if (reading == StoredLedger::Reading::UNREADABLE) STRU_ERROR(6, "Merge backup ini faild");
    if (reading == StoredLedger::Reading::FAILED || reading == StoredLedger::Reading::UNREADABLE)
        return false;
    path_.assign(path);
    if (reading == StoredLedger::Reading::DONE)
        takenOutBy_.reset(new (std::nothrow) const BackupItem*[ledger_->ledger().itemCount + 1]());
    if (takenOutBy_ == nullptr) STRU_ERROR(6, "ledger %s cannot be written.", path);
    return takenOutBy_ != nullptr;
}

// What reading the ledger anew would tell.
void RecordRemoval::tellReading() const {
    if (!logReaches(READER_LEVEL)) return;
    KxIniUtil document(nullptr, LEDGER_COMMENT, false);
    composeLedger(ledger_->ledger(), takenOutBy_.get(), agent_, &document);
    BackupStru read;
    if (phaseIniForBackup(&document, &read) != 0) freeBackupStru(&read);
}

void RecordRemoval::takeOut(const BackupItem& item, const char* path) {
    if (takenOutBy_ != nullptr && path_.compare(path) == 0)
        tellReading();
    else if (!open(path))
        return;
    const BackupStru& stored = ledger_->ledger();
    for (std::uint32_t k = 0; k < stored.itemCount; ++k) {
        const BackupItem& record = stored.items[k];
        if (takenOutBy_[k] != nullptr || record.itemClass != item.itemClass ||
            record.itemType != item.itemType)
            continue;
        takenOutBy_[k] = &item;
        isChanged_ = true;
        break;
    }
    if (!journal().isKept()) write();
}

void RecordRemoval::write() {
    if (isChanged_) {
        const BackupStru& stored = ledger_->ledger();
        KxIniUtil document(nullptr, LEDGER_COMMENT, false);
        composeLedger(stored, takenOutBy_.get(), agent_, &document);
        // While the records stand, what they name stays.
        const bool saved = writeLedger(&document, path_.cStr());
        for (std::uint32_t k = 0; k < stored.itemCount; ++k)
            if (takenOutBy_[k] != nullptr) removed_(*takenOutBy_[k], saved ? &stored.items[k] : nullptr);
    }
    if (takenOutBy_ != nullptr) ledger_->forget();
    takenOutBy_.reset();
    isChanged_ = false;
}

}  // namespace ovpatch
