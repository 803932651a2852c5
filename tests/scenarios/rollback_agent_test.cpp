// What a requested rollback asks its agent and makes of the answers.
#include <algorithm>

#include "support/rollback_run.h"

namespace ovpatch::scenarios {
namespace {

Manifest oneItem(int generation) {
    return {generation, {engine()}};
}

std::string checkEntry(int generation) {
    return generation == 0 ? "CheckFile" : "CheckFileEx";
}

// These are told word by word, so that the model is held to something.
TEST(RollbackAgent, OldIsAskedInThisOrder) {
    Device device;
    Manifest manifest = threeClasses(0);
    manifest.items[1].zip = "p.zip";
    install(device, manifest, {1, 0, 0}, {0, 1, 2});
    const Outcome seen =
        rollBack(device, manifest, {"EndPattern * answer 9", "GetEnginePath * rewrite other"});
    const Lines calls = {"GetPatternPath(dst)",
                         "GetEnginePath(dst)",
                         "GetProductPath(dst)",
                         "IsRollback()",
                         "StartPatch(7)",
                         "StartEngine(null)",
                         "CheckFile(dst\\i0\\a0.bin)",
                         "EndEngine(1, 0x15000, 0x16000)",
                         "StartProduct(p.zip)",
                         "CheckFile(dst\\i1\\w0.bin)",
                         "EndProduct(1, 0x31234, 0x40000)",
                         "StartPattern(null)",
                         "CheckFile(dst\\i2\\w0.bin)",
                         "CheckFile(dst\\i2\\w1.bin)",
                         "EndPattern(1, 0x4d20000, 0x4d80000)",
                         "EndPatch(9)"};
    EXPECT_EQ(text(seen.calls), text(calls));
    // The agent's mended path is only told; the files are the ledger's.
    const Tree files = {{"dst\\i1\\w0.bin", "old dst\\i1\\w0.bin"},
                        {"dst\\i2\\w0.bin", "old dst\\i2\\w0.bin"},
                        {"dst\\i2\\w1.bin", "old dst\\i2\\w1.bin"}};
    EXPECT_EQ(text(inPlace(seen.tree)), text(files));
}

TEST(RollbackAgent, NewIsAskedAndToldOfInThisOrder) {
    Device device;
    install(device, oneItem(1), {1}, {1});
    const Outcome seen = rollBack(device, oneItem(1));
    const Lines calls = {"IsRollbackEx()",
                         "StartAction()",
                         "StartItem(null, 2, 31, 2, {0x15000 0 0}, {0x16000 120 0})",
                         "CheckFileEx(dst\\i0\\a0.bin)",
                         "CheckFileEx(dst\\i0\\w0.bin)",
                         "EndItem(1, {0x15000 0 0}, {0x16000 120 0})",
                         "EndAction()"};
    EXPECT_EQ(text(seen.calls), text(calls));
    const Lines told = {"I rollbackItem: item found.",
                        "I PatchAgent CheckFileEx with dst\\i0\\a0.bin",
                        "I rollbackItem: rollback added file done.",
                        "I PatchAgent CheckFileEx with: dst\\i0\\w0.bin",
                        "I PatchAgent EndItem with: TRUE, 86016, 90112",
                        "I PatchAgent EndAction with: void",
                        "I rollbackWithPatchAgent: end action.",
                        "I updateBackupIni: start."};
    EXPECT_NE(std::search(seen.log.begin(), seen.log.end(), told.begin(), told.end()), seen.log.end());
    const Tree left = {{"dst\\", ""},
                       {"dst\\OV_Backup\\", ""},
                       {"dst\\OV_Backup\\2\\", ""},
                       {"dst\\OV_Backup\\2\\31\\", ""},
                       {"dst\\OV_Backup\\OvBackup.ini", Ledger{1, "patchagent=agent\\new.dll\n"}.text()},
                       {"dst\\i0\\", ""},
                       {"dst\\i0\\w0.bin", "old dst\\i0\\w0.bin"}};
    EXPECT_EQ(text(Tree(seen.tree.find("dst\\"), seen.tree.end())), text(left));
}

TEST(RollbackAgent, OpensOrRefusesTheRun) {
    struct Case {
        int generation;
        const char* order;
        int result;
    };
    const Case cases[] = {
        {0, "IsRollback * answer 0", 60},   {0, "IsRollback * answer -5", 0},
        {0, "StartPatch * answer 1", 60},   {0, "StartPatch * answer 2", 3},
        {0, "StartPatch * answer 7", 0},    {0, "EndPatch * answer 0", 0},
        {1, "IsRollbackEx * answer 0", 60}, {1, "IsRollbackEx * answer 2", 0},
        {1, "StartAction * answer 1", 60},  {1, "StartAction * answer 2", 3},
        {1, "StartAction * answer -1", 0},  {7, "IsRollbackEx * answer 0", 12},
        {-1, "IsRollback * answer 0", 12},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::Message() << one.generation << " " << one.order);
        Device device;
        const Manifest manifest = threeClasses(one.generation);
        install(device, manifest, {1, 1, 0}, {1, 0, 1});
        const Tree before = device.tree();
        const Outcome seen = rollBack(device, manifest, {one.order});
        EXPECT_EQ(seen.result, "result=" + std::to_string(one.result) + "\n");
        EXPECT_EQ(inPlace(before) == inPlace(seen.tree), one.result != 0);
    }
    for (const int generation : {0, 1}) {
        Device device;
        EXPECT_EQ(rollBack(device, {generation, {}}).result, "result=5\n");
        // A class that an old agent has no entries for.
        const Manifest manifest{generation, {engine(), {9, 1, {"1", 0x10000}, {"2", 0x20000}}}};
        install(device, manifest, {1, 1}, {1, 1});
        EXPECT_EQ(rollBack(device, manifest).result, generation == 0 ? "result=60\n" : "result=0\n");
    }
}

TEST(RollbackAgent, FailingABracketHasTheItemsBeforePutBack) {
    const char* const names[] = {"Engine", "Product", "Pattern"};
    for (const int generation : {0, 1}) {
        for (const std::string bracket : {"Start", "End"}) {
            for (std::size_t i = 0; i < 3; ++i) {
                const std::string call =
                    generation == 0 ? names[i] + std::string(" #1") : "Item #" + std::to_string(i + 1);
                SCOPED_TRACE(bracket + call);
                Device device;
                const Manifest manifest = threeClasses(generation);
                install(device, manifest, {2, 0, 1}, {2, 1, 0});
                const Tree before = device.tree();
                // What a new agent and an old agent's end answer to the undoing changes nothing.
                const Outcome seen = rollBack(device, manifest,
                                              {bracket + call + " answer 0", "StartItem #4 answer 0",
                                               "EndItem #5 answer 0", "EndEngine #2 answer 0"});
                EXPECT_EQ(seen.result, "result=60\n");
                EXPECT_EQ(text(inPlace(before)), text(inPlace(seen.tree)));
                for (const char* closing : {"EndPatch", "EndAction"})
                    EXPECT_EQ(text(seen.calls).find(closing), std::string::npos);
            }
        }
    }
}

// The item whose start failed has no class yet, and a new agent gets a bracket for it all the same.
TEST(RollbackAgent, NewClosesAFailedStartWithAnEmptyBracket) {
    Device device;
    install(device, oneItem(1), {1}, {1});
    const Lines calls = {"IsRollbackEx()",
                         "StartAction()",
                         "StartItem(null, 2, 31, 2, {0x15000 0 0}, {0x16000 120 0})",
                         "EndItem(0, {0x15000 0 0}, {0x16000 120 0})",
                         "StartItem(, 0, 0, 2, {0x0 0 0}, {0x0 0 0})",
                         "EndItem(1, {0x0 0 0}, {0x0 0 0})"};
    EXPECT_EQ(text(rollBack(device, oneItem(1), {"StartItem #1 answer 0"}).calls), text(calls));
}

// An old agent that refuses to open an undoing and to close it again leaves the rest undone.
TEST(RollbackAgent, OldCanEndTheUndoing) {
    Device device;
    install(device, threeClasses(0), {1, 1, 0}, {1, 1, 0});
    const Lines refusals = {"StartPattern * answer 0", "StartProduct #2 answer 0", "EndProduct #2 answer 0"};
    const Tree files = {{"dst\\i0\\a0.bin", "added"},
                        {"dst\\i0\\w0.bin", "new dst\\i0\\w0.bin"},
                        {"dst\\i1\\w0.bin", "old dst\\i1\\w0.bin"}};
    EXPECT_EQ(text(inPlace(rollBack(device, threeClasses(0), refusals).tree)), text(files));
}

// Each answer at each place of both passes, and what a decision is carried on to. A letter of the fates is a
// file: 'b' back as it was, 's' left alone; a run that is stopped has none.
TEST(RollbackAgent, DecidesAboutEachFile) {
    struct Case {
        std::vector<int> answers;
        std::string fates;
    };
    std::vector<Case> cases = {
        {{0, 7, 1, 7, 0, 7}, "ssbbss"}, {{-2, 7, 7, 7, 1, 1}, "ssssbb"},  {{1, 1, 0, 7, 7, 1}, "bbsssb"},
        {{7, 7, 7, 7, 7, 7}, "bbbbbb"}, {{7, -3, 0, 2, 1, -3}, "bbssbb"}, {{0, 0, 0, 0, 0, 0}, "ssssss"},
        {{0, -2, -2, 7, 7, -2}, ""},    {{-2, 1, 7, 0, -1, 1}, ""},
    };
    for (std::size_t at = 0; at < 6; ++at) {
        for (const int answer : {0, -1, -2}) {
            Case one{std::vector<int>(6, 1), "bbbbbb"};
            one.answers[at] = answer;
            if (answer == 0 || answer == -2) one.fates[at] = 's';
            if (answer == -1 || (answer == -2 && at >= 3)) one.fates = "";
            cases.push_back(one);
        }
    }
    for (const int generation : {0, 1}) {
        for (const Case& one : cases) {
            Lines orders;
            for (const int answer : one.answers) {
                orders.push_back(checkEntry(generation) + " #" + std::to_string(orders.size() + 1) +
                                 " answer " + std::to_string(answer));
            }
            SCOPED_TRACE(text(orders));
            Device device;
            install(device, oneItem(generation), {3}, {3});
            Tree files = inPlace(device.tree());
            const Outcome seen = rollBack(device, oneItem(generation), orders);
            EXPECT_EQ(seen.result, one.fates.empty() ? "result=60\n" : "result=0\n");
            for (std::size_t k = 0; k < one.fates.size(); ++k) {
                const std::string path =
                    (k < 3 ? "dst\\i0\\a" : "dst\\i0\\w") + std::to_string(k % 3) + ".bin";
                if (one.fates[k] == 'b' && k < 3) files.erase(path);
                if (one.fates[k] == 'b' && k >= 3) files[path] = "old " + path;
            }
            EXPECT_EQ(text(files), text(inPlace(seen.tree)));
        }
    }
}

}  // namespace
}  // namespace ovpatch::scenarios
