// How the agent is bound, and what an old one finds on disk.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

struct Loading {
    const char* what;
    int generation;
    const char* library;  // the library that lies at `path`; null: none
    const char* path;     // what the manifest names; empty: no key
    AgentFate fate;
};

// Without an agent that has all entries of its generation, everything is agreed to and nobody is called.
TEST(AgentLoading, FallsBackOnConsent) {
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
        Manifest manifest{loading.generation, loading.path, {engine(), pattern()}};
        device.lay(manifest);
        device.file("agent\\junk.dll", "no library at all");
        if (loading.library != nullptr) device.agent(loading.library, loading.path);
        Tree tree = device.tree();
        Story story(manifest, loading.fate);
        story.parses().loads().opens();
        for (std::size_t i = 0; i < 2; ++i) {
            const std::string n = std::to_string(i) + ".bin";
            story.starts(i).copies(i).file("new" + n, Fate::Added).file("old" + n, Fate::Overwritten).ends();
            putUpdated(tree, manifest, i);
        }
        tree["dst\\OV_Backup\\OvBackup.ini"] = ledgerHead(manifest, 2) +
                                               (loading.generation == 0 ? "transaction=1, 0, \n" : "") +
                                               laidRecord(manifest, 0) + laidRecord(manifest, 1);
        expectOutcome(device.run(), story.closes().merges().isDone(), 0, tree);
    }
}

// An old agent finds the files made for it from its loading to its unloading, each new file before it is
// asked about it, also one that it refuses; afterwards all of it is gone.
TEST(AgentLoading, LaysOutFilesForAnOldAgentAndTakesThemAway) {
    Device device;
    const Manifest manifest = oldManifest({engine()});
    device.lay(manifest);
    device.file(manifest.items[0].source() + "sub\\old0.bin", "another old0.bin");
    device.file("agent\\old.ini", "[Agent]\nx=1\n");
    device.file("dst\\PatchDll.ini", "an earlier one");
    device.file("base\\PatchDll.ini", "an earlier one");
    device.file("dst\\OVSrc.tmp\\KxuPatch.ini", "; left behind\n[main]\nSOURCE=elsewhere\nother=1\n");
    const std::string sourceIni = "dst\\OVSrc.tmp\\KxuPatch.ini";
    for (const std::string& show :
         {"Load * show " + sourceIni, std::string("Load * show dst\\PatchDll.ini"),
          std::string("Load * show base\\PatchDll.ini"),
          std::string("CheckFile * show dst\\OVSrc.tmp\\old0.bin"),
          std::string("CheckFile ~dst\\old0.bin answer 0"),
          std::string("Unload * show dst\\OVSrc.tmp\\old0.bin"), "Unload * show " + sourceIni,
          std::string("Unload * show dst\\PatchDll.ini")}) {
        device.order(show);
    }
    Tree tree = device.tree();

    const std::string shownIni = "  " + sourceIni + ": ; left behind|[main]|SOURCE=dst\\OVSrc.tmp\\|other=1|";
    const std::string shownAgentIni = "PatchDll.ini: [Agent]|x=1|";
    Story story(manifest);
    story.parses().loads();
    story.call(shownIni).call("  dst\\" + shownAgentIni).call("  base\\" + shownAgentIni);
    story.opens().starts(0).copies(0);
    story.file("new0.bin", Fate::Added).call("  dst\\OVSrc.tmp\\old0.bin: (none)");
    story.file("old0.bin", Fate::Overwritten, 0).call("  dst\\OVSrc.tmp\\old0.bin: old0.bin of the update");
    story.file("sub\\old0.bin", Fate::Added).call("  dst\\OVSrc.tmp\\old0.bin: another old0.bin");
    story.ends().closes().merges().isDone();
    story.call("  dst\\OVSrc.tmp\\old0.bin: another old0.bin").call(shownIni).call("  dst\\" + shownAgentIni);

    for (const char* gone :
         {"dst\\PatchDll.ini", "base\\PatchDll.ini", "dst\\OVSrc.tmp\\", "dst\\OVSrc.tmp\\KxuPatch.ini"}) {
        tree.erase(gone);
    }
    put(tree, "dst\\new0.bin", "new0.bin of the update");
    put(tree, "dst\\sub\\old0.bin", "another old0.bin");
    put(tree, "dst\\OV_Backup\\OvBackup.ini",
        ledgerHead(manifest, 1) + "transaction=0, \n" +
            ledgerRecord(0, manifest.items[0], {"dst\\new0.bin", "dst\\sub\\old0.bin"}, {}));
    expectOutcome(device.run(), story, 0, tree);
}

