#include "ovpatch/rollback/rollback_item.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "fileops/copy.h"
#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "fileops/remove.h"
#include "fileops/wide_path.h"
#include "foundation/bounded.h"
#include "foundation/tokenizer.h"
#include "ovpatch/agent/agent_api.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/stored_ledger.h"
#include "ovpatch/ledger/unique_name.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

// The agent's last verdict.
constexpr std::int32_t ACT = ROLLBACK_DONE;
constexpr std::int32_t LEAVE_ALONE = ROLLBACK_LAST_SKIPPED;

// The work on one item. The decision is carried from file to file and from the first pass into the second.
struct Passes {
    const ItemCopyContext* context;
    const BackupItem* undone;  // the item in the stored ledger
    std::int32_t decision;
    char backupDirectory[PATH_SIZE];
    std::unique_ptr<bool[]> copyExists;  // for each written file, before the first safety copy was made
};

// How the two passes put the question.
struct Question {
    const char* oldText;
    const char* newText;
};

// One file of a pass, and where its state is saved.
struct FilePaths {
    char file[PATH_SIZE];
    char safety[PATH_SIZE];
};

// Answers the item's ledger in `ledger`.
std::int32_t readLedger(const ItemCopyContext& context, const BackupStru** ledger) {
    char path[PATH_SIZE];
    if (!ledgerPath(context.destination, path, sizeof path)) {
        UPDATER_ERROR(6, "rollbackItem: CatURIWithFile failed.");
        return ROLLBACK_BAD_ARGUMENTS;
    }
    StoredLedger* stored = context.storedLedgers->at(path);
    if (stored != nullptr) *ledger = &stored->ledger();
    if (stored != nullptr && stored->isRead(path)) return ROLLBACK_DONE;
    bool known = true;
    if (!pathExists(path, &known) && known) {
        UPDATER_ERROR(6, "rollbackItem: %s doesnot exist.", path);
        return ROLLBACK_NO_LEDGER;
    }
    switch (stored != nullptr ? stored->read(path) : StoredLedger::Reading::NO_MEMORY) {
        case StoredLedger::Reading::DONE:
            return ROLLBACK_DONE;
        case StoredLedger::Reading::NO_MEMORY:
            UPDATER_ERROR(6, "rollbackItem: create KxIniUtil object failed.");
            return ROLLBACK_NO_LEDGER;
        default:
            break;
    }
    UPDATER_ERROR(6, "rollbackItem: phaseIniForBackup failed.");
    return ROLLBACK_NO_LEDGER;
}

std::int32_t tooLong() {
    UPDATER_ERROR(6, "rollbackItem: path does not fit.");
    return ROLLBACK_NOT_SAVED;
}

void dropSafetyCopy(const Passes& passes, const char* safety) {
    unlink(safety, nullptr, nullptr);
    passes.context->takenNames->release(baseName(safety).cStr());
}

// What the journal is to be told of the file; `copy` is what will be moved over it, null for nothing.
// `source` has the file opened then, if it can be.
SavedChange changeOf(const FilePaths& paths, const char* copy, platform::CopySource* source) {
    SavedChange change = {{LineKind::REMOVE, {}, {}, nullptr, paths.file}, source};
    const WidePath file(paths.file);
    const bool isOpen = file.fits() && source->open(file.text());
    change.change.old = isOpen ? source->state() : stateOfFile(paths.file);
    if (copy == nullptr || !journal().isKept()) return change;
    change.change.made = stateOfFile(copy);
    if (change.change.made.isFile) change.change.kind = LineKind::RESTORE;
    change.change.older = copy;
    return change;
}

// Saves what stands at the file's path. What is gone, or no file, leaves an empty safety copy. False when
// there is no name for one, and for a file that is there, or may be, and could not be saved: it must not be
// touched. `fate` is the file's if nobody objects. `copy` is what will be moved over the file, null for
// nothing; `told` receives what the journal was told.
bool saveState(Passes* passes, FilePaths* paths, FileFate fate, const char* copy, FileChange* told) {
    const ItemCopyContext& context = *passes->context;
    platform::CopySource source;
    const SavedChange change = changeOf(*paths, copy, &source);
    *told = change.change;
    // An agent that is asked next may write into the file, or want it left alone.
    if (context.agent->library != nullptr || !source.isOpen()) fate = FileFate::UNKNOWN;
    const Saved outcome = saveUnderUniqueName(change, fate, passes->backupDirectory, paths->safety, PATH_SIZE,
                                              context.takenNames);
    if (outcome == Saved::NO_NAME) {
        UPDATER_ERROR(6, "rollbackItem: crtUniFile failed.");
        return false;
    }
    bool known = true;
    if (outcome == Saved::EMPTY && (pathExists(paths->file, &known) || !known) && !isDirectory(paths->file)) {
        UPDATER_ERROR(6, "rollbackItem: %s cannot be saved.", paths->file);
        dropSafetyCopy(*passes, paths->safety);
        return false;
    }
    return true;
}

