// The steps that spare a copy must leave just what the copy would.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/platform/support/test_tree.h"

namespace fs = std::filesystem;

namespace ovpatch::test {
namespace {

class SecondName : public testing::Test {
protected:
    bool move(const char* source, const char* target) const {
        return platform::moveFileOver(tree.wide(source).c_str(), tree.wide(target).c_str());
    }
    bool give(const char* file, const char* name) const {
        return platform::giveSecondName(tree.wide(file).c_str(), tree.wide(name).c_str());
    }
    void lay(const char* name, const char* content, mode_t mode = 0644) const {
        tree.put(name, content);
        ASSERT_EQ(0, chmod(tree.host(name).c_str(), mode));
    }
    bool exists(const char* name) const { return fs::exists(fs::symlink_status(tree.host(name))); }

    TestTree tree;
};

TEST_F(SecondName, MovesWhereACopyAndADeleteWouldDoTheSame) {
    lay("from", "new", 0640);
    lay("to", "old", 0600);
    const auto time = fs::last_write_time(tree.host("from"));
    EXPECT_TRUE(move("from", "to"));
    EXPECT_FALSE(exists("from"));
    EXPECT_EQ("new", tree.get("to"));
    EXPECT_EQ(time, fs::last_write_time(tree.host("to")));
    EXPECT_EQ(fs::perms(0640), fs::status(tree.host("to")).permissions());
    EXPECT_TRUE(move("to", "missing"));
    EXPECT_EQ("new", tree.get("missing"));
}

TEST_F(SecondName, LeavesEverythingElseToTheTwoOperations) {
    lay("file", "content");
    lay("read-only", "content", 0444);
    lay("set-id", "content", 04755);
    lay("named twice", "content");
    fs::create_hard_link(tree.host("named twice"), tree.host("its other name"));
    fs::create_directory(tree.host("directory"));
    fs::create_symlink("file", tree.host("link"));
    const char* const rows[][2] = {
        {"read-only", "new"}, {"file", "read-only"},   {"set-id", "new"}, {"named twice", "new"},
        {"directory", "new"}, {"file", "directory"},   {"link", "new"},   {"file", "link"},
        {"missing", "new"},   {"file", "missing/new"}, {"file", "file"},  {"named twice", "named twice"},
        {"file", "a*"}};
    for (const auto& row : rows) {
        EXPECT_FALSE(move(row[0], row[1])) << row[0] << " to " << row[1];
        EXPECT_FALSE(exists("new"));
        EXPECT_EQ("content", tree.get("file"));
        EXPECT_EQ("content", tree.get("read-only"));
        EXPECT_EQ("content", tree.get("named twice"));
        EXPECT_TRUE(exists("directory") && exists("link"));
    }
    if (geteuid() == 0) {
        ASSERT_EQ(0, chown(tree.host("file").c_str(), 1, 1));
        EXPECT_FALSE(move("file", "new")) << "a copy would be the process's own";
    }
}

// A copy that was to be replaced and was not: its second name goes, the first stays.
TEST_F(SecondName, GoesBackOntoTheFileItself) {
    lay("file", "content");
    ASSERT_TRUE(give("file", "saved"));
    EXPECT_TRUE(move("saved", "file"));
    EXPECT_FALSE(exists("saved"));
    EXPECT_EQ("content", tree.get("file"));
}

TEST_F(SecondName, KeepsTheOldContentWhenTheFileIsReplaced) {
    lay("file", "old", 0640);
    lay("other", "other");
    ASSERT_TRUE(give("file", "saved"));
    lay("source", "new");
    ASSERT_TRUE(CopyFileW(tree.wide("source").c_str(), tree.wide("file").c_str(), FALSE));
    EXPECT_EQ("old", tree.get("saved"));
    EXPECT_EQ("new", tree.get("file"));
    EXPECT_EQ(fs::perms(0640), fs::status(tree.host("saved")).permissions());

    EXPECT_FALSE(give("file", "other"));
    EXPECT_EQ(ERROR_FILE_EXISTS, GetLastError());
    EXPECT_EQ("other", tree.get("other"));
    fs::create_hard_link(tree.host("file"), tree.host("held elsewhere"));
    fs::create_symlink("other", tree.host("link"));
    fs::create_directory(tree.host("directory"));
    lay("read-only", "stays", 0444);
    for (const char* unfit : {"file", "link", "directory", "missing", "read-only"})
        EXPECT_FALSE(give(unfit, "second")) << unfit;
    EXPECT_FALSE(exists("second"));
    EXPECT_FALSE(give("other", "no directory/second"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());
}

}  // namespace
}  // namespace ovpatch::test
