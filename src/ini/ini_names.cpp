#include "ini/ini_names.h"

#include <cstddef>

namespace ovpatch {

namespace {

constexpr std::string_view trimmedBytes = " \t\n\f\r";

unsigned char folded(char c, bool caseSensitive) {
    const bool folds = !caseSensitive && c >= 'A' && c <= 'Z';
    return static_cast<unsigned char>(folds ? c + 0x20 : c);
}

}  // namespace

std::string_view trimmedName(const char* name) {
    if (name == nullptr) return {};
    std::string_view view(name);
    const std::size_t first = view.find_first_not_of(trimmedBytes);
    if (first == std::string_view::npos) return {};
    return view.substr(first, view.find_last_not_of(trimmedBytes) - first + 1);
}

bool equalNames(std::string_view left, std::string_view right, bool caseSensitive) {
    if (left.size() != right.size()) return false;
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (folded(left[i], caseSensitive) != folded(right[i], caseSensitive)) return false;
    }
    return true;
}

// FNV-1a, with a last stir because tables use the low bits alone.
std::uint32_t nameHash(std::string_view name, bool caseSensitive) {
    std::uint32_t hash = 2166136261U;
    for (const char c : name) {
        hash ^= folded(c, caseSensitive);
        hash *= 16777619U;
    }
    return hash ^ (hash >> 15);
}

}  // namespace ovpatch
