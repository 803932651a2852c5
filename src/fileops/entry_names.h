// The names of a directory's entries, packed one behind the other.
#ifndef OVPATCH_FILEOPS_ENTRY_NAMES_H
#define OVPATCH_FILEOPS_ENTRY_NAMES_H

#include <cstddef>
#include <cstdint>

namespace ovpatch {

// A list that is only added to and read from the front. An entry costs its name and two bytes.
class EntryNames {
public:
    // Where an entry stands; the first at 0, the end at end().
    using Position = std::uint32_t;

    EntryNames() = default;
    ~EntryNames();
    EntryNames(const EntryNames&) = delete;
    EntryNames& operator=(const EntryNames&) = delete;

    // Adds the terminated `name`. False without memory for it; the list is then as it was.
    [[nodiscard]] bool add(const char* name, bool isDirectory);

    std::uint32_t count() const { return count_; }
    Position end() const { return used_; }
    Position next(Position position) const;
    const char* name(Position position) const { return bytes_ + position + 1; }
    bool isDirectory(Position position) const { return bytes_[position] != 0; }

    void clear();
    void swap(EntryNames& other);

private:
    bool makeRoom(std::size_t size);

    std::uint32_t count_ = 0;
    Position used_ = 0;
    std::size_t room_ = 0;
    char* bytes_ = nullptr;  // for each entry its directory flag, its name and a terminator
};

}  // namespace ovpatch

#endif
