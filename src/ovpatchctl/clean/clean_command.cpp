#include "ovpatchctl/clean/clean_command.h"

#include <algorithm>
#include <optional>

#include "fileops/paths.h"
#include "fileops/remove.h"
#include "fileops/wide_path.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"
#include "ovpatchctl/state/paths_look.h"
#include "ovpatchctl/state/run_lock.h"
#include "platform/file_state.h"

namespace ovpatch::ctl {

namespace {

constexpr int STATUS_UNREADABLE = 2;

struct Leftover {
    const char* kind;
    std::string path;  // a directory ends in a separator
};

void add(const char* kind, const std::vector<std::string>& paths, std::vector<Leftover>* out) {
    for (const std::string& path : paths)
        out->push_back({kind, path});
}

std::vector<Leftover> leftoversOf(const PathsLook& look) {
    std::vector<Leftover> out;
    for (const BaseLook& base : look.bases)
        add("temporary", base.temporaries, &out);
    for (const DestinationLook& destination : look.destinations) {
        if (destination.state == LedgerState::UNREADABLE) continue;
        add("copy", destination.strayCopies, &out);
        add("temporary", destination.temporaries, &out);
    }
    // A directory can be that of a base and a destination.
    const auto isBefore = [](const Leftover& left, const Leftover& right) { return left.path < right.path; };
    const auto isSame = [](const Leftover& left, const Leftover& right) { return left.path == right.path; };
    std::sort(out.begin(), out.end(), isBefore);
    out.erase(std::unique(out.begin(), out.end(), isSame), out.end());
    return out;
}

// Answers whether all could be read.
bool tellUnreadable(const PathsLook& look, Report& report) {
    Json& unreadable = report.document()["unreadable"] = Json::array();
    const auto tell = [&](const std::string& path) {
        unreadable.push_back(utf8(path));
        report.line("cannot be read: " + shown(path));
    };
    for (const BaseLook& base : look.bases) {
        for (const std::string& directory : base.unlisted)
            tell(directory);
        if (!base.whyNoManifest.empty()) tell(base.manifest);
    }
    for (const DestinationLook& destination : look.destinations) {
        if (destination.state == LedgerState::UNREADABLE)
            tell(destination.ledger.empty() ? destination.destination : destination.ledger);
        for (const std::string& directory : destination.unlisted)
            tell(directory);
    }
    return unreadable.empty();
}

bool remove(const std::string& path) {
    const WidePath wide(path.c_str());
    if (!wide.fits()) return false;
    if (endsWithSeparator(path.c_str())) return removeTree(path.c_str(), nullptr, nullptr) == FILEOP_OK;
    return platform::discard(wide.text());
}

// What was cut off needs its copies.
void refuseWhereCutOff(const PathsLook& look) {
    if (look.bases.empty())
        throw Failure(EXIT_USAGE,
                      "nothing was deleted: --yes wants the base directory among the paths, because whether "
                      "a run was cut off stands there");
    for (const BaseLook& base : look.bases) {
        if (base.journal.state == JournalState::AT_WORK)
            throw Failure(EXIT_TRY_AGAIN, "nothing was deleted: a run is at work below " + shown(base.base));
        if (base.journal.state != JournalState::NONE)
            throw Failure(STATUS_UNREADABLE,
                          "nothing was deleted: a run was cut off, and the next start needs what it "
                          "left: " +
                              shown(base.journal.path));
        if (!base.journal.keptAside.empty())
            throw Failure(STATUS_UNREADABLE,
                          "nothing was deleted: a run could not be put right wholly, and its journal "
                          "tells what is needed for it: " +
                              shown(base.journal.keptAside.front()));
    }
}

void lockRuns(std::optional<RunLock>* lock) {
    lock->emplace();
    if ((*lock)->outcome() == RunMutex::BUSY)
        throw Failure(EXIT_TRY_AGAIN, "nothing was deleted: a run is at work");
    if (!(*lock)->isHeld())
        throw Failure(
            EXIT_SYSTEM,
            "nothing was deleted: whether a run is at work cannot be told, because there is no lock "
            "to be had");
}

}  // namespace

int cleanCommand(const CleanOptions& options, Report& report) {
    std::optional<RunLock> lock;
    if (options.yes) lockRuns(&lock);
    const PathsLook look = lookAtPaths(options.paths, options.yes ? LockHolder::CALLER : LockHolder::NOBODY);
    if (options.yes) refuseWhereCutOff(look);
    const bool isWhole = tellUnreadable(look, report);

    const std::vector<Leftover> leftovers = leftoversOf(look);
    Json& told = report.document()["leftovers"] = Json::array();
    std::size_t deleted = 0;
    for (const Leftover& leftover : leftovers) {
        const bool isDeleted = options.yes && remove(leftover.path);
        deleted += isDeleted ? 1 : 0;
        const std::string fate = isDeleted ? "deleted " : options.yes ? "cannot be deleted: " : "";
        report.line(fate + leftover.kind + " " + shown(leftover.path));
        told.push_back({{"path", utf8(leftover.path)}, {"kind", leftover.kind}, {"deleted", isDeleted}});
    }
    const std::size_t left = leftovers.size() - deleted;
    if (leftovers.empty())
        report.line("Nothing is left over.");
    else if (!options.yes)
        report.line(counted(left, "thing is", "things are") + " left over; --yes deletes what is listed.");
    if (!isWhole) return STATUS_UNREADABLE;
    return left == 0 ? EXIT_DONE : EXIT_REMARKS;
}

}  // namespace ovpatch::ctl
