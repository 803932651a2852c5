#include "rollback_model.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace ovpatch::scenarios {
namespace {

const char* const kClassNames[] = {"", "Product", "Engine", "Pattern"};

std::string pair(std::uint32_t from, std::uint32_t to) {
    return std::to_string(from) + ", " + std::to_string(to);
}
std::string triple(const Version& version) {
    return "{0x" + hex(version.number) + " " + std::to_string(version.build) + " 0}";
}

Lines tokens(const std::string& text) {
    Lines pieces;
    std::istringstream in(text);
    for (std::string piece; std::getline(in, piece, ',');) {
        const std::size_t begin = std::min(piece.find_first_not_of(' '), piece.size());
        pieces.push_back(piece.substr(begin, piece.find_last_not_of(' ') + 1 - begin));
    }
    return pieces;
}

std::string ledgerPath(const Item& item) {
    return joined(item.destination, "OV_Backup\\OvBackup.ini");
}

auto findItem(Ledger& ledger, const Item& item) {
    return std::find_if(ledger.records.begin(), ledger.records.end(), [&](const auto& one) {
        return one.second.item.itemClass == item.itemClass && one.second.item.type == item.type;
    });
}

struct AgentDied {};

// A run's undo record of one item.
struct Slot {
    Item item{0, 0, {"0", 0}, {"0", 0}};
    Lines undo;
};

class Rollback {
public:
    Rollback(const Manifest& manifest, Tree before, const Lines& script, AgentFate fate)
        : tree(std::move(before)), manifest_(manifest), script_(script), fate_(fate) {}

    int run() {
        const std::string agent = manifest_.agent;
        told.log = {"I OvPatch action ready.", "I OvPatch Action rollback.", "I rollback: start.",
                    "I phaseIniForUpdate: start.",
                    "I phaseIniForUpdate: common section key/value processing."};
        if (manifest_.items.empty()) {
            told.info("phaseIniForUpdate: done, item is zero or no item.")
                .error("rollback: ovpatch contains no items.");
            return 5;
        }
        if (!agent.empty()) told.info("phaseIniForUpdate: patch agent file(" + agent + ").");
        for (const char* done : {"common section done.", "items processing.", "done."})
            told.info(std::string("phaseIniForUpdate: ") + done);
        if (manifest_.generation != 0 && manifest_.generation != 1) {
            told.error("rollback: unkown patch agent version number.");
            return 12;
        }
        // The files staged for an old agent come and go; the directories above them stay.
        if (old()) makesDirectory(tree, manifest_.items[0].destination + "\\");
        told.info(std::string("rollback: rollback with ") + (old() ? "old" : "new") + " patch agent.");
        const bool loaded = fate_ != AgentFate::NotThere;
        if (!loaded)
            told.error("loadSharedObj: " + (agent.empty() ? "filename is empty." : agent + " failed."));
        if (old() && !loaded) told.info("loadOldPatchAgent: loadSharedObj failed.");
        if (!old() && loaded) told.info("loadNewPatchAgent: resolve symbols.");
        if (old()) return transaction();
        told.info("PatchAgent IsRollbackEx with: void");
        if (ask("IsRollbackEx", "", 1) != 0) return transaction();
        told.error("rollback: patch agent refused to rollback.");
        return 60;
    }

    Tree tree;
    Told told;

private:
    bool old() const { return manifest_.generation == 0; }

    int transaction() {
        told.info("rollbackWithPatchAgent: start.")
            .info("rollbackWithPatchAgent: init auto-rollback backup structure.")
            .info("rollbackWithPatchAgent: init auto rollback backup info done.");
        int result = opens();
        if (result == 0) {
            result = items();
            if (result != 0) undoes();
        }
        if (result != 0) {
            told.info("rollbackWithPatchAgent: error quit.")
                .error("rollback: rollbackWithPatchAgent failed.");
            return result;
        }
        rewritesLedgers();
        told.info("rollbackWithPatchAgent: action done.").info("rollbackWithPatchAgent: done.");
        return 0;
    }

