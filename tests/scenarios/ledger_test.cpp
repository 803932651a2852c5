// What an update leaves in the ledgers and in the directories of the backup copies.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

const char* const kLedger = "dst\\OV_Backup\\OvBackup.ini";

TEST(LedgerFile, OfTwoUpdatesByteForByte) {
    const std::string head = R"([common]
itemcount=2
patchagent.version=1
patchagent=agent\new.dll
)";
    const std::string pattern = R"([item_1]
class=3
type=4
origin.version=1234
result.version=1240
added.filecount=0
written.filecount=2
written.0=backup.000, Data\Engine\pat1.bin
written.1=backup.001, Data\Engine\pat2.bin
)";
    Device device;
    Manifest manifest{1, {engine(), {3, 4, {"1234", 1234}, {"1240", 1240}}}};
    for (Item& item : manifest.items)
        item.destination = "Data\\Engine";
    device.manifest(manifest);
    for (const char* name : {"2\\31\\eng.dll", "2\\31\\new.dll", "3\\4\\pat1.bin", "3\\4\\pat2.bin"}) {
        device.file(std::string("base\\OV_Temp\\") + name, std::string(name) + ", first update");
    }
    for (const char* name : {"eng.dll", "pat1.bin", "pat2.bin"})
        device.file(std::string("Data\\Engine\\") + name, "old");
    Story first(device, manifest);
    first.begins().item(0).item(1).succeeds().check(0);
    EXPECT_EQ(device.content("Data\\Engine\\OV_Backup\\OvBackup.ini"), head + R"([item_0]
class=2
type=1f
origin.version=1.5
result.version=1.6.120
added.filecount=1
added.0=Data\Engine\new.dll
written.filecount=1
written.0=backup.000, Data\Engine\eng.dll
)" + pattern);

    manifest.items.pop_back();
    manifest.items[0].from = {"1.6.120", 0x00016000, 120};
    manifest.items[0].to = {"1.7", 0x00017000};
    device.manifest(manifest);
    device.file("base\\OV_Temp\\2\\31\\eng.dll", "second update");
    device.remove("base\\OV_Temp\\2\\31\\new.dll");
    Story second(device, manifest);
    second.ledgers = first.ledgers;
    second.begins().item(0).succeeds().check(0);
    EXPECT_EQ(device.content("Data\\Engine\\OV_Backup\\OvBackup.ini"), head + pattern + R"([item_0]
class=2
type=1f
origin.version=1.6.120
result.version=1.7
added.filecount=0
written.filecount=1
written.0=backup.001, Data\Engine\eng.dll
)");
    EXPECT_EQ(device.content("Data\\Engine\\OV_Backup\\2\\31\\backup.001"), "2\\31\\eng.dll, first update");
    EXPECT_FALSE(device.exists("Data\\Engine\\OV_Backup\\2\\31\\backup.000"));
}

// Each update takes the lowest free name, and its merge frees that of the update before.
TEST(LedgerFile, NamesOfCopiesAreUsedAgain) {
    Device device;
    const Manifest manifest{1, {engine()}};
    device.lay(manifest);
    device.remove(manifest.items[0].source() + "new0.bin");
    std::map<std::string, Ledger> ledgers;
    for (const char* name : {"backup.000", "backup.001", "backup.000", "backup.001"}) {
        const std::string before = device.content("dst\\old0.bin");
        device.file(manifest.items[0].source() + "old0.bin", before + "+");
        Story story(device, manifest);
        story.ledgers = ledgers;
        story.begins().item(0).succeeds().check(0);
        ledgers = story.ledgers;
        EXPECT_EQ(device.content(manifest.items[0].backups() + name), before);
    }
}

// The same item twice in a run: the second finds the first's record and drops its copies.
TEST(LedgerFile, HoldsOneRecordOfAnItem) {
    for (const int generation : {0, 1}) {
        Device device;
        const Manifest manifest{generation, {engine(), engine()}};
        device.manifest(manifest);
        device.file(manifest.items[0].source() + "f.bin", "new");
        device.file("dst\\f.bin", "old");
        Story story(device, manifest);
        story.begins().item(0).item(1).succeeds();
        EXPECT_EQ(story.ledgers["dst"].records.size(), 1u);
        EXPECT_EQ(story.ledgers["dst"].transactionLine, generation == 0 ? "transaction=0, 0, \n" : "");
        story.check(0);
    }
}

// The key lists what the last run of an old agent touched, the last item first, and stands in the ledger of
// its first item alone. A run with a new agent leaves the head as it is, but the blank behind the value goes
// with the reading.
TEST(LedgerFile, TellsTheTransactionOfAnOldAgent) {
    Device device;
    Manifest manifest{0, {product(), pattern(), engine()}};
    manifest.items[2].destination = "dst2";
    std::map<std::string, Ledger> ledgers;
    const auto run = [&](const Manifest& what, const std::string& transaction) {
        device.lay(what);
        Story story(device, what);
        story.ledgers = ledgers;
        story.begins();
        for (std::size_t i = 0; i < what.items.size(); ++i)
            story.item(i);
        story.succeeds().check(0);
        ledgers = story.ledgers;
        EXPECT_EQ(ledgers["dst"].transactionLine, "transaction=" + transaction + "\n");
    };
    run(manifest, "0, 1, 0, ");
    run({1, {pattern()}}, "0, 1, 0,");
    run({0, {pattern()}}, "1, ");
}

