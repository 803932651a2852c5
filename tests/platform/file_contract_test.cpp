// What the operations on files and directories answer and which number they leave.
#include <gtest/gtest.h>

#include <chrono>

#include "tests/platform/support/host_traits.h"
#include "tests/platform/support/test_tree.h"

namespace fs = std::filesystem;

namespace ovpatch::test {
namespace {

bool attributesFail(const WideText& path) {
    return GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES;
}

HANDLE createNew(const WideText& path) {
    return CreateFileW(path.c_str(), 0, FILE_SHARE_READ, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// A tree with one of each: `file`, `locked` (read-only), `dir` with `inner` in it, `empty`.
class FileContract : public testing::Test {
protected:
    FileContract() {
        tree.put("file", "old");
        tree.put("locked", "kept");
        tree.setReadOnly("locked", true);
        fs::create_directory(tree.host("dir"));
        tree.put("dir/inner", "inner");
        fs::create_directory(tree.host("empty"));
    }
    BOOL copy(const char* source, const char* target) const {
        return CopyFileW(tree.wide(source).c_str(), tree.wide(target).c_str(), FALSE);
    }
    BOOL createDirectory(const char* name) const {
        return CreateDirectoryW(tree.wide(name).c_str(), nullptr);
    }
    BOOL removeDirectory(const char* name) const { return RemoveDirectoryW(tree.wide(name).c_str()); }
    BOOL deleteFile(const char* name) const { return DeleteFileW(tree.wide(name).c_str()); }

    TestTree tree;
    const std::string allNames = "dir empty file locked";
};

TEST_F(FileContract, AttributesTellDirectoriesAndReadOnlyFiles) {
    EXPECT_EQ(GetFileAttributesW(tree.wide("dir").c_str()) & FILE_ATTRIBUTE_DIRECTORY,
              FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(GetFileAttributesW(tree.wide("locked").c_str()) & FILE_ATTRIBUTE_READONLY,
              FILE_ATTRIBUTE_READONLY);
    const DWORD plain = GetFileAttributesW(tree.wide("file").c_str());
    EXPECT_EQ(plain & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY), 0U);
    EXPECT_FAILS(2, !attributesFail(tree.wide("missing")));
    EXPECT_FAILS(3, !attributesFail(tree.wide("missing/file")));
    EXPECT_FAILS(3, !attributesFail(tree.wide("file/below")));
}

TEST_F(FileContract, EveryOperationRefusesAnEmptyPathAndWildcards) {
    const struct {
        WideText path;
        DWORD number;
    } refusals[] = {
        {WideText(), 3}, {tree.wide("fil*"), 123}, {tree.wide("fil?"), 123}, {tree.wide("d?r/inner"), 123}};
    const WideText file = tree.wide("file");
    for (const auto& refusal : refusals) {
        const WideText& path = refusal.path;
        EXPECT_FAILS(refusal.number, !attributesFail(path));
        EXPECT_FAILS(refusal.number, CopyFileW(path.c_str(), file.c_str(), FALSE));
        EXPECT_FAILS(refusal.number, CopyFileW(file.c_str(), path.c_str(), FALSE));
        EXPECT_FAILS(refusal.number, DeleteFileW(path.c_str()));
        EXPECT_FAILS(refusal.number, createNew(path) != INVALID_HANDLE_VALUE);
        EXPECT_FAILS(refusal.number, CreateDirectoryW(path.c_str(), nullptr));
        const DWORD removalNumber = path.empty() ? EMPTY_REMOVAL_NUMBER : refusal.number;
        EXPECT_FAILS(removalNumber, RemoveDirectoryW(path.c_str()));
    }
    EXPECT_EQ(tree.names(), allNames);
}

TEST_F(FileContract, CopyTakesContentAndTimeOverAtEverySize) {
    // One short of, equal to and one above what is copied at a time, and several times of it.
    for (const std::size_t size : {0U, 1U, 65536U, 1048575U, 1048576U, 1048577U, 3145735U}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 7 + i / 251);
        tree.put("dir/inner", content);
        const auto time = fs::file_time_type::clock::now() - std::chrono::hours(1000);
        fs::last_write_time(tree.host("dir/inner"), time);
        ASSERT_TRUE(copy("dir/inner", "file")) << size;
        EXPECT_TRUE(tree.get("file") == content) << size;
        EXPECT_EQ(fs::last_write_time(tree.host("file")), fs::last_write_time(tree.host("dir/inner")));
    }
    ASSERT_TRUE(copy("dir/inner", "new"));
    EXPECT_EQ(tree.names(), "dir empty file locked new");
}

TEST_F(FileContract, ACopyOfAReadOnlyFileIsReadOnlyToo) {
    ASSERT_TRUE(copy("locked", "copy"));
    EXPECT_FAILS(5, copy("file", "copy"));
    EXPECT_FAILS(5, deleteFile("copy"));
    EXPECT_EQ(tree.get("copy"), "kept");
}

TEST_F(FileContract, CopyRefusesWithTheDevicesNumbersAndLeavesTheTargetAsItWas) {
    const struct {
        const char* source;
        const char* target;
        DWORD number;
    } refusals[] = {
        {"missing", "file", 2},      {"missing/x", "file", 3}, {"file/x", "file", 3},
        {"file", "missing/x", 3},    {"file", "dir", 5},       {"file", "locked", 5},
        {"dir", "file", 5},          {"dir", "new", 5},        {"file", "file", 32},
        {"file", "dir/../file", 32}, {"file", "locked/x", 3},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(std::string(refusal.source) + " to " + refusal.target);
        EXPECT_FAILS(refusal.number, copy(refusal.source, refusal.target));
    }
    const WideText target = tree.wide("file");
    EXPECT_FAILS(80, CopyFileW(tree.wide("dir/inner").c_str(), target.c_str(), TRUE));
    EXPECT_TRUE(CopyFileW(target.c_str(), tree.wide("fresh").c_str(), TRUE));
    EXPECT_EQ(tree.get("file") + tree.get("locked") + tree.get("fresh"), "oldkeptold");
    EXPECT_EQ(tree.names(), "dir empty file fresh locked");
}

TEST_F(FileContract, DirectoriesAreMadeAndRemoved) {
    EXPECT_TRUE(createDirectory("made"));
    EXPECT_TRUE(createDirectory("made/below/"));
    EXPECT_FAILS(145, removeDirectory("made"));
    EXPECT_TRUE(removeDirectory("made/below"));
    EXPECT_TRUE(removeDirectory("made/"));
    EXPECT_FAILS(2, removeDirectory("made"));
    EXPECT_FAILS(3, removeDirectory("made/below"));
    EXPECT_FAILS(267, removeDirectory("file"));
    EXPECT_FAILS(183, createDirectory("dir"));
    EXPECT_FAILS(183, createDirectory("file"));
    EXPECT_FAILS(3, createDirectory("missing/below"));
    EXPECT_FAILS(3, createDirectory("file/below"));
    EXPECT_EQ(tree.names(), allNames);
}

TEST_F(FileContract, FilesAreDeletedUnlessReadOnly) {
    EXPECT_FAILS(5, deleteFile("locked"));
    EXPECT_FAILS(5, deleteFile("dir"));
    EXPECT_FAILS(5, deleteFile("empty"));
    EXPECT_FAILS(2, deleteFile("missing"));
    EXPECT_FAILS(3, deleteFile("missing/file"));
    EXPECT_TRUE(deleteFile("file"));
    tree.setReadOnly("locked", false);
    EXPECT_TRUE(deleteFile("locked"));
    EXPECT_EQ(tree.names(), "dir empty");
}

TEST_F(FileContract, NewFilesAreCreatedExclusively) {
    const HANDLE handle = createNew(tree.wide("dir/unique"));
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    EXPECT_FAILS(80, createNew(tree.wide("dir/unique")) != INVALID_HANDLE_VALUE);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_TRUE(fs::exists(tree.host("dir/unique")));
    EXPECT_FAILS(80, createNew(tree.wide("file")) != INVALID_HANDLE_VALUE);
    EXPECT_FAILS(80, createNew(tree.wide("dir")) != INVALID_HANDLE_VALUE);
    EXPECT_FAILS(3, createNew(tree.wide("missing/unique")) != INVALID_HANDLE_VALUE);
    EXPECT_EQ(tree.get("file"), "old");
}

// The names that a query yields but for `.` and `..`, directories with `/` behind; `-` where it finds
// nothing.
std::string found(const WideText& query) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(query.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND ? "-" : "failed";
    std::string names;
    do {
        const WideText name = entry.cFileName;
        if (name == TEXT(".") || name == TEXT("..")) continue;
        names.append(name.begin(), name.end());
        names += (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? "/ " : " ";
    } while (FindNextFileW(search, &entry));
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_TRUE(FindClose(search));
    return names;
}

TEST_F(FileContract, ASearchYieldsEveryEntryWithItsKind) {
    EXPECT_EQ(found(tree.wide("*")), "dir/ empty/ file locked ");
    EXPECT_EQ(found(tree.wide("dir/inner")), "inner ");
    EXPECT_EQ(found(tree.wide("empty/*")), LISTS_DOTS ? "" : "-");
    WIN32_FIND_DATAW entry;
    EXPECT_FAILS(3, FindFirstFileW(tree.wide("missing/*").c_str(), &entry) != INVALID_HANDLE_VALUE);
    EXPECT_FAILS(2, FindFirstFileW(tree.wide("missing").c_str(), &entry) != INVALID_HANDLE_VALUE);
    EXPECT_FAILS(6, FindClose(INVALID_HANDLE_VALUE));
}

}  // namespace
}  // namespace ovpatch::test
