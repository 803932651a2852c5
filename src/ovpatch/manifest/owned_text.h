// Private copies of text, for the records that outlive the document they were read from.
#ifndef OVPATCH_OVPATCH_MANIFEST_OWNED_TEXT_H
#define OVPATCH_OVPATCH_MANIFEST_OWNED_TEXT_H

namespace ovpatch {

enum class TextCopy {
    DONE,
    NO_MEMORY,   // the block could not be allocated
    NOT_COPIED,  // the text did not fit its block; the block is freed
};

// Stores a malloc copy of `text` (not null) in `out`; the caller releases it with releaseText. After any
// answer but DONE `out` is null.
TextCopy copyText(const char* text, char** out);

// Frees the text, which may be null, and sets the pointer to null.
void releaseText(char** text);

}  // namespace ovpatch

#endif
