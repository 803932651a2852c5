#include "fileops/directory_entries.h"

#include <cstring>

#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "fileops/wide_path.h"

namespace ovpatch {

namespace {

std::uint32_t unitsOf(const WCHAR* text) {
    std::uint32_t count = 0;
    while (text[count] != 0)
        ++count;
    return count;
}

}  // namespace

DirectoryEntries::DirectoryEntries(const ByteString& directory) : directory_(directory) {
    const WidePath query((directory + "*").cStr());
    if (!query.fits()) {
        error_ = ERROR_FILENAME_EXCED_RANGE;
        return;
    }
    directoryUnits_ = query.length() - 1;
    search_ = FindFirstFileW(query.text(), &entry_);
    if (search_ == INVALID_HANDLE_VALUE) noteError(GetLastError());
}

DirectoryEntries::~DirectoryEntries() {
    if (search_ != INVALID_HANDLE_VALUE) FindClose(search_);
}

bool DirectoryEntries::next() {
    if (search_ == INVALID_HANDLE_VALUE) return false;
    while (atFirst_ || FindNextFileW(search_, &entry_) != FALSE) {
        atFirst_ = false;
        if (!readName()) {
            error_ = ERROR_NO_UNICODE_TRANSLATION;
        } else if (std::strcmp(name_, ".") != 0 && std::strcmp(name_, "..") != 0) {
            return true;
        }
    }
    noteError(GetLastError());
    return false;
}

void DirectoryEntries::noteError(DWORD number) {
    if (number != ERROR_NO_MORE_FILES && !platform::tellsMissing(number)) error_ = number;
}

bool DirectoryEntries::isDirectory() const {
    if ((entry_.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return false;
    // The device answers no question about these paths.
    if (directoryUnits_ + unitsOf(entry_.cFileName) >= MAX_PATH || hasWildcard(name_)) return false;
    // Cut where we see a separator and the device a half character, the path would be another.
    if (endsWithSeparator(name_)) return ovpatch::isDirectory((directory_ + name_).cStr());
    return true;
}

bool DirectoryEntries::readName() {
    return WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, entry_.cFileName, -1, name_, nameBytes, nullptr,
                               nullptr) > 0;
}

}  // namespace ovpatch
