// How names of sections and keys are read and compared.
#ifndef OVPATCH_INI_INI_NAMES_H
#define OVPATCH_INI_INI_NAMES_H

#include <cstdint>
#include <string_view>

namespace ovpatch {

// `name`, which may be null, less the white space at its ends that trimWhitespace removes. Points into
// `name`.
std::string_view trimmedName(const char* name);

// Whether the names are the same bytes. Unless `caseSensitive`, "A" to "Z" are read as lower case; no other
// byte folds.
bool equalNames(std::string_view left, std::string_view right, bool caseSensitive);

// A number that equal names share.
std::uint32_t nameHash(std::string_view name, bool caseSensitive);

}  // namespace ovpatch

#endif
