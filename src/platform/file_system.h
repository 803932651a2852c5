// Questions about a directory's file system, for those who tell beforehand what a run will meet.
#ifndef OVPATCH_PLATFORM_FILE_SYSTEM_H
#define OVPATCH_PLATFORM_FILE_SYSTEM_H

#include <cstdint>

#include "platform/platform.h"

namespace platform {

// Whether files may be made and renamed in the existing directory, as far as the host tells it without a try:
// true also where it does not tell.
bool mayMakeEntries(LPCWSTR directory);

struct FileSystemRoom {
    std::uint64_t fileSystem;  // the same for all directories of one file system
    std::uint64_t freeBytes;   // that this process may use
    std::uint64_t blockBytes;  // in whose multiples files take room; at least 1
};

// False when the host does not tell it.
bool roomAt(LPCWSTR directory, FileSystemRoom* room);

}  // namespace platform

#endif
