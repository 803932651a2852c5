// The document's indexes against searches from the front, on random documents and operations.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "ini/ini_names.h"
#include "ini/kx_ini_util.h"
#include "tests/foundation/temp_file.h"
#include "tests/ini/ini_model.h"

namespace ovpatch {
namespace {

// A text as the document handed it out; null and empty stay apart.
std::string shown(const char* text) {
    return text == nullptr ? "(none)" : "'" + std::string(text) + "'";
}
std::string shown(const std::string* text) {
    return shown(text == nullptr ? nullptr : text->c_str());
}

// Names from a pool, so that they meet again, in other letter cases and with blanks around them.
class RandomNames {
public:
    RandomNames(unsigned seed, unsigned pool) : engine_(seed), pool_(pool) {}
    unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
    std::string name() {
        std::string made = "kEy" + std::to_string(below(pool_));
        if (below(4) == 0) made[0] = 'K';
        if (below(16) == 0) made = " " + made + "\t";
        return made;
    }
    // A line of a file, without its line feed.
    std::string line(unsigned sections) {
        switch (below(12)) {
            case 0:
                return "; " + name() + "=x";
            case 1:
                return " =" + name() + "\r";
            case 2:
                return "";
            case 3:
                return "[no header] ; " + name();
            case 4:
                return sections == 0 || below(3) != 0 ? "loose" : "[ " + sectionName(sections) + " ]";
            default:
                return name() + " = v" + std::to_string(below(1000)) + " ";
        }
    }
    // Of the wanted number of sections; the first is the unnamed one that only a file can hold.
    std::string sectionName(unsigned sections) {
        const unsigned number = below(sections);
        return number == 0 ? "" : (below(2) == 0 ? "s" : "S") + std::to_string(number);
    }

private:
    std::mt19937 engine_;
    unsigned pool_;
};

// One operation on both; false when the answers differ.
testing::AssertionResult step(RandomNames& random, unsigned sections, KxIniUtil& document, IniModel& model) {
    const std::string sectionText = sections == 0 ? "" : random.sectionName(sections);
    const char* const section = random.below(3) == 0 ? nullptr : sectionText.c_str();
    const std::string key = random.name();
    const std::string value = std::to_string(random.below(1000));
    switch (random.below(8)) {
        case 0:
            document.setValue(section, key.c_str(), value.c_str()), model.setValue(section, key, value);
            break;
        case 1:
        case 2:
            document.addValue(section, key.c_str(), value.c_str()), model.addValue(section, key, value);
            break;
        case 3:
        case 4:
            if ((document.deleteValue(section, key.c_str()) == 1) != model.deleteValue(section, key)) {
                return testing::AssertionFailure() << "deleteValue " << key;
            }
            break;
        case 5:
            if (random.below(sections < 50 ? 60 : 2) == 0)
                document.deleteSection(section), model.deleteSection(section);
            break;
        default:
            break;
    }
    const std::string asked = random.name();
    const std::string answer = shown(document.getValue(section, asked.c_str()));
    const std::string expected = shown(model.getValue(section, asked));
    if (answer == expected) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "getValue " << shown(section) << asked << answer << expected;
}

TEST(IniSearch, EqualsASearchFromTheFront) {
    struct {
        unsigned sections, pool;
    } shapes[] = {{0, 5}, {0, 60}, {2, 400}, {5, 30}, {100, 3}, {400, 2}};
    for (const auto& shape : shapes) {
        for (unsigned seed = 0; seed < 8; ++seed) {
            RandomNames random(seed, shape.pool);
            std::string text;
            for (unsigned lines = random.below(1200); lines > 0; --lines)
                text += random.line(shape.sections) + "\n";
            if (random.below(2) == 0) text += random.line(shape.sections);
            const TempFile file(text);
            const bool caseSensitive = seed % 2 != 0;
            IniModel model(text, caseSensitive);
            {
                KxIniUtil document(file.path(), ';', caseSensitive);
                const TempFile copy;
                ASSERT_EQ(document.saveAs(copy.path()), 1);
                ASSERT_EQ(copy.written(), model.text());
                for (int i = 0; i < 800; ++i)
                    ASSERT_TRUE(step(random, shape.sections, document, model)) << i;
                ASSERT_EQ(document.saveAs(copy.path()), 1);
                ASSERT_EQ(copy.written(), model.text());
            }
            EXPECT_EQ(model.dirty() ? file.written() : file.content(), model.dirty() ? model.text() : text);
        }
    }
}

// Searching, removing and freeing step by step from the front would take hours here, and recursion the stack.
TEST(IniSearch, CostsNoMoreInLongDocuments) {
    constexpr int count = 100000;
    KxIniUtil document(nullptr, ';', false);
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        document.setValue(nullptr, ("key" + number).c_str(), number.c_str());
        document.addValue(nullptr, "same", number.c_str());
        document.addValue(("section" + number).c_str(), "key", number.c_str());
    }
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        ASSERT_STREQ(document.getValue(("Section" + number).c_str(), "KEY"), number.c_str());
        ASSERT_STREQ(document.getValue(nullptr, ("KEY" + number).c_str()), number.c_str());
        ASSERT_STREQ(document.getValue(nullptr, "same"), number.c_str());
        ASSERT_EQ(document.deleteValue(nullptr, "same"), 1);
        if (i % 2 != 0) document.deleteSection(("section" + number).c_str());
    }
    EXPECT_EQ(document.getValue(nullptr, "same"), nullptr);
    EXPECT_EQ(document.getValue("section1", "key"), nullptr);
    EXPECT_STREQ(document.getValue("section2", "key"), "2");
}

TEST(IniNames, CompareSignedAndFoldAsciiLettersAlone) {
    const struct {
        const char *left, *right;
        int folded, exact;
    } cases[] = {
        {"abc", "ABC", 0, 0x20},
        {"Z", "[", 'z' - '[', -1},
        {"@", "`", -0x20, -0x20},
        {"ab", "aBc", -'c', 0x20},
        {"\xC4", "\xE4", -32, -32},
        {"\xFF", "a", -1 - 'a', -1 - 'a'},
        {"", "", 0, 0},
        {"[", "{", -0x20, -0x20},
        {"a", "", 'a', 'a'},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(compareNames(each.left, each.right, false), each.folded) << each.left << each.right;
        EXPECT_EQ(compareNames(each.left, each.right, true), each.exact) << each.left << each.right;
        const bool sameHash = nameHash(each.left, false) == nameHash(each.right, false);
        EXPECT_TRUE(sameHash || each.folded != 0) << each.left << each.right;
    }
}

}  // namespace
}  // namespace ovpatch
