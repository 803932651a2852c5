#include <gtest/gtest.h>

#include <string>

#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/name_index.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

// The paths that a listing gives, with "/" behind those that it knows for directories.
std::string listed(const test::TempTree& tree, const std::string& path) {
    DirListing listing(path.c_str());
    std::string text;
    while (listing.hasNext()) {
        const ByteString entry = listing.nextPath();
        text += tree.local(entry.cStr()) + (listing.lastIsDirectory() ? "/ " : " ");
    }
    EXPECT_EQ(listing.nextPath().length(), 0U);
    return text;
}

TEST(DirListing, ListsDirectoriesAndMatchingFiles) {
    test::TempTree tree;
    for (const char* name : {"d/b.txt", "d/A.TXT", "d/c", "d/sub/x", "d/Sub.dir/", "n/new.dll", "n/NEW.DLL",
                             "n/nEw.dll/", "n/z/", "v/NEW.DLL", "v/nEW.dll/", "empty/"}) {
        tree.make(name);
    }
    const std::string all = "\\d\\A.TXT \\d\\Sub.dir/ \\d\\b.txt \\d\\c \\d\\sub/ ";
    const std::pair<const char*, std::string> cases[] = {
        {"\\d", all},
        {"\\d\\", all},
        {"\\d/", all},
        {"/d\\*", all},
        {"\\d\\*.txt", "\\d\\A.TXT \\d\\Sub.dir/ \\d\\b.txt \\d\\sub/ "},
        {"\\d\\none*", "\\d\\Sub.dir/ \\d\\sub/ "},
        {"\\d\\c", "\\d\\Sub.dir/ \\d\\c \\d\\sub/ "},
        {"\\n\\new.dll", "\\n\\new.dll \\n\\z/ "},
        {"\\n\\new.dl?", "\\n\\NEW.DLL \\n\\nEw.dll/ \\n\\new.dll \\n\\z/ "},
        {"\\v\\new.dll", "\\v\\NEW.DLL \\v\\nEW.dll/ "},
        {"\\empty", ""},
        {"\\missing\\*", ""},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(listed(tree, tree.path(path)), expected) << path;
}

TEST(DirListing, LooksInTheWorkingDirectoryForBareNamesAndInTheRootForRootedOnes) {
    test::TempTree tree;
    tree.make("tmp");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(tree.root());
    EXPECT_EQ(listed(tree, "tmp"), "tmp ");
    EXPECT_EQ(listed(tree, ""), "tmp ");
    DirListing root("\\*");
    bool sawTmp = false;
    while (root.hasNext())
        sawTmp = root.nextPath().compare("\\tmp") == 0 || sawTmp;
    EXPECT_TRUE(sawTmp);
    std::filesystem::current_path(before);
}

TEST(FileTests, TellDirectoriesFilesAndNothingApart) {
    test::TempTree tree;
    tree.make("d/f");
    struct Case {
        const char* name;
        bool directory;
        bool file;
        bool exists;
    };
    const Case cases[] = {{"\\d", true, false, true},   {"\\d\\", true, false, true},
                          {"\\d/", true, false, true},  {"\\d\\f", false, true, true},
                          {"\\g", false, false, false}, {"\\d\\*", false, false, false}};
    for (const Case& c : cases) {
        const std::string path = tree.path(c.name);
        EXPECT_EQ(isDirectory(path.c_str()), c.directory) << path;
        EXPECT_EQ(fileExists(path.c_str()), c.file) << path;
        EXPECT_EQ(pathExists(path.c_str()), c.exists) << path;
    }
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_FALSE(isDirectory(none) || fileExists(none) || pathExists(none));
    }
}

TEST(FileTests, APathThatDoesNotFitNamesNothing) {
    test::TempTree tree;
    std::string name;
    while (tree.path(name).size() < 300)
        name += "\\0123456789abcdef";
    std::string host = name.substr(1);
    for (char& c : host)
        c = c == '\\' ? '/' : c;
    tree.make(host + "/");
    const std::string fits = tree.path(name).substr(0, 259);
    EXPECT_FALSE(isDirectory(tree.path(name).c_str()));
    EXPECT_FALSE(pathExists(tree.path(name).c_str()));
    EXPECT_EQ(isDirectory(fits.substr(0, fits.rfind('\\')).c_str()), true);
}

TEST(NameIndex, ForgetsExactNamesAndFollowsTheDirectoryAskedFor) {
    test::TempTree tree;
    for (const char* name : {"a/ab", "a/AB", "b/x"})
        tree.make(name);
    NameIndex index;
    const auto canMatch = [&](const char* name) { return index.canMatch(tree.path(name).c_str()); };
    EXPECT_TRUE(canMatch("\\a\\Ab"));
    EXPECT_FALSE(canMatch("\\a\\x"));
    index.forget(tree.path("\\a\\Ab").c_str());
    index.forget(tree.path("\\a\\ab").c_str());
    EXPECT_TRUE(canMatch("\\a\\ab"));
    index.forget(tree.path("\\b\\AB").c_str());
    index.forget(tree.path("\\a\\AB").c_str());
    EXPECT_FALSE(canMatch("\\a\\ab"));
    EXPECT_TRUE(canMatch("\\b\\X"));
    EXPECT_FALSE(canMatch("\\none\\X"));
}

}  // namespace
}  // namespace ovpatch
