// Opening a file that is not replaced.
#ifndef OVPATCH_PLATFORM_POSIX_OPEN_IN_PLACE_H
#define OVPATCH_PLATFORM_POSIX_OPEN_IN_PLACE_H

#include <sys/stat.h>

#include "platform/platform.h"

namespace ovpatch::posix {

struct StreamMode {
    char kind = '\0';     // 'r', 'w' or 'a'
    bool update = false;  // `+`
};

// Whether the owner of a file may write to it. Permissions do not stop the superuser, so this is asked
// wherever a file is written.
inline bool isWritableFile(const struct stat& status) {
    return S_ISREG(status.st_mode) && (status.st_mode & S_IWUSR) != 0;
}

// The descriptor of a file opened to read or to append, in which case it is made where it is missing, and its
// status. -1 with the last error of platform::fopen.
int openInPlace(const char* hostPath, const StreamMode& mode, struct stat* status);

}  // namespace ovpatch::posix

#endif
