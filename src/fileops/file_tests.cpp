#include "fileops/file_tests.h"

#include <cstring>

#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

bool isEmpty(const char* path) {
    return path == nullptr || *path == '\0';
}

bool answer(bool yes, bool isKnown, bool* known) {
    if (known != nullptr) *known = yes || isKnown;
    return yes;
}

// A path that does not fit names nothing that the device has.
DWORD attributesOf(const WidePath& path, bool* known) {
    const DWORD attributes = path.fits() ? platform::lookAt(path.text()) : INVALID_FILE_ATTRIBUTES;
    const bool isThere = attributes != INVALID_FILE_ATTRIBUTES;
    answer(isThere, !path.fits() || platform::tellsMissing(GetLastError()), known);
    return attributes;
}

}  // namespace

bool isDirectory(const char* path, bool* known) {
    if (isEmpty(path)) return answer(false, true, known);
    const auto length = static_cast<std::uint32_t>(std::strlen(path));
    const WidePath bare(path, endsWithSeparator(path) ? length - 1 : length);
    const DWORD attributes = attributesOf(bare, known);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool fileExists(const char* path, bool* known) {
    if (isEmpty(path)) return answer(false, true, known);
    if (platform::canOpenForReading(path)) return answer(true, true, known);
    const DWORD number = GetLastError();
    return answer(false, number == ERROR_ACCESS_DENIED || platform::tellsMissing(number), known);
}

bool pathExists(const char* path, bool* known) {
    if (isEmpty(path)) return answer(false, true, known);
    return attributesOf(WidePath(path), known) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace ovpatch
