#include "platform/posix/text_conversion.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "platform/posix/errors.h"

namespace ovpatch::posix {

namespace {

constexpr unsigned LOWEST_TRAIL_BYTE = 0x40;
constexpr unsigned LOWEST_BYTE_BEYOND_ASCII = 0x80;

UINT codePageOfEnvironment() {
    const char* text = std::getenv("OVPATCH_ANSI_CODE_PAGE");
    if (text == nullptr) return 0;
    for (const char* known : {"932", "936", "949", "950"})
        if (std::strcmp(text, known) == 0) return static_cast<UINT>(std::atoi(known));
    return 0;
}

bool isLeadByte(unsigned byte) {
    static const UINT codePage = codePageOfEnvironment();
    if (codePage == 0) return false;
    if (codePage == 932) return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
    return byte >= 0x81 && byte <= 0xFE;
}

std::size_t wideLength(LPCWSTR wide) {
    std::size_t length = 0;
    while (wide[length] != 0)
        ++length;
    return length;
}

// Whether every byte is a character of its own in every code page.
bool isPlain(LPCSTR text, std::size_t length) {
    unsigned bytes = 0;
    for (std::size_t i = 0; i < length; ++i)
        bytes |= static_cast<unsigned char>(text[i]);
    return bytes < LOWEST_BYTE_BEYOND_ASCII;
}

// Walks `text`; stores the units if `wide` is given. Answers their number.
std::size_t decodeText(LPCSTR text, std::size_t length, LPWSTR wide) {
    if (isPlain(text, length)) {
        for (std::size_t i = 0; wide != nullptr && i < length; ++i)
            wide[i] = static_cast<WCHAR>(text[i]);
        return length;
    }
    std::size_t units = 0;
    for (std::size_t used = 0; length > 0; text += used, length -= used, ++units) {
        const WCHAR unit = decodeUnit(text, length, &used);
        if (wide != nullptr) wide[units] = unit;
    }
    return units;
}

// Walks `wide`; stores the bytes if `text` is given. False when a unit cannot be converted.
bool encodeText(LPCWSTR wide, std::size_t length, LPSTR text, std::size_t* size) {
    *size = 0;
    for (; length > 0; ++wide, --length) {
        char bytes[2];
        const std::size_t used = encodeUnit(*wide, bytes);
        if (used == 0) return false;
        if (text != nullptr) std::memcpy(text + *size, bytes, used);
        *size += used;
    }
    return true;
}

}  // namespace

WCHAR decodeUnit(const char* text, std::size_t length, std::size_t* used) {
    const unsigned first = static_cast<unsigned char>(text[0]);
    const unsigned second = length > 1 ? static_cast<unsigned char>(text[1]) : 0;
    if (isLeadByte(first) && second >= LOWEST_TRAIL_BYTE) {
        *used = 2;
        return static_cast<WCHAR>(first << 8 | second);
    }
    *used = 1;
    return static_cast<WCHAR>(first);
}

std::size_t encodeUnit(WCHAR unit, char bytes[2]) {
    const unsigned lead = static_cast<unsigned>(unit) >> 8;
    const unsigned trail = static_cast<unsigned>(unit) & 0xFF;
    if (lead == 0) {
        bytes[0] = static_cast<char>(trail);
        return 1;
    }
    if (!isLeadByte(lead) || trail < LOWEST_TRAIL_BYTE) return 0;
    bytes[0] = static_cast<char>(lead);
    bytes[1] = static_cast<char>(trail);
    return 2;
}

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

// Both conversions measure before they store: a caller that does not test the answer finds its buffer as it
// was, never the beginning of a longer path.

int MultiByteToWideChar(UINT codePage, DWORD, LPCSTR text, int size, LPWSTR wide, int wideSize) {
    if (codePage != CP_ACP || text == nullptr || size == 0 || size < -1 || wideSize < 0 ||
        (wide == nullptr && wideSize != 0))
        return fail(ERROR_INVALID_PARAMETER);
    const std::size_t length = size == -1 ? std::strlen(text) + 1 : static_cast<std::size_t>(size);
    const std::size_t units = decodeText(text, length, nullptr);
    if (units > INT_MAX) return fail(ERROR_INVALID_PARAMETER);
    if (wideSize == 0) return static_cast<int>(units);
    if (units > static_cast<std::size_t>(wideSize)) return fail(ERROR_INSUFFICIENT_BUFFER);
    return static_cast<int>(decodeText(text, length, wide));
}

int WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR wide, int wideSize, LPSTR text, int size, LPCSTR,
                        LPBOOL usedDefault) {
    if (codePage != CP_ACP || wide == nullptr || wideSize == 0 || wideSize < -1 || size < 0 ||
        (text == nullptr && size != 0))
        return fail(ERROR_INVALID_PARAMETER);
    if (usedDefault != nullptr) *usedDefault = FALSE;
    const std::size_t length = wideSize == -1 ? wideLength(wide) + 1 : static_cast<std::size_t>(wideSize);
    std::size_t needed = 0;
    if (!encodeText(wide, length, nullptr, &needed)) return fail(ERROR_NO_UNICODE_TRANSLATION);
    if (needed > INT_MAX) return fail(ERROR_INVALID_PARAMETER);
    if (size == 0) return static_cast<int>(needed);
    if (needed > static_cast<std::size_t>(size)) return fail(ERROR_INSUFFICIENT_BUFFER);
    encodeText(wide, length, text, &needed);
    return static_cast<int>(needed);
}
