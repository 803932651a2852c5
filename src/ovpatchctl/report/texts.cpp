#include "ovpatchctl/report/texts.h"

#include "ovpatch/manifest/item_version.h"
#include "platform/utf8.h"

namespace ovpatch::ctl {

namespace {

void appendEscaped(char byte, std::string* out) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    *out += '?';
    *out += DIGITS[value >> 4];
    *out += DIGITS[value & 0xF];
}

bool isControl(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20 || value == 0x7F;
}

// `isEscaped` tells of a byte of ASCII whether it is escaped.
template <typename Escaped>
std::string converted(std::string_view text, Escaped isEscaped) {
    std::string out;
    while (!text.empty()) {
        std::size_t taken =
            isEscaped(text.front()) ? 0 : platform::nextAsUtf8(text.data(), text.size(), &out);
        if (taken == 0) {
            appendEscaped(text.front(), &out);
            taken = 1;
        }
        text.remove_prefix(taken);
    }
    return out;
}

const char* className(std::int32_t itemClass) {
    switch (itemClass) {
        case OVPATCH_CLASS_PRODUCT:
            return "product";
        case OVPATCH_CLASS_ENGINE:
            return "engine";
        case OVPATCH_CLASS_PATTERN:
            return "pattern";
        default:
            return "item";
    }
}

}  // namespace

std::string utf8(std::string_view text) {
    return converted(text, [](char byte) { return byte == '?'; });
}

std::string shown(std::string_view text) {
    return converted(text, isControl);
}

std::string versionText(std::int32_t itemClass, const ItemVersion& version) {
    char text[64];
    formatItemVersion(itemClass, version, text, sizeof text);
    return text;
}

std::string itemName(std::int32_t itemClass, std::int32_t itemType) {
    return className(itemClass) + (" " + std::to_string(static_cast<std::uint32_t>(itemClass))) + "/" +
           std::to_string(static_cast<std::uint32_t>(itemType));
}

std::string counted(std::uint64_t count, std::string_view singular, std::string_view plural) {
    return std::to_string(count) + ' ' + std::string(count == 1 ? singular : plural);
}

}  // namespace ovpatch::ctl
