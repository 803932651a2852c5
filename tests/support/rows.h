// Tables in text, one row a line: `step; step -> outcome`.
#ifndef OVPATCH_TESTS_SUPPORT_ROWS_H
#define OVPATCH_TESTS_SUPPORT_ROWS_H

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/temp_tree.h"

#ifdef _WIN32
inline int (*const failCall)(int) = nullptr;
#else
// Where the program has it (faults.c): the n-th call of the host from now on fails once, none with -1.
// Answers what the last one failed with, 0 if it was not reached.
extern "C" int failCall(int n) __attribute__((weak));
#endif

namespace ovpatch::test {

#ifdef _WIN32
inline constexpr bool ON_WINDOWS = true;
#else
inline constexpr bool ON_WINDOWS = false;
#endif

using Words = std::vector<std::string>;
using State = std::map<std::string, std::string>;

// Both take a regular expression.
Words split(const std::string& text, const char* separator);
std::string replaced(const std::string& text, const char* pattern, const std::string& with);

// What differs: " -gone +new=content changed=content".
std::string change(const State& before, const State& after);

// Plays each of the ` / ` alternatives of every row on a tree of its own, which the steps of the first row
// lay out; a word `a,b` stands for either, and %5C in a word for the byte that this names. What the last step
// answers is to be the outcome; behind a `|` stands that on Windows. Where calls can fail each row is played
// until each call of its steps has.
void play(const std::string& rows, const std::function<std::string(const TempTree&, const Words&)>& step);

// For steps: the first call that fails of each; -1: none, -2: none, and so it stays for this row. And the
// first failure with which a step went on, which the step sets.
inline int firstFault = -1;
inline int outlived = -1;

}  // namespace ovpatch::test

#endif
