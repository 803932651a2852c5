// Reads the entries of one directory from the device.
#ifndef OVPATCH_FILEOPS_DIRECTORY_ENTRIES_H
#define OVPATCH_FILEOPS_DIRECTORY_ENTRIES_H

#include <cstdint>

#include "foundation/byte_string.h"
#include "platform/platform.h"

namespace ovpatch {

// Goes once over all entries of a directory, "." and ".." left out, in the device's order.
class DirectoryEntries {
public:
    // `directory` is empty or ends in a separator, and outlives the object. One that is missing has no
    // entries.
    explicit DirectoryEntries(const ByteString& directory);
    ~DirectoryEntries();
    DirectoryEntries(const DirectoryEntries&) = delete;
    DirectoryEntries& operator=(const DirectoryEntries&) = delete;

    // Moves to the next entry, the first at first; false behind the last, and where the device could not read
    // on.
    bool next();

    // Why there may be more entries than next() went over, as a number of the device; 0 when it went over
    // all.
    DWORD error() const { return error_; }

    // The entry's name in the device's code page, good until the next move.
    const char* name() const { return name_; }

    // Answers what ovpatch::isDirectory answers for the directory and the name, without asking the device.
    bool isDirectory() const;

private:
    bool readName();
    void noteError(DWORD number);

    // The most bytes that a name of the device takes in any code page.
    static constexpr int nameBytes = MAX_PATH * 4;

    const ByteString& directory_;
    std::uint32_t directoryUnits_ = 0;
    HANDLE search_ = INVALID_HANDLE_VALUE;
    bool atFirst_ = true;
    DWORD error_ = ERROR_SUCCESS;
    WIN32_FIND_DATAW entry_;
    char name_[nameBytes];
};

}  // namespace ovpatch

#endif
