#include "platform/platform.h"

FARPROC GetProcAddressW(HMODULE library, LPCWSTR name) {
    // The system would take null for the program itself.
    if (library == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    char bytes[MAX_PATH];
    BOOL replaced = FALSE;
    if (WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, name, -1, bytes, sizeof bytes, nullptr,
                            &replaced) == 0)
        return nullptr;
    if (replaced) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return GetProcAddress(library, bytes);
}
