// What desktop Windows has beyond the device: its code page, devices with the names of files, text mode,
// other programs that keep a file to themselves.
#include "tests/platform/support/device.h"

namespace ovpatch::test {

TEST(Windows, OutcomesOfDevicesTextModeAndLongPaths) {
    play(R"(put file old; put dir/
        open /nul,/NUL.txt rb,wb,at,r+ -> 5
        can /nul -> 5
    )",
         device);
    for (const char* what : {"mkdir", "create", "attr", "open"}) {
        const TempTree tree;
        EXPECT_NE(device(tree, {what, "~5000", "w"}).find_first_of("0123456789"), std::string::npos) << what;
        EXPECT_TRUE(fs::is_empty(tree.root));
    }
    for (const std::string mode : {"w", "wt", "wb", "w+b", "at", "ab"}) {
        const TempTree tree;
        std::FILE* file = platform::fopen(tree.path("\\file").c_str(), mode.c_str());
        EXPECT_TRUE(std::fputs("a\nb", file) >= 0 && std::fclose(file) == 0);
        EXPECT_EQ(tree.read("file"), mode.find('b') == std::string::npos ? "a\r\nb" : "a\nb") << mode;
    }
}

TEST(Windows, WhatAnotherProgramKeepsToItselfStaysAsItIs) {
    const TempTree tree;
    tree.write("source", "new");
    tree.write("kept", "old");
    const HANDLE other =
        CreateFileW(widen(tree.path("\\kept")).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(act(tree, {"copy", "source", "kept"}) + act(tree, {"del", "kept"}) +
                  act(tree, {"open", "kept", "w"}) + act(tree, {"can", "kept"}),
              "32323232");
    EXPECT_TRUE(CloseHandle(other) && tree.read("kept") == "old");
}

// Whatever the default code page is, its upper half has a character, and others are not taken for similar
// ones.
TEST(Windows, ACharacterNamesTheSameFileInEveryOperationOrNone) {
    const TempTree tree;
    const std::string name = narrow(TEXT("\u00A7"));
    EXPECT_TRUE(!name.empty() && name != "?" && widen(name) == TEXT("\u00A7"));
    EXPECT_EQ(act(tree, {"open", name, "w"}).find("closed"), 2U);
    EXPECT_EQ(act(tree, {"can", name}), "ok");
    EXPECT_TRUE(DeleteFileW((widen(tree.path("\\")) + TEXT("\u00A7")).c_str()));
    for (const WCHAR unit : {L'\u0101', L'\u2215', L'\u2216', L'\uFF0F', L'\uFF3C', L'\u0921'}) {
        const std::string text = narrow(WideText(1, unit));
        if (widen(text) == WideText(1, unit)) continue;
        EXPECT_EQ(text, "?") << static_cast<unsigned>(unit);
        EXPECT_EQ(act(tree, {"open", text, "w"}) + act(tree, {"can", text}), "123123");
    }
    EXPECT_EQ(narrow(TEXT("\u0921")) == "?", GetACP() != CP_UTF8);
}

}  // namespace ovpatch::test
