#include "ovpatch/manifest/number_text.h"

#include <cstdlib>

namespace ovpatch {

namespace {

std::int32_t readNumber(const char* text, int base) {
    const auto wide = static_cast<unsigned long long>(std::strtoll(text, nullptr, base));
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(wide));
}

}  // namespace

std::int32_t readDecimal(const char* text) {
    return readNumber(text, 10);
}

std::int32_t readHexadecimal(const char* text) {
    return readNumber(text, 16);
}

std::uint32_t readCount(const char* text) {
    const long long number = std::strtoll(text, nullptr, 10);
    return number < 0 || number > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(number);
}

}  // namespace ovpatch
