// Updates that succeed.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

Manifest threeClasses(int generation) {
    const std::vector<Item> items = {engine(), product(), pattern()};
    return generation == 0 ? oldManifest(items) : newManifest(items);
}

TEST(Update, PutsTheItemsOfAllClassesInPlaceAndEntersThemInTheLedger) {
    for (const int generation : {0, 1}) {
        SCOPED_TRACE(generation);
        Device device;
        Manifest manifest = threeClasses(generation);
        manifest.items[1].zip = "product files.zip";
        device.lay(manifest);
        device.file(manifest.items[0].source() + "sub\\deep\\c.bin", "c of the update");
        device.file("dst\\sub\\deep\\c.bin", "c as it was");
        device.directory(manifest.items[0].source() + "void");
        Tree tree = device.tree();

        Story story(manifest);
        story.parses().loads().opens();
        for (std::size_t i = 0; i < 3; ++i) {
            const std::string n = std::to_string(i) + ".bin";
            story.starts(i).copies(i).file("new" + n, Fate::Added).file("old" + n, Fate::Overwritten);
            if (i == 0) story.file("sub\\deep\\c.bin", Fate::Overwritten);
            story.ends();
            putUpdated(tree, manifest, i);
        }
        story.closes().merges().isDone();

        put(tree, "dst\\sub\\deep\\c.bin", "c of the update");
        put(tree, "dst\\OV_Backup\\2\\31\\backup.001", "c as it was");
        tree["dst\\void\\"] = "";
        tree["dst\\OV_Backup\\OvBackup.ini"] =
            ledgerHead(manifest, 3) + (generation == 0 ? "transaction=2, 1, 0, \n" : "") +
            ledgerRecord(0, manifest.items[0], {"dst\\new0.bin"},
                         {"backup.000, dst\\old0.bin", "backup.001, dst\\sub\\deep\\c.bin"}) +
            laidRecord(manifest, 1) + laidRecord(manifest, 2);
        expectOutcome(device.run(), story, 0, tree);
    }
}

// The same run told without the helpers, so that they are held to something.
TEST(Update, AsksTheOldAgentInItsOrder) {
    Device device;
    Manifest manifest = threeClasses(0);
    manifest.items[1].zip = "p.zip";
    device.lay(manifest);
    const Lines expected = {"GetPatternPath(dst)",
                            "GetEnginePath(dst)",
                            "GetProductPath(dst)",
                            "IsRollback()",
                            "StartPatch(7)",
                            "StartEngine(null)",
                            "CheckFile(dst\\new0.bin)",
                            "CheckFile(dst\\old0.bin)",
                            "EndEngine(1, 0x15000, 0x16000)",  //
                            "StartProduct(p.zip)",
                            "CheckFile(dst\\new1.bin)",
                            "CheckFile(dst\\old1.bin)",
                            "EndProduct(1, 0x31234, 0x40000)",  //
                            "StartPattern(null)",
                            "CheckFile(dst\\new2.bin)",
                            "CheckFile(dst\\old2.bin)",
                            "EndPattern(1, 0x4d20000, 0x4d80000)",
                            "EndPatch(1)"};
    EXPECT_EQ(text(device.run().calls), text(expected));
}

TEST(Update, AsksTheNewAgentInItsOrder) {
    Device device;
    Manifest manifest = newManifest({engine(), product()});
    manifest.items[1].zip = "p.zip";
    manifest.items[1].force = "1";
    device.lay(manifest);
    const Lines expected = {"StartAction()",
                            "StartItem(null, 2, 31, 0, {0x15000 0 0}, {0x16000 120 0})",
                            "CheckFileEx(dst\\new0.bin)",
                            "CheckFileEx(dst\\old0.bin)",
                            "EndItem(1, {0x15000 0 0}, {0x16000 120 0})",
                            "StartItem(p.zip, 1, 2, 1, {0x31234 0 0}, {0x40000 0 0})",
                            "CheckFileEx(dst\\new1.bin)",
                            "CheckFileEx(dst\\old1.bin)",
                            "EndItem(1, {0x31234 0 0}, {0x40000 0 0})",
                            "EndAction()"};
    EXPECT_EQ(text(device.run().calls), text(expected));
}

TEST(Update, TellsTheAgentOfForceFromTheItemThatAsksForItOn) {
    Device device;
    Manifest manifest = threeClasses(1);
    manifest.items[0].force = "0";
    manifest.items[1].force = "1";
    device.lay(manifest);
    Lines flags;
    for (const std::string& call : device.run().calls) {
        if (call.rfind("StartItem", 0) == 0) flags.push_back(call.substr(0, call.find(", {")));
    }
    EXPECT_EQ(flags,
              (Lines{"StartItem(null, 2, 31, 0", "StartItem(null, 1, 2, 1", "StartItem(null, 3, 5, 1"}));
}

TEST(Update, WithEveryFileSkippedSucceedsAndLeavesRecordsWithoutFiles) {
    for (const int generation : {0, 1}) {
        SCOPED_TRACE(generation);
        Device device;
        const Manifest manifest = threeClasses(generation);
        device.lay(manifest);
        device.order(generation == 0 ? "CheckFile * answer 0" : "CheckFileEx * answer 0");
        Tree tree = device.tree();
        Story story(manifest);
        story.parses().loads().opens();
        std::string ledger = ledgerHead(manifest, 3) + (generation == 0 ? "transaction=2, 1, 0, \n" : "");
        for (std::size_t i = 0; i < 3; ++i) {
            const std::string n = std::to_string(i) + ".bin";
            story.starts(i).copies(i);
            story.file("new" + n, Fate::Added, 0).file("old" + n, Fate::Overwritten, 0).ends();
            ledger += ledgerRecord(i, manifest.items[i], {}, {});
        }
        put(tree, "dst\\OV_Backup\\OvBackup.ini", ledger);
        expectOutcome(device.run(), story.closes().merges().isDone(), 0, tree);
    }
}

