// The names of a directory's entries, packed one behind the other.
#ifndef OVPATCH_FILEOPS_ENTRY_NAMES_H
#define OVPATCH_FILEOPS_ENTRY_NAMES_H

#include <cstdint>
#include <vector>

namespace ovpatch {

// A list that is only added to and read from the front. An entry costs its name and two bytes.
class EntryNames {
public:
    // Where an entry stands; the first at 0, the end at end().
    using Position = std::uint32_t;

    // Adds the terminated `name`. Answers where it stands.
    Position add(const char* name, bool isDirectory);

    std::uint32_t count() const { return count_; }
    Position end() const { return static_cast<Position>(bytes_.size()); }
    Position next(Position position) const;
    const char* name(Position position) const { return bytes_.data() + position + 1; }
    bool isDirectory(Position position) const { return bytes_[position] != 0; }

    void clear();

private:
    std::uint32_t count_ = 0;
    std::vector<char> bytes_;  // for each entry its directory flag, its name and a terminator
};

}  // namespace ovpatch

#endif
