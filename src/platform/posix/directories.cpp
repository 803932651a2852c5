// Making and removing: directories, files and links.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"

using namespace ovpatch::posix;

BOOL CreateDirectoryW(LPCWSTR devicePath, LPSECURITY_ATTRIBUTES) {
    HostPath path;
    if (!path.assign(devicePath)) return FALSE;
    if (mkdir(path.cStr(), 0777) == 0) return TRUE;
    return errno == ENOENT ? fail(ERROR_PATH_NOT_FOUND) : failFromErrno();
}

BOOL RemoveDirectoryW(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath)) return FALSE;
    path.stripTrailingSeparators();
    if (rmdir(path.cStr()) == 0) return TRUE;
    if (errno == EEXIST) return fail(ERROR_DIR_NOT_EMPTY);
    if (errno != ENOTDIR) return failFromErrno(path.cStr());

    struct stat status;
    if (lstat(path.cStr(), &status) != 0) return failFromErrno(path.cStr());
    // A link whose directory went before it is one to a directory still.
    if (!S_ISLNK(status.st_mode)) return fail(ERROR_DIRECTORY);
    if (stat(path.cStr(), &status) == 0) {
        if (!S_ISDIR(status.st_mode)) return fail(ERROR_DIRECTORY);
    } else if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
        return failFromErrno();
    }
    return unlink(path.cStr()) == 0 ? TRUE : failFromErrno(path.cStr());
}

BOOL DeleteFileW(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath)) return FALSE;
    struct stat status;
    if (lstat(path.cStr(), &status) != 0) return failFromErrno(path.cStr());
    if (S_ISDIR(status.st_mode)) return fail(ERROR_ACCESS_DENIED);
    // A link has no permissions of its own, and those of its target do not protect it.
    if (!S_ISLNK(status.st_mode) && (status.st_mode & S_IWUSR) == 0) return fail(ERROR_ACCESS_DENIED);
    return unlink(path.cStr()) == 0 ? TRUE : failFromErrno(path.cStr());
}
