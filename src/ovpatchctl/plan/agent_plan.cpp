#include "ovpatchctl/plan/agent_plan.h"

#include "fileops/wide_path.h"
#include "ovpatch/agent/agent_api.h"
#include "ovpatch/agent/agent_loader.h"
#include "ovpatchctl/agentfile/library_exports.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

constexpr std::size_t LONGEST_FILE = 4096;  // bytes of a path of the host
constexpr std::size_t LONGEST_ENTRY = 64;

// In the order in which a run asks for them.
std::vector<std::string> entriesOf(std::int32_t generation) {
    std::vector<std::string> names;
    for (LPCWSTR name; (name = agentEntryName(generation, names.size())) != nullptr;) {
        char text[LONGEST_ENTRY];
        WideCharToMultiByte(CP_ACP, 0, name, -1, text, sizeof text, nullptr, nullptr);
        names.emplace_back(text);
    }
    return names;
}

std::vector<std::string> lacking(const std::vector<std::string>& entries, const NameSet& found) {
    std::vector<std::string> missing;
    for (const std::string& entry : entries)
        if (found.count(entry) == 0) missing.push_back(entry);
    return missing;
}

AgentState stateOf(LibraryFile::Verdict verdict) {
    switch (verdict) {
        case LibraryFile::Verdict::UNREADABLE:
            return AgentState::UNREADABLE;
        case LibraryFile::Verdict::NO_LIBRARY:
            return AgentState::NO_LIBRARY;
        case LibraryFile::Verdict::DAMAGED:
            return AgentState::DAMAGED;
        case LibraryFile::Verdict::OTHER_HOST:
            return AgentState::OTHER_HOST;
        case LibraryFile::Verdict::READ:
            break;
    }
    return AgentState::COMPLETE;
}

void lookInto(const char* path, AgentPlan* agent) {
    const std::int32_t other = agent->generation == OLD_GENERATION ? NEW_GENERATION : OLD_GENERATION;
    const std::vector<std::string> entries = entriesOf(agent->generation);
    const std::vector<std::string> others = entriesOf(other);
    NameSet wanted(entries.begin(), entries.end());
    wanted.insert(others.begin(), others.end());
    const LibraryFile library = lookIntoLibrary(path, wanted);
    agent->state = stateOf(library.verdict);
    if (agent->state == AgentState::OTHER_HOST || agent->state == AgentState::COMPLETE)
        agent->kind = describeKind(library.kind);
    if (agent->state != AgentState::COMPLETE) return;
    agent->missing = lacking(entries, library.found);
    if (agent->missing.empty()) return;
    const bool isOther = lacking(others, library.found).empty();
    agent->state = isOther ? AgentState::OTHER_GENERATION : AgentState::INCOMPLETE;
}

std::string complaintOf(const AgentPlan& agent) {
    switch (agent.state) {
        case AgentState::NOT_NAMED:
            return "the manifest names no agent";
        case AgentState::MISSING:
            return "the agent is not there";
        case AgentState::UNREADABLE:
            return "the agent is no file that can be read";
        case AgentState::NO_LIBRARY:
            return "the agent is no library";
        case AgentState::DAMAGED:
            return "the agent is damaged or cut short";
        case AgentState::OTHER_HOST:
            return "the agent is for another system (" + agent.kind + ")";
        case AgentState::OTHER_GENERATION:
            return agent.generation == OLD_GENERATION ? "the agent is one of the new generation, and "
                                                        "patchagent.version=0 asks for an old one"
                                                      : "the agent is one of the old generation, and "
                                                        "patchagent.version=1 asks for a new one";
        default:
            break;
    }
    std::string text = "the agent lacks";
    for (std::size_t i = 0; i < agent.missing.size(); ++i)
        text += (i == 0 ? " " : ", ") + agent.missing[i];
    return text;
}

}  // namespace

void planAgent(const char* file, std::int32_t generation, Plan* plan) {
    AgentPlan& agent = plan->agent.emplace();
    agent.generation = generation;
    if (file != nullptr) {
        agent.file = file;
        agent.state = AgentState::MISSING;
        const WidePath wide(file);
        char path[LONGEST_FILE];
        if (wide.fits() && platform::findLibraryFile(wide.text(), path, sizeof path)) lookInto(path, &agent);
    }
    if (agent.state == AgentState::COMPLETE) return;
    plan->remark("agent", complaintOf(agent) + ": nobody is asked, everything is agreed to", agent.file);
}

}  // namespace ovpatch::ctl
