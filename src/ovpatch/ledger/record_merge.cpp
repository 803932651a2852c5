#include "ovpatch/ledger/record_merge.h"

#include <cstring>
#include <new>
#include <utility>

#include "foundation/bounded.h"
#include "ini/ini_names.h"
#include "logging/log.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"
#include "ovpatch/ledger/stored_ledger.h"

namespace ovpatch {

namespace {

constexpr std::size_t SECTION_SIZE = 1024;

bool isSameItem(const BackupItem& left, const BackupItem& right) {
    return left.itemClass == right.itemClass && left.itemType == right.itemType;
}

}  // namespace

RecordMerge::Ledger* RecordMerge::find(const char* path) {
    const std::uint32_t hash = nameHash(path, true);
    for (std::uint32_t k = 0; k < ledgerCount_; ++k) {
        Ledger& ledger = ledgers_[k];
        if (ledger.hash == hash && ledger.document != nullptr && ledger.path.compare(path) == 0)
            return &ledger;
    }
    return nullptr;
}

bool RecordMerge::makeRoom() {
    if (directories_ != nullptr) return true;
    ledgers_.reset(new (std::nothrow) Ledger[run_.itemCount]());
    entered_.reset(new (std::nothrow) Entered[run_.itemCount]());
    directories_.reset(new (std::nothrow) Directory[run_.itemCount]());
    if (ledgers_ == nullptr || entered_ == nullptr) directories_.reset();
    return directories_ != nullptr;
}

RecordMerge::Ledger* RecordMerge::open(const char* path) {
    if (!makeRoom()) return nullptr;
    platform::FileState state = stateOfFile(path);
    // A ledger can have two paths.
    for (std::uint32_t k = 0; k < ledgerCount_; ++k)
        if (mayBeOneFile(ledgers_[k].state, state)) write(&ledgers_[k]);
    state = stateOfFile(path);
    std::unique_ptr<KxIniUtil> document(new (std::nothrow) KxIniUtil(path, LEDGER_COMMENT, false));
    Ledger& ledger = ledgers_[ledgerCount_];
    if (document == nullptr || document->isUnreadable() ||
        phaseIniForBackup(document.get(), &ledger.stored) == 0) {
        ledger.stored = BackupStru{};
        return nullptr;
    }
    ++ledgerCount_;
    ledger.path.assign(path);
    ledger.hash = nameHash(path, true);
    ledger.state = state;
    ledger.document = std::move(document);
    ledger.count = ledger.stored.itemCount;
    return &ledger;
}

// What reading the ledger anew would tell and answer.
bool RecordMerge::tellReading(const Ledger& ledger) const {
    if (!logReaches(READER_LEVEL)) return true;
    BackupStru read;
    if (phaseIniForBackup(ledger.document.get(), &read) == 0) return false;
    freeBackupStru(&read);
    return true;
}

// The first record of the item's class and type, and its number; null, and the number behind the last one,
// where there is none. What has been entered at a number counts, not what stood there.
const BackupItem* RecordMerge::recordOf(std::uint32_t index, const Ledger& ledger,
                                        std::uint32_t* number) const {
    const BackupItem& item = run_.items[index];
    for (std::uint32_t i = index; i-- > 0;) {
        if (entered_[i].ledger != &ledger || !isSameItem(run_.items[i], item)) continue;
        *number = entered_[i].number;
        return &run_.items[i];
    }
    for (*number = 0; *number < ledger.stored.itemCount; ++*number)
        if (isSameItem(ledger.stored.items[*number], item)) return &ledger.stored.items[*number];
    *number = ledger.count;
    return nullptr;
}

bool RecordMerge::merge(std::uint32_t index, std::uint32_t* number) {
    const BackupItem& item = run_.items[index];
    char path[PATH_SIZE];
    if (!ledgerPath(item.destination, path, sizeof path)) return false;
    Ledger* ledger = find(path);
    if (ledger != nullptr ? !tellReading(*ledger) : (ledger = open(path)) == nullptr) return false;

    char section[SECTION_SIZE];
    const BackupItem* replaced = recordOf(index, *ledger, number);
    formatSectionName(*number, section, sizeof section);
    // What a section that no record counted holds is read in front of the record that is added to it.
    const bool isStray = replaced == nullptr && ledger->document->hasSection(section);
    if (replaced != nullptr) {
        ledger->document->deleteSection(section);
    } else {
        char count[PATH_SIZE];
        boundedSnprintf(count, sizeof count, "%u", ++ledger->count);
        ledger->document->setValue("common", "itemcount", count);
    }
    addLedgerRecord(ledger->document.get(), section, item);
    entered_[index] = {ledger, *number, replaced};
    if (isStray || !journal().isKept()) write(ledger);
    return true;
}

const platform::FileState& RecordMerge::directoryOf(std::uint32_t index) {
    Directory& directory = directories_[index];
    const BackupItem& item = run_.items[index];
    char path[PATH_SIZE];
    if (!directory.isKnown &&
        itemBackupDir(item.destination, item.itemClass, item.itemType, path, sizeof path) != 0)
        directory.state = stateOfFile(path);
    directory.isKnown = true;
    return directory.state;
}

// Whether the copies of two items of one class and type lie in one directory, whatever their paths to it are.
// On a host without file numbers the paths have to do.
bool RecordMerge::shareDirectory(std::uint32_t index, std::uint32_t other) {
    if (std::strcmp(run_.items[index].destination, run_.items[other].destination) == 0) return true;
    const platform::FileState& left = directoryOf(index);
    const platform::FileState& right = directoryOf(other);
    if (left.id != 0 && right.id != 0) return left.id == right.id && left.device == right.device;
    const BackupItem& item = run_.items[index];
    char path[PATH_SIZE];
    return itemBackupDir(item.destination, item.itemClass, item.itemType, path, sizeof path) != 0 &&
           sharesBackupDir(run_.items[other], path);
}

// A copy of the older record may have gone in a failed rollback, and a copy of this run may have got its free
// name; that one must stay, be it of this item or of a later one with the same backup directory.
void RecordMerge::removeOlderCopies(std::uint32_t index) {
    const BackupItem& item = run_.items[index];
    char directory[PATH_SIZE];
    if (itemBackupDir(item.destination, item.itemClass, item.itemType, directory, sizeof directory) == 0)
        return;
    TakenNames fresh;
    for (std::uint32_t i = index; i < run_.itemCount; ++i)
        if (isSameItem(run_.items[i], item) && shareDirectory(index, i)) takeCopyNames(run_.items[i], &fresh);
    NameIndex names;
    // The journal looks after those that are gone already.
    removeBackupCopies(*entered_[index].replaced, directory, journal().isOpen() ? nullptr : &names, &fresh);
}

void RecordMerge::write(Ledger* ledger) {
    if (ledger->document == nullptr) return;
    // While an older record stands, what it names stays.
    const bool saved = writeLedger(ledger->document.get(), ledger->path.cStr());
    ledger->document.reset();
    for (std::uint32_t i = 0; saved && i < run_.itemCount; ++i)
        if (entered_[i].ledger == ledger && entered_[i].replaced != nullptr) removeOlderCopies(i);
    freeBackupStru(&ledger->stored);
}

void RecordMerge::write() {
    for (std::uint32_t k = 0; k < ledgerCount_; ++k)
        write(&ledgers_[k]);
}

}  // namespace ovpatch
