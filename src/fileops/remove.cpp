#include "fileops/remove.h"

#include <cstring>

#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/look_failure.h"
#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "foundation/byte_string.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

// What an operation passes along to every object.
struct Removal {
    FileOpCallback callback;
    FileOpRecord* record;
    NameIndex* index;

    bool isAsked() const { return callback != nullptr && record != nullptr; }
};

enum class Kind {
    FILE_OR_OTHER,
    DIRECTORY,
    MISSING,
    LOOK_FAILED,  // the device could not tell
    UNKNOWN,      // not to be settled by one question about one path
};

std::int32_t removeTreeOf(const ByteString& path, const Removal& removal);

bool isEmpty(const char* path) {
    return path == nullptr || *path == '\0';
}

bool isRoot(const ByteString& path) {
    return std::strspn(path.cStr(), "\\") == path.length();
}

bool isPlainName(const ByteString& path) {
    return !hasWildcard(path.cStr()) && !endsWithSeparator(path.cStr()) && deviceSplitsAlike(path.cStr());
}

// A plain name whose entry exists is all that a listing on it would bring to a walk, so that a walk needs no
// listing then.
Kind kindOf(const ByteString& path) {
    if (!isPlainName(path)) return Kind::UNKNOWN;
    const WidePath wide(path.cStr());
    const DWORD attributes = wide.fits() ? platform::lookAt(wide.text()) : INVALID_FILE_ATTRIBUTES;
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? Kind::DIRECTORY : Kind::FILE_OR_OTHER;
    }
    if (!wide.fits() || platform::tellsMissing(GetLastError())) return Kind::MISSING;
    // A link in a circle is removed as any other.
    if (GetLastError() == ERROR_CANT_RESOLVE_FILENAME) return Kind::FILE_OR_OTHER;
    tellLookFailure(path.cStr(), GetLastError());
    return Kind::LOOK_FAILED;
}

bool removeFromDevice(const char* path, bool directory) {
    const WidePath wide(path);
    if (!wide.fits()) return false;
    return (directory ? RemoveDirectoryW(wide.text()) : DeleteFileW(wide.text())) != FALSE;
}

// Tries the plain removal of a file. A success says by itself that the name exists and is no directory; after
// a failure nothing has changed and the questions have to be asked.
bool removeAtOnce(const ByteString& path, const Removal& removal) {
    if (removal.record != nullptr || !isPlainName(path) || !removeFromDevice(path.cStr(), false))
        return false;
    if (removal.index != nullptr) removal.index->forget(path.cStr());
    return true;
}

// Removes one object whose kind is known.
std::int32_t removeObject(const char* path, bool directory, const Removal& removal) {
    beginFileOp(removal.record, path, nullptr);
    setFileOperation(removal.record, directory ? FILEOP_REMOVE_DIRECTORY : FILEOP_DELETE_FILE);
    const std::int32_t answer = callBefore(removal.callback, removal.record);
    if (answer != FILEOP_GO_ON) return answer == FILEOP_SKIP ? FILEOP_OK : answer;
    if (!removeFromDevice(path, directory)) {
        if (removal.record != nullptr) removal.record->phase = 1;
        return FILEOP_BAD_PARAMETER;
    }
    if (removal.index != nullptr) removal.index->forget(path);
    return callAfter(removal.callback, removal.record);
}

// Whether a path of kind MISSING is known to be missing in every case variant too.
bool isMissingInAnyCase(const ByteString& path, const Removal& removal) {
    return removal.index != nullptr && !removal.index->canMatch(path.cStr());
}

// Removes what a listing on `path` brings and the pattern matches.
std::int32_t removeListed(const ByteString& path, bool withTrees, const Removal& removal) {
    DirListing listing(path.cStr());
    if (!listing.isComplete()) return FILEOP_COPY_FAILED;
    const ByteString pattern = listing.pattern();
    while (listing.hasNext()) {
        const ByteString entry = listing.nextPath();
        const bool directory = listing.lastIsDirectory();
        if (directory && !matchWildcard(pattern.cStr(), baseName(entry.cStr()).cStr())) continue;
        const std::int32_t answer = directory && withTrees ? removeTreeOf(entry, removal)
                                                           : removeObject(entry.cStr(), directory, removal);
        if (answer != FILEOP_OK) return answer;
    }
    return FILEOP_OK;
}