// The new generation takes any class; the old one has entries for three.
TEST(Update, OfAnUnknownClassDependsOnTheGeneration) {
    for (const int generation : {0, 1}) {
        SCOPED_TRACE(generation);
        Device device;
        Manifest manifest = generation == 0 ? oldManifest({engine()}) : newManifest({engine()});
        manifest.items[0].itemClass = 9;
        device.lay(manifest);
        Tree tree = device.tree();
        Story story(manifest);
        story.parses().loads().opens();
        if (generation == 0) {
            story.error("startEachItem: unknown class.").error("updateWithPatchAgent: start item failed.");
            story.undoes().quits();
        } else {
            story.starts(0)
                .copies(0)
                .file("new0.bin", Fate::Added)
                .file("old0.bin", Fate::Overwritten)
                .ends();
            story.closes().merges().isDone();
            putUpdated(tree, manifest, 0);
            tree["dst\\OV_Backup\\OvBackup.ini"] = ledgerHead(manifest, 1) + laidRecord(manifest, 0);
        }
        expectOutcome(device.run(), story, generation == 0 ? 60 : 0, tree);
    }
}

// The old agent names one path per class; the ledgers stay with each item's own destination.
TEST(Update, GoesWhereTheOldAgentMendsThePathOfTheClass) {
    Device device;
    Manifest manifest = oldManifest({product(), engine(), product()});
    manifest.items[2].type = 3;
    manifest.items[2].destination = "dst2";
    device.lay(manifest);
    device.order("GetProductPath * rewrite other\\place");
    device.file("other\\place\\old0.bin", "old0.bin elsewhere");
    Tree tree = device.tree();

    Story story(manifest);
    story.mends(1, "other\\place").parses().loads().opens();
    story.starts(0).copies(0).file("new0.bin", Fate::Added).file("old0.bin", Fate::Overwritten).ends();
    story.starts(1).copies(1).file("new1.bin", Fate::Added).file("old1.bin", Fate::Overwritten).ends();
    story.starts(2).copies(2).file("new2.bin", Fate::Added).file("old2.bin", Fate::Added).ends();
    story.closes().merges().isDone();

    put(tree, "other\\place\\new0.bin", "new0.bin of the update");
    put(tree, "other\\place\\old0.bin", "old0.bin of the update");
    put(tree, "dst\\OV_Backup\\1\\2\\backup.000", "old0.bin elsewhere");
    putUpdated(tree, manifest, 1);
    put(tree, "other\\place\\new2.bin", "new2.bin of the update");
    put(tree, "other\\place\\old2.bin", "old2.bin of the update");
    // What was staged below other destinations than the first item's stays.
    put(tree, "dst2\\OVSrc.tmp\\new2.bin", "new2.bin of the update");
    put(tree, "dst2\\OVSrc.tmp\\old2.bin", "old2.bin of the update");
    put(tree, "dst\\OV_Backup\\OvBackup.ini",
        ledgerHead(manifest, 2) + "transaction=0, 1, 0, \n" +
            ledgerRecord(0, manifest.items[0], {"other\\place\\new0.bin"},
                         {"backup.000, other\\place\\old0.bin"}) +
            laidRecord(manifest, 1));
    put(tree, "dst2\\OV_Backup\\OvBackup.ini",
        ledgerHead(manifest, 1) +
            ledgerRecord(0, manifest.items[2], {"other\\place\\new2.bin", "other\\place\\old2.bin"}, {}));
    expectOutcome(device.run(), story, 0, tree);
}

// Small types get their pattern numbers reduced, also while a run is undone; the log never does.
TEST(Update, HandsPatternNumbersToTheOldAgent) {
    Device device;
    Manifest manifest = oldManifest({pattern(), pattern()});
    manifest.items[0].type = 4;
    manifest.items[0].from = manifest.items[1].from = {"1234567", 1234567};
    manifest.items[0].to = {"999", 999};
    device.lay(manifest);
    device.order("EndPattern #2 answer 0");
    const Outcome seen = device.run();

    const Lines ends = {"EndPattern(1, 0x1590000, 0x3e70000)", "EndPattern(1, 0xd6870000, 0x4d80000)",
                        "EndPattern(1, 0x3e70000, 0x1590000)", "EndPattern(1, 0x4d80000, 0xd6870000)"};
    const Lines told = {"I PatchAgent EndPattern with: TRUE, 3599171584, 65470464",
                        "I PatchAgent EndPattern with: TRUE, 3599171584, 81264640",
                        "I PatchAgent EndPattern with: TRUE, 65470464, 3599171584",
                        "I PatchAgent EndPattern with: TRUE, 81264640, 3599171584"};
    const auto only = [](const Lines& lines, const std::string& word) {
        Lines found;
        for (const std::string& line : lines) {
            if (line.find(word) != std::string::npos) found.push_back(line);
        }
        return text(found);
    };
    EXPECT_EQ(only(seen.calls, "EndPattern"), text(ends));
    EXPECT_EQ(only(seen.log, "EndPattern"), text(told));
    EXPECT_EQ(seen.result, "result=60\n");
}

}  // namespace
}  // namespace ovpatch::scenarios
