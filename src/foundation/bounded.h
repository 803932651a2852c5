// Writing text into fixed buffers. `size` is always the size of the buffer in bytes, terminator included;
// with 0 nothing is touched. A text that does not fit is never cut: the operation fails and leaves the buffer
// as an empty text, so that no shortened path can be used by mistake.
#ifndef OVPATCH_FOUNDATION_BOUNDED_H
#define OVPATCH_FOUNDATION_BOUNDED_H

#include <cstddef>

namespace ovpatch {

// Copies `source` and fills the rest of the buffer with zeros. Answers `destination`, or null when the text
// does not fit with its terminator. The two must not overlap.
char* boundedStrncpy(char* destination, const char* source, std::size_t size);

// Appends `source` to the text in `destination`. Answers `destination`; null when the joined text does not
// fit with its terminator, and also when the buffer was full before, even for an empty `source`. The two must
// not overlap.
char* boundedStrncat(char* destination, const char* source, std::size_t size);

// Formats as printf does. Answers the length of the text without its terminator, or 0 when it does not fit
// (an empty text is 0 as well).
std::size_t boundedSnprintf(char* destination, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace ovpatch

#endif
