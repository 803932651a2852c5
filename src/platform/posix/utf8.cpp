#include "platform/utf8.h"

#include <iconv.h>

#include <cstdint>
#include <cstdlib>

#include "platform/posix/text_conversion.h"

namespace platform {

namespace {

constexpr std::size_t MOST_BYTES = 8;

bool isTail(unsigned char byte) {
    return (byte & 0xC0u) == 0x80;
}

// The size of the UTF-8 character at the start of `text`; 0 where none begins, nor may begin, there.
std::size_t utf8Size(const unsigned char* text, std::size_t size) {
    const unsigned char first = text[0];
    if (first < 0x80) return 1;
    const std::size_t wanted = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || size < wanted) return 0;
    for (std::size_t i = 1; i < wanted; ++i)
        if (!isTail(text[i])) return 0;
    // Longer than need be, half of a pair, or beyond the last character.
    if ((first == 0xE0 && text[1] < 0xA0) || (first == 0xED && text[1] > 0x9F)) return 0;
    if ((first == 0xF0 && text[1] < 0x90) || (first == 0xF4 && text[1] > 0x8F)) return 0;
    return wanted;
}

// Of the code page that the environment names, ended by the process's end; none where the host knows no way.
iconv_t converter() {
    static const iconv_t opened = [] {
        const char* page = std::getenv("OVPATCH_ANSI_CODE_PAGE");
        return iconv_open("UTF-8", (std::string("CP") + (page != nullptr ? page : "")).c_str());
    }();
    return opened;
}

bool hasCodePage() {
    // A lead byte and a trail byte are one unit in each of them, and two otherwise.
    static const bool has = [] {
        std::size_t used = 0;
        ovpatch::posix::decodeUnit("\x81\x40", 2, &used);
        return used == 2;
    }();
    return has;
}

}  // namespace

std::size_t nextAsUtf8(const char* text, std::size_t size, std::string* out) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    if (bytes[0] < 0x80 || !hasCodePage()) {
        const std::size_t taken = utf8Size(bytes, size);
        out->append(text, taken);
        return taken;
    }
    if (reinterpret_cast<std::intptr_t>(converter()) == -1) return 0;
    std::size_t used = 0;
    ovpatch::posix::decodeUnit(text, size, &used);
    char* in = const_cast<char*>(text);
    std::size_t left = used;
    char converted[MOST_BYTES];
    char* end = converted;
    std::size_t room = sizeof converted;
    iconv(converter(), nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter(), &in, &left, &end, &room) != 0 || left != 0) return 0;
    out->append(converted, static_cast<std::size_t>(end - converted));
    return used;
}

}  // namespace platform
