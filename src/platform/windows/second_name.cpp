// The steps that spare a copy: none here. CopyFileW writes in place, so that a second name would see the new
// content, and a device has neither.
#include "platform/file_state.h"

DWORD platform::lookAt(LPCWSTR path) {
    return GetFileAttributesW(path);
}

bool platform::isLink(LPCWSTR path, bool* link) {
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) return false;
    *link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return true;
}

bool platform::moveFileOver(LPCWSTR, LPCWSTR, const FileState*) {
    return false;
}

bool platform::exchangeFiles(LPCWSTR, LPCWSTR) {
    return false;
}

bool platform::exchangeBack(LPCWSTR, LPCWSTR) {
    return false;
}

bool platform::giveSecondName(LPCWSTR, LPCWSTR, const FileState*) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return false;
}
