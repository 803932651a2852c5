#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"
#include "platform/posix/interrupted.h"

using namespace ovpatch::posix;

DWORD platform::lookAt(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath)) return INVALID_FILE_ATTRIBUTES;
    struct stat status;
    if (stat(path.cStr(), &status) != 0) {
        failFromErrno();
        return INVALID_FILE_ATTRIBUTES;
    }
    if (S_ISDIR(status.st_mode)) return FILE_ATTRIBUTE_DIRECTORY;
    return (status.st_mode & S_IWUSR) == 0 ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL;
}

DWORD GetFileAttributesW(LPCWSTR devicePath) {
    const DWORD attributes = platform::lookAt(devicePath);
    HostPath path;
    if (attributes == INVALID_FILE_ATTRIBUTES && GetLastError() == ERROR_FILE_NOT_FOUND &&
        path.assign(devicePath)) {
        errno = ENOENT;
        failFromErrno(path.cStr());
    }
    return attributes;
}

namespace {

// Where a permission is missing the host says EACCES. EPERM comes from a guard that forbids the question.
bool failLook() {
    return errno == EPERM ? fail(ERROR_GEN_FAILURE) : failFromErrno();
}

}  // namespace

bool platform::canOpenForReading(const char* deviceText) {
    HostPath path;
    struct stat status;
    if (!path.assign(deviceText)) return false;
    if (stat(path.cStr(), &status) != 0) return failLook();
    if (!S_ISREG(status.st_mode)) return fail(ERROR_ACCESS_DENIED);
    if (faccessat(AT_FDCWD, path.cStr(), R_OK, AT_EACCESS) == 0) return true;
    if (errno == EACCES) return failLook();
    // The question itself has failed. Opening answers it too.
    constexpr int FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int descriptor = untilDone([&path] { return open(path.cStr(), FLAGS); });
    if (descriptor < 0) return failLook();
    close(descriptor);
    return true;
}
