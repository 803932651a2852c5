#include "platform/posix/file_replacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/durability.h"
#include "platform/file_state.h"
#include "platform/posix/errors.h"
#include "platform/posix/interrupted.h"
#include "platform/posix/written_devices.h"

namespace ovpatch::posix {

namespace {

// Not every file system has a renaming that fails where something is in the way.
bool renameToNew(const char* from, const char* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
    if (errno != ENOSYS && errno != EINVAL) return false;
    struct stat there;
    if (lstat(to, &there) == 0) errno = EEXIST;
    return errno == ENOENT && rename(from, to) == 0;
}

constexpr mode_t PERMISSIONS = S_IRWXU | S_IRWXG | S_IRWXO;

DWORD namedAfter = 0;

bool isOwnedByThisProcess(const struct stat& status) {
    static const uid_t user = geteuid();
    static const gid_t group = getegid();
    return status.st_uid == user && status.st_gid == group;
}

}  // namespace

// A file that is there and no link needs no second look.
bool FileReplacement::look(const platform::FileState* looked) {
    if (looked == nullptr || !looked->isFile || looked->isLink) return lstat(target_, &status_) == 0;
    status_.st_mode = looked->mode;
    status_.st_uid = looked->owner;
    status_.st_gid = looked->group;
    status_.st_dev = looked->device;
    status_.st_ino = looked->id;
    return true;
}

bool FileReplacement::takeForMissing(const char* hostPath) {
    const std::size_t size = std::strlen(hostPath) + 1;
    if (size > sizeof target_) return fail(ERROR_FILENAME_EXCED_RANGE);
    std::memcpy(target_, hostPath, size);
    return true;
}

bool FileReplacement::inspect(const char* hostPath, const platform::FileState* looked) {
    if (!takeForMissing(hostPath)) return false;
    exists_ = look(looked);
    if (!exists_) return errno == ENOENT || failFromErrno();
    if (S_ISLNK(status_.st_mode) && !resolveLink(hostPath)) return false;
    if (!S_ISREG(status_.st_mode) || (status_.st_mode & S_IWUSR) == 0) return fail(ERROR_ACCESS_DENIED);
    return true;
}

bool FileReplacement::resolveLink(const char* hostPath) {
    if (realpath(hostPath, target_) != nullptr && stat(target_, &status_) == 0) return true;
    return errno == ENOENT ? fail(ERROR_ACCESS_DENIED) : failFromErrno();
}

bool FileReplacement::buildTemporaryPath() {
    // The number only makes a clash unlikely, so it need not be asked for again after a fork.
    static const DWORD process = static_cast<DWORD>(getpid());
    static unsigned counter = 0;
    const char* separator = std::strrchr(target_, '/');
    const int directory = separator == nullptr ? 0 : static_cast<int>(separator - target_) + 1;
    const int length = std::snprintf(temporary_, sizeof temporary_, "%.*s.ovp%u_%u.tmp", directory, target_,
                                     namedAfter != 0 ? namedAfter : process, counter++);
    return length >= 0 && static_cast<std::size_t>(length) < sizeof temporary_;
}

bool FileReplacement::create(int access, mode_t permissions, bool exactPermissions) {
    do {
        if (!buildTemporaryPath()) return fail(ERROR_FILENAME_EXCED_RANGE);
        descriptor_ = untilDone([=] {
            return open(temporary_, access | O_CREAT | O_EXCL | O_CLOEXEC, permissions & PERMISSIONS);
        });
    } while (descriptor_ < 0 && errno == EEXIST);
    if (descriptor_ < 0) return errno == ENOENT ? fail(ERROR_PATH_NOT_FOUND) : failFromErrno();

    if (exists_ && !isOwnedByThisProcess(status_) && !giveToOwner()) return failFromErrno();
    return settle(exactPermissions, permissions);
}

bool FileReplacement::createUnderName(int access, mode_t permissions) {
    std::memcpy(temporary_, target_, std::strlen(target_) + 1);
    descriptor_ = untilDone(
        [=] { return open(target_, access | O_CREAT | O_EXCL | O_CLOEXEC, permissions & PERMISSIONS); });
    hasName_ = true;
    if (descriptor_ >= 0) return settle(true, permissions);
    if (errno == EEXIST) return fail(ERROR_FILE_EXISTS);
    return errno == ENOENT ? fail(ERROR_PATH_NOT_FOUND) : failFromErrno();
}

// The umask is the agent's to change, and a directory may have rules of its own.
bool FileReplacement::settle(bool exactPermissions, mode_t permissions) {
    struct stat made;
    const bool known = fstat(descriptor_, &made) == 0;
    if (known) noteWritten(made.st_dev, temporary_);
    if (!exactPermissions) return true;
    if (known && (((made.st_mode ^ permissions) & PERMISSIONS) == 0 ||
                  fchmod(descriptor_, permissions & PERMISSIONS) == 0)) {
        return true;
    }
    return failFromErrno();
}

// Only a privileged process can give a file away, and only on some file systems; for any other the new file
// is its own.
bool FileReplacement::giveToOwner() {
    if (fchown(descriptor_, status_.st_uid, status_.st_gid) == 0) return true;
    return errno == EPERM || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
}

bool FileReplacement::commit(bool mustBeNew) {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    bool done = !platform::fileFlush() || fsync(descriptor) == 0;
    // Some file systems report a full disk only here.
    done = closed(descriptor) && done;
    if (done && hasName_) return true;
    if (done && mustBeNew)
        done = renameToNew(temporary_, target_);
    else if (done)
        done = rename(temporary_, target_) == 0;
    if (done) return true;
    if (errno == EEXIST)
        fail(ERROR_FILE_EXISTS);
    else
        failFromErrno();
    removeTemporary();
    return false;
}

// What fails in passing is worth another try.
void FileReplacement::removeTemporary() {
    if (unlink(temporary_) != 0) unlink(temporary_);
}

void FileReplacement::abandon() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    descriptor_ = -1;
    removeTemporary();
}

}  // namespace ovpatch::posix

void platform::nameReplacementsAfter(DWORD process) {
    ovpatch::posix::namedAfter = process;
}
