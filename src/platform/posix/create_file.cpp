#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/errors.h"
#include "platform/posix/handle_object.h"
#include "platform/posix/host_path.h"
#include "platform/posix/interrupted.h"

using namespace ovpatch::posix;

namespace {

// A taken name has its own number here: callers try the next name on it and give up on any other.
DWORD creationError() {
    if (errno == EEXIST) return ERROR_FILE_EXISTS;
    if (errno == ENOENT) return ERROR_PATH_NOT_FOUND;
    return deviceError(errno);
}

}  // namespace

HANDLE CreateFileW(LPCWSTR devicePath, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD,
                   HANDLE) {
    if (disposition != CREATE_NEW) {
        fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    HostPath path;
    if (!path.assign(devicePath)) return INVALID_HANDLE_VALUE;
    constexpr int FLAGS = O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    const int descriptor = untilDone([&path] { return open(path.cStr(), FLAGS, 0666); });
    if (descriptor < 0) {
        fail(creationError());
        return INVALID_HANDLE_VALUE;
    }
    HANDLE handle = makeDescriptorObject(HandleKind::file, descriptor);
    if (handle != nullptr) return handle;
    unlink(path.cStr());
    return INVALID_HANDLE_VALUE;
}
