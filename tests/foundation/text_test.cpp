// Strings, bounded functions, lists of strings and what cuts text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <random>
#include <sstream>
#include <utility>

#include "foundation/bounded.h"
#include "foundation/tokenizer.h"
#include "tests/support/rows.h"

namespace ovpatch {

// All operations in any order, on texts of few different bytes, some of them beyond the smallest capacity.
TEST(ByteString, DoesWhatAStringDoes) {
    std::mt19937 random(1);
    const auto below = [&](std::size_t bound) { return static_cast<std::uint32_t>(random() % bound); };
    std::string model, text;  // what `ours` and `other` hold
    ByteString ours, other;
    const char* given = nullptr;  // the text, or null for an empty one
    std::uint32_t at = 0, from = 0, count = 0;
    std::size_t capacity = 255;
    const auto become = [&](const std::string& content) { model = content, capacity = content.size(); };
    const std::function<void()> steps[] = {
        [&] { ours.assign(given), model = text; },
        [&] { ours = other, model = text; },
        [&] { ours = *&ours; },
        [&] { ours.assign(ours.cStr() + from / 2), model.erase(0, from / 2); },
        [&] { ours.append(given), model += text; },
        [&] { ours.append(other), model += text; },
        [&] { ours.appendChar(1, 'x'), ours.appendChar(0, 'y'), ours.appendChar(-1, 'z'), model += 'x'; },
        [&] { ours.trimWhitespace(), model = test::replaced(model, "^[ \t\n\f\r]+|[ \t\n\f\r]+$", ""); },
        [&] { ours.at(at) = '!', model.replace(from, at < model.size(), at < model.size(), '!'); },
        [&] { ours.replace(at, count, text.data()), capacity = model.replace(from, count, text).size() + 1; },
        [&] {
            ours.replace(at, count, ours.cStr()), capacity = model.replace(from, count, model).size() + 1;
        },
        [&] { ours = ours.substr(at, count), become(model.substr(from, count)); },
        [&] { ours = ByteString(given, given == nullptr ? 7 : 0), become(""); },
        [&] { ours = ByteString(given), become(text); },
        [&] { ours = ByteString(ours), become(model); },
        [&] { ours = ours + other, become(model + text); },
        [&] { ours = ours + given, become(model + text); },
        [&] { ours = given + ours, become(text + model); },
    };
    for (int i = 0; i < 20000; ++i) {
        text.assign(below(4) != 0 ? below(12) : below(320), ' ');
        for (char& c : text)
            c = "a\vb= \t\n\f\r"[below(9)];
        other = ByteString(text.c_str());
        given = text.empty() ? nullptr : text.c_str();
        at = below(model.size() + 3);
        from = std::min(at, ours.length());
        count = below(4) == 0 ? ByteString::WHOLE : below(40);
        const std::uint32_t step = below(std::size(steps));
        steps[step]();
        capacity = std::max({capacity, model.size(), std::size_t{255}});
        ASSERT_EQ(std::string(ours.cStr(), ours.length() + 1), model + '\0') << "after step " << step;
        ASSERT_EQ(ours.capacity(), capacity) << "after step " << step;
        ASSERT_EQ(ours.at(at), at < model.size() ? model[at] : 0);
        ASSERT_EQ(std::as_const(ours).at(at), ours.at(at));
        ASSERT_EQ(ours.find('=', at), static_cast<std::uint32_t>(model.find('=', at)));
        ASSERT_EQ(ours.find("=a", at), static_cast<std::uint32_t>(model.find("=a", at)));
        ASSERT_EQ(ours.compare(text.c_str()) < 0, model < text);
    }
}

TEST(ByteString, CountsZeroBytesAlong) {
    ByteString string("a\0b=", 4);
    string.append(ByteString(string));
    EXPECT_EQ(string.find('\0', 2), 5U);
    EXPECT_EQ(string.find("="), ByteString::NOT_FOUND);
    EXPECT_EQ(string.find("", 8), ByteString::NOT_FOUND);
    EXPECT_EQ(string.find(nullptr), ByteString::NOT_FOUND);
    string.replace(2, 1, "xy");  // formatted from three texts, with the length of all bytes
    EXPECT_EQ(std::string(string.cStr(), string.length()), std::string("axy=a\0\0\0\0", 9));
    EXPECT_DEATH(ByteString("", ByteString::MAX_LENGTH + 1), "no memory for a string");
}

TEST(ByteString, MeasuresWords) {
    for (int c = 0; c < 256; ++c)
        EXPECT_EQ(isWordBreak(static_cast<char>(c)), std::isalnum(c) == 0 && c != '_') << c;
    for (std::uint32_t i = 0; i < 10; ++i)
        EXPECT_EQ(ByteString("ab_9 \xC4z-").wordLengthAt(i), static_cast<unsigned>("4444111100"[i] - '0'))
            << i;
}

// Every size of a buffer, every length of the text in it and of the text that is put in.
TEST(Bounded, WritesWhatFits) {
    for (unsigned i = 0; i < 6 * 6 * 6; ++i) {
        const std::size_t size = i / 36, used = i / 6 % 6, count = i % 6;
        const std::string old(used, 'o'), text(count, 'a'), start = old + '\0' + std::string(9, 'g');
        const bool fits = count < size, joins = used + 1 < size && used + count < size;
        std::string copied = start, joined = start, printed = start;
        EXPECT_EQ(boundedStrncpy(&copied[0], text.c_str(), size), fits ? &copied[0] : nullptr);
        EXPECT_EQ(boundedStrncat(&joined[0], text.c_str(), size), joins ? &joined[0] : nullptr);
        EXPECT_EQ(boundedSnprintf(&printed[0], size, "%s", text.c_str()), fits ? count : 0);
        EXPECT_TRUE(!fits || copied.substr(0, size) == text + std::string(size - count, '\0'));
        for (const auto& [buffer, wanted] : {std::pair{copied, fits ? text : ""},
                                             {joined, joins ? old + text : ""},
                                             {printed, fits ? text : ""}})
            EXPECT_TRUE((size == 0 || buffer.c_str() == wanted) && buffer.substr(size) == start.substr(size))
                << size << used << count;
    }
}

TEST(StringList, GrowsByAQuarterAndKeepsItsStrings) {
    StringList list(4, 1), other;
    std::string sizes;
    for (std::uint32_t i = 0; i < 60; ++i) {
        EXPECT_EQ(list.add(ByteString(std::to_string(i).c_str())), i + 1);
        if (i % 4 == 0) sizes += std::to_string(list.capacity()) + " ";
    }
    EXPECT_EQ(sizes, "8 8 12 16 20 25 25 31 38 38 47 47 58 58 58 ");
    list.resize(60);
    list.resize(59);
    other.add(ByteString("other"));
    other.clear(true);
    EXPECT_EQ(other.add(ByteString("other")), 1U);
    other = StringList(std::move(list));
    EXPECT_EQ(other.capacity(), 60U);
    for (std::uint32_t i = 0; i < 60; ++i)
        EXPECT_EQ(other.stringAt(i)->cStr(), std::to_string(i));
}

TEST(Tokenizer, CutsAtEverySeparator) {
    for (unsigned number = 0; number < 4 * 4 * 4 * 4 * 4; ++number) {
        std::string text, piece;
        for (unsigned rest = number; rest != 0; rest /= 4)
            text += " a,\t"[rest % 4];
        const StringList list = splitString(text.c_str(), ',');
        std::uint32_t count = 0;
        for (std::istringstream rest(text); std::getline(rest, piece, ','); ++count)
            ASSERT_TRUE(count < list.stringCount() && list.stringAt(count)->cStr() == piece) << text;
        EXPECT_EQ(list.stringCount(), count) << text;
    }
    const StringList list = splitString(" a \t,b", ',');
    EXPECT_STREQ(tokenAt(list, 0).cStr(), "a");
    EXPECT_EQ(tokenAt(list, 2).length() + tokenAt(list, -1).length(), 0U);
    EXPECT_EQ(splitString(nullptr, ',').stringCount(), 0U);
}

}  // namespace ovpatch