std::int32_t askAgent(const PatchAgentApi& agent, const Question& question, const char* path) {
    switch (agent.generation) {
        case OLD_GENERATION:
            UPDATER_INFO(6, "%s %s", question.oldText, path);
            return agent.CheckFile(path);
        case NEW_GENERATION:
            UPDATER_INFO(6, "%s %s", question.newText, path);
            return agent.CheckFileEx(path);
        default:
            UPDATER_ERROR(6, "rollbackItem: unknown patch agent version.");
            return OVPATCH_FILE_STOP;
    }
}

// Notes the saved state in the run ledger, before the file is touched.
bool noteUndo(const Passes& passes, const FilePaths& paths) {
    const ByteString name = baseName(paths.safety);
    const std::size_t size = name.length() + std::strlen(paths.file) + 3;
    auto* entry = static_cast<char*>(std::malloc(size));
    const char* fault = "malloc";
    if (entry != nullptr) {
        const bool fits = boundedSnprintf(entry, size, "%s, %s", name.cStr(), paths.file) != 0;
        if (fits && appendWritten(passes.context->backupItem, entry)) return true;
        if (!fits) fault = "snprintf";
    }
    UPDATER_ERROR(6, "rollbackItem: %s failed.", fault);
    std::free(entry);
    dropSafetyCopy(passes, paths.safety);
    return false;
}

// False when the agent stops the rollback here.
bool decideAdded(Passes* passes, std::int32_t answer) {
    switch (answer) {
        case OVPATCH_FILE_GO_ON:
            passes->decision = ACT;
            return true;
        case OVPATCH_FILE_SKIP:
        case OVPATCH_FILE_STOP_DIFF:
            passes->decision = LEAVE_ALONE;
            return true;
        case OVPATCH_FILE_STOP:
            return false;
        default:
            UPDATER_ERROR(6, "rollbackItem:unknown action for checkfile.");
            return true;
    }
}

bool decideWritten(Passes* passes, std::int32_t answer, const char* copy, const char* file) {
    switch (answer) {
        case OVPATCH_FILE_GO_ON:
            passes->decision = ACT;
            return true;
        case OVPATCH_FILE_SKIP:
            passes->decision = LEAVE_ALONE;
            return true;
        case OVPATCH_FILE_STOP_DIFF:
            if (sameFileCheck(copy, file) == 0) return false;
            passes->decision = LEAVE_ALONE;
            return true;
        case OVPATCH_FILE_STOP:
            return false;
        default:
            return true;
    }
}

// Where the file is gone there is nothing to delete, and a name that differs in case only is another file's.
// What fails in passing is tried once more, for nothing else comes behind it.
void deleteAdded(const char* file) {
    bool known = true;
    if (removeFileAtOnce(file) || (!pathExists(file, &known) && known)) return;
    if (unlink(file, nullptr, nullptr) != FILEOP_OK) unlink(file, nullptr, nullptr);
}

std::int32_t undoAddedFile(Passes* passes, const char* added) {
    FilePaths paths;
    if (boundedStrncpy(paths.file, added, sizeof paths.file) == nullptr) return tooLong();
    FileChange told;
    if (!saveState(passes, &paths, FileFate::REPLACED, nullptr, &told)) return ROLLBACK_NOT_SAVED;
    const Question question = {"PatchAgent CheckFile with:", "PatchAgent CheckFileEx with"};
    if (!decideAdded(passes, askAgent(*passes->context->agent, question, paths.file))) {
        dropSafetyCopy(*passes, paths.safety);
        return ROLLBACK_STOPPED;
    }
    if (!noteUndo(*passes, paths)) return ROLLBACK_NOT_SAVED;
    if (passes->decision != LEAVE_ALONE) deleteAdded(paths.file);
    return ROLLBACK_DONE;
}

// `looked` is what the copy was found to be, if it was looked at.
void moveBack(const char* copy, const char* file, const platform::FileState& looked) {
    if (moveFiles(copy, file, looked.isFile ? &looked : nullptr) == FILEOP_OK) return;
    // What fails in passing is tried once more, for the copy goes with the record.
    moveFiles(copy, file, true, nullptr, nullptr);
}

