// What an update leaves in the ledgers and in the directories of the backup copies.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

const char* const kLedger = "dst\\OV_Backup\\OvBackup.ini";

TEST(Ledger, OfTwoUpdatesByteForByte) {
    Device device;
    const std::string destination = "Data\\Engine";
    Manifest manifest = newManifest({engine(), {3, 4, {"1234", 1234}, {"1240", 1240}}});
    for (Item& item : manifest.items)
        item.destination = destination;
    device.manifest(manifest);
    device.file("base\\OV_Temp\\2\\31\\eng.dll", "engine 1.6");
    device.file("base\\OV_Temp\\2\\31\\new.dll", "new 1.6");
    device.file("base\\OV_Temp\\3\\4\\pat1.bin", "pattern 1 1240");
    device.file("base\\OV_Temp\\3\\4\\pat2.bin", "pattern 2 1240");
    device.file("Data\\Engine\\eng.dll", "engine 1.5");
    device.file("Data\\Engine\\pat1.bin", "pattern 1 1234");
    device.file("Data\\Engine\\pat2.bin", "pattern 2 1234");
    EXPECT_EQ(device.run().result, "result=0\n");
    const std::string pattern =
        "[item_1]\n"
        "class=3\n"
        "type=4\n"
        "origin.version=1234\n"
        "result.version=1240\n"
        "added.filecount=0\n"
        "written.filecount=2\n"
        "written.0=backup.000, Data\\Engine\\pat1.bin\n"
        "written.1=backup.001, Data\\Engine\\pat2.bin\n";
    const std::string head =
        "[common]\n"
        "itemcount=2\n"
        "patchagent.version=1\n"
        "patchagent=agent\\new.dll\n";
    EXPECT_EQ(device.content("Data\\Engine\\OV_Backup\\OvBackup.ini"),
              head +
                  "[item_0]\n"
                  "class=2\n"
                  "type=1f\n"
                  "origin.version=1.5\n"
                  "result.version=1.6.120\n"
                  "added.filecount=1\n"
                  "added.0=Data\\Engine\\new.dll\n"
                  "written.filecount=1\n"
                  "written.0=backup.000, Data\\Engine\\eng.dll\n" +
                  pattern);

    manifest.items.pop_back();
    manifest.items[0].from = {"1.6.120", 0x00016000, 120};
    manifest.items[0].to = {"1.7", 0x00017000};
    device.manifest(manifest);
    device.file("base\\OV_Temp\\2\\31\\eng.dll", "engine 1.7");
    device.remove("base\\OV_Temp\\2\\31\\new.dll");
    EXPECT_EQ(device.run().result, "result=0\n");
    EXPECT_EQ(device.content("Data\\Engine\\OV_Backup\\OvBackup.ini"),
              head + pattern +
                  "[item_0]\n"
                  "class=2\n"
                  "type=1f\n"
                  "origin.version=1.6.120\n"
                  "result.version=1.7\n"
                  "added.filecount=0\n"
                  "written.filecount=1\n"
                  "written.0=backup.001, Data\\Engine\\eng.dll\n");
    EXPECT_EQ(device.content("Data\\Engine\\OV_Backup\\2\\31\\backup.001"), "engine 1.6");
    EXPECT_FALSE(device.exists("Data\\Engine\\OV_Backup\\2\\31\\backup.000"));
    EXPECT_EQ(device.content("Data\\Engine\\OV_Backup\\3\\4\\backup.001"), "pattern 2 1234");
    EXPECT_EQ(device.content("Data\\Engine\\new.dll"), "new 1.6");
}

// Each update takes the lowest free name, and its merge frees that of the update before.
TEST(Ledger, NamesOfCopiesAreUsedAgain) {
    Device device;
    const Manifest manifest = newManifest({engine()});
    device.lay(manifest);
    device.remove(manifest.items[0].source() + "new0.bin");
    Tree tree = device.tree();
    std::string before = "old0.bin as it was";
    std::vector<std::vector<Stored>> stored = {{}};
    for (const char* name : {"backup.000", "backup.001", "backup.000", "backup.001"}) {
        SCOPED_TRACE(before);
        const std::string now = before + "+";
        device.file(manifest.items[0].source() + "old0.bin", now);
        Story story(manifest);
        story.parses().loads().opens().starts(0).copies(0).file("old0.bin", Fate::Overwritten).ends();
        story.closes().merges(stored).isDone();
        stored = {{{0, 1}}};
        tree.erase("dst\\OV_Backup\\2\\31\\backup.000");
        tree.erase("dst\\OV_Backup\\2\\31\\backup.001");
        put(tree, std::string("dst\\OV_Backup\\2\\31\\") + name, before);
        tree[manifest.items[0].source() + "old0.bin"] = tree["dst\\old0.bin"] = now;
        tree[kLedger] = ledgerHead(manifest, 1) +
                        ledgerRecord(0, manifest.items[0], {}, {std::string(name) + ", dst\\old0.bin"});
        expectOutcome(device.run(), story, 0, tree);
        before = now;
    }
}

