#include "foundation/pattern_number.h"

namespace ovpatch {

std::uint32_t reducePatternNumber(std::uint32_t value) {
    return value < 1000 ? value : value / 100 % 1000;
}

}  // namespace ovpatch