    int opens() {
        std::uint32_t mask = 0;
        for (const int itemClass : {3, 2, 1}) {
            const auto first = std::find_if(manifest_.items.begin(), manifest_.items.end(),
                                            [&](const Item& item) { return item.itemClass == itemClass; });
            if (!old() || first == manifest_.items.end()) continue;
            std::string path = first->destination;
            const std::string entry = std::string("Get") + kClassNames[itemClass] + "Path";
            told.info("PatchAgent " + entry + " with: " + path);
            ask(entry, first->destination, 0, &path);
            told.info("PatchAgent " + entry + " mended: " + path);
            mask += 1u << (3 - itemClass);
        }
        if (old() && ask("IsRollback", "", 1) == 0) {
            told.error("rollbackWithPatchAgent: patch agent want not to rollback.");
            return 60;
        }
        const std::string what = old() ? "patch" : "action";
        told.info("rollbackWithPatchAgent: start " + what + ".")
            .info("PatchAgent " + (old() ? "StartPath with: " + hex(mask) : "StartAction with: void"));
        const int answer = old() ? ask("StartPatch", std::to_string(mask), 0) : ask("StartAction", "", 0);
        if (answer == 1) told.error("rollbackWithPatchAgent: start " + what + " failed.");
        if (answer == 2) told.error("rollbackWithPatchAgent: start " + what + " close program needed.");
        return answer == 1 ? 60 : answer == 2 ? 3 : 0;
    }

    int items() {
        int lastEnd = 0;
        for (const Item& item : manifest_.items) {
            Slot& slot = slots_.emplace_back();
            const bool known = !old() || (item.itemClass >= 1 && item.itemClass <= 3);
            if (!known || starts(item, false) == 0) {
                const char* const names[] = {"item", "product", "engine", "pattern"};
                const std::string name = known ? names[old() ? item.itemClass : 0] : "";
                told.error("startEachItem: " + (known ? "start " + name + " failed." : "unknown class."));
                if (known) ends(item, false, false);
                told.error("rollbackWithPatchAgent: start item failed.");
                return 60;
            }
            slot.item = item;
            const int answer = rollsBack(item, slot);
            int result = answer == 1 ? 60 : answer == -1 ? 12 : answer < 0 ? 16 : 0;
            const char* const reason = answer == 1    ? "user cancel."
                                       : answer == -1 ? "bad arguments."
                                                      : "access failed.";
            if (answer != 0) told.error(std::string("rollbackWithPatchAgent: ") + reason);
            lastEnd = ends(item, result == 0, false);
            if (lastEnd == 0) result = 60, told.error("rollbackWithPatchAgent: end item failed.");
            if (result == 0) continue;
            told.error("rollbackWithPatchAgent: item failed.");
            return result;
        }
        if (old()) {
            told.info("rollbackWithPatchAgent: end patch.").info("PatchAgent EndPatch with: TRUE");
            ask("EndPatch", std::to_string(lastEnd), 1);
        } else {
            told.info("PatchAgent EndAction with: void");
            ask("EndAction", "", 1);
            told.info("rollbackWithPatchAgent: end action.");
        }
        return 0;
    }

