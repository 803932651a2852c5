// What a file is at a moment. CopyFileW writes in place here, so that a file has no number that would tell
// more than its size and time.
#include "platform/file_state.h"

#include <cwchar>
#include <new>

namespace ovpatch::windows {

namespace {

constexpr std::uint64_t TICKS = 10000000;                 // of 100 nanoseconds in a second
constexpr std::int64_t SECONDS_UP_TO_1970 = 11644473600;  // since 1601

bool fail(DWORD number) {
    SetLastError(number);
    return false;
}

std::uint64_t joined(DWORD high, DWORD low) {
    return static_cast<std::uint64_t>(high) << 32 | low;
}

// Lifts the attribute that refuses writing and deleting; 0 when there is nothing to lift.
DWORD liftReadOnly(LPCWSTR path) {
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0) return 0;
    return SetFileAttributesW(path, attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) != FALSE
               ? attributes
               : 0;
}

}  // namespace

}  // namespace ovpatch::windows

using namespace ovpatch::windows;

namespace platform {

FileState stateOf(LPCWSTR path) {
    FileState state;
    WIN32_FILE_ATTRIBUTE_DATA data;
    state.exists = true;
    if (GetFileAttributesExW(path, GetFileExInfoStandard, &data) == FALSE) {
        const DWORD error = GetLastError();
        state.exists = error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
        state.isUnknown = state.exists && !tellsMissing(error);
        return state;
    }
    state.isFile = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    state.isLink = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    state.size = joined(data.nFileSizeHigh, data.nFileSizeLow);
    const std::uint64_t ticks =
        joined(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime);
    state.seconds = static_cast<std::int64_t>(ticks / TICKS) - SECONDS_UP_TO_1970;
    state.nanoseconds = static_cast<std::uint32_t>(ticks % TICKS) * 100;
    return state;
}

bool canLeaveParts() {
    return true;
}

// The host begins a copy by itself; what is kept is the path.
bool CopySource::open(LPCWSTR path) {
    close();
    state_ = stateOf(path);
    if (!state_.isFile) {
        state_ = FileState();
        return fail(ERROR_FILE_NOT_FOUND);
    }
    const std::size_t size = std::wcslen(path) + 1;
    auto* kept = new (std::nothrow) WCHAR[size];
    if (kept == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);
    std::wmemcpy(kept, path, size);
    opened_ = reinterpret_cast<std::intptr_t>(kept);
    return true;
}

bool CopySource::copyTo(LPCWSTR target, bool failIfExists) {
    if (opened_ == -1) return false;
    const bool done = CopyFileW(reinterpret_cast<LPCWSTR>(opened_), target, failIfExists) != FALSE;
    const DWORD error = GetLastError();
    close();
    SetLastError(error);
    return done;
}

bool CopySource::copyToNew(LPCWSTR target) {
    return copyTo(target, true);
}

void CopySource::close() {
    if (opened_ != -1) delete[] reinterpret_cast<WCHAR*>(opened_);
    opened_ = -1;
}

bool putBack(LPCWSTR copy, LPCWSTR target) {
    const FileState source = stateOf(copy);
    if (source.exists && !source.isFile) return fail(ERROR_ACCESS_DENIED);
    const DWORD attributes = liftReadOnly(target);
    constexpr DWORD FLAGS = MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH;
    if (MoveFileExW(copy, target, FLAGS) != FALSE) return true;
    const DWORD error = GetLastError();
    if (attributes != 0) SetFileAttributesW(target, attributes);
    return fail(error);
}

bool duplicate(LPCWSTR file, LPCWSTR newName) {
    return CopyFileW(file, newName, TRUE) != FALSE;
}

bool discard(LPCWSTR path) {
    const DWORD attributes = liftReadOnly(path);
    if (DeleteFileW(path) != FALSE) return true;
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return true;
    if (attributes != 0) SetFileAttributesW(path, attributes);
    return fail(error);
}

void tidyReplacement(LPCWSTR, DWORD) {}

void tidyMove(LPCWSTR) {}

void nameReplacementsAfter(DWORD) {}

}  // namespace platform
