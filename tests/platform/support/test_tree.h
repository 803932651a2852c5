// A directory of the test's own, set up and looked at from the host's side.
#ifndef OVPATCH_TESTS_PLATFORM_SUPPORT_TEST_TREE_H
#define OVPATCH_TESTS_PLATFORM_SUPPORT_TEST_TREE_H

#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace ovpatch::test {

using WideText = std::basic_string<WCHAR>;

// Removed with all it holds at the end. Names are relative to it, with `/`.
class TestTree {
public:
    TestTree();
    ~TestTree();
    TestTree(const TestTree&) = delete;
    TestTree& operator=(const TestTree&) = delete;

    std::filesystem::path host(const std::string& name) const { return root_ / name; }
    // The device path, with `\`.
    std::string text(const std::string& name) const;
    WideText wide(const std::string& name) const;

    void put(const std::string& name, const std::string& content) const;
    void setReadOnly(const std::string& name, bool readOnly) const;
    std::string get(const std::string& name) const;
    // The names in the tree's own directory, joined by blanks in ascending order.
    std::string names() const;

private:
    std::filesystem::path root_;
};

// Each byte as a unit.
WideText widen(const std::string& bytes);

// The answer of `operation` is a failure and leaves `number`.
#define EXPECT_FAILS(number, operation)           \
    do {                                          \
        SetLastError(0);                          \
        EXPECT_FALSE(operation);                  \
        EXPECT_EQ(GetLastError(), DWORD{number}); \
    } while (false)

}  // namespace ovpatch::test

#endif
