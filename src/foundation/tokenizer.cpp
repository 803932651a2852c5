#include "foundation/tokenizer.h"

#include "foundation/out_of_memory.h"

namespace ovpatch {

namespace {

// A list without one of its pieces would be that of another text.
void addPiece(StringList* pieces, const ByteString& piece) {
    if (pieces->add(piece) == 0) outOfMemory("a list");
}

}  // namespace

StringList splitString(const char* text, char separator) {
    StringList pieces;
    if (text == nullptr) return pieces;
    const ByteString whole(text);
    std::uint32_t start = 0;
    for (;;) {
        const std::uint32_t cut = whole.find(separator, start);
        if (cut == ByteString::NOT_FOUND) break;
        addPiece(&pieces, whole.substr(start, cut - start));
        start = cut + 1;
    }
    if (start < whole.length()) addPiece(&pieces, whole.substr(start));
    return pieces;
}

ByteString tokenAt(const StringList& list, std::int32_t index) {
    if (index < 0 || static_cast<std::uint32_t>(index) >= list.stringCount()) return ByteString();
    ByteString token(*list.stringAt(static_cast<std::uint32_t>(index)));
    token.trimWhitespace();
    return token;
}

}  // namespace ovpatch
