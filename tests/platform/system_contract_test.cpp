// Text conversion, libraries, the mutex within one process, and the numbers of process and thread.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/platform/support/test_tree.h"

namespace fs = std::filesystem;

namespace ovpatch::test {
namespace {

TEST(TextConversion, CountsUnitsAndBytesWithTheTerminator) {
    WCHAR wide[4] = {0x7E7E, 0x7E7E, 0x7E7E, 0x7E7E};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "abc", -1, nullptr, 0), 4);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "abc", -1, wide, 4), 4);
    EXPECT_EQ(WideText(wide), TEXT("abc"));
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "xyz", 2, wide, 4), 2);
    EXPECT_EQ(WideText(wide), TEXT("xyc"));

    char text[4] = "~~~";
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, TEXT("abc"), -1, nullptr, 0, nullptr, nullptr),
              4);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, TEXT("abc"), -1, text, 4, nullptr, nullptr), 4);
    EXPECT_STREQ(text, "abc");
}

TEST(TextConversion, TextThatDoesNotFitFails) {
    WCHAR wide[3];
    char text[3];
    EXPECT_FAILS(122, MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "abc", -1, wide, 3));
    EXPECT_FAILS(122, WideCharToMultiByte(CP_ACP, 0, TEXT("abc"), -1, text, 3, nullptr, nullptr));
    EXPECT_FAILS(87, MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, nullptr, -1, wide, 3));
}

TEST(Library, EntriesAreFoundByName) {
    for (const std::string& path :
         {std::string(TEST_LIBRARY), std::string(TEST_LIBRARY_DIRECTORY "/" TEST_LIBRARY)}) {
        const HMODULE library = LoadLibraryW(widen(path).c_str());
        ASSERT_NE(library, nullptr) << path;
        const FARPROC entry = GetProcAddressW(library, TEXT("answerOfTestLibrary"));
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(reinterpret_cast<int (*)()>(reinterpret_cast<void (*)()>(entry))(), 42);
        EXPECT_FAILS(127, GetProcAddressW(library, TEXT("noSuchEntry")));
        // Exported by a library that this one depends on.
        EXPECT_FAILS(127, GetProcAddressW(library, TEXT("strtol")));
        EXPECT_TRUE(FreeLibrary(library));
    }
    EXPECT_FAILS(6, GetProcAddressW(nullptr, TEXT("malloc")));
}

TEST(Library, WhatIsNoLibraryIsNotLoaded) {
    TestTree tree;
    tree.put("garbage.so", "no library");
    EXPECT_FAILS(193, LoadLibraryW(tree.wide("garbage.so").c_str()));
    EXPECT_FAILS(126, LoadLibraryW(tree.wide("missing.so").c_str()));
    EXPECT_FAILS(126, LoadLibraryW(TEXT("no_such_library.so")));
    EXPECT_EQ(LoadLibraryW(TEXT("")), nullptr);
}

TEST(Handles, WrongOnesAreRefused) {
    EXPECT_FAILS(6, CloseHandle(nullptr));
    EXPECT_FAILS(6, ReleaseMutex(nullptr));
}

TEST(Mutex, IsTakenByItsCreatorAndFreeAgainAfterItsReleaseOrClose) {
    const std::string name = "ovpatch-test-" + std::to_string(GetCurrentProcessId());
    for (int run = 0; run < 3; ++run) {
        SetLastError(77);
        const HANDLE mutex = CreateMutexW(nullptr, TRUE, widen(name).c_str());
        ASSERT_NE(mutex, nullptr);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        if (run == 0) {
            EXPECT_TRUE(ReleaseMutex(mutex));
            EXPECT_FAILS(288, ReleaseMutex(mutex));
        }
        EXPECT_TRUE(CloseHandle(mutex));
    }
    fs::remove("/tmp/" + name + ".lock");
}

}  // namespace
}  // namespace ovpatch::test
