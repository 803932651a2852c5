#include "platform/posix/errors.h"

#include <limits.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace ovpatch::posix {

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

struct ErrorNumber {
    int host;
    DWORD device;
};

constexpr ErrorNumber ERROR_NUMBERS[] = {
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EROFS, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {ENXIO, ERROR_ACCESS_DENIED},
    {ENODEV, ERROR_ACCESS_DENIED},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {EBUSY, ERROR_SHARING_VIOLATION},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {EIO, ERROR_IO_DEVICE},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
};

bool parentExists(const char* hostPath) {
    const char* end = hostPath + std::strlen(hostPath);
    while (end > hostPath + 1 && end[-1] == '/')
        --end;
    while (end > hostPath && end[-1] != '/')
        --end;
    if (end == hostPath) return true;
    const auto length = static_cast<std::size_t>(end - hostPath);
    char parent[PATH_MAX];
    if (length >= sizeof parent) return false;
    std::memcpy(parent, hostPath, length);
    parent[length] = '\0';
    struct stat status;
    return stat(parent, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

DWORD deviceError(int hostError) {
    for (const ErrorNumber& number : ERROR_NUMBERS)
        if (number.host == hostError) return number.device;
    return ERROR_GEN_FAILURE;
}

BOOL failFromErrno() {
    return fail(deviceError(errno));
}

BOOL failFromErrno(const char* hostPath) {
    if (errno == ENOENT && !parentExists(hostPath)) return fail(ERROR_PATH_NOT_FOUND);
    return failFromErrno();
}

}  // namespace ovpatch::posix

bool platform::tellsMissing(DWORD number) {
    switch (number) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_FILENAME_EXCED_RANGE:
        case ERROR_NO_UNICODE_TRANSLATION:
            return true;
        default:
            return false;
    }
}

DWORD GetLastError() {
    return ovpatch::posix::lastError;
}

void SetLastError(DWORD number) {
    ovpatch::posix::lastError = number;
}
