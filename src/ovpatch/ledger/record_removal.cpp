#include "ovpatch/ledger/record_removal.h"

#include <new>
#include <utility>

#include "ini/ini_names.h"
#include "logging/log.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/ledger_reader.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

RecordRemoval::OpenLedger* RecordRemoval::find(const char* path) const {
    const std::uint32_t hash = nameHash(path, true);
    for (OpenLedger* open = first_.get(); open != nullptr; open = open->next.get())
        if (open->hash == hash && open->takenOutBy != nullptr && open->path.compare(path) == 0) return open;
    return nullptr;
}

// Where the reading fails, the reader tells it.
RecordRemoval::OpenLedger* RecordRemoval::open(const char* path) {
    const platform::FileState state = stateOfFile(path);
    // A ledger can have two paths.
    for (OpenLedger* other = first_.get(); other != nullptr; other = other->next.get())
        if (other->takenOutBy != nullptr && mayBeOneFile(other->ledger->state(), state)) write(other);
    StoredLedger::Reading reading = StoredLedger::Reading::NO_MEMORY;
    std::unique_ptr<OpenLedger> open(new (std::nothrow) OpenLedger{
        ByteString(path), nameHash(path, true), ledgers_->at(path), false, nullptr, nullptr});
    if (open != nullptr && open->ledger != nullptr)
        reading = open->ledger->isRead(path) ? StoredLedger::Reading::DONE : open->ledger->read(path);
    if (reading == StoredLedger::Reading::UNREADABLE) STRU_ERROR(6, "Merge backup ini faild");
    if (reading == StoredLedger::Reading::FAILED || reading == StoredLedger::Reading::UNREADABLE)
        return nullptr;
    if (reading == StoredLedger::Reading::DONE)
        open->takenOutBy.reset(new (std::nothrow) const BackupItem*[open->ledger->ledger().itemCount + 1]());
    if (open == nullptr || open->takenOutBy == nullptr) {
        STRU_ERROR(6, "ledger %s cannot be written.", path);
        return nullptr;
    }
    *end_ = std::move(open);
    OpenLedger* last = end_->get();
    end_ = &last->next;
    return last;
}

// What reading the ledger anew would tell.
void RecordRemoval::tellReading(const OpenLedger& open) const {
    if (!logReaches(READER_LEVEL)) return;
    KxIniUtil document(nullptr, LEDGER_COMMENT, false);
    composeLedger(open.ledger->ledger(), open.takenOutBy.get(), agent_, &document);
    BackupStru read;
    if (phaseIniForBackup(&document, &read) != 0) freeBackupStru(&read);
}

void RecordRemoval::takeOut(const BackupItem& item, const char* path) {
    OpenLedger* open = find(path);
    if (open != nullptr)
        tellReading(*open);
    else if ((open = this->open(path)) == nullptr)
        return;
    const BackupStru& stored = open->ledger->ledger();
    for (std::uint32_t k = 0; k < stored.itemCount; ++k) {
        const BackupItem& record = stored.items[k];
        if (open->takenOutBy[k] != nullptr || record.itemClass != item.itemClass ||
            record.itemType != item.itemType)
            continue;
        open->takenOutBy[k] = &item;
        open->isChanged = true;
        break;
    }
    if (!journal().isKept()) write();
}

void RecordRemoval::write(OpenLedger* open) {
    if (open->takenOutBy == nullptr) return;
    if (open->isChanged) {
        const BackupStru& stored = open->ledger->ledger();
        KxIniUtil document(nullptr, LEDGER_COMMENT, false);
        composeLedger(stored, open->takenOutBy.get(), agent_, &document);
        // While the records stand, what they name stays.
        const bool saved = writeLedger(&document, open->path.cStr());
        for (std::uint32_t k = 0; k < stored.itemCount; ++k)
            if (open->takenOutBy[k] != nullptr)
                removed_(*open->takenOutBy[k], saved ? &stored.items[k] : nullptr);
    }
    open->ledger->forget();
    open->takenOutBy.reset();
}

void RecordRemoval::write() {
    for (; first_ != nullptr; first_ = std::move(first_->next))
        write(first_.get());
    end_ = &first_;
}

}  // namespace ovpatch
