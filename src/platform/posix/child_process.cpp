#include "platform/child_process.h"

#include <fcntl.h>
#include <limits.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "platform/posix/errors.h"
#include "platform/posix/interrupted.h"

using namespace ovpatch::posix;

extern char** environ;

namespace {

constexpr off_t MOST_SAID = off_t{64} << 10;

// What the child is started with; destroyed whatever comes of it.
struct SpawnSetup {
    SpawnSetup() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

int openNameless() {
    const char* directory = std::getenv("TMPDIR");
    char name[PATH_MAX];
    for (const char* place : {directory != nullptr ? directory : "/tmp", "/tmp"}) {
        if (std::snprintf(name, sizeof name, "%s/ovpatchctl.XXXXXX", place) >= PATH_MAX) continue;
        const int descriptor = mkostemp(name, O_CLOEXEC | O_APPEND);
        if (descriptor < 0) continue;
        unlink(name);
        return descriptor;
    }
    return untilDone([] { return open("/dev/null", O_RDWR | O_CLOEXEC); });
}

// A process group of its own keeps what interrupts this process at its terminal from the child; what this one
// ignores the child does not.
int prepare(SpawnSetup* setup, int output) {
    sigset_t restored;
    sigset_t blocked;
    sigemptyset(&restored);
    sigaddset(&restored, SIGPIPE);
    sigemptyset(&blocked);
    int error = posix_spawn_file_actions_addopen(&setup->actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        if (error == 0) error = posix_spawn_file_actions_adddup2(&setup->actions, output, stream);
    if (error == 0) error = posix_spawnattr_setsigdefault(&setup->attributes, &restored);
    if (error == 0) error = posix_spawnattr_setsigmask(&setup->attributes, &blocked);
    if (error == 0) error = posix_spawnattr_setpgroup(&setup->attributes, 0);
    if (error == 0)
        error = posix_spawnattr_setflags(
            &setup->attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    return error;
}

}  // namespace

namespace platform {

ChildProcess::~ChildProcess() {
    if (output_ != -1) close(static_cast<int>(output_));
}

bool ChildProcess::start(const std::string& program, const std::vector<std::string>& arguments) {
    const int output = openNameless();
    if (output < 0) return failFromErrno();
    output_ = output;
    std::string path = program;
    for (char& byte : path)
        if (byte == '\\') byte = '/';
    std::vector<char*> texts;
    texts.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    SpawnSetup setup;
    pid_t process = -1;
    int error = prepare(&setup, output);
    if (error == 0)
        error =
            posix_spawnp(&process, path.c_str(), &setup.actions, &setup.attributes, texts.data(), environ);
    if (error != 0) {
        errno = error;
        return failFromErrno(path.c_str());
    }
    process_ = process;
    id_ = static_cast<DWORD>(process);
    fate_ = Fate::AT_WORK;
    return true;
}

ChildProcess::Fate ChildProcess::look() {
    if (process_ == -1 || fate_ != Fate::AT_WORK) return fate_;
    int status = 0;
    const auto process = static_cast<pid_t>(process_);
    if (untilDone([&] { return waitpid(process, &status, WNOHANG); }) != process) return fate_;
    fate_ = WIFEXITED(status) ? Fate::ENDED : Fate::KILLED;
    value_ = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    return fate_;
}

std::string ChildProcess::said() const {
    const int output = static_cast<int>(output_);
    struct stat status;
    if (output_ == -1 || fstat(output, &status) != 0 || !S_ISREG(status.st_mode)) return "";
    const off_t start = status.st_size > MOST_SAID ? status.st_size - MOST_SAID : 0;
    std::string text(static_cast<std::size_t>(status.st_size - start), '\0');
    const ssize_t got = untilDone([&] { return pread(output, &text[0], text.size(), start); });
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

std::string programBeside(const char* name) {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0) return "";
    std::string out(path, static_cast<std::size_t>(length));
    out.erase(out.rfind('/') + 1).append(name);
    return access(out.c_str(), X_OK) == 0 ? out : "";
}

bool isErrorTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

}  // namespace platform
