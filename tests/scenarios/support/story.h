// What a run is expected to say and to ask: the records of its log and the calls that its agent sees, told
// step by step in the order in which they come about.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device.h"
#include "manifest.h"

namespace ovpatch::scenarios {

// How the manifest's agent fares: it serves; no library by that name can be loaded (or none is named); it
// lacks an entry.
enum class AgentFate { Serves, NotThere, Incomplete };

// What an update does to a file.
enum class Fate { Added, Overwritten };

// A record of a ledger, as far as its reader shows it.
struct Stored {
    std::size_t added, written;
};

class Story {
public:
    explicit Story(const Manifest& manifest, AgentFate fate = AgentFate::Serves);

    Story& info(const std::string& line);
    Story& error(const std::string& line);
    Story& call(const std::string& line);  // expected only when the agent serves

    // The old agent will change the path of a class.
    Story& mends(int itemClass, const std::string& path);

    // From the start to the manifest's last line; then to the loaded agent; then to the answer of StartPatch
    // or StartAction.
    Story& parses();
    Story& loads();
    Story& opens(int answer = 0, int wantsRollback = 1);

    // Item i: its start bracket; the beginning of its copy; one file of it; its end bracket.
    Story& starts(std::size_t i, int answer = 1);
    Story& copies(std::size_t i);
    Story& file(const std::string& name, Fate fate, int answer = 1);
    Story& ends(bool success = true, int answer = 1);

    // The undoing of all that was begun, with every bracket answered by consent; or step by step.
    Story& undoes();
    Story& undoBegins();
    Story& undoStarts(std::size_t i, int answer = 1);
    Story& undoEnds(std::size_t i, int answer = 1);
    Story& undoIsOver();
    // From there (or from a refused opening) to the end of the run.
    Story& quits();

    // The closing call; the merge into ledgers that held these records before each item, or into new ones;
    // from there to the end of the run.
    Story& closes(int lastAnswer = 1);
    Story& merges();
    Story& merges(const std::vector<std::vector<Stored>>& before);
    Story& reads(const std::vector<Stored>& records, bool withAgentFile = true);
    Story& isDone();
    // The result is written.
    Story& leavesResult();

    // Where item i's files go, as the copy is told.
    std::string target(std::size_t i) const;

    Lines log, calls;

private:
    bool old() const { return manifest_.generation == 0; }
    void answered(int answer, Fate fate);
    Story& ended(const Item& item, bool success, const Version& from, const Version& to, bool undoing);

    Manifest manifest_;
    AgentFate fate_;
    std::vector<std::string> classPaths_;  // by class
    std::vector<Stored> begun_;            // of the items whose copy was begun
    std::size_t item_ = 0;
};

// The text of a ledger: its head, as a run of that manifest makes it, and the record of an item.
std::string ledgerHead(const Manifest& manifest, std::size_t itemCount);
std::string ledgerRecord(std::size_t n, const Item& item, const Lines& added, const Lines& written);

// Puts a directory (with its "\" behind) or a file into a tree, the directories above it with it.
void putDirectory(Tree& tree, const std::string& path);
void put(Tree& tree, const std::string& path, const std::string& content);
// Puts in what an update of item i of a laid manifest leaves at its destination, the backup copy included.
void putUpdated(Tree& tree, const Manifest& manifest, std::size_t i);
// The record of item i of a laid manifest after a first update.
std::string laidRecord(const Manifest& manifest, std::size_t i);

// Compares all that a run left: its exit value 0, its result, the log, the calls and the tree.
void expectOutcome(const Outcome& seen, const Story& story, int result, const Tree& tree);

}  // namespace ovpatch::scenarios
