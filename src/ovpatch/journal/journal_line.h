// The journal: one line of text before each change that a run makes, enough to undo just that change.
//
// It is `OvJournal.txt` in the base directory, and there only while a run changes files: whoever finds one
// that no process holds has found a run that was cut off. The lines are undone from the last to the first; a
// line is cut off the file when it has been undone, so that this too can be cut off and gone on with. A last
// line without its line feed was never begun with; zero bytes behind the last one are room that was set
// aside.
//
// A line is a word, states and texts, with one blank between them. A text stands in double quotes; in it
// `%22` is a double quote, `%25` a per cent sign, `%0A` a line feed, and every other byte stands for itself.
// A state is that of a file: its size in bytes, its time of modification (seconds and nanoseconds since 1970)
// and the host's number of the file, 0 where there is none, as `9:1700000000.000000000:42`; `-` tells that
// there was no file.
//
// clang-format off
//   OvJournal 1 P "D"         the first line: format 1, the run's process, its working directory, from which the
//                             relative paths of the other lines lead
//   directory "D"             the directory D is about to be made
//   tree "D"                  D has just been made, and whatever will stand in it is the run's: an old agent's
//                             OVSrc.tmp
//   add N "F"                 F is about to be made, as a copy of a file of state N
//   write O N "C" "F"         F, of state O, is about to be saved as C and then replaced by a file of state N
//   remove O "C" "F"          F, of state O, is about to be saved as C and then deleted
//   restore O N "C" "K" "F"   F, of state O, is about to be saved as C and then replaced by K, of state N, which goes
//   swap O N "C" "F"          F, of state O, and C, of state N, are about to change places, while a run undoes itself
//   put O "C" "F"             F, of state O, is about to be saved as C and then written anew
//   made N "F"                F has been written and is of state N now; undoes nothing
//   void                      what the line before tells was not done
//   drop "F"                  F goes when the run is over, after its result line
//   dropTree "D"              so does D with all that is in it
//   result R O                the result R is about to be written to OvResult.ini, which is of state O
//   done                      it has been written: nothing is to be undone, only the drops are left to do
// clang-format on
//
// In `remove` and `restore` O may be `-`: then C is an empty file.
#ifndef OVPATCH_OVPATCH_JOURNAL_JOURNAL_LINE_H
#define OVPATCH_OVPATCH_JOURNAL_JOURNAL_LINE_H

#include <cstddef>
#include <cstdint>

#include "platform/file_state.h"

namespace ovpatch {

constexpr char JOURNAL_NAME[] = "OvJournal.txt";
// A line with its line feed fits, or is none.
constexpr std::size_t JOURNAL_LINE_SIZE = 16384;
// Bytes, far more than any run needs; what is longer by more than such room is not read.
constexpr std::uint64_t LONGEST_JOURNAL = 63u << 20;
constexpr std::uint64_t LARGEST_ROOM = 1u << 20;
// The longest text of a line, terminator included: a path in any code page. That of the first line apart.
constexpr std::size_t JOURNAL_PATH_SIZE = std::size_t{MAX_PATH} * 4;
constexpr std::size_t WORKING_DIRECTORY_SIZE = 4096;

enum class LineKind {
    DIRECTORY,
    TREE,
    ADD,
    WRITE,
    REMOVE,
    RESTORE,
    SWAP,
    PUT,
    MADE,
    NOTHING,
    DROP,
    DROP_TREE,
    RESULT,
    DONE
};

// How many texts a line of that kind has.
int textCount(LineKind kind);

// What a line tells, its states and texts in the order above. Those that its kind has not are not looked at.
struct JournalLine {
    LineKind kind;
    platform::FileState states[2];
    const char* texts[3];
    std::int32_t result;
};

// A line that was read, with its texts.
struct ReadJournalLine {
    JournalLine line;
    char texts[3][JOURNAL_PATH_SIZE];
};

// The first line.
struct JournalHead {
    std::uint32_t process;
    char workingDirectory[WORKING_DIRECTORY_SIZE];
};

// What becomes of a first line that is read.
enum class HeadReading {
    KNOWN,
    OTHER_VERSION,
    NO_HEAD,  // anything else
};

// Both write the line with its line feed to `out`, a buffer of JOURNAL_LINE_SIZE bytes, and answer its
// length, or 0 when it does not fit.
std::size_t formatHead(const JournalHead& head, char* out);
std::size_t formatLine(const JournalLine& line, char* out);

// `text` is a line of `length` bytes without its line feed. parseLine answers false for one that is not
// exactly in the form above.
HeadReading parseHead(const char* text, std::size_t length, JournalHead* out);
// Whether `text` can be the beginning of a first line, with room behind it; no bytes can.
bool isHeadStart(const char* text, std::size_t length);
bool parseLine(const char* text, std::size_t length, ReadJournalLine* out);

}  // namespace ovpatch

#endif
