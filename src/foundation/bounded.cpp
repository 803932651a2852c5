#include "foundation/bounded.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace ovpatch {

namespace {

// The length of the text, or `size` when no terminator stands within that many bytes.
std::size_t boundedLength(const char* text, std::size_t size) {
    const void* const end = std::memchr(text, 0, size);
    return end == nullptr ? size : static_cast<std::size_t>(static_cast<const char*>(end) - text);
}

char* leaveEmpty(char* destination, std::size_t size) {
    if (size > 0) destination[0] = 0;
    return nullptr;
}

}  // namespace

char* boundedStrncpy(char* destination, const char* source, std::size_t size) {
    if (std::strlen(source) >= size) return leaveEmpty(destination, size);
    return std::strncpy(destination, source, size);
}

char* boundedStrncat(char* destination, const char* source, std::size_t size) {
    const std::size_t used = boundedLength(destination, size);
    if (used + 1 >= size) return leaveEmpty(destination, size);
    const std::size_t length = std::strlen(source);
    if (length >= size - used) return leaveEmpty(destination, size);
    std::memcpy(destination + used, source, length + 1);
    return destination;
}

std::size_t boundedSnprintf(char* destination, std::size_t size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(destination, size, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= size) {
        leaveEmpty(destination, size);
        return 0;
    }
    return static_cast<std::size_t>(length);
}

}  // namespace ovpatch
