// Where an item's new files come from and where its backup copies go.
//
//   <orvelle_path>\OV_Temp\<class>\<type>\    the new files, as the updater laid them out
//   <destination>\OV_Backup\OvBackup.ini      the ledger
//   <destination>\OV_Backup\<class>\<type>\   the backup copies
//
// Class and type are unsigned decimal numbers here, the type too. Sizes are in bytes, terminator included.
#ifndef OVPATCH_OVPATCH_LEDGER_BACKUP_PATHS_H
#define OVPATCH_OVPATCH_LEDGER_BACKUP_PATHS_H

#include <cstddef>
#include <cstdint>

namespace ovpatch {

// The size of a buffer for a path.
constexpr std::size_t PATH_SIZE = 260;

// Both answer the length written, ending in a backslash, or 0 when the path does not fit; then `out` is
// empty.
std::size_t itemSourceDir(const char* base, std::int32_t itemClass, std::int32_t itemType, char* out,
                          std::size_t size);
std::size_t itemBackupDir(const char* destination, std::int32_t itemClass, std::int32_t itemType, char* out,
                          std::size_t size);

// `<directory><class>\<type>\`; `directory` must end in a separator.
std::size_t formatItemDir(const char* directory, std::int32_t itemClass, std::int32_t itemType, char* out,
                          std::size_t size);

// `<destination>\OV_Backup` and, in the same way, the ledger's path. False when it does not fit; then `out`
// is empty.
bool backupRoot(const char* destination, char* out, std::size_t size);
bool ledgerPath(const char* destination, char* out, std::size_t size);

// The path of a backup copy named in a ledger entry: the file-name part of `name` in the backup directory.
// False when it does not fit; then `out` is empty.
bool backupCopyPath(const char* backupDirectory, const char* name, char* out, std::size_t size);

// Whether two files are the same. Always 0, and neither is looked at: the question is kept for the agents'
// answer -2, whose askers say what 0 means to them.
std::int32_t sameFileCheck(const char* first, const char* second);

}  // namespace ovpatch

#endif
