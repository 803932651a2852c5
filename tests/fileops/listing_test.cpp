#include <gtest/gtest.h>

#include <string>

#include "fileops/file_tests.h"
#include "tests/fileops/listed.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

TEST(DirListing, ListsDirectoriesAndMatchingFiles) {
    test::TempTree tree;
    for (const char* name : {"d/b.txt", "d/a.TXT", "d/c", "d/sub/x", "d/sub.dir/", "empty/"})
        tree.make(name);
    const std::string all = "\\d\\a.TXT \\d\\b.txt \\d\\c \\d\\sub/ \\d\\sub.dir/ ";
    const std::pair<const char*, std::string> cases[] = {
        {"\\d", all},
        {"\\d\\", all},
        {"\\d/", all},
        {"/d\\*", all},
        {"\\d\\*.txt", "\\d\\a.TXT \\d\\b.txt \\d\\sub/ \\d\\sub.dir/ "},
        {"\\d\\none*", "\\d\\sub/ \\d\\sub.dir/ "},
        {"\\d\\c", "\\d\\c \\d\\sub/ \\d\\sub.dir/ "},
        {"\\empty", ""},
        {"\\missing\\*", ""},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(test::listed(tree, tree.path(path)), expected) << path;
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

}  // namespace
}  // namespace ovpatch
