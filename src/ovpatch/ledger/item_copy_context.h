// What the work on one item needs to know: for the update's callback through `userData` of the FileOpRecord,
// for the rollback of an item as its only argument. One instance serves a whole run and is rewritten for each
// item.
#ifndef OVPATCH_OVPATCH_LEDGER_ITEM_COPY_CONTEXT_H
#define OVPATCH_OVPATCH_LEDGER_ITEM_COPY_CONTEXT_H

#include <cstdint>

#include "ovpatch/ledger/backup_stru.h"
#include "ovpatch/ledger/taken_names.h"
#include "platform/file_state.h"

namespace ovpatch {

class StoredLedgers;
struct PatchAgentApi;

struct ItemCopyContext {
    BackupItem* backupItem;      // the item's record in the run ledger
    const PatchAgentApi* agent;  // the bound agent
    const char* destination;     // the item's, of a rollback; not owned
    std::int32_t itemClass;
    std::int32_t itemType;
    const BackupStru* runLedger;  // the whole of it, of which `backupItem` is a record
    TakenNames* takenNames;       // what is known of the item's backup directory; not owned
    platform::CopySource*
        source;  // an update's: where the file that is about to be copied is opened; not owned
    StoredLedgers* storedLedgers;  // a rollback's: those that it has read; not owned
};

}  // namespace ovpatch

#endif
