// Steps that spare a copy: renaming a file over another, and a second name for a file that is about to be
// replaced.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"

using namespace ovpatch::posix;

namespace {

// A copy has no set-id bits, and what has several names or is a link is not all of the file.
bool isPlainFile(const struct stat& status, nlink_t names) {
    return S_ISREG(status.st_mode) && status.st_nlink == names &&
           (status.st_mode & (S_ISUID | S_ISGID | S_ISVTX)) == 0;
}

bool isWritable(const struct stat& status) {
    return (status.st_mode & S_IWUSR) != 0;
}

// A copy keeps its target's owner, a new one is the process's own.
bool wouldKeepOwner(const struct stat& source, const struct stat* target) {
    static const uid_t user = geteuid();
    static const gid_t group = getegid();
    return source.st_uid == (target != nullptr ? target->st_uid : user) &&
           source.st_gid == (target != nullptr ? target->st_gid : group);
}

// Both are names of one file, or one name told twice: only in the first case is there one left without
// `source`.
bool dropSecondName(const char* source, const char* target) {
    char aside[PATH_MAX + 8];
    struct stat status;
    if (std::snprintf(aside, sizeof aside, "%s.ovp", source) >= PATH_MAX) return false;
    if (renameat2(AT_FDCWD, source, AT_FDCWD, aside, RENAME_NOREPLACE) != 0) return false;
    if (lstat(target, &status) == 0 && unlink(aside) == 0) return true;
    rename(aside, source);
    return false;
}

}  // namespace

bool platform::isLink(LPCWSTR devicePath, bool* link) {
    HostPath path;
    struct stat status;
    if (!path.assign(devicePath)) return false;
    path.stripTrailingSeparators();
    if (lstat(path.cStr(), &status) != 0) return failFromErrno(path.cStr());
    *link = S_ISLNK(status.st_mode);
    return true;
}

bool platform::moveFileOver(LPCWSTR devicePath, LPCWSTR deviceTarget) {
    HostPath source;
    HostPath target;
    struct stat from;
    struct stat to;
    if (!source.assign(devicePath) || !target.assign(deviceTarget) || lstat(source.cStr(), &from) != 0)
        return false;
    const bool exists = lstat(target.cStr(), &to) == 0;
    if (!isWritable(from) || (!exists && errno != ENOENT) || (exists && !isWritable(to))) return false;
    if (exists && from.st_dev == to.st_dev && from.st_ino == to.st_ino) {
        return isPlainFile(from, 2) && dropSecondName(source.cStr(), target.cStr());
    }
    const bool fit = isPlainFile(from, 1) && (!exists || S_ISREG(to.st_mode)) &&
                     wouldKeepOwner(from, exists ? &to : nullptr);
    return fit && rename(source.cStr(), target.cStr()) == 0;
}

bool platform::giveSecondName(LPCWSTR devicePath, LPCWSTR newName) {
    HostPath file;
    HostPath name;
    struct stat status;
    if (!file.assign(devicePath) || !name.assign(newName)) return false;
    if (lstat(file.cStr(), &status) != 0) return failFromErrno(file.cStr());
    if (!isPlainFile(status, 1) || !isWritable(status)) return fail(ERROR_NOT_SUPPORTED);
    if (link(file.cStr(), name.cStr()) == 0) return true;
    return errno == EEXIST ? fail(ERROR_FILE_EXISTS) : failFromErrno(name.cStr());
}
