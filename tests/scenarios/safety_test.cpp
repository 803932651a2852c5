// What must not be lost when names, ledgers or disks are not as they should be.
#include <sys/resource.h>

#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

// The run of a manifest's text with another action.
Outcome rollBack(Device& device, const Manifest& manifest) {
    std::string text = manifest.text();
    text.replace(text.find("action=0"), 8, "action=1");
    device.manifestText(text);
    return device.run();
}

std::string oldContent(Device& device) {
    return device.content("dst\\old0.bin");
}

// A backup copy vanished after the first update; the second one's copy gets its free name. The merge deletes
// the first record's copies, but not that one.
TEST(Safety, AFreshCopyWithTheNameOfAVanishedOneStays) {
    for (const bool twice : {false, true}) {
        Device device;
        Manifest manifest{1, {engine()}};
        device.lay(manifest);
        device.remove("base\\OV_Temp\\2\\31\\new0.bin");
        device.file("base\\OV_Temp\\2\\31\\old0.bin", "first");
        ASSERT_EQ("result=0\n", device.run().result);
        device.remove("dst\\OV_Backup\\2\\31\\backup.000");
        // With the item twice in a run, the first turn adds the file and the second overwrites it.
        if (twice) {
            manifest.items.push_back(manifest.items[0]);
            device.remove("dst\\old0.bin");
            device.manifest(manifest);
        }
        device.file("base\\OV_Temp\\2\\31\\old0.bin", "second");
        ASSERT_EQ("result=0\n", device.run().result);
        EXPECT_EQ(twice ? "second" : "first", device.content("dst\\OV_Backup\\2\\31\\backup.000"));
        ASSERT_EQ("result=0\n", rollBack(device, {1, {engine()}}).result);
        EXPECT_EQ(twice ? "second" : "first", oldContent(device));
    }
}

// Entries that name no backup copy lead to nothing.
TEST(Safety, ATamperedLedgerDeletesNothing) {
    for (const char* name : {"*", "", ".", "..", "backup.0?0", "x\\"}) {
        SCOPED_TRACE(name);
        Device device;
        const Manifest manifest{1, {engine()}};
        device.lay(manifest);
        ASSERT_EQ("result=0\n", device.run().result);
        std::string ledger = device.content("dst\\OV_Backup\\OvBackup.ini");
        ledger.replace(ledger.find("backup.000, dst\\old0.bin"), 24, std::string(name) + ", dst\\sub");
        device.file("dst\\OV_Backup\\OvBackup.ini", ledger);
        device.directory("dst\\sub");
        device.file("dst\\OV_Backup\\2\\31\\keep.txt", "kept");
        ASSERT_EQ("result=0\n", device.run().result);
        EXPECT_EQ("kept", device.content("dst\\OV_Backup\\2\\31\\keep.txt"));
        EXPECT_EQ("old0.bin as it was", device.content("dst\\OV_Backup\\2\\31\\backup.000"));
        EXPECT_TRUE(device.exists("dst\\OV_Backup\\2\\31\\backup.001"));

        device.file("dst\\OV_Backup\\OvBackup.ini", ledger);
        ASSERT_EQ("result=0\n", rollBack(device, manifest).result);
        EXPECT_FALSE(device.exists("dst\\sub\\keep.txt"));
        EXPECT_EQ("kept", device.content("dst\\OV_Backup\\2\\31\\keep.txt"));
    }
}

class OnAHostOfItsOwn : public testing::Test {
protected:
    void SetUp() override {
        if (throughLauncher()) GTEST_SKIP() << "names and limits of a POSIX host";
    }
};

// The added file is gone; one whose name differs in case only is the user's.
TEST_F(OnAHostOfItsOwn, LeavesNamesOfAnotherCaseAlone) {
    for (const bool stopped : {false, true}) {
        Device device;
        const Manifest manifest{1, {engine()}};
        device.lay(manifest);
        if (stopped) {
            // The agent takes the new file away again before it stops the update.
            device.file("base\\OV_Temp\\2\\31\\zlast.bin", "new");
            device.order("CheckFileEx ~zlast.bin remove dst\\new0.bin");
            device.order("CheckFileEx ~zlast.bin answer -1");
            device.file("dst\\NEW0.BIN", "the user's");
            EXPECT_EQ("result=60\n", device.run().result);
            EXPECT_EQ("the user's", device.content("dst\\NEW0.BIN"));
            continue;
        }
        ASSERT_EQ("result=0\n", device.run().result);
        device.remove("dst\\new0.bin");
        device.file("dst\\NEW0.BIN", "the user's");
        EXPECT_EQ("result=0\n", rollBack(device, manifest).result);
        EXPECT_EQ("the user's", device.content("dst\\NEW0.BIN"));
    }
}

// A ledger's lines are trimmed, so that such a path would come back as another file's.
TEST_F(OnAHostOfItsOwn, RefusesNamesThatALedgerCannotHold) {
    for (const char* name : {"x ", "x\ny", "x\n[item_7]"}) {
        for (const bool isThere : {false, true}) {
            SCOPED_TRACE(name);
            Device device;
            const Manifest manifest{1, {engine()}};
            device.lay(manifest);
            device.file(std::string("base\\OV_Temp\\2\\31\\") + name, "new");
            device.file("dst\\x", "another file");
            if (isThere) device.file(std::string("dst\\") + name, "old");
            const Tree before = device.tree();
            Outcome outcome = device.run();
            EXPECT_EQ("result=16\n", outcome.result);
            EXPECT_NE(std::string::npos, text(outcome.log).find("the ledger cannot hold this path"));
            outcome.tree.erase("dst\\OV_Backup\\");
            outcome.tree.erase("dst\\OV_Backup\\2\\");
            outcome.tree.erase("dst\\OV_Backup\\2\\31\\");
            EXPECT_EQ(text(before), text(outcome.tree));
        }
    }
}

// A disk that takes no more: the file can be neither saved nor replaced, and is not emptied by the undo.
TEST_F(OnAHostOfItsOwn, AFullDiskLeavesTheProductWhole) {
    const std::string large(300000, 'x');
    for (const int generation : {0, 1}) {
        Device device;
        const Manifest manifest{generation, {engine()}};
        device.lay(manifest);
        device.file("base\\OV_Temp\\2\\31\\old0.bin", large + "new");
        device.file("dst\\old0.bin", large + "old");
        rlimit before{};
        ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
        const rlimit full{100000, before.rlim_max};
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &full));
        const Outcome outcome = device.run();
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &before));
        EXPECT_EQ("result=16\n", outcome.result);
        EXPECT_EQ(large + "old", oldContent(device));
        EXPECT_FALSE(device.exists("dst\\new0.bin"));
        EXPECT_FALSE(device.exists("dst\\OV_Backup\\2\\31\\backup.000"));
    }
}

}  // namespace
}  // namespace ovpatch::scenarios
