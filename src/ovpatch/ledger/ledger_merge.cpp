#include "ovpatch/ledger/ledger_merge.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "fileops/file_tests.h"
#include "fileops/make_directory.h"
#include "foundation/bounded.h"
#include "ini/kx_ini_util.h"
#include "logging/log.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"
#include "ovpatch/ledger/record_removal.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

constexpr char COMMON[] = "common";
constexpr std::size_t SECTION_SIZE = 1024;

std::unique_ptr<KxIniUtil> openLedger(const char* path) {
    return std::unique_ptr<KxIniUtil>(new (std::nothrow) KxIniUtil(path, LEDGER_COMMENT, false));
}

void createLedger(const BackupStru& runLedger, const char* path) {
    KxIniUtil ledger(nullptr, LEDGER_COMMENT, false);
    addCommonNumber(&ledger, "itemcount", 0);
    addCommonNumber(&ledger, "patchagent.version", static_cast<std::uint32_t>(runLedger.patchAgentVersion));
    if (runLedger.patchAgentFile != nullptr) ledger.addValue(COMMON, "patchagent", runLedger.patchAgentFile);
    writeLedger(&ledger, path);
}

// Whether the path is known to name nothing.
bool isMissing(const char* path) {
    bool known = true;
    return !pathExists(path, &known) && known;
}

void createMissingLedgers(const BackupStru& runLedger) {
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i) {
        const char* destination = runLedger.items[i].destination;
        char path[PATH_SIZE];
        if (!backupRoot(destination, path, sizeof path)) continue;
        makeDirectory(path, nullptr, nullptr);
        if (ledgerPath(destination, path, sizeof path) && isMissing(path)) createLedger(runLedger, path);
    }
}

void removeCopies(const BackupItem& record, const char* destination, NameIndex* names) {
    char directory[PATH_SIZE];
    if (itemBackupDir(destination, record.itemClass, record.itemType, directory, sizeof directory) == 0)
        return;
    removeBackupCopies(record, directory, names);
}

// A copy of the older record may have gone in a failed rollback, and a copy of this run may have got its free
// name; that one must stay, be it of this item or of a later one with the same backup directory.
void removeOlderCopies(const BackupItem& older, const BackupStru& runLedger, std::uint32_t index) {
    const BackupItem& item = runLedger.items[index];
    char directory[PATH_SIZE];
    if (itemBackupDir(item.destination, item.itemClass, item.itemType, directory, sizeof directory) == 0)
        return;
    TakenNames fresh;
    for (std::uint32_t i = index; i < runLedger.itemCount; ++i) {
        const BackupItem& other = runLedger.items[i];
        const bool same = other.itemClass == item.itemClass && other.itemType == item.itemType;
        if (same && sharesBackupDir(other, directory)) takeCopyNames(other, &fresh);
    }
    NameIndex names;
    removeBackupCopies(older, directory, &names, &fresh);
}

// Puts the records of the run's items into their ledgers. Where a journal holds what leads back, a ledger is
// read once and written once for all items that follow each other in it; without one it is read and written
// for each item.
class RecordMerge {
public:
    explicit RecordMerge(const BackupStru& runLedger) : run_(runLedger) {}
    ~RecordMerge() { write(); }
    RecordMerge(const RecordMerge&) = delete;
    RecordMerge& operator=(const RecordMerge&) = delete;

    // Answers in `number` which number the record of the item got. False when its ledger cannot be read.
    bool merge(std::uint32_t index, std::uint32_t* number);

    // Writes what has not been written yet, and removes the copies of the records that have gone.
    void write();

private:
    bool open(const char* path);
    bool tellReading() const;
    std::uint32_t find(const BackupItem& item) const;

    const BackupStru& run_;
    char path_[PATH_SIZE] = "";
    std::unique_ptr<KxIniUtil> document_;  // the open ledger; null when there is none
    BackupStru stored_ = {};               // what stood in it
    std::uint32_t count_ = 0;              // of its records now
    std::unique_ptr<const BackupItem*[]> records_;
    std::unique_ptr<const BackupItem*[]> replaced_;  // by each of the run's items; null for none
};

bool RecordMerge::open(const char* path) {
    std::unique_ptr<KxIniUtil> document = openLedger(path);
    if (document == nullptr || document->isUnreadable() || phaseIniForBackup(document.get(), &stored_) == 0)
        return false;
    count_ = stored_.itemCount;
    records_.reset(new (std::nothrow) const BackupItem*[std::size_t{count_} + run_.itemCount]);
    replaced_.reset(new (std::nothrow) const BackupItem*[run_.itemCount]());
    if (records_ == nullptr || replaced_ == nullptr) {
        freeBackupStru(&stored_);
        return false;
    }
    for (std::uint32_t k = 0; k < count_; ++k)
        records_[k] = &stored_.items[k];
    boundedStrncpy(path_, path, sizeof path_);
    document_ = std::move(document);
    return true;
}

