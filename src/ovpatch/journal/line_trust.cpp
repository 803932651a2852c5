#include "ovpatch/journal/line_trust.h"

#include <cstring>
#include <string_view>

#include "fileops/paths.h"
#include "foundation/bounded.h"
#include "ovpatch/journal/keeper.h"
#include "platform/durability.h"

namespace ovpatch {

namespace {

constexpr std::string_view BACKUP_AREA = "OV_Backup";
constexpr std::string_view STAGING_AREA = "OVSrc.tmp";
constexpr std::string_view AGENT_INI = "PatchDll.ini";
constexpr std::string_view LEDGER = "OvBackup.ini";

// The last name of `path`, which loses it and the separators before it. A separator at the end is passed
// over.
std::string_view takeName(std::string_view* path) {
    while (!path->empty() && isSeparator(path->back()))
        path->remove_suffix(1);
    std::size_t start = path->size();
    while (start > 0 && !isSeparator((*path)[start - 1]))
        --start;
    const std::string_view name = path->substr(start);
    path->remove_suffix(path->size() - start);
    return name;
}

bool isNumber(std::string_view name) {
    return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isSpecial(std::string_view name) {
    return name.empty() || name == "." || name == "..";
}

// `...\OV_Backup\<class>\<type>\<name>`.
bool isBackupCopy(std::string_view path) {
    return !isSpecial(takeName(&path)) && isNumber(takeName(&path)) && isNumber(takeName(&path)) &&
           takeName(&path) == BACKUP_AREA;
}

bool isStaging(std::string_view path) {
    return takeName(&path) == STAGING_AREA;
}

bool isStaged(std::string_view path) {
    return !isSpecial(takeName(&path)) && takeName(&path) == STAGING_AREA;
}

// What is written anew: a ledger or a file of an old agent.
bool isPut(std::string_view path) {
    if (isStaged(path)) return true;
    const std::string_view name = takeName(&path);
    return name == AGENT_INI || (name == LEDGER && takeName(&path) == BACKUP_AREA);
}

bool isKeeper(const char* path) {
    return isKeeperName(path);
}

bool isPlain(const char* path) {
    return *path != '\0' && !hasWildcard(path);
}

bool isAbsolute(const char* path) {
    return isSeparator(path[0]) || (path[0] != '\0' && path[1] == ':');
}

}  // namespace

void setRoot(const char* workingDirectory, PathRoot* root) {
    if (platform::workingDirectory(root->directory, sizeof root->directory) &&
        std::strcmp(root->directory, workingDirectory) == 0) {
        root->directory[0] = '\0';
    } else {
        boundedStrncpy(root->directory, workingDirectory, sizeof root->directory);
    }
}

bool resolvePaths(const PathRoot& root, ReadJournalLine* line) {
    if (root.directory[0] == '\0') return true;
    for (int i = 0; i < textCount(line->line.kind); ++i) {
        char* text = line->texts[i];
        if (isAbsolute(text)) continue;
        char whole[JOURNAL_PATH_SIZE];
        if (joinPath(whole, sizeof whole, root.directory, text) != 0) return false;
        boundedStrncpy(text, whole, JOURNAL_PATH_SIZE);
    }
    return true;
}

bool isTrusted(const JournalLine& line) {
    for (int i = 0; i < textCount(line.kind); ++i)
        if (!isPlain(line.texts[i])) return false;
    switch (line.kind) {
        case LineKind::TREE:
        case LineKind::DROP_TREE:
            return isStaging(line.texts[0]);
        case LineKind::WRITE:
        case LineKind::SWAP:
            return isBackupCopy(line.texts[0]);
        case LineKind::REMOVE:
            return isBackupCopy(line.texts[0]) || isKeeper(line.texts[0]);
        case LineKind::RESTORE:
            return isBackupCopy(line.texts[0]) && isBackupCopy(line.texts[1]);
        case LineKind::PUT:
            return isPut(line.texts[1]) && isKeeper(line.texts[0]);
        case LineKind::MADE:
            return isPut(line.texts[0]);
        case LineKind::DROP:
            return isBackupCopy(line.texts[0]) || isPut(line.texts[0]) || isKeeper(line.texts[0]);
        default:
            return true;
    }
}

}  // namespace ovpatch
