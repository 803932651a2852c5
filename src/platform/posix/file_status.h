// The host's status of a file as the state that the layer tells.
#ifndef OVPATCH_PLATFORM_POSIX_FILE_STATUS_H
#define OVPATCH_PLATFORM_POSIX_FILE_STATUS_H

#include <sys/stat.h>

#include "platform/file_state.h"

namespace ovpatch::posix {

// The state of what `status` describes, links already followed.
platform::FileState stateFrom(const struct stat& status);

// Gives `path`, a buffer of PATH_MAX bytes, the path of what a link there leads to; any other stays. False
// with `errno` for a link to nothing.
bool followLink(char* path);

}  // namespace ovpatch::posix

#endif
