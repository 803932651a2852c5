// What an update makes of its agent's answers, and how it undoes itself.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

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
            Story(device, manifest).parses().loads().opens(answer).quits().check(60);
        }
    }
}

TEST(AgentAnswers, ToTheOpeningOtherThanTheseAndARefusedRollbackLetTheRunGoOn) {
    for (const int generation : {0, 1}) {
        SCOPED_TRACE(generation);
        Device device;
        const Manifest manifest{generation, {engine()}};
        device.lay(manifest);
        for (const char* order :
             {"StartPatch * answer -1", "StartAction * answer 3", "IsRollback * answer 0"}) {
            device.order(order);
        }
        Story(device, manifest).parses().loads().opens(0, 0).item(0).succeeds().check(0);
    }
}

// The last end's answer is what closes an old agent's run.
TEST(AgentAnswers, OfTheLastEndReachEndPatch) {
    Device device;
    device.lay(threeClasses(0));
    for (const char* order : {"EndEngine * answer 5", "EndPattern * answer -7", "EndPatch * answer 0"}) {
        device.order(order);
    }
    const Outcome seen = device.run();
    EXPECT_EQ(seen.calls.back(), "EndPatch(-7)");
    EXPECT_EQ(seen.result, "result=0\n");
}

// Each answer about a new file and about one that exists, with a third file behind.
TEST(AgentAnswers, AboutAFileDecideWhatBecomesOfIt) {
    for (const int generation : {0, 1}) {
        for (const int answer : {1, 0, -1, -2, 7, -3}) {
            for (const char* file : {"new0.bin", "old0.bin"}) {
                SCOPED_TRACE(testing::Message()
                             << "generation " << generation << " " << file << " " << answer);
                Device device;
                const Manifest manifest{generation, {engine()}};
                device.lay(manifest);
                device.file(manifest.items[0].source() + "zzz.bin", "zzz");
                device.order(checkEntry(generation) + " ~" + file + " answer " + std::to_string(answer));
                Story story(device, manifest);
                story.answers[file] = answer;
                story.begins().item(0);
                const bool stops = answer == -1 || answer == -2;
                (stops ? story.undoes().quits() : story.succeeds()).check(stops ? 60 : 0);
            }
        }
    }
}

// Items of which every file is skipped succeed as well, and have records without files.
TEST(AgentAnswers, MaySkipEveryFile) {
    for (const int generation : {0, 1}) {
        SCOPED_TRACE(generation);
        Device device;
        const Manifest manifest = threeClasses(generation);
        device.lay(manifest);
        device.order(checkEntry(generation) + " * answer 0");
        Story story(device, manifest);
        for (const char* n : {"0.bin", "1.bin", "2.bin"}) {
            story.answers[std::string("new") + n] = story.answers[std::string("old") + n] = 0;
        }
        story.begins().item(0).item(1).item(2).succeeds().check(0);
    }
}

enum class Step { Start, File, Copy, End, CopyAndEnd };

// Orders the failure of one step of item i, and gives the name of the file concerned.
std::string orderFailure(Device& device, const Manifest& manifest, Step step, std::size_t i) {
    const bool old = manifest.generation == 0;
    const std::string bracket = old ? std::vector<std::string>{"Engine #1", "Product #1", "Pattern #1"}[i]
                                    : "Item #" + std::to_string(i + 1);
    const std::string name = "old" + std::to_string(i) + ".bin";
    const std::string check = checkEntry(manifest.generation) + " ~" + name;
    if (step == Step::Start) device.order("Start" + bracket + " answer 0");
    if (step == Step::File) device.order(check + " answer -1");
    if (step == Step::Copy || step == Step::CopyAndEnd) {
        device.order(check + " remove " + manifest.items[i].source() + name);
    }
    if (step == Step::End || step == Step::CopyAndEnd) device.order("End" + bracket + " answer 0");
    return name;
}

