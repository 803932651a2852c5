// A device for one scenario: a fresh directory in which the built program runs, all paths in it relative and
// short, so that logs and ledgers read the same in every run. Paths are written as the device writes them
// ("dst\a.bin").
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "manifest.h"

namespace ovpatch::scenarios {

using Lines = std::vector<std::string>;
// What stands below a directory: a file's path and its content, a directory's path with a "\" behind and "".
using Tree = std::map<std::string, std::string>;

// What one run left.
struct Outcome {
    int exitValue = -1;
    std::string result;  // the content of OvResult.ini, or "(none)"
    Lines log;           // the run's own records, "I " or "E " in front, their line feeds taken out
    Lines calls;         // what the agent wrote down during the run
    std::string output;  // standard output
    Tree tree;           // the device afterwards, but for the log, the result and what belongs to the agent
};

class Device {
public:
    Device();
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    void file(const std::string& path, const std::string& content);
    void directory(const std::string& path);
    void remove(const std::string& path);
    void readOnly(const std::string& path);
    bool exists(const std::string& path) const;
    std::string content(const std::string& path) const;  // "(none)" when it is no file
    std::filesystem::path host(const std::string& path) const;

    // Puts an agent library there: `name` is "old", "new", "old_incomplete", "new_incomplete" or "both".
    void agent(const std::string& name, const std::string& path);
    // Adds one order for the agents (see recording_agent.c).
    void order(const std::string& line);
    void noOrders();

    // Writes OvPatch.ini below "base", with the agents of both generations beside it.
    void manifest(const Manifest& manifest);
    void manifestText(const std::string& text);
    // Lays for each item i of the manifest the new files "new<i>.bin" and "old<i>.bin" and, at its
    // destination, what "old<i>.bin" held so far.
    void lay(const Manifest& manifest);

    Tree tree() const;
    // From here on host and program read names in code page 932.
    void codePage932();

    // Runs the program to its end. Without arguments given its base directory is "base".
    Outcome run(const Lines& arguments = {"base"});
    // Starts it and gives its process id; `finish` waits for its end, and so does
    // `await`, which only gives the exit value (128 and the signal's number if it was killed).
    int start(const Lines& arguments = {"base"});
    int await(int process);
    Outcome finish(int process);

    // Where the log and the result are looked for: the base directory of the runs, with no separator behind.
    std::string base = "base";

private:
    std::string inBase(const std::string& path) const;
    // Windows keeps names in Unicode, which this host sees as UTF-8; else they are the code page's bytes.
    bool namesAreConverted() const;

    std::filesystem::path root_;
    Lines environment_;
    bool codePage932_ = false;
    std::size_t logRead_ = 0;
    std::size_t callsRead_ = 0;
};

// True when the program is started through another one (OVPATCH_LAUNCHER): expectations of a POSIX host do
// not hold.
bool throughLauncher();

bool isLeadByte932(char byte);
std::string hex(unsigned number);

std::string text(const Lines& lines);
std::string text(const Tree& tree);
}  // namespace ovpatch::scenarios
