// The one way to walk a directory: a listing of its entries, taken at once.
#ifndef OVPATCH_FILEOPS_DIR_LISTING_H
#define OVPATCH_FILEOPS_DIR_LISTING_H

#include <cstdint>

#include "fileops/entry_names.h"
#include "foundation/byte_string.h"

namespace ovpatch {

class DirectoryEntries;

// `byte`, or the small letter for one of "A" to "Z".
char asciiLower(char byte);

// Equal bytes, or the same ASCII letter in different case.
bool equalIgnoreCase(char left, char right);

// Whether `name` matches `wildcard`, byte by byte and without regard to ASCII case. "*" stands for any run of
// bytes, also an empty one, "?" for exactly one byte.
bool matchWildcard(const char* wildcard, const char* name);

// The entries of one directory, in the device's order: all directories, and of the other entries those that
// match the pattern. When the pattern holds no wildcard and an entry of exactly that name exists, entries
// that differ from it only in case are not listed. It is complete when it is made and can be walked once.
class DirListing {
public:
    // `path` is a directory, with or without a separator at its end, or a path whose last part is the
    // pattern; null counts as empty, which lists the working directory. What is missing has no entries.
    explicit DirListing(const char* path);

    // Whether the listing has all entries. False where the device could not read the directory to its end, or
    // there was no memory for the names: the listing is then empty, and that has been told (look_failure.h).
    bool isComplete() const { return isComplete_; }

    // Whether nextPath has another path to give.
    bool hasNext() const { return cursor_ < names_.end(); }

    // The path of the next entry: its directory and its name. Empty behind the last one.
    ByteString nextPath();

    // Of the entry that nextPath gave last: whether it was a directory when it was listed.
    bool lastIsDirectory() const { return lastIsDirectory_; }

    // The pattern, "*" for all entries.
    ByteString pattern() const { return pattern_; }

private:
    void read();
    bool addMatching(DirectoryEntries* entries);
    bool dropCaseVariants();
    void fail(const ByteString& path, std::uint32_t number);

    ByteString directory_;  // ends in "\", or empty
    ByteString pattern_;
    EntryNames names_;
    EntryNames::Position cursor_ = 0;
    bool lastIsDirectory_ = false;
    bool isComplete_ = true;
};

}  // namespace ovpatch

#endif