// What reading the ledger anew would tell and answer.
bool RecordMerge::tellReading() const {
    if (!logReaches(READER_LEVEL)) return true;
    BackupStru read;
    if (phaseIniForBackup(document_.get(), &read) == 0) return false;
    freeBackupStru(&read);
    return true;
}

std::uint32_t RecordMerge::find(const BackupItem& item) const {
    std::uint32_t k = 0;
    while (k < count_ && (records_[k]->itemClass != item.itemClass || records_[k]->itemType != item.itemType))
        ++k;
    return k;
}

bool RecordMerge::merge(std::uint32_t index, std::uint32_t* number) {
    const BackupItem& item = run_.items[index];
    char path[PATH_SIZE];
    if (!ledgerPath(item.destination, path, sizeof path)) return false;
    if (document_ != nullptr && std::strcmp(path, path_) == 0) {
        if (!tellReading()) return false;
    } else {
        write();
        if (!open(path)) return false;
    }
    char section[SECTION_SIZE];
    *number = find(item);
    formatSectionName(*number, section, sizeof section);
    // What a section that no record counted holds is read in front of the record that is added to it.
    const bool isStray = *number == count_ && document_->hasSection(section);
    if (*number < count_) {
        document_->deleteSection(section);
        replaced_[index] = records_[*number];
    } else {
        char count[PATH_SIZE];
        boundedSnprintf(count, sizeof count, "%u", ++count_);
        document_->setValue(COMMON, "itemcount", count);
    }
    records_[*number] = &item;
    addLedgerRecord(document_.get(), section, item);
    if (isStray || !journal().isKept()) write();
    return true;
}

void RecordMerge::write() {
    if (document_ == nullptr) return;
    // While an older record stands, what it names stays.
    const bool saved = writeLedger(document_.get(), path_);
    document_.reset();
    for (std::uint32_t i = 0; saved && i < run_.itemCount; ++i)
        if (replaced_[i] != nullptr) removeOlderCopies(*replaced_[i], run_, i);
    freeBackupStru(&stored_);
}

// The numbers that the run's items received, the last one first. False when the ledger cannot be read.
bool writeTransaction(const char* destination, const std::uint32_t* numbers, std::uint32_t count) {
    char path[PATH_SIZE];
    if (!ledgerPath(destination, path, sizeof path)) return false;
    KxIniUtil ledger(path, LEDGER_COMMENT, false);
    if (ledger.isUnreadable()) return false;
    char text[1024] = "";
    for (std::uint32_t k = 0; k < count; ++k) {
        char longer[PATH_SIZE];
        if (boundedSnprintf(longer, sizeof longer, "%u, %s", numbers[k], text) == 0) {
            STRU_ERROR(6, "mergeBackupIni: transaction of %u items does not fit.", count);
            break;
        }
        boundedStrncpy(text, longer, sizeof text);
    }
    ledger.setValue(COMMON, "transaction", text);
    writeLedger(&ledger, path);
    return true;
}

// False when a ledger cannot be read; it stays as it is.
bool mergeItems(const BackupStru& runLedger, std::uint32_t* numbers) {
    RecordMerge merge(runLedger);
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i) {
        if (!merge.merge(i, &numbers[i])) return false;
    }
    merge.write();
    return runLedger.patchAgentVersion != 0 ||
           writeTransaction(runLedger.items[0].destination, numbers, runLedger.itemCount);
}

void mergeWithBackup(const BackupStru& runLedger) {
    STRU_INFO(6, "mergeBackupIni: backup needed.");
    createMissingLedgers(runLedger);
    auto* numbers = static_cast<std::uint32_t*>(std::calloc(runLedger.itemCount, sizeof(std::uint32_t)));
    if (numbers != nullptr && mergeItems(runLedger, numbers)) {
        STRU_INFO(6, "mergeBackupIni: done.");
    } else {
        STRU_ERROR(6, "Merge backup ini faild");
    }
    std::free(numbers);
}

// The copies of the older record, whose ledger does not name them any more.
void removeRecordCopies(const BackupItem& item, const BackupItem* older) {
    NameIndex names;
    if (older != nullptr) removeCopies(*older, item.destination, &names);
}

void mergeWithoutBackup(const BackupStru& runLedger) {
    STRU_INFO(6, "mergeBackupIni: no need to backup.");
    StoredLedger stored;
    RecordRemoval removal(&stored, MissingAgent::WRITTEN_EMPTY, removeRecordCopies);
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i) {
        const BackupItem& item = runLedger.items[i];
        NameIndex names;
        removeCopies(item, item.destination, &names);
        char path[PATH_SIZE];
        if (ledgerPath(item.destination, path, sizeof path)) removal.takeOut(item, path);
    }
    removal.write();
    STRU_INFO(6, "mergeBackupIni: no backup done.");
}

}  // namespace

void mergeBackupIni(const BackupStru& runLedger, std::int32_t backup) {
    STRU_INFO(6, "mergeBackupIni: start.");
    if (runLedger.itemCount == 0) return;
    if (backup == 0) {
        mergeWithoutBackup(runLedger);
    } else {
        mergeWithBackup(runLedger);
    }
}

}  // namespace ovpatch
