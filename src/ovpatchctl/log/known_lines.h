// What results and lines of the log mean, in words.
//
// The words are those of docs/results-and-logs.md, whose tables are held against this one.
#ifndef OVPATCH_OVPATCHCTL_LOG_KNOWN_LINES_H
#define OVPATCH_OVPATCHCTL_LOG_KNOWN_LINES_H

#include <cstdint>
#include <string>

namespace ovpatch::ctl {

// Stand where a result is a number.
constexpr std::int32_t NO_RESULT = -1;
constexpr std::int32_t UNWRITTEN_RESULT = -2;  // the run came to its end, and left none all the same

struct ResultWords {
    std::int32_t result;  // or NO_RESULT, UNWRITTEN_RESULT
    const char* became;   // what became of the action
    const char* advice;   // when another try makes sense
};

// Null for a result that no run leaves.
const ResultWords* resultWords(std::int32_t result);

enum class LineRole {
    REMARK,     // in a run that ended well: something was not as it might have been expected
    CAUSE,      // why a run ended with the line's result
    COMPANION,  // goes with a cause
    RECOVERY    // of a run that was cut off
};

struct KnownLine {
    LineRole role;
    std::int32_t result;  // of a cause; 0 of a remark, else NO_RESULT
    const char* text;     // as it stands in the log, with %s and the like for what is filled in
    const char* meaning;
};

// The line of that role that `message` is, or null. Where several could be meant, the one of which most is
// spelled out.
const KnownLine* knownLine(LineRole role, const std::string& message);

// That of whatever role; a cause comes last.
const KnownLine* knownLine(const std::string& message);

}  // namespace ovpatch::ctl

#endif