    int rollsBack(const Item& item, Slot& slot) {
        told.info("rollbackItem: start.");
        if ((item.destination + "\\OV_Backup").size() >= 260) {
            told.error("rollbackItem: CatURIWithFile failed.");
            return -1;
        }
        const auto text = tree.find(ledgerPath(item));
        auto ledger = text == tree.end() ? std::nullopt : readLedger(text->second, told);
        if (!ledger) {
            const std::string missing = ledgerPath(item) + " doesnot exist.";
            told.error("rollbackItem: " + (text == tree.end() ? missing : "phaseIniForBackup failed."));
            return -2;
        }
        told.info("rollbackItem: find out the item with same class/type.");
        const auto found = findItem(*ledger, item);
        told.info(found == ledger->records.end() ? "rollbackItem: item not found."
                                                 : "rollbackItem: item found.");
        if (found == ledger->records.end()) return -3;

        // A safety copy that gets the name of a copy is none, whichever slot of the run it belongs to.
        Tree there = tree;
        for (const Slot& other : slots_) {
            for (const std::string& entry : other.undo)
                there.erase(other.item.backups() + tokens(entry)[0]);
        }
        int answer = 0;
        skips_ = false;
        for (const std::string& path : found->second.added) {
            if (answer == 0) answer = file(path, "", false, slot);
        }
        if (answer == 0) told.info("rollbackItem: rollback added file done.");
        for (const std::string& entry : found->second.written) {
            const std::string copy = item.backups() + nameOf(tokens(entry)[0]);
            if (answer == 0) answer = file(tokens(entry)[1], copy, there.count(copy) != 0, slot);
        }
        if (answer != 0) told.error("rollbackItem: rollback added file failed.");
        return answer;
    }

    // A file of the written pass has a copy; one of the added pass has none.
    int file(const std::string& path, const std::string& copy, bool copyIsThere, Slot& slot) {
        const std::string safety = takesName(tree, slot.item.backups());
        if (safety.empty()) {
            told.error("rollbackItem: crtUniFile failed.");
            return -5;
        }
        copies(tree, path, safety);
        const bool added = copy.empty();
        const std::string entry = old() ? "CheckFile" : "CheckFileEx";
        const std::string line = !old() ? (added ? "CheckFileEx with " : "CheckFileEx with: ")
                                        : (added ? "CheckFile with: " : "CheckFilie with: ");
        told.info("PatchAgent " + line + path);
        const int answer = ask(entry, path, 1);
        if (answer == -1 || (answer == -2 && !added)) {
            removes(tree, safety);
            return 1;
        }
        if (answer >= -2 && answer <= 1)
            skips_ = answer != 1;
        else if (added)
            told.error("rollbackItem:unknown action for checkfile.");
        slot.undo.push_back(nameOf(safety) + ", " + path);
        if (!skips_ && added) removes(tree, path);
        if (!skips_ && copyIsThere) moves(tree, copy, path);
        return 0;
    }

    void undoes() {
        told.info("rollbackWithPatchAgent: auto rollback.");
        for (const Slot& slot : slots_) {
            const Item& item = slot.item;
            // What did not start has no class, which an old agent has no bracket for, and no files.
            if (old() && item.itemClass == 0) break;
            if (starts(item, true) == 0) {
                if (old() && ends(item, false, true) == 0) break;
                const std::string place = "Start Class[" + std::to_string(item.itemClass) + "]";
                if (!old()) told.error(place + " error but in auto rollback ignore it");
            }
            const auto cut = std::find_if(slot.undo.begin(), slot.undo.end(),
                                          [](const std::string& entry) { return tokens(entry).size() != 2; });
            std::for_each(slot.undo.begin(), cut, [&](const std::string& entry) {
                moves(tree, item.backups() + tokens(entry)[0], tokens(entry)[1]);
            });
            if (cut != slot.undo.end()) {
                told.error("autoRollback: written file name failed.");
                break;
            }
            const std::string place = "End Class[" + std::to_string(item.itemClass) + "]";
            if (ends(item, true, true) == 0) told.error(place + " error but in auto rollback so ignore it");
        }
        told.info("rollbackWithPatchAgent: auto rollback done.");
    }

    void rewritesLedgers() {
        told.info("updateBackupIni: start.");
        for (const Slot& slot : slots_) {
            auto ledger = readLedger(tree[ledgerPath(slot.item)], told);
            const auto found = findItem(*ledger, slot.item);
            if (found == ledger->records.end()) continue;
            for (const Lines& entries : {slot.undo, found->second.written}) {
                for (const std::string& entry : entries)
                    removes(tree, slot.item.backups() + nameOf(tokens(entry)[0]));
            }
            for (auto next = ledger->records.erase(found); next != ledger->records.end(); ++next)
                --next->first;
            tree[ledgerPath(slot.item)] = ledger->text();
        }
        told.info("updateBackupIni: done.");
    }

