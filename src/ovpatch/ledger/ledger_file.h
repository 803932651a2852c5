// The pieces that every writer of a ledger file shares.
#ifndef OVPATCH_OVPATCH_LEDGER_LEDGER_FILE_H
#define OVPATCH_OVPATCH_LEDGER_LEDGER_FILE_H

#include <cstddef>
#include <cstdint>

#include "fileops/name_index.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_stru.h"
#include "ovpatch/ledger/item_copy_context.h"
#include "ovpatch/ledger/taken_names.h"

namespace ovpatch {

constexpr char LEDGER_COMMENT = ';';

// "item_<n>" into a buffer of `size` bytes, terminator included; 32 suffice.
void formatSectionName(std::uint32_t n, char* out, std::size_t size);

// Sets a number of the section `common`, unsigned decimal, behind what stands there.
void addCommonNumber(KxIniUtil* ledger, const char* key, std::uint32_t number);

// Adds the record of one item behind what stands in `section`, in the fixed order of its keys. A null slot of
// a list leaves its key out; the count states all slots.
void addLedgerRecord(KxIniUtil* ledger, const char* section, const BackupItem& item);

// What a ledger that names no agent gets when it is rewritten.
enum class MissingAgent { LEFT_OUT, WRITTEN_EMPTY };

// Puts the stored ledger into the empty document `ledger`, without the records that are not null in
// `without`, which has as many entries: those behind one move up by one number.
void composeLedger(const BackupStru& stored, const BackupItem* const* without, MissingAgent agent,
                   KxIniUtil* ledger);

// The bare file name of the backup copy in an entry of `writtenFiles`.
ByteString backupCopyName(const char* entry);

// Enters the names of the copies that `item` lists.
void takeCopyNames(const BackupItem& item, TakenNames* names);

// Whether the item's copies lie in `backupDirectory`. The item must have its destination.
bool sharesBackupDir(const BackupItem& item, const char* backupDirectory);

// Writes the document to `path`, here and now and not again at its end, and tells the journal. False when
// that failed twice, which the log tells: then the file is as it was.
bool writeLedger(KxIniUtil* ledger, const char* path);

// Lists the backup directory in `context->takenNames`, unless it is the one that was listed last. Names that
// this run has noted for it, for the item at hand or an earlier one, count as taken even where the file has
// gone: an undo goes by the names.
void enterBackupDir(const ItemCopyContext& context, const char* backupDirectory);

// Whether a ledger can name the path. It is lines of text whose ends are trimmed: a path with a line feed, or
// with white space at an end, would come back as another file's.
bool ledgerCanHold(const char* path);

// Whether `name` can be that of a backup copy: a file name, and no wildcard. A ledger that was tampered with
// may hold others, which must lead to nothing.
bool isBackupCopyName(const char* name);

// Deletes the backup copies that the entries of `writtenFiles` name, from the item's backup directory. Copies
// that are gone already are passed over, and so are those in `kept`, if it is not null. `names` serves all
// calls for which nobody else adds names to the directory; without it, which costs less where the copies are
// there, each that is gone takes a listing of the directory.
void removeBackupCopies(const BackupItem& item, const char* backupDirectory, NameIndex* names,
                        const TakenNames* kept = nullptr);

}  // namespace ovpatch

#endif
