// The command line of ovpatchctl.
#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <new>

#include "ovpatchctl/clean/clean_command.h"
#include "ovpatchctl/log/log_command.h"
#include "ovpatchctl/plan/plan_command.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/report.h"
#include "ovpatchctl/run/run_command.h"
#include "ovpatchctl/status/status_command.h"
#include "platform/tool_entry.h"

namespace ovpatch::ctl {

namespace {

// What the command line chose.
struct Choice {
    bool json = false;
    std::function<int(Report&)> action;  // answers the exit status
};

// Adds a command with its own options, which live as long as it does, and the options of every command.
template <typename Options>
CLI::App* addCommand(CLI::App& app, Choice* choice, const char* name, const char* what, Options** options,
                     int (*run)(const Options&, Report&)) {
    CLI::App* command = app.add_subcommand(name, what);
    command->add_flag("--json", choice->json, "One JSON document instead of text");
    auto owned = std::make_shared<Options>();
    *options = owned.get();
    command->callback([choice, owned, run] {
        choice->action = [owned, run](Report& report) { return run(*owned, report); };
    });
    return command;
}

void addPlan(CLI::App& app, Choice* choice) {
    PlanOptions* options = nullptr;
    CLI::App* command =
        addCommand(app, choice, "plan", "Tell what a start of OvPatch would do now", &options, planCommand);
    command->add_option("BASE", options->base, "The base directory, as OvPatch is given it")->required();
}

void addStatus(CLI::App& app, Choice* choice) {
    StatusOptions* options = nullptr;
    CLI::App* command =
        addCommand(app, choice, "status", "Tell what can be rolled back, and what is left over", &options,
                   statusCommand);
    command->add_option("PATH", options->paths, "Base directories and destinations")->required();
}

void addRun(CLI::App& app, Choice* choice) {
    RunOptions* options = nullptr;
    CLI::App* command =
        addCommand(app, choice, "run", "Start OvPatch, and tell what became of it", &options, runCommand);
    command->add_option("BASE", options->base, "The base directory")->required();
    command->add_option("--program", options->program, "OvPatch itself, where it is not found");
    command
        ->add_option("--timeout", options->timeout,
                     "Seconds to wait while another run is at work, 600 if not given")
        ->check(CLI::NonNegativeNumber);
}

void addLog(CLI::App& app, Choice* choice) {
    LogOptions* options = nullptr;
    CLI::App* command = addCommand(app, choice, "log", "Tell the log's runs apart, and why they failed",
                                   &options, logCommand);
    command->add_option("BASE", options->base, "The base directory")->required();
    command->add_option("--run", options->run, "One run alone, by its number; -1 is the last");
    command->add_flag("--errors", options->errors, "Leave out the records that are no errors");
}

void addClean(CLI::App& app, Choice* choice) {
    CleanOptions* options = nullptr;
    CLI::App* command =
        addCommand(app, choice, "clean", "List copies and temporary files that nothing names any more",
                   &options, cleanCommand);
    command->add_option("PATH", options->paths, "Base directories and destinations")->required();
    command->add_flag("--yes", options->yes, "Delete them");
}

int parseAndRun(int count, const char* const* arguments) {
    CLI::App app("Tells what OvPatch would do, does and has done.", "ovpatchctl");
    app.set_version_flag("--version", "ovpatchctl " OVPATCH_VERSION);
    app.require_subcommand(1);
    Choice choice;
    addPlan(app, &choice);
    addStatus(app, &choice);
    addRun(app, &choice);
    addLog(app, &choice);
    addClean(app, &choice);
    try {
        app.parse(count, arguments);
    } catch (const CLI::CallForVersion& version) {
        Report(false).line(version.what());
        return EXIT_DONE;
    } catch (const CLI::CallForHelp&) {
        Report(false).write(app.help());
        return EXIT_DONE;
    } catch (const CLI::ParseError& error) {
        throw Failure(EXIT_USAGE, std::string(error.what()) + " (--help tells more)");
    }
    Report report(choice.json);
    const int status = choice.action(report);
    report.finish();
    return status;
}

}  // namespace

}  // namespace ovpatch::ctl

int toolMain(int count, const char* const* arguments) noexcept {
    using namespace ovpatch::ctl;
    try {
        return parseAndRun(count, arguments);
    } catch (const Failure& failure) {
        tellError(failure.what());
        return failure.status();
    } catch (const std::exception& failure) {
        tellError(failure.what());
        return EXIT_SYSTEM;
    }
}