    // The bracket of an item runs from its origin to its result, in an undoing the other way and without its
    // text.
    int starts(const Item& item, bool undoing) {
        const Version& from = undoing ? item.to : item.from;
        const Version& to = undoing ? item.from : item.to;
        const std::string shown = undoing ? "empty string" : item.zip.empty() ? "NULL_String" : item.zip;
        const std::string passed = undoing ? "" : item.zip.empty() ? "null" : item.zip;
        if (old()) {
            const std::string entry = std::string("Start") + kClassNames[item.itemClass];
            told.info("PatchAgent " + entry + " with: " + shown);
            return ask(entry, passed, 1);
        }
        const std::string middle =
            ", " + std::to_string(item.itemClass) + ", " + std::to_string(item.type) + ", 2, ";
        told.info(std::string("PatchAgent StartItem") + (undoing ? ": " : " with: ") + shown + middle +
                  pair(from.number, to.number));
        return ask("StartItem", passed + middle + triple(from) + ", " + triple(to), 1);
    }

    int ends(const Item& item, bool success, bool undoing) {
        const Version& from = undoing ? item.to : item.from;
        const Version& to = undoing ? item.from : item.to;
        const std::string entry = old() ? std::string("End") + kClassNames[item.itemClass] : "EndItem";
        const unsigned shift = old() && (!undoing || item.itemClass == 3) ? 16 : 0;
        told.info("PatchAgent " + entry + " with: " + (success ? "TRUE, " : "FALSE, ") +
                  pair(from.number << shift, to.number << shift));
        const std::string flag = success ? "1, " : "0, ";
        if (!old()) return ask(entry, flag + triple(from) + ", " + triple(to), 1);
        const auto passed = [&item](std::uint32_t number) {
            if (item.itemClass == 3 && item.type <= 4 && number >= 1000) number = number / 100 % 1000;
            return "0x" + hex(item.itemClass == 3 ? number << 16 : number);
        };
        return ask(entry, flag + passed(from.number) + ", " + passed(to.number), 1);
    }

    int ask(const std::string& entry, const std::string& arguments, int consent,
            std::string* path = nullptr) {
        if (fate_ != AgentFate::Serves) return consent;
        told.calls.push_back(entry + "(" + arguments + ")");
        const std::string number = "#" + std::to_string(++asked_[entry]);
        for (const std::string& line : script_) {
            std::istringstream in(line);
            std::string name, which, verb, argument;
            in >> name >> which >> verb >> argument;
            const std::size_t end = arguments.size() - std::min(arguments.size(), which.size() - 1);
            const bool concerned = which == "*" || which == number || "~" + arguments.substr(end) == which;
            if (name != entry || !concerned) continue;
            if (verb == "answer") consent = std::atoi(argument.c_str());
            if (verb == "rewrite" && path != nullptr) *path = argument;
            if (verb == "abort") throw AgentDied{};
        }
        return consent;
    }

    Manifest manifest_;
    Lines script_;
    AgentFate fate_;
    std::map<std::string, int> asked_;
    std::vector<Slot> slots_;
    bool skips_ = false;
};

}  // namespace

Expectation foretell(const Manifest& manifest, const Tree& before, const Lines& script, AgentFate fate) {
    Rollback rollback(manifest, before, script, fate);
    int result = kAgentDied;
    try {
        result = rollback.run();
        rollback.told.info("writeResult: start.");
        rollback.told.info("writeResult: done.");
    } catch (const AgentDied&) {
    }
    return {result, rollback.told, rollback.tree};
}

}  // namespace ovpatch::scenarios
