#include "ovpatch/journal/journal_line.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace ovpatch {

namespace {

struct LineForm {
    const char* word;
    LineKind kind;
    int states;
    int texts;
    bool result;
};

// At the place of its kind's number.
constexpr LineForm FORMS[] = {
    {"directory", LineKind::DIRECTORY, 0, 1, false},
    {"tree", LineKind::TREE, 0, 1, false},
    {"add", LineKind::ADD, 1, 1, false},
    {"write", LineKind::WRITE, 2, 2, false},
    {"remove", LineKind::REMOVE, 1, 2, false},
    {"restore", LineKind::RESTORE, 2, 3, false},
    {"swap", LineKind::SWAP, 2, 2, false},
    {"put", LineKind::PUT, 1, 2, false},
    {"made", LineKind::MADE, 1, 1, false},
    {"void", LineKind::NOTHING, 0, 0, false},
    {"drop", LineKind::DROP, 0, 1, false},
    {"dropTree", LineKind::DROP_TREE, 0, 1, false},
    {"result", LineKind::RESULT, 1, 0, true},
    {"done", LineKind::DONE, 0, 0, false},
};

constexpr char HEAD_WORD[] = "OvJournal";
constexpr std::uint64_t VERSION = 1;
constexpr int NANOSECOND_DIGITS = 9;
constexpr std::uint32_t NANOSECONDS = 1000000000;

// Writes to a buffer of JOURNAL_LINE_SIZE bytes.
class LineWriter {
public:
    explicit LineWriter(char* out) : start_(out), end_(out + JOURNAL_LINE_SIZE - 1), at_(out) {}

    void put(char byte) {
        if (at_ < end_)
            *at_++ = byte;
        else
            fits_ = false;
    }
    void bytes(const char* text, std::size_t count) {
        fits_ = fits_ && count <= static_cast<std::size_t>(end_ - at_);
        if (!fits_) return;
        std::memcpy(at_, text, count);
        at_ += count;
    }
    void word(const char* text) { bytes(text, std::strlen(text)); }
    // Without the first `skipped` digits.
    void number(std::uint64_t value, std::size_t skipped = 0) {
        const std::to_chars_result result = std::to_chars(at_, end_, value);
        fits_ = fits_ && result.ec == std::errc();
        if (!fits_) return;
        if (skipped != 0) std::memmove(at_, at_ + skipped, static_cast<std::size_t>(result.ptr - at_));
        at_ = result.ptr - skipped;
    }
    void signedNumber(std::int64_t value) {
        if (value < 0) put('-');
        number(value < 0 ? ~static_cast<std::uint64_t>(value) + 1 : static_cast<std::uint64_t>(value));
    }
    void state(const platform::FileState& state) {
        put(' ');
        if (!state.exists) {
            put('-');
            return;
        }
        number(state.size);
        put(':');
        signedNumber(state.seconds);
        put('.');
        number(std::uint64_t{NANOSECONDS} + state.nanoseconds, 1);
        put(':');
        number(state.id);
    }
    void text(const char* text) {
        word(" \"");
        for (;; ++text) {
            const std::size_t plain = std::strcspn(text, "\"%\n");
            bytes(text, plain);
            text += plain;
            if (*text == '\0') break;
            word(*text == '"' ? "%22" : *text == '%' ? "%25" : "%0A");
        }
        put('"');
    }
    std::size_t finish() {
        put('\n');
        return fits_ ? static_cast<std::size_t>(at_ - start_) : 0;
    }

private:
    char* start_;
    char* end_;
    char* at_;
    bool fits_ = true;
};

// Takes a line apart from its front. Each step answers false where something else stands.
class LineParser {
public:
    LineParser(const char* text, std::size_t length) : at_(text), end_(text + length) {}

