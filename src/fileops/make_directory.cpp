#include "fileops/make_directory.h"

#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "foundation/byte_string.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

DirectoryWatcher directoryWatcher = nullptr;

bool createOnDevice(const ByteString& directory, const WidePath& path) {
    return (directoryWatcher == nullptr || directoryWatcher(directory.cStr())) &&
           CreateDirectoryW(path.text(), nullptr) != FALSE;
}

// Makes `directory`, and `parent` first if it is missing.
bool create(const ByteString& directory, const ByteString& parent, FileOpCallback callback,
            FileOpRecord* record) {
    const WidePath path(directory.cStr());
    if (!path.fits()) return false;
    SetLastError(ERROR_SUCCESS);
    if (createOnDevice(directory, path)) return true;
    if (GetLastError() != ERROR_PATH_NOT_FOUND) return false;
    if (makeDirectory(parent.cStr(), callback, record) != FILEOP_OK) return false;
    return createOnDevice(directory, path);
}

}  // namespace

void watchDirectories(DirectoryWatcher watcher) {
    directoryWatcher = watcher;
}

std::int32_t makeDirectory(const char* path, FileOpCallback callback, FileOpRecord* record, bool* exists) {
    if (path == nullptr) return FILEOP_BAD_PARAMETER;
    if (*path == '\0') return FILEOP_OK;
    ByteString directory(path);
    removeTrailingSeparator(directory);

    beginFileOp(record, path, nullptr);
    setFileOperation(record, FILEOP_MAKE_DIRECTORY);
    const std::int32_t answer = callBefore(callback, record);
    if (answer != FILEOP_GO_ON) return answer == FILEOP_SKIP ? FILEOP_OK : answer;

    // One byte is the root or too little to be told from it.
    if (directory.length() <= 1) return FILEOP_OK;
    if (!isDirectory(directory.cStr())) {
        const ByteString parent = directoryPart(directory.cStr());
        if (!create(directory, parent, callback, record)) return FILEOP_NO_DIRECTORY;
        // A parent that was made has left its own path there.
        beginFileOp(record, path, nullptr);
    }
    if (exists != nullptr) *exists = true;
    return callAfter(callback, record);
}

}  // namespace ovpatch
