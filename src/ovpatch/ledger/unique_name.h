// Free names for backup copies: `backup.000` to `backup.zzz`, counted in base 36, 46656 in all.
#ifndef OVPATCH_OVPATCH_LEDGER_UNIQUE_NAME_H
#define OVPATCH_OVPATCH_LEDGER_UNIQUE_NAME_H

#include <cstdint>

#include "ovpatch/journal/journal.h"
#include "ovpatch/ledger/taken_names.h"

namespace ovpatch {

// Creates a new empty file with the lowest free name in `directory`, which is made if it is missing. `out`
// receives its path; `size` is that of `out` in bytes, terminator included. Answers 1, or 0 when the file
// cannot be created, the path does not fit or all names are taken; no file is left behind then. The search
// starts anew from `backup.000`, so a name that has been freed is used again.
std::int32_t crtUniFile(const char* directory, char* out, std::int32_t size);

// The same choice without the walk over names that `names` knows to be taken. The caller keeps `names`
// truthful: it reports every name that it frees.
std::int32_t crtUniFile(const char* directory, char* out, std::int32_t size, TakenNames* names);

// What became of saveUnderUniqueName.
enum class Saved {
    NO_NAME,  // there is no name to be had, and nothing was made
    DONE,     // the file's content stands under the name
    EMPTY,    // an empty file stands under the name: the content could not be copied
};

// What the caller does next with the file that it saves.
enum class FileFate {
    REPLACED,  // at once it is deleted, or another put in its place as a whole
    UNKNOWN,
};

// A change that begins with saving its file, and the file where it has been opened for that, else null.
struct SavedChange {
    FileChange change;
    platform::CopySource* opened;
};

// Saves the file of `change` under the lowest free name in `directory`: as crtUniFile and a copy over the new
// file do, without the empty file in between where the host can do that. The journal is told the change
// before a file is made; where it cannot be, there is no name.
Saved saveUnderUniqueName(const SavedChange& change, FileFate fate, const char* directory, char* out,
                          std::int32_t size, TakenNames* names);

// ".000" into a buffer of at least 5 bytes.
void firstUniqueSuffix(char* suffix);

// Counts the suffix up by `step`; ".zzz" is followed by ".000".
void nextUniqueSuffix(char* suffix, std::uint32_t step);

// The three digits of `number` modulo 46656, most significant first, into a buffer of at least 4 bytes.
void encodeBase36(std::uint32_t number, char* out);

}  // namespace ovpatch

#endif
