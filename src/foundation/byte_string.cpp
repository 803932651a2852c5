#include "foundation/byte_string.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "foundation/out_of_memory.h"

namespace ovpatch {

namespace {

constexpr std::uint32_t SMALLEST_CAPACITY = 255;

// Stands in front of the characters.
struct Header {
    std::uint32_t room;  // characters that the block holds, without the terminator
    std::uint32_t length;
    std::uint32_t capacity;  // characters that the string promises to hold
};

struct EmptyBlock {
    Header header;
    char terminator;
};
static_assert(offsetof(EmptyBlock, terminator) == sizeof(Header), "characters follow their header at once");

// What every string without content of its own points to. It is constant: with no room, nothing writes to it.
constexpr EmptyBlock emptyBlock = {{0, 0, SMALLEST_CAPACITY}, 0};

char* emptyCharacters() {
    return const_cast<char*>(&emptyBlock.terminator);
}

Header* headerOf(char* characters) {
    return reinterpret_cast<Header*>(characters - sizeof(Header));
}

bool ownsBlock(const char* characters) {
    return characters != &emptyBlock.terminator;
}

void freeBlock(char* characters) {
    if (ownsBlock(characters)) std::free(headerOf(characters));
}

std::uint32_t capacityFor(std::uint32_t count) {
    return count < SMALLEST_CAPACITY ? SMALLEST_CAPACITY : count;
}

std::uint32_t checkedLength(std::size_t length) {
    if (length > ByteString::MAX_LENGTH) outOfMemory("a string");
    return static_cast<std::uint32_t>(length);
}

std::uint32_t textLength(const char* text) {
    return text == nullptr ? 0 : checkedLength(std::strlen(text));
}

bool isTrimmed(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\f' || c == '\r';
}

}  // namespace

ByteString::ByteString() : characters_(emptyCharacters()) {}

ByteString::ByteString(const char* text, std::uint32_t count) : characters_(emptyCharacters()) {
    if (text == nullptr) return;
    setContent(text, count == WHOLE ? textLength(text) : checkedLength(count));
}

ByteString::ByteString(const ByteString& other) : characters_(emptyCharacters()) {
    setContent(other.characters_, other.length());
}

ByteString::ByteString(ByteString&& other) noexcept : characters_(other.characters_) {
    other.characters_ = emptyCharacters();
}

ByteString::~ByteString() {
    freeBlock(characters_);
}

ByteString& ByteString::operator=(const ByteString& other) {
    if (this != &other) assign(other);
    return *this;
}

ByteString& ByteString::operator=(ByteString&& other) noexcept {
    char* const own = characters_;
    characters_ = other.characters_;
    other.characters_ = own;
    return *this;
}

void ByteString::assign(const char* text) {
    setContent(text, textLength(text));
}

void ByteString::assign(const ByteString& other) {
    setContent(other.characters_, other.length());
}

void ByteString::append(const char* text) {
    const std::uint32_t count = textLength(text);
    char* const target = extend(count);
    if (count != 0) std::memcpy(target, text, count);
}

void ByteString::append(const ByteString& other) {
    const std::uint32_t count = other.length();
    char* const target = extend(count);
    if (count != 0) std::memcpy(target, other.characters_, count);
}

void ByteString::appendChar(std::int32_t count, char c) {
    if (count < 1) return;
    const std::uint32_t added = static_cast<std::uint32_t>(count);
    std::memset(extend(added), c, added);
}

std::uint32_t ByteString::length() const {
    return headerOf(characters_)->length;
}

std::uint32_t ByteString::capacity() const {
    return headerOf(characters_)->capacity;
}

char& ByteString::at(std::uint32_t index) {
    static char outside = 0;
    if (index < length()) return characters_[index];
    outside = 0;
    return outside;
}

const char& ByteString::at(std::uint32_t index) const {
    return index < length() ? characters_[index] : emptyBlock.terminator;
}

std::uint32_t ByteString::find(char c, std::uint32_t start) const {
    if (start >= length()) return NOT_FOUND;
    const void* const found = std::memchr(characters_ + start, c, length() - start);
    if (found == nullptr) return NOT_FOUND;
    return static_cast<std::uint32_t>(static_cast<const char*>(found) - characters_);
}

std::uint32_t ByteString::find(const char* text, std::uint32_t start) const {
    if (text == nullptr || start >= length()) return NOT_FOUND;
    const char* const found = std::strstr(characters_ + start, text);
    return found == nullptr ? NOT_FOUND : static_cast<std::uint32_t>(found - characters_);
}

ByteString ByteString::substr(std::uint32_t start, std::uint32_t count) const {
    const std::uint32_t first = start < length() ? start : length();
    const std::uint32_t available = length() - first;
    return ByteString(characters_ + first, count < available ? count : available);
}

int ByteString::compare(const char* text) const {
    return std::strcmp(characters_, text);
}

void ByteString::replace(std::uint32_t position, std::uint32_t count, const char* text) {
    const ByteString before = substr(0, position);
    const std::uint32_t available = length() - before.length();
    const std::uint32_t removed = count < available ? count : available;
    const ByteString behind = substr(before.length() + removed);
    const std::uint32_t newLength =
        checkedLength(std::size_t{length()} - removed + std::size_t{textLength(text)});

    ByteString result;
    result.append(before.cStr());
    result.append(text);
    result.append(behind.cStr());
    if (result.length() < newLength) {
        result.appendChar(static_cast<std::int32_t>(newLength - result.length()), '\0');
    }
    if (ownsBlock(result.characters_)) {
        headerOf(result.characters_)->capacity = capacityFor(newLength + 1);
    }
    *this = std::move(result);
}

std::uint32_t ByteString::wordLengthAt(std::uint32_t index) const {
    if (index >= length()) return 0;
    if (isWordBreak(characters_[index])) return 1;
    std::uint32_t first = index;
    while (first > 0 && !isWordBreak(characters_[first - 1]))
        --first;
    std::uint32_t end = index + 1;
    while (end < length() && !isWordBreak(characters_[end]))
        ++end;
    return end - first;
}

void ByteString::trimWhitespace() {
    std::uint32_t first = 0;
    std::uint32_t end = length();
    while (first < end && isTrimmed(characters_[first]))
        ++first;
    while (end > first && isTrimmed(characters_[end - 1]))
        --end;
    if (end - first != length()) setContent(characters_ + first, end - first);
}

// `source` may lie inside the string: the old block stays until it is copied.
void ByteString::setContent(const char* source, std::uint32_t count) {
    char* const oldCharacters = characters_;
    const std::uint32_t oldCapacity = capacity();
    const bool fits = count <= headerOf(characters_)->room;
    if (!fits) {
        characters_ = emptyCharacters();
        resizeRoom(count);
    }
    if (!ownsBlock(characters_)) return;
    if (count != 0) std::memmove(characters_, source, count);
    characters_[count] = 0;
    Header* const header = headerOf(characters_);
    header->length = count;
    header->capacity = oldCapacity < count ? capacityFor(count) : oldCapacity;
    if (!fits) freeBlock(oldCharacters);
}

// Makes the string `count` bytes longer and answers where the caller writes them. The promised capacity must
// exceed the new length: a full block counts as too small.
char* ByteString::extend(std::uint32_t count) {
    Header* header = headerOf(characters_);
    const std::uint32_t oldLength = header->length;
    const std::uint32_t newLength = checkedLength(std::size_t{oldLength} + std::size_t{count});
    if (newLength > header->room) {
        const std::uint32_t doubled = header->room > MAX_LENGTH / 2 ? MAX_LENGTH : 2 * header->room;
        resizeRoom(newLength > doubled ? newLength : doubled);
        header = headerOf(characters_);
    }
    if (!ownsBlock(characters_)) return characters_;
    if (header->capacity <= newLength) header->capacity = capacityFor(newLength);
    header->length = newLength;
    characters_[newLength] = 0;
    return characters_ + oldLength;
}

// Moves the content to a block for `room` characters, rounded up to what allocators hand out anyway. The
// caller writes the terminator.
void ByteString::resizeRoom(std::uint32_t room) {
    const std::size_t size = (sizeof(Header) + std::size_t{room} + 1 + 7) & ~std::size_t{7};
    const bool owned = ownsBlock(characters_);
    void* const block = std::realloc(owned ? headerOf(characters_) : nullptr, size);
    if (block == nullptr) outOfMemory("a string");
    Header* const header = static_cast<Header*>(block);
    if (!owned) *header = emptyBlock.header;
    header->room = static_cast<std::uint32_t>(size - sizeof(Header) - 1);
    characters_ = reinterpret_cast<char*>(header + 1);
}

ByteString operator+(const ByteString& left, const ByteString& right) {
    ByteString joined(left);
    joined.append(right);
    return joined;
}

ByteString operator+(const ByteString& left, const char* right) {
    ByteString joined(left);
    joined.append(right);
    return joined;
}

ByteString operator+(const char* left, const ByteString& right) {
    ByteString joined(left);
    joined.append(right);
    return joined;
}

bool isWordBreak(char c) {
    return !((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_');
}

}  // namespace ovpatch
