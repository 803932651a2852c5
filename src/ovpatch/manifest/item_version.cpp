#include "ovpatch/manifest/item_version.h"

#include <cstdlib>
#include <cstring>

#include "foundation/bounded.h"
#include "foundation/tokenizer.h"
#include "ovpatch/manifest/number_text.h"

namespace ovpatch {

namespace {

constexpr int FRACTION_DIGITS = 4;

bool isDecimalDigit(char c) {
    return c >= '0' && c <= '9';
}

// The build number behind the second point or, failing that, behind the first dash.
std::uint32_t parseBuild(const char* text) {
    const StringList dotted = splitString(text, '.');
    if (dotted.stringCount() >= 3) {
        return static_cast<std::uint32_t>(readDecimal(tokenAt(dotted, 2).cStr()));
    }
    return static_cast<std::uint32_t>(readDecimal(tokenAt(splitString(text, '-'), 1).cStr()));
}

}  // namespace

ItemVersion parseItemVersion(const char* text, std::int32_t itemClass) {
    if (itemClass != OVPATCH_CLASS_PATTERN) return parseDottedVersion(text);
    return ItemVersion{static_cast<std::uint32_t>(readDecimal(text)), 0, 0};
}

void formatItemVersion(std::int32_t itemClass, const ItemVersion& version, char* out, std::size_t size) {
    if (itemClass == OVPATCH_CLASS_PATTERN) {
        formatPatternNumber(version.number, out, size);
    } else {
        formatDottedVersion(version.number, version.build, version.spare, out, size);
    }
}

ItemVersion parseDottedVersion(const char* text) {
    if (text == nullptr) return ItemVersion{0, 0, 0};
    return ItemVersion{parsePackedVersion(text), parseBuild(text), 0};
}

void formatDottedVersion(std::uint32_t number, std::uint32_t build, std::int32_t /*spare*/, char* out,
                         std::size_t size) {
    if (build == 0) {
        formatPackedVersion(number, out, size);
        return;
    }
    char packed[256];
    formatPackedVersion(number, packed, sizeof packed);
    boundedSnprintf(out, size, "%s.%u", packed, build);
}

std::uint32_t parsePackedVersion(const char* text) {
    const std::uint32_t major = static_cast<std::uint32_t>(readDecimal(text)) << 16;
    const char* point = std::strchr(text, '.');
    if (point == nullptr) return major;
    char fraction[FRACTION_DIGITS + 1] = "0000";
    for (int i = 0; i < FRACTION_DIGITS && isDecimalDigit(point[1 + i]); ++i)
        fraction[i] = point[1 + i];
    return major | static_cast<std::uint32_t>(std::strtoul(fraction, nullptr, 16));
}

void formatPackedVersion(std::uint32_t packed, char* out, std::size_t size) {
    char text[32];
    std::size_t length = boundedSnprintf(text, sizeof text, "%u.%04x", packed >> 16, packed & 0xFFFFu);
    for (int removed = 0; removed < FRACTION_DIGITS - 1 && text[length - 1] == '0'; ++removed) {
        text[--length] = '\0';
    }
    boundedStrncpy(out, text, size);
}

void formatPatternNumber(std::uint32_t number, char* out, std::size_t size) {
    boundedSnprintf(out, size, "%d", static_cast<std::int32_t>(number));
}

}  // namespace ovpatch
