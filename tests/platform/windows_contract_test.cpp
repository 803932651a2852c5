// What desktop Windows has beyond the device: its code page, devices with the names of files, text mode,
// other processes, the entry's command line.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "tests/platform/support/test_tree.h"

namespace fs = std::filesystem;

namespace ovpatch::test {
namespace {

class WindowsContract : public testing::Test {
protected:
    std::FILE* open(const std::string& name, const char* mode) const {
        return platform::fopen(tree.text(name).c_str(), mode);
    }
    TestTree tree;
};

// Whatever the default code page is, its upper half has a character; it is the same for all operations.
TEST_F(WindowsContract, BytesAboveAsciiNameTheSameFileInEveryOperation) {
    char bytes[4] = "";
    ASSERT_GT(WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, TEXT("\u00A7"), -1, bytes, 4, nullptr, nullptr),
              1);
    const WideText wide = tree.wide("") + TEXT("\u00A7");
    const std::string text = tree.text("") + bytes;
    std::FILE* file = platform::fopen(text.c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    EXPECT_EQ(GetFileAttributesW(wide.c_str()) & FILE_ATTRIBUTE_DIRECTORY, DWORD{0});
    EXPECT_TRUE(platform::canOpenForReading(text.c_str()));
    EXPECT_TRUE(DeleteFileW(wide.c_str()));
}

// A name that no 8-bit text can hold must not lead to a file with a similar name.
TEST_F(WindowsContract, CharactersThatTheCodePageLacksBecomeWhatNoPathMayHold) {
    int lacking = 0;
    for (const WCHAR unit : {L'\u0101', L'\u2215', L'\u2216', L'\uFF0F', L'\uFF3C', L'\u0921'}) {
        const WCHAR name[] = {unit, 0};
        char bytes[8] = "";
        WCHAR back[8] = {};
        ASSERT_NE(WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, name, -1, bytes, 8, nullptr, nullptr), 0);
        ASSERT_NE(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, bytes, -1, back, 8), 0);
        if (WideText(back) == name) continue;
        ++lacking;
        EXPECT_STREQ(bytes, "?") << static_cast<unsigned>(unit);
        EXPECT_FAILS(123, open(bytes, "w"));
        EXPECT_FALSE(platform::canOpenForReading(tree.text(bytes).c_str()));
    }
    EXPECT_GT(lacking, GetACP() == CP_UTF8 ? -1 : 0);
}

TEST_F(WindowsContract, WhatIsNoFileCannotBeOpened) {
    for (const char* mode : {"rb", "wb", "at", "r+"})
        for (const char* device : {"nul", "NUL.txt"})
            EXPECT_EQ(platform::fopen(device, mode), nullptr) << device << mode;
    EXPECT_FAILS(5, platform::fopen("nul", "wb"));
    EXPECT_FALSE(platform::canOpenForReading("nul"));
    fs::create_directory(tree.host("dir"));
    EXPECT_FALSE(platform::canOpenForReading(tree.text("dir").c_str()));
}

