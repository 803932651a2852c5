#include "foundation/byte_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

namespace ovpatch {
namespace {

static_assert(sizeof(ByteString) == sizeof(void*));

std::string contentOf(const ByteString& string) {
    return std::string(string.cStr(), string.length());
}

// What a string promises, told step by step: every change that needs room is a request for n characters.
struct Model {
    std::string content;
    std::uint32_t capacity = 255;

    void request(std::size_t n) { capacity = n < 256 ? 255 : static_cast<std::uint32_t>(n); }
    void assign(const std::string& text) {
        if (capacity < text.size()) request(text.size());
        content = text;
    }
    void append(const std::string& text) {
        if (!(capacity > content.size() + text.size())) request(content.size() + text.size());
        content += text;
    }
    void replace(std::size_t position, std::size_t count, const std::string& text) {
        const std::string before = content.substr(0, position).c_str();
        const std::string behind = content.substr(position + count).c_str();
        const std::size_t newLength = content.size() + text.size() - count;
        request(newLength + 1);
        content = before + text + behind;
        content.resize(newLength, '\0');
    }
    void trim() {
        const char* const blanks = " \t\n\f\r";
        const std::size_t first = content.find_first_not_of(blanks);
        if (first == std::string::npos) return content.clear();
        content = content.substr(first, content.find_last_not_of(blanks) - first + 1);
    }
};

class RandomText {
public:
    explicit RandomText(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t bound) { return engine_() % bound; }
    // Most texts are short, some lead across the 255 characters of the smallest capacity.
    std::string text(bool zeros) {
        const std::string bytes = zeros ? std::string(" \tab_\0Z", 7) : " \tab_Z";
        std::string made(below(4) != 0 ? below(12) : below(320), ' ');
        for (char& c : made)
            c = bytes[below(bytes.size())];
        return made;
    }

private:
    std::mt19937 engine_;
};

void step(RandomText& random, ByteString& string, Model& model) {
    const std::string text = random.text(false);
    const std::string counted = random.text(true);
    const ByteString source(counted.data(), static_cast<std::uint32_t>(counted.size()));
    switch (random.below(10)) {
        case 0:
            string.assign(text.c_str()), model.assign(text);
            break;
        case 1:
            string.assign(source), model.assign(counted);
            break;
        case 2:
            string.append(text.c_str()), model.append(text);
            break;
        case 3:
            string.append(source), model.append(counted);
            break;
        case 4: {
            const int count = static_cast<int>(random.below(40)) - 4;
            string.appendChar(count, 'x');
            if (count > 0) model.append(std::string(static_cast<std::size_t>(count), 'x'));
            break;
        }
        case 5: {
            const std::size_t position = random.below(model.content.size() + 1);
            const std::size_t count = random.below(model.content.size() - position + 1);
            string.replace(static_cast<std::uint32_t>(position), static_cast<std::uint32_t>(count),
                           text.c_str());
            model.replace(position, count, text);
            break;
        }
        case 6:
            string.trimWhitespace(), model.trim();
            break;
        case 7: {
            string = ByteString(string);
            Model copy;
            copy.assign(model.content);
            model = copy;
            break;
        }
        case 8: {
            const std::size_t start = random.below(400);
            const std::size_t count = random.below(400);
            string = string.substr(static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(count));
            Model part;
            part.assign(model.content.substr(std::min(start, model.content.size()), count));
            model = part;
            break;
        }
        default: {
            string = string + source;
            model.request(model.content.size() + counted.size());
            model.content += counted;
        }
    }
}

TEST(ByteString, KeepsContentLengthAndPromisedCapacityThroughAnyOperations) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        RandomText random(seed);
        ByteString string;
        Model model;
        for (int i = 0; i < 200; ++i) {
            step(random, string, model);
            ASSERT_EQ(contentOf(string), model.content) << "seed " << seed << " step " << i;
            ASSERT_EQ(string.cStr()[string.length()], 0);
            ASSERT_EQ(string.capacity(), model.capacity) << "seed " << seed << " step " << i;
        }
    }
}

TEST(ByteString, PromisesCapacity) {
    EXPECT_EQ(ByteString().capacity(), 255u);
    EXPECT_STREQ(ByteString().cStr(), "");
    EXPECT_EQ(ByteString(std::string(255, 'a').c_str()).capacity(), 255u);
    EXPECT_EQ(ByteString(std::string(256, 'a').c_str()).capacity(), 256u);
    ByteString string(std::string(254, 'a').c_str());
    string.appendChar(1, 'b');
    EXPECT_EQ(string.capacity(), 255u);
    string.appendChar(1, 'b');
    EXPECT_EQ(string.capacity(), 256u);
    string.assign(std::string(300, 'c').c_str());
    string.assign("abc");
    EXPECT_EQ(string.capacity(), 300u);
    string.assign("");
    EXPECT_EQ(string.capacity(), 300u);
}

