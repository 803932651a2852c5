// Rollbacks of what is drawn at random.
#include <random>

#include "support/rollback_run.h"

namespace ovpatch::scenarios {
namespace {

constexpr unsigned kRounds = 25;

class Draw {
public:
    explicit Draw(unsigned seed) : engine_(seed) {}
    unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
    std::string content() {
        return below(5) == 0 ? "" : std::to_string(engine_()) + std::string(below(3000), '.');
    }
    // No two items share a file, and no file has a directory's name.
    std::string path(std::size_t item, unsigned n) {
        std::string path;
        for (unsigned depth = below(4); depth > 0; --depth)
            path += "d" + std::to_string(below(3)) + "\\";
        return path + "f" + std::to_string(item) + "_" + std::to_string(n) +
               (below(2) == 0 ? ".bin" : ".dat");
    }
    // The classes of an old agent have one place each.
    Manifest manifest() {
        const char* const destinations[] = {"dst", "other\\place", "dst\\within"};
        Manifest manifest{static_cast<int>(below(2)), {}};
        const unsigned place = below(3);
        for (Item item : {engine(), product(), pattern(), engine(), pattern()}) {
            item.type += static_cast<int>(manifest.items.size()) - 2;
            const unsigned shift =
                manifest.generation == 0 ? static_cast<unsigned>(item.itemClass) : below(3);
            item.destination = destinations[(place + shift) % 3];
            if (below(2) == 0) manifest.items.push_back(item);
        }
        if (manifest.items.empty()) manifest.items.push_back(engine());
        return manifest;
    }

private:
    std::mt19937 engine_;
};

TEST(RollbackRandom, BringsBackWhatAnUpdateFound) {
    for (unsigned seed = 1; seed <= kRounds && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        Device device;
        const Manifest manifest = draw.manifest();
        device.manifest(manifest);
        for (std::size_t i = 0; i < manifest.items.size(); ++i) {
            const Item& item = manifest.items[i];
            device.file(item.destination + "\\untouched" + std::to_string(i), draw.content());
            for (unsigned n = draw.below(12); n > 0; --n) {
                const std::string path = draw.path(i, n);
                device.file(item.source() + path, draw.content());
                if (draw.below(2) == 0) device.file(item.destination + "\\" + path, draw.content());
            }
        }
        const std::string check = manifest.generation == 0 ? "CheckFile" : "CheckFileEx";
        Lines skips;
        if (draw.below(2) == 0) skips = {check + " ~.dat answer 0", check + " ~1.bin answer 0"};
        for (const std::string& line : skips)
            device.order(line);

        const Tree before = device.tree();
        EXPECT_EQ(device.run().result, "result=0\n");
        const Outcome seen = rollBack(device, manifest, skips);
        EXPECT_EQ(seen.result, "result=0\n");
        Tree files = inPlace(seen.tree);
        // An update leaves what it staged below other destinations than the first item's.
        for (auto at = files.begin(); at != files.end();)
            at = at->first.find("\\OVSrc.tmp\\") != std::string::npos ? files.erase(at) : std::next(at);
        EXPECT_EQ(text(inPlace(before)), text(files));
        const std::string agentLine = "patchagent=" + manifest.agent + "\n";
        for (const auto& [path, content] : seen.tree) {
            if (path.back() == '\\' || path.find("OV_Backup\\") == std::string::npos) continue;
            EXPECT_EQ(path.substr(path.rfind('\\')), "\\OvBackup.ini");
            EXPECT_EQ(content, (Ledger{manifest.generation, agentLine}.text()));
        }
    }
}

// With any agent and any answers a run is what the model makes of it, and one that fails leaves the files as
// they were.
TEST(RollbackRandom, IsWhatTheModelMakesOfIt) {
    for (unsigned seed = 1; seed <= kRounds && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        Device device;
        Manifest manifest = draw.manifest();
        std::vector<int> added, written;
        for (Item& item : manifest.items) {
            added.push_back(static_cast<int>(draw.below(5)));
            written.push_back(static_cast<int>(draw.below(7)));
            if (draw.below(2) == 0) item.zip = "some files.zip";
        }
        install(device, manifest, added, written);
        const int answers[] = {1, 0, 7, -1, -2, 1, 0, 7, 1, 1};
        Lines script;
        for (unsigned n = 1; n < 30; ++n) {
            script.push_back((manifest.generation == 0 ? "CheckFile #" : "CheckFileEx #") +
                             std::to_string(n) + " answer " +
                             std::to_string(answers[draw.below(n < 4 ? 3 : 10)]));
        }
        const char* const brackets[] = {"EndItem #2", "EndPattern #1", "StartItem #3", "StartProduct #1"};
        if (draw.below(3) == 0) script.push_back(std::string(brackets[draw.below(4)]) + " answer 0");
        const AgentFate fate = static_cast<AgentFate>(draw.below(8));
        const bool old = manifest.generation == 0;
        if (fate == AgentFate::NotThere) manifest.agent = draw.below(2) == 0 ? "" : "none.dll";
        if (fate == AgentFate::Incomplete) manifest.agent = "agent\\part.dll";
        device.agent(old ? "old_incomplete" : "new_incomplete", "agent\\part.dll");
        const Tree before = device.tree();
        const Outcome seen =
            rollBack(device, manifest, script,
                     fate == AgentFate::NotThere || fate == AgentFate::Incomplete ? fate : AgentFate::Serves);
        if (seen.result != "result=0\n") {
            EXPECT_EQ(text(inPlace(before)), text(inPlace(seen.tree)));
        }
    }
}

}  // namespace
}  // namespace ovpatch::scenarios
