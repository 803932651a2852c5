// Copies and moves of files and trees.
//
// Common to all: `source` and `target` are paths; null or empty ones give FILEOP_BAD_PARAMETER. `overwrite`
// allows a copy onto an existing file. `callback` and `record` may be null (see file_op.h). The answer is 0
// or the first other code, which ends the operation; what was copied until then stays. FILEOP_COPY_FAILED
// also when the device cannot look at a target or cannot read a directory of the source to its end: none of
// its files is copied then, and the log tells it (look_failure.h). A missing directory has no files. A target
// that ends in a separator or is a directory takes the files in; any other target is a file name.
#ifndef OVPATCH_FILEOPS_COPY_H
#define OVPATCH_FILEOPS_COPY_H

#include <cstdint>

#include "fileops/file_op.h"
#include "foundation/byte_string.h"

namespace platform {
struct FileState;
}

namespace ovpatch {

// Copies one file to one file name. FILEOP_NO_DIRECTORY if the target is a directory, FILEOP_TARGET_EXISTS
// without a callback if it exists and must not be overwritten, FILEOP_COPY_FAILED if the device fails.
std::int32_t copyOneFile(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                         FileOpRecord* record);

// Copies a file, or the files that a wildcard or a directory names, on one level; subdirectories are passed
// over. Directories that the target lacks are made. FILEOP_BAD_PARAMETER if several files would go to one
// file name.
std::int32_t copyFiles(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                       FileOpRecord* record);

// Copies with everything below. A directory arrives below the target under its own name; of a wildcard what
// it matches arrives in the target itself. Empty directories are made too. FILEOP_BAD_PARAMETER if a
// directory or a wildcard would go to a file name.
std::int32_t xcopy(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                   FileOpRecord* record);

// copyFiles, and on success unlink of `source`.
std::int32_t moveFiles(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                       FileOpRecord* record);

// The same, overwriting and unasked, for a caller who has just looked at `source`; null where it has not.
std::int32_t moveFiles(const char* source, const char* target, const platform::FileState* looked);

// xcopy, and on success removeTree of `source`.
std::int32_t moveTree(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                      FileOpRecord* record);

// The last directory name of `path`, which ends in a separator, with "\" behind it. Empty for null or empty,
// if `path` has no separator, and if the last one is its first byte.
ByteString lastComponent(const char* path);

}  // namespace ovpatch

#endif
