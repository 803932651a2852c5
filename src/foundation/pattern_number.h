// Version numbers of pattern sets, as agents of the old generation know them.
#ifndef OVPATCH_FOUNDATION_PATTERN_NUMBER_H
#define OVPATCH_FOUNDATION_PATTERN_NUMBER_H

#include <cstdint>

namespace ovpatch {

// `value` itself below 1000, else the last three decimal digits of a hundredth of it, rounded down.
std::uint32_t reducePatternNumber(std::uint32_t value);

}  // namespace ovpatch

#endif
