// Putting the files of a failed run back.
#ifndef OVPATCH_OVPATCH_ROLLBACK_AUTO_ROLLBACK_H
#define OVPATCH_OVPATCH_ROLLBACK_AUTO_ROLLBACK_H

#include "ovpatch/agent/agent_api.h"
#include "ovpatch/ledger/backup_stru.h"

namespace ovpatch {

enum class UndoMode {
    UPDATE = 0,    // added files are deleted, overwritten ones put back
    ROLLBACK = 1,  // all that the run changed stands among the overwritten files
};

// Walks the run ledger forward, item by item, up to the first record that was not reached. Each item gets a
// bracket of the agent with its versions exchanged; the agent is not asked about files. No file operation's
// failure ends the walk. It ends early, with the rest as it is, at an entry that cannot be read, at a backup
// path that does not fit, and where an old agent answers 0 to an item's start and to the end that follows it.
// No ledger file is read or changed, and nothing is reported.
void autoRollback(const PatchAgentApi& agent, const BackupStru& runLedger, UndoMode mode);

}  // namespace ovpatch

#endif
