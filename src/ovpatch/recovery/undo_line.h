// Undoing one change of a run that was cut off.
#ifndef OVPATCH_OVPATCH_RECOVERY_UNDO_LINE_H
#define OVPATCH_OVPATCH_RECOVERY_UNDO_LINE_H

#include "ovpatch/journal/journal_line.h"

namespace ovpatch {

struct Undone {
    enum class Outcome {
        AS_BEFORE,  // there was nothing to undo, or it leaves no file behind that comes back
        BACK,       // a file is as it was before
        CHANGED,    // somebody has changed the file since: it stays
        FAILED,     // the device refuses, or the copy is gone
    };
    Outcome outcome;
    const char* stays;  // the path of what stays, the line's or null
};

// What is known beside the line.
struct UndoHints {
    // What the file of a `put` line was when it had been written; it does not exist when that is not known.
    platform::FileState made;
    // The change may have been cut off in the middle: then its file may be a part.
    bool mayBePart;
    // The same of the copy that it began with, whatever the host, with a time at which the line was not yet
    // written.
    bool mayCopyBePart;
    std::int64_t told;  // seconds since 1970
};

// Undoes the line, whose paths lead from here. May be repeated, also after it failed or was cut off anywhere.
// A file that is neither as it was before the change nor as the change left it is somebody's, and stays with
// its copies.
Undone undoLine(const JournalLine& line, const UndoHints& hints);

}  // namespace ovpatch

#endif
