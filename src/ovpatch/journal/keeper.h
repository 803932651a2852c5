// The names under which the journal keeps what a run replaces.
#ifndef OVPATCH_OVPATCH_JOURNAL_KEEPER_H
#define OVPATCH_OVPATCH_JOURNAL_KEEPER_H

#include <cstddef>

#include "platform/file_state.h"

namespace ovpatch {

// The state of a file told in 8-bit text. A path that does not fit exists and is no file.
platform::FileState stateOfFile(const char* path);

// A name beside `file` that nothing has: `ovk0.tmp`, or the next number. It is no longer than those of
// ledgers and backup copies. False when it does not fit `size` bytes, terminator included, or none is free.
bool keeperName(const char* file, char* out, std::size_t size);

// Whether `path` can be a name of that kind.
bool isKeeperName(const char* path);

}  // namespace ovpatch

#endif
