#include "platform/posix/host_path.h"

#include <cstring>

#include "platform/posix/errors.h"
#include "platform/posix/text_conversion.h"

namespace ovpatch::posix {

namespace {

// Those below are one byte in every code page.
constexpr WCHAR LOWEST_UNIT_BEYOND_ASCII = 0x80;

}  // namespace

bool HostPath::assign(LPCWSTR devicePath) {
    return assignWide(devicePath, false);
}

bool HostPath::assignQuery(LPCWSTR query) {
    return assignWide(query, true);
}

bool HostPath::assignWide(LPCWSTR devicePath, bool wildcards) {
    length_ = lastName_ = 0;
    if (devicePath == nullptr || *devicePath == 0) return fail(ERROR_PATH_NOT_FOUND);
    for (; *devicePath != 0; ++devicePath)
        if (!append(*devicePath, wildcards)) return false;
    bytes_[length_] = '\0';
    return true;
}

bool HostPath::assign(LPCSTR deviceText) {
    length_ = lastName_ = 0;
    if (deviceText == nullptr || *deviceText == '\0') return fail(ERROR_PATH_NOT_FOUND);
    std::size_t left = std::strlen(deviceText);
    for (std::size_t used = 1; left > 0; deviceText += used, left -= used) {
        const auto byte = static_cast<unsigned char>(*deviceText);
        const bool isPlain = byte < LOWEST_UNIT_BEYOND_ASCII;
        if (isPlain) used = 1;
        if (!append(isPlain ? WCHAR{byte} : decodeUnit(deviceText, left, &used), false)) return false;
    }
    bytes_[length_] = '\0';
    return true;
}

bool HostPath::append(WCHAR unit, bool wildcards) {
    if (!wildcards && (unit == '*' || unit == '?')) return fail(ERROR_INVALID_NAME);
    if (unit < LOWEST_UNIT_BEYOND_ASCII && length_ + 1 < sizeof bytes_) {
        bytes_[length_++] = unit == '\\' ? '/' : static_cast<char>(unit);
        if (bytes_[length_ - 1] == '/') lastName_ = length_;
        return true;
    }
    char encoded[2];
    const std::size_t used = encodeUnit(unit, encoded);
    if (used == 0) return fail(ERROR_NO_UNICODE_TRANSLATION);
    if (length_ + used >= sizeof bytes_) return fail(ERROR_FILENAME_EXCED_RANGE);
    if (unit == '\\') encoded[0] = '/';
    std::memcpy(bytes_ + length_, encoded, used);
    length_ += used;
    if (encoded[0] == '/') lastName_ = length_;
    return true;
}

void HostPath::stripTrailingSeparators() {
    while (length_ > 1 && bytes_[length_ - 1] == '/')
        bytes_[--length_] = '\0';
}

}  // namespace ovpatch::posix
