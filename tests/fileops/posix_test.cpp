// What only a host has that tells case apart, has links and a working directory, and takes longer paths.
#include <gtest/gtest.h>

#include <string>

#include "fileops/copy.h"
#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/make_directory.h"
#include "fileops/name_index.h"
#include "fileops/remove.h"
#include "tests/fileops/call_recorder.h"
#include "tests/fileops/listed.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

TEST(DirListing, LooksInTheWorkingDirectoryForBareNamesAndInTheRootForRootedOnes) {
    test::TempTree tree;
    tree.make("tmp");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(tree.root());
    EXPECT_EQ(test::listed(tree, "tmp"), "tmp ");
    EXPECT_EQ(test::listed(tree, ""), "tmp ");
    DirListing root("\\*");
    bool sawTmp = false;
    while (root.hasNext())
        sawTmp = root.nextPath().compare("\\tmp") == 0 || sawTmp;
    EXPECT_TRUE(sawTmp);
    std::filesystem::current_path(before);
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

TEST(Removal, TakesCaseVariantsOnlyWithoutTheExactName) {
    test::TempTree tree;
    for (const char* name : {"d/new", "d/NEW", "d/nEw/x", "e/NEW", "e/nEw/"})
        tree.make(name);
    EXPECT_EQ(unlink(tree.path("\\d\\new").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(unlink(tree.path("\\e\\new").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(tree.all(), "d/ d/NEW=d/NEW d/nEw/ d/nEw/x=d/nEw/x e/ ");
    EXPECT_EQ(removeTree(tree.path("\\E\\").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(removeTree(tree.path("\\d\\new").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(tree.all(), "d/ e/ ");
}

TEST(Removal, TakesALinkAndLeavesWhatItPointsTo) {
    test::TempTree tree;
    for (const char* name : {"kept/x", "d/y"})
        tree.make(name);
    const auto link = [&](const char* name, const char* to) {
        std::filesystem::create_symlink(tree.root() / to, tree.root() / name);
    };
    link("d/tree", "kept");
    link("d/file", "kept/x");
    link("d/none", "missing");
    link("one", "kept");
    link("two", "kept");
    link("three", "kept");
    link("four", "kept");
    for (const char* name : {"\\d", "\\one\\", "\\three\\\\"})
        EXPECT_EQ(removeTree(tree.path(name).c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(unlink(tree.path("\\two").c_str(), nullptr, nullptr), 0);
    test::CallRecorder recorder(tree);
    EXPECT_EQ(removeTree(tree.path("\\four").c_str(), test::CallRecorder::callback, &recorder.record), 0);
    EXPECT_EQ(recorder.calls, "r0 \\four r1 \\four ");
    EXPECT_EQ(tree.all(), "kept/ kept/x=kept/x ");
}

// The directory goes first, so that the link beside it leads nowhere when its turn comes.
TEST(Removal, TakesALinkWhoseDirectoryHasGone) {
    test::TempTree tree;
    tree.make("d/a/");
    std::filesystem::create_symlink(tree.root() / "d/a", tree.root() / "d/b");
    EXPECT_EQ(unlink(tree.path("\\d\\*").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(tree.all(), "d/ ");
}

TEST(Removal, StopsAtAReadOnlyFile) {
    test::TempTree tree;
    tree.make("d/x");
    std::filesystem::permissions(tree.root() / "d/x", std::filesystem::perms::owner_read);
    EXPECT_EQ(removeTree(tree.path("\\d").c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(tree.all(), "d/ d/x=d/x ");
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

TEST(FileOperations, FailOnPathsThatDoNotFit) {
    test::TempTree tree;
    tree.make("f");
    const std::string half(130, 'p');
    tree.make(half + "/" + half);
    tree.make(half + "/q");
    const std::string longPath = tree.path("\\" + half + "\\" + half);
    const std::string file = tree.path("\\f");
    EXPECT_EQ(copyFiles(file.c_str(), longPath.c_str(), true, nullptr, nullptr), -4);
    EXPECT_EQ(copyOneFile(longPath.c_str(), file.c_str(), true, nullptr, nullptr), -4);
    EXPECT_EQ(makeDirectory((longPath + "x").c_str(), nullptr, nullptr), -5);
    EXPECT_EQ(removeEntry(longPath.c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(unlink(longPath.c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(xcopy(tree.path("\\" + half).c_str(), tree.path("\\u\\").c_str(), true, nullptr, nullptr), -4);
    EXPECT_EQ(removeTree(tree.path("\\" + half).c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(tree.read(half + "/" + half), half + "/" + half);
    EXPECT_EQ(tree.read("f"), "f");
}

}  // namespace
}  // namespace ovpatch
