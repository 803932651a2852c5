#include <sys/stat.h>

#include <cstring>
#include <new>

#include "platform/posix/directory_entries.h"
#include "platform/posix/errors.h"
#include "platform/posix/handle_object.h"
#include "platform/posix/host_path.h"
#include "platform/posix/text_conversion.h"

namespace ovpatch::posix {

namespace {

struct SearchObject : HandleObject {
    DirectoryEntries entries;
    std::size_t next = 0;

    SearchObject() : HandleObject{HandleKind::search} {}
};

bool readEntries(LPCWSTR query, DirectoryEntries* entries) {
    HostPath path;
    if (!path.assignQuery(query)) return false;
    char* pattern = path.lastName();
    const bool wholeDirectory = std::strcmp(pattern, "*") == 0;
    if (wholeDirectory) *pattern = '\0';
    if (std::strpbrk(path.cStr(), "*?") != nullptr) return fail(ERROR_INVALID_NAME);
    if (wholeDirectory) return entries->read(*path.cStr() == '\0' ? "." : path.cStr());
    if (*pattern == '\0') return fail(ERROR_FILE_NOT_FOUND);
    struct stat status;
    if (stat(path.cStr(), &status) != 0) return failFromErrno(path.cStr());
    return entries->add(pattern, S_ISDIR(status.st_mode));
}

// A name that does not fit, which some file systems have, is listed with a wildcard for its end: like this
// every operation refuses it, and it is not passed over.
void storeName(const char* name, WCHAR (&units)[MAX_PATH]) {
    std::size_t count = 0;
    std::size_t left = std::strlen(name);
    for (std::size_t used = 0; left > 0; name += used, left -= used) {
        if (count + 1 >= MAX_PATH) {
            units[count - 1] = '?';
            break;
        }
        const WCHAR unit = decodeUnit(name, left, &used);
        // Joined to a directory this byte would be a separator, and the path that of another file.
        units[count++] = unit == '\\' ? WCHAR{'?'} : unit;
    }
    units[count] = 0;
}

void takeNext(SearchObject* search, WIN32_FIND_DATAW* entry) {
    const std::size_t index = search->next;
    storeName(search->entries.name(index), entry->cFileName);
    entry->dwFileAttributes =
        search->entries.isDirectory(index) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    ++search->next;
}

SearchObject* searchOf(HANDLE handle) {
    return static_cast<SearchObject*>(objectOf(handle, HandleKind::search));
}

}  // namespace

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

HANDLE FindFirstFileW(LPCWSTR query, LPWIN32_FIND_DATAW entry) {
    auto* search = new (std::nothrow) SearchObject;
    if (search == nullptr) {
        fail(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    bool found = readEntries(query, &search->entries);
    if (found && search->entries.count() == 0) found = fail(ERROR_FILE_NOT_FOUND);
    if (!found) {
        delete search;
        return INVALID_HANDLE_VALUE;
    }
    takeNext(search, entry);
    return search;
}

BOOL FindNextFileW(HANDLE handle, LPWIN32_FIND_DATAW entry) {
    SearchObject* search = searchOf(handle);
    if (search == nullptr) return FALSE;
    if (search->next == search->entries.count()) return fail(ERROR_NO_MORE_FILES);
    takeNext(search, entry);
    return TRUE;
}

BOOL FindClose(HANDLE handle) {
    SearchObject* search = searchOf(handle);
    if (search == nullptr) return FALSE;
    delete search;
    return TRUE;
}
