#include "ovpatchctl/agentfile/byte_view.h"

namespace ovpatch::ctl {

std::uint64_t ByteView::number(std::uint64_t offset, unsigned width) const {
    if (!holds(offset, width)) throw DamagedFile();
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i)
        value = value << 8 | bytes_[offset + (isHighFirst_ ? i : width - 1 - i)];
    return value;
}

std::string_view ByteView::text(std::uint64_t offset, std::size_t most) const {
    std::size_t length = 0;
    while (length < most && byte(offset + length) != 0)
        ++length;
    return {reinterpret_cast<const char*>(bytes_ + offset), length};
}

}  // namespace ovpatch::ctl
