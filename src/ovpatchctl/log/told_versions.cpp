#include "ovpatchctl/log/told_versions.h"

#include <charconv>

#include "ovpatch/manifest/item_version.h"
#include "ovpatch/patch_agent.h"

namespace ovpatch::ctl {

namespace {

constexpr std::size_t VERSION_SIZE = 32;
constexpr std::uint32_t SHIFT = 16;

struct ClassName {
    std::string_view name;
    std::int32_t itemClass;
};

constexpr ClassName CLASS_NAMES[] = {
    {"Product", OVPATCH_CLASS_PRODUCT}, {"Engine", OVPATCH_CLASS_ENGINE}, {"Pattern", OVPATCH_CLASS_PATTERN}};

bool take(std::string_view* text, std::string_view front) {
    if (text->substr(0, front.size()) != front) return false;
    text->remove_prefix(front.size());
    return true;
}

// Takes ", 12" off the end.
bool takeLastNumber(std::string_view* text, std::uint32_t* number) {
    const std::size_t comma = text->rfind(", ");
    if (comma == std::string_view::npos) return false;
    const std::string_view digits = text->substr(comma + 2);
    const std::from_chars_result end = std::from_chars(digits.data(), digits.data() + digits.size(), *number);
    text->remove_suffix(text->size() - comma);
    return end.ec == std::errc() && end.ptr == digits.data() + digits.size();
}

bool takeVersions(std::string_view* text, std::uint32_t* from, std::uint32_t* to) {
    return takeLastNumber(text, to) && takeLastNumber(text, from);
}

// Behind the text for the agent, which can hold anything, stand class, type, flags and both versions.
bool takeItemClass(std::string_view text, std::int32_t* itemClass) {
    std::uint32_t type = 0;
    std::uint32_t number = 0;
    const std::size_t flags = text.rfind(", ");
    if (flags == std::string_view::npos) return false;
    text = text.substr(0, flags);
    if (!takeLastNumber(&text, &type) || !takeLastNumber(&text, &number)) return false;
    *itemClass = static_cast<std::int32_t>(number);
    return true;
}

}  // namespace

std::string ToldVersions::decode(std::uint32_t number, bool isShifted) const {
    char text[VERSION_SIZE];
    const std::uint32_t plain = isShifted ? number >> SHIFT : number;
    if (itemClass_ == OVPATCH_CLASS_PATTERN)
        formatPatternNumber(plain, text, sizeof text);
    else
        formatPackedVersion(plain, text, sizeof text);
    std::string out = text;
    if (isShifted && itemClass_ != OVPATCH_CLASS_PATTERN) out[0] = '?';
    return out;
}

std::optional<ToldVersions::Pair> ToldVersions::next(std::string_view message) {
    std::uint32_t from = 0;
    std::uint32_t to = 0;
    if (message.find("WithPatchAgent: auto rollback.") != std::string_view::npos) inUndo_ = true;
    if (!take(&message, "PatchAgent ")) return std::nullopt;
    if (take(&message, "StartItem")) {
        if (!takeVersions(&message, &from, &to) || !takeItemClass(message, &itemClass_)) return std::nullopt;
        return Pair{decode(from, false), decode(to, false)};
    }
    if (!take(&message, "End")) return std::nullopt;
    bool isShifted = false;
    if (!take(&message, "Item with: ")) {
        itemClass_ = 0;
        for (const ClassName& one : CLASS_NAMES)
            if (take(&message, one.name)) itemClass_ = one.itemClass;
        if (itemClass_ == 0) return std::nullopt;
        isShifted = !inUndo_ || itemClass_ == OVPATCH_CLASS_PATTERN;
    }
    if (!takeVersions(&message, &from, &to)) return std::nullopt;
    return Pair{decode(from, isShifted), decode(to, isShifted)};
}

}  // namespace ovpatch::ctl
