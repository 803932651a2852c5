#include "ini/ini_names.h"

#include <cstddef>

namespace ovpatch {

namespace {

constexpr std::string_view trimmedBytes = " \t\n\f\r";

int folded(char c, bool caseSensitive) {
    const int byte = c & 0x80 ? (c & 0xFF) - 0x100 : c;
    return !caseSensitive && c >= 'A' && c <= 'Z' ? byte + 0x20 : byte;
}

}  // namespace

std::string_view trimmedName(const char* name) {
    if (name == nullptr) return {};
    std::string_view view(name);
    const std::size_t first = view.find_first_not_of(trimmedBytes);
    if (first == std::string_view::npos) return {};
    return view.substr(first, view.find_last_not_of(trimmedBytes) - first + 1);
}

int compareNames(std::string_view left, std::string_view right, bool caseSensitive) {
    for (std::size_t i = 0; i < left.size() || i < right.size(); ++i) {
        const int leftByte = i < left.size() ? folded(left[i], caseSensitive) : 0;
        const int rightByte = i < right.size() ? folded(right[i], caseSensitive) : 0;
        if (leftByte != rightByte) return leftByte - rightByte;
    }
    return 0;
}

// FNV-1a, with a last stir because tables use the low bits alone.
std::uint32_t nameHash(std::string_view name, bool caseSensitive) {
    std::uint32_t hash = 2166136261U;
    for (const char c : name) {
        hash ^= static_cast<unsigned char>(folded(c, caseSensitive));
        hash *= 16777619U;
    }
    return hash ^ (hash >> 15);
}

}  // namespace ovpatch