// The same item twice in a run: the second finds the first's record and drops its copies.
TEST(Ledger, HoldsOneRecordOfAnItem) {
    Device device;
    const Manifest manifest = oldManifest({engine(), engine()});
    device.manifest(manifest);
    device.file(manifest.items[0].source() + "f.bin", "new");
    device.file("dst\\f.bin", "old");
    Tree tree = device.tree();
    Story story(manifest);
    story.parses().loads().opens();
    for (std::size_t i = 0; i < 2; ++i)
        story.starts(i).copies(i).file("f.bin", Fate::Overwritten).ends();
    tree["dst\\f.bin"] = "new";
    put(tree, "dst\\OV_Backup\\2\\31\\backup.001", "new");
    tree[kLedger] = ledgerHead(manifest, 1) + "transaction=0, 0, \n" +
                    ledgerRecord(0, manifest.items[0], {}, {"backup.001, dst\\f.bin"});
    expectOutcome(device.run(), story.closes().merges().isDone(), 0, tree);
}

// The key lists what the last run of an old agent touched, and stands in the ledger of its first item alone.
TEST(Ledger, TellsTheTransactionOfAnOldAgent) {
    Device device;
    Manifest manifest = oldManifest({product(), engine()});
    manifest.items[1].destination = "dst2";
    device.lay(manifest);
    device.run();
    EXPECT_EQ(device.content(kLedger),
              ledgerHead(manifest, 1) + "transaction=0, 0, \n" + laidRecord(manifest, 0));
    EXPECT_EQ(device.content("dst2\\OV_Backup\\OvBackup.ini").find("transaction"), std::string::npos);

    // A run with a new agent leaves the ledger's head alone; the blank behind the key's value goes with the
    // reading.
    Manifest next = newManifest({pattern()});
    device.lay(next);
    device.remove("dst\\new0.bin");
    device.run();
    std::string head = ledgerHead(manifest, 2) + "transaction=0, 0,\n";
    EXPECT_EQ(device.content(kLedger),
              head + laidRecord(manifest, 0) +
                  ledgerRecord(1, next.items[0], {"dst\\new0.bin"}, {"backup.000, dst\\old0.bin"}));

    next.generation = 0;
    next.agent = kOldAgent;
    device.lay(next);
    device.remove("dst\\new0.bin");
    device.run();
    head = ledgerHead(manifest, 2) + "transaction=1, \n";
    EXPECT_EQ(device.content(kLedger),
              head + laidRecord(manifest, 0) +
                  ledgerRecord(1, next.items[0], {"dst\\new0.bin"}, {"backup.001, dst\\old0.bin"}));
}

// A ledger that cannot be read ends the merge: it stays as it is, later items stay unmerged, the update
// stands.
TEST(Ledger, ThatCannotBeReadEndsTheMerge) {
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
    for (const auto& [text, reason] : ledgers) {
        SCOPED_TRACE(text);
        Device device;
        Manifest manifest = newManifest({engine(), product()});
        manifest.items[1].destination = "dst2";
        device.lay(manifest);
        device.file(kLedger, text);
        Tree tree = device.tree();
        putUpdated(tree, manifest, 0);
        putUpdated(tree, manifest, 1);
        put(tree, "dst2\\OV_Backup\\OvBackup.ini", ledgerHead(manifest, 0));
        const Outcome seen = device.run();
        EXPECT_EQ(seen.result, "result=0\n");
        EXPECT_EQ(ovpatch::scenarios::text(tree), ovpatch::scenarios::text(seen.tree));
        const Lines end = {"E phaseIniForBackup: " + reason, "I phaseIniForBackup: error quit.",
                           "E Merge backup ini faild",       "I updateWithPatchAgent: done.",
                           "I writeResult: start.",          "I writeResult: done."};
        ASSERT_GT(seen.log.size(), end.size());
        EXPECT_EQ(Lines(seen.log.end() - static_cast<std::ptrdiff_t>(end.size()), seen.log.end()), end);
    }
}

// The ledger for the branch without a backup: three items of which each kept a copy.
std::string threeRecords(const Manifest& head, const Lines& which) {
    const Item items[] = {product(), engine(), pattern()};
    std::string text;
    std::size_t n = 0;
    for (const std::string& name : which) {
        const std::size_t k = name == "product" ? 0 : name == "engine" ? 1 : 2;
        text += ledgerRecord(n++, items[k], {"dst\\" + name + ".add"}, {"backup.000, dst\\" + name + ".old"});
    }
    return ledgerHead(head, which.size()) + text;
}

