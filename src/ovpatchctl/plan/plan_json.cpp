#include "ovpatchctl/plan/plan_json.h"

#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

constexpr Act ALL_ACTS[] = {Act::ADDED,   Act::REPLACED, Act::SAME,   Act::RESTORED,
                            Act::REMOVED, Act::KEPT,     Act::FAILING};

Json versionsJson(std::int32_t itemClass, const ItemVersion& origin, const ItemVersion& result) {
    return {{"origin", versionText(itemClass, origin)}, {"result", versionText(itemClass, result)}};
}

template <typename Counted>
Json countsOf(const Counted& counted) {
    Json counts = Json::object();
    for (const Act act : ALL_ACTS)
        counts[nameOf(act)] = counted.count(act);
    return counts;
}

Json agentJson(const AgentPlan& agent) {
    Json json = {{"file", agent.state == AgentState::NOT_NAMED ? Json() : Json(utf8(agent.file))},
                 {"generation", agent.generation},
                 {"state", nameOf(agent.state)},
                 {"kind", agent.kind}};
    json["missing"] = agent.missing;
    return json;
}

Json itemJson(const ItemPlan& item) {
    Json json = {{"class", item.itemClass},
                 {"type", item.itemType},
                 {"destination", utf8(item.destination)},
                 {"versions", versionsJson(item.itemClass, item.originVersion, item.resultVersion)},
                 {"recorded", nullptr}};
    if (item.isRecorded)
        json["recorded"] = versionsJson(item.itemClass, item.recordedOrigin, item.recordedResult);
    json["counts"] = countsOf(item);
    json["files"] = Json::array();
    for (const FilePlan& file : item.files)
        json["files"].push_back({{"act", nameOf(file.act)}, {"path", utf8(file.path)}});
    return json;
}

Json findingJson(const Finding& finding) {
    return {{"severity", finding.isFailure ? "failure" : "remark"},
            {"kind", finding.kind},
            {"result", finding.isFailure ? Json(finding.result) : Json()},
            {"item", finding.item ? Json(*finding.item) : Json()},
            {"path", utf8(finding.path)},
            {"text", finding.text}};
}

}  // namespace

Json jsonOf(const Plan& plan) {
    Json json = {{"base", utf8(plan.base)},
                 {"action", nameOf(plan.action)},
                 {"result", plan.result ? Json(*plan.result) : Json()},
                 {"backup", plan.backup},
                 {"cutOff", plan.isCutOff},
                 {"agent", plan.agent ? agentJson(*plan.agent) : Json()}};
    json["counts"] = countsOf(plan);
    json["items"] = Json::array();
    for (const ItemPlan& item : plan.items)
        json["items"].push_back(itemJson(item));
    json["rooms"] = Json::array();
    for (const RoomPlan& room : plan.rooms)
        json["rooms"].push_back(
            {{"directory", utf8(room.directory)}, {"needed", room.needed}, {"free", room.free}});
    json["findings"] = Json::array();
    for (const Finding& finding : plan.findings)
        json["findings"].push_back(findingJson(finding));
    return json;
}

}  // namespace ovpatch::ctl
