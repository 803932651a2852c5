// The end of a run that cannot hold its own text.
#ifndef OVPATCH_FOUNDATION_OUT_OF_MEMORY_H
#define OVPATCH_FOUNDATION_OUT_OF_MEMORY_H

namespace ovpatch {

// Writes one line to the error output, "OvPatch: no memory for " and `what`, and aborts the process. For
// allocations whose failure no caller could learn of: going on would mean working with paths that are empty
// or lists that lack entries.
[[noreturn]] void outOfMemory(const char* what);

}  // namespace ovpatch

#endif
