#include "ovpatchctl/log/log_records.h"

#include <charconv>

#include "ovpatchctl/log/message_text.h"

namespace ovpatch::ctl {

namespace {

constexpr std::string_view HTML_RECORD = "<span id=\"typ\"> ";
constexpr std::string_view HTML_END = "\n<br>\n</span>";
constexpr std::string_view BETWEEN = "\n\n";
constexpr std::string_view INFO_KIND = "Info:";
constexpr std::string_view ERROR_KIND = "Error:";

// What is left of a text that is read from the front.
class Rest {
public:
    explicit Rest(std::string_view text) : text_(text) {}

    bool take(std::string_view expected) {
        if (text_.substr(0, expected.size()) != expected) return false;
        text_.remove_prefix(expected.size());
        return true;
    }

    bool takeNumber(std::int32_t* out) {
        const std::from_chars_result end = std::from_chars(text_.data(), text_.data() + text_.size(), *out);
        if (end.ec != std::errc()) return false;
        text_.remove_prefix(static_cast<std::size_t>(end.ptr - text_.data()));
        return true;
    }

    bool takeKind(LogRecord* record) {
        record->isError = take(ERROR_KIND);
        return record->isError || take(INFO_KIND);
    }

    std::string_view text() const { return text_; }

private:
    std::string_view text_;
};

// The line in front of a message. Answers its length, its line feed included, or 0 when there is none.
std::size_t takeHead(std::string_view text, LogRecord* record) {
    Rest rest(text);
    std::int32_t thread = 0;
    const bool taken = rest.takeKind(record) && rest.take("  P[") && rest.takeNumber(&record->process) &&
                       rest.take("] T[") && rest.takeNumber(&thread) && rest.take("] \n");
    return taken ? text.size() - rest.text().size() : 0;
}

// Whether `text` is the beginning of such a line that was never finished.
bool isCutHead(std::string_view text) {
    if (text.find('\n') != std::string_view::npos) return false;
    for (const std::string_view kind : {INFO_KIND, ERROR_KIND})
        if (text.substr(0, kind.size()) == kind.substr(0, text.size())) return true;
    return false;
}

LogRecords readPlain(std::string_view text) {
    LogRecords out;
    LogRecord record = {};
    std::size_t messageStart = 0;
    bool inRecord = false;
    const auto endMessage = [&](std::size_t end) {
        const std::string_view message = text.substr(messageStart, end - messageStart);
        if (!inRecord) {
            out.strayBytes += message.size();
            return;
        }
        record.message = unbroken(message);
        out.records.push_back(record);
    };
    for (std::size_t at = text.find(BETWEEN); at != std::string_view::npos; at = text.find(BETWEEN, at + 1)) {
        LogRecord next = {};
        const std::size_t start = at + BETWEEN.size();
        const std::size_t length = takeHead(text.substr(start), &next);
        const bool isCut = length == 0 && isCutHead(text.substr(start));
        if (length == 0 && !isCut) continue;
        endMessage(at);
        inRecord = !isCut;
        messageStart = isCut ? at : start + length;
        record = next;
        if (isCut) break;
    }
    endMessage(text.size());
    return out;
}

// A record as far as its message. Answers its length, or 0 when it is not whole.
std::size_t takeHtmlRecord(std::string_view text, LogRecord* record) {
    Rest rest(text);
    std::int32_t thread = 0;
    const bool taken =
        rest.take(HTML_RECORD) && rest.takeKind(record) && rest.take("\n</span><span id=\"tme\"> ") &&
        rest.take("\n</span><span id=\"pid\"> P[") && rest.takeNumber(&record->process) && rest.take("]") &&
        rest.take("\n</span><span id=\"tid\"> T[") && rest.takeNumber(&thread) && rest.take("] ") &&
        rest.take("\n</span><span id=\"fln\"><br>") &&
        (rest.take("\n</span><span id=\"err\"> ") || rest.take("\n</span><span id=\"inf\"> "));
    const std::size_t end = taken ? rest.text().find(HTML_END) : std::string_view::npos;
    if (end == std::string_view::npos) return 0;
    record->message = unbroken(withoutHtml(rest.text().substr(0, end)));
    return text.size() - rest.text().size() + end + HTML_END.size();
}

LogRecords readHtml(std::string_view text) {
    LogRecords out;
    std::size_t at = text.find(HTML_RECORD);
    while (at != std::string_view::npos) {
        LogRecord record = {};
        const std::size_t length = takeHtmlRecord(text.substr(at), &record);
        const std::size_t next = text.find(HTML_RECORD, at + (length == 0 ? 1 : length));
        if (length != 0)
            out.records.push_back(record);
        else
            out.strayBytes += (next == std::string_view::npos ? text.size() : next) - at;
        at = next;
    }
    return out;
}

std::string withoutReturns(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at)
        if (text[at] != '\r' || text.substr(at + 1, 1) != "\n") out += text[at];
    return out;
}

}  // namespace

LogRecords readLogRecords(std::string_view text) {
    std::string converted;
    if (text.find("\r\n") != std::string_view::npos) text = converted = withoutReturns(text);
    const std::size_t first = text.find_first_not_of('\n');
    return first != std::string_view::npos && text[first] == '<' ? readHtml(text) : readPlain(text);
}

}  // namespace ovpatch::ctl
