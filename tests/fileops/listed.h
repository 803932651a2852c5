// What a listing gives, as one text.
#ifndef OVPATCH_TESTS_FILEOPS_LISTED_H
#define OVPATCH_TESTS_FILEOPS_LISTED_H

#include <gtest/gtest.h>

#include <string>

#include "fileops/dir_listing.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch::test {

// The paths that a listing gives, with "/" behind those that it knows for directories.
inline std::string listed(const TempTree& tree, const std::string& path) {
    DirListing listing(path.c_str());
    std::string text;
    while (listing.hasNext()) {
        const ByteString entry = listing.nextPath();
        text += tree.local(entry.cStr()) + (listing.lastIsDirectory() ? "/ " : " ");
    }
    EXPECT_EQ(listing.nextPath().length(), 0U);
    return text;
}

}  // namespace ovpatch::test

#endif
