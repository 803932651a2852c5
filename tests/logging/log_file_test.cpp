#include "logging/log_file.h"

#include <gtest/gtest.h>

#include "foundation/byte_string.h"
#include "logging/log.h"
#include "tests/support/rows.h"

namespace ovpatch {

std::string x(std::size_t count) {
    return std::string(count, 'x');
}

TEST(LogText, IsWrappedAt75BytesAndKeepsWordsOf15) {
    const std::pair<std::string, std::string> cases[] = {
        {"\n" + x(75) + "\n" + x(75) + "\n\n", "\n" + x(75) + "\n" + x(75) + "\n\n"},
        {x(160), x(75) + "\n" + x(75) + "\n" + x(10)},
        {x(150), x(75) + "\n" + x(75)},
        {"ab\n" + x(76) + "\n", "ab\n" + x(75) + "\nx\n"},
        // A blank at the break leads the next line; so does the byte in front of a word that is kept.
        {x(74) + " bc", x(74) + "\n bc"},
        {x(60) + "." + std::string(15, 'w') + "!", x(60) + "\n." + std::string(15, 'w') + "!"},
        {x(70) + "." + std::string(15, 'w'), x(70) + "\n." + std::string(15, 'w')},
        {x(70) + "." + std::string(16, 'w'), x(70) + ".wwww\n" + std::string(12, 'w')},
        // Bytes above ASCII are no words.
        {x(74) + "\x83\x84\x85", x(74) + "\x83\n\x84\x85"},
    };
    for (const auto& [text, wrapped] : cases) {
        ByteString changed(text.c_str());
        wrapLogText(changed);
        EXPECT_EQ(changed.cStr(), wrapped);
    }
}

TEST(LogText, IsEscapedForHtml) {
    const std::pair<const char*, const char*> cases[] = {
        {"---", "<hr>"},
        {"", ""},
        {"--\n-", "--<br>-"},
        {"<-", "&#60;-"},
        {"- a&#38;<b> c   \t \\\"\x83'\r",
         "- a&#38;#38;&#60;b&#62; c&nbsp&nbsp &nbsp&nbsp&nbsp&nbsp \\\"\x83'\r"}};
    for (const auto& [text, escaped] : cases) {
        ByteString changed(text);
        htmlEscape(changed);
        EXPECT_STREQ(changed.cStr(), escaped);
    }
}

TEST(LogFile, HoldsRecordsAndIsCheckedWithEveryHundredth) {
    const test::TempTree tree;
    const std::string path = tree.path("\\log"), limit(0x100000, 'l');
    const auto log = [&](const std::string& text, std::int32_t isError = 0) {
        setLogLocation("kx", 1, isError);
        writeLogRecord(path.c_str(), text.c_str());
    };
    // Up to the next record with a check.
    int records = 0;
    while (!checkLogSize(tree.path("\\missing").c_str()))
        ASSERT_LT(++records, 100);
    for (int record = 2; record <= 100; ++record)
        checkLogSize(path.c_str());

    setLogHtml(true);
    tree.write("log", limit);
    log("kept");
    EXPECT_EQ(tree.read("log").substr(limit.size(), 5), "<span");
    tree.write("log", limit + "!");
    for (int record = 2; record <= 100; ++record)
        EXPECT_FALSE(checkLogSize(path.c_str())) << record;
    log("<b>");
    log("--", 1);
    setLogHtml(false);
    log("plain");
    log("", 1);
    log(x(75) + " <b>");
    writeLogRecord(tree.path("\\missing\\log").c_str(), "lost");
    std::string found = test::replaced(test::replaced(tree.read("log"), "\r\n", "\n"), "</?span( id=)?", "@");
    found = test::replaced(found, " (P|T)\\[[0-9]+\\]", " $1");
    EXPECT_EQ(found.substr(0, 14), "<html>\n<head>\n");
    for (const char* part :
         {"<br>\n\n\n\n@\"typ\"> Info:\n@>@\"tme\"> \n@>@\"pid\"> P\n@>@\"tid\"> T \n@>@\"fln\"><br>\n@>@"
          "\"inf\"> &#60;b&#62;\n<br>\n@>",
          "\"typ\"> Error:\n", "\"err\"> <hr>\n"})
        EXPECT_NE(found.find(part), std::string::npos) << part;
    const std::string plain = "\n\nInfo:  P T \nplain\n\nError:  P T \n\n\nInfo:  P T \n" + x(75) + "\n <b>";
    EXPECT_EQ(found.substr(found.size() - plain.size()), plain);
}

TEST(LogFile, IsWhatHasTheNameAtEachRecord) {
    const test::TempTree tree;
    const auto log = [&](const char* text) { writeLogRecord(tree.path("\\log").c_str(), text); };
    log("one");
    std::filesystem::rename(tree.root / "log", tree.root / "old");
    log("two");
    std::filesystem::rename(tree.root / "old", tree.root / "log");
    log("three");
    closeLogFile();
    EXPECT_EQ(test::replaced(tree.read("log"), "^[^w]*\none[^w]*\nthree$", "all"), "all");
}

}  // namespace ovpatch
