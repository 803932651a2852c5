#include "story.h"

#include <algorithm>
#include <cstdint>

namespace ovpatch::scenarios {
namespace {

const char* const kClassNames[] = {"", "Product", "Engine", "Pattern"};
const char* const kDiskAccess = "updateWithPatchAgent: xcopy failed, disk access.";

std::string pair(std::uint32_t from, std::uint32_t to) {
    return std::to_string(from) + ", " + std::to_string(to);
}

std::string triple(const Version& version) {
    return "{0x" + hex(version.number) + " " + std::to_string(version.build) + " 0}";
}

const std::string& inLedger(const Version& version) {
    return version.inLedger.empty() ? version.text : version.inLedger;
}

bool endsInSeparator(const std::string& path) {
    return joined(path, "").size() == path.size();
}

bool sameItem(const Item& one, const Item& other) {
    return one.itemClass == other.itemClass && one.type == other.type;
}

void eraseBelow(Tree& tree, const std::string& directory) {
    for (auto entry = tree.lower_bound(directory);
         entry != tree.end() && entry->first.rfind(directory, 0) == 0;) {
        entry = tree.erase(entry);
    }
}

}  // namespace

void putDirectory(Tree& tree, const std::string& path) {
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (isLeadByte932(path[i])) {
            ++i;
        } else if (path[i] == '\\') {
            tree.emplace(path.substr(0, i + 1), "");
        }
    }
}

void put(Tree& tree, const std::string& path, const std::string& content) {
    putDirectory(tree, path);
    tree[path] = content;
}

std::string Ledger::text() const {
    std::string text = "[common]\nitemcount=" + std::to_string(records.size()) +
                       "\npatchagent.version=" + std::to_string(generation) + "\n" + agentLine +
                       transactionLine;
    const auto list = [&text](const std::string& key, const Lines& entries) {
        text += key + ".filecount=" + std::to_string(entries.size()) + "\n";
        for (std::size_t k = 0; k < entries.size(); ++k)
            text += key + "." + std::to_string(k) + "=" + entries[k] + "\n";
    };
    for (const auto& [number, record] : records) {
        text += "[item_" + std::to_string(number) + "]\nclass=" + std::to_string(record.item.itemClass) +
                "\ntype=" + hex(static_cast<std::uint32_t>(record.item.type)) +
                "\norigin.version=" + inLedger(record.item.from) +
                "\nresult.version=" + inLedger(record.item.to) + "\n";
        list("added", record.added);
        list("written", record.written);
    }
    return text;
}

