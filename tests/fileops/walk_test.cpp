// Copying, removing and making directories: outcomes, answers and the calls that a callback sees.
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <string>
#include <vector>

#include "fileops/copy.h"
#include "fileops/make_directory.h"
#include "fileops/remove.h"
#include "tests/fileops/call_recorder.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

using CopyOperation = std::int32_t (*)(const char*, const char*, bool, FileOpCallback, FileOpRecord*);

struct CopyCase {
    const char* what;
    CopyOperation operation;
    const char* source;
    const char* target;
    std::int32_t answer;
    const char* calls;
    const char* tree;  // what lies there afterwards beside the source tree
    std::map<std::string, std::int32_t> answers = {};
    bool overwrite = true;
};

// The source tree is s/ with a, b/c and an empty e/; beside it stand the file f and the directory t/ with x.
constexpr const char* SOURCE_TREE = "f=f s/ s/a=s/a s/b/ s/b/c=s/b/c s/e/ ";

// By this the cases are named.
void PrintTo(const CopyCase& copy, std::ostream* out) {
    *out << copy.what;
}

class Copying : public testing::TestWithParam<CopyCase> {};

TEST_P(Copying, GivesAnswerCallsAndTree) {
    const CopyCase& c = GetParam();
    for (const bool withCallback : {true, false}) {
        test::TempTree tree;
        for (const char* name : {"f", "s/a", "s/b/c", "s/e/", "t/x"})
            tree.make(name);
        test::CallRecorder recorder(tree);
        recorder.answers = c.answers;
        if (!withCallback && !c.answers.empty()) continue;
        const auto answer = c.operation(tree.path(c.source).c_str(), tree.path(c.target).c_str(), c.overwrite,
                                        withCallback ? test::CallRecorder::callback : nullptr,
                                        withCallback ? &recorder.record : nullptr);
        EXPECT_EQ(answer, c.answer) << c.what << withCallback;
        if (withCallback) {
            EXPECT_EQ(recorder.calls, c.calls) << c.what;
        }
        EXPECT_EQ(tree.all(), SOURCE_TREE + std::string(c.tree)) << c.what << withCallback;
    }
}

constexpr const char* T = "t/ t/x=t/x ";

