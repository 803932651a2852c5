#include "ovpatch/ledger/ledger_merge.h"

#include <cstdlib>
#include <cstring>

#include "fileops/file_tests.h"
#include "fileops/make_directory.h"
#include "foundation/bounded.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/record_merge.h"
#include "ovpatch/ledger/record_removal.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

constexpr char COMMON[] = "common";

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
    StoredLedgers stored;
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
