// Starting another program and watching it.
#ifndef OVPATCH_PLATFORM_CHILD_PROCESS_H
#define OVPATCH_PLATFORM_CHILD_PROCESS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace platform {

// A program that was started. It goes on when the object goes, and also when this process is killed or
// interrupted at its terminal. Its standard input is empty, and what it writes on its other standard streams
// is kept in a file without a name.
class ChildProcess {
public:
    enum class Fate {
        AT_WORK,
        ENDED,  // with an exit value
        KILLED  // by a signal, on a host that has such
    };

    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Starts `program`, device text, with arguments that reach it as they are, its own name first. A name
    // without a separator is looked for where the host looks for programs. False with the last error set.
    bool start(const std::string& program, const std::vector<std::string>& arguments);

    // Looks, and does not wait.
    Fate look();

    // The exit value, or the signal's number, once it is not at work.
    int value() const { return value_; }

    // What the last look showed.
    Fate fate() const { return fate_; }

    // The host's number of the process.
    DWORD id() const { return id_; }

    // The last bytes that it has written until now, 64 KiB at most.
    std::string said() const;

private:
    std::intptr_t process_ = -1;  // the host's
    std::intptr_t output_ = -1;
    DWORD id_ = 0;
    Fate fate_ = Fate::AT_WORK;
    int value_ = 0;
};

// The path of the program `name` beside the running one; empty when there is none.
std::string programBeside(const char* name);

// Whether standard error is a terminal.
bool isErrorTerminal();

}  // namespace platform

#endif
