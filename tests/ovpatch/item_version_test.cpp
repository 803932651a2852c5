#include <gtest/gtest.h>

#include "ovpatch/manifest/item_version.h"
#include "ovpatch/manifest/number_text.h"

namespace ovpatch {
namespace {

struct Row {
    const char* text;
    std::int32_t itemClass;
    std::uint32_t number;
    std::uint32_t build;
    const char* written;
};

constexpr Row ROWS[] = {
    {"1", 1, 0x00010000, 0, "1.0"},
    {"1.50", 2, 0x00015000, 0, "1.5"},
    {"1.5000", 1, 0x00015000, 0, "1.5"},
    {"2.05", 1, 0x00020500, 0, "2.05"},
    {"2.005", 1, 0x00020050, 0, "2.005"},
    {"2.0005", 1, 0x00020005, 0, "2.0005"},
    {"3.12345", 1, 0x00031234, 0, "3.1234"},
    {"1.2.345", 1, 0x00012000, 345, "1.2.345"},
    {"1.2-345", 2, 0x00012000, 345, "1.2.345"},
    {"1.2.0", 1, 0x00012000, 0, "1.2"},
    {"12.30-7", 1, 0x000c3000, 7, "12.3.7"},
    {"1.2a", 1, 0x00012000, 0, "1.2"},
    {"1.a", 1, 0x00010000, 0, "1.0"},
    {"1..3", 1, 0x00010000, 3, "1.0.3"},
    {"1.2.", 1, 0x00012000, 0, "1.2"},
    {"1.2.3-4", 1, 0x00012000, 3, "1.2.3"},
    {"1.2. 3 .4", 1, 0x00012000, 3, "1.2.3"},
    {"1.2-3-4", 1, 0x00012000, 3, "1.2.3"},
    {"70000.1", 1, 0x11701000, 0, "4464.1"},
    {"40000.5", 1, 0x9c405000, 0, "40000.5"},
    {"1.1.2147483647", 1, 0x00011000, 2147483647, "1.1.2147483647"},
    {"", 1, 0, 0, "0.0"},
    {"none", 9, 0, 0, "0.0"},
    {"1234", 3, 1234, 0, "1234"},
    {"1.2", 3, 1, 0, "1"},
    {"-5", 3, 0xfffffffb, 0, "-5"},
};

TEST(ItemVersion, textAndTriple) {
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.text);
        const ItemVersion read = parseItemVersion(row.text, row.itemClass);
        EXPECT_EQ(row.number, read.number);
        EXPECT_EQ(row.build, read.build);
        EXPECT_EQ(0, read.spare);
        char written[32];
        formatItemVersion(row.itemClass, read, written, sizeof written);
        EXPECT_STREQ(row.written, written);
        const ItemVersion again = parseItemVersion(written, row.itemClass);
        EXPECT_EQ(row.number, again.number);
        EXPECT_EQ(row.build, again.build);
    }
}

// A packed number that came from no text keeps its hexadecimal digits, and the cut stops at them.
TEST(ItemVersion, packedNumberThatIsNoText) {
    char text[32];
    formatPackedVersion(0x000100a0, text, sizeof text);
    EXPECT_STREQ("1.00a", text);
    EXPECT_EQ(0u, parseDottedVersion(nullptr).number);
}

TEST(NumberText, readsBackWhatWasWrittenUnsigned) {
    EXPECT_EQ(-1, readDecimal("4294967295"));
    EXPECT_EQ(-1, readHexadecimal("ffffffff"));
    EXPECT_EQ(16, readHexadecimal("0x10"));
    EXPECT_EQ(31, readHexadecimal("1f, zz"));
    EXPECT_EQ(0, readHexadecimal("zz"));
    EXPECT_EQ(12, readDecimal(" 12abc"));
}

}  // namespace
}  // namespace ovpatch
