// A ledger in memory: per item, the files that an update added and the files that it overwrote.
//
// Two kinds exist side by side. The one filled during a run has one record per manifest item, all zero until
// the item is reached; it is called the run ledger. The one read from a ledger file mirrors that file; it is
// called the stored ledger. Records and strings are malloc blocks owned by the structure.
#ifndef OVPATCH_OVPATCH_LEDGER_BACKUP_STRU_H
#define OVPATCH_OVPATCH_LEDGER_BACKUP_STRU_H

#include <cstdint>

#include "ovpatch/manifest/update_stru.h"
#include "ovpatch/patch_agent.h"

namespace ovpatch {

// One item. A list has `count` entries, none of them null, in `capacity` slots; an empty list may have no
// array.
struct BackupItem {
    std::int32_t itemClass;
    std::int32_t itemType;
    ItemVersion originVersion;
    ItemVersion resultVersion;
    std::uint32_t addedCount;
    std::uint32_t addedCapacity;
    char** addedFiles;  // full paths
    std::uint32_t writtenCount;
    std::uint32_t writtenCapacity;
    char** writtenFiles;  // "<name of the backup copy>, <full path>"
    char* destination;    // null in a record that was read from a file, or that a run has not reached
};

struct BackupStru {
    std::int32_t patchAgentVersion;
    BackupItem* items;
    std::uint32_t itemCount;
    char* patchAgentFile;  // null when there is none
};

// Makes the run ledger of a manifest: one zeroed record per item. Without memory `items` stays null, which
// the caller must look at; the log has the reason.
void initBackupStru(const UpdateStru& update, BackupStru* out);

// Makes room for one more entry in both lists: 16 slots at first, then twice as many. Without memory the list
// in question stays as it was.
void growBackupLists(BackupItem* item);

// Append `text`, a malloc string, which the list owns from then on. False when there is no room and no memory
// for it: then the list is as before and the text still the caller's.
bool appendAdded(BackupItem* item, char* text);
bool appendWritten(BackupItem* item, char* text);

// The first record of this class and type, or null. Versions and paths play no part in an item's identity.
BackupItem* findBackupItem(const BackupStru& ledger, std::int32_t itemClass, std::int32_t itemType);

// Releases everything; may be called again. Null is allowed. `itemCount` stays.
void freeBackupStru(BackupStru* ledger);

}  // namespace ovpatch

#endif
