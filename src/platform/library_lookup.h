// What the host would make of a library, told without loading it.
#ifndef OVPATCH_PLATFORM_LIBRARY_LOOKUP_H
#define OVPATCH_PLATFORM_LIBRARY_LOOKUP_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace platform {

// Stores the path, in device text of at most `size` bytes with its terminator, of the file that LoadLibraryW
// would take for `name` in a program that lies beside this one. False when there is none that can be told:
// then LoadLibraryW fails, but for a library that only the host's own loader knows.
bool findLibraryFile(LPCWSTR name, char* path, std::size_t size);

// The form of the files that this host loads into this process.
struct ImageKind {
    bool isElf = false;         // else PE
    unsigned bits = 0;          // of an address: 32 or 64
    bool isHighFirst = false;   // the byte order
    std::uint16_t machine = 0;  // the format's own number of the processor

    bool operator==(const ImageKind& other) const {
        return isElf == other.isElf && bits == other.bits && isHighFirst == other.isHighFirst &&
               machine == other.machine;
    }
};

ImageKind ownImageKind();

}  // namespace platform

#endif
