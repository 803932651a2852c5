#include "ovpatchctl/status/status_command.h"

#include <algorithm>

#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"
#include "ovpatchctl/state/paths_look.h"
#include "ovpatchctl/status/status_json.h"

namespace ovpatch::ctl {

namespace {

constexpr int STATUS_UNREADABLE = 2;

// Writes lines, and collects what is to be remarked.
class Teller {
public:
    explicit Teller(Report& report) : report_(report) {}

    void line(const std::string& text) { report_.line(text); }

    void remark(const std::string& text, int status = EXIT_REMARKS) {
        report_.line("  ! " + text);
        remarks_.push_back(text);
        status_ = std::max(status_, status);
    }

    void remarkAll(const std::string& what, const std::vector<std::string>& paths) {
        for (const std::string& path : paths)
            remark(what + shown(path));
    }

    // Ends the command with its exit status.
    int finish() {
        report_.document()["remarks"] = remarks_;
        report_.line(remarks_.empty() ? "Nothing to remark."
                                      : counted(remarks_.size(), "remark.", "remarks."));
        return status_;
    }

private:
    Report& report_;
    Json remarks_ = Json::array();
    int status_ = EXIT_DONE;
};

std::string cutOffWords(const JournalLook& journal) {
    const std::string what = journal.changes == 0
                                 ? "before it changed anything"
                                 : "with " + counted(journal.changes, "line", "lines") +
                                       " in its journal: the next start puts the state before it back";
    const std::string who = journal.process == 0 ? "" : " (process " + std::to_string(journal.process) + ")";
    return "a run was cut off" + who + " " + what;
}

void tellJournal(const JournalLook& journal, Teller& teller) {
    switch (journal.state) {
        case JournalState::NONE:
            break;
        case JournalState::AT_WORK:
            teller.remark("a run is at work, or was cut off: " + shown(journal.path) + " is there");
            break;
        case JournalState::CUT_OFF:
            teller.remark(cutOffWords(journal));
            break;
        case JournalState::TIDYING_LEFT:
            teller.remark("a run was cut off after it had told its result: the next start tidies up");
            break;
        case JournalState::UNKNOWN:
            teller.remark("no journal that can be read: " + shown(journal.path), STATUS_UNREADABLE);
            break;
    }
    teller.remarkAll("the journal of a run that could not be put right wholly: ", journal.keptAside);
}

void tellUnlisted(const std::set<std::string>& directories, Teller& teller) {
    for (const std::string& directory : directories)
        teller.remark("cannot be read: " + shown(directory), STATUS_UNREADABLE);
}

void tellBase(const BaseLook& base, Teller& teller) {
    teller.line("Base " + shown(base.base) + ": " +
                (base.result.empty() ? "no result" : "last result " + shown(base.result)));
    tellJournal(base.journal, teller);
    if (!base.whyNoManifest.empty())
        teller.remark("the manifest cannot be used: " + shown(base.whyNoManifest), STATUS_UNREADABLE);
    else if (!base.hasManifest)
        teller.line("  no manifest, so no destinations are known");
    teller.remarkAll("temporary: ", base.temporaries);
    tellUnlisted(base.unlisted, teller);
}

void tellRestored(const RestoredFile& file, Teller& teller) {
    const std::string name = shown(file.file);
    if (file.copyMissing)
        teller.remark("no copy of " + name +
                      (file.copy.empty() ? "" : ": " + shown(file.copy) + " is missing"));
    else
        teller.line("    restored  " + name);
    if (file.isCut)
        teller.remark("a comma in the path: the copy goes to " + name + ", the part in front of it");
}

void tellItem(const RecordedItem& item, Teller& teller) {
    const std::string name = itemName(item.itemClass, item.itemType);
    teller.line("  " + name + ", " + item.from + " to " + item.to + ": a rollback leads back to " +
                item.from);
    if (item.isHidden) teller.remark(name + " has a record in front of this one: no rollback finds it");
    for (const RestoredFile& file : item.restored)
        tellRestored(file, teller);
    for (const RemovedFile& file : item.removed)
        teller.line("    removed   " + shown(file.file) + (file.isThere ? "" : ", which is not there"));
    if (item.restored.empty() && item.removed.empty()) teller.line("    no files");
}

// `isUnsettled` tells of a run that was cut off, or is at work: what it has made is not left over yet.
void tellLeftovers(const DestinationLook& destination, bool isUnsettled, Teller& teller) {
    if (!isUnsettled) {
        teller.remarkAll("no record names this copy: ", destination.strayCopies);
        teller.remarkAll("temporary: ", destination.temporaries);
        return;
    }
    for (const std::vector<std::string>* paths : {&destination.strayCopies, &destination.temporaries})
        for (const std::string& path : *paths)
            teller.line("  perhaps of that run: " + shown(path));
}

void tellDestination(const DestinationLook& destination, bool isUnsettled, Teller& teller) {
    const std::string name = "Destination " + shown(destination.destination) + ": ";
    if (destination.state == LedgerState::READ)
        teller.line(name + counted(destination.items.size(), "record", "records"));
    else
        teller.line(name + (destination.state == LedgerState::NONE ? "no ledger, nothing to roll back"
                                                                   : "its ledger cannot be read"));
    if (destination.state == LedgerState::UNREADABLE)
        teller.remark(
            (destination.ledger.empty() ? "" : shown(destination.ledger) + ": ") +
                (destination.whyUnreadable.empty() ? "cannot be read" : shown(destination.whyUnreadable)),
            STATUS_UNREADABLE);
    for (const RecordedItem& item : destination.items)
        tellItem(item, teller);
    tellLeftovers(destination, isUnsettled, teller);
    tellUnlisted(destination.unlisted, teller);
}

}  // namespace

int statusCommand(const StatusOptions& options, Report& report) {
    const PathsLook look = lookAtPaths(options.paths, LockHolder::NOBODY);
    Teller teller(report);
    Json& document = report.document();
    document = {{"bases", Json::array()}, {"destinations", Json::array()}};
    bool isUnsettled = false;
    for (const BaseLook& base : look.bases) {
        isUnsettled = isUnsettled || base.journal.state != JournalState::NONE;
        tellBase(base, teller);
        document["bases"].push_back(baseAsJson(base));
    }
    for (const DestinationLook& destination : look.destinations) {
        tellDestination(destination, isUnsettled, teller);
        document["destinations"].push_back(destinationAsJson(destination));
    }
    return teller.finish();
}

}  // namespace ovpatch::ctl
