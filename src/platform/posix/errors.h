// Where the host's errno becomes a number of the device.
#ifndef OVPATCH_PLATFORM_POSIX_ERRORS_H
#define OVPATCH_PLATFORM_POSIX_ERRORS_H

#include "platform/platform.h"

namespace ovpatch::posix {

// The device's number for an errno; ERROR_GEN_FAILURE (31) for one that has none.
DWORD deviceError(int hostError);

// Sets the last error and answers FALSE.
inline BOOL fail(DWORD number) {
    SetLastError(number);
    return FALSE;
}

// Sets the last error from `errno` and answers FALSE.
BOOL failFromErrno();

// The same after a failed operation on `hostPath`: where the name itself is missing it is
// ERROR_FILE_NOT_FOUND (2), where its directory is missing or no directory, ERROR_PATH_NOT_FOUND (3).
BOOL failFromErrno(const char* hostPath);

}  // namespace ovpatch::posix

#endif
