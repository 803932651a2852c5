#include "platform/file_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/posix/errors.h"
#include "platform/posix/file_status.h"
#include "platform/posix/host_path.h"

namespace ovpatch::posix {

platform::FileState stateFrom(const struct stat& status) {
    platform::FileState state;
    state.exists = true;
    state.isFile = S_ISREG(status.st_mode);
    state.size = static_cast<std::uint64_t>(status.st_size);
    state.seconds = status.st_mtim.tv_sec;
    state.nanoseconds = static_cast<std::uint32_t>(status.st_mtim.tv_nsec);
    state.id = status.st_ino;
    state.device = status.st_dev;
    state.mode = status.st_mode;
    state.names = static_cast<std::uint32_t>(status.st_nlink);
    state.owner = status.st_uid;
    state.group = status.st_gid;
    return state;
}

bool followLink(char* path) {
    struct stat status;
    if (lstat(path, &status) != 0 || !S_ISLNK(status.st_mode)) return true;
    char resolved[PATH_MAX];
    if (realpath(path, resolved) == nullptr) return false;
    std::memcpy(path, resolved, sizeof resolved);
    return true;
}

namespace {

bool toHost(LPCWSTR devicePath, char (&out)[PATH_MAX]) {
    HostPath path;
    if (!path.assign(devicePath)) return false;
    path.stripTrailingSeparators();
    std::memcpy(out, path.cStr(), std::strlen(path.cStr()) + 1);
    return true;
}

// The step across file systems, onto a file that may be read-only.
bool copyBack(LPCWSTR copy, LPCWSTR target, const char* hostTarget, const struct stat* old) {
    if (old != nullptr && (old->st_mode & S_IWUSR) == 0) chmod(hostTarget, old->st_mode | S_IWUSR);
    return CopyFileW(copy, target, FALSE) != FALSE && platform::discard(copy);
}

// Steps over digits, at least one.
bool skipNumber(const char** text) {
    const std::size_t digits = std::strspn(*text, "0123456789");
    *text += digits;
    return digits > 0;
}

// Whether `name` is one that process number `process`, or any with 0, gives a new file before it replaces
// another.
bool isTemporary(const char* name, DWORD process) {
    char stem[32];
    std::snprintf(stem, sizeof stem, ".ovp%u", process);
    const std::size_t length = process == 0 ? 4 : std::strlen(stem);
    if (std::strncmp(name, stem, length) != 0) return false;
    name += length;
    return (process != 0 || skipNumber(&name)) && *name++ == '_' && skipNumber(&name) &&
           std::strcmp(name, ".tmp") == 0;
}

// False when one may be left.
bool removeTemporaries(const char* directory, DWORD process) {
    DIR* entries = opendir(*directory == '\0' ? "." : directory);
    if (entries == nullptr) return false;
    bool done = true;
    errno = 0;
    while (const dirent* entry = readdir(entries)) {
        if (isTemporary(entry->d_name, process) && unlinkat(dirfd(entries), entry->d_name, 0) != 0)
            done = false;
        errno = 0;
    }
    done = done && errno == 0;
    closedir(entries);
    return done;
}

}  // namespace

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

namespace platform {

FileState stateOf(LPCWSTR devicePath) {
    FileState state;
    char path[PATH_MAX];
    struct stat status;
    state.exists = true;
    if (!toHost(devicePath, path)) return state;
    if (lstat(path, &status) != 0) {
        state.exists = errno != ENOENT && errno != ENOTDIR;
        state.isUnknown = state.exists && !platform::tellsMissing(deviceError(errno));
        return state;
    }
    const bool isLink = S_ISLNK(status.st_mode);
    if (!isLink || stat(path, &status) == 0) state = stateFrom(status);
    state.isLink = isLink;
    return state;
}

bool canLeaveParts() {
    return false;
}

bool putBack(LPCWSTR copy, LPCWSTR target) {
    char from[PATH_MAX];
    char to[PATH_MAX];
    struct stat source;
    struct stat old;
    if (!toHost(copy, from) || !toHost(target, to)) return false;
    if (lstat(from, &source) != 0) return failFromErrno(from);
    if (!S_ISREG(source.st_mode)) return fail(ERROR_ACCESS_DENIED);
    if (!followLink(to)) return failFromErrno();
    const bool exists = lstat(to, &old) == 0;
    if (!exists && errno != ENOENT) return failFromErrno();
    if (exists && !S_ISREG(old.st_mode)) return fail(ERROR_ACCESS_DENIED);
    if (exists && old.st_dev == source.st_dev && old.st_ino == source.st_ino)
        return unlink(from) == 0 || failFromErrno();
    // A copy is its maker's; the file in whose place it comes has kept the owner, where that could be had.
    const bool foreign = exists && (old.st_uid != source.st_uid || old.st_gid != source.st_gid);
    if (foreign && source.st_nlink == 1 && lchown(from, old.st_uid, old.st_gid) == 0)
        chmod(from, source.st_mode & 07777);
    if (rename(from, to) == 0) return true;
    if (errno != EXDEV) return failFromErrno();
    return copyBack(copy, target, to, exists ? &old : nullptr);
}

bool duplicate(LPCWSTR file, LPCWSTR newName) {
    char from[PATH_MAX];
    char to[PATH_MAX];
    if (!toHost(file, from) || !toHost(newName, to)) return false;
    if (linkat(AT_FDCWD, from, AT_FDCWD, to, AT_SYMLINK_FOLLOW) == 0) return true;
    if (errno == EEXIST) return fail(ERROR_FILE_EXISTS);
    return CopyFileW(file, newName, TRUE) != FALSE;
}

bool discard(LPCWSTR devicePath) {
    char path[PATH_MAX];
    if (!toHost(devicePath, path)) return false;
    return unlink(path) == 0 || errno == ENOENT || errno == ENOTDIR || failFromErrno();
}

void tidyReplacement(LPCWSTR target, DWORD process) {
    char path[PATH_MAX];
    if (!toHost(target, path) || !followLink(path)) return;
    char* name = std::strrchr(path, '/');
    name = name == nullptr ? path : name + 1;
    *name = '\0';
    // Whatever fails in passing is worth another try.
    if (!removeTemporaries(path, process)) removeTemporaries(path, process);
}

void tidyMove(LPCWSTR source) {
    char path[PATH_MAX];
    char aside[PATH_MAX + 8];
    if (!toHost(source, path)) return;
    // A second name that was on its way out had not gone yet.
    if (std::snprintf(aside, sizeof aside, "%s.ovp", path) >= PATH_MAX) return;
    if (renameat2(AT_FDCWD, aside, AT_FDCWD, path, RENAME_NOREPLACE) != 0 && errno != ENOENT)
        renameat2(AT_FDCWD, aside, AT_FDCWD, path, RENAME_NOREPLACE);
}

}  // namespace platform
