// Device text as UTF-8.
#ifndef OVPATCH_PLATFORM_UTF8_H
#define OVPATCH_PLATFORM_UTF8_H

#include <cstddef>
#include <string>

namespace platform {

// How many of the `size` bytes of device text at `text` make the next character, which is appended to `out`
// as UTF-8. 0, with `out` as it was, when they begin with none: a byte that is no text in the default code
// page. On a POSIX host without OVPATCH_ANSI_CODE_PAGE the text is UTF-8 itself, as far as it is valid.
// `size` is not 0.
std::size_t nextAsUtf8(const char* text, std::size_t size, std::string* out);

}  // namespace platform

#endif
