// What the device has no counterpart of: links, bytes in names, other processes, limits, the entry's command
// line.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <vector>

#include "tests/platform/support/test_tree.h"

namespace fs = std::filesystem;

namespace ovpatch::test {
namespace {

// Runs `work` in a process of its own and answers its exit value, which is 0 where `work` answers true.
template <typename Work>
int inChild(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class PosixContract : public testing::Test {
protected:
    BOOL copy(const char* source, const char* target) const {
        return CopyFileW(tree.wide(source).c_str(), tree.wide(target).c_str(), FALSE);
    }
    mode_t modeOf(const char* name) const {
        struct stat status = {};
        stat(tree.host(name).c_str(), &status);
        return status.st_mode & 07777;
    }
    void write(const char* name, const char* mode, const char* content) const {
        std::FILE* file = platform::fopen(tree.text(name).c_str(), mode);
        ASSERT_NE(file, nullptr);
        std::fputs(content, file);
        EXPECT_EQ(std::fclose(file), 0);
    }
    std::vector<std::string> search(const std::string& query) const {
        std::vector<std::string> names;
        WIN32_FIND_DATAW entry;
        const HANDLE handle = FindFirstFileW(tree.wide(query).c_str(), &entry);
        if (handle == INVALID_HANDLE_VALUE) return names;
        do {
            char name[MAX_PATH] = "";
            WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, entry.cFileName, -1, name, MAX_PATH, nullptr,
                                nullptr);
            names.push_back(name);
        } while (FindNextFileW(handle, &entry));
        FindClose(handle);
        return names;
    }
    TestTree tree;
};

TEST_F(PosixContract, EveryByteComesBackFromAUnitOfTheSameValue) {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes.push_back(static_cast<char>(byte));
    WCHAR wide[256];
    char text[256];
    ASSERT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, bytes.c_str(), -1, wide, 256), 256);
    EXPECT_EQ(WideText(wide), widen(bytes));
    ASSERT_EQ(WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, wide, -1, text, 256, nullptr, nullptr), 256);
    EXPECT_EQ(text, bytes);
    char untouched[8] = "before";
    EXPECT_FAILS(1113, WideCharToMultiByte(CP_ACP, 0, TEXT("a\u0141"), -1, untouched, 8, nullptr, nullptr));
    EXPECT_FAILS(122,
                 WideCharToMultiByte(CP_ACP, 0, TEXT("does not fit"), -1, untouched, 8, nullptr, nullptr));
    EXPECT_STREQ(untouched, "before");
    EXPECT_FAILS(1113, DeleteFileW(TEXT("\u0141")));
}

TEST_F(PosixContract, PathsAreNeverShortened) {
    const WideText tooLong(5000, 'a');
    EXPECT_FAILS(206, CreateDirectoryW(tooLong.c_str(), nullptr));
    EXPECT_FAILS(206, CreateDirectoryW(tree.wide(std::string(256, 'n')).c_str(), nullptr));
    EXPECT_FAILS(206, platform::fopen(std::string(5000, 'a').c_str(), "w"));
    // The longest name there is can still be replaced.
    const std::string longest(255, 'n');
    tree.put("source", "content");
    EXPECT_TRUE(copy("source", longest.c_str()));
    EXPECT_EQ(tree.get(longest), "content");
}

// In a process of its own, because the code page is settled at the first use.
bool checkCodePage(const char* codePage, const WideText& expected) {
    setenv("OVPATCH_ANSI_CODE_PAGE", codePage, 1);
    // A pair with a trail byte 0x5C, the bounds of both lead ranges, a lead byte before 0x3F and one at the
    // end.
    const std::string bytes = "a\x83\x5C\xE0\x40\x80\xFC\xFC\xFD\x7E\x81\x3F\x9F";
    WCHAR wide[32] = {};
    char text[32] = {};
    MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, bytes.c_str(), -1, wide, 32);
    WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, wide, -1, text, 32, nullptr, nullptr);
    TestTree tree;
    tree.put("a\x83\x5C", "pair");
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = FindFirstFileW((tree.wide("") + TEXT("*")).c_str(), &entry);
    FindClose(search);
    return WideText(wide) == expected && text == bytes &&
           WideText(entry.cFileName) == WideText{0x61, 0x835C} &&
           platform::canOpenForReading((tree.text("") + "a\x83\x5C").c_str());
}

