// Calls of the host that a signal can cut short.
#ifndef OVPATCH_PLATFORM_POSIX_INTERRUPTED_H
#define OVPATCH_PLATFORM_POSIX_INTERRUPTED_H

#include <unistd.h>

#include <cerrno>

namespace ovpatch::posix {

// Makes `call`, which answers a negative number when it fails, until no signal interrupts it.
template <typename Call>
auto untilDone(Call call) {
    auto answer = call();
    while (answer < 0 && errno == EINTR)
        answer = call();
    return answer;
}

// Whether close succeeded. A signal interrupts only the wait behind it: on this host the descriptor is closed
// by then, and may already be that of another file.
inline bool closed(int descriptor) {
    return close(descriptor) == 0 || errno == EINTR;
}

}  // namespace ovpatch::posix

#endif
