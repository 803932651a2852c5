// The command `clean`: deletes what runs left behind and nothing names any more.
#ifndef OVPATCH_OVPATCHCTL_CLEAN_CLEAN_COMMAND_H
#define OVPATCH_OVPATCHCTL_CLEAN_CLEAN_COMMAND_H

#include <string>
#include <vector>

#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

struct CleanOptions {
    std::vector<std::string> paths;  // base directories and destinations, device text
    bool yes = false;                // delete; else only list
};

// Lists, and with `yes` deletes, which wants a base directory among the paths: whether a run was cut off
// stands there, and then nothing is deleted. Beside a ledger that cannot be read nothing is deleted either.
// Answers 0 when nothing is left over, 1 when something is, or could not be deleted, 2 when something could
// not be read. Throws a Failure of EXIT_TRY_AGAIN while a run is at work.
int cleanCommand(const CleanOptions& options, Report& report);

}  // namespace ovpatch::ctl

#endif
