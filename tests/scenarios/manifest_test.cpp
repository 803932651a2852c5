// What a manifest must hold, and the actions it can ask for.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

Manifest twoItems() {
    return {1, {engine(), product()}};
}

// The text without the last line that begins so.
std::string without(std::string text, const std::string& beginning) {
    const std::size_t at = text.rfind("\n" + beginning) + 1;
    return text.erase(at, text.find('\n', at) + 1 - at);
}

// The text with another value in the last line of that key.
std::string with(std::string text, const std::string& key, const std::string& value) {
    const std::size_t at = text.rfind("\n" + key + "=") + 1 + key.size() + 1;
    return text.replace(at, text.find('\n', at) - at, value);
}

Story begun(Device& device) {
    Story story(device, {});
    story.info("OvPatch action ready.").info("OvPatch action update.").info("update: start.");
    return story.info("phaseIniForUpdate: start.")
        .info("phaseIniForUpdate: common section key/value processing.");
}

TEST(ManifestFile, LackingARequiredKeyIsRefused) {
    enum Reached { Common, Agent, CommonDone, Items };
    struct Lack {
        std::string text;
        const char* reason;
        Reached reached;
    };
    const std::string good = twoItems().text();
    const Lack lacks[] = {
        {without(good, "itemcount="), "fetch item count failed.", Common},
        {without(good, "patchagent.version="), "fetch old/new patchagent failed.", Common},
        {without(good, "orvelle_path="), "fetch orvelle full path failed.", Agent},
        {without(good, "class="), "fetch class failed.", Items},
        {without(good, "type="), "fetch type failed.", Items},
        {without(good, "origin.version="), "fetch origin version failed.", Items},
        {without(good, "result.version="), "fetch result version failed.", Items},
        {without(good, "destination="), "fetch destination failed.", Items},
        {without(good, "[item_1]"), "fetch class failed.", Items},
        {with(good, "itemcount", "3"), "fetch class failed.", Items},
        {with(good, "itemcount", "-1"), "malloc failed.", CommonDone},
    };
    for (const Lack& lack : lacks) {
        SCOPED_TRACE(lack.text);
        Device device;
        device.lay(twoItems());
        device.manifestText(lack.text);
        Story story = begun(device);
        if (lack.reached >= Agent) story.info("phaseIniForUpdate: patch agent file(agent\\new.dll).");
        if (lack.reached >= CommonDone) story.info("phaseIniForUpdate: common section done.");
        if (lack.reached >= Items) story.info("phaseIniForUpdate: items processing.");
        story.error(std::string("phaseIniForUpdate: ") + lack.reason).info("phaseIniForUpdate: error quit.");
        story.error("update: phaseIniForUpdate failed.").leavesResult();
        story.check(12);
    }
}

TEST(ManifestFile, WithoutItemsIsAnsweredBeforeAnythingElseIsAsked) {
    for (const char* count : {"0", "abc", "", "0x2"}) {
        SCOPED_TRACE(count);
        Device device;
        device.manifestText(std::string("[common]\naction=0\nitemcount=") + count + "\n");
        Story story = begun(device);
        story.info("phaseIniForUpdate: done, item is zero or no item.");
        story.info("update: ovpatch ini contains no items.").leavesResult();
        story.check(4);
    }
}

TEST(ManifestFile, OfAnUnknownGenerationIsRefusedAfterItWasRead) {
    for (const int generation : {7, 2, -1}) {
        SCOPED_TRACE(generation);
        Device device;
        Manifest manifest{1, {engine()}};
        manifest.generation = generation;
        device.lay(manifest);
        Story story(device, manifest);
        story.parses().error("update: unknown patch agent version number.").leavesResult();
        story.check(12);
    }
}

TEST(ManifestFile, ChoosesTheAction) {
    const Lines ready = {"I OvPatch action ready."};
    const Lines rollback = {"I OvPatch action ready.", "I OvPatch Action rollback."};
    const Lines unknown = {"I OvPatch action ready.", "E OvPatch Unknown action."};
    const Lines missing = {"E OvPatch fetch (common:action) failed."};
    Device none;
    Lines update = begun(none).log;
    update.push_back("I phaseIniForUpdate: done, item is zero or no item.");
    update.push_back("I update: ovpatch ini contains no items.");
    struct Action {
        const char* text;
        int result;
        const Lines& log;
    };
    const Action actions[] = {
        {"", 57, missing},
        {"[common]\n", 57, missing},
        {"action=0\n[item_0]\naction=0\n", 57, missing},
        {"[common]\naction=9\n", 57, unknown},
        {"[common]\naction=-1\n", 57, unknown},
        {"[common]\naction=2\n", 0, rollback},
        {"[common]\naction=2nd\n", 0, rollback},
        {"[common]\naction=\nitemcount=0\n", 4, update},
        {"[common]\naction=abc\nitemcount=0\n", 4, update},
        {"[COMMON]\r\n Action = 0 ; as ever\r\nItemCount=0", 4, update},
        {"[common]\nOVLib=123456789012345678901234567890\nSavLib=\nRstLib=x\naction=2\n", 0, rollback},
    };
    for (const Action& action : actions) {
        SCOPED_TRACE(action.text);
        Device device;
        device.manifestText(action.text);
        Story story(device, {});
        story.log = action.log;
        story.leavesResult().check(action.result);
    }
}

TEST(ManifestFile, ThatIsNotThereLeavesTheDefaultResult) {
    Device device;
    device.directory("base\\OV_Temp");
    Story story(device, {});
    story.error("OvPatch fetch (common:action) failed.").leavesResult();
    story.check(57);
    // Without the directory there is no place for a result, and the run ends as ever.
    device.remove("base\\OV_Temp");
    const Outcome seen = device.run();
    EXPECT_EQ(seen.exitValue, 0);
    EXPECT_EQ(seen.result, "(none)");
    EXPECT_EQ(text(seen.log), text(story.log));
    EXPECT_FALSE(device.exists("base\\OV_Temp"));
}

TEST(ResultFile, KeepsWhatElseStandsInIt) {
    const std::pair<const char*, const char*> files[] = {
        {"result=4\nx=1\n", "x=1\nresult=0\n"},
        {"x=1\nresult=4\n; note\n[Other]\nresult=9\n", "x=1\nresult=0\n; note\n[Other]\nresult=9\n"},
        {"[Other]\nx=1\n", "result=0\n[Other]\nx=1\n"},
    };
    for (const auto& [before, after] : files) {
        SCOPED_TRACE(before);
        Device device;
        device.manifestText("[common]\naction=2\n");
        device.file("base\\OV_Temp\\OvResult.ini", before);
        EXPECT_EQ(device.run().result, after);
    }
}

}  // namespace
}  // namespace ovpatch::scenarios
