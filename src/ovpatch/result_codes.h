// What a run leaves in OvResult.ini.
#ifndef OVPATCH_OVPATCH_RESULT_CODES_H
#define OVPATCH_OVPATCH_RESULT_CODES_H

#include <cstdint>

namespace ovpatch {

constexpr std::int32_t RESULT_DONE = 0;
constexpr std::int32_t RESULT_CLOSE_PROGRAM = 3;      // rollback: a program must be closed first
constexpr std::int32_t RESULT_NO_UPDATE_ITEMS = 4;    // update: the manifest has no items
constexpr std::int32_t RESULT_NO_ROLLBACK_ITEMS = 5;  // rollback: the manifest has no items
constexpr std::int32_t RESULT_INVALID = 12;  // bad manifest, agent generation or parameters of an operation
constexpr std::int32_t RESULT_DISK_ERROR = 16;  // a file or directory operation failed
constexpr std::int32_t RESULT_NO_MEMORY = 48;   // none for an item's ledger entry
constexpr std::int32_t RESULT_NO_ACTION = 57;   // no action ran
constexpr std::int32_t RESULT_REFUSED = 60;     // the agent refused, or the work was cancelled

}  // namespace ovpatch

#endif
