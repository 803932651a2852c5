// Putting right what a run left that was cut off.
#ifndef OVPATCH_OVPATCH_RECOVERY_CUT_OFF_RUN_H
#define OVPATCH_OVPATCH_RECOVERY_CUT_OFF_RUN_H

namespace ovpatch {

// Looks for the journal of a run in `baseDirectory` that did not come to its end: that of one that still
// works is waited for. Where the result was told, what the run had put off is done; else the state before it
// is put back. The agent is not asked. The journal is gone afterwards, or stands aside under another name
// where something could not be put back or it could not be read; the log tells. Nothing happens when the
// settings do not want it.
void putCutOffRunRight(const char* baseDirectory);

}  // namespace ovpatch

#endif
