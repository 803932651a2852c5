// The functions on text as rows.
#include <cstring>

#include "fileops/code_page.h"
#include "fileops/copy.h"
#include "fileops/dir_listing.h"
#include "fileops/name_index.h"
#include "fileops/paths.h"
#include "tests/support/rows.h"

namespace ovpatch::test {

// One letter for each byte: L for a lead byte, t for a trail byte, . for any other.
std::string kinds(const std::string& text) {
    std::string map;
    TrailByteScan scan;
    for (const char& byte : text) {
        const bool trail = isTrailByte(text.c_str(), text.c_str() + (&byte - text.data()));
        EXPECT_EQ(scan.isTrail(byte), trail) << text;
        map += trail ? 't' : isLeadByte(byte) ? 'L' : '.';
    }
    return map;
}

std::string joined(const std::string& base, const std::string& file) {
    std::string both;
    for (const auto join : {CatURIWithFile, joinPath}) {
        char out[600] = "untouched";
        const std::int32_t size = join(out, -1, base.c_str(), file.c_str());
        EXPECT_TRUE(size > 0 && join(out, size - 1, base.c_str(), file.c_str()) == size &&
                    out == std::string("untouched"));
        EXPECT_EQ(join(out, size, base.c_str(), file.c_str()), 0);
        EXPECT_EQ(std::strlen(out) + 1, static_cast<std::size_t>(size));
        both += (both.empty() ? "" : " ") + std::string(out);
    }
    return both;
}

std::string stepOnText(const TempTree&, const Words& words) {
    const std::string text = words.size() < 2 || words[1] == "-" ? "" : words[1];
    const std::string other = words.size() < 3 || words[2] == "-" ? "" : words[2];
    const char* path = text == "null" ? nullptr : text.c_str();
    ByteString directory;
    ByteString name;
    if (words[0] == "cp") return setCodePage(static_cast<std::uint32_t>(std::stoul(text))), "";
    if (words[0] == "kinds") return kinds(text);
    if (words[0] == "match") return matchWildcard(text.c_str(), other.c_str()) ? "yes" : "no";
    if (words[0] == "join") return joined(text, other);
    if (words[0] == "slashes") {
        std::string copy = text;
        const auto count = replaceChar(copy.data(), '\\', '/');
        ByteString normal(path);
        normalizeSlashes(normal);
        return std::to_string(count) + copy + " " + normal.cStr();
    }
    const auto show = [](const ByteString& part) { return part.cStr() + std::string(","); };
    if (path != nullptr) splitPath(path, directory, name);
    const char* part = fileNamePart(path);
    return (endsWithSeparator(path) ? "closed," : "open,") + show(directoryPart(path)) +
           show(baseName(path)) + (part == nullptr ? "null" : part) + "," + show(lastComponent(path)) +
           show(directory) + name.cStr();
}

TEST(Text, Outcomes) {
    play(R"(cp 0
        cp 0,1252; kinds %83%5C%81%FE -> ....
        cp 932; kinds %80%A0%DF%FD%FE%FF -> ......
        cp 932; kinds %81%40%9F%40%E0%40%FC%40 -> LtLtLtLt
        cp 936,949,950; kinds %80%FF%81%40%FE%40%A0%40 -> ..LtLtLt
        cp 932; kinds %83%5Ca%83%83%5C%83%83%83%5C -> Lt.Lt.LtLt
        cp 932; kinds %83/\%83%3F%40\%83 -> L..L...L
        parts null,- -> open,,,null,,,
        parts file -> open,,file,null,,,file
        parts \file,/file -> open,,file,file,,\,file
        parts / -> closed,,,,,\,
        parts a\b/c -> open,a\b\,c,c,b\,a\b\,c
        parts a/b\ -> closed,a/b\,,,b\,a/b\,
        parts \a/ -> closed,\a\,,,a\,\a\,
        cp 932; parts a\x%83\ -> open,a\,x%83\,,a\,a\,x%83\
        cp 932; parts a\x%83\y\ -> closed,a\x%83\y\,,,x%83\y\,a\x%83\y\,
        cp 932; parts %83\\b -> open,%83\\,b,b,%83\\,%83\\,b
        cp 932; slashes \%83\\x/ -> 2/%83\/x/ \%83\\x\
        join \data,\data\ y,\y,/y -> \data\y \data\y
        join /data,/data/ \y -> \data\y /data\y
        join a/b c/d -> a\b\c\d a/b\c/d
        join a \\b -> a\\b a\\b
        join \\host/share y -> \\host\share\y \\host/share\y
        join HTTP://host a\b -> HTTP://host/a/b HTTP://host\a\b
        join ftp://h\ y -> ftp://h/y ftp://h\y
        join http:/ y -> http:\y http:\y
        join - \y -> y y
        cp 932; join a%83\ y -> a%83\\y a%83\y
        cp 932; join http://%83\\ y -> http://%83\/y http://%83\\y
        match *,a*,*a,?,a,A,**,*a*,?* a / match z Z -> yes
        match *.TXT a.txt / match a?c abc / match a*b*c aXbYbZc,abc,abbcbc / match * - / match *ab aab -> yes
        match -,b,??,a?,?a,*b,a*a a / match a?c ac / match ? - / match a*b*c abcb,acb / match a - / match a b -> no
        match *.txt a.txtx / match %C4 %E4 / match @ ` / match [ { / match z{ Z[ -> no
    )",
         stepOnText);
    setCodePage(0);
}

TEST(Text, Limits) {
    EXPECT_FALSE(isTrailByte(nullptr, "a") || isTrailByte("a", nullptr));
    std::string stars;
    for (int star = 0; star < 100; ++star)
        stars += "*a";
    EXPECT_FALSE(matchWildcard((stars + "b").c_str(), std::string(250, 'a').c_str()));
    char out[600] = "untouched";
    const std::string fits = "\\" + std::string(259, 'f');
    EXPECT_EQ(CatURIWithFile(out, 600, "b", (fits + "f").c_str()), 263);
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(CatURIWithFile(out, 600, "b", fits.c_str()), 0);
    EXPECT_EQ(out, "b" + fits);
    EXPECT_EQ(joinPath(out, 600, "b", (fits + "f").c_str()), 0);
    EXPECT_EQ(CatURIWithFile(out, 600, nullptr, nullptr) + joinPath(out, 600, nullptr, nullptr), 0);
    EXPECT_EQ(replaceChar(nullptr, 'a', 'b'), 0U);
}

// More names than the first size of the table holds, forgotten one by one.
TEST(NameIndex, KnowsWhatADirectoryHeldAndWhatHasGone) {
    const TempTree tree;
    NameIndex index;
    for (int i = 0; i < 128; ++i)
        tree.write("a/Name" + std::to_string(i * i));
    tree.write("b/x");
    const auto canMatch = [&](const std::string& name) { return index.canMatch(tree.path(name).c_str()); };
    const auto missing = [&](const std::string& name) { return index.knowsMissing(tree.path(name).c_str()); };
    const auto forget = [&](const std::string& name) { index.forget(tree.path(name).c_str()); };
    EXPECT_FALSE(missing("\\a\\none"));
    for (int i = 0; i < 128; ++i) {
        const std::string number = std::to_string(i * i);
        for (const char* other : {"\\a\\name", "\\b\\Name"})
            forget(other + number);
        EXPECT_TRUE(canMatch("\\a\\nAME" + number) && !missing("\\a\\name" + number));
        forget("\\a\\Name" + number);
        EXPECT_TRUE(!canMatch("\\a\\name" + number) && missing("\\a\\Name" + number));
    }
    EXPECT_TRUE(canMatch("\\b\\X") && !canMatch("\\none\\X"));
}

}  // namespace ovpatch::test
