#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/copy_content.h"
#include "platform/posix/errors.h"
#include "platform/posix/file_replacement.h"
#include "platform/posix/host_path.h"
#include "platform/posix/interrupted.h"

namespace ovpatch::posix {

namespace {

// Smaller ones would make a host of 32 bits refuse to tell of large files and of some file systems' entries.
static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8, "large files");

// A regular file open for reading. Opening does not wait, whatever the path names.
class SourceFile {
public:
    SourceFile() = default;
    ~SourceFile() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    bool open(const char* hostPath) {
        constexpr int FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        descriptor_ = untilDone([hostPath] { return ::open(hostPath, FLAGS); });
        if (descriptor_ < 0) return failFromErrno(hostPath);
        if (fstat(descriptor_, &status_) != 0) return failFromErrno();
        return S_ISREG(status_.st_mode) || fail(ERROR_ACCESS_DENIED);
    }
    int descriptor() const { return descriptor_; }
    const struct stat& status() const { return status_; }

private:
    int descriptor_ = -1;
    struct stat status_ = {};
};

bool inspectTarget(FileReplacement* target, const char* hostPath, const struct stat& source, bool mustBeNew) {
    if (!target->inspect(hostPath)) return false;
    if (!target->exists()) return true;
    const struct stat& old = target->status();
    if (old.st_dev == source.st_dev && old.st_ino == source.st_ino) return fail(ERROR_SHARING_VIOLATION);
    return !mustBeNew || fail(ERROR_FILE_EXISTS);
}

bool keepModificationTime(int descriptor, const struct stat& source) {
    const timespec times[2] = {{0, UTIME_OMIT}, source.st_mtim};
    return futimens(descriptor, times) == 0 || failFromErrno();
}

}  // namespace

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

BOOL CopyFileW(LPCWSTR sourcePath, LPCWSTR targetPath, BOOL failIfExists) {
    HostPath path;
    SourceFile source;
    FileReplacement target;
    if (!path.assign(sourcePath) || !source.open(path.cStr()) || !path.assign(targetPath)) return FALSE;
    const bool done = inspectTarget(&target, path.cStr(), source.status(), failIfExists != FALSE) &&
                      target.create(O_WRONLY, source.status().st_mode, true) &&
                      copyContent(source.descriptor(), target.descriptor(), source.status().st_size) &&
                      keepModificationTime(target.descriptor(), source.status()) &&
                      target.commit(failIfExists != FALSE);
    return done ? TRUE : FALSE;
}