TEST(ByteString, GrowsByteByByteInLinearTime) {
    ByteString string;
    constexpr std::uint32_t count = 8u << 20;
    for (std::uint32_t i = 0; i < count; ++i)
        string.appendChar(1, static_cast<char>('a' + i % 23));
    ASSERT_EQ(string.length(), count);
    for (std::uint32_t i = 0; i < count; i += 4099)
        ASSERT_EQ(string.at(i), static_cast<char>('a' + i % 23));
}

TEST(ByteString, MovesAndTakesItsOwnText) {
    ByteString first("first");
    ByteString second(std::move(first));
    EXPECT_STREQ(second.cStr(), "first");
    first.assign("again");
    EXPECT_STREQ(first.cStr(), "again");
    first.assign(first.cStr() + 2);
    EXPECT_STREQ(first.cStr(), "ain");
    const ByteString& same = first;
    first = same;
    EXPECT_STREQ(first.cStr(), "ain");
    first.replace(1, 1, first.cStr());
    EXPECT_STREQ(first.cStr(), "aainn");
}

TEST(ByteString, ReadsNullAsEmpty) {
    EXPECT_EQ(ByteString(nullptr).length(), 0u);
    EXPECT_EQ(ByteString(nullptr, 7).length(), 0u);
    ByteString string("abc");
    string.append(static_cast<const char*>(nullptr));
    EXPECT_STREQ((string + nullptr).cStr(), "abc");
    EXPECT_STREQ((nullptr + string).cStr(), "abc");
    EXPECT_EQ(string.find(nullptr), ByteString::NOT_FOUND);
    string.assign(static_cast<const char*>(nullptr));
    EXPECT_EQ(string.length(), 0u);
}

TEST(ByteString, IndexesBeyondTheEnd) {
    ByteString string("ab");
    string.at(1) = 'c';
    EXPECT_STREQ(string.cStr(), "ac");
    string.at(2) = 'x';
    EXPECT_EQ(string.at(2), 0);
    EXPECT_EQ(std::as_const(string).at(0xFFFFFFFF), 0);
    EXPECT_STREQ(string.cStr(), "ac");
}

TEST(ByteString, Finds) {
    const ByteString string("a=b=\0c=", 7);
    constexpr std::uint32_t none = ByteString::NOT_FOUND;
    EXPECT_EQ(string.find('='), 1u);
    EXPECT_EQ(string.find('=', 2), 3u);
    EXPECT_EQ(string.find('=', 4), 6u);
    EXPECT_EQ(string.find('=', 7), none);
    EXPECT_EQ(string.find('\0', 5), none);
    EXPECT_EQ(string.find("b="), 2u);
    EXPECT_EQ(string.find("c"), none) << "behind a zero byte";
    EXPECT_EQ(string.find("c", 5), 5u);
    EXPECT_EQ(string.find("", 6), 6u);
    EXPECT_EQ(string.find("", 7), none);
    EXPECT_EQ(string.compare("a=b="), 0);
    EXPECT_LT(string.compare("a=b=\x80"), 0);
}

TEST(ByteString, TakesSubstringsAndReplacesWithinItsEnds) {
    const ByteString string("abcdef");
    EXPECT_STREQ(string.substr(2, 3).cStr(), "cde");
    EXPECT_STREQ(string.substr(4).cStr(), "ef");
    EXPECT_STREQ(string.substr(4, 100).cStr(), "ef");
    EXPECT_STREQ(string.substr(7, 1).cStr(), "");
    EXPECT_STREQ(string.substr(1, 0).cStr(), "");
    const struct {
        std::uint32_t position, count;
        const char *text, *result;
    } cases[] = {{0, 6, "", ""},       {1, 2, "xyz", "axyzdef"}, {6, 0, "g", "abcdefg"},
                 {4, 9, "!", "abcd!"}, {9, 1, "!", "abcdef!"},   {3, ByteString::WHOLE, "", "abc"}};
    for (const auto& each : cases) {
        ByteString changed(string);
        changed.replace(each.position, each.count, each.text);
        EXPECT_STREQ(changed.cStr(), each.result);
        EXPECT_EQ(changed.length(), std::string(each.result).size());
    }
}

TEST(ByteString, MeasuresWords) {
    const ByteString string("ab_9 \xC4z-");
    const std::uint32_t lengths[] = {4, 4, 4, 4, 1, 1, 1, 1, 0, 0};
    for (std::uint32_t i = 0; i < 10; ++i)
        EXPECT_EQ(string.wordLengthAt(i), lengths[i]) << i;
    for (const char c : {'@', '[', '`', '{', '/', ':', '^', '\0'})
        EXPECT_TRUE(isWordBreak(c)) << c;
}

TEST(ByteString, TrimsFiveBytesOnly) {
    const std::pair<const char*, const char*> cases[] = {{" \t\n\f\r", ""},  {" a b\r\n", "a b"},
                                                         {"\va\v", "\va\v"}, {"\x83\x20", "\x83"},
                                                         {"a", "a"},         {"", ""}};
    for (const auto& [text, trimmed] : cases) {
        ByteString string(text);
        string.trimWhitespace();
        EXPECT_STREQ(string.cStr(), trimmed);
    }
}

}  // namespace
}  // namespace ovpatch
