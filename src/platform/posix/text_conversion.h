// The default code page: how bytes and 16-bit units become each other.
#ifndef OVPATCH_PLATFORM_POSIX_TEXT_CONVERSION_H
#define OVPATCH_PLATFORM_POSIX_TEXT_CONVERSION_H

#include <cstddef>

#include "platform/platform.h"

namespace ovpatch::posix {

// The unit at the start of `text`, of which `length` bytes (at least 1) may be read. `*used` becomes the
// number of bytes that it took, 1 or 2. A terminator never counts as a trail byte.
WCHAR decodeUnit(const char* text, std::size_t length, std::size_t* used);

// Stores the bytes of `unit` in `bytes` and answers their number, 1 or 2; 0 for a unit that no byte text
// yields.
std::size_t encodeUnit(WCHAR unit, char bytes[2]);

}  // namespace ovpatch::posix

#endif