// Any failure of any item undoes all that went before, so that the files are what they were; a failed end
// outweighs a failed copy.
TEST(AgentAnswers, ThatFailAnItemUndoTheWholeRun) {
    for (const int generation : {0, 1}) {
        for (const Step step : {Step::Start, Step::File, Step::Copy, Step::End, Step::CopyAndEnd}) {
            for (std::size_t failing = 0; failing < 3; ++failing) {
                SCOPED_TRACE(testing::Message() << "generation " << generation << " step "
                                                << static_cast<int>(step) << " item " << failing);
                Device device;
                const Manifest manifest = threeClasses(generation);
                device.lay(manifest);
                device.file("dst\\OV_Backup\\OvBackup.ini", Ledger{}.text());
                const Tree before = device.tree();
                Story story(device, manifest);
                const std::string file = orderFailure(device, manifest, step, failing);
                const bool copyFails = step == Step::Copy || step == Step::CopyAndEnd;
                if (step == Step::File) story.answers[file] = -1;
                if (copyFails) story.broken = file;
                story.begins();
                for (std::size_t i = 0; i < failing; ++i)
                    story.item(i);
                if (step == Step::Start) {
                    story.starts(failing, 0);
                } else {
                    story.starts(failing).copies().ends(step == Step::End || step == Step::CopyAndEnd ? 0
                                                                                                      : 1);
                }
                story.undoes().quits();
                for (const auto& [path, content] : before)
                    EXPECT_EQ(story.tree.at(path), content);
                if (copyFails) story.tree.erase(manifest.items[failing].source() + file);
                story.check(step == Step::Copy ? 16 : 60);
            }
        }
    }
}

// Two items, of which the second's end fails; then the agent fails brackets while that is undone.
TEST(AgentAnswers, WhileARunIsUndoneAreMostlyIgnored) {
    struct Undoing {
        const char* what;
        int generation;
        Lines orders;
        int start, end;  // the answers to the brackets of the first item
        bool endsEarly;
    };
    const Undoing undoings[] = {
        {"new: a start fails, its end still follows", 1, {"StartItem #3 answer 0"}, 0, 1, false},
        {"new: an end fails", 1, {"EndItem #3 answer 0"}, 1, 0, false},
        {"old: a start fails, the end for it agrees", 0, {"StartEngine #2 answer 0"}, 0, 1, false},
        {"old: so, but the last end fails",
         0,
         {"StartEngine #2 answer 0", "EndEngine #3 answer 0"},
         0,
         0,
         false},
        {"old: the end for it fails", 0, {"StartEngine #2 answer 0", "EndEngine #2 answer 0"}, 0, 0, true},
    };
    for (const Undoing& undoing : undoings) {
        SCOPED_TRACE(undoing.what);
        Device device;
        const Manifest manifest{undoing.generation, {engine(), product()}};
        device.lay(manifest);
        orderFailure(device, manifest, Step::End, 1);
        for (const std::string& order : undoing.orders)
            device.order(order);
        Story story(device, manifest);
        story.begins().item(0).starts(1).copies().ends(0);
        story.info("updateWithPatchAgent: auto rollback.").undoStarts(0, undoing.start);
        if (!undoing.endsEarly) {
            story.undoFiles(0).undoEnds(0, undoing.end).undoStarts(1).undoFiles(1).undoEnds(1);
        }
        story.info("updateWithPatchAgent: auto rollback done.").quits().check(60);
    }
}

// A path with a comma cannot be told from the name of its copy: the undoing ends there, its bracket open.
TEST(AgentAnswers, UndoingEndsAtAPathWithAComma) {
    Device device;
    const Manifest manifest{1, {engine(), product()}};
    device.lay(manifest);
    device.file(manifest.items[0].source() + "old,0.bin", "comma of the update");
    device.file("dst\\old,0.bin", "comma as it was");
    orderFailure(device, manifest, Step::End, 1);
    Story story(device, manifest);
    story.begins().item(0).starts(1).copies().ends(0);
    story.info("updateWithPatchAgent: auto rollback.").undoStarts(0).undoFiles(0);
    story.info("updateWithPatchAgent: auto rollback done.").quits();
    EXPECT_EQ(story.tree.count("dst\\new0.bin"), 0u);
    EXPECT_EQ(story.tree.at("dst\\old0.bin"), "old0.bin of the update");
    story.check(60);
}

}  // namespace
}  // namespace ovpatch::scenarios
