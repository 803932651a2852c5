#include "rollback_disk.h"

#include <cstdlib>

namespace ovpatch::scenarios {
namespace {

// What no memory can hold: the counts that are read from negative numbers.
constexpr unsigned long kTooMany = 0x7fffffff;

std::optional<std::string> valueOf(const std::string& ini, const std::string& section,
                                   const std::string& key) {
    const std::size_t head = ini.find("[" + section + "]\n");
    if (head == std::string::npos) return std::nullopt;
    const std::size_t at = ini.find("\n" + key + "=", head);
    if (at >= ini.find("\n[", head)) return std::nullopt;
    const std::size_t begin = at + key.size() + 2;
    return ini.substr(begin, ini.find('\n', begin) - begin);
}

}  // namespace

std::string nameOf(const std::string& path) {
    return path.substr(path.find_last_of("\\/") + 1);
}

std::string suffix(std::size_t n) {
    const char* const digits = "0123456789abcdefghijklmnopqrstuvwxyz";
    return {digits[n / 1296], digits[n / 36 % 36], digits[n % 36]};
}

bool makesDirectory(Tree& tree, const std::string& path) {
    for (std::size_t at = path.find('\\'); at != std::string::npos; at = path.find('\\', at + 1)) {
        if (tree.count(path.substr(0, at)) != 0) return false;
        tree.emplace(path.substr(0, at + 1), "");
    }
    return true;
}

std::string takesName(Tree& tree, const std::string& directory) {
    if (!makesDirectory(tree, directory)) return "";
    for (std::size_t n = 0;; ++n) {
        const std::string path = directory + "backup." + suffix(n);
        if (tree.emplace(path, "").second) return path;
    }
}

bool copies(Tree& tree, const std::string& from, std::string to) {
    if (tree.count(to + "\\") != 0) to += "\\" + nameOf(from);
    if (!makesDirectory(tree, to.substr(0, to.rfind('\\') + 1)) || tree.count(from) == 0) return false;
    tree[to] = std::string(tree[from]);
    return true;
}

void removes(Tree& tree, const std::string& path) {
    tree.erase(path);
    const auto at = tree.find(path + "\\");
    if (at == tree.end()) return;
    const auto next = std::next(at);
    if (next == tree.end() || next->first.rfind(at->first, 0) != 0) tree.erase(at);
}

void moves(Tree& tree, const std::string& from, const std::string& to) {
    if (copies(tree, from, to)) removes(tree, from);
}

std::optional<Ledger> readLedger(const std::string& text, Told& told) {
    const std::string reader = "phaseIniForBackup: ";
    const auto refuses = [&](const std::string& reason) {
        told.error(reason).info(reader + "error quit.");
        return std::nullopt;
    };
    const auto fails = [&](const std::string& what) {
        return refuses(reader + "fetch " + what + " failed.");
    };
    told.info(reader + "start.").info(reader + "commom section fetch.");
    const auto count = valueOf(text, "common", "itemcount");
    if (!count) return fails("item count");
    const auto generation = valueOf(text, "common", "patchagent.version");
    if (!generation) return fails("patch agent version");
    const auto agent = valueOf(text, "common", "patchagent");
    told.info(reader + "patch agent file" + (agent ? "(" + *agent + ")" : " NULL"))
        .info(reader + "common section done.");
    Ledger ledger{std::atoi(generation->c_str()), agent ? "patchagent=" + *agent + "\n" : ""};
    const auto items = std::strtoul(count->c_str(), nullptr, 10);
    if (items > kTooMany) return refuses(reader + "malloc failed.");
    told.info(reader + (items == 0 ? "done, item number is zero." : "process for each item."));
    for (std::size_t n = 0; n < items; ++n) {
        const auto value = [&](const std::string& key) {
            return valueOf(text, "item_" + std::to_string(n), key);
        };
        for (const std::string key : {"class", "type", "origin.version", "result.version"}) {
            if (!value(key)) return fails(key.find('.') == 6 ? key.substr(0, 6) + " version" : key);
        }
        Record record;
        record.item.itemClass = std::atoi(value("class")->c_str());
        record.item.type = static_cast<int>(std::strtol(value("type")->c_str(), nullptr, 16));
        record.item.from.text = *value("origin.version");
        record.item.to.text = *value("result.version");
        const auto lengthOf = [&](const std::string& list) {
            return std::strtoul(value(list + ".filecount").value_or("0").c_str(), nullptr, 10);
        };
        if (lengthOf("added") + lengthOf("written") == 0) told.error(reader + "item has no backuped files.");
        for (const std::string list : {"added", "written"}) {
            if (lengthOf(list) == 0) continue;
            const bool added = list == "added";
            told.info(reader + (added ? "for each added file name." : "fetch written file name."));
            if (lengthOf(list) > kTooMany) {
                return refuses(added ? "phaseIniForBackupL: malloc failed." : reader + "malloc failed.");
            }
            for (std::size_t k = 0; k < lengthOf(list); ++k) {
                const auto entry = value(list + "." + std::to_string(k));
                if (!entry) return fails(list + " file name");
                (added ? record.added : record.written).push_back(*entry);
            }
            told.info(reader + "fetch " + list + " file name done.");
        }
        ledger.records.emplace_back(n, record);
    }
    if (items != 0)
        told.log.insert(told.log.end(), {"I " + reader + "all items done.", "I " + reader + "done."});
    return ledger;
}

}  // namespace ovpatch::scenarios