TEST(PosixCodePageDeathTest, PairsAreOneUnitAndTheirTrailBytesNoSeparators) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const WideText japanese = {'a', 0x835C, 0xE040, 0x80, 0xFCFC, 0xFD, 0x7E, 0x81, 0x3F, 0x9F};
    const WideText others = {'a', 0x835C, 0xE040, 0x80, 0xFCFC, 0xFD7E, 0x81, 0x3F, 0x9F};
    EXPECT_EXIT(std::exit(checkCodePage("932", japanese) ? 0 : 1), testing::ExitedWithCode(0), "");
    for (const char* codePage : {"936", "949", "950"})
        EXPECT_EXIT(std::exit(checkCodePage(codePage, others) ? 0 : 1), testing::ExitedWithCode(0), "")
            << codePage;
}

TEST_F(PosixContract, ASearchIsInAscendingOrderOfUnsignedBytesWhateverTheNumber) {
    std::vector<std::string> names = {"\x01", "a", "a.b", "a-b", "B", "~", "\x80", "\xC3\xA9", "\xFF\xFE"};
    for (int i = 0; i < 1000; ++i)
        names.push_back("entry" + std::to_string(i * 7919 % 1000));
    for (const std::string& name : names)
        tree.put(name, "");
    std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
        return std::lexicographical_compare(
            left.begin(), left.end(), right.begin(), right.end(),
            [](char a, char b) { return static_cast<unsigned char>(a) < static_cast<unsigned char>(b); });
    });
    EXPECT_EQ(search("*"), names);
}

TEST_F(PosixContract, NamesThatTheDeviceCannotHaveAreListedAndThenRefused) {
    fs::create_directory(tree.host("dir"));
    tree.put("dir/..\\kept", "");
    tree.put("dir/a*", "");
    tree.put("kept", "kept");
    EXPECT_EQ(search("dir/*"), (std::vector<std::string>{"..?kept", "a*"}));
    for (const std::string& name : search("dir/*")) {
        EXPECT_FAILS(123, DeleteFileW(tree.wide("dir/" + name).c_str()));
        EXPECT_FAILS(123, copy(("dir/" + name).c_str(), "copied"));
        EXPECT_FALSE(platform::canOpenForReading(tree.text("dir/" + name).c_str()));
    }
    EXPECT_EQ(tree.names(), "dir kept");
    WIN32_FIND_DATAW entry;
    EXPECT_FAILS(123, FindFirstFileW(tree.wide("k*").c_str(), &entry) != INVALID_HANDLE_VALUE);
    EXPECT_FAILS(123, FindFirstFileW(tree.wide("d?r/*").c_str(), &entry) != INVALID_HANDLE_VALUE);
    fs::create_directory(tree.host("empty"));
    EXPECT_FAILS(2, FindFirstFileW(tree.wide("empty/*").c_str(), &entry) != INVALID_HANDLE_VALUE);
}

