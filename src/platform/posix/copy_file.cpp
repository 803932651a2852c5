#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/copy_content.h"
#include "platform/posix/errors.h"
#include "platform/posix/file_replacement.h"
#include "platform/posix/file_status.h"
#include "platform/posix/host_path.h"
#include "platform/posix/interrupted.h"

namespace ovpatch::posix {

namespace {

// Smaller ones would make a host of 32 bits refuse to tell of large files and of some file systems' entries.
static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8, "large files");

bool inspectTarget(FileReplacement* target, const char* hostPath, const platform::FileState* looked,
                   const platform::FileState& source, bool mustBeNew) {
    if (!target->inspect(hostPath, looked)) return false;
    if (!target->exists()) return true;
    const struct stat& old = target->status();
    if (old.st_dev == source.device && old.st_ino == source.id) return fail(ERROR_SHARING_VIOLATION);
    return !mustBeNew || fail(ERROR_FILE_EXISTS);
}

bool keepModificationTime(int descriptor, const platform::FileState& source) {
    const timespec times[2] = {{0, UTIME_OMIT},
                               {static_cast<time_t>(source.seconds), static_cast<long>(source.nanoseconds)}};
    return futimens(descriptor, times) == 0 || failFromErrno();
}

// What is copied, open at its start.
struct Source {
    int descriptor;
    const platform::FileState& state;
};

bool fill(FileReplacement* target, const Source& source, bool mustBeNew) {
    return copyContent(source.descriptor, target->descriptor(), static_cast<off_t>(source.state.size)) &&
           keepModificationTime(target->descriptor(), source.state) && target->commit(mustBeNew);
}

bool copyOver(const Source& source, const char* path, const platform::FileState* looked, bool mustBeNew) {
    FileReplacement target;
    return inspectTarget(&target, path, looked, source.state, mustBeNew) &&
           target.create(O_WRONLY, static_cast<mode_t>(source.state.mode), true) &&
           fill(&target, source, mustBeNew);
}

bool copyUnderName(const Source& source, const char* path) {
    FileReplacement target;
    if (target.takeForMissing(path) &&
        target.createUnderName(O_WRONLY, static_cast<mode_t>(source.state.mode)))
        return fill(&target, source, true);
    FileReplacement found;
    if (GetLastError() != ERROR_FILE_EXISTS) return false;
    return inspectTarget(&found, path, nullptr, source.state, true) && fail(ERROR_FILE_EXISTS);
}

// The renaming finds out whether the name is missing still.
bool copyToMissing(const Source& source, const char* path) {
    FileReplacement target;
    const bool done = target.takeForMissing(path) &&
                      target.create(O_WRONLY, static_cast<mode_t>(source.state.mode), true) &&
                      fill(&target, source, true);
    if (done || GetLastError() != ERROR_FILE_EXISTS) return done;
    if (lseek(source.descriptor, 0, SEEK_SET) != 0) return failFromErrno();
    return copyOver(source, path, nullptr, false);
}

}  // namespace

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

namespace platform {

// Opening does not wait, whatever the path names.
bool CopySource::open(LPCWSTR devicePath) {
    close();
    state_ = target_ = FileState();
    expectsNone_ = false;
    HostPath path;
    if (!path.assign(devicePath)) return false;
    constexpr int FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int descriptor = untilDone([&path] { return ::open(path.cStr(), FLAGS); });
    if (descriptor < 0) return failFromErrno(path.cStr());
    opened_ = descriptor;
    struct stat status;
    const bool known = fstat(descriptor, &status) == 0 || failFromErrno();
    if (known && (S_ISREG(status.st_mode) || fail(ERROR_ACCESS_DENIED))) {
        state_ = stateFrom(status);
        return true;
    }
    close();
    return false;
}

bool CopySource::copyTo(LPCWSTR targetPath, bool failIfExists) {
    if (opened_ == -1) return false;
    const Source source = {static_cast<int>(opened_), state_};
    HostPath path;
    bool done = path.assign(targetPath);
    if (done && expectsNone_ && !failIfExists)
        done = copyToMissing(source, path.cStr());
    else if (done)
        done = copyOver(source, path.cStr(), &target_, failIfExists);
    close();
    return done;
}

bool CopySource::copyToNew(LPCWSTR targetPath) {
    if (opened_ == -1) return false;
    HostPath path;
    const bool done =
        path.assign(targetPath) && copyUnderName({static_cast<int>(opened_), state_}, path.cStr());
    close();
    return done;
}

void CopySource::close() {
    if (opened_ != -1) ::close(static_cast<int>(opened_));
    opened_ = -1;
}

}  // namespace platform

BOOL CopyFileW(LPCWSTR sourcePath, LPCWSTR targetPath, BOOL failIfExists) {
    platform::CopySource source;
    return source.open(sourcePath) && source.copyTo(targetPath, failIfExists != FALSE) ? TRUE : FALSE;
}
