#include "ovpatchctl/plan/plan_command.h"

#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

int planCommand(const PlanOptions& options, Report& report) {
    report.line("plan of " + shown(options.base));
    report.document()["base"] = utf8(options.base);
    return EXIT_DONE;
}

}  // namespace ovpatch::ctl
