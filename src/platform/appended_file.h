// A file that grows by records, each of which is in it when the call returns.
#ifndef OVPATCH_PLATFORM_APPENDED_FILE_H
#define OVPATCH_PLATFORM_APPENDED_FILE_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace platform {

// Where the host lets others remove and rename an open file, it stays open between the records. Before each
// one the name is asked for: a file that somebody has removed, renamed, replaced or made read-only since is
// found as fopen would find it.
class AppendedFile {
public:
    AppendedFile() = default;
    ~AppendedFile() { close(); }
    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;

    // Appends `size` bytes of text to the file that fopen(path, "at") opens or makes. False with the last
    // error set, of fopen where it cannot be opened.
    bool append(const char* path, const char* text, std::size_t size);

    void close();

private:
    std::intptr_t handle_ = -1;  // the host's
    std::uint64_t device_ = 0;
    std::uint64_t id_ = 0;
};

}  // namespace platform

#endif
