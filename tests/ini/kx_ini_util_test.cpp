#include "ini/kx_ini_util.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "fileops/code_page.h"
#include "tests/foundation/temp_file.h"

namespace ovpatch {
namespace {

// What a document saves after it read `text` and `change` was made.
std::string saved(const std::string& text, const std::function<void(KxIniUtil&)>& change) {
    const TempFile file(text);
    const TempFile copy;
    KxIniUtil document(file.path(), ';', false);
    document.setReadOnly();
    change(document);
    EXPECT_EQ(document.saveAs(copy.path()), 1);
    EXPECT_EQ(file.content(), text);
    return copy.written();
}

TEST(KxIniUtil, SavesWhatItReadButTrimmed) {
    using namespace std::string_literals;
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"\n\n", "\n\n"},
        {"a=1", "a=1\n"},
        {"[s]", "[s]\n"},
        {"; end", "; end"},
        {"a=1\n; end", "a=1\n; end"},
        {"\ta b =  c d \r\n", "a b=c d\n"},
        {" ; x = 1 \r\n\r\n [ s t ] \r\n no key\f\r\n =v\r\n", "; x = 1\n\n[s t]\nno key\n=v\n"},
        {"[s] ; comment\na=1\n", "[s] ; comment\na=1\n"},
        {"[s]=x\n", "[s]=x\n"},
        {"a=b=c;d\na=\n", "a=b=c;d\na=\n"},
        {"[\n]\n[]\nk=1\n[s]\n", "[\n]\nk=1\n[s]\n"},
        {"\va=1\v\n", "\va=1\v\n"},
        {"a\0b=\0c\n\0\n"s, "a\0b=\0c\n\0\n"s},
        {"\xFF\x83=\xE4\n", "\xFF\x83=\xE4\n"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(saved(text, [](KxIniUtil&) {}), expected);
}

TEST(KxIniUtil, FindsValues) {
    const TempFile file(
        "head=1\n[s]\nempty=\nk=a=b \nK=second\n;c=1\n=d\n[ S ]\nk2=hidden\n[]\nu=unnamed\n[s] x\ntail=t\n"
        "umlaut\xC4=1");
    const KxIniUtil document(file.path(), ';', false);
    const KxIniUtil exact(file.path(), ';', true);
    const struct {
        const char *section, *key, *folded, *exact;
    } cases[] = {
        {nullptr, "head", "1", "1"},
        {nullptr, "\tHEAD ", "1", nullptr},
        {"", "head", nullptr, nullptr},
        {"", "u", "unnamed", "unnamed"},
        {"  ", "u", "unnamed", "unnamed"},
        {nullptr, "u", nullptr, nullptr},
        {"s", "empty", "", ""},
        {" S\t", "k", "a=b", nullptr},
        {"s", "K", "a=b", "second"},
        {"S", "k2", nullptr, "hidden"},
        {"s", ";c", nullptr, nullptr},
        {"s", "", nullptr, nullptr},
        {"s", nullptr, nullptr, nullptr},
        {"missing", "k", nullptr, nullptr},
        {"", "tail", "t", "t"},
        {"", "UMLAUT\xC4", "1", nullptr},
        {"", "umlaut\xE4", nullptr, nullptr},
    };
    for (const auto& each : cases) {
        const char* const found[] = {document.getValue(each.section, each.key),
                                     exact.getValue(each.section, each.key)};
        EXPECT_STREQ(found[0], each.folded) << (each.key == nullptr ? "null" : each.key);
        EXPECT_STREQ(found[1], each.exact) << (each.key == nullptr ? "null" : each.key);
    }
}

TEST(KxIniUtil, AsksTheCodePageAboutAHeaderEnd) {
    const std::string text = "[\x83]\nk=1\n[\x83]]\n";
    const TempFile file(text);
    setCodePage(932);
    EXPECT_STREQ(KxIniUtil(file.path(), ';', false).getValue(nullptr, "k"), "1");
    setCodePage(0);
    EXPECT_STREQ(KxIniUtil(file.path(), ';', false).getValue("\x83", "k"), "1");
}

TEST(KxIniUtil, ChangesOnlyWhatItIsAsked) {
    const std::string text = ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\n[t]\nd=4\n;6\n";
    using Change = std::function<void(KxIniUtil&)>;
    const std::pair<Change, const char*> cases[] = {
        {[](KxIniUtil& d) { d.setValue("S", " B ", " x "); },
         ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb= x \n;5\nc=3\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.setValue("s", "e", nullptr); },
         ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\ne=\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.addValue("s", "A", "2"); },
         ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\nA=2\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.setValue(" new ", "k", "v"); },
         ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\n[t]\nd=4\n[new]\nk=v\n;6\n"},
        {[](KxIniUtil& d) { d.addValue("", "k", "v"); },
         ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\n[t]\nd=4\nk=v\n;6\n"},
        {[](KxIniUtil& d) { d.deleteValue("s", "a"), d.deleteValue("s", "c"), d.deleteValue("s", "b"); },
         ";1\nh=1\n;2\n[s]\n;3\n;4\n;5\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.deleteValue("s", "c"), d.addValue("s", "c", "n"); },
         ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=n\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.deleteValue(nullptr, "h"), d.addValue(nullptr, "i", "2"); },
         ";1\ni=2\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.deleteSection("s"); }, ";1\nh=1\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.deleteSection("T"), d.addValue("u", "k", "v"); },
         ";1\nh=1\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\n[u]\nk=v\n;6\n"},
        {[](KxIniUtil& d) { d.deleteSection(nullptr), d.deleteSection(""), d.addValue(nullptr, "i", "2"); },
         "i=2\n;2\n[s]\n;3\na=1\n;4\nb=2\n;5\nc=3\n[t]\nd=4\n;6\n"},
        {[](KxIniUtil& d) { d.setValue("s", "", "x"), d.addValue("n", nullptr, "x"); }, text.c_str()},
    };
    for (const auto& [change, expected] : cases)
        EXPECT_EQ(saved(text, change), expected);
}

