#include "fileops/wide_path.h"

#include <cstring>

#include "fileops/code_page.h"
#include "fileops/paths.h"

namespace ovpatch {

namespace {

// More bytes than these make more units than fit, in every code page.
constexpr std::uint32_t LONGEST_PATH = MAX_PATH * 4;

bool isWideSeparator(WCHAR unit) {
    return unit == WCHAR{'\\'} || unit == WCHAR{'/'};
}

std::uint32_t lengthOf(const char* path) {
    return path == nullptr ? 0 : static_cast<std::uint32_t>(std::strlen(path));
}

// Only behind a byte above ASCII can one side see a separator where the other sees half a character.
bool hasDoubtfulSeparator(const char* path) {
    for (const char* at = path; *at != '\0'; ++at)
        if (static_cast<unsigned char>(*at) >= 0x80 && isSeparator(at[1])) return true;
    return false;
}

}  // namespace

WidePath::WidePath(const char* path) : WidePath(path, lengthOf(path)) {}

WidePath::WidePath(const char* path, std::uint32_t length) {
    text_[0] = 0;
    if (path == nullptr || length > LONGEST_PATH) return;
    if (length > 0) {
        const int units =
            MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, path, static_cast<int>(length), text_, MAX_PATH - 1);
        if (units <= 0) {
            text_[0] = 0;
            return;
        }
        length_ = static_cast<std::uint32_t>(units);
        text_[length_] = 0;
    }
    fits_ = true;
}

bool deviceSplitsAlike(const char* path) {
    if (!hasDoubtfulSeparator(path)) return true;
    const char* lastSeparator = nullptr;
    TrailByteScan scan;
    for (const char* at = path; *at != '\0'; ++at) {
        const bool trail = scan.isTrail(*at);
        if (isSeparator(*at) && !trail) lastSeparator = at;
    }
    const WidePath whole(path);
    if (!whole.fits()) return false;
    std::uint32_t prefixUnits = 0;
    if (lastSeparator != nullptr) {
        const WidePath prefix(path, static_cast<std::uint32_t>(lastSeparator + 1 - path));
        if (!prefix.fits() || prefix.length() == 0 || !isWideSeparator(prefix.text()[prefix.length() - 1]))
            return false;
        prefixUnits = prefix.length();
    }
    for (std::uint32_t unit = prefixUnits; unit < whole.length(); ++unit) {
        if (isWideSeparator(whole.text()[unit])) return false;
    }
    return true;
}

}  // namespace ovpatch
