// The command `run`: starts OvPatch, shows how far it is, and tells what became of it.
#ifndef OVPATCH_OVPATCHCTL_RUN_RUN_COMMAND_H
#define OVPATCH_OVPATCHCTL_RUN_RUN_COMMAND_H

#include <string>

#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

struct RunOptions {
    std::string base;      // the base directory, device text
    std::string program;   // OvPatch; empty for the one beside this program, or else that of the path
    double timeout = 600;  // seconds to wait while another run holds the lock
};

// Answers the run's result, or EXIT_INTERNAL when it left none. Throws a Failure when nothing was started: of
// EXIT_TRY_AGAIN when another run held the lock for too long. A run that has begun is never ended from here:
// it goes on when this program is interrupted.
int runCommand(const RunOptions& options, Report& report);

}  // namespace ovpatch::ctl

#endif
