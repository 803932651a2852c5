#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"

using namespace ovpatch::posix;

DWORD GetFileAttributesW(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath)) return INVALID_FILE_ATTRIBUTES;
    struct stat status;
    if (stat(path.cStr(), &status) != 0) {
        failFromErrno(path.cStr());
        return INVALID_FILE_ATTRIBUTES;
    }
    if (S_ISDIR(status.st_mode)) return FILE_ATTRIBUTE_DIRECTORY;
    return (status.st_mode & S_IWUSR) == 0 ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL;
}

bool platform::canOpenForReading(const char* deviceText) {
    HostPath path;
    struct stat status;
    return path.assign(deviceText) && stat(path.cStr(), &status) == 0 && S_ISREG(status.st_mode) &&
           faccessat(AT_FDCWD, path.cStr(), R_OK, AT_EACCESS) == 0;
}
