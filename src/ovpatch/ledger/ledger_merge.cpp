#include "ovpatch/ledger/ledger_merge.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "fileops/file_tests.h"
#include "fileops/make_directory.h"
#include "foundation/bounded.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"
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
        if (sharesBackupDir(runLedger.items[i], directory)) takeCopyNames(runLedger.items[i], &fresh);
    }
    NameIndex names;
    removeBackupCopies(older, directory, &names, &fresh);
}

// Puts the item's record into its ledger and answers in `number` which number it got. False when the ledger
// cannot be read.
bool mergeItem(const BackupStru& runLedger, std::uint32_t index, std::uint32_t* number) {
    const BackupItem& item = runLedger.items[index];
    char path[PATH_SIZE];
    if (!ledgerPath(item.destination, path, sizeof path)) return false;
    const std::unique_ptr<KxIniUtil> ledger = openLedger(path);
    BackupStru stored;
    if (ledger == nullptr || ledger->isUnreadable() || phaseIniForBackup(ledger.get(), &stored) == 0)
        return false;

    char section[SECTION_SIZE];
    const BackupItem* older = findBackupItem(stored, item.itemClass, item.itemType);
    if (older != nullptr) {
        *number = static_cast<std::uint32_t>(older - stored.items);
        formatSectionName(*number, section, sizeof section);
        ledger->deleteSection(section);
    } else {
        *number = stored.itemCount;
        formatSectionName(*number, section, sizeof section);
        char count[PATH_SIZE];
        boundedSnprintf(count, sizeof count, "%u", stored.itemCount + 1);
        ledger->setValue(COMMON, "itemcount", count);
    }
    addLedgerRecord(ledger.get(), section, item);
    // While the older record stands, what it names stays.
    if (writeLedger(ledger.get(), path) && older != nullptr) removeOlderCopies(*older, runLedger, index);
    freeBackupStru(&stored);
    return true;
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
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i) {
        if (!mergeItem(runLedger, i, &numbers[i])) return false;
    }
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

void dropItem(const BackupItem& item) {
    NameIndex names;
    removeCopies(item, item.destination, &names);
    char path[PATH_SIZE];
    if (!ledgerPath(item.destination, path, sizeof path)) return;
    BackupStru stored;
    {
        const std::unique_ptr<KxIniUtil> ledger = openLedger(path);
        if (ledger == nullptr || phaseIniForBackup(ledger.get(), &stored) == 0) return;
    }
    const BackupItem* older = findBackupItem(stored, item.itemClass, item.itemType);
    if (older != nullptr) {
        const auto index = static_cast<std::uint32_t>(older - stored.items);
        // While the older record stands, what it names stays.
        if (saveLedgerWithout(stored, index, MissingAgent::WRITTEN_EMPTY, path)) {
            removeCopies(*older, item.destination, &names);
        }
    }
    freeBackupStru(&stored);
}

void mergeWithoutBackup(const BackupStru& runLedger) {
    STRU_INFO(6, "mergeBackupIni: no need to backup.");
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i)
        dropItem(runLedger.items[i]);
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
