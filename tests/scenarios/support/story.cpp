#include "story.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>

namespace ovpatch::scenarios {
namespace {

const char* const kClassNames[] = {"", "Product", "Engine", "Pattern"};

std::string hex(std::uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", number);
    return text;
}

std::string pair(std::uint32_t from, std::uint32_t to) {
    return std::to_string(from) + ", " + std::to_string(to);
}
std::string hexPair(std::uint32_t from, std::uint32_t to) {
    return "0x" + hex(from) + ", 0x" + hex(to);
}

std::string triple(const Version& version) {
    return "{0x" + hex(version.number) + " " + std::to_string(version.build) + " 0}";
}

bool endsInSeparator(const std::string& path) {
    const bool trailByte = path.size() > 1 && isLeadByte932(path[path.size() - 2]);
    return !path.empty() && path.back() == '\\' && !trailByte;
}

}  // namespace

std::string Manifest::text() const {
    std::string text = "[common]\naction=" + action + "\nitemcount=" + std::to_string(items.size()) +
                       "\npatchagent.version=" + std::to_string(generation) + "\n";
    if (!agent.empty()) text += "patchagent=" + agent + "\n";
    if (!backup.empty()) text += "backup=" + backup + "\n";
    text += "orvelle_path=" + orvellePath + "\n";
    for (std::size_t i = 0; i < items.size(); ++i) {
        const Item& item = items[i];
        text += "[item_" + std::to_string(i) + "]\nclass=" + std::to_string(item.itemClass) +
                "\ntype=" + hex(static_cast<std::uint32_t>(item.type)) +
                "\norigin.version=" + item.from.text + "\nresult.version=" + item.to.text +
                "\ndestination=" + item.destination + "\n";
        if (!item.force.empty()) text += "forceupdate=" + item.force + "\n";
        if (!item.zip.empty()) text += "item.zip=" + item.zip + "\n";
    }
    return text;
}

Story::Story(const Manifest& manifest, AgentFate fate) : manifest_(manifest), fate_(fate), classPaths_(4) {
    for (const Item& item : manifest.items) {
        if (item.itemClass < 1 || item.itemClass > 3) continue;
        std::string& path = classPaths_[static_cast<std::size_t>(item.itemClass)];
        if (path.empty()) path = item.destination;
    }
}

Story& Story::info(const std::string& line) {
    return log.push_back("I " + line), *this;
}
Story& Story::error(const std::string& line) {
    return log.push_back("E " + line), *this;
}
Story& Story::call(const std::string& line) {
    if (fate_ == AgentFate::Serves) calls.push_back(line);
    return *this;
}

Story& Story::mends(int itemClass, const std::string& path) {
    return classPaths_[static_cast<std::size_t>(itemClass)] = path, *this;
}

Story& Story::parses() {
    info("OvPatch action ready.").info("OvPatch action update.").info("update: start.");
    info("phaseIniForUpdate: start.").info("phaseIniForUpdate: common section key/value processing.");
    if (!manifest_.agent.empty()) info("phaseIniForUpdate: patch agent file(" + manifest_.agent + ").");
    info("phaseIniForUpdate: common section done.").info("phaseIniForUpdate: items processing.");
    return info("phaseIniForUpdate: done.");
}

Story& Story::loads() {
    info(std::string("update: update with ") + (old() ? "old" : "new") + " patch agent.");
    if (fate_ == AgentFate::NotThere) {
        error(manifest_.agent.empty() ? "loadSharedObj: filename is empty."
                                      : "loadSharedObj: " + manifest_.agent + " failed.");
        if (old()) info("loadOldPatchAgent: loadSharedObj failed.");
    } else if (!old()) {
        info("loadNewPatchAgent: resolve symbols.");
    }
    return *this;
}

Story& Story::opens(int answer, int wantsRollback) {
    info("updateWithPatchAgent: start.");
    if (!old()) {
        info("updateWithPatchAgent: start action.")
            .info("PatchAgent StartAction with: void")
            .call("StartAction()");
        if (answer == 1) error("updateWithPatchAgent: start action failed.");
        if (answer == 2) error("updateWithPatchAgent: start action, need close program.");
        return *this;
    }
    std::uint32_t mask = 0;
    for (const int itemClass : {3, 2, 1}) {
        const Item* first = nullptr;
        for (const Item& item : manifest_.items) {
            if (item.itemClass == itemClass && first == nullptr) first = &item;
        }
        if (first == nullptr) continue;
        const std::string entry = std::string("Get") + kClassNames[itemClass] + "Path";
        info("PatchAgent " + entry + " with: " + first->destination)
            .call(entry + "(" + first->destination + ")");
        info("PatchAgent " + entry + " mended: " + classPaths_[static_cast<std::size_t>(itemClass)]);
        mask |= itemClass == 1 ? 4u : itemClass == 2 ? 2u : 1u;
    }
    info("PatchAgent IsRollback with: void").call("IsRollback()");
    if (wantsRollback == 0) error("updateWithPatchAgent: patch agent want not to rollback.");
    info("updateWithPatchAgent: start patch.").info("PatchAgent StartPatch with: " + hex(mask));
    call("StartPatch(" + std::to_string(mask) + ")");
    if (answer == 1) error("updateWithPatchAgent: start patch failed.");
    if (answer == 2) error("updateWithPatchAgent: start patch, need close program.");
    return *this;
}

Story& Story::starts(std::size_t i, int answer) {
    const Item& item = manifest_.items[i];
    const std::string shownZip = item.zip.empty() ? "NULL_String" : item.zip;
    const std::string passedZip = item.zip.empty() ? "null" : item.zip;
    item_ = i;
    if (old()) {
        const std::string name = kClassNames[item.itemClass];
        info("PatchAgent Start" + name + " with: " + shownZip).call("Start" + name + "(" + passedZip + ")");
        if (answer != 0) return *this;
        error(std::string("startEachItem: start ") + static_cast<char>(name[0] + 0x20) + name.substr(1) +
              " failed.");
    } else {
        bool force = false;
        for (std::size_t k = 0; k <= i; ++k) {
            force = force || !(manifest_.items[k].force.empty() || manifest_.items[k].force == "0");
        }
        const std::string identity =
            ", " + std::to_string(item.itemClass) + ", " + std::to_string(item.type) + ", ";
        const std::string flags = force ? "1, " : "0, ";
        info("PatchAgent StartItem with: " + shownZip + identity + flags +
             pair(item.from.number, item.to.number));
        call("StartItem(" + passedZip + identity + flags + triple(item.from) + ", " + triple(item.to) + ")");
        if (answer != 0) return *this;
        error("startEachItem: start item failed.");
    }
    return ended(item, false, item.from, item.to, false).error("updateWithPatchAgent: start item failed.");
}

std::string Story::target(std::size_t i) const {
    const Item& item = manifest_.items[i];
    return old() ? classPaths_[static_cast<std::size_t>(item.itemClass)] : item.destination;
}

Story& Story::copies(std::size_t i) {
    begun_.resize(i + 1);
    return info("xcopy from: " + manifest_.items[i].source() + "* to: " + target(i) + "\n");
}

Story& Story::file(const std::string& name, Fate fate, int answer) {
    const std::string directory = target(item_);
    const std::string path = directory + (endsInSeparator(directory) ? "" : "\\") + name;
    const std::string returned = "( " + path + " ) return " + std::to_string(answer);
    if (old()) {
        info("Old OV temp " + manifest_.items[item_].destination + "\\OVSrc.tmp");
        info("PatchAgent CheckFile with: " + path).call("CheckFile(" + path + ")");
        info("Update: Call patchagent Checkfile" + returned);
    } else {
        info("PatchAgent CheckFileEx with: " + path).call("CheckFileEx(" + path + ")");
        info("UpdateEx: Call patchagent CheckfileEx" + returned);
    }
    answered(answer, fate);
    return *this;
}

void Story::answered(int answer, Fate fate) {
    if (answer == 0) {
        error("callBackForUpdate: check file user skip this file");
    } else if (answer == -1 || answer == -2) {
        error("callBackForUpdate: check file failed.");
    } else {
        if (answer != 1) error("callBackForUpdate: check file return unknown value.");
        if (fate == Fate::Overwritten) info("callBackForUpdate: over write file done.");
        ++(fate == Fate::Added ? begun_[item_].added : begun_[item_].written);
    }
}

// The old generation's log shows all numbers shifted, but for a product or an engine that is undone.
Story& Story::ended(const Item& item, bool success, const Version& from, const Version& to, bool undoing) {
    const std::string said = success ? "TRUE, " : "FALSE, ";
    const std::string passed = success ? "(1, " : "(0, ";
    if (!old()) {
        info("PatchAgent EndItem with: " + said + pair(from.number, to.number));
        return call("EndItem" + passed + triple(from) + ", " + triple(to) + ")");
    }
    const std::string entry = std::string("End") + kClassNames[item.itemClass];
    const bool plain = undoing && item.itemClass != 3;
    const auto shown = [plain](std::uint32_t number) { return plain ? number : number << 16; };
    const auto given = [&item](std::uint32_t number) {
        if (item.itemClass != 3) return number;
        return (item.type <= 4 && number >= 1000 ? number / 100 % 1000 : number) << 16;
    };
    info("PatchAgent " + entry + " with: " + said + pair(shown(from.number), shown(to.number)));
    return call(entry + passed + hexPair(given(from.number), given(to.number)) + ")");
}

Story& Story::ends(bool success, int answer) {
    const Item& item = manifest_.items[item_];
    ended(item, success, item.from, item.to, false);
    return answer != 0 ? *this : error("updateWithPatchAgent: end item failed.");
}

Story& Story::undoBegins() {
    return info("updateWithPatchAgent: auto rollback.");
}
Story& Story::undoIsOver() {
    return info("updateWithPatchAgent: auto rollback done.");
}

Story& Story::undoStarts(std::size_t i, int answer) {
    const Item& item = manifest_.items[i];
    if (old()) {
        const std::string start = std::string("Start") + kClassNames[item.itemClass];
        info("PatchAgent " + start + " with: empty string").call(start + "()");
        return answer != 0 ? *this : ended(item, false, item.to, item.from, true);
    }
    const std::string identity =
        ", " + std::to_string(item.itemClass) + ", " + std::to_string(item.type) + ", 2, ";
    info("PatchAgent StartItem: empty string" + identity + pair(item.to.number, item.from.number));
    call("StartItem(" + identity + triple(item.to) + ", " + triple(item.from) + ")");
    if (answer != 0) return *this;
    return error("Start Class[" + std::to_string(item.itemClass) + "] error but in auto rollback ignore it");
}

Story& Story::undoEnds(std::size_t i, int answer) {
    const Item& item = manifest_.items[i];
    ended(item, true, item.to, item.from, true);
    if (answer != 0) return *this;
    return error("End Class[" + std::to_string(item.itemClass) + "] error but in auto rollback so ignore it");
}

Story& Story::undoes() {
    undoBegins();
    for (std::size_t i = 0; i < begun_.size(); ++i)
        undoStarts(i).undoEnds(i);
    return undoIsOver();
}

Story& Story::quits() {
    if (!old()) {
        info("updateWithPatchAgent: end action.").info("PatchAgent EndAction with: void").call("EndAction()");
    }
    info("updateWithPatchAgent: error quit.").error("update: updateWithPatchAgent failed.");
    return leavesResult();
}

Story& Story::closes(int lastAnswer) {
    if (!old()) {
        info("updateWithPatchAgent: end action.").info("PatchAgent EndAction with: void");
        return call("EndAction()");
    }
    info("updateWithPatchAgent: end patch.").info("PatchAgent EndPatch with: TRUE");
    return call("EndPatch(" + std::to_string(lastAnswer) + ")");
}

Story& Story::merges() {
    std::map<std::string, std::vector<Stored>> ledgers;
    std::vector<std::vector<Stored>> before;
    for (std::size_t i = 0; i < begun_.size(); ++i) {
        std::vector<Stored>& ledger = ledgers[manifest_.items[i].destination];
        before.push_back(ledger);
        ledger.push_back(begun_[i]);
    }
    return merges(before);
}

Story& Story::merges(const std::vector<std::vector<Stored>>& before) {
    info("mergeBackupIni: start.").info("mergeBackupIni: backup needed.");
    for (const std::vector<Stored>& records : before)
        reads(records, !manifest_.agent.empty());
    return info("mergeBackupIni: done.");
}

Story& Story::reads(const std::vector<Stored>& records, bool withAgentFile) {
    const std::string reader = "phaseIniForBackup: ";
    info(reader + "start.").info(reader + "commom section fetch.");
    info(reader + (withAgentFile ? "patch agent file(" + manifest_.agent + ")" : "patch agent file NULL"));
    info(reader + "common section done.");
    if (records.empty()) return info(reader + "done, item number is zero.");
    info(reader + "process for each item.");
    for (const Stored& record : records) {
        if (record.added == 0 && record.written == 0) error(reader + "item has no backuped files.");
        if (record.added != 0)
            info(reader + "for each added file name.").info(reader + "fetch added file name done.");
        if (record.written != 0)
            info(reader + "fetch written file name.").info(reader + "fetch written file name done.");
    }
    return info(reader + "all items done.").info(reader + "done.");
}

Story& Story::isDone() {
    return info("updateWithPatchAgent: done.").leavesResult();
}
Story& Story::leavesResult() {
    return info("writeResult: start.").info("writeResult: done.");
}

std::string ledgerHead(const Manifest& manifest, std::size_t itemCount) {
    return "[common]\nitemcount=" + std::to_string(itemCount) +
           "\npatchagent.version=" + std::to_string(manifest.generation) + "\n" +
           (manifest.agent.empty() ? "" : "patchagent=" + manifest.agent + "\n");
}

std::string ledgerRecord(std::size_t n, const Item& item, const Lines& added, const Lines& written) {
    std::string text = "[item_" + std::to_string(n) + "]\nclass=" + std::to_string(item.itemClass) +
                       "\ntype=" + hex(static_cast<std::uint32_t>(item.type)) +
                       "\norigin.version=" + item.from.written() + "\nresult.version=" + item.to.written() +
                       "\n";
    const auto list = [&text](const std::string& key, const Lines& entries) {
        text += key + ".filecount=" + std::to_string(entries.size()) + "\n";
        for (std::size_t k = 0; k < entries.size(); ++k) {
            text += key + "." + std::to_string(k) + "=" + entries[k] + "\n";
        }
    };
    list("added", added);
    list("written", written);
    return text;
}

void putDirectory(Tree& tree, const std::string& path) {
    for (std::size_t at = path.find('\\'); at != std::string::npos; at = path.find('\\', at + 1)) {
        tree.emplace(path.substr(0, at + 1), "");
    }
}

void put(Tree& tree, const std::string& path, const std::string& content) {
    putDirectory(tree, path);
    tree[path] = content;
}

void putUpdated(Tree& tree, const Manifest& manifest, std::size_t i) {
    const Item& item = manifest.items[i];
    const std::string n = std::to_string(i) + ".bin";
    put(tree, item.destination + "\\new" + n, "new" + n + " of the update");
    put(tree, item.destination + "\\old" + n, "old" + n + " of the update");
    put(tree, item.backups() + "backup.000", "old" + n + " as it was");
}

std::string laidRecord(const Manifest& manifest, std::size_t i) {
    const std::string& destination = manifest.items[i].destination;
    const std::string n = std::to_string(i) + ".bin";
    return ledgerRecord(i, manifest.items[i], {destination + "\\new" + n},
                        {"backup.000, " + destination + "\\old" + n});
}

void expectOutcome(const Outcome& seen, const Story& story, int result, const Tree& tree) {
    const auto flat = [](std::string line) {
        line.erase(std::remove(line.begin(), line.end(), '\n'), line.end());
        return line;
    };
    Lines log;
    for (const std::string& line : story.log)
        log.push_back(flat(line));
    EXPECT_EQ(seen.exitValue, 0);
    EXPECT_EQ(seen.result, "result=" + std::to_string(result) + "\n");
    EXPECT_EQ(text(log), text(seen.log));
    EXPECT_EQ(text(story.calls), text(seen.calls));
    EXPECT_EQ(text(tree), text(seen.tree));
}

}  // namespace ovpatch::scenarios
