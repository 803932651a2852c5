#include "foundation/file_stream.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/temp_tree.h"

namespace ovpatch {

// What the first read yields from a file that holds "old", and what that holds after a write, for each mode.
TEST(FileStream, OpensByItsTableOfModes) {
    std::map<std::uint32_t, std::pair<int, const char*>> known = {
        {0x01, {'o', "old"}}, {0x02, {-1, "N"}},   {0x12, {-1, "N"}},     {0x0A, {-1, "oldN"}},
        {0x03, {'o', "Nld"}}, {0x13, {-1, "N"}},   {0x0B, {'o', "oldN"}}, {0x05, {-1, "old"}},
        {0x06, {-1, "N"}},    {0x16, {-1, "N"}},   {0x0E, {-1, "oldN"}},  {0x07, {-1, "oldN"}},
        {0x17, {-1, "N"}},    {0x0F, {-1, "oldN"}}};
    const test::TempTree tree;
    const std::string path = tree.path("\\file");
    for (std::uint32_t mode = 0; mode < 0x80; ++mode) {
        tree.write("file", "old");
        const int first = InputFileStream(path.c_str(), mode).get();
        tree.write("file", "old");
        OutputFileStream stream(path.c_str(), mode);
        const auto kind = known.find(mode & ~MODE_BINARY);
        EXPECT_EQ(stream.isFail(), kind == known.end()) << mode;
        stream << "N";
        stream.close();
        const auto& expected = kind == known.end() ? std::pair{-1, "old"} : kind->second;
        EXPECT_EQ(first, expected.first) << mode;
        EXPECT_EQ(tree.read("file"), expected.second) << mode;
    }
}

TEST(FileStream, KeepsStateAndBytes) {
    const test::TempTree tree;
    const std::string name = tree.path("\\file");
    const char* const path = name.c_str();
    InputFileStream in(path, 0x21);
    OutputFileStream out(path, 0);
    int got = 0;
    const auto read = [&] { got = in.get(); };
    const auto measure = [&] { got = static_cast<int>(tree.read("file").size()); };
    const std::pair<std::function<void()>, const char*> steps[] = {
        {read, "FB/F -1"},
        {[&] { out << "" << static_cast<const char*>(nullptr) << ByteString(); }, "FB/F -1"},
        {[&] { out.flush(); }, "FB/FB -1"},
        {[&] { out.open(path, 0x2A), out << "\xFF" << ByteString("\0", 1) << endLine; }, "FB/ -1"},
        {measure, "FB/ 3"},
        {[&] { in.open(path, 0x21); }, "/ 3"},
        {read, "/ 255"},
        {[&] { read(), read(); }, "/ 10"},
        {read, "E/ -1"},
        {[&] { in.close(), read(); }, "EB/ -1"},
        {[&] { in.open(path, 1), out.write("abc", 2); }, "/ -1"},
        {[&] { out.write(nullptr, 1), out.flush(), measure(); }, "/B 3"},
        {[&] { out.open(path, 1), measure(); }, "/ 5"},
        {[&] { out.put('x'); }, "/B 5"},
        {[&] { out.open(path, 1), out << "x"; }, "/B 5"},
    };
    const auto stateOf = [](const FileStream& stream) {
        return std::string(stream.isEof() ? "E" : "") + (stream.isFail() ? "F" : "") +
               (stream.isBad() ? "B" : "");
    };
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        steps[i].first();
        EXPECT_EQ(stateOf(in) + "/" + stateOf(out) + " " + std::to_string(got), steps[i].second)
            << "step " << i;
    }
}

}  // namespace ovpatch