// The agent's own settings are looked for beside it, under its name up to the last point; what lies in their
// place goes at the end, if an agent is named at all.
TEST(AgentLoading, FindsTheSettingsOfAnOldAgentByItsPath) {
    struct Settings {
        const char* agent;
        const char* file;   // lies there
        const char* shown;  // what the agent sees as PatchDll.ini
        bool staleGoes;
    };
    const Settings cases[] = {
        {"agent\\old.dll", "agent\\old.ini", "mine", true},
        {"agent\\old.dll", "agent\\old.dll.ini", "stale", true},
        {"agent\\plain", "agent\\plain.ini", "mine", true},
        {"agent\\dir.d\\plain", "agent\\dir.ini", "mine", true},
        {"", "agent\\old.ini", nullptr, false},
    };
    for (const Settings& settings : cases) {
        // There a name without an extension would get one.
        if (throughLauncher() && std::string(settings.agent).find("plain") != std::string::npos) continue;
        SCOPED_TRACE(testing::Message() << settings.agent << " with " << settings.file);
        Device device;
        const Manifest manifest{0, settings.agent, {engine()}};
        device.lay(manifest);
        if (*settings.agent != '\0') device.agent("old", settings.agent);
        device.file(settings.file, "mine");
        device.file("dst\\PatchDll.ini", "stale");
        device.file("base\\PatchDll.ini", "stale");
        device.order("Load * show dst\\PatchDll.ini");
        device.order("Load * show base\\PatchDll.ini");
        const Outcome seen = device.run();
        EXPECT_EQ(seen.result, "result=0\n");
        if (settings.shown != nullptr) {
            ASSERT_GE(seen.calls.size(), 2u);
            EXPECT_EQ(seen.calls[0], std::string("  dst\\PatchDll.ini: ") + settings.shown);
            EXPECT_EQ(seen.calls[1], std::string("  base\\PatchDll.ini: ") + settings.shown);
        }
        EXPECT_NE(device.exists("dst\\PatchDll.ini"), settings.staleGoes);
        EXPECT_NE(device.exists("base\\PatchDll.ini"), settings.staleGoes);
        EXPECT_FALSE(device.exists("dst\\OVSrc.tmp"));
    }
}

// The files for the old agent go too when the run fails, and a library is freed though it served nobody.
TEST(AgentLoading, CleansUpAfterAFailedRunAndAnIncompleteAgent) {
    Device device;
    Manifest manifest = oldManifest({engine()});
    device.lay(manifest);
    device.order("StartPatch * answer 1");
    device.order("Unload * show dst\\OVSrc.tmp\\KxuPatch.ini");
    const Tree before = device.tree();
    const std::string shown = "  dst\\OVSrc.tmp\\KxuPatch.ini: [MAIN]|SOURCE=dst\\OVSrc.tmp\\|";
    const Outcome failed = device.run();
    EXPECT_EQ(failed.calls.back(), shown);
    EXPECT_EQ(text(before), text(failed.tree));

    device.agent("old_incomplete", kOldAgent);
    EXPECT_EQ(text(device.run().calls), shown + "\n");
    EXPECT_FALSE(device.exists("dst\\OVSrc.tmp"));
}

}  // namespace
}  // namespace ovpatch::scenarios