    bool atEnd() const { return at_ == end_; }
    bool take(char byte) {
        if (at_ == end_ || *at_ != byte) return false;
        ++at_;
        return true;
    }
    bool takeWord(const char* word) {
        if (at_ == end_ || *at_ != *word) return false;
        const std::size_t length = std::strlen(word);
        if (static_cast<std::size_t>(end_ - at_) < length || std::memcmp(at_, word, length) != 0)
            return false;
        at_ += length;
        return at_ == end_ || *at_ == ' ';
    }
    bool takeNumber(std::uint64_t* value, int* digits = nullptr) {
        const char* start = at_;
        for (*value = 0; at_ != end_ && *at_ >= '0' && *at_ <= '9'; ++at_) {
            const auto digit = static_cast<std::uint64_t>(*at_ - '0');
            if (*value > (UINT64_MAX - digit) / 10) return false;
            *value = *value * 10 + digit;
        }
        if (digits != nullptr) *digits = static_cast<int>(at_ - start);
        return at_ != start;
    }
    bool takeSigned(std::int64_t* value) {
        const bool negative = take('-');
        std::uint64_t number;
        if (!takeNumber(&number) || number > static_cast<std::uint64_t>(INT64_MAX)) return false;
        *value = negative ? -static_cast<std::int64_t>(number) : static_cast<std::int64_t>(number);
        return true;
    }
    bool takeState(platform::FileState* state) {
        *state = platform::FileState();
        if (!take(' ')) return false;
        if (take('-')) return true;
        std::uint64_t nanoseconds;
        int digits;
        state->exists = state->isFile = true;
        if (!takeNumber(&state->size) || !take(':') || !takeSigned(&state->seconds) || !take('.'))
            return false;
        if (!takeNumber(&nanoseconds, &digits) || digits != NANOSECOND_DIGITS) return false;
        static_assert(NANOSECONDS == 1000000000, "nine digits tell a fraction of a second");
        state->nanoseconds = static_cast<std::uint32_t>(nanoseconds);
        return take(':') && takeNumber(&state->id);
    }
    // `out` has `size` bytes.
    bool takeText(char* out, std::size_t size) {
        if (!take(' ') || !take('"')) return false;
        char* last = out + size - 1;
        for (; !atEnd() && *at_ != '"'; ++out) {
            if (out == last || *at_ == '\0') return false;
            if (*at_ != '%')
                *out = *at_++;
            else if (!takeEscape(out))
                return false;
        }
        *out = '\0';
        return take('"');
    }

private:
    bool takeEscape(char* out) {
        if (end_ - at_ < 3) return false;
        if (std::memcmp(at_, "%22", 3) == 0)
            *out = '"';
        else if (std::memcmp(at_, "%25", 3) == 0)
            *out = '%';
        else if (std::memcmp(at_, "%0A", 3) == 0)
            *out = '\n';
        else
            return false;
        at_ += 3;
        return true;
    }

    const char* at_;
    const char* end_;
};

bool parseRest(LineParser parser, const LineForm& form, ReadJournalLine* out) {
    out->line.kind = form.kind;
    out->line.result = 0;
    if (form.result) {
        std::int64_t result;
        if (!parser.take(' ') || !parser.takeSigned(&result) || result > INT32_MAX || result < -INT32_MAX)
            return false;
        out->line.result = static_cast<std::int32_t>(result);
    }
    for (int i = 0; i < form.states; ++i)
        if (!parser.takeState(&out->line.states[i])) return false;
    for (int i = 0; i < form.texts; ++i) {
        if (!parser.takeText(out->texts[i], JOURNAL_PATH_SIZE)) return false;
        out->line.texts[i] = out->texts[i];
    }
    return parser.atEnd();
}

}  // namespace

int textCount(LineKind kind) {
    return FORMS[static_cast<int>(kind)].texts;
}

std::size_t formatHead(const JournalHead& head, char* out) {
    LineWriter writer(out);
    writer.word(HEAD_WORD);
    writer.put(' ');
    writer.number(VERSION);
    writer.put(' ');
    writer.number(head.process);
    writer.text(head.workingDirectory);
    return writer.finish();
}

std::size_t formatLine(const JournalLine& line, char* out) {
    const LineForm& form = FORMS[static_cast<int>(line.kind)];
    LineWriter writer(out);
    writer.word(form.word);
    if (form.result) {
        writer.put(' ');
        writer.signedNumber(line.result);
    }
    for (int i = 0; i < form.states; ++i)
        writer.state(line.states[i]);
    for (int i = 0; i < form.texts; ++i)
        writer.text(line.texts[i]);
    return writer.finish();
}

HeadReading parseHead(const char* text, std::size_t length, JournalHead* out) {
    LineParser parser(text, length);
    std::uint64_t version;
    std::uint64_t process;
    if (!parser.takeWord(HEAD_WORD) || !parser.take(' ') || !parser.takeNumber(&version))
        return HeadReading::NO_HEAD;
    if (version != VERSION) return HeadReading::OTHER_VERSION;
    if (!parser.take(' ') || !parser.takeNumber(&process) || process > UINT32_MAX)
        return HeadReading::NO_HEAD;
    out->process = static_cast<std::uint32_t>(process);
    if (!parser.takeText(out->workingDirectory, sizeof out->workingDirectory)) return HeadReading::NO_HEAD;
    return parser.atEnd() ? HeadReading::KNOWN : HeadReading::NO_HEAD;
}

bool isHeadStart(const char* text, std::size_t length) {
    const std::size_t word = sizeof HEAD_WORD - 1;
    const auto isZero = [](char byte) { return byte == '\0'; };
    const char* end = std::find(text, text + length, '\0');
    const auto begun = static_cast<std::size_t>(end - text);
    return begun < JOURNAL_LINE_SIZE && std::all_of(end, text + length, isZero) &&
           std::memcmp(text, HEAD_WORD, begun < word ? begun : word) == 0;
}

bool parseLine(const char* text, std::size_t length, ReadJournalLine* out) {
    for (const LineForm& form : FORMS) {
        LineParser parser(text, length);
        if (parser.takeWord(form.word)) return parseRest(parser, form, out);
    }
    return false;
}

}  // namespace ovpatch
