#include "ovpatchctl/log/message_text.h"

#include <cstdint>

#include "foundation/byte_string.h"
#include "logging/log_file.h"

namespace ovpatch::ctl {

namespace {

constexpr std::string_view BLANK = "&nbsp";
constexpr std::size_t BLANKS_OF_A_TAB = 4;

struct Escape {
    std::string_view html;
    char character;
};

constexpr Escape ESCAPES[] = {{"&#38;", '&'}, {"&#60;", '<'}, {"&#62;", '>'}, {"<br>", '\n'}};

bool startsWith(std::string_view text, std::string_view front) {
    return text.substr(0, front.size()) == front;
}

// Whether the log would break `line` and `next`, were they one, just between them.
bool isBreak(std::string_view line, std::string_view next) {
    const std::string both = std::string(line) + std::string(next);
    ByteString wrapped(both.data(), static_cast<std::uint32_t>(both.size()));
    wrapLogText(wrapped);
    return startsWith(std::string_view(wrapped.cStr(), wrapped.length()), std::string(line) + '\n');
}

// Of several blanks the last one stands as it is, of a tab none.
void takeBlanks(std::string_view* rest, std::string* out) {
    std::size_t count = 0;
    for (; startsWith(*rest, BLANK); ++count)
        rest->remove_prefix(BLANK.size());
    const bool areBlanks = startsWith(*rest, " ");
    out->append(areBlanks ? count : count % BLANKS_OF_A_TAB, ' ');
    out->append(areBlanks ? 0 : count / BLANKS_OF_A_TAB, '\t');
}

}  // namespace

std::string unbroken(std::string_view message) {
    std::string out;
    for (;;) {
        const std::size_t end = message.find('\n');
        const std::string_view line = message.substr(0, end);
        out += line;
        if (end == std::string_view::npos) return out;
        message.remove_prefix(end + 1);
        if (!isBreak(line, message.substr(0, message.find('\n')))) out += '\n';
    }
}

std::string withoutHtml(std::string_view message) {
    if (message == "<hr>") return "-";
    std::string out;
    while (!message.empty()) {
        if (startsWith(message, BLANK)) {
            takeBlanks(&message, &out);
            continue;
        }
        std::size_t length = 1;
        char character = message.front();
        for (const Escape& escape : ESCAPES) {
            if (!startsWith(message, escape.html)) continue;
            length = escape.html.size();
            character = escape.character;
        }
        out += character;
        message.remove_prefix(length);
    }
    return out;
}

}  // namespace ovpatch::ctl
