#include "fileops/dir_listing.h"

#include "fileops/directory_entries.h"
#include "fileops/file_tests.h"
#include "fileops/paths.h"

namespace ovpatch {

DirListing::DirListing(const char* path) {
    ByteString whole(path);
    if (!endsWithSeparator(whole.cStr()) && isDirectory(whole.cStr())) whole.append("\\");
    normalizeSlashes(whole);
    splitPath(whole.cStr(), directory_, pattern_);
    if (pattern_.length() == 0) pattern_.assign("*");
    read();
}

ByteString DirListing::nextPath() {
    if (!hasNext()) return ByteString();
    lastIsDirectory_ = names_.isDirectory(cursor_);
    ByteString path = directory_ + names_.name(cursor_);
    cursor_ = names_.next(cursor_);
    return path;
}

void DirListing::read() {
    const bool isPlain = !hasWildcard(pattern_.cStr());
    bool hasExact = false;
    DirectoryEntries entries(directory_);
    while (entries.next()) {
        const bool directory = entries.isDirectory();
        if (!directory && !matchWildcard(pattern_.cStr(), entries.name())) continue;
        names_.add(entries.name(), directory);
        if (isPlain && pattern_.compare(entries.name()) == 0) hasExact = true;
    }
    if (hasExact) dropCaseVariants();
}

void DirListing::dropCaseVariants() {
    EntryNames kept;
    for (EntryNames::Position at = 0; at < names_.end(); at = names_.next(at)) {
        const char* name = names_.name(at);
        if (pattern_.compare(name) == 0 || !matchWildcard(pattern_.cStr(), name)) {
            kept.add(name, names_.isDirectory(at));
        }
    }
    names_ = kept;
}

}  // namespace ovpatch
