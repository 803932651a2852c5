// Versions and numbers as text, and the directories of an item.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "fileops/code_page.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/manifest/item_version.h"
#include "ovpatch/manifest/number_text.h"

namespace ovpatch {

// Class and text ('_' for a blank), the number in hexadecimal, the build, and the text that is written and
// read again.
TEST(ItemVersion, IsReadAndWritten) {
    std::istringstream cases(R"(
        1 1      10000 0 1.0     1 1.50    15000 0 1.5      2 1.5000  15000 0 1.5      1 2.05  20500 0 2.05
        2 2.005  20050 0 2.005   1 2.0005  20005 0 2.0005   1 3.12345 31234 0 3.1234   1 1.2a  12000 0 1.2
        1 1.a    10000 0 1.0     1 1..3    10000 3 1.0.3    1 1.2.    12000 0 1.2      1 1.2.0 12000 0 1.2
        2 1.2.34 12000 34 1.2.34 1 1.2-34  12000 34 1.2.34  1 12.30-7 c3000 7 12.3.7   9 none  0 0 0.0
        1 1.2.3-4 12000 3 1.2.3  1 1.2._3_.4 12000 3 1.2.3  1 1.2-3-4 12000 3 1.2.3    1 _     0 0 0.0
        1 70000.1 11701000 0 4464.1  1 40000.5 9c405000 0 40000.5  1 1.1.2147483647 11000 2147483647 1.1.2147483647
        3 1234   4d2 0 1234      3 1.2     1 0 1            3 -5  fffffffb 0 -5        3 none 0 0 0)");
    std::int32_t itemClass = 0;
    std::uint32_t number = 0, build = 0;
    for (std::string text, expected;
         cases >> itemClass >> text >> std::hex >> number >> std::dec >> build >> expected;) {
        std::replace(text.begin(), text.end(), '_', ' ');
        for (const std::string& read : {text, expected}) {
            const ItemVersion version = parseItemVersion(read.c_str(), itemClass);
            EXPECT_TRUE(version.number == number && version.build == build && version.spare == 0) << read;
            char written[32];
            formatItemVersion(itemClass, version, written, sizeof written);
            EXPECT_EQ(written, expected) << read;
        }
    }
    EXPECT_TRUE(cases.eof());
    char text[32];
    formatPackedVersion(0x000100a0, text, sizeof text);
    EXPECT_STREQ(text, "1.00a");
    EXPECT_EQ(parseDottedVersion(nullptr).number, 0U);
}

TEST(NumberText, ReadsBackWhatWasWrittenUnsigned) {
    EXPECT_EQ(readDecimal("4294967295") + readDecimal(" 12abc"), 11);
    EXPECT_EQ(readHexadecimal("ffffffff") + readHexadecimal("0x10") + readHexadecimal("1f, zz"), 46);
    EXPECT_EQ(readCount("19"), 19U);
    for (const char* text : {"-1", "4294967295", "4294967296"})
        EXPECT_EQ(readCount(text), UINT32_MAX) << text;
}

TEST(BackupPaths, EndInABackslashOfTheirOwn) {
    char path[PATH_SIZE];
    setCodePage(932);
    for (const std::string base : {"\\Data", "/Data/", "", "\x83\\"}) {
        const std::string front = base + "\\";
        EXPECT_EQ(itemBackupDir(base.c_str(), 1, 10, path, sizeof path), front.size() + 15);
        EXPECT_EQ(path, front + "OV_Backup\\1\\10\\");
    }
    EXPECT_EQ(itemBackupDir("\\Data\\", 1, 10, path, sizeof path), 21U);
    EXPECT_EQ(itemBackupDir("\\", 1, 10, path, sizeof path), 16U);
    setCodePage(0);
    EXPECT_EQ(itemSourceDir(std::string(245, 'x').c_str(), 2, 31, path, sizeof path), 259U);
    for (const std::size_t length : {246U, 1014U, 1024U}) {
        path[0] = 'x';
        EXPECT_EQ(itemSourceDir(std::string(length, 'x').c_str(), 2, 31, path, sizeof path), 0U);
        EXPECT_STREQ(path, "");
    }
    EXPECT_TRUE(ledgerPath(std::string(236, 'x').c_str(), path, sizeof path));
    for (const std::size_t length : {237U, 250U}) {
        path[0] = 'x';
        EXPECT_FALSE(ledgerPath(std::string(length, 'x').c_str(), path, sizeof path));
        EXPECT_STREQ(path, "");
    }
}

}  // namespace ovpatch
