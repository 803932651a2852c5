#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <sstream>

#include "fileops/code_page.h"
#include "ini/kx_ini_util.h"
#include "tests/support/rows.h"

namespace ovpatch {

class Ini : public testing::Test {
protected:
    // A document of the file that holds `text`.
    KxIniUtil open(const std::string& text, bool caseSensitive = false) {
        tree.write("file", text);
        return KxIniUtil(path.c_str(), ';', caseSensitive);
    }
    // What was written to a file as text.
    std::string written(const std::string& name) { return test::replaced(tree.read(name), "\r\n", "\n"); }
    // What the document saves, as text.
    std::string saved(const KxIniUtil& document) {
        EXPECT_EQ(document.saveAs(tree.path("\\copy").c_str()), 1);
        return written("copy");
    }

    const test::TempTree tree;
    const std::string path = tree.path("\\file");
};

TEST_F(Ini, SavesWhatItReadButTrimmed) {
    using namespace std::string_literals;
    const std::string line(100000, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"a=1\n; end", "a=1\n; end"},
        {" ; x = 1 \r\n\r\n [ s t ] \r\n no key\f\r\n =v\r\n", "; x = 1\n\n[s t]\nno key\n=v\n"},
        {"\ta b =  c=d;e \r\n[s] ; no header\na=\n[s]=x\n", "a b=c=d;e\n[s] ; no header\na=\n[s]=x\n"},
        {"[\n]\n[]\nk=1\n\va=1\v\n[s]\n", "[\n]\nk=1\n\va=1\v\n[s]\n"},
        {"a\0b=\0c\n\0\n\xFF\x83=\xE4\rb"s, "a\0b=\0c\n\0\n\xFF\x83=\xE4\rb\n"s},
        {line + "=" + line, line + "=" + line + "\n"}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(saved(open(text)), expected);
}

// Section, key and what a document finds that folds letters and one that does not; '~' is null, '_' a blank.
TEST_F(Ini, FindsTheFirstOfANameLessItsBlanks) {
    const char text[] =
        "h=1\n[s]\nempty=\nk=a=b \nK=second\n;c=1\n=d\n[ S ]\nk2=hidden\n[]\nu=2\n[s] "
        "x\nt=3\n\xC4k=4\n@z=\n[z=";
    const KxIniUtil folding = open(text), exact = open(text, true);
    std::istringstream queries(R"(
        ~,h,1,1   ~,_H_,1,~  ,h,~,~      ,u,2,2       ___,u,2,2         ~,u,~,~       s,empty,,,  _S_,k,a=b,~
        s,K,a=b,second  ,t,3,3   S,k2,~,hidden  s,;c,~,~   s,,~,~   s,~,~,~   x,k,~,~   ,@Z,,~)");
    for (std::string query, part; queries >> query;) {
        std::replace(query.begin(), query.end(), '_', ' ');
        std::vector<std::string> parts;
        for (std::istringstream rest(query); std::getline(rest, part, ',');)
            parts.push_back(part);
        const auto at = [&](std::size_t i) { return parts[i] == "~" ? nullptr : parts[i].c_str(); };
        EXPECT_STREQ(folding.getValue(at(0), at(1)), at(2)) << query;
        EXPECT_STREQ(exact.getValue(at(0), at(1)), at(3)) << query;
    }
    EXPECT_STREQ(folding.getValue("", "\xC4K"), "4");
    for (const char* other : {"\xE4k", "`z", "{z"})
        EXPECT_EQ(folding.getValue("", other), nullptr) << other;
}

TEST_F(Ini, AsksTheCodePageAboutAHeaderEnd) {
    setCodePage(932);
    EXPECT_STREQ(open("[\x83]\nk=1\n[\x83]]\n").getValue(nullptr, "k"), "1");
    setCodePage(0);
    EXPECT_STREQ(open("[\x83]\nk=1\n").getValue("\x83", "k"), "1");
}

// What a change makes of the file, '/' for its line ends; null where the document does not write itself back.
TEST_F(Ini, ChangesWhatItIsAsked) {
    using D = KxIniUtil;
    const std::pair<std::function<void(D&)>, const char*> cases[] = {
        {[](D&) {}, nullptr},
        {[](D& d) { d.setValue("S", " B ", " x "); }, ";1/h=1/[s]/;2/a=1/;3/b= x /[t]/c=3/;4/"},
        {[](D& d) { d.setValue("s", "e", nullptr); }, ";1/h=1/[s]/;2/a=1/;3/b=2/e=/[t]/c=3/;4/"},
        {[](D& d) { d.addValue("s", "A", "2"); }, ";1/h=1/[s]/;2/a=1/;3/b=2/A=2/[t]/c=3/;4/"},
        {[](D& d) { d.setValue(" n ", " k", "v"); }, ";1/h=1/[s]/;2/a=1/;3/b=2/[t]/c=3/[n]/ k=v/;4/"},
        {[](D& d) { d.addValue("", "k", "v"); }, ";1/h=1/[s]/;2/a=1/;3/b=2/[t]/c=3/k=v/;4/"},
        {[](D& d) { d.setValue("s", nullptr, "x"), d.addValue("n", "", "x"); }, nullptr},
        {[](D& d) { d.deleteValue("s", "a"); }, ";1/h=1/[s]/;2/;3/b=2/[t]/c=3/;4/"},
        {[](D& d) { d.deleteValue("s", "b"), d.deleteValue("s", "a"); }, ";1/h=1/[s]/;2/;3/[t]/c=3/;4/"},
        {[](D& d) { d.deleteValue("t", "c"), d.addValue("t", "d", ""); },
         ";1/h=1/[s]/;2/a=1/;3/b=2/[t]/d=/;4/"},
        {[](D& d) { d.addValue("s", "c", "1"), d.deleteValue("s", "x"); }, nullptr},
        {[](D& d) { d.addValue("s", "c", d.deleteValue("x", "c") == 0 ? "1" : "x"); },
         ";1/h=1/[s]/;2/a=1/;3/b=2/c=1/[t]/c=3/;4/"},
        {[](D& d) { d.deleteSection("s"), d.deleteSection("s"); }, ";1/h=1/[t]/c=3/;4/"},
        {[](D& d) { d.deleteSection("T"), d.addValue("u", "k", ""); }, ";1/h=1/[s]/;2/a=1/;3/b=2/[u]/k=/;4/"},
        {[](D& d) { d.deleteSection(nullptr), d.deleteSection(""); }, "[s]/;2/a=1/;3/b=2/[t]/c=3/;4/"},
        {[](D& d) { d.deleteSection(nullptr), d.deleteSection(nullptr); }, nullptr},
        {[](D& d) { d.addValue("s", "c", "1"), d.setReadOnly(); }, nullptr},
    };
    const std::string text = ";1\nh = 1\n[s]\n;2\na=1\n;3\nb=2\n[t]\nc=3\n;4\n";
    for (const auto& [change, expected] : cases) {
        [&] {
            KxIniUtil document = open(text);
            change(document);
        }();
        std::string found = written("file");
        if (expected != nullptr) std::replace(found.begin(), found.end(), '\n', '/');
        EXPECT_EQ(found, expected == nullptr ? text : expected);
    }
}

// Names that meet again, in either letter case, as keys and as sections; `model` is searched from the front.
TEST_F(Ini, SearchesAsFromTheFront) {
    for (const unsigned pool : {5U, 60U, 400U, 1005U, 1060U, 1400U}) {
        const bool sections = pool > 1000;
        std::mt19937 random(pool);
        std::vector<std::pair<std::string, std::string>> model;
        KxIniUtil document(nullptr, ';', false);
        for (int step = 0; step < 6000; ++step) {
            const std::string known = "k" + std::to_string(random() % pool), value = std::to_string(step);
            const std::string name = (random() % 2 == 0 ? "k" : "K") + known.substr(1);
            const auto found =
                std::find_if(model.begin(), model.end(), [&](auto& it) { return it.first == known; });
            const bool isThere = found != model.end();
            const char* const section = sections ? name.c_str() : nullptr;
            const char* const key = sections ? "v" : name.c_str();
            ASSERT_STREQ(document.getValue(section, key), isThere ? found->second.c_str() : nullptr);
            const bool adds = random() % 5 < 3;
            if (adds)
                document.addValue(section, key, value.c_str());
            else if (sections)
                document.deleteSection(section);
            else
                ASSERT_EQ(document.deleteValue(section, key), isThere ? 1 : 0);
            if (adds && !(sections && isThere)) model.emplace_back(known, value);
            if (!adds && isThere) model.erase(found);
            if (step % 1000 == 0 && !sections) document.deleteSection(nullptr), model.clear();
        }
    }
}

TEST_F(Ini, SavesUnderAnyNameAndStaysChanged) {
    for (const char* name : {path.c_str(), "", static_cast<const char*>(nullptr)}) {
        {
            KxIniUtil document(name, ';', false);
            document.addValue("s", "k", "v");
            EXPECT_EQ(saved(document), "[s]\nk=v\n");
            EXPECT_EQ(document.saveAs("\\missing\\file") + document.saveAs("") + document.saveAs(nullptr), 0);
        }
        EXPECT_EQ(written("file"), "[s]\nk=v\n");
    }
}

}  // namespace ovpatch
