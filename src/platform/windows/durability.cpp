#include "platform/durability.h"

#include <cstddef>

namespace ovpatch::windows {

namespace {

bool flushesFiles = false;

// A volume can be flushed as a whole only with rights over it; without them nothing happens.
void flushVolume(WCHAR letter) {
    const WCHAR path[] = {L'\\', L'\\', L'.', L'\\', letter, L':', 0};
    const HANDLE volume = CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (volume == INVALID_HANDLE_VALUE) return;
    FlushFileBuffers(volume);
    CloseHandle(volume);
}

// False when the content cannot be brought to the disk. A file that may not be written to is none of those
// that can be asked for.
bool flushFile(LPCWSTR path) {
    const HANDLE file =
        CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return true;
    const bool done = FlushFileBuffers(file) != FALSE;
    const DWORD error = GetLastError();
    CloseHandle(file);
    SetLastError(error);
    return done;
}

}  // namespace

}  // namespace ovpatch::windows

using namespace ovpatch::windows;

namespace platform {

void setFileFlush(bool on) {
    flushesFiles = on;
}

bool fileFlush() {
    return flushesFiles;
}

void flushFileSystems() {
    const DWORD drives = GetLogicalDrives();
    for (int drive = 0; drive < 26; ++drive) {
        const WCHAR root[] = {static_cast<WCHAR>(L'A' + drive), L':', L'\\', 0};
        if ((drives >> drive & 1u) != 0 && GetDriveTypeW(root) == DRIVE_FIXED) flushVolume(root[0]);
    }
}

// Names are on the disk with their files here.
void flushNames(LPCWSTR path) {
    flushFile(path);
}

bool workingDirectory(char* out, std::size_t size) {
    WCHAR wide[MAX_PATH * 4];
    const DWORD units = GetCurrentDirectoryW(MAX_PATH * 4, wide);
    return units > 0 && units < MAX_PATH * 4 &&
           WideCharToMultiByte(CP_ACP, 0, wide, -1, out, static_cast<int>(size), nullptr, nullptr) > 0;
}

}  // namespace platform

#undef CopyFileW
BOOL copyFile(LPCWSTR source, LPCWSTR target, BOOL failIfExists) {
    if (!platform::fileFlush()) return CopyFileW(source, target, failIfExists);
    const bool isNew = GetFileAttributesW(target) == INVALID_FILE_ATTRIBUTES;
    if (CopyFileW(source, target, failIfExists) == FALSE) return FALSE;
    if (flushFile(target)) return TRUE;
    // A copy that fails leaves no file that was not there.
    const DWORD error = GetLastError();
    if (isNew) DeleteFileW(target);
    SetLastError(error);
    return FALSE;
}
