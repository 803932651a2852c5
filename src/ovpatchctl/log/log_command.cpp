#include "ovpatchctl/log/log_command.h"

#include <utility>

#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/log/log_file_choice.h"
#include "ovpatchctl/log/told_run.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

void tellRun(const LogRun& run, std::size_t number, const LogOptions& options, Report& report) {
    const Diagnosis diagnosis = diagnose(run);
    report.line("");
    report.line("Run " + std::to_string(number) + ", process " + std::to_string(run.process) + ", " +
                actionWord(diagnosis.action) + ": " + outcomeWords(run, diagnosis, isTerse()));
    if (!run.hasBegun && !isTerse()) report.line("  its beginning is not in this log");
    tellCause(run, diagnosis, report);
    tellRecords(run, diagnosis, options.errors, report);
}

Json runAsJson(const LogRun& run, std::size_t number, const LogOptions& options) {
    const Diagnosis diagnosis = diagnose(run);
    Json out = {{"run", number},
                {"process", run.process},
                {"action", actionWord(diagnosis.action)},
                {"begun", run.hasBegun},
                {"ended", run.hasEnded}};
    const ResultWords* words = diagnosis.result == NO_RESULT ? nullptr : resultWords(diagnosis.result);
    out["result"] = words == nullptr ? Json(nullptr) : Json(diagnosis.result);
    out["became"] = words == nullptr ? Json(nullptr) : Json(words->became);
    putCause(run, diagnosis, &out);
    out["records"] = recordsAsJson(run, diagnosis, options.errors);
    return out;
}

// The indexes of the runs to tell, from the first to the one behind the last.
std::pair<std::size_t, std::size_t> chosenRuns(std::size_t count, std::int32_t run) {
    if (run == 0) return {0, count};
    const std::int64_t index = run > 0 ? run - std::int64_t{1} : static_cast<std::int64_t>(count) + run;
    if (index < 0 || index >= static_cast<std::int64_t>(count))
        throw Failure(EXIT_NO_INPUT,
                      "the log has " + counted(count, "run", "runs") + ", and no run " + std::to_string(run));
    return {static_cast<std::size_t>(index), static_cast<std::size_t>(index) + 1};
}

}  // namespace

int logCommand(const LogOptions& options, Report& report) {
    openBase(options.base);
    const ReadLog log = readLog(options.base);
    if (log.path.empty()) {
        const std::string why = whyNoLog();
        throw Failure(EXIT_NO_INPUT, "no log below " + shown(options.base) + (why.empty() ? "" : ": " + why));
    }
    LogRecords read = readLogRecords(log.text);
    const std::vector<LogRun> runs = tellRunsApart(std::move(read.records));
    const auto [first, behind] = chosenRuns(runs.size(), options.run);

    report.document() = {{"base", utf8(options.base)},
                         {"log", utf8(log.path)},
                         {"strayBytes", read.strayBytes},
                         {"runs", Json::array()}};
    report.line(shown(log.path) + ": " + counted(runs.size(), "run", "runs"));
    if (isTerse()) report.line("ovcfg.ini keeps most records back; beginnings and ends of runs are guessed.");
    if (read.strayBytes != 0)
        report.line(counted(read.strayBytes, "byte belongs", "bytes belong") +
                    " to no record: the log is damaged or was cut off.");
    for (std::size_t i = first; i < behind; ++i) {
        tellRun(runs[i], i + 1, options, report);
        report.document()["runs"].push_back(runAsJson(runs[i], i + 1, options));
    }
    return EXIT_DONE;
}

}  // namespace ovpatch::ctl