std::int32_t undoWrittenFile(Passes* passes, const char* entry, bool copyExists) {
    const ByteString name = backupCopyName(entry);
    FilePaths paths;
    char copy[PATH_SIZE];
    if (!backupCopyPath(passes->backupDirectory, name.cStr(), copy, sizeof copy) ||
        boundedStrncpy(paths.file, tokenAt(splitString(entry, ','), 1).cStr(), sizeof paths.file) ==
            nullptr) {
        return tooLong();
    }
    FileChange told;
    const FileFate fate = copyExists ? FileFate::REPLACED : FileFate::UNKNOWN;
    if (!saveState(passes, &paths, fate, copyExists ? copy : nullptr, &told)) return ROLLBACK_NOT_SAVED;
    const Question question = {"PatchAgent CheckFilie with:", "PatchAgent CheckFileEx with:"};
    if (!decideWritten(passes, askAgent(*passes->context->agent, question, paths.file), copy, paths.file)) {
        dropSafetyCopy(*passes, paths.safety);
        return ROLLBACK_STOPPED;
    }
    if (!noteUndo(*passes, paths)) return ROLLBACK_NOT_SAVED;
    if (!isBackupCopyName(name.cStr())) UPDATER_ERROR(6, "rollbackItem: no backup copy: %s", entry);
    if (passes->decision != LEAVE_ALONE && copyExists) moveBack(copy, paths.file, told.made);
    return ROLLBACK_DONE;
}

// Settles which copies there are while no safety copy can be taken for one. False without memory.
bool findCopies(Passes* passes) {
    const BackupItem& undone = *passes->undone;
    passes->copyExists.reset(new (std::nothrow) bool[undone.writtenCount + 1]);
    if (passes->copyExists == nullptr) return false;
    for (std::uint32_t k = 0; k < undone.writtenCount; ++k) {
        const ByteString name = backupCopyName(undone.writtenFiles[k]);
        char copy[PATH_SIZE];
        bool known = true;
        const bool exists = passes->context->takenNames->isTaken(name.cStr()) ||
                            (backupCopyPath(passes->backupDirectory, name.cStr(), copy, sizeof copy) &&
                             (pathExists(copy, &known) || !known));
        passes->copyExists[k] = exists && isBackupCopyName(name.cStr());
    }
    return true;
}

std::int32_t undoFiles(Passes* passes) {
    TakenNames* names = passes->context->takenNames;
    names->forget();
    enterBackupDir(*passes->context, passes->backupDirectory);
    if (!findCopies(passes)) {
        UPDATER_ERROR(6, "rollbackItem: malloc failed.");
        return ROLLBACK_NOT_SAVED;
    }
    // No safety copy gets a name that the ledger lists, be the copy there or gone.
    takeCopyNames(*passes->undone, names);
    for (std::uint32_t k = 0; k < passes->undone->addedCount; ++k) {
        const std::int32_t answer = undoAddedFile(passes, passes->undone->addedFiles[k]);
        if (answer != ROLLBACK_DONE) return answer;
    }
    UPDATER_INFO(6, "rollbackItem: rollback added file done.");
    for (std::uint32_t k = 0; k < passes->undone->writtenCount; ++k) {
        const std::int32_t answer =
            undoWrittenFile(passes, passes->undone->writtenFiles[k], passes->copyExists[k]);
        if (answer != ROLLBACK_DONE) return answer;
    }
    return ROLLBACK_DONE;
}

std::int32_t undoItem(const ItemCopyContext& context, const BackupItem& undone) {
    Passes passes = {&context, &undone, ACT, {}, nullptr};
    if (itemBackupDir(context.destination, context.itemClass, context.itemType, passes.backupDirectory,
                      sizeof passes.backupDirectory) == 0) {
        UPDATER_ERROR(6, "rollbackItem: CatURIWithFile failed.");
        return ROLLBACK_BAD_ARGUMENTS;
    }
    const std::int32_t answer = undoFiles(&passes);
    if (answer == ROLLBACK_DONE) return passes.decision;
    // One line for both passes.
    UPDATER_ERROR(6, "rollbackItem: rollback added file failed.");
    return answer;
}

}  // namespace

std::int32_t rollbackItem(const ItemCopyContext& context) {
    UPDATER_INFO(6, "rollbackItem: start.");
    const BackupStru* ledger = nullptr;
    const std::int32_t answer = readLedger(context, &ledger);
    if (answer != ROLLBACK_DONE) return answer;

    UPDATER_INFO(6, "rollbackItem: find out the item with same class/type.");
    const BackupItem* undone = findBackupItem(*ledger, context.itemClass, context.itemType);
    if (undone == nullptr) {
        UPDATER_INFO(6, "rollbackItem: item not found.");
        return ROLLBACK_NOT_FOUND;
    }
    UPDATER_INFO(6, "rollbackItem: item found.");
    return undoItem(context, *undone);
}

}  // namespace ovpatch
