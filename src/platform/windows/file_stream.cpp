// platform::fopen: streams of the C library over handles that are opened here, so that the device's text, its
// refusals and its numbers hold.
#include <fcntl.h>
#include <io.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "platform/platform.h"

namespace ovpatch::windows {

namespace {

bool fail(DWORD number) {
    SetLastError(number);
    return false;
}

struct StreamMode {
    char kind = '\0';     // 'r', 'w' or 'a'
    bool update = false;  // `+`
    bool binary = false;  // `b`
};

bool parseMode(const char* text, StreamMode* mode) {
    if (text == nullptr || *text == '\0' || std::strchr("rwa", *text) == nullptr) return false;
    mode->kind = *text;
    while (*++text != '\0') {
        if (*text == '+')
            mode->update = true;
        else if (*text == 'b')
            mode->binary = true;
        else if (*text != 't')
            return false;
    }
    return true;
}

// `path` in 16-bit text of its own length; null with the last error set.
std::unique_ptr<WCHAR[]> widen(const char* path) {
    if (path == nullptr || *path == '\0') {
        fail(ERROR_PATH_NOT_FOUND);
        return nullptr;
    }
    const int units = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, path, -1, nullptr, 0);
    if (units <= 0) return nullptr;
    std::unique_ptr<WCHAR[]> wide(new (std::nothrow) WCHAR[static_cast<std::size_t>(units)]);
    if (wide == nullptr)
        fail(ERROR_NOT_ENOUGH_MEMORY);
    else if (MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, path, -1, wide.get(), units) <= 0)
        wide.reset();
    return wide;
}

DWORD accessOf(const StreamMode& mode) {
    if (mode.update) return GENERIC_READ | GENERIC_WRITE;
    return mode.kind == 'r' ? GENERIC_READ : GENERIC_WRITE;
}

DWORD dispositionOf(const StreamMode& mode) {
    if (mode.kind == 'r') return OPEN_EXISTING;
    return mode.kind == 'w' ? CREATE_ALWAYS : OPEN_ALWAYS;
}

// A handle to a file, inherited by nobody. INVALID_HANDLE_VALUE with the last error set, also for a device
// such as `nul`.
HANDLE openFile(const char* path, const StreamMode& mode) {
    const std::unique_ptr<WCHAR[]> wide = widen(path);
    if (wide == nullptr) return INVALID_HANDLE_VALUE;
    HANDLE handle = CreateFileW(wide.get(), accessOf(mode), FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                dispositionOf(mode), FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE || GetFileType(handle) == FILE_TYPE_DISK) return handle;
    CloseHandle(handle);
    fail(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

// Takes the handle over, also when it fails.
std::FILE* makeFile(HANDLE handle, const StreamMode& mode) {
    const int append = mode.kind == 'a' ? _O_APPEND : 0;
    const int flags = append | _O_NOINHERIT | (mode.binary ? _O_BINARY : _O_TEXT);
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), flags);
    if (descriptor < 0) {
        CloseHandle(handle);
        fail(ERROR_TOO_MANY_OPEN_FILES);
        return nullptr;
    }
    const char text[4] = {mode.kind, mode.binary ? 'b' : 't', mode.update ? '+' : '\0', '\0'};
    std::FILE* file = _fdopen(descriptor, text);
    if (file == nullptr) {
        _close(descriptor);
        fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    return file;
}

}  // namespace

}  // namespace ovpatch::windows

std::FILE* platform::fopen(const char* path, const char* modeText) {
    using namespace ovpatch::windows;
    StreamMode mode;
    if (!parseMode(modeText, &mode)) {
        fail(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    HANDLE handle = openFile(path, mode);
    return handle == INVALID_HANDLE_VALUE ? nullptr : makeFile(handle, mode);
}

bool platform::canOpenForReading(const char* path) {
    using namespace ovpatch::windows;
    HANDLE handle = openFile(path, {'r', false, true});
    return handle != INVALID_HANDLE_VALUE && CloseHandle(handle) != FALSE;
}
