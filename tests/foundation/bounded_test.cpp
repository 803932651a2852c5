#include "foundation/bounded.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "foundation/patch_session.h"
#include "foundation/pattern_number.h"

namespace ovpatch {
namespace {

// A buffer of `size` bytes between guards; every byte starts as 'g', or the buffer with `text`.
struct Guarded {
    explicit Guarded(const char* text = nullptr) {
        std::memset(bytes, 'g', sizeof bytes);
        if (text != nullptr) std::strcpy(buffer(), text);
    }
    char* buffer() { return bytes + 8; }
    bool isIntact(std::size_t size) const { return guards(bytes) && guards(bytes + 8 + size); }
    static bool guards(const char* at) { return std::string(at, 8) == "gggggggg"; }
    char bytes[32];
};

TEST(Bounded, CopiesWhatFitsAndFillsWithZeros) {
    const struct {
        const char* source;
        std::size_t size;
        bool fits;
    } cases[] = {{"", 1, true},     {"abc", 4, true}, {"abcd", 4, false}, {"abc", 8, true},
                 {"abc", 0, false}, {"", 0, false},   {"a", 1, false}};
    for (const auto& each : cases) {
        Guarded guarded;
        char* const answer = boundedStrncpy(guarded.buffer(), each.source, each.size);
        EXPECT_EQ(answer, each.fits ? guarded.buffer() : nullptr) << each.source << " " << each.size;
        EXPECT_TRUE(guarded.isIntact(each.size));
        std::string expected(each.size, each.fits ? '\0' : 'g');
        if (each.fits) expected.replace(0, std::strlen(each.source), each.source);
        if (!each.fits && each.size > 0) expected[0] = 0;
        EXPECT_EQ(std::string(guarded.buffer(), each.size), expected);
    }
}

TEST(Bounded, AppendsWhatFits) {
    const struct {
        const char *first, *second;
        std::size_t size;
        const char* joined;  // null when it does not fit
    } cases[] = {{"ab", "c", 4, "abc"}, {"ab", "cd", 4, nullptr}, {"abc", "", 4, nullptr},
                 {"ab", "", 4, "ab"},   {"", "", 1, nullptr},     {"", "", 2, ""},
                 {"", "", 0, nullptr}};
    for (const auto& each : cases) {
        Guarded guarded(each.size == 0 ? nullptr : each.first);
        char* const answer = boundedStrncat(guarded.buffer(), each.second, each.size);
        EXPECT_EQ(answer, each.joined == nullptr ? nullptr : guarded.buffer()) << each.first << each.second;
        EXPECT_TRUE(Guarded::guards(guarded.bytes + 8 + each.size));
        if (each.size > 0) {
            EXPECT_STREQ(guarded.buffer(), each.joined == nullptr ? "" : each.joined);
        }
    }
    Guarded unterminated;
    EXPECT_EQ(boundedStrncat(unterminated.buffer(), "", 4), nullptr);
    EXPECT_STREQ(unterminated.buffer(), "");
}

TEST(Bounded, FormatsWhatFits) {
    Guarded guarded;
    EXPECT_EQ(boundedSnprintf(guarded.buffer(), 6, "%s-%d", "ab", 42), 5u);
    EXPECT_STREQ(guarded.buffer(), "ab-42");
    EXPECT_EQ(boundedSnprintf(guarded.buffer(), 6, "%s-%d", "ab", 421), 0u);
    EXPECT_STREQ(guarded.buffer(), "");
    EXPECT_EQ(boundedSnprintf(guarded.buffer(), 6, "%s", ""), 0u);
    EXPECT_TRUE(guarded.isIntact(6));
    EXPECT_EQ(boundedSnprintf(guarded.buffer(), 0, "%d", 1), 0u);
}

TEST(PatternNumber, IsReduced) {
    const std::uint32_t cases[][2] = {{0, 0},        {999, 999},   {1000, 10},
                                      {123456, 234}, {99999, 999}, {100000, 0}};
    for (const auto& [value, reduced] : cases)
        EXPECT_EQ(reducePatternNumber(value), reduced);
}

TEST(PatchSession, StartsEmpty) {
    const PatchSession& session = patchSession();
    EXPECT_STREQ(session.baseDirectory, "");
    EXPECT_STREQ(session.ovLib, "");
    EXPECT_STREQ(session.savLib, "");
    EXPECT_STREQ(session.rstLib, "");
    EXPECT_EQ(session.extractLimit, 0u);
    EXPECT_EQ(&session, &patchSession());
}

}  // namespace
}  // namespace ovpatch
