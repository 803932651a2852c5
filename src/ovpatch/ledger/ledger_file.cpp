#include "ovpatch/ledger/ledger_file.h"

#include <algorithm>
#include <cstring>

#include "fileops/paths.h"
#include "fileops/remove.h"
#include "foundation/bounded.h"
#include "foundation/tokenizer.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/item_version.h"

namespace ovpatch {

namespace {

constexpr char COMMON[] = "common";
constexpr std::size_t VALUE_SIZE = 64;

void addDecimal(KxIniUtil* ledger, const char* section, const char* key, std::uint32_t number) {
    char value[VALUE_SIZE];
    boundedSnprintf(value, sizeof value, "%u", number);
    ledger->addValue(section, key, value);
}

void addHexadecimal(KxIniUtil* ledger, const char* section, const char* key, std::uint32_t number) {
    char value[VALUE_SIZE];
    boundedSnprintf(value, sizeof value, "%x", number);
    ledger->addValue(section, key, value);
}

void addVersion(KxIniUtil* ledger, const char* section, const char* key, std::int32_t itemClass,
                const ItemVersion& version) {
    char value[VALUE_SIZE];
    formatItemVersion(itemClass, version, value, sizeof value);
    ledger->addValue(section, key, value);
}

void addFiles(KxIniUtil* ledger, const char* section, const char* stem, char* const* files,
              std::uint32_t count) {
    char key[VALUE_SIZE];
    boundedSnprintf(key, sizeof key, "%s.filecount", stem);
    addDecimal(ledger, section, key, count);
    for (std::uint32_t k = 0; k < count; ++k) {
        if (files[k] == nullptr) continue;
        boundedSnprintf(key, sizeof key, "%s.%u", stem, k);
        ledger->addValue(section, key, files[k]);
    }
}

}  // namespace

void formatSectionName(std::uint32_t n, char* out, std::size_t size) {
    boundedSnprintf(out, size, "%s_%u", "item", n);
}

void addCommonNumber(KxIniUtil* ledger, const char* key, std::uint32_t number) {
    addDecimal(ledger, COMMON, key, number);
}

void addLedgerRecord(KxIniUtil* ledger, const char* section, const BackupItem& item) {
    addDecimal(ledger, section, "class", static_cast<std::uint32_t>(item.itemClass));
    addHexadecimal(ledger, section, "type", static_cast<std::uint32_t>(item.itemType));
    addVersion(ledger, section, "origin.version", item.itemClass, item.originVersion);
    addVersion(ledger, section, "result.version", item.itemClass, item.resultVersion);
    addFiles(ledger, section, "added", item.addedFiles, item.addedCount);
    addFiles(ledger, section, "written", item.writtenFiles, item.writtenCount);
}

void composeLedger(const BackupStru& stored, const BackupItem* const* without, MissingAgent agent,
                   KxIniUtil* ledger) {
    const auto gone = stored.itemCount - std::count(without, without + stored.itemCount, nullptr);
    addCommonNumber(ledger, "itemcount", stored.itemCount - static_cast<std::uint32_t>(gone));
    addCommonNumber(ledger, "patchagent.version", static_cast<std::uint32_t>(stored.patchAgentVersion));
    if (stored.patchAgentFile != nullptr || agent == MissingAgent::WRITTEN_EMPTY) {
        ledger->addValue(COMMON, "patchagent", stored.patchAgentFile);
    }
    std::uint32_t number = 0;
    for (std::uint32_t k = 0; k < stored.itemCount; ++k) {
        if (without[k] != nullptr) continue;
        char section[VALUE_SIZE];
        formatSectionName(number++, section, sizeof section);
        addLedgerRecord(ledger, section, stored.items[k]);
    }
}

namespace {

bool tryToWrite(const KxIniUtil& ledger, const char* path) {
    const bool saved = journal().beginPut(path) && ledger.saveAs(path) != 0;
    journal().endPut(path);
    return saved;
}

}  // namespace

bool writeLedger(KxIniUtil* ledger, const char* path) {
    // It is not written again when it goes.
    ledger->setReadOnly();
    // Many records go with it: what fails in passing is tried once more.
    bool saved = tryToWrite(*ledger, path);
    if (!saved) saved = tryToWrite(*ledger, path);
    if (!saved) STRU_ERROR(6, "ledger %s cannot be written.", path);
    return saved;
}

ByteString backupCopyName(const char* entry) {
    const ByteString name = tokenAt(splitString(entry, ','), 0);
    const char* bare = fileNamePart(name.cStr());
    return bare != nullptr ? ByteString(bare) : name;
}

void takeCopyNames(const BackupItem& item, TakenNames* names) {
    for (std::uint32_t k = 0; k < item.writtenCount; ++k)
        names->take(backupCopyName(item.writtenFiles[k]).cStr());
}

bool sharesBackupDir(const BackupItem& item, const char* backupDirectory) {
    char directory[PATH_SIZE];
    // Most have another destination, which is told at once.
    return std::strncmp(item.destination, backupDirectory, std::strlen(item.destination)) == 0 &&
           itemBackupDir(item.destination, item.itemClass, item.itemType, directory, sizeof directory) != 0 &&
           std::strcmp(directory, backupDirectory) == 0;
}

void enterBackupDir(const ItemCopyContext& context, const char* backupDirectory) {
    if (!context.takenNames->enter(backupDirectory)) return;
    for (const BackupItem* slot = context.runLedger->items; slot <= context.backupItem; ++slot) {
        const bool same = slot->itemClass == context.itemClass && slot->itemType == context.itemType;
        if (same && sharesBackupDir(*slot, backupDirectory)) takeCopyNames(*slot, context.takenNames);
    }
}

bool ledgerCanHold(const char* path) {
    constexpr char TRIMMED[] = " \t\r\f";
    const std::size_t length = std::strlen(path);
    return length > 0 && std::strchr(path, '\n') == nullptr && std::strchr(TRIMMED, path[0]) == nullptr &&
           std::strchr(TRIMMED, path[length - 1]) == nullptr;
}

bool isBackupCopyName(const char* name) {
    return *name != '\0' && std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0 && !hasWildcard(name);
}

namespace {

// While there is a journal, the copy may be needed until the run is over.
void dropCopy(const char* path, NameIndex* names) {
    if (names != nullptr && (journal().isOpen() ? !names->canMatch(path) : names->knowsMissing(path))) return;
    if (!journal().drop(path)) unlink(path, nullptr, nullptr, names);
}

}  // namespace

void removeBackupCopies(const BackupItem& item, const char* backupDirectory, NameIndex* names,
                        const TakenNames* kept) {
    for (std::uint32_t k = 0; k < item.writtenCount; ++k) {
        const ByteString name = backupCopyName(item.writtenFiles[k]);
        if (kept != nullptr && kept->isTaken(name.cStr())) continue;
        if (!isBackupCopyName(name.cStr())) {
            STRU_ERROR(6, "no backup copy: %s", item.writtenFiles[k]);
            continue;
        }
        char path[PATH_SIZE];
        if (!backupCopyPath(backupDirectory, name.cStr(), path, sizeof path)) continue;
        dropCopy(path, names);
    }
}

}  // namespace ovpatch
