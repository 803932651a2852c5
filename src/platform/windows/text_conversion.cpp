#include "platform/platform.h"

// Here the names stand for the system's own.
#undef MultiByteToWideChar
#undef WideCharToMultiByte

namespace {

// UTF-8 as the default code page knows none of the flags and no default character.
bool isUtf8(UINT codePage) {
    return codePage == CP_UTF8 || (codePage == CP_ACP && GetACP() == CP_UTF8);
}

}  // namespace

int convertToWide(UINT codePage, DWORD flags, LPCSTR text, int size, LPWSTR wide, int wideSize) {
    if (isUtf8(codePage)) flags = 0;
    return MultiByteToWideChar(codePage, flags | MB_ERR_INVALID_CHARS, text, size, wide, wideSize);
}

int convertFromWide(UINT codePage, DWORD flags, LPCWSTR wide, int wideSize, LPSTR text, int size,
                    LPCSTR defaultChar, LPBOOL usedDefault) {
    if (isUtf8(codePage))
        return WideCharToMultiByte(codePage, 0, wide, wideSize, text, size, nullptr, nullptr);
    return WideCharToMultiByte(codePage, flags | WC_NO_BEST_FIT_CHARS, wide, wideSize, text, size,
                               defaultChar == nullptr ? "?" : defaultChar, usedDefault);
}
