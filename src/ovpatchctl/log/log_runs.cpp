#include "ovpatchctl/log/log_runs.h"

#include <map>
#include <string>
#include <utility>

#include "ovpatch/result_codes.h"

namespace ovpatch::ctl {

namespace {

constexpr char LAST_RECORD[] = "writeResult: done.";

bool startsWith(const std::string& text, const char* front) {
    return text.rfind(front, 0) == 0;
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool tellsAction(const std::string& message) {
    return message == "OvPatch action ready." || message == "OvPatch fetch (common:action) failed.";
}

// Such a record can only stand at the beginning of a run.
bool isOpening(const std::string& message) {
    return tellsAction(message) || startsWith(message, "recovery: a run was cut off,") ||
           message == "OvPatch: ovcfg.ini cannot be read." ||
           message == "OvPatch: the lock cannot be had, the run is not alone.";
}

bool isUndo(const std::string& message) {
    return endsWith(message, "WithPatchAgent: auto rollback.");
}

bool isSuccess(const std::string& message) {
    return message == "updateWithPatchAgent: done." || message == "rollbackWithPatchAgent: done.";
}

// A remark can look like a cause: settings that cannot be read like a manifest.
const KnownLine* causeIn(const LogRecord& record) {
    return knownLine(LineRole::REMARK, record.message) == nullptr ? knownLine(LineRole::CAUSE, record.message)
                                                                  : nullptr;
}

RunAction actionOf(const LogRun& run) {
    RunAction action = RunAction::UNKNOWN;
    for (const LogRecord& record : run.records) {
        if (record.message == "OvPatch action update.") return RunAction::UPDATE;
        if (record.message == "rollback: start.") return RunAction::ROLLBACK;
        // Action 2 is told as a rollback, but none starts.
        if (record.message == "OvPatch Action rollback." && run.hasEnded) action = RunAction::NOTHING;
    }
    return action;
}

// The last cause that is told before the undo decides: it is told by the step that gave up.
std::int32_t resultOf(const LogRun& run) {
    std::int32_t result = NO_RESULT;
    for (const LogRecord& record : run.records) {
        if (isSuccess(record.message)) return RESULT_DONE;
        if (isUndo(record.message)) break;
        if (const KnownLine* line = causeIn(record)) result = line->result;
    }
    return result;
}

// The first one that leads to the result: what follows are the steps that gave up because of it.
std::size_t causeOf(const LogRun& run, std::int32_t result) {
    for (std::size_t i = 0; i < run.records.size() && !isUndo(run.records[i].message); ++i) {
        const KnownLine* line = causeIn(run.records[i]);
        if (line != nullptr && line->result == result) return i;
    }
    return NO_RECORD;
}

}  // namespace

std::vector<LogRun> tellRunsApart(std::vector<LogRecord> records) {
    std::vector<LogRun> runs;
    std::map<std::int32_t, std::size_t> open;  // by process
    for (LogRecord& record : records) {
        auto found = open.find(record.process);
        if (found != open.end() && runs[found->second].hasBegun && isOpening(record.message)) {
            open.erase(found);
            found = open.end();
        }
        if (found == open.end()) {
            found = open.emplace(record.process, runs.size()).first;
            runs.emplace_back();
            runs.back().process = record.process;
        }
        LogRun& run = runs[found->second];
        run.hasBegun = run.hasBegun || tellsAction(record.message);
        run.hasEnded = record.message == LAST_RECORD;
        if (run.hasEnded) open.erase(found);
        run.records.push_back(std::move(record));
    }
    for (std::size_t i = 1; i < runs.size(); ++i)
        runs[i - 1].isFollowed = true;
    return runs;
}

Diagnosis diagnose(const LogRun& run, std::int32_t result) {
    Diagnosis out;
    out.action = actionOf(run);
    out.result = result != NO_RESULT ? result : resultOf(run);
    if (out.result == NO_RESULT && out.action == RunAction::NOTHING) out.result = RESULT_DONE;
    if (out.result != RESULT_DONE && out.result != NO_RESULT) out.cause = causeOf(run, out.result);
    return out;
}

}  // namespace ovpatch::ctl
