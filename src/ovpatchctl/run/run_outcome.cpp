#include "ovpatchctl/run/run_outcome.h"

#include <utility>

#include "ini/kx_ini_util.h"
#include "logging/log_settings.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/manifest/number_text.h"
#include "ovpatch/recovery/result_check.h"
#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/log/log_file_choice.h"
#include "ovpatchctl/log/log_records.h"
#include "ovpatchctl/log/told_run.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

constexpr int VALUE_BASE_TOO_LONG = 1;
constexpr int VALUE_LINE_TOO_LONG = 2;

std::int32_t readResult(const std::string& base, const platform::FileState& old) {
    const std::string path = belowBase(base, "OV_Temp\\OvResult.ini");
    const platform::FileState now = stateOfFile(path.c_str());
    if (!now.isFile || isUntouched(old, now)) return NO_RESULT;
    KxIniUtil document(path.c_str(), ';', false);
    document.setReadOnly();
    const char* value = document.getValue(nullptr, "result");
    const std::int32_t result = value == nullptr ? NO_RESULT : readDecimal(value);
    return result >= 0 && resultWords(result) != nullptr ? result : NO_RESULT;
}

// The last run of that process. A log that cannot be read tells nothing of it.
void readRun(const std::string& base, RunOutcome* out) try {
    ReadLog log = readLog(base);
    for (LogRun& run : tellRunsApart(readLogRecords(log.text).records)) {
        if (static_cast<std::uint32_t>(run.process) != out->process) continue;
        out->run = std::move(run);
        out->log = log.path;
    }
} catch (const Failure& failure) {
    tellError(failure.what());
}

// The settings can send the log to the standard output, a line for each record.
LogRun runOf(const std::string& said, std::uint32_t process) {
    LogRun run;
    run.process = static_cast<std::int32_t>(process);
    for (std::size_t at = 0; at < said.size();) {
        const std::size_t end = std::min(said.find('\n', at), said.size());
        run.records.push_back({false, run.process, said.substr(at, end - at)});
        run.hasEnded = run.records.back().message == "writeResult: done.";
        at = end + 1;
    }
    return run;
}

std::string whyNoResult(const RunOutcome& outcome) {
    if (outcome.isKilled) return "it was killed by signal " + std::to_string(outcome.value);
    if (outcome.value == VALUE_BASE_TOO_LONG) return "the base directory is too long, nothing was done";
    if (outcome.value == VALUE_LINE_TOO_LONG) return "the command line is too long, nothing was done";
    return "it ended with exit value " + std::to_string(outcome.value);
}

void tellSaid(const std::string& said, Report& report) {
    for (std::size_t at = 0; at < said.size();) {
        const std::size_t end = std::min(said.find('\n', at), said.size());
        report.line("  it wrote:    " + shown(said.substr(at, end - at)));
        at = end + 1;
    }
}

}  // namespace

RunOutcome readOutcome(const std::string& base, const platform::FileState& oldResult,
                       const platform::ChildProcess& process) {
    RunOutcome out;
    out.process = process.id();
    out.isKilled = process.fate() == platform::ChildProcess::Fate::KILLED;
    out.value = process.value();
    out.result = readResult(base, oldResult);
    out.said = process.said();
    if (logSettings().mode == LOG_MODE_STANDARD_OUTPUT)
        out.run = runOf(std::exchange(out.said, {}), out.process);
    else
        readRun(base, &out);
    out.diagnosis = diagnose(out.run, out.result);
    // What the log tells of the result does not count for whoever waits for the file.
    if (out.result == NO_RESULT) out.diagnosis.result = out.run.hasEnded ? UNWRITTEN_RESULT : NO_RESULT;
    return out;
}

int tellOutcome(const RunOutcome& outcome, Report& report) {
    const bool hasResult = outcome.result != NO_RESULT;
    const ResultWords* words = resultWords(outcome.result);
    Json& document = report.document();
    document["process"] = outcome.process;
    document["exitValue"] = outcome.isKilled ? Json(nullptr) : Json(outcome.value);
    document["signal"] = outcome.isKilled ? Json(outcome.value) : Json(nullptr);
    document["action"] = actionWord(outcome.diagnosis.action);
    document["result"] = hasResult ? Json(outcome.result) : Json(nullptr);
    document["became"] = hasResult ? words->became : whyNoResult(outcome);
    putCause(outcome.run, outcome.diagnosis, &document);
    document["log"] = outcome.log.empty() ? Json(nullptr) : Json(utf8(outcome.log));
    document["said"] = utf8(outcome.said);

    const std::string action = actionWord(outcome.diagnosis.action);
    if (outcome.result == 0)
        report.line(action + ": done");
    else if (hasResult)
        report.line(action + ": result " + std::to_string(outcome.result) + ", " + words->became);
    else
        report.line("OvPatch left no result: " + whyNoResult(outcome));
    tellCause(outcome.run, outcome.diagnosis, report);
    tellSaid(outcome.said, report);
    return hasResult ? outcome.result : EXIT_INTERNAL;
}

}  // namespace ovpatch::ctl
