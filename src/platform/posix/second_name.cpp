// Steps that spare a copy: renaming a file over another, and a second name for a file that is about to be
// replaced.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/file_state.h"
#include "platform/posix/errors.h"
#include "platform/posix/file_status.h"
#include "platform/posix/host_path.h"
#include "platform/posix/written_devices.h"

using namespace ovpatch::posix;

namespace {

// A copy has no set-id bits, and what has several names or is a link is not all of the file.
bool isPlainFile(const platform::FileState& state, std::uint32_t names) {
    return state.isFile && !state.isLink && state.names == names &&
           (state.mode & (S_ISUID | S_ISGID | S_ISVTX)) == 0;
}

bool isWritable(const platform::FileState& state) {
    return (state.mode & S_IWUSR) != 0;
}

// The state of the name itself, a link not followed; null when it cannot be looked at.
const platform::FileState* look(const char* path, platform::FileState* state) {
    struct stat status;
    if (lstat(path, &status) != 0) return nullptr;
    *state = stateFrom(status);
    return state;
}

// A copy keeps its target's owner, a new one is the process's own.
bool wouldKeepOwner(const platform::FileState& source, const platform::FileState* target) {
    static const uid_t user = geteuid();
    static const gid_t group = getegid();
    return source.owner == (target != nullptr ? target->owner : user) &&
           source.group == (target != nullptr ? target->group : group);
}

// Both are names of one file, or one name told twice: only in the first case is there one left without
// `source`.
bool dropSecondName(const char* source, const char* target) {
    char aside[PATH_MAX + 8];
    struct stat status;
    if (std::snprintf(aside, sizeof aside, "%s.ovp", source) >= PATH_MAX) return false;
    // Not every file system renames only where nothing is in the way.
    if (lstat(aside, &status) == 0 || errno != ENOENT || rename(source, aside) != 0) return false;
    if (lstat(target, &status) == 0 && unlink(aside) == 0) return true;
    if (rename(aside, source) != 0) rename(aside, source);
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

bool platform::moveFileOver(LPCWSTR devicePath, LPCWSTR deviceTarget, const FileState* looked) {
    HostPath source;
    HostPath target;
    FileState from;
    FileState over;
    if (!source.assign(devicePath) || !target.assign(deviceTarget)) return false;
    if (looked == nullptr) looked = look(source.cStr(), &from);
    if (looked == nullptr) return false;
    const FileState* to = look(target.cStr(), &over);
    if (!isWritable(*looked) || (to == nullptr && errno != ENOENT) || (to != nullptr && !isWritable(*to)))
        return false;
    if (to != nullptr && looked->device == to->device && looked->id == to->id)
        return isPlainFile(*to, 2) && dropSecondName(source.cStr(), target.cStr());
    noteWritten(looked->device, target.cStr());
    const bool fit = isPlainFile(*looked, 1) && (to == nullptr || to->isFile) && wouldKeepOwner(*looked, to);
    return fit && rename(source.cStr(), target.cStr()) == 0;
}

bool platform::exchangeFiles(LPCWSTR deviceCopy, LPCWSTR devicePath) {
    HostPath copy;
    HostPath file;
    FileState from;
    FileState to;
    if (!copy.assign(deviceCopy) || !file.assign(devicePath)) return false;
    if (look(copy.cStr(), &from) == nullptr || look(file.cStr(), &to) == nullptr) return false;
    const bool isOne = from.device == to.device && from.id == to.id;
    if (isOne || !isPlainFile(from, 1) || !to.isFile || !isWritable(from) || !isWritable(to)) return false;
    noteWritten(to.device, file.cStr());
    if (!wouldKeepOwner(from, &to) && lchown(copy.cStr(), to.owner, to.group) != 0) return false;
    return renameat2(AT_FDCWD, copy.cStr(), AT_FDCWD, file.cStr(), RENAME_EXCHANGE) == 0;
}

bool platform::exchangeBack(LPCWSTR deviceCopy, LPCWSTR devicePath) {
    HostPath copy;
    HostPath file;
    return copy.assign(deviceCopy) && file.assign(devicePath) &&
           renameat2(AT_FDCWD, copy.cStr(), AT_FDCWD, file.cStr(), RENAME_EXCHANGE) == 0;
}

bool platform::giveSecondName(LPCWSTR devicePath, LPCWSTR newName, const FileState* looked) {
    HostPath file;
    HostPath name;
    FileState state;
    if (!file.assign(devicePath) || !name.assign(newName)) return false;
    if (looked == nullptr) looked = look(file.cStr(), &state);
    if (looked == nullptr) return failFromErrno(file.cStr());
    if (!isPlainFile(*looked, 1) || !isWritable(*looked)) return fail(ERROR_NOT_SUPPORTED);
    if (link(file.cStr(), name.cStr()) == 0) return true;
    return errno == EEXIST ? fail(ERROR_FILE_EXISTS) : failFromErrno(name.cStr());
}
