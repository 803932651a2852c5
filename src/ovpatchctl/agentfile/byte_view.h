// The bytes of a file that may be damaged in any way.
#ifndef OVPATCH_OVPATCHCTL_AGENTFILE_BYTE_VIEW_H
#define OVPATCH_OVPATCHCTL_AGENTFILE_BYTE_VIEW_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace ovpatch::ctl {

// Thrown where the file does not hold what it says.
class DamagedFile : public std::runtime_error {
public:
    DamagedFile() : std::runtime_error("the file is damaged or cut short") {}
};

// Looks at bytes that the caller keeps. What lies outside of them is not read: DamagedFile is thrown.
class ByteView {
public:
    ByteView(const std::uint8_t* bytes, std::uint64_t size, bool isHighFirst)
        : bytes_(bytes), size_(size), isHighFirst_(isHighFirst) {}

    std::uint64_t size() const { return size_; }

    bool holds(std::uint64_t offset, std::uint64_t count) const {
        return offset <= size_ && count <= size_ - offset;
    }

    // The unsigned number of `width` bytes, 1 to 8, at `offset`.
    std::uint64_t number(std::uint64_t offset, unsigned width) const;

    std::uint8_t byte(std::uint64_t offset) const { return static_cast<std::uint8_t>(number(offset, 1)); }
    std::uint16_t half(std::uint64_t offset) const { return static_cast<std::uint16_t>(number(offset, 2)); }
    std::uint32_t word(std::uint64_t offset) const { return static_cast<std::uint32_t>(number(offset, 4)); }

    // The text at `offset` up to its terminator, or its first `most` bytes.
    std::string_view text(std::uint64_t offset, std::size_t most) const;

private:
    const std::uint8_t* bytes_;
    std::uint64_t size_;
    bool isHighFirst_;
};

}  // namespace ovpatch::ctl

#endif
