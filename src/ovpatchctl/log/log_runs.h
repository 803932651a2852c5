// The runs that a log tells of.
#ifndef OVPATCH_OVPATCHCTL_LOG_LOG_RUNS_H
#define OVPATCH_OVPATCHCTL_LOG_LOG_RUNS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ovpatchctl/log/known_lines.h"
#include "ovpatchctl/log/log_records.h"

namespace ovpatch::ctl {

struct LogRun {
    std::int32_t process = 0;
    bool hasBegun = false;    // the record is there that tells its action, or that there is none
    bool hasEnded = false;    // its last record is there
    bool isFollowed = false;  // another one has begun since
    std::vector<LogRecord> records;
};

// Tells the runs apart, in the order in which they began. Records of one process belong together from the
// beginning of a run to its end; where the numbers of processes repeat, a new beginning ends a run that was
// cut off.
std::vector<LogRun> tellRunsApart(std::vector<LogRecord> records);

enum class RunAction { UNKNOWN, UPDATE, ROLLBACK, NOTHING };

constexpr std::size_t NO_RECORD = static_cast<std::size_t>(-1);

// What can be told of a run by its records.
struct Diagnosis {
    RunAction action = RunAction::UNKNOWN;
    std::int32_t result = NO_RESULT;  // the one that it must have told; NO_RESULT when its records do not say
    std::size_t cause = NO_RECORD;    // the index of the record that tells why
};

// `result` is that of the run where it is known from elsewhere, else NO_RESULT.
Diagnosis diagnose(const LogRun& run, std::int32_t result = NO_RESULT);

}  // namespace ovpatch::ctl

#endif
