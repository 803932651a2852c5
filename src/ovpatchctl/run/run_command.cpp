#include "ovpatchctl/run/run_command.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "fileops/wide_path.h"
#include "foundation/byte_string.h"
#include "logging/log_settings.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/log/log_file_choice.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"
#include "ovpatchctl/run/log_tail.h"
#include "ovpatchctl/run/progress.h"
#include "ovpatchctl/run/run_outcome.h"
#include "ovpatchctl/run/work_count.h"
#include "ovpatchctl/state/cut_off_look.h"
#include "ovpatchctl/state/read_manifest.h"
#include "ovpatchctl/state/run_lock.h"
#include "platform/child_process.h"

namespace ovpatch::ctl {

namespace {

constexpr char PROGRAM[] = "OvPatch";
constexpr std::chrono::milliseconds FIRST_LOOK(1);
constexpr std::chrono::milliseconds LATER_LOOKS(50);

// What OvPatch would take for another directory.
void checkBaseText(const std::string& base) {
    ByteString trimmed(base.c_str());
    trimmed.trimWhitespace();
    if (base.find('"') != std::string::npos || trimmed.compare(base.c_str()) != 0)
        throw Failure(EXIT_USAGE,
                      "OvPatch cannot be given this base directory, which holds a double quote or has white "
                      "space at an end: " +
                          shown(base));
}

void checkManifest(const std::string& base) {
    const ReadManifest manifest(base);
    if (!manifest.isRead() && manifest.whyNot().empty())
        throw Failure(EXIT_NO_INPUT, "nothing was started, there is no manifest: " + shown(manifest.path()));
}

// So that a result found afterwards is that of this run. Answers what the file is now.
platform::FileState removeOldResult(const std::string& base) {
    const std::string path = belowBase(base, "OV_Temp\\OvResult.ini");
    // By this file the next start tells that the run before had come to its end.
    const bool isNeeded = lookForCutOffRun(base, LockHolder::CALLER).state == JournalState::TIDYING_LEFT;
    const WidePath wide(path.c_str());
    if (!isNeeded && (!wide.fits() || !platform::discard(wide.text())))
        throw Failure(EXIT_SYSTEM, "nothing was started, the old result cannot be removed: " + shown(path));
    return stateOfFile(path.c_str());
}

platform::FileState prepare(const RunOptions& options) {
    std::optional<RunLock> lock;
    const auto tellWaiting = [] { tellError("another run is at work, waiting for it"); };
    if (!waitForRunLock(options.timeout, tellWaiting, &lock))
        throw Failure(EXIT_TRY_AGAIN, "nothing was started: another run is still at work");
    return removeOldResult(options.base);
}

std::string chooseProgram(const std::string& wanted) {
    if (!wanted.empty()) return wanted;
    const std::string beside = platform::programBeside(PROGRAM);
    return beside.empty() ? PROGRAM : beside;
}

// Where the run's log can tell how far it is.
std::string followedLog(const std::string& base) {
    if (!whyNoLog().empty() || isTerse()) return "";
    return belowBase(base, logSettings().html ? "OV_Log\\KxuDump.htm" : "OV_Log\\KxuDump.txt");
}

void watch(platform::ChildProcess* process, LogTail* log, Progress* progress) {
    std::chrono::milliseconds pause = FIRST_LOOK;
    while (process->look() == platform::ChildProcess::Fate::AT_WORK) {
        std::this_thread::sleep_for(pause);
        pause = std::min(2 * pause, LATER_LOOKS);
        log->read();
        progress->show(log->files(), log->isUndoing());
    }
}

}  // namespace

int runCommand(const RunOptions& options, Report& report) {
    openBase(options.base);
    checkBaseText(options.base);
    checkManifest(options.base);
    const platform::FileState oldResult = prepare(options);
    const std::string program = chooseProgram(options.program);
    const std::string log = followedLog(options.base);
    ProgressStyle style = platform::isErrorTerminal() ? ProgressStyle::BAR : ProgressStyle::LINES;
    if (report.isJson() || log.empty()) style = ProgressStyle::NONE;
    const std::size_t total = style == ProgressStyle::NONE ? 0 : countFiles(options.base);

    LogTail tail(log);
    platform::ChildProcess process;
    if (!process.start(program, {PROGRAM, options.base}))
        throw Failure(EXIT_SYSTEM, "nothing was started, the program cannot be: " + shown(program));
    {
        Progress progress(style, total);
        watch(&process, &tail, &progress);
    }
    report.document() = {{"base", utf8(options.base)}, {"program", utf8(program)}};
    return tellOutcome(readOutcome(options.base, oldResult, process), report);
}

}  // namespace ovpatch::ctl
