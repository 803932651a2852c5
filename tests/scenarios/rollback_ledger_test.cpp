// What a requested rollback makes of the ledgers, and which of them it cannot work from.
#include "support/rollback_run.h"

namespace ovpatch::scenarios {
namespace {

const char* const kLedger = "dst\\OV_Backup\\OvBackup.ini";
const char* const kAgentLine = "patchagent=agent\\new.dll\n";

// The second of two items has a ledger of its own, from which nothing can be done.
TEST(RollbackLedger, ThatDoesNotServeHasTheItemsBeforePutBack) {
    const std::string head = "[common]\nitemcount=1\npatchagent.version=1\n";
    const std::string item = "[item_0]\nclass=1\ntype=2\norigin.version=1\nresult.version=2\n";
    const std::string others =
        "[item_0]\nclass=1\ntype=20\norigin.version=1\nresult.version=2\n"
        "[item_1]\nclass=2\ntype=2\norigin.version=1\nresult.version=2\n";
    const std::string ledgers[] = {
        "(none)",
        "",
        "\x01\xff no ledger\n[[common\n=\n[common\nitemcount=1",
        "[common]\npatchagent.version=1\n",
        "[common]\nitemcount=0\n",
        "[common]\nitemcount=0\npatchagent.version=1\npatchagent=\n",
        "[common]\nitemcount=-1\npatchagent.version=1\n" + item,
        "[common]\nitemcount=2\npatchagent.version=1\n" + item,
        "[common]\nitemcount=2\npatchagent.version=1\n" + others,
        head,
        head + "[item_0]\ntype=2\n",
        head + "[item_0]\nclass=1\n",
        head + "[item_0]\nclass=1\ntype=2\n",
        head + "[item_0]\nclass=1\ntype=2\norigin.version=1\n",
        head + item + "added.filecount=2\nadded.0=dst2\\i1\\a0.bin\n",
        head + item + "added.filecount=-1\nadded.0=dst2\\i1\\a0.bin\n",
        head + item + "written.filecount=1\nwritten.1=backup.000, dst2\\i1\\w0.bin\n",
        head + item + "written.filecount=-2\nwritten.0=backup.000, dst2\\i1\\w0.bin\n",
    };
    for (const std::string& ledger : ledgers) {
        for (const int generation : {0, 1}) {
            SCOPED_TRACE(ledger);
            Device device;
            Manifest manifest{generation, {engine(), product()}};
            manifest.items[1].destination = "dst2";
            install(device, manifest, {2, 1}, {2, 1});
            device.remove("dst2\\OV_Backup\\OvBackup.ini");
            if (ledger != "(none)") device.file("dst2\\OV_Backup\\OvBackup.ini", ledger);
            const Tree before = device.tree();
            const Outcome seen = rollBack(device, manifest);
            EXPECT_EQ(seen.result, "result=16\n");
            EXPECT_EQ(text(inPlace(before)), text(inPlace(seen.tree)));
        }
    }
}

// Takes each item out of a ledger of three whose sections stand out of order, and then the others together.
TEST(RollbackLedger, LosesTheItemAndNumbersTheOthersAnew) {
    const Item items[] = {engine(), product(), pattern()};
    for (const std::string agentLine : {"patchagent=some.dll\n", "patchagent=\n", ""}) {
        for (std::size_t which = 0; which < 3; ++which) {
            SCOPED_TRACE(agentLine + std::to_string(which));
            Device device;
            Ledger ledger{0, agentLine, "transaction=2, 1, 0,\n"}, after{0, agentLine};
            for (const std::size_t n : {2u, 0u, 1u}) {
                const std::string path = "dst\\" + std::to_string(n);
                const Record record{items[n], {path + ".add"}, {"backup.005, " + path + ".old"}};
                ledger.records.emplace_back(n, record);
                for (const char* end : {".add", ".old"})
                    device.file(path + end, "new");
                device.file(items[n].backups() + "backup.005", "old");
            }
            device.file(kLedger, "; by hand\n" + ledger.text() + "[other]\nkey=1\n");
            EXPECT_EQ(rollBack(device, {1, {items[which]}}).result, "result=0\n");
            for (std::size_t n = 0; n < 3; ++n) {
                const std::string path = "dst\\" + std::to_string(n);
                EXPECT_EQ(device.content(path + ".old"), n == which ? "old" : "new");
                if (n == which) continue;
                const Record kept{items[n], {path + ".add"}, {"backup.005, " + path + ".old"}};
                after.records.emplace_back(after.records.size(), kept);
            }
            EXPECT_EQ(device.content(kLedger), after.text());
            EXPECT_EQ(rollBack(device, {0, {items[which]}}).result, "result=16\n");
            EXPECT_EQ(rollBack(device, {1, {items[(which + 2) % 3], items[(which + 1) % 3]}}).result,
                      "result=0\n");
            EXPECT_EQ(device.content(kLedger), (Ledger{0, agentLine}.text()));
        }
    }
}

TEST(RollbackLedger, IsUsedAgainWhenItHasNoItems) {
    Device device;
    install(device, {1, {engine()}}, {1}, {1});
    rollBack(device, {1, {engine()}});
    EXPECT_EQ(device.content(kLedger), (Ledger{1, kAgentLine}.text()));
    device.manifest({0, {pattern()}});
    device.file(pattern().source() + "p.bin", "pattern");
    EXPECT_EQ(device.run().result, "result=0\n");
    const Record record{pattern(), {"dst\\p.bin"}};
    EXPECT_EQ(device.content(kLedger), (Ledger{1, kAgentLine, "transaction=0, \n", {{0, record}}}.text()));
    EXPECT_EQ(rollBack(device, {1, {pattern()}}).result, "result=0\n");
    EXPECT_FALSE(device.exists("dst\\p.bin"));
}

// Whatever hand wrote it, it comes out in the writer's form.
TEST(RollbackLedger, IsWrittenInItsOwnForm) {
    Device device;
    device.file(kLedger,
                "[common]\n itemcount = 2\r\npatchagent.version=01\ntransaction=1, 0, \n[item_1]\nclass=01\n"
                "type=0x0A\norigin.version=1.2-345\nresult.version=12.30.7.9\nwritten.filecount=1\n"
                "written.0=backup.000,dst\\x\nwritten.1=backup.001, dst\\y\n[item_0]\nclass=2\ntype=1F\n"
                "origin.version=1\nresult.version=2\n");
    order(device, {1, {engine()}});
    EXPECT_EQ(device.run().result, "result=0\n");
    EXPECT_EQ(
        device.content(kLedger),
        "[common]\nitemcount=1\npatchagent.version=1\n[item_0]\nclass=1\ntype=a\norigin.version=1.2.345\n"
        "result.version=12.3.7\nadded.filecount=0\nwritten.filecount=1\nwritten.0=backup.000,dst\\x\n");
}

// Of two records of one item the first is the item's, until it is gone.
TEST(RollbackLedger, WithTwoRecordsOfAnItemGivesThemOneAfterTheOther) {
    Device device;
    Ledger ledger{1, kAgentLine};
    ledger.records = {{0, {engine(), {}, {"backup.000, dst\\f"}}},
                      {1, {engine(), {"dst\\g"}, {"backup.001, dst\\f"}}}};
    device.file(kLedger, ledger.text());
    for (const char* path : {"dst\\f", "dst\\g"})
        device.file(path, "2");
    device.file(engine().backups() + "backup.000", "1");
    device.file(engine().backups() + "backup.001", "0");
    rollBack(device, {1, {engine()}});
    EXPECT_EQ(device.content("dst\\f") + device.content("dst\\g"), "12");
    rollBack(device, {1, {engine()}});
    EXPECT_EQ(device.content("dst\\f") + device.content("dst\\g"), "0(none)");
}

// The second order for one item finds the record still there but its copies gone; what the first put back
// stays.
TEST(RollbackLedger, ServesAnItemThatIsOrderedTwice) {
    for (const int generation : {0, 1}) {
        Device device;
        install(device, {generation, {engine()}}, {1}, {3});
        EXPECT_EQ(rollBack(device, {generation, {engine(), engine()}}).result, "result=0\n");
        for (const char* name : {"w0", "w1", "w2"}) {
            const std::string path = std::string("dst\\i0\\") + name + ".bin";
            EXPECT_EQ(device.content(path), "old " + path);
        }
    }
}

// With 249 bytes the backup directory still fits, the ledger in it does not; 260 are no path at all.
TEST(RollbackLedger, OfADestinationThatIsTooLongIsNoArgument) {
    for (const std::size_t length : {249u, 250u, 259u, 260u, 400u}) {
        for (const int generation : {0, 1}) {
            SCOPED_TRACE(length);
            Device device;
            Manifest manifest{generation, {engine(), product()}};
            install(device, manifest, {1, 1}, {1, 1});
            std::string& destination = manifest.items[1].destination;
            while (destination.size() + 50 < length)
                destination += "\\" + std::string(40, 'd');
            destination += "\\" + std::string(length - destination.size() - 1, 'e');
            const Tree before = device.tree();
            order(device, manifest);
            const Outcome seen = length == 250 || length == 259 ? rollBack(device, manifest) : device.run();
            EXPECT_EQ(seen.result, "result=12\n");
            EXPECT_EQ(text(inPlace(before)), text(inPlace(seen.tree)));
            EXPECT_EQ(device.content(kLedger), before.at(kLedger));
        }
    }
}

}  // namespace
}  // namespace ovpatch::scenarios
