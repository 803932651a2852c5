// The command `status`: what can be rolled back, and what is not as it should be.
#ifndef OVPATCH_OVPATCHCTL_STATUS_STATUS_COMMAND_H
#define OVPATCH_OVPATCHCTL_STATUS_STATUS_COMMAND_H

#include <string>
#include <vector>

#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

struct StatusOptions {
    std::vector<std::string> paths;  // base directories and destinations, device text
};

// Looks, and changes nothing. Answers 0 nothing to remark, 1 remarks, 2 something could not be read.
int statusCommand(const StatusOptions& options, Report& report);

}  // namespace ovpatch::ctl

#endif
