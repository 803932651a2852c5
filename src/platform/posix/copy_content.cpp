#include "platform/posix/copy_content.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "platform/posix/errors.h"

namespace ovpatch::posix {

namespace {

// Up to this size one read and one write through memory are the cheapest.
constexpr std::size_t BUFFER_SIZE = 256 * 1024;
constexpr std::size_t KERNEL_COPY_STEP = 1 << 30;

// The program copies one file at a time.
char buffer[BUFFER_SIZE];

bool writeAll(int target, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(target, bytes, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return failFromErrno();
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// The answer of a host call that a signal may interrupt.
ssize_t readSome(int source) {
    ssize_t count;
    do {
        count = read(source, buffer, BUFFER_SIZE);
    } while (count < 0 && errno == EINTR);
    return count;
}

// Through memory from where both files stand to the source's end. `expected` bytes are believed to be left: a
// read that yields just these, with room for more, has met the end.
bool copyThroughMemory(int source, int target, off_t expected) {
    off_t copied = 0;
    for (;;) {
        const ssize_t count = readSome(source);
        if (count < 0) return failFromErrno();
        if (count == 0) return true;
        if (!writeAll(target, buffer, static_cast<std::size_t>(count))) return false;
        copied += count;
        if (copied == expected && count < static_cast<ssize_t>(BUFFER_SIZE)) return true;
    }
}

// Within the kernel, as far as the file systems take part. False only when the target cannot take the bytes.
bool copyWithinKernel(int source, int target, off_t size) {
    off_t copied = 0;
    while (copied < size) {
        const ssize_t count = copy_file_range(source, nullptr, target, nullptr, KERNEL_COPY_STEP, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO))
            return failFromErrno();
        if (count <= 0) return true;
        copied += count;
    }
    return true;
}

}  // namespace

bool copyContent(int source, int target, off_t size) {
    if (size < static_cast<off_t>(BUFFER_SIZE)) return copyThroughMemory(source, target, size);
    if (ioctl(target, FICLONE, source) == 0) return true;
    if (!copyWithinKernel(source, target, size)) return false;
    // Whatever the kernel did not take, and what a growing source has got meanwhile.
    return copyThroughMemory(source, target, -1);
}

}  // namespace ovpatch::posix
