#include "platform/appended_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"
#include "platform/posix/interrupted.h"
#include "platform/posix/open_in_place.h"

using namespace ovpatch::posix;

namespace platform {

bool AppendedFile::append(const char* devicePath, const char* text, std::size_t size) {
    HostPath path;
    if (!path.assign(devicePath)) return false;
    struct stat status;
    // While it is open, no other file can have its number.
    const bool isSame = handle_ != -1 && stat(path.cStr(), &status) == 0 && isWritableFile(status) &&
                        status.st_dev == device_ && status.st_ino == id_;
    if (!isSame) {
        close();
        handle_ = openInPlace(path.cStr(), {'a', false}, &status);
        if (handle_ == -1) return false;
        device_ = status.st_dev;
        id_ = status.st_ino;
    }
    while (size > 0) {
        const ssize_t written = untilDone([=] { return write(static_cast<int>(handle_), text, size); });
        if (written < 0) return failFromErrno();
        text += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

void AppendedFile::close() {
    if (handle_ != -1) ::close(static_cast<int>(handle_));
    handle_ = -1;
}

}  // namespace platform