// Whether a document of a head with one key and a section writes itself back at its end.
TEST(KxIniUtil, WritesItselfBackWhenChanged) {
    const std::string text = "a = 1\n[s]\nb = 2\n";
    using Change = std::function<void(KxIniUtil&)>;
    const std::pair<Change, bool> cases[] = {
        {[](KxIniUtil&) {}, false},
        {[](KxIniUtil& d) { d.setValue(nullptr, "a", "1"); }, true},
        {[](KxIniUtil& d) { d.setValue(nullptr, "", "1"), d.addValue(nullptr, nullptr, "1"); }, false},
        {[](KxIniUtil& d) { d.addValue("s", "c", "1"); }, true},
        {[](KxIniUtil& d) { EXPECT_EQ(d.deleteValue("s", "b"), 1); }, true},
        {[](KxIniUtil& d) {
             d.addValue("s", "c", "1");
             EXPECT_EQ(d.deleteValue("s", "x"), 0);
         },
         false},
        {[](KxIniUtil& d) {
             d.addValue("s", "c", "1");
             EXPECT_EQ(d.deleteValue("x", "b"), 0);
         },
         true},
        {[](KxIniUtil& d) { d.deleteSection(nullptr); }, true},
        {[](KxIniUtil& d) { d.deleteSection(nullptr), d.deleteSection(nullptr); }, false},
        {[](KxIniUtil& d) { d.deleteSection("s"), d.deleteSection("s"); }, true},
        {[](KxIniUtil& d) { d.addValue("s", "c", "1"), d.setReadOnly(); }, false},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const TempFile file(text);
        {
            KxIniUtil document(file.path(), ';', false);
            cases[i].first(document);
        }
        EXPECT_EQ(file.content() != text, cases[i].second) << "case " << i;
    }
}

TEST(KxIniUtil, SavesUnderAnotherNameAndStaysChanged) {
    const TempFile file;
    const TempFile copy;
    {
        KxIniUtil document(file.path(), ';', false);
        document.addValue("s", "k", "v");
        EXPECT_EQ(document.saveAs(copy.path()), 1);
        EXPECT_FALSE(file.exists());
        EXPECT_EQ(document.saveAs(nullptr), 0);
        EXPECT_EQ(document.saveAs(""), 0);
        EXPECT_EQ(document.saveAs((std::string(copy.path()) + "/x").c_str()), 0);
    }
    EXPECT_EQ(file.written(), "[s]\nk=v\n");
    EXPECT_EQ(copy.content(), file.content());
}

TEST(KxIniUtil, LivesInMemoryWithoutAName) {
    const TempFile copy;
    for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
        KxIniUtil document(name, ';', false);
        document.setValue(nullptr, "k", "v");
        EXPECT_EQ(document.save(), 0);
        EXPECT_EQ(document.saveAs(copy.path()), 1);
        EXPECT_EQ(copy.written(), "k=v\n");
    }
}

TEST(KxIniUtil, TakesItsOwnValues) {
    KxIniUtil document(nullptr, ';', false);
    document.setValue(nullptr, "a", "value of some length");
    document.setValue(nullptr, "b", document.getValue(nullptr, "a"));
    document.setValue(nullptr, "a", document.getValue(nullptr, "a") + 6);
    EXPECT_STREQ(document.getValue(nullptr, "a"), "of some length");
    EXPECT_STREQ(document.getValue(nullptr, "b"), "value of some length");
}

}  // namespace
}  // namespace ovpatch
