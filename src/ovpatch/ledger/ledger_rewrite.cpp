#include "ovpatch/ledger/ledger_rewrite.h"

#include "ovpatch/journal/journal.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/record_removal.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

// The rollback's safety copies, and what is left of the undone update's copies.
void removeCopies(const BackupItem& item, const BackupItem* undone) {
    char directory[PATH_SIZE];
    if (itemBackupDir(item.destination, item.itemClass, item.itemType, directory, sizeof directory) == 0)
        return;
    NameIndex names;
    // This run has made the safety copies; the journal looks after those that are gone all the same.
    removeBackupCopies(item, directory, journal().isOpen() ? nullptr : &names);
    if (undone != nullptr) removeBackupCopies(*undone, directory, &names);
}

}  // namespace

void updateBackupIni(const BackupStru& runLedger, StoredLedgers* storedLedgers) {
    STRU_INFO(6, "updateBackupIni: start.");
    RecordRemoval removal(storedLedgers, MissingAgent::LEFT_OUT, removeCopies);
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i) {
        char path[1024];
        if (ledgerPath(runLedger.items[i].destination, path, sizeof path))
            removal.takeOut(runLedger.items[i], path);
    }
    removal.write();
    STRU_INFO(6, "updateBackupIni: done.");
}

}  // namespace ovpatch
