#include "tests/support/rows.h"

#include <regex>

namespace ovpatch::test {

namespace {

// A text for each choice of one of the words that a comma joins.
Words expand(const std::string& text) {
    std::smatch part;
    if (!std::regex_match(text, part, std::regex("(.* )?([^ ,]*),([^ ;]*)(.*)"))) return {text};
    Words all = expand(part.str(1) + part.str(2) + part.str(4));
    for (const std::string& other : expand(part.str(1) + part.str(3) + part.str(4)))
        all.push_back(other);
    return all;
}

std::string bytes(const std::string& word) {
    std::string text;
    for (std::size_t at = 0; at < word.size(); at += word[at] == '%' ? 3 : 1)
        text +=
            word[at] == '%' ? static_cast<char>(std::stoi(word.substr(at + 1, 2), nullptr, 16)) : word[at];
    return text;
}

bool hasMoreCalls() {
    const bool has = failCall != nullptr && (firstFault == -1 || outlived >= 0);
    firstFault = has ? outlived + 1 : -1;
    outlived = -1;
    return has;
}

}  // namespace

Words split(const std::string& text, const char* separator) {
    const std::regex pattern(separator);
    return {std::sregex_token_iterator(text.begin(), text.end(), pattern, -1), {}};
}

std::string replaced(const std::string& text, const char* pattern, const std::string& with) {
    return std::regex_replace(text, std::regex(pattern), with);
}

std::string change(const State& before, const State& after) {
    std::string text;
    for (const auto& [name, content] : before)
        if (after.count(name) == 0) text += " -" + name;
    for (const auto& entry : after)
        if (before.count(entry.first) == 0 || before.at(entry.first) != entry.second)
            text += (before.count(entry.first) == 0 ? " +" : " ") + entry.first + "=" + entry.second;
    return text;
}

void play(const std::string& rows, const std::function<std::string(const TempTree&, const Words&)>& step) {
    std::string layout;
    for (const std::string& row : split(rows, "\n *")) {
        const Words sides = split(row, " -> ");
        if (sides.size() < 2) layout += row;
        for (const std::string& alternative : split(sides.size() < 2 ? "" : sides[0], " / "))
            for (const std::string& steps : expand(alternative))
                do {
                    const TempTree tree;
                    std::string answer;
                    for (const std::string& text : split(layout + "; " + steps, "; ")) {
                        Words words = split(text, " ");
                        std::transform(words.begin(), words.end(), words.begin(), bytes);
                        answer = step(tree, words);
                    }
                    const Words outcomes = split(sides.back(), " \\| ");
                    const std::string outcome = bytes(ON_WINDOWS ? outcomes.back() : outcomes[0]);
                    EXPECT_EQ(answer, sides.size() == 2 ? outcome : answer) << steps;
                } while (hasMoreCalls());
    }
}

}  // namespace ovpatch::test
