// A device path in the form that the host takes.
#ifndef OVPATCH_PLATFORM_POSIX_HOST_PATH_H
#define OVPATCH_PLATFORM_POSIX_HOST_PATH_H

#include <limits.h>

#include <cstddef>

#include "platform/platform.h"

namespace ovpatch::posix {

class HostPath {
public:
    // Takes over a device path, with `/` for every separator. False with the last error set when it is null
    // or empty (3), holds a wildcard (123), holds a unit that cannot be converted (1113) or is too long for
    // the host (206).
    bool assign(LPCWSTR devicePath);
    bool assign(LPCSTR deviceText);

    // The same for the query of a search, which may hold wildcards.
    bool assignQuery(LPCWSTR query);

    // Removes separators at the end, but never the root itself: host calls follow a link that has one behind
    // it.
    void stripTrailingSeparators();

    // The part behind the last separator that is no trail byte, inside the path's own memory.
    char* lastName() { return bytes_ + lastName_; }

    const char* cStr() const { return bytes_; }

private:
    bool assignWide(LPCWSTR devicePath, bool wildcards);
    bool append(WCHAR unit, bool wildcards);

    char bytes_[PATH_MAX];
    std::size_t length_ = 0;
    std::size_t lastName_ = 0;
};

}  // namespace ovpatch::posix

#endif
