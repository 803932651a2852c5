#include "logging/log_file.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/byte_string.h"
#include "logging/log.h"
#include "platform/platform.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

std::string x(std::size_t count) {
    return std::string(count, 'x');
}

TEST(WrapLogText, BreaksAt75BytesAndKeepsWordsOf15) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"\n\n", "\n\n"},
        {x(75), x(75)},
        {x(75) + "\n" + x(75) + "\n", x(75) + "\n" + x(75) + "\n"},
        {x(76), x(75) + "\nx"},
        {x(160), x(75) + "\n" + x(75) + "\n" + x(10)},
        {x(76) + "\n", x(75) + "\nx\n"},
        // A blank at the break leads the next line.
        {x(75) + " b", x(75) + "\n b"},
        {x(74) + " bc", x(74) + "\n bc"},
        // Words across the break: of 15 bytes, of 16, one that only begins or ends there.
        {x(60) + "." + std::string(15, 'w') + "!", x(60) + "\n." + std::string(15, 'w') + "!"},
        {x(60) + "." + std::string(16, 'w'), x(60) + "." + std::string(14, 'w') + "\nww"},
        {x(70) + "." + std::string(15, 'w'), x(70) + "\n." + std::string(15, 'w')},
        {x(70) + "." + std::string(16, 'w'), x(70) + ".wwww\n" + std::string(12, 'w')},
        {x(74) + ".word", x(74) + "\n.word"},
        // Bytes above ASCII are breaks.
        {x(74) + "\x83\x84\x85", x(74) + "\x83\n\x84\x85"},
        // The 75 count from the last line feed on.
        {"ab\n" + x(76), "ab\n" + x(75) + "\nx"},
        {x(80) + "\n" + x(80), x(75) + "\n" + x(5) + "\n" + x(75) + "\n" + x(5)},
    };
    for (const auto& [text, wrapped] : cases) {
        ByteString changed(text.c_str());
        wrapLogText(changed);
        EXPECT_EQ(changed.cStr(), wrapped);
    }
}

TEST(HtmlEscape, ReplacesInOrder) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"-", "<hr>"},
        {"-----", "<hr>"},
        {"- -", "- -"},
        {"----\n-", "----<br>-"},
        {"a&#38;<b>", "a&#38;#38;&#60;b&#62;"},
        {"a b  c   ", "a b&nbsp c&nbsp&nbsp "},
        {" \n \t ", " <br> &nbsp&nbsp&nbsp&nbsp "},
        {"\\ \"\x83'\r", "\\ \"\x83'\r"},
    };
    for (const auto& [text, escaped] : cases) {
        ByteString changed(text);
        htmlEscape(changed);
        EXPECT_STREQ(changed.cStr(), escaped);
    }
}

const std::string HEAD =
    "<html>\n<head>\n<style type=\"text/css\"><!--\nbody {background-color: white;}\n#typ\t{font-size:12pt; "
    "color:white;}\n#tme\t{font-size:12pt; color:white;}\n#pid\t{font-size:12pt; "
    "color:white;}\n#tid\t{font-size:12pt; "
    "color:white;}\n#fln\t{font-size:12pt; color:white;}\n#inf\t{font-size:12pt; "
    "color:black;}\n#err\t{font-size:12pt; "
    "color:red; font-weight: bold;}\n--></style>\n</head>\n<body><h1 align=center>Orvelle Log "
    "File</h1><br><br>\n\n\n\n";

class LogFile : public testing::Test {
protected:
    // Brings the counter of records to the next one with a check.
    void SetUp() override {
        setLogHtml(false);
        setLogLocation("kxovupdater", 1, 0);
        tree.write("probe", std::string(0x100001, 'p'));
        while (!checkLogSize(tree.path("\\probe").c_str())) {
        }
        for (int record = 2; record <= 100; ++record)
            checkLogSize(tree.path("\\probe").c_str());
    }
    void TearDown() override { setLogHtml(false); }

    void log(const std::string& text) { writeLogRecord(tree.path("\\log").c_str(), text.c_str()); }

    const std::string process = "P[" + std::to_string(static_cast<int>(GetCurrentProcessId())) + "]";
    const std::string thread = "T[" + std::to_string(static_cast<int>(GetCurrentThreadId())) + "]";
    test::TempTree tree;
};

TEST_F(LogFile, PlainRecordsFollowEachOther) {
    log("update: start.");
    setLogLocation("kxovupdater", 1, 1);
    log("");
    log(x(75) + " <b>");
    const std::string ids = "  " + process + " " + thread + " \n";
    EXPECT_EQ(tree.read("log"), "\n\nInfo:" + ids + "update: start." + "\n\nError:" + ids +
                                    "\n\nError:" + ids + x(75) + "\n <b>");
}

TEST_F(LogFile, HtmlHasItsHeadOnceInANewFile) {
    setLogHtml(true);
    log("update: start.");
    setLogLocation("kxovupdater", 1, 1);
    log(std::string(76, '-'));
    log("--");
    const std::string ids = "\n</span><span id=\"tme\"> \n</span><span id=\"pid\"> " + process +
                            "\n</span><span id=\"tid\"> " + thread +
                            " \n</span><span id=\"fln\"><br>\n</span>";
    const std::string error = "<span id=\"typ\"> Error:" + ids + "<span id=\"err\"> ";
    EXPECT_EQ(tree.read("log"),
              HEAD + "<span id=\"typ\"> Info:" + ids + "<span id=\"inf\"> update: start.\n<br>\n</span>" +
                  error + std::string(75, '-') + "<br>-\n<br>\n</span>" + error + "<hr>\n<br>\n</span>");
}

TEST_F(LogFile, AnExistingFileGetsNoHead) {
    setLogHtml(true);
    tree.write("log", "");
    log("x");
    EXPECT_EQ(tree.read("log").find("<html>"), std::string::npos);
}

TEST_F(LogFile, IsCheckedOnTheFirstRecordAndEveryHundredth) {
    const std::string path = tree.path("\\log");
    const std::string limit(0x100000, 'l');
    tree.write("log", limit);
    log("first");
    EXPECT_EQ(tree.read("log").substr(0, limit.size()), limit);
    for (int record = 2; record <= 100; ++record) {
        tree.write("log", limit + "!");
        EXPECT_FALSE(checkLogSize(path.c_str())) << record;
    }
    EXPECT_EQ(tree.read("log").size(), limit.size() + 1);
    log("first again");
    EXPECT_EQ(tree.read("log").substr(0, 8), "\n\nInfo: ");
}

TEST_F(LogFile, ARecordWithoutAFileIsLost) {
    writeLogRecord(tree.path("\\missing\\log").c_str(), "lost");
    EXPECT_FALSE(std::filesystem::exists(tree.root() / "missing"));
}

}  // namespace
}  // namespace ovpatch
