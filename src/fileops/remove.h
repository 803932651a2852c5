// Removal of files and trees.
//
// Common to all: a null or empty path gives FILEOP_BAD_PARAMETER, and so does a removal that the device
// refuses; nothing is retried. `callback` and `record` may be null (see file_op.h). The answer is 0 or the
// first other code, which ends the operation; what was removed until then is gone. FILEOP_COPY_FAILED when
// the device cannot read a directory to its end: none of its entries is removed then. What is not there is no
// failure of unlink and removeTree. The lone separator, the root of everything, gives FILEOP_BAD_PARAMETER
// in these two.
#ifndef OVPATCH_FILEOPS_REMOVE_H
#define OVPATCH_FILEOPS_REMOVE_H

#include <cstdint>

#include "fileops/file_op.h"
#include "fileops/name_index.h"

namespace ovpatch {

// Removes one file or one empty directory.
std::int32_t removeEntry(const char* path, FileOpCallback callback, FileOpRecord* record);

// Removes one file by a single call of the device, where the path can be read in one way only and no case
// variant can go in its place. False: nothing has changed, and the questions have to be asked.
bool removeFileAtOnce(const char* path);

// Removes what a path or wildcard names on its level: a directory only if it is empty.
std::int32_t unlink(const char* path, FileOpCallback callback, FileOpRecord* record);

// Removes what a path or wildcard names, with everything below. A wildcard leaves the directory in which it
// matches.
std::int32_t removeTree(const char* path, FileOpCallback callback, FileOpRecord* record);

// The same two for callers that remove many names from one directory, with the promise that `index` asks
// for. `index` may be null.
std::int32_t unlink(const char* path, FileOpCallback callback, FileOpRecord* record, NameIndex* index);
std::int32_t removeTree(const char* path, FileOpCallback callback, FileOpRecord* record, NameIndex* index);

}  // namespace ovpatch

#endif
