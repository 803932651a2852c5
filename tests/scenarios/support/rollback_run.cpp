#include "rollback_run.h"

#include "rollback_model.h"

namespace ovpatch::scenarios {

void order(Device& device, const Manifest& manifest, const Lines& script) {
    std::string text = manifest.text();
    text.replace(text.find("action=0"), 8, "action=1");
    device.manifest(manifest);
    device.manifestText(text);
    device.noOrders();
    for (const std::string& line : script)
        device.order(line);
}

Outcome rollBack(Device& device, const Manifest& manifest, const Lines& script, AgentFate fate) {
    order(device, manifest, script);
    const Tree before = device.tree();
    const Expectation expected = foretell(manifest, before, script, fate);
    Outcome seen = device.run();
    EXPECT_EQ(text(expected.told.calls), text(seen.calls));
    if (expected.result == kAgentDied) {
        EXPECT_NE(seen.exitValue, 0);
        // What an old agent was given stays behind with it.
        for (auto at = seen.tree.begin(); at != seen.tree.end();)
            at = at->first.find("OVSrc.tmp") != std::string::npos ? seen.tree.erase(at) : std::next(at);
    } else {
        EXPECT_EQ(seen.exitValue, 0);
        EXPECT_EQ(seen.result, "result=" + std::to_string(expected.result) + "\n");
        EXPECT_EQ(text(expected.told.log), text(seen.log));
    }
    EXPECT_EQ(text(expected.tree), text(seen.tree));
    for (const auto& [path, content] : before) {
        if (expected.result == 0 || nameOf(path) != "OvBackup.ini") continue;
        EXPECT_EQ(seen.tree[path], content);
    }
    return seen;
}

void install(Device& device, const Manifest& manifest, const std::vector<int>& added,
             const std::vector<int>& written) {
    std::map<std::string, Ledger> ledgers;
    for (std::size_t i = 0; i < manifest.items.size(); ++i) {
        const Item& item = manifest.items[i];
        const std::string place = item.destination + "\\i" + std::to_string(i) + "\\";
        Record record{item};
        for (int k = 0; k < added[i]; ++k) {
            record.added.push_back(place + "a" + std::to_string(k) + ".bin");
            device.file(record.added.back(), "added");
        }
        for (int k = 0; k < written[i]; ++k) {
            const std::string path = place + "w" + std::to_string(k) + ".bin";
            const std::string name = "backup." + suffix(static_cast<std::size_t>(k));
            device.file(path, "new " + path);
            device.file(item.backups() + name, "old " + path);
            record.written.push_back(name + ", " + path);
        }
        Ledger& ledger = ledgers[item.destination];
        ledger.generation = manifest.generation;
        ledger.agentLine = "patchagent=" + manifest.agent + "\n";
        ledger.records.emplace_back(ledger.records.size(), record);
    }
    for (const auto& [destination, ledger] : ledgers)
        device.file(destination + "\\OV_Backup\\OvBackup.ini", ledger.text());
}

Tree inPlace(const Tree& tree) {
    Tree files;
    for (const auto& [path, content] : tree) {
        if (path.back() != '\\' && path.find("OV_Backup\\") == std::string::npos &&
            path.rfind("base\\", 0) != 0)
            files[path] = content;
    }
    return files;
}

}  // namespace ovpatch::scenarios
