#include "fileops/copy.h"

#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/look_failure.h"
#include "fileops/make_directory.h"
#include "fileops/paths.h"
#include "fileops/remove.h"
#include "fileops/wide_path.h"
#include "platform/file_state.h"

namespace ovpatch {

namespace {

// What an operation passes along to every file.
struct Copying {
    bool overwrite;
    FileOpCallback callback;
    FileOpRecord* record;

    std::int32_t copyOne(const char* source, const char* target) const {
        return copyOneFile(source, target, overwrite, callback, record);
    }
    std::int32_t makeDirectory(const char* path, bool* exists = nullptr) const {
        return ovpatch::makeDirectory(path, callback, record, exists);
    }
};

bool isEmpty(const char* path) {
    return path == nullptr || *path == '\0';
}

bool copyOnDevice(const char* source, const char* target) {
    const WidePath from(source);
    const WidePath to(target);
    return from.fits() && to.fits() && CopyFileW(from.text(), to.text(), FALSE) != FALSE;
}

bool copyOpened(platform::CopySource* source, const char* target) {
    const WidePath to(target);
    return to.fits() && source->copyTo(to.text(), false);
}

ByteString normalized(const char* path) {
    ByteString result(path);
    normalizeSlashes(result);
    return result;
}

// Puts a separator behind a directory that has none, so that from there on the end of a path tells its kind.
// False when the device cannot tell.
bool closeDirectory(ByteString& path) {
    bool known = true;
    if (!endsWithSeparator(path.cStr()) && isDirectory(path.cStr(), &known)) path.append("\\");
    if (!known) tellLookFailure(path.cStr(), GetLastError());
    return known;
}

enum class Target {
    MISSING,
    NEW,  // to be taken for missing: it may be a directory, or a file that may not be read
    FILE,
    UNKNOWN,
};

Target lookAtTarget(const char* target) {
    bool known = true;
    if (fileExists(target, &known)) return Target::FILE;
    if (known) return platform::tellsMissing(GetLastError()) ? Target::MISSING : Target::NEW;
    tellLookFailure(target, GetLastError());
    return Target::UNKNOWN;
}

// Whether two paths are those of a file and a file name, told alike by the device and by our code page.
bool arePlain(const ByteString& source, const ByteString& target) {
    if (hasWildcard(source.cStr()) || endsWithSeparator(source.cStr())) return false;
    if (endsWithSeparator(target.cStr()) || !deviceSplitsAlike(target.cStr())) return false;
    // A parent that ends in a separator of its own is not what the device makes of it in every code page.
    ByteString parent = directoryPart(target.cStr());
    return !removeTrailingSeparator(parent) || !endsWithSeparator(parent.cStr());
}

// Tries the plain copy of a file to a file name. A success says by itself that the source is no directory,
// that the target is none and that the target's directory exists, which is all that there would be to ask
// first. After a failure nothing has changed and the questions have to be asked.
bool copyAtOnce(const ByteString& source, const ByteString& target) {
    return arePlain(source, target) && copyOnDevice(source.cStr(), target.cStr());
}

// The same for a move.
bool moveAtOnce(const char* source, const char* target, const platform::FileState* looked) {
    const ByteString from = normalized(source);
    const ByteString to = normalized(target);
    if (from.length() == 0 || !arePlain(from, to) || !deviceSplitsAlike(from.cStr())) return false;
    const WidePath wideFrom(from.cStr());
    const WidePath wideTo(to.cStr());
    return wideFrom.fits() && wideTo.fits() && platform::moveFileOver(wideFrom.text(), wideTo.text(), looked);
}

std::int32_t copyToFileName(const ByteString& source, const ByteString& target, const Copying& copying) {
    const std::int32_t answer = copying.makeDirectory(directoryPart(target.cStr()).cStr());
    return answer == FILEOP_OK ? copying.copyOne(source.cStr(), target.cStr()) : answer;
}

std::int32_t ensureDirectory(const ByteString& target, const Copying& copying) {
    return isDirectory(target.cStr()) ? FILEOP_OK : copying.makeDirectory(target.cStr());
}

std::int32_t copyLevel(const ByteString& source, const ByteString& target, const Copying& copying) {
    if (!endsWithSeparator(target.cStr())) {
        if (hasWildcard(source.cStr()) || endsWithSeparator(source.cStr())) return FILEOP_BAD_PARAMETER;
        return copyToFileName(source, target, copying);
    }
    std::int32_t answer = ensureDirectory(target, copying);
    if (answer != FILEOP_OK) return answer;
    DirListing listing(source.cStr());
    if (!listing.isComplete()) return FILEOP_COPY_FAILED;
    while (answer == FILEOP_OK && listing.hasNext()) {
        const ByteString entry = listing.nextPath();
        if (listing.lastIsDirectory()) continue;
        answer = copying.copyOne(entry.cStr(), (target + baseName(entry.cStr())).cStr());
    }
    return answer;
}

std::int32_t copyTree(const ByteString& source, const ByteString& parentTarget, const Copying& copying);

// Copies what a listing on `source` brings into the existing directory `target`.
std::int32_t copyEntries(const ByteString& source, const ByteString& target, const Copying& copying) {
    DirListing listing(source.cStr());
    if (!listing.isComplete()) return FILEOP_COPY_FAILED;
    const ByteString pattern = listing.pattern();
    while (listing.hasNext()) {
        ByteString entry = listing.nextPath();
        const ByteString name = baseName(entry.cStr());
        std::int32_t answer = FILEOP_OK;
        if (!listing.lastIsDirectory()) {
            answer = copying.copyOne(entry.cStr(), (target + name).cStr());
        } else if (matchWildcard(pattern.cStr(), name.cStr())) {
            if (!endsWithSeparator(entry.cStr())) entry.append("\\");
            answer = copyTree(entry, target, copying);
        }
        if (answer != FILEOP_OK) return answer;
    }
    return FILEOP_OK;
}

std::int32_t copyTree(const ByteString& source, const ByteString& parentTarget, const Copying& copying) {
    ByteString target(parentTarget);
    bool exists = false;
    if (endsWithSeparator(source.cStr())) {
        if (!endsWithSeparator(target.cStr())) return FILEOP_BAD_PARAMETER;
        target.append(lastComponent(source.cStr()));
        const std::int32_t answer = copying.makeDirectory(target.cStr(), &exists);
        if (answer != FILEOP_OK) return answer;
    }
    if (!endsWithSeparator(target.cStr())) {
        if (hasWildcard(source.cStr())) return FILEOP_BAD_PARAMETER;
        return copyToFileName(source, target, copying);
    }
    const std::int32_t answer = exists ? FILEOP_OK : ensureDirectory(target, copying);
    return answer == FILEOP_OK ? copyEntries(source, target, copying) : answer;
}

using CopyWork = std::int32_t (*)(const ByteString& source, const ByteString& target, const Copying& copying);

// The start that copyFiles and xcopy have in common.
std::int32_t startCopy(const char* source, const char* target, const Copying& copying, CopyWork work) {
    if (isEmpty(source) || isEmpty(target)) return FILEOP_BAD_PARAMETER;
    ByteString from = normalized(source);
    ByteString to = normalized(target);
    if (copying.record == nullptr && copying.overwrite && copyAtOnce(from, to)) return FILEOP_OK;
    if (!closeDirectory(from) || !closeDirectory(to)) return FILEOP_COPY_FAILED;
    return work(from, to, copying);
}

}  // namespace

std::int32_t copyOneFile(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                         FileOpRecord* record) {
    if (isEmpty(source) || isEmpty(target)) return FILEOP_BAD_PARAMETER;
    beginFileOp(record, source, target);

    // What can be opened under a name without a separator behind it is no directory.
    const bool isClosed = endsWithSeparator(target);
    const bool existenceCounts = record != nullptr || !overwrite;
    Target found = existenceCounts && !isClosed ? lookAtTarget(target) : Target::NEW;
    if (found == Target::NEW && isDirectory(target)) return FILEOP_NO_DIRECTORY;
    if (existenceCounts && isClosed) found = lookAtTarget(target);
    if (found == Target::UNKNOWN) return FILEOP_COPY_FAILED;
    if (found == Target::FILE && !overwrite) return FILEOP_TARGET_EXISTS;
    setFileOperation(record, found == Target::FILE ? FILEOP_COPY_OVERWRITE : FILEOP_COPY_NEW);

    const std::int32_t answer = callBefore(callback, record);
    if (answer != FILEOP_GO_ON) return answer == FILEOP_SKIP ? FILEOP_OK : answer;
    platform::CopySource* opened = record != nullptr ? record->opened : nullptr;
    const bool done = opened != nullptr ? copyOpened(opened, target) : copyOnDevice(source, target);
    if (!done) return FILEOP_COPY_FAILED;
    return callAfter(callback, record);
}

std::int32_t copyFiles(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                       FileOpRecord* record) {
    return startCopy(source, target, Copying{overwrite, callback, record}, copyLevel);
}

std::int32_t xcopy(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                   FileOpRecord* record) {
    return startCopy(source, target, Copying{overwrite, callback, record}, copyTree);
}

std::int32_t moveFiles(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                       FileOpRecord* record) {
    if (record == nullptr && overwrite) return moveFiles(source, target, nullptr);
    const std::int32_t answer = copyFiles(source, target, overwrite, callback, record);
    return answer == FILEOP_OK ? unlink(source, callback, record) : answer;
}

std::int32_t moveFiles(const char* source, const char* target, const platform::FileState* looked) {
    if (moveAtOnce(source, target, looked)) return FILEOP_OK;
    const std::int32_t answer = copyFiles(source, target, true, nullptr, nullptr);
    return answer == FILEOP_OK ? unlink(source, nullptr, nullptr) : answer;
}

std::int32_t moveTree(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                      FileOpRecord* record) {
    if (record == nullptr && overwrite && moveAtOnce(source, target, nullptr)) return FILEOP_OK;
    const std::int32_t answer = xcopy(source, target, overwrite, callback, record);
    return answer == FILEOP_OK ? removeTree(source, callback, record) : answer;
}

ByteString lastComponent(const char* path) {
    const ByteString directory = directoryPart(path);
    if (directory.length() == 0) return ByteString();
    const ByteString bare = directory.substr(0, directory.length() - 1);
    return baseName(bare.cStr()) + "\\";
}

}  // namespace ovpatch
