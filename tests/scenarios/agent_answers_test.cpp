// What an update makes of its agent's answers, and how it undoes itself.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

Manifest threeClasses(int generation) {
    const std::vector<Item> items = {engine(), product(), pattern()};
    return generation == 0 ? oldManifest(items) : newManifest(items);
}

std::string checkEntry(int generation) {
    return generation == 0 ? "CheckFile" : "CheckFileEx";
}

TEST(AgentAnswers, ToTheOpeningEndTheRunBeforeAnyFileIsTouched) {
    for (const int generation : {0, 1}) {
        for (const int answer : {1, 2}) {
            SCOPED_TRACE(testing::Message() << "generation " << generation << " answer " << answer);
            Device device;
            const Manifest manifest = threeClasses(generation);
            device.lay(manifest);
            device.order((generation == 0 ? "StartPatch * answer " : "StartAction * answer ") +
                         std::to_string(answer));
            Story story(manifest);
            story.parses().loads().opens(answer).quits();
            const Tree before = device.tree();
            expectOutcome(device.run(), story, 60, before);
        }
    }
}

TEST(AgentAnswers, ToTheOpeningOtherThanTheseAndARefusedRollbackLetTheRunGoOn) {
    for (const int generation : {0, 1}) {
        SCOPED_TRACE(generation);
        Device device;
        const Manifest manifest = generation == 0 ? oldManifest({engine()}) : newManifest({engine()});
        device.lay(manifest);
        device.order("StartPatch * answer -1");
        device.order("StartAction * answer 3");
        device.order("IsRollback * answer 0");
        Tree tree = device.tree();
        Story story(manifest);
        story.parses().loads().opens(0, 0).starts(0).copies(0);
        story.file("new0.bin", Fate::Added).file("old0.bin", Fate::Overwritten).ends();
        story.closes().merges().isDone();
        putUpdated(tree, manifest, 0);
        tree["dst\\OV_Backup\\OvBackup.ini"] =
            ledgerHead(manifest, 1) + (generation == 0 ? "transaction=0, \n" : "") + laidRecord(manifest, 0);
        expectOutcome(device.run(), story, 0, tree);
    }
}

// The last end's answer is what closes an old agent's run.
TEST(AgentAnswers, OfTheLastEndReachEndPatch) {
    Device device;
    device.lay(threeClasses(0));
    device.order("EndEngine * answer 5");
    device.order("EndPattern * answer -7");
    device.order("EndPatch * answer 0");
    const Outcome seen = device.run();
    EXPECT_EQ(seen.calls.back(), "EndPatch(-7)");
    EXPECT_EQ(seen.result, "result=0\n");
}

// Each answer about a new file and about one that exists, with a third file behind.
TEST(AgentAnswers, AboutAFileDecideWhatBecomesOfIt) {
    for (const int generation : {0, 1}) {
        for (const int answer : {1, 0, -1, -2, 7, -3}) {
            for (const bool exists : {false, true}) {
                SCOPED_TRACE(testing::Message() << "generation " << generation << " answer " << answer
                                                << (exists ? " existing" : " new") << " file");
                Device device;
                const Manifest manifest = generation == 0 ? oldManifest({engine()}) : newManifest({engine()});
                device.lay(manifest);
                device.file(manifest.items[0].source() + "zzz.bin", "zzz");
                device.order(checkEntry(generation) + (exists ? " ~old0.bin" : " ~new0.bin") + " answer " +
                             std::to_string(answer));
                Tree tree = device.tree();
                const bool stops = answer == -1 || answer == -2;
                const bool newGoesOn = exists || (answer != 0 && !stops);
                const bool oldGoesOn = !exists || (answer != 0 && !stops);

                Story story(manifest);
                story.parses().loads().opens().starts(0).copies(0).file("new0.bin", Fate::Added,
                                                                        exists ? 1 : answer);
                if (exists || !stops) story.file("old0.bin", Fate::Overwritten, exists ? answer : 1);
                if (stops) {
                    story.error("updateWithPatchAgent: user cancel this").ends(false).undoes().quits();
                } else {
                    story.file("zzz.bin", Fate::Added).ends().closes().merges().isDone();
                    Lines added, written;
                    if (newGoesOn) {
                        added.push_back("dst\\new0.bin");
                        put(tree, "dst\\new0.bin", "new0.bin of the update");
                    }
                    if (oldGoesOn) {
                        written.push_back("backup.000, dst\\old0.bin");
                        put(tree, "dst\\old0.bin", "old0.bin of the update");
                        put(tree, "dst\\OV_Backup\\2\\31\\backup.000", "old0.bin as it was");
                    }
                    added.push_back("dst\\zzz.bin");
                    put(tree, "dst\\zzz.bin", "zzz");
                    put(tree, "dst\\OV_Backup\\OvBackup.ini",
                        ledgerHead(manifest, 1) + (generation == 0 ? "transaction=0, \n" : "") +
                            ledgerRecord(0, manifest.items[0], added, written));
                }
                expectOutcome(device.run(), story, stops ? 60 : 0, tree);
            }
        }
    }
}

