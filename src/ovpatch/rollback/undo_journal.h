// What the journal has to know of a run that undoes itself: it takes away what earlier lines rely on.
#ifndef OVPATCH_OVPATCH_ROLLBACK_UNDO_JOURNAL_H
#define OVPATCH_OVPATCH_ROLLBACK_UNDO_JOURNAL_H

namespace ovpatch {

// Tells that `copy` is about to be moved over `file`, and keeps what stands there until the run is over. The
// undoing goes on where that cannot be done. (What a run has added needs no such word: its line holds good
// when the file is gone.)
void keepReplaced(const char* copy, const char* file);

// Moves `copy` over `file` as keepReplaced and moveTree would, in one step of the host that needs no room on
// the disk. False when that cannot be had; then nothing has changed.
bool exchangeTold(const char* copy, const char* file);

}  // namespace ovpatch

#endif
