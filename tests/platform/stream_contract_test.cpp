// What platform::fopen answers and how its streams behave.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "tests/platform/support/host_traits.h"
#include "tests/platform/support/test_tree.h"

namespace fs = std::filesystem;

namespace ovpatch::test {
namespace {

class StreamContract : public testing::Test {
protected:
    std::FILE* open(const char* name, const char* mode) const {
        return platform::fopen(tree.text(name).c_str(), mode);
    }
    TestTree tree;
};

TEST_F(StreamContract, EveryModeOpensAndWritesAsTheCLibraryTells) {
    const struct {
        const char* mode;
        bool makesFile;      // opens where there is no file
        const char* result;  // of "abc" after X was written; null where nothing can be
    } modes[] = {
        {"r", false, nullptr}, {"rb", false, nullptr}, {"r+", false, "Xbc"}, {"r+b", false, "Xbc"},
        {"w", true, "X"},      {"wb", true, "X"},      {"w+", true, "X"},    {"w+b", true, "X"},
        {"a", true, "abcX"},   {"ab", true, "abcX"},   {"a+", true, "abcX"}, {"a+b", true, "abcX"},
        {"at", true, "abcX"},
    };
    for (const auto& row : modes) {
        SCOPED_TRACE(row.mode);
        fs::remove(tree.host("new"));
        std::FILE* file = open("new", row.mode);
        EXPECT_EQ(file != nullptr, row.makesFile);
        if (file != nullptr)
            EXPECT_EQ(std::fclose(file), 0);
        else
            EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(fs::exists(tree.host("new")), row.makesFile);

        tree.put("file", "abc");
        file = open("file", row.mode);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(std::fputc('X', file) == 'X' && std::fflush(file) == 0, row.result != nullptr);
        std::fclose(file);
        EXPECT_EQ(tree.get("file"), row.result != nullptr ? row.result : "abc");
    }
}

TEST_F(StreamContract, OpeningFailsWithTheDevicesNumbers) {
    tree.put("file", "kept");
    tree.put("locked", "kept");
    tree.setReadOnly("locked", true);
    fs::create_directory(tree.host("dir"));
    const struct {
        const char* name;
        const char* mode;
        DWORD number;
    } refusals[] = {
        {"missing", "rb", 2}, {"missing/x", "rb", 3}, {"missing/x", "wb", 3}, {"missing/x", "at", 3},
        {"file/x", "at", 3},  {"file/x", "w", 3},     {"dir", "rb", 5},       {"dir", "w", 5},
        {"dir", "at", 5},     {"locked", "w", 5},     {"locked", "at", 5},    {"locked", "r+", 5},
        {"fil*", "rb", 123},  {"fil?", "w", 123},     {"file", "x", 87},      {"file", "rx", 87},
        {"file", "", 87},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(std::string(refusal.name) + " in mode " + refusal.mode);
        EXPECT_FAILS(refusal.number, open(refusal.name, refusal.mode));
    }
    EXPECT_FAILS(3, platform::fopen("", "rb"));
    EXPECT_EQ(tree.get("file") + tree.get("locked"), "keptkept");
    EXPECT_EQ(tree.names(), "dir file locked");
}

TEST_F(StreamContract, AReplacedFileAppearsWhenItIsClosedAndAnAppendedOneWhenFlushed) {
    tree.put("file", "old");
    std::FILE* file = open("file", "w");
    ASSERT_NE(file, nullptr);
    const std::string block(100000, 'n');
    EXPECT_EQ(std::fwrite(block.data(), 1, block.size(), file), block.size());
    EXPECT_EQ(std::fflush(file), 0);
    EXPECT_EQ(tree.get("file"), REPLACES_AS_A_WHOLE ? "old" : block);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_EQ(tree.get("file"), block);

    file = open("file", "at");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fprintf(file, "%s", "tail"), 4);
    EXPECT_EQ(std::fflush(file), 0);
    EXPECT_EQ(tree.get("file"), block + "tail");
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_EQ(tree.names(), "file");
}

// One random step on a stream; what it shows of its outcome.
std::string step(std::FILE* file, unsigned operation, unsigned amount) {
    static char buffer[200000];
    const std::size_t size = amount % sizeof buffer;
    switch (operation % 6) {
        case 0: {
            const std::size_t count = std::fread(buffer, 1, size, file);
            return "read " + std::to_string(count) + std::string(buffer, count) +
                   (std::feof(file) != 0 ? "E" : "");
        }
        case 1:
            return "get " + std::to_string(std::fgetc(file));
        case 2:
            std::memset(buffer, static_cast<int>('a' + amount % 26), size);
            return "write " + std::to_string(std::fwrite(buffer, 1, size, file));
        case 3:
            return "put " + std::to_string(std::fputc(static_cast<int>(amount % 256), file));
        case 4:
            return "flush " + std::to_string(std::fflush(file));
        default:
            return "tell " + std::to_string(std::ftell(file));
    }
}

// The streams of the C library itself are the measure, at sizes around those of all buffers involved.
TEST_F(StreamContract, AnySequenceOfReadsWritesAndSeeksGoesAsOnAnOrdinaryStream) {
    std::mt19937 random(20040113);
    for (const char* mode : {"rb", "r+b", "w+b", "a+b"}) {
        std::string content(150001, '\0');
        for (std::size_t i = 0; i < content.size(); ++i)
            content[i] = static_cast<char>(i * 13 + i / 509);
        tree.put("ours", content);
        tree.put("theirs", content);
        std::FILE* ours = open("ours", mode);
        std::FILE* theirs = std::fopen(tree.host("theirs").string().c_str(), mode);
        ASSERT_TRUE(ours != nullptr && theirs != nullptr);
        for (int i = 0; i < 400; ++i) {
            // Every step starts with a seek, which also stands between reading and writing as the C library
            // asks.
            const unsigned end = random() % 4;
            const long offset = static_cast<long>(random() % 170000);
            const int origin = end == 0 ? SEEK_END : SEEK_SET;
            const long target = end == 0 ? -offset / 2 : offset;
            ASSERT_EQ(std::fseek(ours, target, origin), std::fseek(theirs, target, origin)) << mode << i;
            const unsigned operation = static_cast<unsigned>(random());
            const unsigned amount = static_cast<unsigned>(random() % (i % 3 == 0 ? 199999U : 9000U));
            for (int repeat = 0; repeat < 3; ++repeat)
                ASSERT_TRUE(step(ours, operation, amount) == step(theirs, operation, amount))
                    << mode << " step " << i << " operation " << operation % 6;
        }
        EXPECT_EQ(std::fclose(ours), std::fclose(theirs));
        EXPECT_TRUE(tree.get("ours") == tree.get("theirs")) << mode;
    }
}

}  // namespace
}  // namespace ovpatch::test
