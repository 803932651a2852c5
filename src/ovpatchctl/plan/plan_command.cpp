#include "ovpatchctl/plan/plan_command.h"

#include "ovpatchctl/plan/plan_json.h"
#include "ovpatchctl/plan/plan_text.h"
#include "ovpatchctl/plan/start_plan.h"
#include "ovpatchctl/report/exit_status.h"

namespace ovpatch::ctl {

int planCommand(const PlanOptions& options, Report& report) {
    const Plan plan = planStart(options.base);
    if (report.isJson())
        report.document() = jsonOf(plan);
    else
        tell(plan, report);
    if (plan.fails()) return EXIT_WOULD_FAIL;
    return plan.findings.empty() ? EXIT_DONE : EXIT_REMARKS;
}

}  // namespace ovpatch::ctl
