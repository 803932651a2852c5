#include "fileops/file_tests.h"

#include <cstring>

#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

DWORD attributesOf(const WidePath& path) {
    return path.fits() ? GetFileAttributesW(path.text()) : INVALID_FILE_ATTRIBUTES;
}

}  // namespace

bool isDirectory(const char* path) {
    if (path == nullptr || *path == '\0') return false;
    const auto length = static_cast<std::uint32_t>(std::strlen(path));
    const DWORD attributes = attributesOf(WidePath(path, endsWithSeparator(path) ? length - 1 : length));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool fileExists(const char* path) {
    return path != nullptr && *path != '\0' && platform::canOpenForReading(path);
}

bool pathExists(const char* path) {
    if (path == nullptr || *path == '\0') return false;
    return attributesOf(WidePath(path)) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace ovpatch
