// A path in the device's 16-bit form.
#ifndef OVPATCH_FILEOPS_WIDE_PATH_H
#define OVPATCH_FILEOPS_WIDE_PATH_H

#include <cstdint>

#include "platform/platform.h"

namespace ovpatch {

// Converts an 8-bit path by the device's default code page into 260 units, terminator included. A path that
// does not fit is not shortened: it has no 16-bit form, and the operation that wanted it fails.
class WidePath {
public:
    // Converts the terminated `path`; null does not fit.
    explicit WidePath(const char* path);

    // Converts the first `length` bytes of `path`.
    WidePath(const char* path, std::uint32_t length);

    bool fits() const { return fits_; }

    // The terminated 16-bit text; only when it fits.
    LPCWSTR text() const { return text_; }

    // Its units, without the terminator.
    std::uint32_t length() const { return length_; }

private:
    WCHAR text_[MAX_PATH];
    std::uint32_t length_ = 0;
    bool fits_ = false;
};

// Whether the device cuts `path` into directory and name at the same byte as we do, who may be set to another
// code page. Costs no call of the device for paths in plain ASCII.
bool deviceSplitsAlike(const char* path);

}  // namespace ovpatch

#endif
