#include "ovpatch/ledger/backup_stru.h"

#include <cstdlib>

#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/owned_text.h"

namespace ovpatch {

namespace {

constexpr std::uint32_t FIRST_SLOTS = 16;

// False when memory ran out; the list is then unchanged.
bool growList(char*** files, std::uint32_t count, std::uint32_t* capacity) {
    if (*capacity != 0 && count < *capacity) return true;
    const std::uint32_t larger = *capacity == 0 ? FIRST_SLOTS : *capacity * 2;
    auto** grown = static_cast<char**>(std::calloc(larger, sizeof(char*)));
    if (grown == nullptr) return false;
    for (std::uint32_t i = 0; i < count; ++i)
        grown[i] = (*files)[i];
    std::free(*files);
    *files = grown;
    *capacity = larger;
    return true;
}

void freeList(char** files, std::uint32_t count) {
    if (files == nullptr) return;
    for (std::uint32_t i = 0; i < count; ++i)
        std::free(files[i]);
    std::free(files);
}

}  // namespace

void initBackupStru(const UpdateStru& update, BackupStru* out) {
    *out = BackupStru{};
    out->patchAgentVersion = update.patchAgentVersion;
    if (update.patchAgentFile != nullptr) {
        const TextCopy copied = copyText(update.patchAgentFile, &out->patchAgentFile);
        if (copied == TextCopy::NO_MEMORY) STRU_ERROR(6, "initBackupStru: malloc failed.");
        if (copied == TextCopy::NOT_COPIED) STRU_ERROR(6, "initBackupStru: strncpy failed.");
        if (copied != TextCopy::DONE) return;
    }
    out->itemCount = update.itemCount;
    out->items = static_cast<BackupItem*>(std::calloc(update.itemCount, sizeof(BackupItem)));
    if (out->items == nullptr) STRU_ERROR(6, "initBackupStru: malloc failed.");
}

void growBackupLists(BackupItem* item) {
    if (!growList(&item->addedFiles, item->addedCount, &item->addedCapacity)) return;
    growList(&item->writtenFiles, item->writtenCount, &item->writtenCapacity);
}

bool appendAdded(BackupItem* item, char* text) {
    if (item->addedCount == 0 || item->addedCount >= item->addedCapacity) growBackupLists(item);
    if (item->addedCount >= item->addedCapacity) return false;
    item->addedFiles[item->addedCount++] = text;
    return true;
}

bool appendWritten(BackupItem* item, char* text) {
    if (item->writtenCount == 0 || item->writtenCount >= item->writtenCapacity) growBackupLists(item);
    if (item->writtenCount >= item->writtenCapacity) return false;
    item->writtenFiles[item->writtenCount++] = text;
    return true;
}

BackupItem* findBackupItem(const BackupStru& ledger, std::int32_t itemClass, std::int32_t itemType) {
    if (ledger.items == nullptr) return nullptr;
    for (std::uint32_t i = 0; i < ledger.itemCount; ++i) {
        BackupItem* item = &ledger.items[i];
        if (item->itemClass == itemClass && item->itemType == itemType) return item;
    }
    return nullptr;
}

void freeBackupStru(BackupStru* ledger) {
    if (ledger == nullptr) return;
    releaseText(&ledger->patchAgentFile);
    if (ledger->items == nullptr) return;
    for (std::uint32_t i = 0; i < ledger->itemCount; ++i) {
        BackupItem* item = &ledger->items[i];
        releaseText(&item->destination);
        freeList(item->addedFiles, item->addedCount);
        freeList(item->writtenFiles, item->writtenCount);
    }
    std::free(ledger->items);
    ledger->items = nullptr;
}

}  // namespace ovpatch
