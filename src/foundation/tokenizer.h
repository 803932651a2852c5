// Cutting text at a separator byte.
#ifndef OVPATCH_FOUNDATION_TOKENIZER_H
#define OVPATCH_FOUNDATION_TOKENIZER_H

#include <cstdint>

#include "foundation/string_list.h"

namespace ovpatch {

// The pieces of `text` between separators, in order and untrimmed. Empty pieces in front of and between
// separators count; behind a separator at the very end there is none. Null and empty text yield no pieces.
// There are no quotes or escapes, and bytes are compared: `separator` must lie below 0x40, where no trail
// byte of a double-byte character lies. Without memory for a piece the process ends (see outOfMemory).
StringList splitString(const char* text, char separator);

// A copy of the item, trimmed as by trimWhitespace. Empty when `index` is negative or not below the count.
ByteString tokenAt(const StringList& list, std::int32_t index);

}  // namespace ovpatch

#endif
