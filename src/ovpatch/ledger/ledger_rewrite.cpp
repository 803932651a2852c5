#include "ovpatch/ledger/ledger_rewrite.h"

#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

bool readLedger(const char* path, BackupStru* stored) {
    KxIniUtil ledger(path, LEDGER_COMMENT, false);
    return phaseIniForBackup(&ledger, stored) != 0;
}

// The rollback's safety copies, and what is left of the undone update's copies.
void removeCopies(const BackupItem& item, const BackupItem* undone) {
    char directory[PATH_SIZE];
    if (itemBackupDir(item.destination, item.itemClass, item.itemType, directory, sizeof directory) == 0)
        return;
    NameIndex names;
    removeBackupCopies(item, directory, &names);
    if (undone != nullptr) removeBackupCopies(*undone, directory, &names);
}

void takeOut(const BackupItem& item) {
    char path[1024];
    BackupStru stored;
    if (!ledgerPath(item.destination, path, sizeof path) || !readLedger(path, &stored)) return;
    const BackupItem* undone = findBackupItem(stored, item.itemClass, item.itemType);
    if (undone != nullptr) {
        // While the record stands, what it names stays.
        const bool saved = saveLedgerWithout(stored, static_cast<std::uint32_t>(undone - stored.items),
                                             MissingAgent::LEFT_OUT, path);
        removeCopies(item, saved ? undone : nullptr);
    }
    freeBackupStru(&stored);
}

}  // namespace

void updateBackupIni(const BackupStru& runLedger) {
    STRU_INFO(6, "updateBackupIni: start.");
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i)
        takeOut(runLedger.items[i]);
    STRU_INFO(6, "updateBackupIni: done.");
}

}  // namespace ovpatch
