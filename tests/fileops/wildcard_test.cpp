#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fileops/dir_listing.h"

namespace ovpatch {
namespace {

// The definition that matchWildcard has to equal, which takes exponential time.
bool matchByDefinition(const char* wildcard, const char* name) {
    if (*wildcard == '\0' && *name == '\0') return true;
    if (*wildcard == '*') {
        if (matchByDefinition(wildcard + 1, name)) return true;
        return *name != '\0' && matchByDefinition(wildcard, name + 1);
    }
    if (*wildcard == '?' && *name != '\0') return matchByDefinition(wildcard + 1, name + 1);
    return *wildcard != '\0' && *name != '\0' && equalIgnoreCase(*wildcard, *name) &&
           matchByDefinition(wildcard + 1, name + 1);
}

std::vector<std::string> allTexts(const std::string& alphabet, std::size_t longest) {
    std::vector<std::string> texts{""};
    for (std::size_t at = 0; at < texts.size(); ++at) {
        if (texts[at].size() == longest) continue;
        for (const char c : alphabet)
            texts.push_back(texts[at] + c);
    }
    return texts;
}

TEST(MatchWildcard, EqualsItsDefinitionOnAllShortTexts) {
    const std::vector<std::string> names = allTexts("aB?*", 5);
    for (const std::string& wildcard : allTexts("aAb?*", 4)) {
        for (const std::string& name : names) {
            ASSERT_EQ(matchWildcard(wildcard.c_str(), name.c_str()),
                      matchByDefinition(wildcard.c_str(), name.c_str()))
                << wildcard << " on " << name;
        }
    }
}

TEST(MatchWildcard, TakesNoMoreThanTheProductOfBothLengths) {
    std::string wildcard;
    for (int star = 0; star < 100; ++star)
        wildcard += "*a";
    EXPECT_FALSE(matchWildcard((wildcard + "b").c_str(), std::string(250, 'a').c_str()));
}

TEST(MatchWildcard, FoldsAsciiLettersOnly) {
    EXPECT_TRUE(matchWildcard("*.TXT", "a.txt"));
    EXPECT_FALSE(matchWildcard("\xC4", "\xE4"));
    EXPECT_FALSE(equalIgnoreCase('@', '`'));
    EXPECT_FALSE(equalIgnoreCase('[', '{'));
}

}  // namespace
}  // namespace ovpatch
