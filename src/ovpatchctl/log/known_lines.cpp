#include "ovpatchctl/log/known_lines.h"

#include <cstring>

#include "fileops/dir_listing.h"

namespace ovpatch::ctl {

namespace {

constexpr ResultWords RESULTS[] = {
    {0, "done", "None: an update that is run again leaves nothing to roll back to."},
    {3, "a program must be closed first", "As it is, later: the agent decides."},
    {4, "an update without items", "Mend the manifest first."},
    {5, "a rollback without items", "Mend the manifest first."},
    {12, "the manifest or a path in it is wrong", "Mend the manifest, or make the destination."},
    {16, "a file operation failed",
     "Mend the disk first: room, rights, names. A rollback without a ledger or record stays one."},
    {48, "no memory", "As it is, when there is more memory."},
    {57, "no action ran", "Mend the manifest first."},
    {60, "the agent said no", "As it is, later: the agent decides."},
    {NO_RESULT, "not known", "Start it again."},
    {UNWRITTEN_RESULT, "not known, it could not be written",
     "Mend what keeps the file from being written, and start it again."},
};

constexpr KnownLine LINES[] = {
    {LineRole::REMARK, 0, "loadSharedObj: filename is empty.",
     "The manifest names no agent. All questions were answered with consent."},
    {LineRole::REMARK, 0, "loadSharedObj: %s failed.",
     "The agent could not be loaded. All questions were answered with consent. A library that lacks an entry "
     "of its generation has the same effect and no line in the log."},
    {LineRole::REMARK, 0, "callBackForUpdate: check file user skip this file",
     "The agent told an update to leave this file alone."},
    {LineRole::REMARK, 0, "callBackForUpdate: check file return unknown value.",
     "The agent answered something undefined; the file was updated."},
    {LineRole::REMARK, 0, "rollbackItem:unknown action for checkfile.",
     "The agent answered something undefined for an added file; it was treated as the file before."},
    {LineRole::REMARK, 0, "updateWithPatchAgent: patch agent want not to rollback.",
     "An old agent answered 0 to IsRollback; an update goes on."},
    {LineRole::REMARK, 0, "Copy to old ov temp failed",
     "The new version of the file could not be laid out for an old agent."},
    {LineRole::REMARK, 0, "phaseIniForBackup: item has no backuped files.",
     "A ledger holds a record without files: the item's source was empty, or all was skipped."},
    {LineRole::REMARK, 0, "OvPatch: ovcfg.ini cannot be read.",
     "The settings are there and could not be read; the defaults hold."},
    {LineRole::REMARK, 0, "Merge backup ini faild",
     "The ledger of an item could not be read or made. The new files are in place, but this item and those "
     "after it have no record and cannot be rolled back."},
    {LineRole::REMARK, 0, "rollbackItem: no backup copy: %s",
     "A record names no file for a copy, or has * or ? in its name. The file was left as it is."},
    {LineRole::REMARK, 0, "no backup copy: %s",
     "A record names no file for a copy that was to be deleted; nothing was."},
    {LineRole::REMARK, 0, "ledger %s cannot be written.",
     "The ledger stayed as it was, and with it the copies that it names: after an update it has no record of "
     "the new files, after a rollback it still has that of the old ones."},
    {LineRole::REMARK, 0, "mergeBackupIni: transaction of %u items does not fit.",
     "The ledger's key transaction names only the first of the items. Nothing reads it."},
    {LineRole::CAUSE, 3, "rollbackWithPatchAgent: start action close program needed.",
     "StartAction answered 2."},
    {LineRole::CAUSE, 3, "rollbackWithPatchAgent: start patch close program needed.",
     "StartPatch answered 2."},
    {LineRole::CAUSE, 4, "update: ovpatch ini contains no items.",
     "itemcount is 0 or no number. Nothing was touched."},
    {LineRole::CAUSE, 5, "rollback: ovpatch contains no items.",
     "itemcount is 0 or no number. Nothing was touched."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch item count failed.", "No itemcount."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch old/new patchagent failed.", "No patchagent.version."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch orvelle full path failed.", "No orvelle_path."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: malloc failed.", "itemcount is negative, or memory ran out."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch class failed.",
     "An item has no class, or there is no section item_<n> for it."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch type failed.", "No type."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch origin version failed.", "No origin.version."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch result version failed.", "No result.version."},
    {LineRole::CAUSE, 12, "phaseIniForUpdate: fetch destination failed.", "No destination."},
    {LineRole::CAUSE, 12, "update: unknown patch agent version number.",
     "patchagent.version is neither 0 nor 1."},
    {LineRole::CAUSE, 12, "rollback: unkown patch agent version number.",
     "patchagent.version is neither 0 nor 1."},
    {LineRole::CAUSE, 12, "updateWithPatchAgent: path does not fit.",
     "destination or the item's source directory is too long."},
    {LineRole::CAUSE, 12, "updateWithPatchAgent: xcopy failed, bad parameters.",
     "destination is empty, a file, or missing without a separator at its end."},
    {LineRole::CAUSE, 12, "updateWithPatchAgent: destination does not fit, %s not called.",
     "destination is too long for an old agent's path query."},
    {LineRole::CAUSE, 12, "updateWithPatchAgent: path of %s does not fit.",
     "An old agent left no terminator in the buffer."},
    {LineRole::CAUSE, 12, "rollbackWithPatchAgent: bad arguments.",
     "The path of the ledger or of its copies does not fit."},
    {LineRole::CAUSE, 16, "updateWithPatchAgent: xcopy failed, disk access.",
     "A file could not be copied or a directory made: no space, a read-only file or a directory in its "
     "place, no permission, * or ? in its name. The last question about a file, PatchAgent CheckFileEx with: "
     "%s, names it."},
    {LineRole::CAUSE, 16, "OvPatch: %s cannot be read, error %u.",
     "A directory of the new files could not be listed, or a file at the destination could not be looked at: "
     "no permission (5), no memory (8), too many open files (4), a failing disk (1117), a path that is too "
     "long (206). Of such a directory nothing is copied or removed. A missing one is an empty one."},
    {LineRole::CAUSE, 16, "callBackForUpdate: crtUniFile failed.",
     "No copy could be created: OV_Backup cannot be written, its path is too long, or all 46656 names are "
     "taken."},
    {LineRole::CAUSE, 16, "callBackForUpdate: target path does not fit.",
     "A file's path at the destination is too long."},
    {LineRole::CAUSE, 16, "callBackForUpdate: the ledger cannot hold this path.",
     "A file's path holds a line feed, or has white space at an end."},
    {LineRole::CAUSE, 16, "callBackForUpdate: the old file cannot be saved.",
     "A file is there of which no copy could be made, for want of room or of a permission. It was not "
     "touched."},
    {LineRole::CAUSE, 16, "rollbackItem: %s cannot be saved.",
     "A file is there of which no copy could be made, for want of room or of a permission. It was not "
     "touched."},
    {LineRole::CAUSE, 16, "rollbackItem: %s doesnot exist.", "There is no ledger at the item's destination."},
    {LineRole::CAUSE, 16, "rollbackItem: phaseIniForBackup failed.",
     "The ledger cannot be read; the line before tells why."},
    {LineRole::CAUSE, 16, "rollbackItem: item not found.",
     "The ledger has no record of this class and type: it was rolled back already, or updated with "
     "backup=0."},
    {LineRole::CAUSE, 16, "rollbackItem: crtUniFile failed.", "No safety copy could be created."},
    {LineRole::CAUSE, 16, "rollbackItem: path does not fit.", "The ledger names a path that is too long."},
    {LineRole::CAUSE, 48, "initBackupStru: malloc failed.",
     "The run's record could not be made. Nothing was touched."},
    {LineRole::CAUSE, 48, "updateWithPatchAgent: malloc for blist dest failed.",
     "No memory for the record of an item. The items before it were undone. In a rollback there is no line, "
     "and nothing is undone."},
    {LineRole::CAUSE, 57, "OvPatch: %s cannot be read.",
     "The manifest is there, or may be, and could not be read to its end."},
    {LineRole::CAUSE, 57, "OvPatch fetch (common:action) failed.",
     "There is no manifest at OV_Temp\\OvPatch.ini below the base directory, or it has no action."},
    {LineRole::CAUSE, 57, "OvPatch Unknown action.", "action is none of 0, 1 and 2."},
    {LineRole::CAUSE, 60, "updateWithPatchAgent: start action failed.", "StartAction answered 1."},
    {LineRole::CAUSE, 60, "updateWithPatchAgent: start action, need close program.",
     "StartAction answered 2."},
    {LineRole::CAUSE, 60, "updateWithPatchAgent: start patch failed.", "StartPatch answered 1."},
    {LineRole::CAUSE, 60, "updateWithPatchAgent: start patch, need close program.", "StartPatch answered 2."},
    {LineRole::CAUSE, 60, "updateWithPatchAgent: start item failed.",
     "StartItem, StartEngine, ... answered 0."},
    {LineRole::CAUSE, 60, "startEachItem: unknown class.",
     "With an old agent, an item's class is none of 1, 2 and 3."},
    {LineRole::CAUSE, 60, "updateWithPatchAgent: user cancel this",
     "CheckFileEx or CheckFile answered -1 or -2."},
    {LineRole::CAUSE, 60, "updateWithPatchAgent: end item failed.",
     "EndItem, EndEngine, ... answered 0. This replaces a 12 or 16 of the item."},
    {LineRole::CAUSE, 60, "rollback: patch agent refused to rollback.", "IsRollbackEx answered 0."},
    {LineRole::CAUSE, 60, "rollbackWithPatchAgent: patch agent want not to rollback.",
     "IsRollback answered 0."},
    {LineRole::CAUSE, 60, "rollbackWithPatchAgent: start action failed.", "StartAction answered 1."},
    {LineRole::CAUSE, 60, "rollbackWithPatchAgent: start patch failed.", "StartPatch answered 1."},
    {LineRole::CAUSE, 60, "rollbackWithPatchAgent: start item failed.",
     "StartItem, StartEngine, ... answered 0."},
    {LineRole::CAUSE, 60, "rollbackWithPatchAgent: user cancel.",
     "CheckFileEx or CheckFile answered -1, or -2 for a file that the update had overwritten."},
    {LineRole::CAUSE, 60, "rollbackWithPatchAgent: end item failed.", "EndItem, EndEngine, ... answered 0."},
    {LineRole::COMPANION, NO_RESULT, "callBackForUpdate: check file failed.",
     "in front of updateWithPatchAgent: user cancel this"},
    {LineRole::COMPANION, NO_RESULT, "startEachItem: start %s failed.",
     "in front of start item failed. of the transaction"},
    {LineRole::COMPANION, NO_RESULT, "rollbackItem: CatURIWithFile failed.",
     "in front of rollbackWithPatchAgent: bad arguments."},
    {LineRole::COMPANION, NO_RESULT, "rollbackItem: rollback added file failed.",
     "after the cause, if it was met at a file, also at one that the update had overwritten"},
    {LineRole::COMPANION, NO_RESULT, "updateWithPatchAgent: xcopy failed, disk access.",
     "after a line of callBackForUpdate, which then is the cause"},
    {LineRole::COMPANION, NO_RESULT, "rollbackWithPatchAgent: access failed.",
     "after the cause of a 16 in a rollback"},
    {LineRole::COMPANION, NO_RESULT, "rollbackWithPatchAgent: item failed.",
     "after the cause, if it was met at an item"},
    {LineRole::COMPANION, NO_RESULT, "Start Class[%d] error but in auto rollback ignore it",
     "in an undo: the agent answered 0"},
    {LineRole::COMPANION, NO_RESULT, "End Class[%d] error but in auto rollback so ignore it",
     "in an undo: the agent answered 0"},
    {LineRole::COMPANION, NO_RESULT, "update: phaseIniForUpdate failed.",
     "last: the step of the run that failed"},
    {LineRole::COMPANION, NO_RESULT, "rollback: phaseIniForUpdate failed.",
     "last: the step of the run that failed"},
    {LineRole::COMPANION, NO_RESULT, "update: updateWithPatchAgent failed.",
     "last: the step of the run that failed"},
    {LineRole::COMPANION, NO_RESULT, "rollback: rollbackWithPatchAgent failed.",
     "last: the step of the run that failed"},
    {LineRole::RECOVERY, NO_RESULT, "recovery: a run was cut off, its journal is %s.",
     "The first record of the start that puts it right."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %u files are back, the state before is there.",
     "All is as before that run."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: it had told its result, what was left to tidy is done.",
     "Its result counts; nothing was put back."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %s was changed since, it stays.",
     "The file has neither the size and time that the run gave it nor those before: somebody has repaired "
     "it. It stays, and so do its copies."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %s cannot be put back.",
     "Its copy is gone, or the device refuses."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: directory %s stays.",
     "The run had made it, and something of somebody else's is in it."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %u files are back, %u could not be put back.",
     "The sum, where something is not as before. The run goes on all the same."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %u lines of %s cannot be read.",
     "The journal is damaged. What its other lines tell was put back."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %s is of another version.",
     "The journal is another program's; nothing was put back."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %s is no journal.",
     "Something else has its name; nothing was put back."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %s cannot be read.",
     "The device refuses; nothing was put back."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: the journal is kept as %s.",
     "Something is not as before, or the journal could not be read: it is there under that name for whoever "
     "looks."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %s cannot be put aside.",
     "The journal keeps its name, and the next start tries again."},
    {LineRole::RECOVERY, NO_RESULT, "recovery: %s cannot be removed.", "The journal is done with but stays."},
    {LineRole::RECOVERY, NO_RESULT, "journal: %s cannot be made, the run goes on without it.",
     "The base directory cannot be written. If this run is cut off, nothing puts it right."},
    {LineRole::RECOVERY, NO_RESULT, "journal: %s cannot be written.",
     "No room, say. A change that cannot be told is not made: the run is undone and ends with 16."},
    {LineRole::RECOVERY, NO_RESULT, "journal: what %s is cannot be told.",
     "The file could not be looked at, so that it could not be put back either. It is not touched; the "
     "run is undone and ends with 16."},
    {LineRole::RECOVERY, NO_RESULT, "journal: %s cannot be removed.",
     "The run is over; the next start finishes the tidying."},
    {LineRole::RECOVERY, NO_RESULT, "OvPatch: the lock cannot be had, the run is not alone.",
     "The lock in /tmp could not be made. Runs with the same base directory still wait for each other, at "
     "the journal."},
};

// The bytes of a line that are spelled out, and a wildcard that matches what the line can become.
std::size_t wildcardOf(const char* text, std::string* wildcard) {
    std::size_t spelledOut = 0;
    for (; *text != '\0'; ++text) {
        if (*text == '%' && text[1] != '\0') {
            *wildcard += '*';
            ++text;
        } else {
            *wildcard += *text;
            ++spelledOut;
        }
    }
    return spelledOut;
}

}  // namespace

const ResultWords* resultWords(std::int32_t result) {
    for (const ResultWords& words : RESULTS)
        if (words.result == result) return &words;
    return nullptr;
}

const KnownLine* knownLine(LineRole role, const std::string& message) {
    const KnownLine* best = nullptr;
    std::size_t most = 0;
    for (const KnownLine& line : LINES) {
        // Nearly all differ in what stands in front of the first thing that is filled in.
        const std::size_t front = std::strcspn(line.text, "%");
        if (line.role != role || message.compare(0, front, line.text, front) != 0) continue;
        std::string wildcard;
        const std::size_t spelledOut = wildcardOf(line.text, &wildcard);
        if ((best != nullptr && spelledOut <= most) || !matchWildcard(wildcard.c_str(), message.c_str()))
            continue;
        best = &line;
        most = spelledOut;
    }
    return best;
}

const KnownLine* knownLine(const std::string& message) {
    for (const LineRole role : {LineRole::REMARK, LineRole::RECOVERY, LineRole::COMPANION, LineRole::CAUSE})
        if (const KnownLine* line = knownLine(role, message)) return line;
    return nullptr;
}

}  // namespace ovpatch::ctl
