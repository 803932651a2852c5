#include "fileops/dir_listing.h"

#include "fileops/directory_entries.h"
#include "fileops/file_tests.h"
#include "fileops/look_failure.h"
#include "fileops/paths.h"

namespace ovpatch {

DirListing::DirListing(const char* path) {
    ByteString whole(path);
    bool known = true;
    if (!endsWithSeparator(whole.cStr()) && isDirectory(whole.cStr(), &known)) whole.append("\\");
    normalizeSlashes(whole);
    splitPath(whole.cStr(), directory_, pattern_);
    if (pattern_.length() == 0) pattern_.assign("*");
    if (known) {
        read();
    } else {
        fail(whole, GetLastError());
    }
}

ByteString DirListing::nextPath() {
    if (!hasNext()) return ByteString();
    lastIsDirectory_ = names_.isDirectory(cursor_);
    ByteString path = directory_ + names_.name(cursor_);
    cursor_ = names_.next(cursor_);
    return path;
}

void DirListing::read() {
    DirectoryEntries entries(directory_);
    if (!addMatching(&entries)) {
        fail(directory_, ERROR_NOT_ENOUGH_MEMORY);
    } else if (entries.error() != ERROR_SUCCESS) {
        fail(directory_, entries.error());
    }
}

// False without memory.
bool DirListing::addMatching(DirectoryEntries* entries) {
    const bool isPlain = !hasWildcard(pattern_.cStr());
    bool hasExact = false;
    while (entries->next()) {
        const bool directory = entries->isDirectory();
        if (!directory && !matchWildcard(pattern_.cStr(), entries->name())) continue;
        if (!names_.add(entries->name(), directory)) return false;
        if (isPlain && pattern_.compare(entries->name()) == 0) hasExact = true;
    }
    return !hasExact || dropCaseVariants();
}

// False without memory.
bool DirListing::dropCaseVariants() {
    EntryNames kept;
    for (EntryNames::Position at = 0; at < names_.end(); at = names_.next(at)) {
        const char* name = names_.name(at);
        const bool isKept = pattern_.compare(name) == 0 || !matchWildcard(pattern_.cStr(), name);
        if (isKept && !kept.add(name, names_.isDirectory(at))) return false;
    }
    names_.swap(kept);
    return true;
}

void DirListing::fail(const ByteString& path, std::uint32_t number) {
    isComplete_ = false;
    names_.clear();
    tellLookFailure(path.cStr(), number);
}

}  // namespace ovpatch
