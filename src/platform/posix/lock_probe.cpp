#include "platform/lock_probe.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/host_path.h"
#include "platform/posix/interrupted.h"

using namespace ovpatch::posix;

namespace platform {

bool isHeldElsewhere(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath)) return false;
    constexpr int FLAGS = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int descriptor = untilDone([&path] { return open(path.cStr(), FLAGS); });
    if (descriptor < 0) return false;
    const bool isHeld =
        untilDone([descriptor] { return flock(descriptor, LOCK_SH | LOCK_NB); }) != 0 && errno == EWOULDBLOCK;
    close(descriptor);
    return isHeld;
}

}  // namespace platform
