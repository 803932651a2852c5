// What a run left, once it has ended.
#ifndef OVPATCH_OVPATCHCTL_RUN_RUN_OUTCOME_H
#define OVPATCH_OVPATCHCTL_RUN_RUN_OUTCOME_H

#include <cstdint>
#include <string>

#include "ovpatchctl/log/log_runs.h"
#include "ovpatchctl/report/report.h"
#include "platform/child_process.h"
#include "platform/file_state.h"

namespace ovpatch::ctl {

struct RunOutcome {
    std::uint32_t process = 0;
    bool isKilled = false;
    int value = 0;  // the exit value, or the number of the signal
    std::int32_t result = NO_RESULT;
    std::string log;   // the path of the log in which its records are; empty when they are in none
    std::string said;  // what it wrote on its standard streams, if that is not its log; device text
    LogRun run;
    Diagnosis diagnosis;
};

// Reads result and log of a run that has ended. `oldResult` is what the result file was before it.
RunOutcome readOutcome(const std::string& base, const platform::FileState& oldResult,
                       const platform::ChildProcess& process);

// Tells it. Answers the exit status: the result, or EXIT_INTERNAL when there is none.
int tellOutcome(const RunOutcome& outcome, Report& report);

}  // namespace ovpatch::ctl

#endif
