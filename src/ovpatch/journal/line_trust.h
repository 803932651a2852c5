// What a line of a journal may name. A journal can be damaged, and nothing is to be touched then that no run
// would have made.
#ifndef OVPATCH_OVPATCH_JOURNAL_LINE_TRUST_H
#define OVPATCH_OVPATCH_JOURNAL_LINE_TRUST_H

#include "ovpatch/journal/journal_line.h"

namespace ovpatch {

// Where the relative paths of a journal lead from: empty when that is where this process is.
struct PathRoot {
    char directory[WORKING_DIRECTORY_SIZE];
};

// The root for the journal of a run that worked in `workingDirectory`.
void setRoot(const char* workingDirectory, PathRoot* root);

// Gives the relative paths of `line` their root. False when one does not fit.
bool resolvePaths(const PathRoot& root, ReadJournalLine* line);

// Whether a run can have written the line: its copies lie in a backup directory, what is deleted whole is an
// OVSrc.tmp, what is put anew is a ledger or a file of an old agent, and no path holds a wildcard.
bool isTrusted(const JournalLine& line);

}  // namespace ovpatch

#endif