enum class Step { Start, File, Copy, End };

// Orders the failure of one step of one item.
void orderFailure(Device& device, const Manifest& manifest, Step step, std::size_t i) {
    const bool old = manifest.generation == 0;
    const std::string bracket = old ? std::vector<std::string>{"Engine #1", "Product #1", "Pattern #1"}[i]
                                    : "Item #" + std::to_string(i + 1);
    const std::string name = "old" + std::to_string(i) + ".bin";
    const std::string check = checkEntry(manifest.generation) + " ~" + name;
    if (step == Step::Start) device.order("Start" + bracket + " answer 0");
    if (step == Step::File) device.order(check + " answer -1");
    if (step == Step::Copy) device.order(check + " remove " + manifest.items[i].source() + name);
    if (step == Step::End) device.order("End" + bracket + " answer 0");
}

// Any failure of any item undoes all that went before, so that the tree is what it was, but for the
// directories of the backups.
TEST(AgentAnswers, ThatFailAnItemUndoTheWholeRun) {
    for (const int generation : {0, 1}) {
        for (const Step step : {Step::Start, Step::File, Step::Copy, Step::End}) {
            for (std::size_t failing = 0; failing < 3; ++failing) {
                SCOPED_TRACE(testing::Message() << "generation " << generation << " step "
                                                << static_cast<int>(step) << " item " << failing);
                Device device;
                const Manifest manifest = threeClasses(generation);
                device.lay(manifest);
                device.file("dst\\OV_Backup\\OvBackup.ini", ledgerHead(manifest, 0));
                orderFailure(device, manifest, step, failing);
                Tree tree = device.tree();
                Story story(manifest);
                story.parses().loads().opens();
                for (std::size_t i = 0; i <= failing; ++i) {
                    const std::string n = std::to_string(i) + ".bin";
                    const bool fails = i == failing;
                    story.starts(i, fails && step == Step::Start ? 0 : 1);
                    if (fails && step == Step::Start) break;
                    story.copies(i).file("new" + n, Fate::Added);
                    story.file("old" + n, Fate::Overwritten, fails && step == Step::File ? -1 : 1);
                    if (fails && step == Step::File) story.error("updateWithPatchAgent: user cancel this");
                    if (fails && step == Step::Copy)
                        story.error("updateWithPatchAgent: xcopy failed, disk access.");
                    story.ends(!fails || step == Step::End, fails && step == Step::End ? 0 : 1);
                    if (fails && step == Step::Copy) tree.erase(manifest.items[i].source() + "old" + n);
                    if (fails && step == Step::File) break;
                    putDirectory(tree, manifest.items[i].backups());
                }
                expectOutcome(device.run(), story.undoes().quits(), step == Step::Copy ? 16 : 60, tree);
            }
        }
    }
}

// An end that fails outweighs a copy that failed.
TEST(AgentAnswers, OfAFailedEndAfterAFailedCopyDecideTheResult) {
    Device device;
    const Manifest manifest = newManifest({engine()});
    device.lay(manifest);
    orderFailure(device, manifest, Step::Copy, 0);
    orderFailure(device, manifest, Step::End, 0);
    Story story(manifest);
    story.parses().loads().opens().starts(0).copies(0);
    story.file("new0.bin", Fate::Added).file("old0.bin", Fate::Overwritten);
    story.error("updateWithPatchAgent: xcopy failed, disk access.").ends(false, 0).undoes().quits();
    Tree tree = device.tree();
    tree.erase(manifest.items[0].source() + "old0.bin");
    putDirectory(tree, manifest.items[0].backups());
    expectOutcome(device.run(), story, 60, tree);
}