const CopyCase copyCases[] = {
    {"a file to a new name", copyOneFile, "\\f", "\\t\\y", 0, "n0 \\f>\\t\\y n1 \\f>\\t\\y ",
     "t/ t/x=t/x t/y=f "},
    {"a file over another", copyOneFile, "\\f", "\\t\\x", 0, "o0 \\f>\\t\\x o1 \\f>\\t\\x ", "t/ t/x=f "},
    {"no leave to overwrite", copyOneFile, "\\f", "\\t\\x", -6, "", T, {}, false},
    {"leave not needed",
     copyOneFile,
     "\\f",
     "\\t\\y",
     0,
     "n0 \\f>\\t\\y n1 \\f>\\t\\y ",
     "t/ t/x=t/x t/y=f ",
     {},
     false},
    {"a directory in the way", copyOneFile, "\\f", "\\t", -5, "", T},
    {"the same, closed", copyOneFile, "\\f", "\\t\\", -5, "", T},
    {"no source", copyOneFile, "\\g", "\\t\\x", -4, "o0 \\g>\\t\\x ", T},
    {"a directory as source", copyOneFile, "\\s", "\\t\\y", -4, "n0 \\s>\\t\\y ", T},
    {"no target directory", copyOneFile, "\\f", "\\u\\y", -4, "n0 \\f>\\u\\y ", T},
    {"onto itself", copyOneFile, "\\t\\x", "\\t\\x", -4, "o0 \\t\\x>\\t\\x ", T},
    {"skipped", copyOneFile, "\\f", "\\t\\x", 0, "o0 \\f>\\t\\x ", T, {{"o0 \\f", 2}}},
    {"stopped behind",
     copyOneFile,
     "\\f",
     "\\t\\x",
     9,
     "o0 \\f>\\t\\x o1 \\f>\\t\\x ",
     "t/ t/x=f ",
     {{"o1 \\f", 9}}},

    {"a file into a directory", copyFiles, "/f", "/t", 0, "n0 \\f>\\t\\f n1 \\f>\\t\\f ",
     "t/ t/f=f t/x=t/x "},
    {"a file, directories missing", copyFiles, "\\f", "\\u/v\\y", 0,
     "m0 \\u\\v\\ m0 \\u\\ m1 \\u\\ m1 \\u\\v\\ n0 \\f>\\u\\v\\y n1 \\f>\\u\\v\\y ",
     "t/ t/x=t/x u/ u/v/ u/v/y=f "},
    {"a level", copyFiles, "\\s", "\\u\\", 0, "m0 \\u\\ m1 \\u\\ n0 \\s\\a>\\u\\a n1 \\s\\a>\\u\\a ",
     "t/ t/x=t/x u/ u/a=s/a "},
    {"a level to a file name", copyFiles, "\\s\\*", "\\u", -1, "", T},
    {"a directory to a file name", copyFiles, "\\s", "\\f", -1, "", T},
    {"nothing into a directory", copyFiles, "\\g", "\\u\\", 0, "m0 \\u\\ m1 \\u\\ ", "t/ t/x=t/x u/ "},
    {"nothing to a file name", copyFiles, "\\g", "\\t\\y", -4, "m0 \\t\\ m1 \\t\\ n0 \\g>\\t\\y ", T},
    {"below a file", copyFiles, "\\f", "\\f\\y", -5, "m0 \\f\\ ", T},
    {"stopped at the directory", copyFiles, "\\f", "\\u\\y", 7, "m0 \\u\\ ", T, {{"m0 \\u\\", 7}}},

    {"a tree below its own name", xcopy, "\\s", "\\t", 0,
     "m0 \\t\\s\\ m1 \\t\\s\\ n0 \\s\\a>\\t\\s\\a n1 \\s\\a>\\t\\s\\a m0 \\t\\s\\b\\ m1 \\t\\s\\b\\ "
     "n0 \\s\\b\\c>\\t\\s\\b\\c n1 \\s\\b\\c>\\t\\s\\b\\c m0 \\t\\s\\e\\ m1 \\t\\s\\e\\ ",
     "t/ t/s/ t/s/a=s/a t/s/b/ t/s/b/c=s/b/c t/s/e/ t/x=t/x "},
    {"a tree into a new directory", xcopy, "\\s\\", "\\u/", 0,
     "m0 \\u\\s\\ m0 \\u\\ m1 \\u\\ m1 \\u\\s\\ n0 \\s\\a>\\u\\s\\a n1 \\s\\a>\\u\\s\\a m0 \\u\\s\\b\\ m1 "
     "\\u\\s\\b\\ "
     "n0 \\s\\b\\c>\\u\\s\\b\\c n1 \\s\\b\\c>\\u\\s\\b\\c m0 \\u\\s\\e\\ m1 \\u\\s\\e\\ ",
     "t/ t/x=t/x u/ u/s/ u/s/a=s/a u/s/b/ u/s/b/c=s/b/c u/s/e/ "},
    {"what matches, by name on its own level only", xcopy, "\\s\\B*", "\\t", 0,
     "m0 \\t\\b\\ m1 \\t\\b\\ n0 \\s\\b\\c>\\t\\b\\c n1 \\s\\b\\c>\\t\\b\\c ",
     "t/ t/b/ t/b/c=s/b/c t/x=t/x "},
    {"a tree to a file name", xcopy, "\\s", "\\u", -1, "", T},
    {"a wildcard to a file name", xcopy, "\\s\\*", "\\u", -1, "", T},
    {"a file to a file name", xcopy, "\\f", "\\t\\x", 0, "m0 \\t\\ m1 \\t\\ o0 \\f>\\t\\x o1 \\f>\\t\\x ",
     "t/ t/x=f "},
    {"nothing", xcopy, "\\g\\*", "\\u\\", 0, "m0 \\u\\ m1 \\u\\ ", "t/ t/x=t/x u/ "},
    {"a file skipped, a directory skipped",
     xcopy,
     "\\s\\*",
     "\\t",
     0,
     "n0 \\s\\a>\\t\\a m0 \\t\\b\\ m0 \\t\\b\\ n0 \\s\\b\\c>\\t\\b\\c m0 \\t\\e\\ m1 \\t\\e\\ ",
     "t/ t/e/ t/x=t/x ",
     {{"n0 \\s\\a", 2}, {"m0 \\t\\b\\", 2}, {"n0 \\s\\b\\c", 2}}},
    {"cancelled",
     xcopy,
     "\\s\\*",
     "\\t",
     1,
     "n0 \\s\\a>\\t\\a n1 \\s\\a>\\t\\a m0 \\t\\b\\ m1 \\t\\b\\ n0 \\s\\b\\c>\\t\\b\\c ",
     "t/ t/a=s/a t/b/ t/x=t/x ",
     {{"n0 \\s\\b\\c", 1}}},
    {"a directory where a file is", xcopy, "\\s\\*", "\\s\\b\\c", -1, "", T},
};

INSTANTIATE_TEST_SUITE_P(Table, Copying, testing::ValuesIn(copyCases));

