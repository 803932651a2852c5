// Entering the changes of a finished update into the ledgers of its destinations.
#ifndef OVPATCH_OVPATCH_LEDGER_LEDGER_MERGE_H
#define OVPATCH_OVPATCH_LEDGER_LEDGER_MERGE_H

#include <cstdint>

#include "ovpatch/ledger/backup_stru.h"

namespace ovpatch {

// With `backup` other than 0 each item's record replaces the older record of the same item, whose backup
// copies are deleted; missing ledgers are created. With `backup` 0 the copies of this run are deleted and so
// is any older record of the item, with its copies: the item has no rollback then. Each ledger file is
// complete at any time. Nothing is reported: a ledger that cannot be read ends the merge (with a backup)
// or is passed over (without), and the log says so. Every record of `runLedger` must have its destination.
void mergeBackupIni(const BackupStru& runLedger, std::int32_t backup);

}  // namespace ovpatch

#endif
