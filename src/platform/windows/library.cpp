#include "platform/platform.h"

FARPROC GetProcAddressW(HMODULE library, LPCWSTR name) {
    // The system would take null for the program itself.
    if (library == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    char bytes[MAX_PATH];
    const int size = static_cast<int>(sizeof bytes);
    if (WideCharToMultiByte(CP_ACP, 0, name, -1, bytes, size, nullptr, nullptr) == 0) return nullptr;
    return GetProcAddress(library, bytes);
}
