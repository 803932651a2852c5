// Taking rolled-back items out of the ledgers of their destinations.
#ifndef OVPATCH_OVPATCH_LEDGER_LEDGER_REWRITE_H
#define OVPATCH_OVPATCH_LEDGER_LEDGER_REWRITE_H

#include "ovpatch/ledger/backup_stru.h"
#include "ovpatch/ledger/stored_ledger.h"

namespace ovpatch {

// For each record of the run ledger of a finished rollback: deletes the rollback's safety copies and what is
// left of the undone update's copies, and writes the ledger anew without the item; those behind it move up by
// one number. A ledger that cannot be read, or does not hold the item, stays as it is. Nothing is reported.
// `storedLedgers` are those that the rollback has read; they are of no use afterwards.
void updateBackupIni(const BackupStru& runLedger, StoredLedgers* storedLedgers);

}  // namespace ovpatch

#endif
