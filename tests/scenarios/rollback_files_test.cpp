// What a requested rollback does to files that are not as the update left them, and what it leaves behind.
#include <sys/inotify.h>
#include <unistd.h>

#include <cstring>

#include "support/rollback_run.h"

namespace ovpatch::scenarios {
namespace {

const char* const kLedger = "dst\\OV_Backup\\OvBackup.ini";
const std::string kBackups = "dst\\OV_Backup\\2\\31\\";

Manifest oneItem(int generation = 1) {
    return {generation, {engine()}};
}
std::string installed(const std::string& name) {
    return "dst\\i0\\" + name + ".bin";
}

// One level: the second update's record has taken the place of the first's.
TEST(RollbackFiles, GoBackByOneUpdate) {
    for (const int generation : {0, 1}) {
        Device device;
        device.manifest(oneItem(generation));
        device.file("dst\\f", "0");
        device.file(engine().source() + "f", "1");
        device.file(engine().source() + "sub\\new1", "1");
        device.run();
        device.file(engine().source() + "f", "2");
        device.file(engine().source() + "new2", "2");
        device.remove(engine().source() + "sub\\new1");
        device.run();
        const Tree files = {{"dst\\f", "1"}, {"dst\\sub\\new1", "1"}};
        EXPECT_EQ(text(inPlace(rollBack(device, oneItem(generation)).tree)), text(files));
        EXPECT_EQ(rollBack(device, oneItem(generation)).result, "result=16\n");
    }
}

// What can have become of the files in between, with a run that ends well and one stopped at its last file.
TEST(RollbackFiles, ThatChangedInBetween) {
    struct Case {
        const char* what;
        Lines removed, directories;
        Tree written;
        Tree after;  // of a good run, where that differs from the files as they were before the update
    };
    const std::string a0 = installed("a0"), w0 = installed("w0"), w1 = installed("w1"), w2 = installed("w2");
    const std::vector<Case> cases = {
        {"nothing", {}, {}, {}, {}},
        {"other content", {}, {}, {{a0, "mine"}, {w1, "mine"}, {"dst\\b", "b"}}, {{"dst\\b", "b"}}},
        {"gone files", {a0, w0}, {}, {}, {}},
        {"gone directories", {"dst\\i0"}, {}, {}, {}},
        {"a gone copy", {kBackups + "backup.000"}, {}, {}, {{w0, "new " + w0}}},
        {"gone copies", {kBackups}, {}, {}, {{w0, "new " + w0}, {w1, "new " + w1}, {w2, "new " + w2}}},
        {"directories in their place", {a0, w1}, {a0, w1}, {}, {{w1 + "\\backup.001", "old " + w1}}},
        {"stray copies", {}, {}, {{kBackups + "backup.003", "s"}, {kBackups + "backup.005", "s"}}, {}},
        {"empty files", {}, {}, {{w0, ""}, {a0, ""}, {kBackups + "backup.002", ""}}, {{w2, ""}}},
    };
    for (const Case& one : cases) {
        for (const int generation : {0, 1}) {
            for (const bool stopped : {false, true}) {
                SCOPED_TRACE(testing::Message() << one.what << (stopped ? ", stopped" : ""));
                Device device;
                install(device, oneItem(generation), {2}, {3});
                for (const std::string& path : one.removed)
                    device.remove(path);
                for (const std::string& path : one.directories)
                    device.directory(path);
                for (const auto& [path, content] : one.written)
                    device.file(path, content);
                const std::string check = generation == 0 ? "CheckFile" : "CheckFileEx";
                const Outcome seen = rollBack(device, oneItem(generation),
                                              {check + (stopped ? " #5 answer -1" : " #9 answer -1")});
                EXPECT_EQ(seen.result, stopped ? "result=60\n" : "result=0\n");
                Tree files = {{w0, "old " + w0}, {w1, "old " + w1}, {w2, "old " + w2}};
                for (const auto& [path, content] : one.after)
                    files[path] = content;
                for (const std::string& path : one.directories)
                    files.erase(path);
                if (stopped) continue;
                EXPECT_EQ(text(files), text(inPlace(seen.tree)));
            }
        }
    }
}

// A stopped run leaves a ledger that names copies which are gone. The safety copies of the next get their
// names, and are not taken for them.
TEST(RollbackFiles, KeepWhatTheyHoldWhereTheCopyIsGone) {
    for (const int generation : {0, 1}) {
        Device device;
        install(device, oneItem(generation), {1}, {6});
        Tree left = device.tree();
        const std::string check = generation == 0 ? "CheckFile" : "CheckFileEx";
        const Outcome stopped = rollBack(device, oneItem(generation), {check + " #5 answer -1"});
        for (const char* name : {"backup.000", "backup.001", "backup.002"})
            left.erase(kBackups + name);
        EXPECT_EQ(text(left), text(Tree(stopped.tree.find("dst\\"), stopped.tree.end())));

        const Outcome seen = rollBack(device, oneItem(generation));
        EXPECT_EQ(seen.result, "result=0\n");
        for (int k = 0; k < 6; ++k) {
            const std::string path = installed("w" + std::to_string(k));
            EXPECT_EQ(device.content(path), (k < 3 ? "new " : "old ") + path);
        }
        EXPECT_EQ(text(seen.tree).find("backup."), std::string::npos);
    }
}

// Nothing takes the attribute off: such a file stays, such a target keeps its content, and the item is done.
TEST(RollbackFiles, ThatAreReadOnlyStay) {
    Device device;
    install(device, oneItem(), {2}, {2});
    device.readOnly(installed("a0"));
    device.readOnly(installed("w0"));
    order(device, oneItem());
    const Outcome seen = device.run();
    EXPECT_EQ(seen.result, "result=0\n");
    const Tree files = {{installed("a0"), "added"},
                        {installed("w0"), "new " + installed("w0")},
                        {installed("w1"), "old " + installed("w1")}};
    EXPECT_EQ(text(inPlace(seen.tree)), text(files));
    EXPECT_EQ(device.content(kLedger), (Ledger{1, "patchagent=agent\\new.dll\n"}.text()));
}

// No directory can be made where the safety copies belong: what was done before is undone.
TEST(RollbackFiles, AreNotTouchedWithoutASafetyCopy) {
    for (const int added : {1, 0}) {
        Device device;
        const Manifest manifest{1, {product(), engine()}};
        install(device, manifest, {1, added}, {1, 1});
        device.remove("dst\\OV_Backup\\2");
        device.file("dst\\OV_Backup\\2", "in the way");
        const Tree before = device.tree();
        const Outcome seen = rollBack(device, manifest);
        EXPECT_EQ(seen.result, "result=16\n");
        EXPECT_EQ(text(inPlace(before)), text(inPlace(seen.tree)));
    }
}

// An entry has no quoting: behind a second comma nothing is seen, and an undoing that meets one ends there.
TEST(RollbackFiles, WithACommaInTheirPath) {
    for (const bool stopped : {false, true}) {
        Device device;
        Ledger ledger{1, "patchagent=agent\\new.dll\n"};
        ledger.records = {{0,
                           {engine(),
                            {"dst\\a", "dst\\b,c", "dst\\d"},
                            {"backup.000, dst\\e,f", "sub\\backup.001 ,  dst\\g"}}}};
        device.file(kLedger, ledger.text());
        for (const char* name : {"a", "b,c", "d", "e,f", "g"})
            device.file(std::string("dst\\") + name, "new");
        device.file(kBackups + "backup.000", "old e,f");
        device.file(kBackups + "backup.001", "old g");
        const Outcome seen =
            rollBack(device, oneItem(), {stopped ? "CheckFileEx #5 answer -1" : "EndAction * answer 0"});
        const Tree done = {{"dst\\e", "old e,f"}, {"dst\\e,f", "new"}, {"dst\\g", "old g"}};
        const Tree undone = {
            {"dst\\a", "new"}, {"dst\\e", "old e,f"}, {"dst\\e,f", "new"}, {"dst\\g", "new"}};
        EXPECT_EQ(text(inPlace(seen.tree)), text(stopped ? undone : done));
    }
}

// 259 bytes are acted on; 260 end the item, and what their first bytes name stays.
TEST(RollbackFiles, WithAPathThatIsTooLong) {
    std::string path = "dst";
    while (path.size() < 240)
        path += "\\" + std::string(18, 'd');
    path += "\\" + std::string(259 - path.size() - 1, 'f');
    for (const bool added : {true, false}) {
        for (const std::string more : {"", "1", "23"}) {
            Device device;
            Record record{engine(), {"dst\\a"}, {"backup.000, dst\\w"}};
            if (added) record.added.push_back(path + more);
            if (!added) record.written.push_back("backup.001, " + path + more);
            device.file(kLedger, (Ledger{1, "patchagent=agent\\new.dll\n", "", {{0, record}}}.text()));
            for (const std::string& name : {std::string("dst\\a"), std::string("dst\\w"), path})
                device.file(name, "new");
            for (const char* name : {"backup.000", "backup.001"})
                device.file(kBackups + name, "old");
            const Tree before = device.tree();
            order(device, oneItem());
            const Outcome seen = more.empty() ? rollBack(device, oneItem()) : device.run();
            EXPECT_EQ(seen.result, more.empty() ? "result=0\n" : "result=16\n");
            EXPECT_EQ(device.content(path), !more.empty() ? "new" : added ? "(none)" : "old");
            if (more.empty()) continue;
            EXPECT_NE(text(seen.log).find("E rollbackWithPatchAgent: access failed.\n"), std::string::npos);
            EXPECT_EQ(text(inPlace(before)), text(inPlace(seen.tree)));
            EXPECT_EQ(device.content(kLedger), before.at(kLedger));
        }
    }
}

// The agent dies at a file, so that what the run holds is seen: each name the lowest that is free at its
// moment.
TEST(RollbackFiles, GetTheLowestFreeNamesForTheirSafetyCopies) {
    for (const int generation : {0, 1}) {
        for (const int dies : {1, 40, 55, 79, 110}) {
            SCOPED_TRACE(dies);
            Device device;
            install(device, oneItem(generation), {40}, {70});
            device.remove(kBackups + "backup.003");
            device.file(kBackups + "backup.02a", "stray");
            const std::string check = generation == 0 ? "CheckFile" : "CheckFileEx";
            rollBack(device, oneItem(generation),
                     {check + " ~2.bin answer 0", check + " ~5.bin answer 7", check + " ~7.bin answer 0",
                      check + " #" + std::to_string(dies) + " abort x"});
        }
    }
}

// What is laid out for an old agent is there before the line that announces it, in an update behind it. Each
// record opens and closes the log; the kernel tells what came first.
TEST(RollbackFiles, AreStagedBeforeTheOldAgentIsAnnounced) {
    if (throughLauncher()) GTEST_SKIP() << "watches a file system of this host";
    for (const bool update : {false, true}) {
        Device device;
        install(device, oneItem(0), {1}, {1});
        order(device, oneItem(0));
        if (update) device.manifest(oneItem(0));
        device.directory("base\\OV_Log");
        const int watch = inotify_init1(IN_NONBLOCK);
        const int logs =
            inotify_add_watch(watch, device.host("base\\OV_Log").c_str(), IN_OPEN | IN_CLOSE_WRITE);
        const int staged = inotify_add_watch(watch, device.host("dst").c_str(), IN_CREATE);
        ASSERT_TRUE(logs >= 0 && staged >= 0);
        const Outcome seen = device.run();
        std::vector<char> events(1 << 16);
        const auto size =
            static_cast<std::size_t>(std::max<ssize_t>(0, read(watch, events.data(), events.size())));
        close(watch);
        std::size_t records = 0;
        bool found = false;
        for (std::size_t at = 0; at < size && !found;) {
            inotify_event event{};
            std::memcpy(&event, events.data() + at, sizeof event);
            if (event.wd == logs && (event.mask & IN_CLOSE_WRITE) != 0) ++records;
            found = event.wd == staged && std::strcmp(events.data() + at + sizeof event, "OVSrc.tmp") == 0;
            at += sizeof event + event.len;
        }
        ASSERT_TRUE(found && records > 0 && records < seen.log.size());
        EXPECT_EQ(
            seen.log[update ? records - 1 : records],
            update ? "I update: update with old patch agent." : "I rollback: rollback with old patch agent.");
    }
}

}  // namespace
}  // namespace ovpatch::scenarios