TEST_F(PosixContract, ReadingFollowsLinksAndWritingReplacesWhatTheyPointTo) {
    fs::create_directory(tree.host("dir"));
    tree.put("dir/real", "old");
    tree.put("source", "new");
    fs::create_symlink("dir/real", tree.host("link"));
    fs::create_symlink("nowhere", tree.host("dangling"));
    fs::create_directory_symlink("dir", tree.host("dirlink"));
    EXPECT_EQ(GetFileAttributesW(tree.wide("dirlink").c_str()), FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_FAILS(2, GetFileAttributesW(tree.wide("dangling").c_str()) != INVALID_FILE_ATTRIBUTES);
    WIN32_FIND_DATAW entry;
    const HANDLE handle = FindFirstFileW(tree.wide("dirlink").c_str(), &entry);
    EXPECT_EQ(entry.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
    FindClose(handle);

    EXPECT_FAILS(32, copy("dir/real", "link"));
    EXPECT_TRUE(copy("source", "link"));
    EXPECT_EQ(tree.get("dir/real"), "new");
    write("link", "w", "written");
    EXPECT_EQ(tree.get("dir/real"), "written");
    write("link", "at", "+");
    EXPECT_EQ(tree.get("dir/real"), "written+");
    EXPECT_TRUE(copy("link", "copied"));
    EXPECT_FALSE(fs::is_symlink(tree.host("copied")));
    EXPECT_TRUE(fs::is_symlink(tree.host("link")));
    for (const char* mode : {"w", "at"})
        EXPECT_FAILS(5, platform::fopen(tree.text("dangling").c_str(), mode));
    EXPECT_FAILS(5, copy("source", "dangling"));
    EXPECT_FALSE(fs::exists(tree.host("nowhere")));
}

TEST_F(PosixContract, RemovalTakesALinkAndNeverWhatItPointsTo) {
    fs::create_directory(tree.host("dir"));
    tree.put("dir/locked", "kept");
    tree.setReadOnly("dir/locked", true);
    for (const char* link : {"filelink", "dirlink", "dirlink2"})
        fs::create_symlink(link[0] == 'f' ? "dir/locked" : "dir", tree.host(link));
    EXPECT_FAILS(267, RemoveDirectoryW(tree.wide("filelink").c_str()));
    EXPECT_TRUE(DeleteFileW(tree.wide("filelink").c_str()));
    EXPECT_TRUE(DeleteFileW(tree.wide("dirlink").c_str()));
    EXPECT_TRUE(RemoveDirectoryW(tree.wide("dirlink2/").c_str()));
    EXPECT_EQ(tree.names(), "dir");
    EXPECT_EQ(tree.get("dir/locked"), "kept");
}

TEST_F(PosixContract, CopyTakesPermissionsOverAndReplacementKeepsThem) {
    tree.put("source", "new");
    tree.put("target", "old");
    for (const mode_t mode : {0444U, 0666U, 0755U, 0600U}) {
        chmod(tree.host("source").c_str(), mode);
        ASSERT_TRUE(copy("source", "target"));
        EXPECT_EQ(modeOf("target"), mode);
        chmod(tree.host("target").c_str(), 0622);
    }
    write("target", "w", "rewritten");
    EXPECT_EQ(modeOf("target"), mode_t{0622});
    const mode_t mask = umask(027);
    umask(mask);
    write("created", "w", "");
    EXPECT_EQ(modeOf("created"), 0666 & ~mask);
    // A file of the kernel that tells no size.
    ASSERT_TRUE(CopyFileW(TEXT("\\proc\\version"), tree.wide("target").c_str(), FALSE));
    EXPECT_NE(tree.get("target").find("Linux"), std::string::npos);
}

TEST_F(PosixContract, WhoeverHasTheOldFileOpenKeepsItsContent) {
    tree.put("source", "new");
    tree.put("target", "old");
    for (const bool byCopy : {true, false}) {
        std::FILE* reader = std::fopen(tree.host("target").c_str(), "rb");
        const std::string before = tree.get("target");
        if (byCopy)
            EXPECT_TRUE(copy("source", "target"));
        else
            write("target", "w", "newest");
        char bytes[16] = "";
        EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, reader), before.size());
        EXPECT_EQ(bytes, before);
        std::fclose(reader);
    }
    EXPECT_EQ(tree.get("target"), "newest");
}

TEST_F(PosixContract, AWriteThatFailsLeavesTheOldFileAndNothingElse) {
    tree.put("source", std::string(300000, 'n'));
    tree.put("target", "old");
    const auto limitedCopy = [&] {
        return copy("source", "target") == FALSE && GetLastError() == ERROR_FILE_TOO_LARGE;
    };
    const auto limitedStream = [&](std::size_t size) {
        std::FILE* file = platform::fopen(tree.text("target").c_str(), "w");
        const std::string block(size, 'n');
        std::fwrite(block.data(), 1, size, file);
        return std::fclose(file) == EOF && GetLastError() == ERROR_FILE_TOO_LARGE;
    };
    EXPECT_EQ(inChild([&] {
                  const rlimit limit = {5000, 5000};
                  std::signal(SIGXFSZ, SIG_IGN);
                  setrlimit(RLIMIT_FSIZE, &limit);
                  return limitedCopy() && limitedStream(6000) && limitedStream(300000);
              }),
              0);
    EXPECT_EQ(tree.get("target"), "old");
    EXPECT_EQ(tree.names(), "source target");
}

TEST_F(PosixContract, AProcessThatDiesBeforeClosingLeavesTheOldFile) {
    tree.put("target", "old");
    inChild([&] {
        std::FILE* file = platform::fopen(tree.text("target").c_str(), "w");
        std::fputs(std::string(200000, 'n').c_str(), file);
        std::fflush(file);
        return raise(SIGKILL) == 0;
    });
    EXPECT_EQ(tree.get("target"), "old");
}

