// Numbers in the text of manifests and ledgers. The same on every host, whatever its `long` holds.
#ifndef OVPATCH_OVPATCH_MANIFEST_NUMBER_TEXT_H
#define OVPATCH_OVPATCH_MANIFEST_NUMBER_TEXT_H

#include <cstdint>

namespace ovpatch {

// The decimal number at the start of `text`, leading white space and a sign allowed; reading stops at the
// first other character, and a text without digits is 0. A number of
// 33 to 63 bits keeps its low 32, so that what was written as unsigned ("4294967295") reads as the signed
// number (-1) that it was made from.
std::int32_t readDecimal(const char* text);

// The same for a hexadecimal number; a leading "0x" is taken.
std::int32_t readHexadecimal(const char* text);

// A decimal number of things. One that is negative or beyond 32 bits is UINT32_MAX: more than can be had.
std::uint32_t readCount(const char* text);

}  // namespace ovpatch

#endif
