// The exit statuses of ovpatchctl that do not belong to one command alone. They are those that system
// programs use.
#ifndef OVPATCH_OVPATCHCTL_REPORT_EXIT_STATUS_H
#define OVPATCH_OVPATCHCTL_REPORT_EXIT_STATUS_H

#include <stdexcept>
#include <string>

namespace ovpatch::ctl {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_REMARKS = 1;     // plan: the run would end well, with something to know before
constexpr int EXIT_WOULD_FAIL = 2;  // plan: it would not
constexpr int EXIT_USAGE = 64;      // the command line
constexpr int EXIT_NO_INPUT = 66;   // what is to be looked at is not there or cannot be read
constexpr int EXIT_INTERNAL = 70;   // the program ended without telling a result
constexpr int EXIT_SYSTEM = 71;     // no memory, or a process that cannot be started
constexpr int EXIT_OUTPUT = 74;     // what is to be told cannot be written
constexpr int EXIT_TRY_AGAIN = 75;  // another run holds the lock

// Ends a command: one line on standard error, "ovpatchctl: " and the text, and an exit status.
class Failure : public std::runtime_error {
public:
    // `text` is UTF-8 (texts.h).
    Failure(int status, const std::string& text) : std::runtime_error(text), status_(status) {}

    int status() const { return status_; }

private:
    int status_;
};

}  // namespace ovpatch::ctl

#endif
