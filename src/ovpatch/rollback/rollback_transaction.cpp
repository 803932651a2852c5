#include "ovpatch/rollback/rollback_transaction.h"

#include "ovpatch/agent/class_paths.h"
#include "ovpatch/agent/item_bracket.h"
#include "ovpatch/ledger/backup_stru.h"
#include "ovpatch/ledger/item_copy_context.h"
#include "ovpatch/ledger/ledger_rewrite.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/owned_text.h"
#include "ovpatch/result_codes.h"
#include "ovpatch/rollback/auto_rollback.h"
#include "ovpatch/rollback/rollback_item.h"

namespace ovpatch {

namespace {

// One rollback from its opening to its end.
struct Rollback {
    const PatchAgentApi* agent;
    const UpdateStru* update;
    BackupStru runLedger;
    ItemCopyContext context;
    TakenNames takenNames;
    StoredLedgers storedLedgers;
    std::int32_t lastEndAnswer;
};

// Where an item's work leads.
enum class Next { GO_ON, AUTO_ROLLBACK, RETURN };

std::int32_t refuse(const char* message, std::int32_t result) {
    UPDATER_ERROR(6, "rollbackWithPatchAgent: %s", message);
    return result;
}

std::int32_t openOldAgent(const Rollback& run) {
    // The agent may mend the paths; a rollback works with the manifest's all the same.
    ClassPaths paths;
    askClassPaths(*run.agent, *run.update, "rollbackWithPatchAgent", &paths);
    if (run.agent->IsRollback() == 0) return refuse("patch agent want not to rollback.", RESULT_REFUSED);
    const std::uint32_t mask = classMask(*run.update);
    UPDATER_INFO(6, "rollbackWithPatchAgent: start patch.");
    UPDATER_INFO(6, "PatchAgent StartPath with: %x", mask);
    switch (run.agent->StartPatch(mask)) {
        case OVPATCH_START_FAILED:
            return refuse("start patch failed.", RESULT_REFUSED);
        case OVPATCH_START_CLOSE_PROGRAM:
            return refuse("start patch close program needed.", RESULT_CLOSE_PROGRAM);
        default:
            return RESULT_DONE;
    }
}

std::int32_t openNewAgent(const Rollback& run) {
    UPDATER_INFO(6, "rollbackWithPatchAgent: start action.");
    UPDATER_INFO(6, "PatchAgent StartAction with: void");
    switch (run.agent->StartAction()) {
        case OVPATCH_START_FAILED:
            return refuse("start action failed.", RESULT_REFUSED);
        case OVPATCH_START_CLOSE_PROGRAM:
            return refuse("start action close program needed.", RESULT_CLOSE_PROGRAM);
        default:
            return RESULT_DONE;
    }
}

std::int32_t openAgent(const Rollback& run) {
    switch (run.agent->generation) {
        case OLD_GENERATION:
            return openOldAgent(run);
        case NEW_GENERATION:
            return openNewAgent(run);
        default:
            UPDATER_ERROR(9, "rollbackWithPatchAgent: unknown patch agent version.");
            return RESULT_DONE;
    }
}

void closeAgent(const Rollback& run) {
    switch (run.agent->generation) {
        case OLD_GENERATION:
            UPDATER_INFO(6, "rollbackWithPatchAgent: end patch.");
            UPDATER_INFO(6, "PatchAgent EndPatch with: %s", "TRUE");
            run.agent->EndPatch(run.lastEndAnswer);
            break;
        case NEW_GENERATION:
            UPDATER_INFO(6, "PatchAgent EndAction with: void");
            run.agent->EndAction();
            UPDATER_INFO(6, "rollbackWithPatchAgent: end action.");
            break;
        default:
            UPDATER_ERROR(9, "rollbackWithPatchAgent: patch agent version unknown.");
            break;
    }
}

// The result code of an answer of rollbackItem, with its line in the log.
std::int32_t resultOf(std::int32_t answer) {
    if (answer >= -6 && answer <= -2) return refuse("access failed.", RESULT_DISK_ERROR);
    if (answer == ROLLBACK_BAD_ARGUMENTS) return refuse("bad arguments.", RESULT_INVALID);
    if (answer == ROLLBACK_STOPPED) return refuse("user cancel.", RESULT_REFUSED);
    return RESULT_DONE;
}

Next rollBackItem(Rollback* run, std::uint32_t index, std::int32_t* result) {
    const UpdateItem& item = run->update->items[index];
    BackupItem* slot = &run->runLedger.items[index];
    run->context.destination = item.destination;
    run->context.itemClass = item.itemClass;
    run->context.itemType = item.itemType;
    if (copyText(item.destination, &slot->destination) != TextCopy::DONE) {
        *result = RESULT_NO_MEMORY;
        return Next::RETURN;
    }
    if (startEachItem(*run->agent, item.itemZip, item.itemClass, item.itemType, item.originVersion,
                      item.resultVersion, OVPATCH_ITEM_ROLLBACK) == 0) {
        *result = refuse("start item failed.", RESULT_REFUSED);
        return Next::AUTO_ROLLBACK;
    }
    run->context.backupItem = slot;
    slot->itemClass = item.itemClass;
    slot->itemType = item.itemType;
    slot->originVersion = item.originVersion;
    slot->resultVersion = item.resultVersion;
    *result = resultOf(rollbackItem(run->context));
    run->lastEndAnswer = endEachItem(*result == RESULT_DONE ? 1 : 0, *run->agent, item.itemClass,
                                     item.itemType, item.originVersion, item.resultVersion);
    if (run->lastEndAnswer == 0) *result = refuse("end item failed.", RESULT_REFUSED);
    if (*result == RESULT_DONE) return Next::GO_ON;
    UPDATER_ERROR(6, "rollbackWithPatchAgent: item failed.");
    return Next::AUTO_ROLLBACK;
}

std::int32_t quit(Rollback* run, std::int32_t result) {
    freeBackupStru(&run->runLedger);
    UPDATER_INFO(6, "rollbackWithPatchAgent: error quit.");
    return result;
}

std::int32_t quitAfterAutoRollback(Rollback* run, std::int32_t result) {
    UPDATER_INFO(6, "rollbackWithPatchAgent: auto rollback.");
    autoRollback(*run->agent, run->runLedger, UndoMode::ROLLBACK);
    UPDATER_INFO(6, "rollbackWithPatchAgent: auto rollback done.");
    return quit(run, result);
}

}  // namespace

std::int32_t rollbackWithPatchAgent(const PatchAgentApi& agent, const UpdateStru& update) {
    UPDATER_INFO(6, "rollbackWithPatchAgent: start.");
    if (update.itemCount == 0 || update.items == nullptr) {
        return refuse("parameters failed.", RESULT_NO_ROLLBACK_ITEMS);
    }
    Rollback run = {&agent, &update, {}, {}, {}, {}, 0};
    UPDATER_INFO(6, "rollbackWithPatchAgent: init auto-rollback backup structure.");
    initBackupStru(update, &run.runLedger);
    if (run.runLedger.items == nullptr) return quit(&run, RESULT_NO_MEMORY);
    UPDATER_INFO(6, "rollbackWithPatchAgent: init auto rollback backup info done.");
    run.context.agent = &agent;
    run.context.runLedger = &run.runLedger;
    run.context.takenNames = &run.takenNames;
    run.context.storedLedgers = &run.storedLedgers;

    std::int32_t result = openAgent(run);
    if (result != RESULT_DONE) return quit(&run, result);
    for (std::uint32_t i = 0; i < update.itemCount; ++i) {
        const Next next = rollBackItem(&run, i, &result);
        if (next == Next::RETURN) {
            freeBackupStru(&run.runLedger);
            return result;
        }
        if (next == Next::AUTO_ROLLBACK) return quitAfterAutoRollback(&run, result);
    }
    closeAgent(run);
    updateBackupIni(run.runLedger, &run.storedLedgers);
    UPDATER_INFO(6, "rollbackWithPatchAgent: action done.");
    UPDATER_INFO(6, "rollbackWithPatchAgent: done.");
    freeBackupStru(&run.runLedger);
    return RESULT_DONE;
}

}  // namespace ovpatch
