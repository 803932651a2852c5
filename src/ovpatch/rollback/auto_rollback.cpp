#include "ovpatch/rollback/auto_rollback.h"

#include "fileops/copy.h"
#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "fileops/remove.h"
#include "foundation/tokenizer.h"
#include "ovpatch/agent/item_bracket.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/rollback/undo_journal.h"

namespace ovpatch {

namespace {

// One item of the walk. An undo runs from the result version back to the origin version.
struct Slot {
    const BackupItem* item;
    ItemVersion from;
    ItemVersion to;
    char backupDirectory[PATH_SIZE];
};

// Pattern numbers are told shifted, as the entry gets them but for their reduction.
std::uint32_t shownNumber(std::int32_t itemClass, std::uint32_t number) {
    return itemClass == OVPATCH_CLASS_PATTERN ? number << 16 : number;
}

std::int32_t endClassSlot(const PatchAgentApi& agent, const Slot& slot, const ClassBracket& bracket,
                          std::int32_t success) {
    const BackupItem& item = *slot.item;
    UPDATER_INFO(6, "PatchAgent End%s with: %s, %u, %u", bracket.name, success != 0 ? "TRUE" : "FALSE",
                 shownNumber(item.itemClass, slot.from.number), shownNumber(item.itemClass, slot.to.number));
    return (agent.*bracket.end)(success, numberForAgent(item.itemClass, item.itemType, slot.from.number),
                                numberForAgent(item.itemClass, item.itemType, slot.to.number));
}

// False ends the walk: the start and the end that answers it both failed, or, for a class that has no
// entries, the last answer of the walk was a failure.
bool openClassSlot(const PatchAgentApi& agent, const Slot& slot, std::int32_t* lastAnswer) {
    const ClassBracket* bracket = classBracket(slot.item->itemClass);
    if (bracket != nullptr) {
        UPDATER_INFO(6, "PatchAgent Start%s with: empty string", bracket->name);
        *lastAnswer = (agent.*bracket->start)("");
        if (*lastAnswer == 0) *lastAnswer = endClassSlot(agent, slot, *bracket, 0);
    }
    return *lastAnswer != 0;
}

void openNewSlot(const PatchAgentApi& agent, const Slot& slot, std::int32_t* lastAnswer) {
    const BackupItem& item = *slot.item;
    UPDATER_INFO(6, "PatchAgent StartItem: empty string, %u, %u, %x, %u, %u",
                 static_cast<std::uint32_t>(item.itemClass), static_cast<std::uint32_t>(item.itemType),
                 OVPATCH_ITEM_ROLLBACK, slot.from.number, slot.to.number);
    *lastAnswer =
        agent.StartItem("", item.itemClass, item.itemType, OVPATCH_ITEM_ROLLBACK, &slot.from, &slot.to);
    if (*lastAnswer == 0)
        UPDATER_ERROR(6, "Start Class[%d] error but in auto rollback ignore it", item.itemClass);
}

bool openSlot(const PatchAgentApi& agent, const Slot& slot, std::int32_t* lastAnswer) {
    if (agent.generation == OLD_GENERATION) return openClassSlot(agent, slot, lastAnswer);
    openNewSlot(agent, slot, lastAnswer);
    return true;
}

void closeSlot(const PatchAgentApi& agent, const Slot& slot, std::int32_t* lastAnswer) {
    if (agent.generation == OLD_GENERATION) {
        const ClassBracket* bracket = classBracket(slot.item->itemClass);
        if (bracket == nullptr) return;
        *lastAnswer = endClassSlot(agent, slot, *bracket, 1);
    } else {
        UPDATER_INFO(6, "PatchAgent EndItem with: TRUE, %u, %u", slot.from.number, slot.to.number);
        *lastAnswer = agent.EndItem(1, &slot.from, &slot.to);
    }
    if (*lastAnswer == 0) {
        UPDATER_ERROR(6, "End Class[%d] error but in auto rollback so ignore it", slot.item->itemClass);
    }
}

// Both take what fails in passing for worth another try: behind an undo nothing else comes.
void removeAdded(const char* path) {
    bool known = true;
    // A name that differs in case only is another file's.
    if (!pathExists(path, &known) && known) return;
    if (removeTree(path, nullptr, nullptr) != FILEOP_OK) removeTree(path, nullptr, nullptr);
}

void moveBack(const char* copy, const char* path) {
    if (exchangeTold(copy, path)) return;
    keepReplaced(copy, path);
    if (moveTree(copy, path, true, nullptr, nullptr) != FILEOP_OK)
        moveTree(copy, path, true, nullptr, nullptr);
}

// False ends the walk.
bool putBack(const Slot& slot, const char* entry) {
    const StringList tokens = splitString(entry, ',');
    if (tokens.stringCount() != 2) {
        UPDATER_ERROR(6, "autoRollback: written file name failed.");
        return false;
    }
    char copy[PATH_SIZE];
    const bool fits = slot.backupDirectory[0] != '\0' &&
                      backupCopyPath(slot.backupDirectory, tokenAt(tokens, 0).cStr(), copy, sizeof copy);
    if (!fits) {
        UPDATER_ERROR(6, "autoRollback: CatURIWithFile failed.");
        return false;
    }
    moveBack(copy, tokenAt(tokens, 1).cStr());
    return true;
}

bool undoSlot(const PatchAgentApi& agent, const BackupItem& item, UndoMode mode, std::int32_t* lastAnswer) {
    Slot slot = {&item, item.resultVersion, item.originVersion, {}};
    itemBackupDir(item.destination, item.itemClass, item.itemType, slot.backupDirectory,
                  sizeof slot.backupDirectory);
    if (!openSlot(agent, slot, lastAnswer)) return false;
    for (std::uint32_t k = 0; mode == UndoMode::UPDATE && k < item.addedCount; ++k)
        removeAdded(item.addedFiles[k]);
    for (std::uint32_t k = 0; k < item.writtenCount; ++k) {
        if (!putBack(slot, item.writtenFiles[k])) return false;
    }
    closeSlot(agent, slot, lastAnswer);
    return true;
}

}  // namespace

void autoRollback(const PatchAgentApi& agent, const BackupStru& runLedger, UndoMode mode) {
    if (runLedger.items == nullptr) return;
    std::int32_t lastAnswer = 1;
    for (std::uint32_t i = 0; i < runLedger.itemCount; ++i) {
        const BackupItem& item = runLedger.items[i];
        if (item.destination == nullptr || !undoSlot(agent, item, mode, &lastAnswer)) return;
    }
}

}  // namespace ovpatch
