// How the agent is bound, and what an old one finds on disk.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

// Without an agent that has all entries of its generation, everything is agreed to and nobody is called.
TEST(AgentLoading, FallsBackOnConsent) {
    struct Loading {
        const char* what;
        int generation;
        const char* library;  // the library that lies at `path`; null: none
        const char* path;     // what the manifest names; empty: no key
        AgentFate fate;
    };
    const Loading loadings[] = {
        {"none named, old", 0, nullptr, "", AgentFate::NotThere},
        {"none named, new", 1, nullptr, "", AgentFate::NotThere},
        {"not there, old", 0, nullptr, "agent\\gone.dll", AgentFate::NotThere},
        {"not there, new", 1, nullptr, "agent\\gone.dll", AgentFate::NotThere},
        {"no library, old", 0, nullptr, "agent\\junk.dll", AgentFate::NotThere},
        {"no library, new", 1, nullptr, "agent\\junk.dll", AgentFate::NotThere},
        {"one entry missing, old", 0, "old_incomplete", "agent\\x.dll", AgentFate::Incomplete},
        {"one entry missing, new", 1, "new_incomplete", "agent\\x.dll", AgentFate::Incomplete},
        {"of the new generation, old", 0, "new", "agent\\x.dll", AgentFate::Incomplete},
        {"of the old generation, new", 1, "old", "agent\\x.dll", AgentFate::Incomplete},
        {"of both generations, old", 0, "both", "agent\\x.dll", AgentFate::Serves},
        {"of both generations, new", 1, "both", "agent\\x.dll", AgentFate::Serves},
    };
    for (const Loading& loading : loadings) {
        SCOPED_TRACE(loading.what);
        Device device;
        const Manifest manifest{loading.generation, {engine(), pattern()}, loading.path};
        device.lay(manifest);
        device.file("agent\\junk.dll", "no library at all");
        if (loading.library != nullptr) device.agent(loading.library, loading.path);
        Story(device, manifest, loading.fate).begins().item(0).item(1).succeeds().check(0);
    }
}

// An old agent finds the files made for it from its loading to its unloading, each new file before it is
// asked about it, also one that it refuses; afterwards all of it is gone.
TEST(AgentLoading, LaysOutFilesForAnOldAgentAndTakesThemAway) {
    Device device;
    const Manifest manifest{0, {engine()}};
    device.lay(manifest);
    device.file(manifest.items[0].source() + "sub\\old0.bin", "another old0.bin");
    device.file("agent\\old.ini", "[Agent]\nx=1\n");
    for (const char* stale : {"dst\\PatchDll.ini", "base\\PatchDll.ini"})
        device.file(stale, "an earlier one");
    device.file("dst\\OVSrc.tmp\\KxuPatch.ini", "; left behind\n[main]\nSOURCE=elsewhere\nother=1\n");
    for (const char* order : {"Load * show dst\\OVSrc.tmp\\KxuPatch.ini", "Load * show dst\\PatchDll.ini",
                              "Load * show base\\PatchDll.ini", "CheckFile * show dst\\OVSrc.tmp\\old0.bin",
                              "CheckFile ~dst\\old0.bin answer 0", "Unload * show dst\\OVSrc.tmp\\old0.bin",
                              "Unload * show dst\\OVSrc.tmp\\KxuPatch.ini"}) {
        device.order(order);
    }
    const std::string sourceIni =
        "  dst\\OVSrc.tmp\\KxuPatch.ini: ; left behind|[main]|SOURCE=dst\\OVSrc.tmp\\|other=1|";
    Story story(device, manifest);
    story.answers["old0.bin"] = 0;
    story.shows = {{"new0.bin", "  dst\\OVSrc.tmp\\old0.bin: (none)"},
                   {"old0.bin", "  dst\\OVSrc.tmp\\old0.bin: old0.bin of the update"},
                   {"sub\\old0.bin", "  dst\\OVSrc.tmp\\old0.bin: another old0.bin"}};
    story.parses().loads();
    story.call(sourceIni)
        .call("  dst\\PatchDll.ini: [Agent]|x=1|")
        .call("  base\\PatchDll.ini: [Agent]|x=1|");
    story.opens().item(0).succeeds();
    story.call("  dst\\OVSrc.tmp\\old0.bin: another old0.bin").call(sourceIni);
    for (const char* gone : {"dst\\PatchDll.ini", "base\\PatchDll.ini"})
        story.tree.erase(gone);
    story.check(0);
}

