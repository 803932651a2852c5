#include "platform/locked_file.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"

using namespace ovpatch::posix;

namespace {

// Written through memory at a time, in bytes; whole pages on every host.
constexpr std::size_t WINDOW_SIZE = std::size_t{128} * 1024;

#ifdef MADV_POPULATE_WRITE
constexpr int POPULATE = MADV_POPULATE_WRITE;
#else
constexpr int POPULATE = 23;  // of kernels that are younger than the headers
#endif

constexpr int FLAGS = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// False when another holds it. A file system that knows no locks stops nobody.
bool lock(int descriptor, int operation) {
    int result;
    do {
        result = flock(descriptor, operation);
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno != EWOULDBLOCK;
}

// Whether the name still leads to the open file, as far as can be told: its holder removes it before letting
// go.
bool isNamed(int descriptor, const char* path) {
    struct stat open;
    struct stat named;
    if (lstat(path, &named) != 0) return errno != ENOENT;
    return fstat(descriptor, &open) != 0 || (open.st_dev == named.st_dev && open.st_ino == named.st_ino);
}

int descriptorOf(std::intptr_t handle) {
    return static_cast<int>(handle);
}

// On these a block that a file has is written in place, so that a store to a page that is there never needs
// room. On others a page that has come to the disk needs a new place at the next store; where the disk is
// full by then, that is a signal and not an error.
bool writesInPlace(int descriptor) {
    struct statfs system;
    if (fstatfs(descriptor, &system) != 0) return false;
    const auto type = static_cast<std::uint64_t>(system.f_type);
    return type == EXT4_SUPER_MAGIC || type == TMPFS_MAGIC || type == XFS_SUPER_MAGIC;
}

// The process may be killed at any step: each line feed is stored after what stands before it.
void storeLines(char* to, const char* bytes, std::size_t count) {
    while (count > 0) {
        const auto* feed = static_cast<const char*>(std::memchr(bytes, '\n', count));
        const std::size_t text = feed == nullptr ? count : static_cast<std::size_t>(feed - bytes);
        std::memcpy(to, bytes, text);
        if (feed == nullptr) return;
        __atomic_store_n(to + text, '\n', __ATOMIC_RELEASE);
        to += text + 1;
        bytes += text + 1;
        count -= text + 1;
    }
}

}  // namespace

namespace platform {

LockedFile::Outcome LockedFile::create(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath)) return Outcome::NOT_OPENED;
    const int descriptor = open(path.cStr(), FLAGS | O_CREAT | O_EXCL, 0666);
    if (descriptor < 0) {
        failFromErrno(path.cStr());
        return errno == EEXIST ? Outcome::TAKEN : Outcome::NOT_OPENED;
    }
    // Another may have found it before it was locked, and taken it away for empty.
    if (!lock(descriptor, LOCK_EX | LOCK_NB) || !isNamed(descriptor, path.cStr())) {
        close(descriptor);
        return Outcome::TAKEN;
    }
    handle_ = descriptor;
    size_ = reserved_ = 0;
    hasTail_ = cannotMap_ = false;
    return Outcome::HELD;
}

LockedFile::Outcome LockedFile::hold(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath)) return Outcome::NOT_OPENED;
    for (;;) {
        const int descriptor = open(path.cStr(), FLAGS);
        if (descriptor < 0) {
            const int error = errno;
            failFromErrno(path.cStr());
            if (error == ENOENT) return Outcome::MISSING;
            return error == ELOOP || error == EISDIR || error == ENXIO ? Outcome::NO_FILE
                                                                       : Outcome::NOT_OPENED;
        }
        struct stat status;
        const bool isKnown = fstat(descriptor, &status) == 0;
        const bool isOther = isKnown && !S_ISREG(status.st_mode);
        // What is waited for may grow meanwhile.
        const bool isLocked =
            isKnown && !isOther && lock(descriptor, LOCK_EX) && fstat(descriptor, &status) == 0;
        if (isLocked && isNamed(descriptor, path.cStr())) {
            handle_ = descriptor;
            size_ = static_cast<std::uint64_t>(status.st_size);
            reserved_ = 0;
            hasTail_ = cannotMap_ = false;
            return Outcome::HELD;
        }
        if (!isLocked && !isOther) failFromErrno();
        close(descriptor);
        if (!isLocked) return isOther ? Outcome::NO_FILE : Outcome::NOT_OPENED;
    }
}

