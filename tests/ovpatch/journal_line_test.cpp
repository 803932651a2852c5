// Lines of journals: what is written reads back, and what is not exactly in their form is none.
#include "ovpatch/journal/journal_line.h"

#include <algorithm>

#include "fileops/wide_path.h"
#include "ovpatch/journal/journal_reader.h"
#include "ovpatch/journal/line_trust.h"
#include "tests/support/rows.h"

namespace ovpatch {

// The line as it is written once it was read, and behind it what speaks against it.
std::string again(const std::string& text) {
    static ReadJournalLine read;
    static char out[JOURNAL_LINE_SIZE];
    if (!parseLine(text.data(), text.size(), &read)) return "no line";
    const std::size_t length = formatLine(read.line, out);
    return std::string(out, length) + (isTrusted(read.line) ? "" : "untrusted");
}

TEST(JournalLine, ReadsBackWhatWasWritten) {
    const std::string file = " 9:1700000000.000000000:42", none = " -",
                      copy = " \"OV_Backup\\1\\2\\backup.000\"";
    for (const std::string& line :
         {"directory \"" + std::string(1039, 'x') + "\"", std::string("tree \"d\\OVSrc.tmp\""),
          "add" + file + " \"d\\a%22b%25%0Ac\"",
          "write" + file + " 18446744073709551615:-9223372036854775807.999999999:0" + copy + " \"d\\x\"",
          "remove" + none + copy + " \"d\\x\"", "restore" + none + file + copy + copy + " \"d\\x\"",
          "swap" + file + file + copy + " \"d\\x\"",
          "put" + none + " \"d\\OV_Backup\\ovk0.tmp\" \"d\\OV_Backup\\OvBackup.ini\"",
          "made" + file + " \"d\\OV_Backup\\OvBackup.ini\"",
          "made" + file + " \"d\\OVSrc.tmp\\KxuPatch.ini\"", std::string("void"), "drop" + copy,
          "result 2147483647" + none, "result -2147483647" + none, std::string("done")}) {
        EXPECT_EQ(again(line), line + "\n");
        for (std::size_t at = 0; at < line.size(); ++at) {
            EXPECT_NE(again(line.substr(0, at)), line.substr(0, at) + "\n") << at;
            EXPECT_EQ(again(line.substr(0, at) + " " + line.substr(at)).find(line + "\n"), std::string::npos)
                << at;
        }
        EXPECT_EQ(again(line + " "), "no line");
    }
    for (const std::string& line :
         {"made 18446744073709551616" + file.substr(2) + " \"d\\x\"", "result 2147483648" + none,
          "result -2147483648" + none, std::string("tree \"%0a\""), "tree \"" + std::string(1040, 'x') + "\"",
          std::string("add 9:1.00000000:42 \"d\""),
          std::string("add 9:9223372036854775808.000000000:42 \"d\"")})
        EXPECT_EQ(again(line), "no line");
    std::string out(50000, '\0'), text;
    for (const std::size_t size : {16370, 16371, 20000}) {
        JournalLine line = {LineKind::DIRECTORY, {}, {text.assign(size, 'x').c_str()}, 0};
        EXPECT_TRUE(formatLine(line, &out[0]) == (size == 16370 ? 16383U : 0U) && out[16384] == 0) << size;
    }
}

TEST(JournalLine, IsTheFirstOneOnlyInItsForm) {
    JournalHead head;
    const auto reads = [&](const std::string& text) { return parseHead(text.data(), text.size(), &head); };
    const std::string line = "OvJournal 1 4294967295 \"/d\"";
    EXPECT_TRUE(reads(line) == HeadReading::KNOWN && head.process == 4294967295U);
    EXPECT_STREQ(head.workingDirectory, "/d");
    for (std::size_t at = 0; at < line.size(); ++at)
        for (const std::string& other : {line.substr(0, at), line.substr(0, at) + "\"" + line.substr(at)})
            EXPECT_NE(reads(other), HeadReading::KNOWN) << other;
    EXPECT_EQ(reads("OvJournal 1 4294967296 \"/d\""), HeadReading::NO_HEAD);
    EXPECT_EQ(reads("OvJournal 2"), HeadReading::OTHER_VERSION);
}

TEST(JournalLine, MayHaveOnlyBegun) {
    using namespace std::string_literals;
    for (const std::string& text : {""s, "OvJour"s, "\0\0\0"s, "OvJ\0\0\0"s})
        EXPECT_TRUE(isHeadStart(text.data(), text.size())) << text;
    for (const std::string& text : {"OvX"s, "OvJ\0x"s, "x\0"s, "OvJournal" + std::string(16375, 'x')})
        EXPECT_FALSE(isHeadStart(text.data(), text.size())) << text.substr(0, 9);
}

TEST(JournalLine, NamesOnlyWhatARunWouldHaveMade) {
    for (const char* line :
         {"tree \"d\"", "tree \"OVSrc.tmp\\x\"", "drop \"d\\x\"", "dropTree \"d\"", "add - \"d\\*\"",
          "swap - - \"d\\x\" \"d\\y\"", "put - \"d\\ovk0.tmp\" \"d\\OV_Backup\\x\"",
          "remove - \"d\\backup.000\" \"d\\x\"", "drop \"d\\OV_Backup\\1\\x\"",
          "drop \"d\\OV_Backup\\1\\2\\..\"", "drop \"d\\OVSrc.tmp\\.\"", "made - \"d\\OvBackup.ini\"",
          "drop \"d\\1\\2\\x\"", "drop \"d\\OV_Backup\\1\\x\\y\"", "drop \"d\\ovk.tmp\"",
          "drop \"d\\ovk0x.tmp\"", "drop \"d\\ovx0.tmp\"",
          "restore - - \"OV_Backup\\1\\2\\x\" \"d\\x\" \"d\\y\"",
          "restore - - \"d\\x\" \"OV_Backup\\1\\2\\x\" \"d\\y\""})
        EXPECT_EQ(again(line), std::string(line) + "\nuntrusted");
}

// Lines of all lengths, in more text than is read at a time, and behind them room or what was never finished.
TEST(JournalLine, ComesFromTheLastToTheFirst) {
    std::mt19937 engine(1);
    const test::TempTree tree;
    for (int round = 0; round < 40; ++round) {
        std::vector<std::string> lines(round);
        std::string content;
        for (std::string& line : lines) {
            line.assign(engine() % (engine() % 3 == 0 ? JOURNAL_LINE_SIZE : 300), 'a');
            content += line + "\n";
        }
        tree.write("journal", content + std::string(engine() % (engine() % 2 * 70000 + 1), "x\0"[round % 2]));
        platform::LockedFile file;
        file.hold(WidePath(tree.path("\\journal").c_str()).text());
        JournalReader reader(file);
        for (std::uint64_t end = content.size(); !lines.empty(); end = reader.offset(), lines.pop_back()) {
            ASSERT_TRUE(reader.previous() && std::string(reader.text(), reader.length()) == lines.back());
            EXPECT_EQ(reader.end(), end);
        }
        EXPECT_FALSE(reader.previous() || reader.hasFailed());
    }
}

}  // namespace ovpatch
