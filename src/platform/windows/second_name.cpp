// The steps that spare a copy: none here. CopyFileW writes in place, so that a second name would see the new
// content, and a device has neither.
#include "platform/platform.h"

bool platform::isLink(LPCWSTR path) {
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool platform::moveFileOver(LPCWSTR, LPCWSTR) {
    return false;
}

bool platform::giveSecondName(LPCWSTR, LPCWSTR) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return false;
}
