#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/library_lookup.h"
#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"
#include "platform/posix/library_file.h"

namespace ovpatch::posix {

namespace {

constexpr int BINDING = RTLD_NOW | RTLD_LOCAL;

HMODULE load(const char* path, DWORD errorNumber) {
    HMODULE library = dlopen(path, BINDING);
    if (library == nullptr) fail(errorNumber);
    return library;
}

// What cannot be looked at may be there: another file of that name must not take its place.
bool mayExist(const char* path) {
    return access(path, F_OK) == 0 ||
           (errno != ENOENT && errno != ENOTDIR && errno != EACCES && errno != ENAMETOOLONG);
}

// Loads a file by a path, of which the host makes nothing else.
HMODULE loadFile(const char* path) {
    if (isWholeLibrary(path)) return load(path, ERROR_BAD_EXE_FORMAT);
    fail(mayExist(path) ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
    return nullptr;
}

// The path of `name` in the program's own directory; false when the host does not tell it or it does not fit.
bool buildPathBesideProgram(const char* name, char (&path)[PATH_MAX]) {
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof path) return false;
    path[length] = '\0';
    char* file = std::strrchr(path, '/');
    if (file == nullptr) return false;
    ++file;
    const std::size_t size = std::strlen(name) + 1;
    if (static_cast<std::size_t>(file - path) + size > sizeof path) return false;
    std::memcpy(file, name, size);
    return true;
}

// The path of `name` in the first of the directories that the host's loader searches, if one of them has it.
bool findInSearchedDirectories(const char* name, char (&path)[PATH_MAX]) {
    HMODULE program = dlopen(nullptr, BINDING);
    Dl_serinfo head;
    if (program == nullptr || dlinfo(program, RTLD_DI_SERINFOSIZE, &head) != 0) return false;
    const std::unique_ptr<void, void (*)(void*)> block(std::malloc(head.dls_size), std::free);
    auto* info = static_cast<Dl_serinfo*>(block.get());
    if (info == nullptr) return false;
    *info = head;
    if (dlinfo(program, RTLD_DI_SERINFO, info) != 0) return false;
    for (unsigned i = 0; i < info->dls_cnt; ++i) {
        const int length = std::snprintf(path, sizeof path, "%s/%s", info->dls_serpath[i].dls_name, name);
        if (length > 0 && length < PATH_MAX && mayExist(path)) return true;
    }
    return false;
}

enum class Place {
    NO_PATH,  // the name cannot be one; the last error is set
    FILE,     // in `file`: there or not, nothing else is taken for it
    UNKNOWN,  // at most the host's cache of libraries knows it; `file` is the name itself
};

// Where the host would look for the library of that name.
Place findLibrary(LPCWSTR devicePath, char (&file)[PATH_MAX]) {
    HostPath path;
    if (devicePath == nullptr || *devicePath == 0) {
        fail(ERROR_MOD_NOT_FOUND);
        return Place::NO_PATH;
    }
    if (!path.assign(devicePath)) return Place::NO_PATH;
    if (path.lastName() == path.cStr()) {
        if (buildPathBesideProgram(path.cStr(), file) && mayExist(file)) return Place::FILE;
        if (findInSearchedDirectories(path.cStr(), file)) return Place::FILE;
    }
    std::memcpy(file, path.cStr(), std::strlen(path.cStr()) + 1);
    return path.lastName() == path.cStr() ? Place::UNKNOWN : Place::FILE;
}

// Bytes of an entry's name; false when it does not fit or cannot be converted.
template <std::size_t size>
bool encodeName(LPCWSTR name, char (&bytes)[size]) {
    return WideCharToMultiByte(CP_ACP, 0, name, -1, bytes, static_cast<int>(size), nullptr, nullptr) != 0;
}

// dlsym also finds what the libraries that `library` depends on export.
bool isOwnSymbol(HMODULE library, void* symbol) {
    link_map* own = nullptr;
    void* owner = nullptr;
    Dl_info info;
    return dlinfo(library, RTLD_DI_LINKMAP, &own) == 0 &&
           dladdr1(symbol, &info, &owner, RTLD_DL_LINKMAP) != 0 && owner == own;
}

}  // namespace

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

HMODULE LoadLibraryW(LPCWSTR devicePath) {
    char file[PATH_MAX];
    switch (findLibrary(devicePath, file)) {
        case Place::FILE:
            return loadFile(file);
        case Place::UNKNOWN:
            return load(file, ERROR_MOD_NOT_FOUND);
        case Place::NO_PATH:
            break;
    }
    return nullptr;
}

bool platform::findLibraryFile(LPCWSTR name, char* path, std::size_t size) {
    char file[PATH_MAX];
    if (findLibrary(name, file) != Place::FILE || !mayExist(file)) return false;
    const std::size_t length = std::strlen(file);
    if (length >= size) return fail(ERROR_FILENAME_EXCED_RANGE);
    std::memcpy(path, file, length + 1);
    return true;
}

FARPROC GetProcAddressW(HMODULE library, LPCWSTR name) {
    if (library == nullptr) {
        fail(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    char bytes[MAX_PATH];
    if (!encodeName(name, bytes)) return nullptr;
    void* symbol = dlsym(library, bytes);
    if (symbol == nullptr || !isOwnSymbol(library, symbol)) {
        fail(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return reinterpret_cast<FARPROC>(symbol);
}

BOOL FreeLibrary(HMODULE library) {
    if (library == nullptr) return fail(ERROR_INVALID_HANDLE);
    return dlclose(library) == 0 ? TRUE : fail(ERROR_INVALID_HANDLE);
}