TEST(Ledger, WithoutBackupLosesTheItem) {
    struct Case {
        const char* what;
        bool agentInLedger;
        Lines before, after;  // the items in it; none before: no ledger
    };
    const Case cases[] = {
        {"the middle of three", true, {"product", "engine", "pattern"}, {"product", "pattern"}},
        {"the first", true, {"engine", "pattern"}, {"pattern"}},
        {"the only one", true, {"engine"}, {}},
        {"a ledger without an agent", false, {"pattern", "engine"}, {"pattern"}},
        {"not in the ledger", true, {"product", "pattern"}, {"product", "pattern"}},
        {"no ledger", true, {}, {}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        Device device;
        Manifest manifest = newManifest({engine()});
        manifest.backup = "0";
        device.lay(manifest);
        Manifest head = manifest;
        if (!one.agentInLedger) head.agent = "";
        const bool held = one.before.size() != one.after.size();
        if (!one.before.empty()) {
            std::string text = threeRecords(head, one.before);
            if (held) text.insert(text.find("[item_0]"), "transaction=0, \n");
            device.file(kLedger, text);
            for (const char* directory : {"1\\2", "2\\31", "3\\5"}) {
                device.file(std::string("dst\\OV_Backup\\") + directory + "\\backup.000", "kept");
            }
        }
        Tree tree = device.tree();
        Story story(manifest);
        story.parses().loads().opens().starts(0).copies(0);
        story.file("new0.bin", Fate::Added).file("old0.bin", Fate::Overwritten).ends().closes();
        story.info("mergeBackupIni: start.").info("mergeBackupIni: no need to backup.");
        if (one.before.empty()) {
            story.info("phaseIniForBackup: start.").info("phaseIniForBackup: commom section fetch.");
            story.error("phaseIniForBackup: fetch item count failed.").info("phaseIniForBackup: error quit.");
        } else {
            story.reads(std::vector<Stored>(one.before.size(), {1, 1}), one.agentInLedger);
        }
        story.info("mergeBackupIni: no backup done.").isDone();
        tree["dst\\new0.bin"] = "new0.bin of the update";
        tree["dst\\old0.bin"] = "old0.bin of the update";
        putDirectory(tree, manifest.items[0].backups());
        if (held) {
            tree.erase("dst\\OV_Backup\\2\\31\\backup.000");
            std::string text = threeRecords(head, one.after);
            if (!one.agentInLedger) text.insert(text.find("[item_0]"), "patchagent=\n");
            tree[kLedger] = text;
        }
        expectOutcome(device.run(), story, 0, tree);
    }
}

// A broken ledger is passed over without a backup, and the items behind it are still seen to.
TEST(Ledger, WithoutBackupPassesOverOneThatCannotBeRead) {
    Device device;
    Manifest manifest = newManifest({engine(), product()});
    manifest.items[1].destination = "dst2";
    manifest.backup = "0";
    device.lay(manifest);
    device.file(kLedger, "[common]\nitemcount=1\npatchagent.version=1\n");
    device.file("dst2\\OV_Backup\\OvBackup.ini",
                ledgerHead(manifest, 1) + ledgerRecord(0, product(), {}, {}));
    const Outcome seen = device.run();
    EXPECT_EQ(seen.result, "result=0\n");
    EXPECT_EQ(device.content(kLedger), "[common]\nitemcount=1\npatchagent.version=1\n");
    EXPECT_EQ(device.content("dst2\\OV_Backup\\OvBackup.ini"), ledgerHead(manifest, 0));
    EXPECT_FALSE(device.exists("dst\\OV_Backup\\2\\31\\backup.000"));
    EXPECT_FALSE(device.exists("dst2\\OV_Backup\\1\\2\\backup.000"));
}

// More copies than the ledger's first room, and names beyond one digit.
TEST(Ledger, HoldsManyFiles) {
    Device device;
    const Manifest manifest = newManifest({engine()});
    device.manifest(manifest);
    Lines added, written;
    for (int i = 100; i < 140; ++i) {
        const std::string n = std::to_string(i);
        const std::string suffix = i < 136
                                       ? std::string("00") + "0123456789abcdefghijklmnopqrstuvwxyz"[i - 100]
                                       : std::string("01") + "0123"[i - 136];
        device.file(manifest.items[0].source() + "a" + n, "a");
        device.file(manifest.items[0].source() + "w" + n, "new " + n);
        device.file("dst\\w" + n, "old " + n);
        added.push_back("dst\\a" + n);
        written.push_back("backup." + suffix + ", dst\\w" + n);
    }
    device.run();
    EXPECT_EQ(device.content(kLedger),
              ledgerHead(manifest, 1) + ledgerRecord(0, manifest.items[0], added, written));
    EXPECT_EQ(device.content("dst\\OV_Backup\\2\\31\\backup.00z"), "old 135");
    EXPECT_EQ(device.content("dst\\OV_Backup\\2\\31\\backup.010"), "old 136");
}

}  // namespace
}  // namespace ovpatch::scenarios
