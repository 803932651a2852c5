#include "ovpatchctl/plan/plan_text.h"

#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

constexpr std::size_t WORD_WIDTH = 10;  // the longest word has 8

std::string padded(std::string word) {
    word.resize(WORD_WIDTH, ' ');
    return word;
}

// From which version to which.
std::string wayOf(const ItemPlan& item, Action action) {
    const bool isBack = action == Action::ROLLBACK;
    const ItemVersion& from = !isBack           ? item.originVersion
                              : item.isRecorded ? item.recordedResult
                                                : item.resultVersion;
    const ItemVersion& to = !isBack           ? item.resultVersion
                            : item.isRecorded ? item.recordedOrigin
                                              : item.originVersion;
    return versionText(item.itemClass, from) + " to " + versionText(item.itemClass, to);
}

template <typename Counted>
std::string countsOf(const Counted& counted) {
    std::string text;
    for (const Act act :
         {Act::ADDED, Act::REPLACED, Act::SAME, Act::RESTORED, Act::REMOVED, Act::KEPT, Act::FAILING}) {
        if (counted.count(act) == 0) continue;
        text += (text.empty() ? "" : ", ") + std::to_string(counted.count(act)) + " " + nameOf(act);
    }
    return text.empty() ? "no files" : text;
}

bool isAsked(const Plan& plan) {
    return plan.agent && plan.agent->state == AgentState::COMPLETE;
}

void tellHead(const Plan& plan, Report& report) {
    if (plan.action == Action::NONE) return;
    std::string line = plan.action == Action::UPDATE ? "Update" : "Rollback";
    if (!plan.backup && plan.action == Action::UPDATE) line += " without a backup: no rollback can undo it";
    report.line(line);
    if (!isAsked(plan)) return;
    report.line("  agent " + shown(plan.agent->file) + ": has all entries of the " +
                (plan.agent->generation == 0 ? "old" : "new") + " generation (" + plan.agent->kind + ")");
}

void tellItem(const ItemPlan& item, Action action, Report& report) {
    report.line("  " + itemName(item.itemClass, item.itemType) + " in " + shown(item.destination) + ", " +
                wayOf(item, action) + ": " + countsOf(item));
    for (const FilePlan& file : item.files)
        report.line("    " + padded(nameOf(file.act)) + shown(file.path));
}

void tellFinding(const Plan& plan, const Finding& finding, Report& report) {
    std::string line = finding.isFailure ? "fails with " + std::to_string(finding.result) : "remark";
    if (!finding.path.empty()) {
        line += ": " + shown(finding.path);
    } else if (finding.item) {
        const ItemPlan& item = plan.items[*finding.item];
        line += ": " + itemName(item.itemClass, item.itemType) + " in " + shown(item.destination);
    }
    report.line(line + ": " + finding.text);
}

void tellEnd(const Plan& plan, Report& report) {
    if (!plan.result) return report.line("A start would leave no result.");
    const std::string result = "A start would end with result " + std::to_string(*plan.result);
    if (plan.fails())
        report.line(result + (plan.items.empty() ? "." : ", and everything is undone."));
    else if (plan.action == Action::NONE)
        report.line(result + ", and do nothing.");
    else
        report.line(result + (isAsked(plan) ? ", if the agent agrees: " : ": ") + countsOf(plan) + ".");
}

}  // namespace

void tell(const Plan& plan, Report& report) {
    tellHead(plan, report);
    for (const ItemPlan& item : plan.items)
        tellItem(item, plan.action, report);
    for (const Finding& finding : plan.findings)
        tellFinding(plan, finding, report);
    tellEnd(plan, report);
}

}  // namespace ovpatch::ctl
