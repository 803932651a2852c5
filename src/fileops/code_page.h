// The code page of the program's own 8-bit text, and the tests that tell where its characters begin.
//
// In a double-byte code page the second byte of a character can be a backslash or a letter. The code page is
// set once at the start and decides only these tests; the device converts text by its own default code page.
#ifndef OVPATCH_FILEOPS_CODE_PAGE_H
#define OVPATCH_FILEOPS_CODE_PAGE_H

#include <cstdint>

namespace ovpatch {

// Sets the code page of the process. It is 0 at the start. Only 932, 936, 949 and 950 have double-byte
// characters; with any other value all text is single bytes.
void setCodePage(std::uint32_t codePage);

// Whether `byte` begins a double-byte character.
bool isLeadByte(char byte);

// Whether the byte at `position`, a pointer into the terminated `text`, is the second byte of a double-byte
// character. False when either is null or `position` lies before `text`. Costs a walk from the start of
// `text`.
bool isTrailByte(const char* text, const char* position);

// Walks a text byte by byte from its start and tells for each byte, at no further cost, what isTrailByte
// would answer.
class TrailByteScan {
public:
    // Takes the next byte of the text; true if it is a trail byte.
    bool isTrail(char byte);

private:
    bool afterLead_ = false;
};

}  // namespace ovpatch

#endif