TEST(Moving, RemovesTheSourceOnlyAfterAFullCopy) {
    test::TempTree tree;
    for (const char* name : {"s/a", "s/b/c", "t/a/"})
        tree.make(name);
    const auto run = [&](CopyOperation operation, const char* source, const char* target) {
        return operation(tree.path(source).c_str(), tree.path(target).c_str(), true, nullptr, nullptr);
    };
    EXPECT_EQ(run(moveTree, "\\s\\*", "\\t"), -5);
    EXPECT_EQ(tree.all(), "s/ s/a=s/a s/b/ s/b/c=s/b/c t/ t/a/ ");
    EXPECT_EQ(run(moveFiles, "\\s\\a", "\\t\\z"), 0);
    EXPECT_EQ(run(moveTree, "\\s", "\\u\\"), 0);
    EXPECT_EQ(tree.all(), "t/ t/a/ t/z=s/a u/ u/s/ u/s/b/ u/s/b/c=s/b/c ");
    EXPECT_EQ(run(moveFiles, "\\g", "\\t\\z"), -4);
}

enum class Remove { ENTRY, UNLINK, TREE, MAKE };

struct RemoveCase {
    Remove operation;
    const char* path;
    std::int32_t answer;
    const char* calls;
    const char* tree;
    std::map<std::string, std::int32_t> answers = {};
};

const char* const WHOLE = "d/ d/a=d/a d/ab=d/ab d/e/ d/s/ d/s/x=d/s/x ";

void PrintTo(const RemoveCase& removal, std::ostream* out) {
    for (const char* byte = removal.path; *byte != '\0'; ++byte)
        *out << (std::isalnum(static_cast<unsigned char>(*byte)) != 0 ? *byte : '-');
}

class Removing : public testing::TestWithParam<RemoveCase> {};

TEST_P(Removing, GivesAnswerCallsAndTree) {
    const RemoveCase& c = GetParam();
    for (const bool withCallback : {true, false}) {
        if (!withCallback && !c.answers.empty()) continue;
        test::TempTree tree;
        for (const char* name : {"d/a", "d/ab", "d/e/", "d/s/x"})
            tree.make(name);
        test::CallRecorder recorder(tree);
        recorder.answers = c.answers;
        const auto callback = withCallback ? test::CallRecorder::callback : nullptr;
        const std::string path = tree.path(c.path);
        std::int32_t answer = 0;
        switch (c.operation) {
            case Remove::ENTRY:
                answer = removeEntry(path.c_str(), callback, &recorder.record);
                break;
            case Remove::UNLINK:
                answer = unlink(path.c_str(), callback, &recorder.record);
                break;
            case Remove::TREE:
                answer = removeTree(path.c_str(), callback, &recorder.record);
                break;
            case Remove::MAKE:
                answer = makeDirectory(path.c_str(), callback, &recorder.record);
                break;
        }
        SCOPED_TRACE(testing::Message() << c.path << " " << withCallback);
        EXPECT_EQ(answer, c.answer);
        EXPECT_EQ(recorder.calls, withCallback ? c.calls : "");
        EXPECT_EQ(tree.all(), c.tree);
        EXPECT_EQ(recorder.record.recordSize, 77U);
    }
}

