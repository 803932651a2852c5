// The entries of one directory, held in memory and sorted.
#ifndef OVPATCH_PLATFORM_POSIX_DIRECTORY_ENTRIES_H
#define OVPATCH_PLATFORM_POSIX_DIRECTORY_ENTRIES_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace ovpatch::posix {

// Costs six bytes an entry beside the bytes of its name, and up to as much again as reserve.
class DirectoryEntries {
public:
    DirectoryEntries() = default;
    ~DirectoryEntries();
    DirectoryEntries(const DirectoryEntries&) = delete;
    DirectoryEntries& operator=(const DirectoryEntries&) = delete;

    // Adds all entries of a directory but `.` and `..`, then sorts ascending by the name's bytes, taken as
    // unsigned. False with the last error set when it cannot be read to its end: ERROR_PATH_NOT_FOUND (3)
    // where it is missing or no directory.
    bool read(const char* hostDirectory);

    // Adds one entry. False without memory, with ERROR_NOT_ENOUGH_MEMORY (8).
    bool add(const char* name, bool isDirectory);

    std::size_t count() const { return count_; }
    // The entry at `index`, below count(). A directory is one also through a link.
    const char* name(std::size_t index) const { return arena_ + offsets_[index] + 1; }
    bool isDirectory(std::size_t index) const { return arena_[offsets_[index]] != 0; }

private:
    char* arena_ = nullptr;  // for each entry a byte that tells a directory, and the name, zero-terminated
    std::size_t arenaUsed_ = 0;
    std::size_t arenaSize_ = 0;
    std::uint32_t* offsets_ = nullptr;  // into the arena, in the order of the entries
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace ovpatch::posix

#endif
