// Making a directory with its parents.
#ifndef OVPATCH_FILEOPS_MAKE_DIRECTORY_H
#define OVPATCH_FILEOPS_MAKE_DIRECTORY_H

#include <cstdint>

#include "fileops/file_op.h"

namespace ovpatch {

// Makes the directory `path`, which may end in a separator, and the parents it lacks. A directory that exists
// is a success too. `callback` and `record` may be null (see file_op.h); the callback sees a directory at
// phase 0 before its parents are made and at phase 1 after them.
// Answers 0 on success, also for an empty path; FILEOP_BAD_PARAMETER for null; FILEOP_NO_DIRECTORY if it
// cannot be made, whatever the reason, a callback that stopped at a parent included; else the value by which
// the callback stopped at `path` itself.
// `exists`, if it is given, becomes true where the directory is known to be there.
std::int32_t makeDirectory(const char* path, FileOpCallback callback, FileOpRecord* record,
                           bool* exists = nullptr);

// Is told each directory that is about to be made, by its path without a separator at the end; false keeps it
// from being made.
using DirectoryWatcher = bool (*)(const char* path);

// Sets the watcher of the process; null for none, as at the start.
void watchDirectories(DirectoryWatcher watcher);

}  // namespace ovpatch

#endif