// Removes a directory, given without a separator at its end, and everything below it.
std::int32_t removeDirectoryTree(const ByteString& directory, const Removal& removal) {
    // What a link leads to must not be emptied.
    const WidePath wide(directory.cStr());
    bool link = false;
    if (wide.fits() && !platform::isLink(wide.text(), &link)) return FILEOP_BAD_PARAMETER;
    if (link) return removeObject(directory.cStr(), true, removal);
    // An empty directory goes at once.
    if (!removal.isAsked() && removeObject(directory.cStr(), true, removal) == FILEOP_OK) return FILEOP_OK;
    // Behind half a character, in our code page, the separator would be none.
    const ByteString closed = directory + "\\";
    const std::int32_t answer =
        removeListed(endsWithSeparator(closed.cStr()) ? closed : directory, true, removal);
    if (answer != FILEOP_OK) return answer;
    return removeObject(directory.cStr(), true, removal);
}

// removeTree on a path with normal slashes.
std::int32_t removeTreeOf(const ByteString& path, const Removal& removal) {
    ByteString bare(path);
    bool wasClosed = false;
    while (removeTrailingSeparator(bare))
        wasClosed = true;
    if (!wasClosed && removeAtOnce(bare, removal)) return FILEOP_OK;
    const Kind kind = kindOf(bare);
    if (kind == Kind::LOOK_FAILED) return FILEOP_BAD_PARAMETER;
    if (kind == Kind::DIRECTORY) return removeDirectoryTree(bare, removal);
    if (kind != Kind::UNKNOWN && wasClosed) return FILEOP_OK;
    if (kind == Kind::FILE_OR_OTHER) return removeObject(bare.cStr(), false, removal);
    if (kind == Kind::MISSING && isMissingInAnyCase(bare, removal)) return FILEOP_OK;

    const std::int32_t answer = removeListed(path, true, removal);
    if (answer != FILEOP_OK) return answer;
    bool known = true;
    if (isDirectory(bare.cStr(), &known)) return removeObject(bare.cStr(), true, removal);
    return known ? FILEOP_OK : FILEOP_BAD_PARAMETER;
}

}  // namespace

std::int32_t removeEntry(const char* path, FileOpCallback callback, FileOpRecord* record) {
    if (isEmpty(path)) return FILEOP_BAD_PARAMETER;
    return removeObject(path, isDirectory(path), Removal{callback, record, nullptr});
}

bool removeFileAtOnce(const char* path) {
    return !isEmpty(path) && removeAtOnce(ByteString(path), Removal{nullptr, nullptr, nullptr});
}

std::int32_t unlink(const char* path, FileOpCallback callback, FileOpRecord* record) {
    return unlink(path, callback, record, nullptr);
}

std::int32_t removeTree(const char* path, FileOpCallback callback, FileOpRecord* record) {
    return removeTree(path, callback, record, nullptr);
}

std::int32_t unlink(const char* path, FileOpCallback callback, FileOpRecord* record, NameIndex* index) {
    if (isEmpty(path)) return FILEOP_BAD_PARAMETER;
    const Removal removal{callback, record, index};
    ByteString bare(path);
    normalizeSlashes(bare);
    if (isRoot(bare)) return FILEOP_BAD_PARAMETER;
    removeTrailingSeparator(bare);

    if (removeAtOnce(bare, removal)) return FILEOP_OK;
    const Kind kind = kindOf(bare);
    if (kind == Kind::LOOK_FAILED) return FILEOP_BAD_PARAMETER;
    if (kind == Kind::DIRECTORY || (kind == Kind::UNKNOWN && isDirectory(bare.cStr()))) {
        return removeObject(bare.cStr(), true, removal);
    }
    if (kind == Kind::FILE_OR_OTHER) return removeObject(bare.cStr(), false, removal);
    if (kind == Kind::MISSING && isMissingInAnyCase(bare, removal)) return FILEOP_OK;
    return removeListed(bare, false, removal);
}

std::int32_t removeTree(const char* path, FileOpCallback callback, FileOpRecord* record, NameIndex* index) {
    if (isEmpty(path)) return FILEOP_BAD_PARAMETER;
    ByteString whole(path);
    normalizeSlashes(whole);
    if (isRoot(whole)) return FILEOP_BAD_PARAMETER;
    return removeTreeOf(whole, Removal{callback, record, index});
}

}  // namespace ovpatch
