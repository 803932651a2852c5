#include "fileops/code_page.h"

namespace ovpatch {

namespace {

std::uint32_t currentCodePage = 0;

// Below this value a byte is never the second one of a double-byte character.
constexpr unsigned char LOWEST_TRAIL_BYTE = 0x40;

bool canBeTrail(char byte) {
    return static_cast<unsigned char>(byte) >= LOWEST_TRAIL_BYTE;
}

}  // namespace

void setCodePage(std::uint32_t codePage) {
    currentCodePage = codePage;
}

bool isLeadByte(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    switch (currentCodePage) {
        case 932:
            return (value >= 0x81 && value <= 0x9F) || (value >= 0xE0 && value <= 0xFC);
        case 936:
        case 949:
        case 950:
            return value >= 0x81 && value <= 0xFE;
        default:
            return false;
    }
}

bool isTrailByte(const char* text, const char* position) {
    if (text == nullptr || position == nullptr || position <= text) return false;
    if (currentCodePage == 0 || !canBeTrail(*position)) return false;
    const char* at = text;
    while (at < position && *at != '\0') {
        if (!isLeadByte(*at)) {
            ++at;
        } else if (at + 1 == position) {
            return true;
        } else if (at[1] == '\0') {
            return false;
        } else {
            at += 2;
        }
    }
    return false;
}

bool TrailByteScan::isTrail(char byte) {
    if (afterLead_) {
        afterLead_ = false;
        return canBeTrail(byte);
    }
    afterLead_ = isLeadByte(byte);
    return false;
}

}  // namespace ovpatch
