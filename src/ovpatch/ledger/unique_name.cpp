#include "ovpatch/ledger/unique_name.h"

#include <cstdlib>

#include "fileops/copy.h"
#include "fileops/make_directory.h"
#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "foundation/bounded.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

constexpr char STEM[] = "backup";
constexpr char DIGITS[] = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr std::uint32_t BASE = 36;

bool formName(const char* directory, std::uint32_t number, char* out, std::int32_t size) {
    if (CatURIWithFile(out, size, directory, STEM) != 0) return false;
    char suffix[5];
    firstUniqueSuffix(suffix);
    nextUniqueSuffix(suffix, number);
    return boundedStrncat(out, suffix, static_cast<std::size_t>(size)) != nullptr;
}

DWORD lastError() {
    const DWORD error = GetLastError();
    return error != 0 ? error : ERROR_INVALID_HANDLE;
}

// The device's error number; 0 when the file was created.
DWORD createNew(const WidePath& path) {
    const HANDLE file =
        CreateFileW(path.text(), 0, FILE_SHARE_READ, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return lastError();
    CloseHandle(file);
    return 0;
}

DWORD copyToNew(const WidePath& file, const WidePath& name, platform::CopySource* opened) {
    platform::CopySource source;
    if (opened == nullptr || !opened->isOpen()) opened = &source;
    const bool done = (opened->isOpen() || opened->open(file.text())) && opened->copyToNew(name.text());
    return done ? 0 : lastError();
}

DWORD saveToNew(const WidePath& file, const WidePath& name, const SavedChange& change, FileFate fate) {
    if (fate == FileFate::UNKNOWN) return copyToNew(file, name, change.opened);
    // Of a file that is open it is not known what its name is: a link leads to the file.
    const bool isName = change.change.old.exists && (change.opened == nullptr || !change.opened->isOpen());
    const platform::FileState* looked = isName ? &change.change.old : nullptr;
    if (platform::giveSecondName(file.text(), name.text(), looked)) return 0;
    const DWORD error = lastError();
    return error == ERROR_FILE_EXISTS ? error : copyToNew(file, name, change.opened);
}

// Makes a file under the lowest free name by `make`, which answers the device's error number, 0 for success.
// The journal is told of `change`, if there is one.
template <typename Make>
std::int32_t makeLowest(const char* directory, char* out, std::int32_t size, TakenNames* names,
                        const FileChange* change, Make make) {
    bool isDirectoryMade = false;
    for (std::uint32_t number = names->lowestFree(); number < TakenNames::COUNT;
         number = names->lowestFree()) {
        if (!formName(directory, number, out, size)) return 0;
        const WidePath path(out);
        if (!path.fits()) return 0;
        if (change != nullptr && !journal().change(*change, out)) return 0;
        const DWORD error = make(path);
        const bool isRepeated = error == ERROR_FILE_EXISTS || error == ERROR_PATH_NOT_FOUND;
        if (change != nullptr && isRepeated) journal().nothing();
        // A missing directory shows as a missing path; only then is it made, which saves asking for it each
        // time.
        if (error == ERROR_PATH_NOT_FOUND && !isDirectoryMade) {
            isDirectoryMade = true;
            makeDirectory(directory, nullptr, nullptr);
            continue;
        }
        if (error != 0 && error != ERROR_FILE_EXISTS) return 0;
        names->take(number);
        if (error == 0) return 1;
    }
    return 0;
}

std::int32_t createLowest(const char* directory, char* out, std::int32_t size, TakenNames* names,
                          const FileChange* change) {
    return makeLowest(directory, out, size, names, change, createNew);
}

}  // namespace

std::int32_t crtUniFile(const char* directory, char* out, std::int32_t size) {
    TakenNames none;
    return createLowest(directory, out, size, &none, nullptr);
}

std::int32_t crtUniFile(const char* directory, char* out, std::int32_t size, TakenNames* names) {
    names->enter(directory);
    return createLowest(directory, out, size, names, nullptr);
}

Saved saveUnderUniqueName(const SavedChange& change, FileFate fate, const char* directory, char* out,
                          std::int32_t size, TakenNames* names) {
    names->enter(directory);
    const char* file = change.change.file;
    const FileChange* told = journal().isKept() ? &change.change : nullptr;
    const WidePath from(file);
    const auto save = [&from, &change, fate](const WidePath& name) {
        return saveToNew(from, name, change, fate);
    };
    Saved outcome = Saved::DONE;
    // The directory is missing, or there is nothing to copy, or no room for it: step by step.
    if (!from.fits() || makeLowest(directory, out, size, names, told, save) == 0) {
        if (createLowest(directory, out, size, names, told) == 0) return Saved::NO_NAME;
        outcome = copyFiles(file, out, true, nullptr, nullptr) == 0 ? Saved::DONE : Saved::EMPTY;
    }
    journal().secure(out);
    return outcome;
}

void firstUniqueSuffix(char* suffix) {
    suffix[0] = '.';
    encodeBase36(0, suffix + 1);
}

void nextUniqueSuffix(char* suffix, std::uint32_t step) {
    const auto number = static_cast<std::uint32_t>(std::strtoul(suffix + 1, nullptr, BASE));
    encodeBase36(number + step, suffix + 1);
}

void encodeBase36(std::uint32_t number, char* out) {
    number %= TakenNames::COUNT;
    for (int place = 2; place >= 0; --place) {
        out[place] = DIGITS[number % BASE];
        number /= BASE;
    }
    out[3] = '\0';
}

}  // namespace ovpatch
