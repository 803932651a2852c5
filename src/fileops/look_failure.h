// Telling of what the device could not look at. The answer of an operation only says that it failed, and the
// operations stand below the log.
#ifndef OVPATCH_FILEOPS_LOOK_FAILURE_H
#define OVPATCH_FILEOPS_LOOK_FAILURE_H

#include <cstdint>

namespace ovpatch {

// Takes a file or directory that could not be read or looked at, and the device's number for why. `path` is
// good during the call only.
using LookFailureListener = void (*)(const char* path, std::uint32_t number);

// Chooses who hears of it; null for nobody, as at the start.
void setLookFailureListener(LookFailureListener listener);

void tellLookFailure(const char* path, std::uint32_t number);

}  // namespace ovpatch

#endif
