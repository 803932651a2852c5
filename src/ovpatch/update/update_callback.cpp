#include "ovpatch/update/update_callback.h"

#include <cstdlib>
#include <cstring>

#include "fileops/copy.h"
#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "fileops/remove.h"
#include "fileops/wide_path.h"
#include "foundation/bounded.h"
#include "ovpatch/agent/agent_api.h"
#include "ovpatch/agent/staging_area.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/item_copy_context.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/unique_name.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

constexpr std::int32_t GO_ON = 0;
constexpr std::int32_t STOP = 1;
constexpr std::int32_t LEAVE_ALONE = 2;
constexpr std::int32_t FAILED = -5;
constexpr std::uint32_t BEFORE = 0;

std::int32_t fail(const char* message) {
    UPDATER_ERROR(6, "callBackForUpdate: %s", message);
    return FAILED;
}

bool stage(const char* source, const char* directory, const char* staged) {
    if (!openStagingArea(directory) || !beginStaged(directory, staged)) return false;
    const bool done = copyFiles(source, staged, true, nullptr, nullptr) == 0;
    endStaged(directory, staged);
    return done;
}

// The old generation finds the new version of the file, under its own name, in a directory that it knows. The
// directory is flat: files of one name from different subdirectories pass through the same place.
void stageForOldAgent(const FileOpRecord& record, const BackupItem& item) {
    char target[PATH_SIZE];
    char directory[PATH_SIZE];
    char staged[PATH_SIZE];
    if (boundedStrncpy(target, record.targetPath, sizeof target) == nullptr) target[0] = '\0';
    if (joinPath(directory, sizeof directory, item.destination, "OVSrc.tmp") != 0) directory[0] = '\0';
    UPDATER_INFO(9, "Old OV temp %s", directory);
    const char* name = fileNamePart(target);
    const bool fits = target[0] != '\0' && directory[0] != '\0' &&
                      joinPath(staged, sizeof staged, directory, name != nullptr ? name : target) == 0;
    if (!fits || !stage(record.sourcePath, directory, staged)) UPDATER_ERROR(9, "Copy to old ov temp failed");
}

std::int32_t askOldAgent(const FileOpRecord& record, const ItemCopyContext& context) {
    stageForOldAgent(record, *context.backupItem);
    UPDATER_INFO(6, "PatchAgent CheckFile with: %s", record.targetPath);
    const std::int32_t answer = context.agent->CheckFile(record.targetPath);
    UPDATER_INFO(9, "Update: Call patchagent Checkfile( %s ) return %d", record.targetPath, answer);
    return answer;
}

std::int32_t askNewAgent(const FileOpRecord& record, const ItemCopyContext& context) {
    UPDATER_INFO(6, "PatchAgent CheckFileEx with: %s", record.targetPath);
    const std::int32_t answer = context.agent->CheckFileEx(record.targetPath);
    UPDATER_INFO(9, "UpdateEx: Call patchagent CheckfileEx( %s ) return %d", record.targetPath, answer);
    return answer;
}

std::int32_t askAgent(const FileOpRecord& record, const ItemCopyContext& context) {
    std::int32_t answer = context.agent->generation == OLD_GENERATION ? askOldAgent(record, context)
                                                                      : askNewAgent(record, context);
    if (answer == OVPATCH_FILE_STOP_DIFF) {
        answer =
            sameFileCheck(record.sourcePath, record.targetPath) != 0 ? OVPATCH_FILE_SKIP : OVPATCH_FILE_STOP;
    }
    switch (answer) {
        case OVPATCH_FILE_GO_ON:
            return GO_ON;
        case OVPATCH_FILE_SKIP:
            UPDATER_ERROR(6, "callBackForUpdate: check file user skip this file");
            return LEAVE_ALONE;
        case OVPATCH_FILE_STOP:
            UPDATER_ERROR(6, "callBackForUpdate: check file failed.");
            return STOP;
        default:
            UPDATER_ERROR(6, "callBackForUpdate: check file return unknown value.");
            return GO_ON;
    }
}

std::int32_t noteAdded(const char* targetPath, BackupItem* item) {
    const std::size_t size = std::strlen(targetPath) + 1;
    auto* entry = static_cast<char*>(std::malloc(size));
    if (entry == nullptr) return fail("malloc failed.");
    if (boundedStrncpy(entry, targetPath, size) == nullptr) {
        std::free(entry);
        return fail("strncpy failed.");
    }
    if (!appendAdded(item, entry)) {
        std::free(entry);
        return fail("malloc failed.");
    }
    return GO_ON;
}