// Two items, of which the second's end fails; `undoing` are the agent's answers while that is undone.
struct Undoing {
    const char* what;
    int generation;
    Lines orders;
    void (*tell)(Story& story);
    bool putsBack;
};

TEST(AgentAnswers, WhileARunIsUndoneAreMostlyIgnored) {
    const Undoing undoings[] = {
        {"new: a start fails, its end still follows",
         1,
         {"StartItem #3 answer 0"},
         [](Story& story) { story.undoStarts(0, 0).undoEnds(0).undoStarts(1).undoEnds(1); },
         true},
        {"new: an end fails",
         1,
         {"EndItem #3 answer 0"},
         [](Story& story) { story.undoStarts(0).undoEnds(0, 0).undoStarts(1).undoEnds(1); },
         true},
        {"old: a start fails, its first end agrees",
         0,
         {"StartEngine #2 answer 0"},
         [](Story& story) { story.undoStarts(0, 0).undoEnds(0).undoStarts(1).undoEnds(1); },
         true},
        {"old: a start fails, its second end too",
         0,
         {"StartEngine #2 answer 0", "EndEngine #3 answer 0"},
         [](Story& story) { story.undoStarts(0, 0).undoEnds(0, 0).undoStarts(1).undoEnds(1); },
         true},
        {"old: a start fails, its first end too",
         0,
         {"StartEngine #2 answer 0", "EndEngine #2 answer 0"},
         [](Story& story) { story.undoStarts(0, 0); },
         false},
    };
    for (const Undoing& undoing : undoings) {
        SCOPED_TRACE(undoing.what);
        Device device;
        const std::vector<Item> items = {engine(), product()};
        const Manifest manifest = undoing.generation == 0 ? oldManifest(items) : newManifest(items);
        device.lay(manifest);
        orderFailure(device, manifest, Step::End, 1);
        for (const std::string& order : undoing.orders)
            device.order(order);
        Tree tree = device.tree();
        Story story(manifest);
        story.parses().loads().opens();
        for (std::size_t i = 0; i < 2; ++i) {
            const std::string n = std::to_string(i) + ".bin";
            story.starts(i).copies(i).file("new" + n, Fate::Added).file("old" + n, Fate::Overwritten);
            story.ends(true, i == 0 ? 1 : 0);
            if (!undoing.putsBack) putUpdated(tree, manifest, i);
            putDirectory(tree, manifest.items[i].backups());
        }
        story.undoBegins();
        undoing.tell(story);
        expectOutcome(device.run(), story.undoIsOver().quits(), 60, tree);
    }
}

// A path with a comma cannot be told from the name of its copy: the undoing ends there, its bracket open.
TEST(AgentAnswers, UndoingEndsAtAPathWithAComma) {
    Device device;
    const Manifest manifest = newManifest({engine(), product()});
    device.lay(manifest);
    device.file(manifest.items[0].source() + "old,0.bin", "comma of the update");
    device.file("dst\\old,0.bin", "comma as it was");
    orderFailure(device, manifest, Step::End, 1);
    Tree tree = device.tree();
    Story story(manifest);
    story.parses().loads().opens().starts(0).copies(0).file("new0.bin", Fate::Added);
    story.file("old,0.bin", Fate::Overwritten).file("old0.bin", Fate::Overwritten).ends();
    story.starts(1).copies(1).file("new1.bin", Fate::Added).file("old1.bin", Fate::Overwritten).ends(true, 0);
    story.undoBegins().undoStarts(0).error("autoRollback: written file name failed.").undoIsOver().quits();

    putUpdated(tree, manifest, 0);
    putUpdated(tree, manifest, 1);
    tree.erase("dst\\new0.bin");
    tree["dst\\old,0.bin"] = "comma of the update";
    tree["dst\\OV_Backup\\2\\31\\backup.000"] = "comma as it was";
    tree["dst\\OV_Backup\\2\\31\\backup.001"] = "old0.bin as it was";
    expectOutcome(device.run(), story, 60, tree);
}

}  // namespace
}  // namespace ovpatch::scenarios
