// A file that one process holds for as long as it lives: no other can hold it meanwhile, and when the process
// dies, in whatever way, the next one can.
#ifndef OVPATCH_PLATFORM_LOCKED_FILE_H
#define OVPATCH_PLATFORM_LOCKED_FILE_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace platform {

class LockedFile {
public:
    enum class Outcome {
        HELD,
        MISSING,    // there is no such file
        TAKEN,      // `create` only: the name is in use
        NO_FILE,    // a directory, a link or anything else that is no regular file
        NOT_OPENED  // any other failure; the last error has the reason
    };

    LockedFile() = default;
    ~LockedFile() { release(); }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    // Makes the file, empty, and holds it.
    Outcome create(LPCWSTR path);

    // Holds a file that exists, never through a link; waits for as long as another process holds it.
    Outcome hold(LPCWSTR path);

    bool isHeld() const { return handle_ != -1; }

    // Bytes that the file holds.
    std::uint64_t size() const { return size_; }

    // Appends all of `bytes` in one step of the host, or none: after a failure the file ends where it did,
    // or, where not even that can be had, nothing is appended any more.
    bool append(const char* bytes, std::size_t count);

    // The same for whole lines, where the host can do it without a call for each: a line is there when its
    // line feed is. Zero bytes may stand behind the last one for as long as the file is held, and ever after
    // if the process dies.
    bool appendLines(const char* bytes, std::size_t count);

    // Sets room on the disk aside for as many bytes in all, where the host can do that; the size stays.
    void reserve(std::uint64_t bytes);

    // Reads exactly `count` bytes from `offset` on.
    bool read(std::uint64_t offset, char* bytes, std::size_t count) const;

    // Cuts the file off behind `size` bytes.
    bool truncate(std::uint64_t size);

    // Brings what was appended to the disk.
    bool flush();

    // Gives the file, under the name by which it was opened, another one that nothing has. It stays held.
    bool rename(LPCWSTR path, LPCWSTR newName);

    // Removes the file, whose name this is, and lets go of it. After a failure it is held still.
    bool remove(LPCWSTR path);

    // Lets go of the file, which stays. Nothing happens when none is held.
    void release();

private:
    bool openWindow();
    void closeWindow();

    std::intptr_t handle_ = -1;  // the host's
    std::uint64_t size_ = 0;
    std::uint64_t reserved_ = 0;
    bool hasTail_ = false;    // a part of what could not be appended stands behind the end
    char* window_ = nullptr;  // the part of the file that is written through memory, if any
    std::uint64_t windowStart_ = 0;
    bool cannotMap_ = false;  // as was found out
};

}  // namespace platform

#endif
