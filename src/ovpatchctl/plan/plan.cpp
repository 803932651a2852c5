#include "ovpatchctl/plan/plan.h"

#include <algorithm>
#include <utility>

namespace ovpatch::ctl {

const char* nameOf(Act act) {
    constexpr const char* NAMES[] = {"added", "replaced", "same", "restored", "removed", "kept", "failing"};
    return NAMES[static_cast<std::size_t>(act)];
}

const char* nameOf(AgentState state) {
    constexpr const char* NAMES[] = {"none",       "missing",          "unreadable", "no-library", "damaged",
                                     "other-host", "other-generation", "incomplete", "complete"};
    return NAMES[static_cast<std::size_t>(state)];
}

const char* nameOf(Action action) {
    constexpr const char* NAMES[] = {"none", "update", "rollback"};
    return NAMES[static_cast<std::size_t>(action)];
}

std::size_t ItemPlan::count(Act act) const {
    return static_cast<std::size_t>(
        std::count_if(files.begin(), files.end(), [act](const FilePlan& file) { return file.act == act; }));
}

std::size_t Plan::count(Act act) const {
    std::size_t sum = 0;
    for (const ItemPlan& item : items)
        sum += item.count(act);
    return sum;
}

void Plan::remark(const char* kind, std::string text, std::string path, std::optional<std::size_t> item) {
    findings.push_back({kind, std::move(text), std::move(path), false, 0, item});
}

void Plan::fail(const char* kind, std::int32_t itsResult, std::string text, std::string path,
                std::optional<std::size_t> item) {
    findings.push_back({kind, std::move(text), std::move(path), true, itsResult, item});
    if (result && *result == 0) result = itsResult;
}

}  // namespace ovpatch::ctl
