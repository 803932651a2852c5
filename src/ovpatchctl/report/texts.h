// Names, versions and numbers as they are told.
#ifndef OVPATCH_OVPATCHCTL_REPORT_TEXTS_H
#define OVPATCH_OVPATCHCTL_REPORT_TEXTS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "ovpatch/patch_agent.h"

namespace ovpatch::ctl {

// Device text (8 bits, default code page) as UTF-8, for the document. A byte that is no text there becomes
// `?` and its two hexadecimal digits, and a `?` itself, which no path of the program can hold, `?3F`: every
// text can be had back.
std::string utf8(std::string_view text);

// The same for people: control characters are written like bytes that are no text, `?` stays.
std::string shown(std::string_view text);

// A version as a manifest of that class writes it: 86016 is 1.5, with the build behind it where there is one;
// that of a pattern is a plain number.
std::string versionText(std::int32_t itemClass, const ItemVersion& version);

// "engine 2/31": an item by class and type, as its directories are named.
std::string itemName(std::int32_t itemClass, std::int32_t itemType);

// "1 file", "3 files".
std::string counted(std::uint64_t count, std::string_view singular, std::string_view plural);

}  // namespace ovpatch::ctl

#endif
