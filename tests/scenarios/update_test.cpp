// Updates that succeed, and where they put things.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

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
        Story story(device, manifest);
        story.begins().item(0).item(1).item(2).succeeds().check(0);
    }
}

// What the stories tell of such a run, word by word.
TEST(Update, AsksTheAgentInItsOrder) {
    const std::pair<int, Lines> asked[] = {
        {0,
         {"GetPatternPath(dst)", "GetEnginePath(dst)", "GetProductPath(dst)", "IsRollback()", "StartPatch(7)",
          "StartEngine(null)", "CheckFile(dst\\new0.bin)", "CheckFile(dst\\old0.bin)",
          "EndEngine(1, 0x15000, 0x16000)", "StartProduct(p.zip)", "CheckFile(dst\\new1.bin)",
          "CheckFile(dst\\old1.bin)", "EndProduct(1, 0x31234, 0x40000)", "StartPattern(null)",
          "CheckFile(dst\\new2.bin)", "CheckFile(dst\\old2.bin)", "EndPattern(1, 0x4d20000, 0x4d80000)",
          "EndPatch(1)"}},
        // The second item asks for force, and all behind it get it.
        {1,
         {"StartAction()", "StartItem(null, 2, 31, 0, {0x15000 0 0}, {0x16000 120 0})",
          "CheckFileEx(dst\\new0.bin)", "CheckFileEx(dst\\old0.bin)",
          "EndItem(1, {0x15000 0 0}, {0x16000 120 0})",
          "StartItem(p.zip, 1, 2, 1, {0x31234 0 0}, {0x40000 0 0})", "CheckFileEx(dst\\new1.bin)",
          "CheckFileEx(dst\\old1.bin)", "EndItem(1, {0x31234 0 0}, {0x40000 0 0})",
          "StartItem(null, 3, 5, 1, {0x4d2 0 0}, {0x4d8 0 0})", "CheckFileEx(dst\\new2.bin)",
          "CheckFileEx(dst\\old2.bin)", "EndItem(1, {0x4d2 0 0}, {0x4d8 0 0})", "EndAction()"}},
    };
    for (const auto& [generation, calls] : asked) {
        SCOPED_TRACE(generation);
        Device device;
        Manifest manifest = threeClasses(generation);
        manifest.items[0].force = "0";
        manifest.items[1].force = "1";
        manifest.items[1].zip = "p.zip";
        device.lay(manifest);
        Story story(device, manifest);
        story.begins().item(0).item(1).item(2).succeeds();
        EXPECT_EQ(text(calls), text(story.calls));
        story.check(0);
    }
}

// The new generation takes any class; the old one has entries for three.
TEST(Update, OfAnUnknownClassDependsOnTheGeneration) {
    Manifest manifest{1, {engine()}};
    manifest.items[0].itemClass = 9;
    Device newer;
    newer.lay(manifest);
    Story(newer, manifest).begins().item(0).succeeds().check(0);

    const Manifest other{0, manifest.items};
    Device older;
    older.lay(other);
    Story story(older, other);
    story.begins().error("startEachItem: unknown class.").error("updateWithPatchAgent: start item failed.");
    story.undoes().quits().check(60);
}

// The old agent names one path per class; ledgers, copies and staged files stay with each item's own
// destination.
TEST(Update, GoesWhereTheOldAgentMendsThePathOfTheClass) {
    Device device;
    Manifest manifest{0, {product(), engine(), product()}};
    manifest.items[2].type = 3;
    manifest.items[2].destination = "dst2";
    device.lay(manifest);
    device.order("GetProductPath * rewrite other\\place");
    device.file("other\\place\\old0.bin", "old0.bin elsewhere");
    Story story(device, manifest);
    story.classPaths[1] = "other\\place";
    story.begins().item(0).item(1).item(2).succeeds();
    EXPECT_EQ(story.tree.at("dst\\OV_Backup\\1\\2\\backup.000"), "old0.bin elsewhere");
    EXPECT_EQ(story.tree.at("dst2\\OVSrc.tmp\\old2.bin"), "old2.bin of the update");
    EXPECT_EQ(story.tree.at("dst2\\old2.bin"), "old2.bin as it was");
    story.check(0);
}

// Without a mended path too, the first item's destination takes the files of its class.
TEST(Update, OfTwoItemsOfAClassGoesToTheFirstOnesDestination) {
    Device device;
    Manifest manifest{0, {product(), product()}};
    manifest.items[1].type = 3;
    manifest.items[1].destination = "dst2";
    device.lay(manifest);
    Story story(device, manifest);
    story.begins().item(0).item(1).succeeds().check(0);
}

// Small types get their pattern numbers reduced, also while a run is undone; the log never does.
TEST(Update, HandsPatternNumbersToTheOldAgent) {
    Device device;
    Manifest manifest{0, {pattern(), pattern()}};
    manifest.items[0].type = 4;
    manifest.items[0].from = manifest.items[1].from = {"1234567", 1234567};
    manifest.items[0].to = {"999", 999};
    device.lay(manifest);
    device.order("EndPattern #2 answer 0");
    Story story(device, manifest);
    story.begins().item(0).starts(1).copies().ends(0).undoes().quits();
    Lines numbers;
    for (const std::string& line : story.calls) {
        if (line.rfind("EndPattern", 0) == 0) numbers.push_back(line.substr(14));
    }
    EXPECT_EQ(numbers, (Lines{"0x1590000, 0x3e70000)", "0xd6870000, 0x4d80000)", "0x3e70000, 0x1590000)",
                              "0x4d80000, 0xd6870000)"}));
    EXPECT_NE(text(story.log).find("I PatchAgent EndPattern with: TRUE, 3599171584, 65470464\n"),
              std::string::npos);
    story.check(60);
}

}  // namespace
}  // namespace ovpatch::scenarios
