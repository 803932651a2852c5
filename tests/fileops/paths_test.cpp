#include "fileops/paths.h"

#include <gtest/gtest.h>

#include <string>

#include "fileops/code_page.h"
#include "fileops/copy.h"

namespace ovpatch {
namespace {

class Paths : public testing::Test {
protected:
    void TearDown() override { setCodePage(0); }
};

TEST_F(Paths, LeadBytesFollowTheCodePage) {
    struct Case {
        std::uint32_t codePage;
        int byte;
        bool isLead;
    };
    const Case cases[] = {{0, 0x83, false},   {1252, 0x83, false}, {932, 0x80, false}, {932, 0x81, true},
                          {932, 0x9F, true},  {932, 0xA0, false},  {932, 0xDF, false}, {932, 0xE0, true},
                          {932, 0xFC, true},  {932, 0xFD, false},  {936, 0xFD, true},  {949, 0xFE, true},
                          {950, 0xFF, false}, {950, 0xA0, true},   {936, 0x80, false}};
    for (const Case& c : cases) {
        setCodePage(c.codePage);
        EXPECT_EQ(isLeadByte(static_cast<char>(c.byte)), c.isLead) << c.codePage << " " << c.byte;
    }
}

// One letter for each byte: t for a trail byte, . for any other.
std::string trailMap(const std::string& text) {
    std::string map;
    for (const char& byte : text)
        map += isTrailByte(text.c_str(), text.c_str() + (&byte - text.data())) ? 't' : '.';
    return map;
}

TEST_F(Paths, TrailBytesDependOnWhereCharactersBegin) {
    struct Case {
        const char* text;
        const char* map;
    };
    const Case cases[] = {{"\x83\\a", ".t."},         {"a\x83\\\\", "..t."},  {"\x83\x83\\", ".t."},
                          {"\x83\x83\x83\\", ".t.t"}, {"\x83/\\", "..."},     {"\\\x83", ".."},
                          {"\x83\x3F\x40", "..."},    {"\x83\x40\x40", ".t."}};
    for (const Case& c : cases) {
        setCodePage(932);
        EXPECT_EQ(trailMap(c.text), c.map);
        // The scan that goes with the text says the same.
        TrailByteScan scan;
        std::string scanned;
        for (const char byte : std::string(c.text))
            scanned += scan.isTrail(byte) ? 't' : '.';
        EXPECT_EQ(scanned, c.map);
        setCodePage(0);
        EXPECT_EQ(trailMap(c.text), std::string(std::string(c.text).size(), '.'));
    }
    setCodePage(932);
    const char text[] = "\x83\\";
    EXPECT_FALSE(isTrailByte(nullptr, text));
    EXPECT_FALSE(isTrailByte(text, nullptr));
    EXPECT_FALSE(isTrailByte(text + 1, text));
}

TEST_F(Paths, PartsOfAPath) {
    struct Case {
        std::uint32_t codePage;
        const char* path;
        bool endsInSeparator;
        const char* directory;
        const char* base;
        const char* filePart;  // null for none
        const char* last;      // lastComponent
    };
    const Case cases[] = {
        {0, nullptr, false, "", "", nullptr, ""},
        {0, "", false, "", "", nullptr, ""},
        {0, "file", false, "", "file", nullptr, ""},
        {0, "\\file", false, "", "file", "file", ""},
        {0, "/", true, "", "", "", ""},
        {0, "a\\b/c", false, "a\\b\\", "c", "c", "b\\"},
        {0, "a/b\\", true, "a/b\\", "", "", "b\\"},
        {0, "\\a/", true, "\\a\\", "", "", "a\\"},
        {0, "a\\", true, "a\\", "", "", "a\\"},
        {0, "a\\x\x83\\", true, "a\\x\x83\\", "", "", "x\x83\\"},
        {932, "a\\x\x83\\", false, "a\\", "x\x83\\", "", "a\\"},
        {932, "a\\x\x83\\y\\", true, "a\\x\x83\\y\\", "", "", "x\x83\\y\\"},
        {932, "\x83\\\\b", false, "\x83\\\\", "b", "b", "\x83\\\\"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path == nullptr ? "null" : c.path);
        setCodePage(c.codePage);
        EXPECT_EQ(endsWithSeparator(c.path), c.endsInSeparator);
        EXPECT_STREQ(directoryPart(c.path).cStr(), c.directory);
        EXPECT_STREQ(baseName(c.path).cStr(), c.base);
        EXPECT_STREQ(fileNamePart(c.path), c.filePart);
        EXPECT_STREQ(lastComponent(c.path).cStr(), c.last);
    }
}

TEST_F(Paths, ReplaceCharPassesOverTrailBytes) {
    setCodePage(932);
    char text[] = "\\\x83\\\\x/";
    EXPECT_EQ(replaceChar(text, '\\', '/'), 2U);
    EXPECT_STREQ(text, "/\x83\\/x/");
    EXPECT_EQ(replaceChar(text, '#', '/'), 0U);
    ByteString path("\x83/a/");
    normalizeSlashes(path);
    EXPECT_STREQ(path.cStr(), "\x83\\a\\");
}

struct JoinCase {
    std::uint32_t codePage;
    const char* base;
    const char* file;
    const char* uri;   // what CatURIWithFile makes
    const char* path;  // what joinPath makes
};

TEST_F(Paths, JoinsBaseAndFileAndTellsTheNeededSize) {
    const JoinCase cases[] = {
        {0, "\\data", "y", "\\data\\y", "\\data\\y"},
        {0, "\\data\\", "/y", "\\data\\y", "\\data\\y"},
        {0, "/data/", "\\y", "\\data\\y", "/data\\y"},
        {0, "a/b", "c/d", "a\\b\\c\\d", "a/b\\c/d"},
        {0, "a", "\\\\b", "a\\\\b", "a\\\\b"},
        {0, "\\\\host/share", "y", "\\\\host\\share\\y", "\\\\host/share\\y"},
        {0, "HTTP://host", "a\\b", "HTTP://host/a/b", "HTTP://host\\a\\b"},
        {0, "ftp://h\\", "y", "ftp://h/y", "ftp://h\\y"},
        {0, "http:/", "y", "http:\\y", "http:\\y"},
        {0, "", "\\y", "y", "y"},
        {0, nullptr, nullptr, "", ""},
        {0, "/", "y", "\\y", "\\y"},
        {932, "a\x83\\", "y", "a\x83\\\\y", "a\x83\\y"},
        {932, "http://\x83\\\\", "y", "http://\x83\\/y", "http://\x83\\\\y"},
    };
    for (const JoinCase& c : cases) {
        setCodePage(c.codePage);
        for (const bool isUri : {true, false}) {
            const std::string expected = isUri ? c.uri : c.path;
            SCOPED_TRACE(expected);
            const auto join = isUri ? CatURIWithFile : joinPath;
            const auto size = static_cast<std::int32_t>(expected.size()) + 1;
            char out[300] = "untouched";
            EXPECT_EQ(join(out, size - 1, c.base, c.file), size);
            EXPECT_EQ(join(out, -1, c.base, c.file), size);
            EXPECT_STREQ(out, "untouched");
            EXPECT_EQ(join(out, size, c.base, c.file), 0);
            EXPECT_EQ(out, expected);
        }
    }
}

TEST_F(Paths, CatURIWithFileTakesFilesOf259Bytes) {
    char out[600] = "untouched";
    const std::string fits = "\\" + std::string(259, 'f');
    EXPECT_EQ(CatURIWithFile(out, 600, "b", (fits + "f").c_str()), 263);
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(joinPath(out, 600, "b", (fits + "f").c_str()), 0);
    EXPECT_EQ(CatURIWithFile(out, 600, "b", fits.c_str()), 0);
    EXPECT_EQ(out, "b" + fits);
}

}  // namespace
}  // namespace ovpatch
