#include "platform/utf8.h"

#include <algorithm>

#include "platform/platform.h"

namespace platform {

namespace {

constexpr std::size_t MOST_BYTES = 4;  // of a character in any default code page
constexpr int MOST_UNITS = 4;

}  // namespace

std::size_t nextAsUtf8(const char* text, std::size_t size, std::string* out) {
    // The fewest bytes that are text are one character: every beginning of a longer one is none.
    for (std::size_t taken = 1; taken <= std::min(size, MOST_BYTES); ++taken) {
        WCHAR wide[MOST_UNITS];
        char converted[MOST_BYTES * MOST_UNITS];
        const int units = MultiByteToWideChar(CP_ACP, 0, text, static_cast<int>(taken), wide, MOST_UNITS);
        if (units == 0) continue;
        const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide, units, converted,
                                              static_cast<int>(sizeof converted), nullptr, nullptr);
        if (bytes == 0) return 0;
        out->append(converted, static_cast<std::size_t>(bytes));
        return taken;
    }
    return 0;
}

}  // namespace platform