Story::Story(Device& device, const Manifest& manifest, AgentFate fate)
    : tree(device.tree()), device_(device), manifest_(manifest), fate_(fate) {
    for (const Item& item : manifest.items)
        classPaths.emplace(item.itemClass, item.destination);
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

Story& Story::parses() {
    info("OvPatch action ready.").info("OvPatch action update.").info("update: start.");
    info("phaseIniForUpdate: start.").info("phaseIniForUpdate: common section key/value processing.");
    if (!manifest_.agent.empty()) info("phaseIniForUpdate: patch agent file(" + manifest_.agent + ").");
    info("phaseIniForUpdate: common section done.").info("phaseIniForUpdate: items processing.");
    return info("phaseIniForUpdate: done.");
}

Story& Story::loads() {
    info(std::string("update: update with ") + (old() ? "old" : "new") + " patch agent.");
    const std::string& first = manifest_.items[0].destination;
    if (old() && tree.count(first) == 0) putDirectory(tree, joined(first, "OVSrc.tmp\\"));
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
        const auto first = std::find_if(manifest_.items.begin(), manifest_.items.end(),
                                        [=](const Item& item) { return item.itemClass == itemClass; });
        if (first == manifest_.items.end()) continue;
        const std::string entry = std::string("Get") + kClassNames[itemClass] + "Path";
        info("PatchAgent " + entry + " with: " + first->destination)
            .call(entry + "(" + first->destination + ")");
        info("PatchAgent " + entry + " mended: " + classPaths[itemClass]);
        mask |= 8u >> itemClass;
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
    stopped_ = "";
    if (old()) {
        const std::string name = kClassNames[item.itemClass];
        info("PatchAgent Start" + name + " with: " + shownZip).call("Start" + name + "(" + passedZip + ")");
        if (answer != 0) return *this;
        error(std::string("startEachItem: start ") + static_cast<char>(name[0] + 0x20) + name.substr(1) +
              " failed.");
    } else {
        const bool force =
            std::any_of(manifest_.items.begin(), manifest_.items.begin() + static_cast<long>(i) + 1,
                        [](const Item& one) { return one.force == "1"; });
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

const std::string& Story::target() const {
    const Item& item = manifest_.items[item_];
    return old() ? classPaths.at(item.itemClass) : item.destination;
}

Story& Story::copies() {
    const std::string source = manifest_.items[item_].source();
    const std::string bare = endsInSeparator(target()) ? target().substr(0, target().size() - 1) : target();
    begun_.push_back({manifest_.items[item_]});
    info("xcopy from: " + source + "* to: " + target() + "\n");
    if (!endsInSeparator(target()) && tree.count(target() + "\\") == 0) {
        stopped_ = "updateWithPatchAgent: xcopy failed, bad parameters.";
    } else if (tree.count(bare) != 0) {
        stopped_ = kDiskAccess;
    } else {
        putDirectory(tree, joined(target(), ""));
    }
    for (const auto& entry : Tree(tree)) {
        if (entry.first.rfind(source, 0) != 0 || entry.first == source) continue;
        if (!stopped_.empty()) break;
        const std::string name = entry.first.substr(source.size());
        const std::string path = joined(target(), name);
        const bool isDirectory = endsInSeparator(name);
        const bool isBlocked = tree.count(isDirectory ? path.substr(0, path.size() - 1) : path + "\\") != 0;
        if (isBlocked) {
            stopped_ = kDiskAccess;
        } else if (isDirectory) {
            putDirectory(tree, path);
        } else {
            offers(name);
        }
    }
    return stopped_.empty() ? *this : error(stopped_);
}

// One file of the present item is asked about and, if so answered, put in place.
void Story::offers(const std::string& name) {
    const Item& item = manifest_.items[item_];
    const std::string path = joined(target(), name);
    const std::string content = tree.at(item.source() + name);
    const int answer = answers.count(name) != 0 ? answers.at(name) : 1;
    const std::string returned = "( " + path + " ) return " + std::to_string(answer);
    if (old()) {
        const std::string staging = joined(item.destination, "OVSrc.tmp");
        info("Old OV temp " + staging);
        if (name == unstaged) {
            error("Copy to old ov temp failed");
        } else {
            put(tree, joined(staging, path.substr(path.rfind('\\') + 1)), content);
        }
        info("PatchAgent CheckFile with: " + path).call("CheckFile(" + path + ")");
        info("Update: Call patchagent Checkfile" + returned);
    } else {
        info("PatchAgent CheckFileEx with: " + path).call("CheckFileEx(" + path + ")");
        info("UpdateEx: Call patchagent CheckfileEx" + returned);
    }
    if (shows.count(name) != 0) call(shows.at(name));
    if (answer == 0) {
        error("callBackForUpdate: check file user skip this file");
    } else if (answer == -1 || answer == -2) {
        error("callBackForUpdate: check file failed.");
        stopped_ = "updateWithPatchAgent: user cancel this";
    } else {
        if (answer != 1) error("callBackForUpdate: check file return unknown value.");
        const bool exists = tree.count(path) != 0;
        if (exists) saves(path);
        if (name == broken) {
            stopped_ = kDiskAccess;
            return;
        }
        if (!exists) begun_.back().added.push_back(path);
        put(tree, path, content);
    }
}

void Story::saves(const std::string& path) {
    Record& record = begun_.back();
    char digit = '0';
    while (tree.count(record.item.backups() + "backup.00" + digit) != 0)
        ++digit;
    const std::string name = std::string("backup.00") + digit;
    put(tree, record.item.backups() + name, tree[path]);
    record.written.push_back(name + ", " + path);
    info("callBackForUpdate: over write file done.");
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
    return call(entry + passed + "0x" + hex(given(from.number)) + ", 0x" + hex(given(to.number)) + ")");
}

Story& Story::ends(int answer) {
    const Item& item = manifest_.items[item_];
    ended(item, stopped_.empty(), item.from, item.to, false);
    return answer != 0 ? *this : error("updateWithPatchAgent: end item failed.");
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

Story& Story::undoFiles(std::size_t i) {
    for (const std::string& path : begun_[i].added)
        tree.erase(path);
    for (const std::string& entry : begun_[i].written) {
        const std::size_t comma = entry.find(", ");
        if (entry.find(',', comma + 1) != std::string::npos)
            return error("autoRollback: written file name failed.");
        const auto copy = tree.find(begun_[i].item.backups() + entry.substr(0, comma));
        tree[entry.substr(comma + 2)] = copy->second;
        tree.erase(copy);
    }
    return *this;
}

Story& Story::undoEnds(std::size_t i, int answer) {
    const Item& item = manifest_.items[i];
    ended(item, true, item.to, item.from, true);
    if (answer != 0) return *this;
    return error("End Class[" + std::to_string(item.itemClass) + "] error but in auto rollback so ignore it");
}

Story& Story::undoes() {
    info("updateWithPatchAgent: auto rollback.");
    for (std::size_t i = 0; i < begun_.size(); ++i)
        undoStarts(i).undoFiles(i).undoEnds(i);
    return info("updateWithPatchAgent: auto rollback done.");
}

Story& Story::quits() {
    if (!old()) {
        info("updateWithPatchAgent: end action.").info("PatchAgent EndAction with: void").call("EndAction()");
    }
    info("updateWithPatchAgent: error quit.").error("update: updateWithPatchAgent failed.");
    return leavesResult();
}

Story& Story::closes() {
    if (!old()) {
        info("updateWithPatchAgent: end action.").info("PatchAgent EndAction with: void");
        return call("EndAction()");
    }
    return info("updateWithPatchAgent: end patch.")
        .info("PatchAgent EndPatch with: TRUE")
        .call("EndPatch(1)");
}

Story& Story::merges() {
    info("mergeBackupIni: start.");
    if (manifest_.backup == "0") {
        info("mergeBackupIni: no need to backup.");
        dropsRecords();
        info("mergeBackupIni: no backup done.");
    } else {
        info("mergeBackupIni: backup needed.");
        mergesRecords();
        info("mergeBackupIni: done.");
    }
    for (const auto& [destination, ledger] : ledgers) {
        put(tree, joined(destination, "OV_Backup\\OvBackup.ini"), ledger.text());
    }
    return *this;
}

void Story::mergesRecords() {
    std::string numbers;
    for (const Record& record : begun_) {
        const std::string agentLine = manifest_.agent.empty() ? "" : "patchagent=" + manifest_.agent + "\n";
        ledgers.emplace(record.item.destination, Ledger{manifest_.generation, agentLine});
    }
    for (const Record& record : begun_) {
        Ledger& ledger = ledgers[record.item.destination];
        reads(ledger);
        std::size_t number = ledger.records.size();
        const auto stored = std::find_if(ledger.records.begin(), ledger.records.end(), [&](const auto& one) {
            return sameItem(one.second.item, record.item);
        });
        if (stored != ledger.records.end()) {
            number = stored->first;
            dropCopies(stored->second);
            ledger.records.erase(stored);
        }
        ledger.records.emplace_back(number, record);
        numbers = std::to_string(number) + ", " + numbers;
        // A value that was read lost the blank behind it.
        std::string& line = ledger.transactionLine;
        if (line.size() > 2 && line[line.size() - 2] == ' ') line.erase(line.size() - 2, 1);
    }
    if (old()) ledgers[begun_[0].item.destination].transactionLine = "transaction=" + numbers + "\n";
}

void Story::dropsRecords() {
    for (const Record& record : begun_) {
        dropCopies(record);
        const auto found = ledgers.find(record.item.destination);
        if (found == ledgers.end()) {
            info("phaseIniForBackup: start.").info("phaseIniForBackup: commom section fetch.");
            error("phaseIniForBackup: fetch item count failed.").info("phaseIniForBackup: error quit.");
            continue;
        }
        Ledger& ledger = found->second;
        reads(ledger);
        std::sort(ledger.records.begin(), ledger.records.end(),
                  [](const auto& one, const auto& other) { return one.first < other.first; });
        const auto stored = std::find_if(ledger.records.begin(), ledger.records.end(), [&](const auto& one) {
            return sameItem(one.second.item, record.item);
        });
        if (stored == ledger.records.end()) continue;
        dropCopies(stored->second);
        for (auto behind = ledger.records.erase(stored); behind != ledger.records.end(); ++behind)
            --behind->first;
        if (ledger.agentLine.empty()) ledger.agentLine = "patchagent=\n";
        ledger.transactionLine = "";
    }
}

void Story::dropCopies(const Record& record) {
    for (const std::string& entry : record.written)
        tree.erase(record.item.backups() + entry.substr(0, entry.find(',')));
}

Story& Story::reads(const Ledger& ledger) {
    const std::string reader = "phaseIniForBackup: ";
    const std::string& agent = ledger.agentLine;
    info(reader + "start.").info(reader + "commom section fetch.");
    info(reader + "patch agent file" +
         (agent.empty() ? " NULL" : "(" + agent.substr(11, agent.size() - 12) + ")"));
    info(reader + "common section done.");
    if (ledger.records.empty()) return info(reader + "done, item number is zero.");
    info(reader + "process for each item.");
    std::map<std::size_t, const Record*> byNumber;
    for (const auto& [number, record] : ledger.records)
        byNumber[number] = &record;
    for (const auto& [number, record] : byNumber) {
        if (record->added.empty() && record->written.empty()) error(reader + "item has no backuped files.");
        if (!record->added.empty()) {
            info(reader + "for each added file name.").info(reader + "fetch added file name done.");
        }
        if (!record->written.empty()) {
            info(reader + "fetch written file name.").info(reader + "fetch written file name done.");
        }
    }
    return info(reader + "all items done.").info(reader + "done.");
}

Story& Story::isDone() {
    return info("updateWithPatchAgent: done.").leavesResult();
}

Story& Story::leavesResult() {
    if (old()) eraseBelow(tree, joined(manifest_.items[0].destination, "OVSrc.tmp\\"));
    return info("writeResult: start.").info("writeResult: done.");
}

void Story::check(int result, const Lines& arguments) {
    const Outcome seen = device_.run(arguments);
    std::string told = text(log);
    // The reader of the log takes out the line feeds within the messages.
    for (std::size_t at = told.find("\n\n"); at != std::string::npos; at = told.find("\n\n", at))
        told.erase(at, 1);
    EXPECT_EQ(seen.exitValue, 0);
    EXPECT_EQ(seen.result, "result=" + std::to_string(result) + "\n");
    EXPECT_EQ(told, text(seen.log));
    EXPECT_EQ(text(calls), text(seen.calls));
    EXPECT_EQ(text(tree), text(seen.tree));
}

}  // namespace ovpatch::scenarios
