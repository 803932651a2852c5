// Which file systems the process has written files to.
#ifndef OVPATCH_PLATFORM_POSIX_WRITTEN_DEVICES_H
#define OVPATCH_PLATFORM_POSIX_WRITTEN_DEVICES_H

#include <sys/types.h>

namespace ovpatch::posix {

// Remembers the file system of a file that was made at `path`, for flushFileSystems.
void noteWritten(dev_t device, const char* path);

}  // namespace ovpatch::posix

#endif
