#include "ovpatch/ledger/ledger_reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "foundation/bounded.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/item_version.h"
#include "ovpatch/manifest/number_text.h"
#include "ovpatch/manifest/owned_text.h"

namespace ovpatch {

namespace {

constexpr char COMMON[] = "common";
constexpr std::uint32_t FIRST_SLOTS = 16;
constexpr std::size_t NAME_SIZE = 128;

bool failWith(const char* message) {
    STRU_ERROR(6, "%s", message);
    return false;
}

// One of the two lists of files: how its keys are named and what its failures are called.
struct FileList {
    const char* keyStem;
    const char* noMemory;
    const char* keyNotFormed;
    const char* absent;
    const char* notCopied;
};

constexpr FileList ADDED = {
    "added", "phaseIniForBackupL: malloc failed.", "phaseIniForBackup: snprintf failed.",
    "phaseIniForBackup: fetch added file name failed.", "phaseIniForBackup: strncpy failed."};
constexpr FileList WRITTEN = {
    "written", "phaseIniForBackup: malloc failed.", "phaseIniForBackup: snpritf failed.",
    "phaseIniForBackup: fetch written file name failed.", "phaseIniForBackup: strncpy falied."};

// Grows an array of `size`-byte elements, new ones all zero, towards `wanted`. Arrays grow with the keys that
// are really there, so that a wild count costs nothing before the first missing key ends the reading.
bool makeRoom(void** array, std::size_t size, std::uint32_t used, std::uint32_t wanted, std::uint32_t* room) {
    if (used < *room) return true;
    if (wanted > INT32_MAX) return false;
    const std::uint32_t larger = std::min(wanted, *room == 0 ? FIRST_SLOTS : *room * 2);
    void* grown = std::realloc(*array, larger * size);
    if (grown == nullptr) return false;
    std::memset(static_cast<char*>(grown) + *room * size, 0, (larger - *room) * size);
    *array = grown;
    *room = larger;
    return true;
}

bool readFileName(KxIniUtil& ledger, const char* section, const FileList& list, std::uint32_t k, char** out) {
    char key[NAME_SIZE];
    if (boundedSnprintf(key, sizeof key, "%s.%u", list.keyStem, k) == 0) return failWith(list.keyNotFormed);
    const char* value = ledger.getValue(section, key);
    if (value == nullptr) return failWith(list.absent);
    switch (copyText(value, out)) {
        case TextCopy::DONE:
            return true;
        case TextCopy::NO_MEMORY:
            return failWith("phaseIniForBackup: malloc failed.");
        case TextCopy::NOT_COPIED:
            break;
    }
    return failWith(list.notCopied);
}

bool readFileNames(KxIniUtil& ledger, const char* section, const FileList& list, std::uint32_t wanted,
                   char*** files, std::uint32_t* count, std::uint32_t* capacity) {
    void* array = nullptr;
    std::uint32_t room = 0;
    bool done = true;
    for (std::uint32_t k = 0; done && k < wanted; ++k) {
        if (!makeRoom(&array, sizeof(char*), k, wanted, &room)) {
            done = failWith(list.noMemory);
            break;
        }
        done = readFileName(ledger, section, list, k, static_cast<char**>(array) + k);
        if (done) *count = k + 1;
    }
    *files = static_cast<char**>(array);
    *capacity = room;
    return done;
}

bool readLists(KxIniUtil& ledger, const char* section, BackupItem* item) {
    const char* value = ledger.getValue(section, "added.filecount");
    const std::uint32_t added = value != nullptr ? readCount(value) : 0;
    value = ledger.getValue(section, "written.filecount");
    const std::uint32_t written = value != nullptr ? readCount(value) : 0;
    if (added == 0 && written == 0) {
        STRU_ERROR(6, "phaseIniForBackup: item has no backuped files.");
        return true;
    }
    if (added != 0) {
        STRU_INFO(6, "phaseIniForBackup: for each added file name.");
        if (!readFileNames(ledger, section, ADDED, added, &item->addedFiles, &item->addedCount,
                           &item->addedCapacity)) {
            return false;
        }
        STRU_INFO(6, "phaseIniForBackup: fetch added file name done.");
    }
    if (written != 0) {
        STRU_INFO(6, "phaseIniForBackup: fetch written file name.");
        if (!readFileNames(ledger, section, WRITTEN, written, &item->writtenFiles, &item->writtenCount,
                           &item->writtenCapacity)) {
            return false;
        }
        STRU_INFO(6, "phaseIniForBackup: fetch written file name done.");
    }
    return true;
}

bool readItem(KxIniUtil& ledger, const char* section, BackupItem* item) {
    const char* value = ledger.getValue(section, "class");
    if (value == nullptr) return failWith("phaseIniForBackup: fetch class failed.");
    item->itemClass = readDecimal(value);

    value = ledger.getValue(section, "type");
    if (value == nullptr) return failWith("phaseIniForBackup: fetch type failed.");
    item->itemType = readHexadecimal(value);

    value = ledger.getValue(section, "origin.version");
    if (value == nullptr) return failWith("phaseIniForBackup: fetch origin version failed.");
    item->originVersion = parseItemVersion(value, item->itemClass);

    value = ledger.getValue(section, "result.version");
    if (value == nullptr) return failWith("phaseIniForBackup: fetch result version failed.");
    item->resultVersion = parseItemVersion(value, item->itemClass);
    return readLists(ledger, section, item);
}

bool readItems(KxIniUtil& ledger, std::uint32_t wanted, BackupStru* out) {
    void* array = nullptr;
    std::uint32_t room = 0;
    if (!makeRoom(&array, sizeof(BackupItem), 0, wanted, &room)) {
        return failWith("phaseIniForBackup: malloc failed.");
    }
    STRU_INFO(6, "phaseIniForBackup: process for each item.");
    bool done = true;
    for (std::uint32_t n = 0; done && n < wanted; ++n) {
        char section[NAME_SIZE];
        if (!makeRoom(&array, sizeof(BackupItem), n, wanted, &room)) {
            done = failWith("phaseIniForBackup: malloc failed.");
        } else if (boundedSnprintf(section, sizeof section, "%s_%u", "item", n) == 0) {
            done = failWith("phaseIniForBackup: snprintf failed.");
        } else {
            out->itemCount = n + 1;
            done = readItem(ledger, section, static_cast<BackupItem*>(array) + n);
        }
    }
    out->items = static_cast<BackupItem*>(array);
    return done;
}

// What stands before the items. `wanted` is their number.
bool readCommon(KxIniUtil& ledger, BackupStru* out, std::uint32_t* wanted) {
    const char* value = ledger.getValue(COMMON, "itemcount");
    if (value == nullptr) return failWith("phaseIniForBackup: fetch item count failed.");
    *wanted = readCount(value);

    value = ledger.getValue(COMMON, "patchagent.version");
    if (value == nullptr) return failWith("phaseIniForBackup: fetch patch agent version failed.");
    out->patchAgentVersion = readDecimal(value);

    value = ledger.getValue(COMMON, "patchagent");
    if (value != nullptr) {
        const TextCopy copied = copyText(value, &out->patchAgentFile);
        if (copied == TextCopy::NO_MEMORY) return failWith("phaseIniForBackup: malloc failed.");
        if (copied == TextCopy::NOT_COPIED) return failWith("phaseIniForBackup: strncpy failed.");
        STRU_INFO(6, "phaseIniForBackup: patch agent file(%s)", out->patchAgentFile);
    } else {
        STRU_INFO(6, "phaseIniForBackup: patch agent file NULL");
    }
    STRU_INFO(6, "phaseIniForBackup: common section done.");
    return true;
}

}  // namespace

std::int32_t phaseIniForBackup(KxIniUtil* ledger, BackupStru* out) {
    STRU_INFO(6, "phaseIniForBackup: start.");
    if (ledger == nullptr || out == nullptr) {
        STRU_ERROR(6, "phaseIniForBackup: parameters failed.");
        return 0;
    }
    *out = BackupStru{};
    STRU_INFO(6, "phaseIniForBackup: commom section fetch.");
    std::uint32_t wanted = 0;
    bool done = readCommon(*ledger, out, &wanted);
    if (done && wanted == 0) {
        STRU_INFO(6, "phaseIniForBackup: done, item number is zero.");
        return 1;
    }
    done = done && readItems(*ledger, wanted, out);
    if (!done) {
        freeBackupStru(out);
        STRU_INFO(6, "phaseIniForBackup: error quit.");
        return 0;
    }
    STRU_INFO(6, "phaseIniForBackup: all items done.");
    STRU_INFO(6, "phaseIniForBackup: done.");
    return 1;
}

}  // namespace ovpatch