bool LockedFile::append(const char* bytes, std::size_t count) {
    if (hasTail_) return false;
    std::uint64_t end = size_;
    while (count > 0) {
        const ssize_t written = pwrite(descriptorOf(handle_), bytes, count, static_cast<off_t>(end));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            failFromErrno();
            hasTail_ = !truncate(size_);
            return false;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
        end += static_cast<std::uint64_t>(written);
    }
    size_ = end;
    return true;
}

// All of the window's blocks and pages are there before it is written to: a full disk is met here.
bool LockedFile::openWindow() {
    closeWindow();
    const int descriptor = descriptorOf(handle_);
    cannotMap_ = !writesInPlace(descriptor);
    if (cannotMap_) return false;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    const std::uint64_t start = size_ - size_ % page;
    const auto offset = static_cast<off_t>(start);
    const bool hasRoom = start + WINDOW_SIZE <= reserved_
                             ? ftruncate(descriptor, offset + static_cast<off_t>(WINDOW_SIZE)) == 0
                             : fallocate(descriptor, 0, offset, WINDOW_SIZE) == 0;
    if (hasRoom) {
        void* mapped = mmap(nullptr, WINDOW_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, offset);
        if (mapped != MAP_FAILED) {
            window_ = static_cast<char*>(mapped);
            windowStart_ = start;
            if (madvise(mapped, WINDOW_SIZE, POPULATE) == 0) return true;
        }
        truncate(size_);
    }
    cannotMap_ = true;
    return false;
}

void LockedFile::closeWindow() {
    if (window_ != nullptr) munmap(window_, WINDOW_SIZE);
    window_ = nullptr;
}

bool LockedFile::appendLines(const char* bytes, std::size_t count) {
    const auto fits = [&] { return window_ != nullptr && size_ + count <= windowStart_ + WINDOW_SIZE; };
    if (hasTail_ || (!fits() && (cannotMap_ || !openWindow() || !fits()))) return append(bytes, count);
    storeLines(window_ + (size_ - windowStart_), bytes, count);
    size_ += count;
    return true;
}

void LockedFile::reserve(std::uint64_t bytes) {
    const std::uint64_t start = reserved_ > size_ ? reserved_ : size_;
    if (bytes <= start) return;
    if (fallocate(descriptorOf(handle_), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(start),
                  static_cast<off_t>(bytes - start)) == 0)
        reserved_ = bytes;
}

bool LockedFile::read(std::uint64_t offset, char* bytes, std::size_t count) const {
    while (count > 0) {
        const ssize_t got = pread(descriptorOf(handle_), bytes, count, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return got == 0 ? fail(ERROR_IO_DEVICE) : failFromErrno();
        bytes += got;
        count -= static_cast<std::size_t>(got);
        offset += static_cast<std::uint64_t>(got);
    }
    return true;
}

bool LockedFile::truncate(std::uint64_t size) {
    closeWindow();
    if (ftruncate(descriptorOf(handle_), static_cast<off_t>(size)) != 0) return failFromErrno();
    size_ = size;
    // The room that was set aside has gone with what was cut off.
    const std::uint64_t room = reserved_;
    reserved_ = 0;
    reserve(room);
    return true;
}

bool LockedFile::flush() {
    return fdatasync(descriptorOf(handle_)) == 0 || failFromErrno();
}

bool LockedFile::rename(LPCWSTR devicePath, LPCWSTR newName) {
    HostPath from;
    HostPath to;
    if (!from.assign(devicePath) || !to.assign(newName)) return false;
    return renameat2(AT_FDCWD, from.cStr(), AT_FDCWD, to.cStr(), RENAME_NOREPLACE) == 0 || failFromErrno();
}

bool LockedFile::remove(LPCWSTR devicePath) {
    HostPath path;
    if (!path.assign(devicePath) || (unlink(path.cStr()) != 0 && !failFromErrno())) return false;
    closeWindow();
    release();
    return true;
}

void LockedFile::release() {
    reserved_ = 0;
    if (window_ != nullptr) truncate(size_);
    if (handle_ != -1) close(descriptorOf(handle_));
    handle_ = -1;
}

}  // namespace platform