TEST_F(WindowsContract, WhatAnotherProgramKeepsToItselfStaysAsItIs) {
    tree.put("source", "new");
    tree.put("kept", "old");
    const WideText kept = tree.wide("kept");
    const HANDLE other = CreateFileW(kept.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    EXPECT_FAILS(32, CopyFileW(tree.wide("source").c_str(), kept.c_str(), FALSE));
    EXPECT_FAILS(32, DeleteFileW(kept.c_str()));
    EXPECT_FAILS(32, open("kept", "w"));
    EXPECT_FALSE(platform::canOpenForReading(tree.text("kept").c_str()));
    EXPECT_TRUE(CloseHandle(other));
    EXPECT_EQ(tree.get("kept"), "old");
}

TEST_F(WindowsContract, PathsAreNeverShortened) {
    const WideText tooLong = tree.wide(std::string(5000, 'n'));
    EXPECT_FALSE(CreateDirectoryW(tooLong.c_str(), nullptr));
    EXPECT_FALSE(CreateDirectoryW(tree.wide(std::string(256, 'n')).c_str(), nullptr));
    EXPECT_EQ(open(std::string(5000, 'n'), "w"), nullptr);
    EXPECT_EQ(tree.names(), "");
}

TEST_F(WindowsContract, TextModeWidensLineFeedsAndBinaryModeDoesNot) {
    const struct {
        const char* mode;
        const char* result;
    } rows[] = {{"w", "a\r\nb"}, {"wt", "a\r\nb"}, {"wb", "a\nb"},
                {"w+b", "a\nb"}, {"at", "a\r\nb"}, {"ab", "a\nb"}};
    for (const auto& row : rows) {
        fs::remove(tree.host("file"));
        std::FILE* file = open("file", row.mode);
        ASSERT_NE(file, nullptr) << row.mode;
        std::fputs("a\nb", file);
        EXPECT_EQ(std::fclose(file), 0);
        EXPECT_EQ(tree.get("file"), row.result) << row.mode;
    }
}

struct Ended {
    std::string output;
    DWORD exitValue;
};

// Runs the probe to its end with a command line as it stands.
Ended runProbe(const WideText& commandLine) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    EXPECT_TRUE(CreatePipe(&readEnd, &writeEnd, &inherited, 0));
    EXPECT_TRUE(SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0));
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = writeEnd;
    start.hStdError = writeEnd;
    PROCESS_INFORMATION process = {};
    WideText line = commandLine;
    EXPECT_TRUE(CreateProcessW(widen(ENTRY_PROBE).c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                               nullptr, &start, &process));
    CloseHandle(writeEnd);
    Ended ended = {};
    char piece[256];
    for (DWORD count = 0; ReadFile(readEnd, piece, sizeof piece, &count, nullptr) && count > 0;)
        ended.output.append(piece, count);
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &ended.exitValue);
    for (HANDLE handle : {readEnd, process.hThread, process.hProcess})
        CloseHandle(handle);
    return ended;
}

TEST(WindowsEntry, ArgumentsBecomeOneLineInQuotes) {
    const struct {
        WideText given;
        const char* line;
        std::size_t units;
    } rows[] = {
        {TEXT("p"), "\"p\"", 3},
        {TEXT("p \\base"), "\"p\" \"\\base\"", 11},
        {TEXT("\"p q\" \"a b\" \"\" *.txt"), "\"p q\" \"a b\" \"\" \"*.txt\"", 22},
        {TEXT("p \"\\\"\\x\\a.exe\\\" \\\"\\base\\\"\""), "\"\\x\\a.exe\" \"\\base\"", 18},
        {TEXT("p \\\"\u835C\u00E9\\\""), "\"<835c><e9>\"", 4},
        {TEXT("p a\\\"b c"), "\"p\" \"a\"b\" \"c\"", 13},
    };
    for (const auto& row : rows) {
        const Ended ended = runProbe(row.given);
        EXPECT_EQ(ended.output, row.line);
        EXPECT_EQ(ended.exitValue, row.units);
    }
}

// A thread owns a mutex as a process does elsewhere.
TEST(WindowsMutex, OthersWaitUntilTheOwnerReleasesOrDies) {
    const WideText name = widen("ovpatch-test-" + std::to_string(GetCurrentProcessId()));
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, name.c_str());
    ASSERT_NE(mutex, nullptr);
    const auto inAnotherThread = [&](DWORD milliseconds) {
        DWORD answer = WAIT_FAILED;
        std::thread([&] {
            const HANDLE second = CreateMutexW(nullptr, TRUE, name.c_str());
            if (GetLastError() == ERROR_ALREADY_EXISTS) answer = WaitForSingleObject(second, milliseconds);
            CloseHandle(second);  // and ends without a release
        }).join();
        return answer;
    };
    EXPECT_EQ(inAnotherThread(0), DWORD{WAIT_TIMEOUT});
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(inAnotherThread(INFINITE), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), DWORD{WAIT_ABANDONED});
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(CloseHandle(mutex));
}

}  // namespace
}  // namespace ovpatch::test
