// Doing what a run has put off until its end.
#ifndef OVPATCH_OVPATCH_JOURNAL_DROPS_H
#define OVPATCH_OVPATCH_JOURNAL_DROPS_H

#include "foundation/byte_string.h"
#include "ovpatch/journal/line_trust.h"
#include "platform/locked_file.h"

namespace ovpatch {

// Does the drops of a journal that was found, and those that this run has noted. What is gone already is
// passed over, and so is what the device does not delete and, in a journal, what no run would have put off.
void doDrops(const platform::LockedFile& journal, const PathRoot& root);
void doDrops(const ByteString& lines);

}  // namespace ovpatch

#endif