// A ledger that cannot be read ends the merge: it stays as it is, later items stay unmerged, the update
// stands.
TEST(LedgerFile, ThatCannotBeReadEndsTheMerge) {
    const std::string head = "[common]\nitemcount=1\npatchagent.version=1\n";
    const std::string item = "[item_0]\nclass=2\ntype=1f\norigin.version=1\nresult.version=2\n";
    const std::pair<std::string, std::string> ledgers[] = {
        {"", "fetch item count failed."},
        {"\x01\xff no ledger\n[[common\n=", "fetch item count failed."},
        {"[common]\npatchagent.version=1\n", "fetch item count failed."},
        {"[common]\nitemcount=0\n", "fetch patch agent version failed."},
        {head, "fetch class failed."},
        {head + "[item_0]\nclass=2\n", "fetch type failed."},
        {head + "[item_0]\nclass=2\ntype=1f\n", "fetch origin version failed."},
        {head + "[item_0]\nclass=2\ntype=1f\norigin.version=1\n", "fetch result version failed."},
        {head + item + "added.filecount=2\nadded.0=x\n", "fetch added file name failed."},
        {head + item + "written.filecount=2\nwritten.0=x\n", "fetch written file name failed."},
    };
    for (const auto& [ledger, reason] : ledgers) {
        SCOPED_TRACE(ledger);
        Device device;
        Manifest manifest{1, {engine(), product()}};
        manifest.items[1].destination = "dst2";
        device.lay(manifest);
        device.file(kLedger, ledger);
        Story story(device, manifest);
        story.begins().item(0).item(1);
        put(story.tree, "dst2\\OV_Backup\\OvBackup.ini", Ledger{1, "patchagent=agent\\new.dll\n"}.text());
        const Outcome seen = device.run();
        EXPECT_EQ(seen.result, "result=0\n");
        EXPECT_EQ(text(story.tree), text(seen.tree));
        const Lines end = {"E phaseIniForBackup: " + reason, "I phaseIniForBackup: error quit.",
                           "E Merge backup ini faild",       "I updateWithPatchAgent: done.",
                           "I writeResult: start.",          "I writeResult: done."};
        ASSERT_GT(seen.log.size(), end.size());
        EXPECT_EQ(Lines(seen.log.end() - 6, seen.log.end()), end);
    }
}

TEST(LedgerFile, WithoutBackupLosesTheItem) {
    const std::string agentLine = "patchagent=agent\\new.dll\n";
    struct Case {
        const char* what;
        std::string agentLine;
        std::vector<std::pair<std::size_t, Item>> before;  // the records, by number; none: no ledger
        std::size_t after;
    };
    const Case cases[] = {
        {"the middle of three", agentLine, {{0, product()}, {1, engine()}, {2, pattern()}}, 2},
        {"the first, which stands last", agentLine, {{2, pattern()}, {1, product()}, {0, engine()}}, 2},
        {"the only one", agentLine, {{0, engine()}}, 0},
        {"a ledger without an agent", "", {{0, pattern()}, {1, engine()}}, 1},
        {"not in the ledger", agentLine, {{0, product()}, {1, pattern()}}, 2},
        {"no ledger", "", {}, 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        Device device;
        Manifest manifest{1, {engine()}};
        manifest.backup = "0";
        device.lay(manifest);
        std::map<std::string, Ledger> ledgers;
        for (const auto& [number, item] : one.before) {
            ledgers["dst"].records.push_back({number, {item, {"dst\\add"}, {"backup.000, dst\\old"}}});
            device.file(item.backups() + "backup.000", "kept");
        }
        if (!one.before.empty()) {
            ledgers["dst"].agentLine = one.agentLine;
            ledgers["dst"].transactionLine = "transaction=0, \n";
            device.file(kLedger, ledgers["dst"].text());
        }
        Story story(device, manifest);
        story.ledgers = ledgers;
        story.begins().item(0).succeeds();
        if (!one.before.empty()) {
            EXPECT_EQ(story.ledgers["dst"].records.size(), one.after);
        }
        story.check(0);
    }
}

// A broken ledger is passed over without a backup, and the items behind it are still seen to.
TEST(LedgerFile, WithoutBackupPassesOverOneThatCannotBeRead) {
    Device device;
    Manifest manifest{1, {engine(), product()}};
    manifest.items[1].destination = "dst2";
    manifest.backup = "0";
    device.lay(manifest);
    const std::string broken = "[common]\nitemcount=1\npatchagent.version=1\n";
    device.file(kLedger, broken);
    device.file("dst2\\OV_Backup\\OvBackup.ini", Ledger{1, "patchagent=x\n", "", {{0, {product()}}}}.text());
    EXPECT_EQ(device.run().result, "result=0\n");
    EXPECT_EQ(device.content(kLedger), broken);
    EXPECT_EQ(device.content("dst2\\OV_Backup\\OvBackup.ini"), (Ledger{1, "patchagent=x\n"}.text()));
    EXPECT_FALSE(device.exists("dst\\OV_Backup\\2\\31\\backup.000"));
    EXPECT_FALSE(device.exists("dst2\\OV_Backup\\1\\2\\backup.000"));
}

}  // namespace
}  // namespace ovpatch::scenarios
