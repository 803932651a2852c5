// The command `log`: what the runs of a base directory told.
#ifndef OVPATCH_OVPATCHCTL_LOG_LOG_COMMAND_H
#define OVPATCH_OVPATCHCTL_LOG_LOG_COMMAND_H

#include <cstdint>
#include <string>

#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

struct LogOptions {
    std::string base;      // the base directory, device text
    std::int32_t run = 0;  // the number of the run, from 1, or less than 0 from the end; 0 for all
    bool errors = false;   // leave out what is no error
};

// Answers 0. Throws a Failure of EXIT_NO_INPUT where there is no log or no such run.
int logCommand(const LogOptions& options, Report& report);

}  // namespace ovpatch::ctl

#endif
