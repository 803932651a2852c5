// What the journal has to know of a run that undoes itself: it takes away what earlier lines rely on.
#ifndef OVPATCH_OVPATCH_ROLLBACK_UNDO_JOURNAL_H
#define OVPATCH_OVPATCH_ROLLBACK_UNDO_JOURNAL_H

namespace ovpatch {

// Tells that `file` is about to be deleted, and that `copy` is about to be moved over `file`, and keeps what
// stands there until the run is over. The undoing goes on where that cannot be done.
void keepRemoved(const char* file);
void keepReplaced(const char* copy, const char* file);

// Moves `copy` over `file` as keepReplaced and moveTree would, in one step of the host that needs no room on
// the disk. False when that cannot be had; then nothing has changed.
bool exchangeTold(const char* copy, const char* file);

}  // namespace ovpatch

#endif