// No entry leads to the saved copy, so it goes. Its path is shown only where memory ran out.
void dropSavedCopy(const ItemCopyContext& context, const char* saved, bool showPath) {
    if (unlink(saved, nullptr, nullptr) != 0) {
        if (showPath) {
            UPDATER_ERROR(6, "callBackForUpdate: unlink %s failed.", saved);
        } else {
            UPDATER_ERROR(6, "callBackForUpdate: unlink failed.");
        }
    }
    context.takenNames->release(baseName(saved).cStr());
}

std::int32_t noteWritten(const ItemCopyContext& context, const char* targetPath, const char* saved) {
    const ByteString name = baseName(saved);
    const std::size_t size = std::strlen(targetPath) + name.length() + 3;
    auto* entry = static_cast<char*>(std::malloc(size));
    if (entry == nullptr) {
        fail("malloc failed.");
        dropSavedCopy(context, saved, true);
        return FAILED;
    }
    if (boundedSnprintf(entry, size, "%s, %s", name.cStr(), targetPath) == 0) {
        fail("snprintf failed.");
        dropSavedCopy(context, saved, false);
        std::free(entry);
        return FAILED;
    }
    if (!appendWritten(context.backupItem, entry)) {
        fail("malloc failed.");
        dropSavedCopy(context, saved, true);
        std::free(entry);
        return FAILED;
    }
    UPDATER_INFO(6, "callBackForUpdate: over write file done.");
    return GO_ON;
}

// The source is opened before the journal is told, which is to know what it is.
void openSource(FileOpRecord* record, const ItemCopyContext& context) {
    if (!journal().isKept()) return;
    const WidePath source(record->sourcePath);
    if (source.fits())
        context.source->open(source.text());
    else
        context.source->close();
    record->opened = context.source;
}

std::int32_t tellAdded(FileOpRecord* record, const ItemCopyContext& context) {
    openSource(record, context);
    // What cannot be opened will not be copied.
    if (record->opened == nullptr || !record->opened->isOpen()) return GO_ON;
    record->opened->expectNoTarget();
    return journal().add(record->opened->state(), record->targetPath) ? GO_ON : fail("journal failed.");
}

SavedChange changeOf(FileOpRecord* record, const ItemCopyContext& context) {
    SavedChange change = {{LineKind::WRITE, {}, {}, nullptr, record->targetPath}, nullptr};
    openSource(record, context);
    if (record->opened == nullptr) return change;
    change.change.old = stateOfFile(record->targetPath);
    change.change.made = record->opened->state();
    record->opened->expectTarget(change.change.old);
    return change;
}

std::int32_t saveOverwritten(FileOpRecord* record, const ItemCopyContext& context) {
    const char* targetPath = record->targetPath;
    char directory[PATH_SIZE];
    char saved[PATH_SIZE];
    Saved outcome = Saved::NO_NAME;
    if (itemBackupDir(context.backupItem->destination, context.itemClass, context.itemType, directory,
                      sizeof directory) != 0) {
        enterBackupDir(context, directory);
        outcome = saveUnderUniqueName(changeOf(record, context), FileFate::REPLACED, directory, saved,
                                      sizeof saved, context.takenNames);
    }
    if (outcome == Saved::NO_NAME) return fail("crtUniFile failed.");
    if (outcome == Saved::EMPTY) {
        // A file that is there and has no copy could not be put back.
        bool known = true;
        if (pathExists(targetPath, &known) || !known) {
            dropSavedCopy(context, saved, true);
            return fail("the old file cannot be saved.");
        }
        // Of a file that has gone meanwhile there is nothing to put back; the name of its copy stays taken.
        unlink(saved, nullptr, nullptr);
    }
    return noteWritten(context, targetPath, saved);
}

std::int32_t keepLedger(FileOpRecord* record, const ItemCopyContext& context) {
    if (record->operation == FILEOP_COPY_NEW) {
        return record->phase == BEFORE ? tellAdded(record, context)
                                       : noteAdded(record->targetPath, context.backupItem);
    }
    if (record->operation == FILEOP_COPY_OVERWRITE && record->phase == BEFORE) {
        return saveOverwritten(record, context);
    }
    return GO_ON;
}

}  // namespace

std::int32_t callBackForUpdate(FileOpRecord* record) {
    const auto& context = *static_cast<const ItemCopyContext*>(record->userData);
    // Directories that the copy makes have no target: nobody is asked about them, and they are in no ledger.
    if (record->targetPath == nullptr) return GO_ON;
    // The copy has just found that the target is no directory.
    if (record->phase == BEFORE) {
        if (std::strlen(record->targetPath) >= PATH_SIZE) return fail("target path does not fit.");
        const std::int32_t answer = askAgent(*record, context);
        if (answer != GO_ON) return answer;
        if (!ledgerCanHold(record->targetPath)) return fail("the ledger cannot hold this path.");
    }
    return keepLedger(record, context);
}

}  // namespace ovpatch
