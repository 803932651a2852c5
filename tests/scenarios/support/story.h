// One run of the program, told in advance: the records of its log, the calls that its agent sees, the tree
// and the ledgers that it leaves. A story is told step by step, in the order in which things come about.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "device.h"
#include "manifest.h"

namespace ovpatch::scenarios {

// How the manifest's agent fares: it serves; no library by that name can be loaded (or none is named); it
// lacks an entry.
enum class AgentFate { Serves, NotThere, Incomplete };

// What an item changed, as the ledgers hold it.
struct Record {
    Item item;
    Lines added = {}, written = {};
};

struct Ledger {
    int generation = 1;
    std::string agentLine = {};
    std::string transactionLine = {};
    std::vector<std::pair<std::size_t, Record>> records = {};  // with their numbers, in the file's order

    std::string text() const;
};

class Story {
public:
    // The device's tree is taken as it is now.
    Story(Device& device, const Manifest& manifest, AgentFate fate = AgentFate::Serves);

    Lines log, calls;
    Tree tree;
    std::map<std::string, Ledger> ledgers;  // by destination; those that the device holds have to be put in

    // What shapes the copies, by the files' names below their item: the agent's answers where they are not
    // consent, what it writes down on being asked, the file that cannot be put in place and the one that
    // cannot be laid out for an old agent; and the class paths as that agent mends them.
    std::map<std::string, int> answers;
    std::map<std::string, std::string> shows;
    std::string broken, unstaged;
    std::map<int, std::string> classPaths;

    Story& info(const std::string& line);
    Story& error(const std::string& line);
    Story& call(const std::string& line);  // expected only when the agent serves

    // From the start to the manifest's last line; then to the loaded agent; then to the answer of StartPatch
    // or StartAction. `begins` is all three.
    Story& parses();
    Story& loads();
    Story& opens(int answer = 0, int wantsRollback = 1);
    Story& begins() { return parses().loads().opens(); }

    // Item i: its start bracket; its copy, to the end or to the first file that stops it; its end bracket.
    // `item` is all three.
    Story& starts(std::size_t i, int answer = 1);
    Story& copies();
    Story& ends(int answer = 1);
    Story& item(std::size_t i) { return starts(i).copies().ends(); }

    // The undoing of all that was begun, with every bracket answered by consent; or step by step.
    Story& undoes();
    Story& undoStarts(std::size_t i, int answer = 1);
    Story& undoFiles(std::size_t i);
    Story& undoEnds(std::size_t i, int answer = 1);
    // From there (or from a refused opening) to the end of the run.
    Story& quits();

    // The closing call; the merge into the ledgers; from there to the end of the run. `succeeds` is all
    // three.
    Story& closes();
    Story& merges();
    Story& isDone();
    Story& succeeds() { return closes().merges().isDone(); }
    // The result is written, and what was laid out for an old agent is gone.
    Story& leavesResult();

    // Runs the program and compares all that it left: the exit value 0, the result, the log, the calls, the
    // tree.
    void check(int result, const Lines& arguments = {"base"});

private:
    bool old() const { return manifest_.generation == 0; }
    const std::string& target() const;
    void offers(const std::string& name);
    void saves(const std::string& path);
    Story& ended(const Item& item, bool success, const Version& from, const Version& to, bool undoing);
    Story& reads(const Ledger& ledger);
    void mergesRecords();
    void dropsRecords();
    void dropCopies(const Record& record);

    Device& device_;
    Manifest manifest_;
    AgentFate fate_;
    std::vector<Record> begun_;  // the items whose copy was begun
    std::size_t item_ = 0;
    std::string stopped_;  // why the copy of the present item ended
};

// Puts a directory (with its "\" behind) or a file into a tree, the directories above it with it.
void putDirectory(Tree& tree, const std::string& path);
void put(Tree& tree, const std::string& path, const std::string& content);

}  // namespace ovpatch::scenarios
