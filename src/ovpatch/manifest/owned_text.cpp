#include "ovpatch/manifest/owned_text.h"

#include <cstdlib>
#include <cstring>

#include "foundation/bounded.h"

namespace ovpatch {

TextCopy copyText(const char* text, char** out) {
    const std::size_t size = std::strlen(text) + 1;
    *out = static_cast<char*>(std::malloc(size));
    if (*out == nullptr) return TextCopy::NO_MEMORY;
    if (boundedStrncpy(*out, text, size) == nullptr) {
        releaseText(out);
        return TextCopy::NOT_COPIED;
    }
    return TextCopy::DONE;
}

void releaseText(char** text) {
    std::free(*text);
    *text = nullptr;
}

}  // namespace ovpatch
