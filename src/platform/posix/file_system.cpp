#include "platform/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "platform/posix/host_path.h"

using namespace ovpatch::posix;

bool platform::mayMakeEntries(LPCWSTR directory) {
    HostPath path;
    return path.assign(directory) && faccessat(AT_FDCWD, path.cStr(), W_OK | X_OK, AT_EACCESS) == 0;
}

bool platform::roomAt(LPCWSTR directory, FileSystemRoom* room) {
    HostPath path;
    struct stat status;
    struct statvfs system;
    if (!path.assign(directory) || stat(path.cStr(), &status) != 0 || statvfs(path.cStr(), &system) != 0)
        return false;
    room->fileSystem = status.st_dev;
    room->freeBytes = std::uint64_t{system.f_bavail} * system.f_frsize;
    room->blockBytes = system.f_frsize > 0 ? system.f_frsize : 1;
    return true;
}
