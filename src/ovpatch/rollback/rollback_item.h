// Undoing one item of an earlier update.
#ifndef OVPATCH_OVPATCH_ROLLBACK_ROLLBACK_ITEM_H
#define OVPATCH_OVPATCH_ROLLBACK_ROLLBACK_ITEM_H

#include <cstdint>

#include "ovpatch/ledger/item_copy_context.h"

namespace ovpatch {

constexpr std::int32_t ROLLBACK_DONE = 0;            // the last file was acted on, or there are no files
constexpr std::int32_t ROLLBACK_LAST_SKIPPED = 2;    // done; the last file was skipped
constexpr std::int32_t ROLLBACK_STOPPED = 1;         // the agent stopped it at a file
constexpr std::int32_t ROLLBACK_BAD_ARGUMENTS = -1;  // the item's paths do not fit
constexpr std::int32_t ROLLBACK_NO_LEDGER = -2;      // the ledger is missing or cannot be read
constexpr std::int32_t ROLLBACK_NOT_FOUND = -3;      // the ledger has no such item
constexpr std::int32_t ROLLBACK_NOT_SAVED = -5;      // a file's state could not be saved and noted

// Looks the item up in the ledger under its destination, deletes the files that the update added and puts
// back those that it overwrote, asking the agent about each. What stands at a file's path is saved first,
// into the item's backup directory, and noted in `writtenFiles` of the context's record, also for a file that
// is then skipped. A copy, move or delete that fails does not end the item. The ledger file is only read.
// Answers one of the values above.
std::int32_t rollbackItem(const ItemCopyContext& context);

}  // namespace ovpatch

#endif
