#include "foundation/string_list.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "foundation/tokenizer.h"

namespace ovpatch {
namespace {

std::vector<std::string> textsOf(const StringList& list) {
    std::vector<std::string> texts;
    for (std::uint32_t i = 0; i < list.stringCount(); ++i)
        texts.emplace_back(list.stringAt(i)->cStr());
    return texts;
}

TEST(StringList, GrowsByAQuarterAndKeepsItsStrings) {
    StringList list(16, 1);
    EXPECT_EQ(list.capacity(), 16u);
    std::vector<std::uint32_t> sizes;
    for (std::uint32_t i = 0; i < 200; ++i) {
        EXPECT_EQ(list.add(ByteString(std::to_string(i).c_str())), i + 1);
        if (sizes.empty() || sizes.back() != list.capacity()) sizes.push_back(list.capacity());
    }
    EXPECT_EQ(sizes, (std::vector<std::uint32_t>{20, 25, 31, 38, 47, 58, 72, 90, 112, 140, 175, 218}));
    for (std::uint32_t i = 0; i < 200; ++i)
        EXPECT_STREQ(list.stringAt(i)->cStr(), std::to_string(i).c_str());
}

TEST(StringList, ClearsWithAndWithoutItsStrings) {
    StringList list;
    list.clear(true);
    list.add(ByteString("kept"));
    ByteString* const kept = list.stringAt(0);
    list.clear(false);
    EXPECT_EQ(list.stringCount(), 0u);
    EXPECT_EQ(list.capacity(), 20u);
    EXPECT_EQ(list.add(ByteString("new")), 1u);
    EXPECT_EQ(list.capacity(), 25u);
    EXPECT_STREQ(kept->cStr(), "kept");
    delete kept;
    list.clear(true);
    EXPECT_EQ(list.stringCount(), 0u);
}

TEST(StringList, ResizesAndMoves) {
    StringList list;
    list.resize(0);
    EXPECT_EQ(list.capacity(), 0u);
    list.resize(20);
    for (const char* text : {"a", "b", "c"})
        list.add(ByteString(text));
    list.resize(2);
    EXPECT_EQ(list.capacity(), 20u) << "three strings do not fit in two slots";
    list.resize(3);
    EXPECT_EQ(list.capacity(), 3u);
    list.add(ByteString("d"));
    EXPECT_EQ(list.capacity(), 7u);
    StringList moved(std::move(list));
    EXPECT_EQ(textsOf(moved), (std::vector<std::string>{"a", "b", "c", "d"}));
    StringList assigned;
    assigned.add(ByteString("x"));
    assigned = std::move(moved);
    EXPECT_EQ(assigned.stringCount(), 4u);
}

TEST(Tokenizer, CutsAtEverySeparator) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"a,b,c", {"a", "b", "c"}},
        {"a,,c", {"a", "", "c"}},
        {",a", {"", "a"}},
        {"a,", {"a"}},
        {",", {""}},
        {",,", {"", ""}},
        {"", {}},
        {nullptr, {}},
        {" a , \"b,c\"", {" a ", " \"b", "c\""}},
    };
    for (const auto& [text, pieces] : cases)
        EXPECT_EQ(textsOf(splitString(text, ',')), pieces) << pieces.size();
}

TEST(Tokenizer, TrimsATokenButNotTheList) {
    const StringList list = splitString(" a \t,b", ',');
    const std::pair<std::int32_t, const char*> cases[] = {{0, "a"}, {1, "b"}, {2, ""}, {-1, ""}};
    for (const auto& [index, token] : cases)
        EXPECT_STREQ(tokenAt(list, index).cStr(), token) << index;
    EXPECT_STREQ(list.stringAt(0)->cStr(), " a \t");
}

}  // namespace
}  // namespace ovpatch
