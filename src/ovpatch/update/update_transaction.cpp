#include "ovpatch/update/update_transaction.h"

#include <cstring>

#include "fileops/copy.h"
#include "foundation/bounded.h"
#include "ovpatch/agent/class_paths.h"
#include "ovpatch/agent/item_bracket.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/backup_stru.h"
#include "ovpatch/ledger/item_copy_context.h"
#include "ovpatch/ledger/ledger_merge.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/owned_text.h"
#include "ovpatch/result_codes.h"
#include "ovpatch/rollback/auto_rollback.h"
#include "ovpatch/update/update_callback.h"

namespace ovpatch {

namespace {

// One update from its opening to its end.
struct Update {
    const PatchAgentApi* agent;
    const UpdateStru* update;
    BackupStru runLedger;
    ItemCopyContext context;
    TakenNames takenNames;
    platform::CopySource source;
    FileOpRecord record;
    ClassPaths classPaths;  // old generation
    std::uint32_t flags;    // new generation; the force bit is never cleared
    std::int32_t lastEndAnswer;
};

std::int32_t fail(const char* message, std::int32_t result) {
    UPDATER_ERROR(6, "updateWithPatchAgent: %s", message);
    return result;
}

std::int32_t openOldAgent(Update* run) {
    askClassPaths(*run->agent, *run->update, "updateWithPatchAgent", &run->classPaths);
    UPDATER_INFO(6, "PatchAgent IsRollback with: void");
    if (run->agent->IsRollback() == 0) {
        UPDATER_ERROR(6, "updateWithPatchAgent: patch agent want not to rollback.");
    }
    const std::uint32_t mask = classMask(*run->update);
    UPDATER_INFO(6, "updateWithPatchAgent: start patch.");
    UPDATER_INFO(6, "PatchAgent StartPatch with: %x", mask);
    switch (run->agent->StartPatch(mask)) {
        case OVPATCH_START_FAILED:
            return fail("start patch failed.", RESULT_REFUSED);
        case OVPATCH_START_CLOSE_PROGRAM:
            return fail("start patch, need close program.", RESULT_REFUSED);
        default:
            return RESULT_DONE;
    }
}

std::int32_t openNewAgent(const Update& run) {
    UPDATER_INFO(6, "updateWithPatchAgent: start action.");
    UPDATER_INFO(6, "PatchAgent StartAction with: void");
    switch (run.agent->StartAction()) {
        case OVPATCH_START_FAILED:
            return fail("start action failed.", RESULT_REFUSED);
        case OVPATCH_START_CLOSE_PROGRAM:
            return fail("start action, need close program.", RESULT_REFUSED);
        default:
            return RESULT_DONE;
    }
}

bool isOld(const Update& run) {
    return run.agent->generation == OLD_GENERATION;
}

// The agent is not told of an item whose paths cannot be formed.
bool formPaths(const Update& run, const UpdateItem& item, char (&source)[PATH_SIZE]) {
    const std::size_t length =
        itemSourceDir(run.update->orvellePath, item.itemClass, item.itemType, source, sizeof source);
    // Behind the source the wildcard will stand.
    return length != 0 && length + 1 < sizeof source && std::strlen(item.destination) < PATH_SIZE;
}

// The result code of an answer of xcopy, with its line in the log.
std::int32_t resultOf(std::int32_t answer) {
    switch (answer) {
        case 0:
            return RESULT_DONE;
        case 1:
            return fail("user cancel this", RESULT_REFUSED);
        case -1:
            return fail("xcopy failed, bad parameters.", RESULT_INVALID);
        case -2:
        case -3:
        case -4:
        case -5:
        case -6:
            return fail("xcopy failed, disk access.", RESULT_DISK_ERROR);
        default:
            return RESULT_REFUSED;
    }
}

// Between the item's start and its end.
std::int32_t copyItem(Update* run, const UpdateItem& item, BackupItem* entry, char (&source)[PATH_SIZE]) {
    char destination[PATH_SIZE];
    const char* chosen = isOld(*run) ? classPath(run->classPaths, item.itemClass) : item.destination;
    boundedStrncpy(destination, chosen, sizeof destination);
    run->context.itemClass = item.itemClass;
    run->context.itemType = item.itemType;
    run->context.backupItem = entry;
    run->takenNames.forget();
    boundedStrncat(source, "*", sizeof source);
    entry->itemClass = item.itemClass;
    entry->itemType = item.itemType;
    entry->originVersion = item.originVersion;
    entry->resultVersion = item.resultVersion;
    UPDATER_INFO(6, "xcopy from: %s to: %s\n", source, destination);
    return resultOf(xcopy(source, destination, true, callBackForUpdate, &run->record));
}

std::int32_t updateItem(Update* run, std::uint32_t index) {
    const UpdateItem& item = run->update->items[index];
    BackupItem* entry = &run->runLedger.items[index];
    char source[PATH_SIZE];
    if (!formPaths(*run, item, source)) return fail("path does not fit.", RESULT_INVALID);
    if (!isOld(*run) && item.forceUpdate != 0) run->flags |= OVPATCH_ITEM_FORCE;
    if (startEachItem(*run->agent, item.itemZip, item.itemClass, item.itemType, item.originVersion,
                      item.resultVersion, run->flags) == 0) {
        return fail("start item failed.", RESULT_REFUSED);
    }
    // The agent's bracket stays open when there is no memory for the entry.
    if (entry->destination == nullptr && copyText(item.destination, &entry->destination) != TextCopy::DONE) {
        return fail("malloc for blist dest failed.", RESULT_NO_MEMORY);
    }
    const std::int32_t result = copyItem(run, item, entry, source);
    run->lastEndAnswer = endEachItem(result == RESULT_DONE ? 1 : 0, *run->agent, item.itemClass,
                                     item.itemType, item.originVersion, item.resultVersion);
    if (run->lastEndAnswer == 0) return fail("end item failed.", RESULT_REFUSED);
    return result;
}

void endNewAgent(const Update& run) {
    UPDATER_INFO(6, "updateWithPatchAgent: end action.");
    UPDATER_INFO(6, "PatchAgent EndAction with: void");
    run.agent->EndAction();
}

void endOldAgent(const Update& run) {
    UPDATER_INFO(6, "updateWithPatchAgent: end patch.");
    UPDATER_INFO(6, "PatchAgent EndPatch with: %s", run.lastEndAnswer != 0 ? "TRUE" : "FALSE");
    run.agent->EndPatch(run.lastEndAnswer);
}

std::int32_t quit(Update* run, std::int32_t result) {
    freeBackupStru(&run->runLedger);
    UPDATER_INFO(6, "updateWithPatchAgent: error quit.");
    return result;
}

std::int32_t quitOpened(Update* run, std::int32_t result) {
    if (!isOld(*run)) endNewAgent(*run);
    return quit(run, result);
}

std::int32_t quitAfterAutoRollback(Update* run, std::int32_t result) {
    UPDATER_INFO(6, "updateWithPatchAgent: auto rollback.");
    autoRollback(*run->agent, run->runLedger, UndoMode::UPDATE);
    UPDATER_INFO(6, "updateWithPatchAgent: auto rollback done.");
    return quitOpened(run, result);
}

}  // namespace

std::int32_t updateWithPatchAgent(const PatchAgentApi& agent, const UpdateStru& update) {
    UPDATER_INFO(6, "updateWithPatchAgent: start.");
    Update run = {&agent, &update, {}, {}, {}, {}, {}, {}, 0, 0};
    initBackupStru(update, &run.runLedger);
    if (run.runLedger.items == nullptr) return quit(&run, RESULT_NO_MEMORY);
    run.context.agent = &agent;
    run.context.runLedger = &run.runLedger;
    run.context.takenNames = &run.takenNames;
    run.context.source = &run.source;
    run.record.recordSize = sizeof run.record;
    run.record.userData = &run.context;

    std::int32_t result = isOld(run) ? openOldAgent(&run) : openNewAgent(run);
    if (result != RESULT_DONE) return quitOpened(&run, result);
    for (std::uint32_t i = 0; i < update.itemCount; ++i) {
        result = updateItem(&run, i);
        if (result != RESULT_DONE) return quitAfterAutoRollback(&run, result);
    }
    if (isOld(run)) {
        endOldAgent(run);
    } else {
        endNewAgent(run);
    }
    mergeBackupIni(run.runLedger, update.backup);
    freeBackupStru(&run.runLedger);
    UPDATER_INFO(6, "updateWithPatchAgent: done.");
    return RESULT_DONE;
}

}  // namespace ovpatch