// The agent's own settings are looked for beside it, under its name up to the last point; what lies in their
// place goes at the end, if an agent is named at all.
TEST(AgentLoading, FindsTheSettingsOfAnOldAgentByItsPath) {
    struct Settings {
        const char* agent;
        const char* file;  // lies there
        Lines shown;       // what the agent sees as PatchDll.ini
    };
    const Settings cases[] = {
        {"agent\\old.dll", "agent\\old.ini", {"  dst\\PatchDll.ini: mine", "  base\\PatchDll.ini: mine"}},
        {"agent\\old.dll",
         "agent\\old.dll.ini",
         {"  dst\\PatchDll.ini: stale", "  base\\PatchDll.ini: stale"}},
        {"agent\\plain", "agent\\plain.ini", {"  dst\\PatchDll.ini: mine", "  base\\PatchDll.ini: mine"}},
        {"agent\\dir.d\\plain",
         "agent\\dir.ini",
         {"  dst\\PatchDll.ini: mine", "  base\\PatchDll.ini: mine"}},
        {"", "agent\\old.ini", {}},
    };
    for (const Settings& settings : cases) {
        // There a name without an extension would get one.
        if (throughLauncher() && std::string(settings.agent).find("plain") != std::string::npos) continue;
        SCOPED_TRACE(testing::Message() << settings.agent << " with " << settings.file);
        Device device;
        const Manifest manifest{0, {engine()}, settings.agent};
        device.lay(manifest);
        if (!manifest.agent.empty()) device.agent("old_incomplete", manifest.agent);
        device.file(settings.file, "mine");
        for (const char* stale : {"dst\\PatchDll.ini", "base\\PatchDll.ini"}) {
            device.file(stale, "stale");
            device.order(std::string("Load * show ") + stale);
        }
        Story story(device, manifest, manifest.agent.empty() ? AgentFate::NotThere : AgentFate::Incomplete);
        story.begins().item(0).succeeds();
        story.calls = settings.shown;
        if (!manifest.agent.empty()) {
            for (const char* gone : {"dst\\PatchDll.ini", "base\\PatchDll.ini"})
                story.tree.erase(gone);
        }
        story.check(0);
    }
}

// A file that cannot be laid out is asked about all the same.
TEST(AgentLoading, AsksAnOldAgentWithoutTheNewFileWhereItCannotBeLaidOut) {
    Device device;
    const Manifest manifest{0, {engine()}};
    device.lay(manifest);
    device.file("dst\\OVSrc.tmp\\old0.bin", "left behind");
    device.readOnly("dst\\OVSrc.tmp\\old0.bin");
    Story story(device, manifest);
    story.unstaged = "old0.bin";
    story.begins().item(0).succeeds();
    put(story.tree, "dst\\OVSrc.tmp\\old0.bin", "left behind");  // nor can it be taken away
    story.check(0);
}

// The files for the old agent go too when the run fails, and a library is freed though it served nobody.
TEST(AgentLoading, CleansUpAfterAFailedRunAndAnIncompleteAgent) {
    Device device;
    const Manifest manifest{0, {engine()}};
    device.lay(manifest);
    device.order("StartPatch * answer 1");
    device.order("Unload * show dst\\OVSrc.tmp\\KxuPatch.ini");
    const std::string shown = "  dst\\OVSrc.tmp\\KxuPatch.ini: [MAIN]|SOURCE=dst\\OVSrc.tmp\\|";
    Story(device, manifest).parses().loads().opens(1).quits().call(shown).check(60);
    device.agent("old_incomplete", kOldAgent);
    Story story(device, manifest, AgentFate::Incomplete);
    story.begins().item(0).succeeds().calls.push_back(shown);
    story.check(0);
}

}  // namespace
}  // namespace ovpatch::scenarios
