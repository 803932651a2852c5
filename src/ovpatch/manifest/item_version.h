// Versions as text and as an `ItemVersion`, in both directions.
//
// The class of the item chooses the form of the text. Class 3 (Pattern) is a plain decimal number. Every
// other class is `major`, `major.fraction`, `major.fraction.build` or `major.fraction-build` (read, never
// written), where the fraction is up to four decimal digits, left-aligned, one hexadecimal digit each: "1.5"
// is 0x00015000, "1.05" is 0x00010500. What survives a write and a read is the triple, not the spelling:
// "1.50" comes back as "1.5".
//
// All are pure functions; none fails. `size` is that of the buffer in bytes, terminator included; a text that
// does not fit leaves an empty buffer (32 bytes always suffice).
#ifndef OVPATCH_OVPATCH_MANIFEST_ITEM_VERSION_H
#define OVPATCH_OVPATCH_MANIFEST_ITEM_VERSION_H

#include <cstddef>
#include <cstdint>

#include "ovpatch/patch_agent.h"

namespace ovpatch {

// `text` must not be null.
ItemVersion parseItemVersion(const char* text, std::int32_t itemClass);
void formatItemVersion(std::int32_t itemClass, const ItemVersion& version, char* out, std::size_t size);

// The dotted form. Null text is all zero. `spare` takes no part in the text.
ItemVersion parseDottedVersion(const char* text);
void formatDottedVersion(std::uint32_t number, std::uint32_t build, std::int32_t spare, char* out,
                         std::size_t size);

// Major and fraction alone. A major number above 65535 keeps its low 16 bits. At least one fraction digit is
// written.
std::uint32_t parsePackedVersion(const char* text);
void formatPackedVersion(std::uint32_t packed, char* out, std::size_t size);

// The plain form, signed.
void formatPatternNumber(std::uint32_t number, char* out, std::size_t size);

}  // namespace ovpatch

#endif