TEST_F(PosixContract, OnlyRegularFilesCanBeOpenedAndNothingWaits) {
    tree.put("file", "");
    tree.put("secret", "");
    chmod(tree.host("secret").c_str(), 0);
    fs::create_directory(tree.host("dir"));
    ASSERT_EQ(mkfifo(tree.host("pipe").c_str(), 0666), 0);
    fs::permissions(tree.host(""), fs::perms::others_all, fs::perm_options::add);
    const auto agrees = [&](const char* name, bool expected) {
        std::FILE* file = platform::fopen(tree.text(name).c_str(), "rb");
        if (file != nullptr) std::fclose(file);
        return (file != nullptr) == expected &&
               platform::canOpenForReading(tree.text(name).c_str()) == expected;
    };
    for (const char* name : {"dir", "pipe", "missing", "f*"})
        EXPECT_TRUE(agrees(name, false)) << name;
    EXPECT_TRUE(agrees("file", true));
    EXPECT_EQ(inChild([&] { return geteuid() != 0 || (seteuid(65534) == 0 && agrees("secret", false)); }), 0);
    for (const char* mode : {"w", "at", "r+"})
        EXPECT_FAILS(5, platform::fopen(tree.text("pipe").c_str(), mode));
    EXPECT_FAILS(5, copy("pipe", "file"));
    EXPECT_FAILS(5, copy("file", "pipe"));
}

TEST(PosixMutex, ASecondProcessWaitsUntilTheFirstReleasesOrDies) {
    const WideText name = widen("ovpatch-platform-test-" + std::to_string(GetCurrentProcessId()));
    HANDLE mutex = CreateMutexW(nullptr, TRUE, name.c_str());
    ASSERT_NE(mutex, nullptr);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t waiter = fork();
    if (waiter == 0) {
        CloseHandle(mutex);  // its descriptor is this process's too
        const HANDLE second = CreateMutexW(nullptr, TRUE, name.c_str());
        bool good = second != nullptr && GetLastError() == ERROR_ALREADY_EXISTS;
        good = good && WaitForSingleObject(second, 0) == WAIT_TIMEOUT;
        good = ::write(ready[1], good ? "y" : "n", 1) == 1 && good;
        good = good && WaitForSingleObject(second, INFINITE) == WAIT_OBJECT_0;
        good = ::write(ready[1], good ? "y" : "n", 1) == 1 && good;
        pause();  // dies holding it
    }
    char answer = '?';
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    EXPECT_TRUE(ReleaseMutex(mutex));
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
    kill(waiter, SIGKILL);
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    waitpid(waiter, nullptr, 0);
    EXPECT_TRUE(CloseHandle(mutex));
    const std::string lockFile = "/tmp/" + std::string(name.begin(), name.end()) + ".lock";
    EXPECT_EQ(fs::status(lockFile).permissions(), fs::perms{0666});
    EXPECT_TRUE(fs::remove(lockFile));
}

// What the probe shows for shell words, and its exit value.
std::string runProbe(const std::string& words) {
    std::FILE* output = popen(("OVPATCH_ANSI_CODE_PAGE=932 " ENTRY_PROBE " " + words).c_str(), "r");
    std::string shown;
    for (int byte; (byte = std::fgetc(output)) != EOF;)
        shown.push_back(static_cast<char>(byte));
    return shown + "|" + std::to_string(WEXITSTATUS(pclose(output)));
}

TEST(PosixEntry, ArgumentsBecomeOneLineInQuotes) {
    const std::string program = "\"" ENTRY_PROBE "\"";
    const auto expected = [&](const std::string& shown, std::size_t units) {
        return shown + "|" + std::to_string(units % 100);
    };
    EXPECT_EQ(runProbe(""), expected(program, program.size()));
    EXPECT_EQ(runProbe("/base"), expected(program + " \"/base\"", program.size() + 8));
    EXPECT_EQ(runProbe("'a b' ''"), expected(program + " \"a b\" \"\"", program.size() + 9));
    EXPECT_EQ(runProbe("'\"\\x\\a.exe\" \"\\base\"'"), "\"\\x\\a.exe\" \"\\base\"|18");
    EXPECT_EQ(runProbe("$(printf '\"\\203\\134\\351\"')"), "\"<835c><e9>\"|4");
    EXPECT_EQ(runProbe("'a\"b' c"), expected(program + " \"a\"b\" \"c\"", program.size() + 10));
}

}  // namespace
}  // namespace ovpatch::test
