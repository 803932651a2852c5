// The operations on random trees, beside the same operations done literally.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

#include "fileops/code_page.h"
#include "fileops/copy.h"
#include "fileops/remove.h"
#include "tests/fileops/call_recorder.h"
#include "tests/fileops/literal_operations.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

using RemoveOperation = std::int32_t (*)(const char*, FileOpCallback, FileOpRecord*);
using CopyOperation = std::int32_t (*)(const char*, const char*, bool, FileOpCallback, FileOpRecord*);

class Dice {
public:
    explicit Dice(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t count) { return engine_() % count; }
    bool oneIn(std::size_t count) { return below(count) == 0; }

    // A name, some with bytes that one of two code pages takes for half a character. No part of a name is
    // another name: the literal way can take a directory for that other one and remove it too.
    std::string name() {
        static const char* const names[] = {"a", "A",     "aB",     "AB",       "ab",
                                            "b", "x\x83", "\x83\\", "\x83\\zz", "\x83\x83\\"};
        return names[below(oneIn(3) ? std::size(names) : 6)];
    }
    std::string part() {
        static const char* const wildcards[] = {"*", "a*", "?", "?b", "*B", "\x83*", "none"};
        return oneIn(4) ? wildcards[below(std::size(wildcards))] : name();
    }
    std::string path() {
        std::string text;
        for (std::size_t left = 1 + below(3); left > 0; --left) {
            text += oneIn(4) ? "/" : "\\";
            if (oneIn(20)) text += "\\";
            text += left == 1 ? part() : name();
        }
        return text + (oneIn(4) ? (oneIn(2) ? "\\" : "/") : "");
    }

private:
    std::mt19937 engine_;
};

// A tree and what a run of an operation on it showed.
struct World {
    test::TempTree tree;
    test::CallRecorder recorder{tree};
    FileOpCallback callback = nullptr;
    FileOpRecord* record = nullptr;

    void layOut(unsigned seed) {
        tree.clear();
        Dice dice(seed);
        for (int count = 0; count < 10; ++count) {
            std::filesystem::path full = tree.root();
            std::error_code ignored;
            for (std::size_t depth = dice.below(3); depth > 0; --depth)
                full /= dice.name();
            std::filesystem::create_directories(full, ignored);
            full /= dice.name();
            if (dice.oneIn(4)) {
                std::filesystem::create_directory(full, ignored);
            } else {
                std::ofstream(full) << count;
            }
        }
        // 0: neither, 1: a record alone, 2 and 3: both, agreeing or moody.
        const std::size_t company = dice.below(4);
        recorder.calls.clear();
        recorder.mood = company == 3 ? seed + 1 : 0;
        record = company > 0 ? &recorder.record : nullptr;
        callback = company > 1 ? test::CallRecorder::callback : nullptr;
        recorder.record = {77, &recorder, nullptr, nullptr, 99, 99};
    }
    std::string shown(std::int32_t answer) const {
        return std::to_string(answer) + " " + std::to_string(recorder.record.operation) + "." +
               std::to_string(recorder.record.phase) + " " + recorder.calls + "| " + tree.all();
    }
    std::string remove(RemoveOperation operation, const std::string& path) {
        return shown(operation(tree.path(path).c_str(), callback, record));
    }
    std::string copy(CopyOperation operation, const std::string& source, const std::string& target,
                     bool overwrite) {
        return shown(
            operation(tree.path(source).c_str(), tree.path(target).c_str(), overwrite, callback, record));
    }
};

// Where two texts begin to differ; empty if they do not. Trees can be copied into themselves and get large.
std::string difference(const std::string& ours, const std::string& literal) {
    if (ours == literal) return "";
    std::size_t at = 0;
    while (at < ours.size() && at < literal.size() && ours[at] == literal[at])
        ++at;
    const std::size_t from = at < 60 ? 0 : at - 60;
    return ours.substr(from, 160) + " instead of " + literal.substr(from, 160);
}

void setSomeCodePage(unsigned seed) {
    setCodePage(seed % 2 == 0 ? 0 : 932);
}

TEST(EqualsTheLiteralWay, Removing) {
    const RemoveOperation operations[][2] = {{unlink, test::literal::unlink},
                                             {removeTree, test::literal::removeTree}};
    World ours;
    World literal;
    for (unsigned seed = 0; seed < 500; ++seed) {
        setSomeCodePage(seed);
        const std::string path = Dice(seed + 1000000).path();
        const auto& [operation, asTold] = operations[seed / 2 % 2];
        ours.layOut(seed);
        literal.layOut(seed);
        ASSERT_EQ(difference(ours.remove(operation, path), literal.remove(asTold, path)), "")
            << seed << " " << path;
    }
    setCodePage(0);
}

TEST(EqualsTheLiteralWay, Copying) {
    const CopyOperation operations[][2] = {{copyFiles, test::literal::copyFiles},
                                           {xcopy, test::literal::xcopy},
                                           {copyOneFile, test::literal::copyOneFile},
                                           {moveFiles, test::literal::moveFiles},
                                           {moveTree, test::literal::moveTree}};
    World ours;
    World literal;
    for (unsigned seed = 0; seed < 800; ++seed) {
        setSomeCodePage(seed);
        Dice dice(seed + 1000000);
        const std::string source = dice.path();
        const std::string target = dice.path();
        const bool overwrite = !dice.oneIn(4);
        const auto& [operation, asTold] = operations[seed / 2 % 5];
        ours.layOut(seed);
        literal.layOut(seed);
        ASSERT_EQ(difference(ours.copy(operation, source, target, overwrite),
                             literal.copy(asTold, source, target, overwrite)),
                  "")
            << seed << " " << source << " to " << target;
    }
    setCodePage(0);
}

std::int32_t unlinkBy(NameIndex& index, World& world, const std::string& path) {
    return unlink(world.tree.path(path).c_str(), world.callback, world.record, &index);
}

TEST(EqualsTheLiteralWay, RemovingManyByOneIndex) {
    World ours;
    World literal;
    for (unsigned seed = 0; seed < 200; ++seed) {
        setSomeCodePage(seed);
        ours.layOut(seed);
        literal.layOut(seed);
        NameIndex index;
        Dice dice(seed + 2000000);
        for (int count = 0; count < 12; ++count) {
            const std::string path = dice.path();
            const std::string full = ours.tree.path(path);
            const bool whole = dice.oneIn(3);
            const std::int32_t answer = whole ? removeTree(full.c_str(), ours.callback, ours.record, &index)
                                              : unlinkBy(index, ours, path);
            const RemoveOperation asTold = whole ? test::literal::removeTree : test::literal::unlink;
            ASSERT_EQ(difference(ours.shown(answer), literal.remove(asTold, path)), "")
                << seed << " " << path;
        }
    }
    setCodePage(0);
}

// The device's own code page is settled once for a process.
TEST(EqualsTheLiteralWay, OnADoubleByteDeviceToo) {
    if (std::getenv("OVPATCH_ANSI_CODE_PAGE") != nullptr) GTEST_SKIP();
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    EXPECT_EQ(std::system(("OVPATCH_ANSI_CODE_PAGE=932 '" + program +
                           "' --gtest_brief=1 --gtest_filter='EqualsTheLiteralWay.*'")
                              .c_str()),
              0);
}

}  // namespace
}  // namespace ovpatch
