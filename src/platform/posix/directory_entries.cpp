#include "platform/posix/directory_entries.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/posix/errors.h"

namespace ovpatch::posix {

namespace {

template <typename Element>
bool growTo(Element** elements, std::size_t* capacity, std::size_t needed, std::size_t first) {
    if (needed <= *capacity) return true;
    const std::size_t size = std::max({needed, *capacity * 2, first});
    auto* grown = static_cast<Element*>(std::realloc(*elements, size * sizeof(Element)));
    if (grown == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);
    *elements = grown;
    *capacity = size;
    return true;
}

// Where entries may be listed but not looked at, none is known to be a directory.
class Searchable {
public:
    explicit Searchable(int directory) : directory_(directory) {}

    bool answer() {
        if (!isAsked_) answer_ = faccessat(directory_, ".", X_OK, AT_EACCESS) == 0 || errno != EACCES;
        isAsked_ = true;
        return answer_;
    }

private:
    int directory_;
    bool isAsked_ = false;
    bool answer_ = false;
};

// The listing itself tells the kind of most entries; only links, and file systems that keep no kind, need a
// look. False when that fails; what leads nowhere is no directory.
bool tellDirectory(int directory, const dirent& entry, Searchable* searchable, bool* isDirectory) {
    *isDirectory = entry.d_type == DT_DIR && searchable->answer();
    if ((entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) || !searchable->answer()) return true;
    struct stat status;
    if (fstatat(directory, entry.d_name, &status, 0) == 0) {
        *isDirectory = S_ISDIR(status.st_mode);
        return true;
    }
    return errno == ENOENT || errno == ENOTDIR || errno == EACCES || errno == ELOOP || failFromErrno();
}

bool isDots(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

}  // namespace

DirectoryEntries::~DirectoryEntries() {
    std::free(arena_);
    std::free(offsets_);
}

bool DirectoryEntries::add(const char* name, bool isDirectory) {
    const std::size_t size = std::strlen(name) + 2;
    if (arenaUsed_ + size > UINT32_MAX) return fail(ERROR_NOT_ENOUGH_MEMORY);
    if (!growTo(&arena_, &arenaSize_, arenaUsed_ + size, 1024) ||
        !growTo(&offsets_, &capacity_, count_ + 1, 64))
        return false;
    offsets_[count_++] = static_cast<std::uint32_t>(arenaUsed_);
    arena_[arenaUsed_] = isDirectory ? 1 : 0;
    std::memcpy(arena_ + arenaUsed_ + 1, name, size - 1);
    arenaUsed_ += size;
    return true;
}

bool DirectoryEntries::read(const char* hostDirectory) {
    DIR* directory;
    do {
        directory = opendir(hostDirectory);
    } while (directory == nullptr && errno == EINTR);
    if (directory == nullptr) return errno == ENOENT ? fail(ERROR_PATH_NOT_FOUND) : failFromErrno();
    Searchable searchable(dirfd(directory));
    bool complete = false;
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(directory);
        if (entry == nullptr) {
            complete = errno == 0 || failFromErrno();
            break;
        }
        if (isDots(entry->d_name)) continue;
        bool isDirectory;
        if (!tellDirectory(dirfd(directory), *entry, &searchable, &isDirectory) ||
            !add(entry->d_name, isDirectory))
            break;
    }
    closedir(directory);
    // strcmp takes bytes as unsigned.
    std::sort(offsets_, offsets_ + count_, [this](std::uint32_t left, std::uint32_t right) {
        return std::strcmp(arena_ + left + 1, arena_ + right + 1) < 0;
    });
    return complete;
}

}  // namespace ovpatch::posix
