// A file that is open for one process at a time: the host refuses it to any other, and lets go of it when its
// holder dies.
#include "platform/locked_file.h"

namespace {

constexpr DWORD WAIT_STEP = 50;  // milliseconds

HANDLE handleOf(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

// Deleting and renaming are allowed, since it is by its name that the holder does them.
HANDLE openAlone(LPCWSTR path, DWORD disposition) {
    return CreateFileW(path, GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_DELETE, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
}

platform::LockedFile::Outcome whyNotOpened() {
    using Outcome = platform::LockedFile::Outcome;
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? Outcome::MISSING
                                                                          : Outcome::NOT_OPENED;
}

bool seek(HANDLE file, std::uint64_t offset) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    return SetFilePointerEx(file, position, nullptr, FILE_BEGIN) != FALSE;
}

}  // namespace

namespace platform {

LockedFile::Outcome LockedFile::create(LPCWSTR path) {
    const HANDLE file = openAlone(path, CREATE_NEW);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        return error == ERROR_FILE_EXISTS || error == ERROR_SHARING_VIOLATION ? Outcome::TAKEN
                                                                              : Outcome::NOT_OPENED;
    }
    handle_ = reinterpret_cast<std::intptr_t>(file);
    size_ = 0;
    hasTail_ = false;
    return Outcome::HELD;
}

LockedFile::Outcome LockedFile::hold(LPCWSTR path) {
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) return whyNotOpened();
    if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != 0)
        return Outcome::NO_FILE;
    HANDLE file = openAlone(path, OPEN_EXISTING);
    while (file == INVALID_HANDLE_VALUE && GetLastError() == ERROR_SHARING_VIOLATION) {
        Sleep(WAIT_STEP);
        file = openAlone(path, OPEN_EXISTING);
    }
    if (file == INVALID_HANDLE_VALUE) return whyNotOpened();
    LARGE_INTEGER size;
    const bool isFile = GetFileType(file) == FILE_TYPE_DISK;
    if (!isFile || GetFileSizeEx(file, &size) == FALSE) {
        CloseHandle(file);
        return isFile ? Outcome::NOT_OPENED : Outcome::NO_FILE;
    }
    handle_ = reinterpret_cast<std::intptr_t>(file);
    size_ = static_cast<std::uint64_t>(size.QuadPart);
    hasTail_ = false;
    return Outcome::HELD;
}

bool LockedFile::append(const char* bytes, std::size_t count) {
    DWORD written = 0;
    if (hasTail_ || !seek(handleOf(handle_), size_)) return false;
    const bool done =
        WriteFile(handleOf(handle_), bytes, static_cast<DWORD>(count), &written, nullptr) != FALSE &&
        written == count;
    if (done)
        size_ += count;
    else
        hasTail_ = !truncate(size_);
    return done;
}

bool LockedFile::appendLines(const char* bytes, std::size_t count) {
    return append(bytes, count);
}

void LockedFile::reserve(std::uint64_t bytes) {
    FILE_ALLOCATION_INFO room;
    room.AllocationSize.QuadPart = static_cast<LONGLONG>(bytes);
    if (bytes > size_) SetFileInformationByHandle(handleOf(handle_), FileAllocationInfo, &room, sizeof room);
}

bool LockedFile::read(std::uint64_t offset, char* bytes, std::size_t count) const {
    DWORD got = 0;
    return seek(handleOf(handle_), offset) &&
           ReadFile(handleOf(handle_), bytes, static_cast<DWORD>(count), &got, nullptr) != FALSE &&
           got == count;
}

bool LockedFile::truncate(std::uint64_t size) {
    if (!seek(handleOf(handle_), size) || SetEndOfFile(handleOf(handle_)) == FALSE) return false;
    size_ = size;
    return true;
}

bool LockedFile::flush() {
    return FlushFileBuffers(handleOf(handle_)) != FALSE;
}

bool LockedFile::rename(LPCWSTR path, LPCWSTR newName) {
    return MoveFileW(path, newName) != FALSE;
}

bool LockedFile::remove(LPCWSTR path) {
    if (DeleteFileW(path) == FALSE) return false;
    release();
    return true;
}

void LockedFile::release() {
    if (handle_ != -1) CloseHandle(handleOf(handle_));
    handle_ = -1;
}

}  // namespace platform
