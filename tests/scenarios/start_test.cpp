// The command line, the base directory, and runs that meet each other.
#include <chrono>
#include <regex>
#include <thread>

#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

const char* const kNothingToDo = "[common]\naction=2\n";

// A whole command line as the device hands it over; it needs a double quote in it.
struct Start {
    const char* line;
    const char* base;  // where the run finds its manifest
};

TEST(CommandLine, GivesTheBaseDirectory) {
    const Start starts[] = {
        {"\"x\\a.exe\" \"base\"", "base"},
        {"\"x\\a.exe\"\"base\"", "base"},
        {" \"a.exe\" \"\" \" base\t\" \"  \"", "base"},
        {"a.exe\"base", "base"},
        {"\"x\\a.exe\" \"base\\\"", "base"},
        {"\"x\\a.exe\" \"base/in\"", "base\\in"},
        {"\"base\\a.exe\"", "base"},
        {"\"base/a b.exe\"", "base"},
        {"\"base\\in/a.exe\"", "base\\in"},
        {"\"base\\a.exe\" \"other\" \"third\"", "base"},
        {"\"\"", ""},
        {"\"a.exe\"", ""},
        {"\"\\a.exe\"", ""},
    };
    for (const Start& start : starts) {
        SCOPED_TRACE(start.line);
        Device device;
        device.base = start.base;
        device.file(
            *start.base != '\0' ? std::string(start.base) + "\\OV_Temp\\OvPatch.ini" : "OV_Temp\\OvPatch.ini",
            kNothingToDo);
        Story story(device, {});
        story.info("OvPatch action ready.").info("OvPatch Action rollback.").leavesResult();
        story.check(0, {start.line});
    }
}

// Nothing is done, not even logged.
TEST(CommandLine, ThatIsRefusedLeavesNoTrace) {
    const auto filled = [](std::size_t length) {  // three tokens, the line of that length
        const std::string line = "\"base\\a.exe\" \"" + std::string(250, 'b') + "\" \"";
        return line + std::string(length - line.size() - 1, 'c') + "\"";
    };
    const std::string tooLong(260, 'b');
    const std::pair<std::string, int> lines[] = {
        {"\"base\\a.exe\" \"base\" \"base\" \"base\"", 0},
        {"\"base\\a.exe\" \"base\" \"\" \"base\" \"base\" \"base\"", 0},
        {"\"a.exe\" \"" + tooLong + "\"", 1},
        {"\"base\\" + tooLong + "\\a.exe\"", 1},
        {filled(520), 2},
        {filled(700), 2},
    };
    for (const auto& [line, exitValue] : lines) {
        SCOPED_TRACE(line);
        Device device;
        device.manifestText(kNothingToDo);
        const Tree before = device.tree();
        const Outcome seen = device.run({line});
        EXPECT_EQ(seen.exitValue, exitValue);
        EXPECT_EQ(seen.result, "(none)");
        EXPECT_FALSE(device.exists("base\\OV_Log"));
        EXPECT_EQ(text(before), text(seen.tree));
    }
    Device device;
    device.manifestText(kNothingToDo);
    EXPECT_EQ(device.run({filled(519)}).result, "result=0\n");
}

// One byte more each: all paths fit; the result's does not; nor does the manifest's.
TEST(BaseDirectory, NearTheLimitLosesItsFilesOneByOne) {
    for (const std::size_t length : {238u, 239u, 240u}) {
        SCOPED_TRACE(length);
        Device device;
        device.base = std::string(length - 2, 'b') + "\\c";
        device.file(device.base + "\\OV_Temp\\OvPatch.ini", kNothingToDo);
        Story story(device, {});
        if (length < 240) {
            story.info("OvPatch action ready.").info("OvPatch Action rollback.");
        } else {
            story.error("OvPatch: CatURIWithFile: failed.");
        }
        const Outcome seen = device.run({"\"x\" \"" + device.base + "\""});
        EXPECT_EQ(seen.exitValue, 0);
        EXPECT_EQ(seen.result, length == 238 ? "result=0\n" : "(none)");
        EXPECT_EQ(text(seen.log), text(story.leavesResult().log));
    }
}

// The ids of the processes that wrote a log, one for each unbroken row of records.
Lines writersOf(const std::string& log) {
    static const std::regex mark("P\\[(-?[0-9]+)\\]");
    Lines writers;
    for (std::sregex_iterator at(log.begin(), log.end(), mark), none; at != none; ++at)
        if (writers.empty() || writers.back() != (*at)[1]) writers.push_back((*at)[1]);
    return writers;
}

// The second run waits, with nothing done, for as long as the first one's agent takes; then it does its own
// work.
TEST(TwoRuns, FollowOneAnother) {
    Device device;
    const Manifest manifest{1, {engine()}};
    device.lay(manifest);
    device.order("StartAction * await agent.go");
    const int first = device.start();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (device.content("agent.calls") != "StartAction()\n") {
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const int second = device.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(device.content("agent.calls"), "StartAction()\n");
    const std::string meanwhile = device.content("base\\OV_Log\\KxuDump.txt");
    EXPECT_EQ(writersOf(meanwhile).size(), 1u);
    EXPECT_EQ(device.content("dst\\old0.bin"), "old0.bin as it was");
    device.file("agent.go", "");

    EXPECT_EQ(device.await(first), 0);
    EXPECT_EQ(device.await(second), 0);
    const std::string log = device.content("base\\OV_Log\\KxuDump.txt");
    const Lines writers = writersOf(log);
    EXPECT_EQ(writers.size(), 2u);
    // The ids of what a launcher starts are not the launcher's.
    if (!throughLauncher()) {
        EXPECT_EQ(writers, (Lines{std::to_string(first), std::to_string(second)}));
    }
    const std::string calls = device.content("agent.calls");
    EXPECT_EQ(calls.substr(0, calls.size() / 2), calls.substr(calls.size() / 2));
    EXPECT_EQ(device.content("dst\\OV_Backup\\2\\31\\backup.002"), "old0.bin of the update");
    EXPECT_FALSE(device.exists("dst\\OV_Backup\\2\\31\\backup.000"));
}

// A run that dies leaves no ledger and no result, and nobody waits for it. The copies that it took stay
// behind, and their names are not used again.
TEST(TwoRuns, DoTheWorkOfOneThatDied) {
    Device device;
    const Manifest manifest{1, {engine(), product()}};
    device.lay(manifest);
    device.order("CheckFileEx ~old1.bin abort");
    Story dying(device, manifest);
    dying.answers["old1.bin"] = 0;
    dying.begins().item(0).starts(1).copies();
    const Outcome died = device.run();
    EXPECT_NE(died.exitValue, 0);
    EXPECT_EQ(died.result, "(none)");
    EXPECT_EQ(text(dying.calls), text(died.calls));
    EXPECT_EQ(text(dying.tree), text(died.tree));
    device.noOrders();
    Story(device, manifest).begins().item(0).item(1).succeeds().check(0);
}

}  // namespace
}  // namespace ovpatch::scenarios