const RemoveCase removeCases[] = {
    {Remove::ENTRY, "\\d\\a", 0, "f0 \\d\\a f1 \\d\\a ", "d/ d/ab=d/ab d/e/ d/s/ d/s/x=d/s/x "},
    {Remove::ENTRY, "\\d\\e\\", 0, "r0 \\d\\e\\ r1 \\d\\e\\ ", "d/ d/a=d/a d/ab=d/ab d/s/ d/s/x=d/s/x "},
    {Remove::ENTRY, "\\d\\s", -1, "r0 \\d\\s ", WHOLE},
    {Remove::ENTRY, "\\d\\none", -1, "f0 \\d\\none ", WHOLE},
    {Remove::ENTRY,
     "\\d\\a",
     4,
     "f0 \\d\\a f1 \\d\\a ",
     "d/ d/ab=d/ab d/e/ d/s/ d/s/x=d/s/x ",
     {{"f1 \\d\\a", 4}}},

    {Remove::UNLINK, "\\d/none", 0, "", WHOLE},
    {Remove::UNLINK, "\\d/a", 0, "f0 \\d\\a f1 \\d\\a ", "d/ d/ab=d/ab d/e/ d/s/ d/s/x=d/s/x "},
    {Remove::UNLINK, "\\d\\e\\", 0, "r0 \\d\\e r1 \\d\\e ", "d/ d/a=d/a d/ab=d/ab d/s/ d/s/x=d/s/x "},
    {Remove::UNLINK, "\\d", -1, "r0 \\d ", WHOLE},
    {Remove::UNLINK, "\\d\\a*", 0, "f0 \\d\\a f1 \\d\\a f0 \\d\\ab f1 \\d\\ab ", "d/ d/e/ d/s/ d/s/x=d/s/x "},
    {Remove::UNLINK, "\\d\\*", -1, "f0 \\d\\a f1 \\d\\a f0 \\d\\ab f1 \\d\\ab r0 \\d\\e r1 \\d\\e r0 \\d\\s ",
     "d/ d/s/ d/s/x=d/s/x "},
    {Remove::UNLINK,
     "\\d\\a*",
     0,
     "f0 \\d\\a f0 \\d\\ab f1 \\d\\ab ",
     "d/ d/a=d/a d/e/ d/s/ d/s/x=d/s/x ",
     {{"f0 \\d\\a", 2}}},

    {Remove::TREE, "\\none", 0, "", WHOLE},
    {Remove::TREE, "\\d\\a", 0, "f0 \\d\\a f1 \\d\\a ", "d/ d/ab=d/ab d/e/ d/s/ d/s/x=d/s/x "},
    {Remove::TREE, "\\d\\a\\", 0, "", WHOLE},
    {Remove::TREE, "\\d\\s/", 0, "f0 \\d\\s\\x f1 \\d\\s\\x r0 \\d\\s r1 \\d\\s ",
     "d/ d/a=d/a d/ab=d/ab d/e/ "},
    {Remove::TREE, "\\d", 0,
     "f0 \\d\\a f1 \\d\\a f0 \\d\\ab f1 \\d\\ab r0 \\d\\e r1 \\d\\e f0 \\d\\s\\x f1 \\d\\s\\x r0 \\d\\s r1 "
     "\\d\\s r0 \\d r1 \\d ",
     ""},
    {Remove::TREE, "\\d\\*", 0,
     "f0 \\d\\a f1 \\d\\a f0 \\d\\ab f1 \\d\\ab r0 \\d\\e r1 \\d\\e f0 \\d\\s\\x f1 \\d\\s\\x r0 \\d\\s r1 "
     "\\d\\s ",
     "d/ "},
    {Remove::TREE,
     "\\d\\?",
     5,
     "f0 \\d\\a f1 \\d\\a r0 \\d\\e r1 \\d\\e ",
     "d/ d/ab=d/ab d/s/ d/s/x=d/s/x ",
     {{"r1 \\d\\e", 5}}},

    {Remove::MAKE, "\\d", 0, "m0 \\d m1 \\d ", WHOLE},
    {Remove::MAKE, "\\d\\a", -5, "m0 \\d\\a ", WHOLE},
    {Remove::MAKE, "\\d\\e/f\\g\\", 0, "m0 \\d\\e/f\\g\\ m0 \\d\\e/f\\ m1 \\d\\e/f\\ m1 \\d\\e/f\\g\\ ",
     "d/ d/a=d/a d/ab=d/ab d/e/ d/e/f/ d/e/f/g/ d/s/ d/s/x=d/s/x "},
    {Remove::MAKE, "\\d\\e\\f", 0, "m0 \\d\\e\\f ", WHOLE, {{"m0 \\d\\e\\f", 2}}},
    {Remove::MAKE, "\\d\\f\\g", -5, "m0 \\d\\f\\g m0 \\d\\f\\ ", WHOLE, {{"m0 \\d\\f\\", 3}}},
    {Remove::MAKE, "\\d", 3, "m0 \\d ", WHOLE, {{"m0 \\d", 3}}},
};

INSTANTIATE_TEST_SUITE_P(Table, Removing, testing::ValuesIn(removeCases));

TEST(FileOperations, RefuseEmptyPathsAndTheRoot) {
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        for (const CopyOperation operation : {copyOneFile, copyFiles, xcopy, moveFiles, moveTree}) {
            EXPECT_EQ(operation(none, "x", true, nullptr, nullptr), -1);
            EXPECT_EQ(operation("x", none, true, nullptr, nullptr), -1);
        }
        EXPECT_EQ(removeEntry(none, nullptr, nullptr), -1);
        EXPECT_EQ(unlink(none, nullptr, nullptr), -1);
        EXPECT_EQ(removeTree(none, nullptr, nullptr), -1);
    }
    EXPECT_EQ(makeDirectory(nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(makeDirectory("", nullptr, nullptr), 0);
    EXPECT_EQ(makeDirectory("\\", nullptr, nullptr), 0);
    EXPECT_EQ(unlink("/", nullptr, nullptr), -1);
}

}  // namespace
}  // namespace ovpatch
