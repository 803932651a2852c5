// The system's one string value: counted 8-bit characters with a zero terminator and a block of its own.
#ifndef OVPATCH_FOUNDATION_BYTE_STRING_H
#define OVPATCH_FOUNDATION_BYTE_STRING_H

#include <cstdint>

namespace ovpatch {

// A growable array of 8-bit characters, in no particular encoding. There is no sharing: a copy copies at
// once. The characters may include zero bytes when they come from a counted source; operations on a
// ByteString carry them along, operations that take or search "text" (zero-terminated characters) stop at the
// first one.
//
// A string promises a capacity: 255 characters at least, exactly what was needed from 256 on. The block
// behind it is kept apart from that promise, because documents hold tens of thousands of short or empty
// strings and read their lines byte by byte: it starts as small as the text, an empty string has none, and it
// doubles when appending outgrows it.
//
// All lengths, counts and indexes are bytes without the terminator. When no block can be had, or a length
// would pass MAX_LENGTH, the process ends (see outOfMemory).
class ByteString {
public:
    // As a `count`: the whole text, or everything up to the end.
    static constexpr std::uint32_t WHOLE = 0xFFFFFFFF;
    // The answer of a `find` that found nothing.
    static constexpr std::uint32_t NOT_FOUND = 0xFFFFFFFF;
    // The longest string.
    static constexpr std::uint32_t MAX_LENGTH = 0x7FFFFFF0;

    // An empty string; allocates nothing.
    ByteString();
    // Takes `count` bytes of `text` without looking for a terminator, or with WHOLE all up to it. Null text
    // yields an empty string, whatever `count` is.
    explicit ByteString(const char* text, std::uint32_t count = WHOLE);
    ByteString(const ByteString& other);
    // Takes over content and capacity; `other` becomes empty.
    ByteString(ByteString&& other) noexcept;
    ~ByteString();

    // As assign.
    ByteString& operator=(const ByteString& other);
    // Exchanges the two strings.
    ByteString& operator=(ByteString&& other) noexcept;

    // Replace the content; null text is read as empty. The capacity never becomes smaller. The text may lie
    // inside this string.
    void assign(const char* text);
    void assign(const ByteString& other);

    // Append at the end; null text appends nothing. The source must not lie inside this string.
    void append(const char* text);
    void append(const ByteString& other);
    // Appends `count` copies of `c`; a `count` below 1 does nothing.
    void appendChar(std::int32_t count, char c);

    std::uint32_t length() const;
    // The characters that the string promises to hold, see above. Not the size of its block.
    std::uint32_t capacity() const;
    // The characters, zero-terminated; never null. Good until the next change of the string.
    const char* cStr() const { return characters_; }

    // The character at `index`. At or beyond the end a zero byte outside the string; what is stored into that
    // one is gone at the next call.
    char& at(std::uint32_t index);
    const char& at(std::uint32_t index) const;

    // The index of the first occurrence at or after `start`. NOT_FOUND when there is none, when `start` is at
    // or beyond the end, and for null text. The search for text ends at a zero byte in the string.
    std::uint32_t find(char c, std::uint32_t start = 0) const;
    std::uint32_t find(const char* text, std::uint32_t start = 0) const;

    // The `count` bytes from `start` on, cut at the end of the string.
    ByteString substr(std::uint32_t start, std::uint32_t count = WHOLE) const;

    // The answer of strcmp on the characters and `text`, which must not be null.
    int compare(const char* text) const;

    // Replaces the `count` bytes at `position`, both cut at the end of the string, by `text`, which must not
    // be null and may lie inside this string. What precedes and what follows the replaced bytes counts up to
    // its first zero byte; the length is nevertheless the old one less `count` plus that of `text`, and zero
    // bytes fill the rest. The string gets a block for its new length plus 1 and forgets a larger capacity.
    void replace(std::uint32_t position, std::uint32_t count, const char* text);

    // 0 at or beyond the end; 1 where a word break stands (see isWordBreak); else the length of the whole run
    // of other bytes that `index` lies in.
    std::uint32_t wordLengthAt(std::uint32_t index) const;

    // Removes blanks, tabs, line feeds, form feeds and carriage returns (not vertical tabs) from both ends.
    // All of them lie below 0x40, so a trail byte is never cut off.
    void trimWhitespace();

private:
    void setContent(const char* source, std::uint32_t count);
    char* extend(std::uint32_t count);
    void resizeRoom(std::uint32_t room);

    char* characters_;
};

// New strings; the operands stay as they are. Null text counts as empty.
ByteString operator+(const ByteString& left, const ByteString& right);
ByteString operator+(const ByteString& left, const char* right);
ByteString operator+(const char* left, const ByteString& right);

// False for "a" to "z", "A" to "Z", "0" to "9" and "_", true for every other byte.
bool isWordBreak(char c);

}  // namespace ovpatch

#endif
