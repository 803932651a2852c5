#include "platform/posix/open_in_place.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/errors.h"
#include "platform/posix/interrupted.h"

namespace ovpatch::posix {

namespace {

int openFlags(const StreamMode& mode) {
    const int access = mode.update ? O_RDWR : mode.kind == 'r' ? O_RDONLY : O_WRONLY;
    const int append = mode.kind == 'a' ? O_APPEND : 0;
    // Opening must not wait for whoever is at the other end of what turns out to be no file.
    return access | append | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
}

int failWith(DWORD number) {
    fail(number);
    return -1;
}

}  // namespace

int openInPlace(const char* hostPath, const StreamMode& mode, struct stat* status) {
    const bool writing = mode.update || mode.kind == 'a';
    const int flags = openFlags(mode);
    int descriptor = untilDone([=] { return open(hostPath, flags); });
    if (descriptor < 0 && errno == ENOENT && mode.kind == 'a') {
        // Exclusive, so that nothing is created through a link to nothing.
        descriptor = untilDone([=] { return open(hostPath, flags | O_CREAT | O_EXCL, 0666); });
        if (descriptor < 0 && errno == EEXIST) return failWith(ERROR_ACCESS_DENIED);
    }
    if (descriptor < 0) {
        failFromErrno(hostPath);
        return -1;
    }
    if (fstat(descriptor, status) != 0)
        failFromErrno();
    else if (writing ? isWritableFile(*status) : S_ISREG(status->st_mode))
        return descriptor;
    else
        fail(ERROR_ACCESS_DENIED);
    close(descriptor);
    return -1;
}

}  // namespace ovpatch::posix
