// Bringing files to the disk, so that they outlast a loss of power.
#ifndef OVPATCH_PLATFORM_DURABILITY_H
#define OVPATCH_PLATFORM_DURABILITY_H

#include "platform/platform.h"

namespace platform {

// With `on`, each file that CopyFileW or fopen for writing makes is on the disk before it gets its name, or
// where the host writes in place, before the operation ends. Off at the start.
void setFileFlush(bool on);
bool fileFlush();

// Brings all that this process has copied or written to the disk, with one step for each file system.
void flushFileSystems();

// Brings the names in the directory of `path`, a file, to the disk.
void flushNames(LPCWSTR path);

// The working directory in device text into a buffer of `size` bytes, terminator included. False when it
// cannot be told or does not fit.
bool workingDirectory(char* out, std::size_t size);

}  // namespace platform

#endif
