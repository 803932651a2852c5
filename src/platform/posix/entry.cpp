// The host's entry: hands the program's arguments on as the device's one line of text.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/platform.h"
#include "platform/posix/interrupted.h"

namespace {

// What a caller closed must not become the number of a file that the program writes.
void openStandardStreams() {
    int descriptor;
    do {
        descriptor = ovpatch::posix::untilDone([] { return open("/dev/null", O_RDWR); });
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

// Every argument in double quotes, joined by blanks, or the only one as it stands if it holds a double quote.
// The caller owns the text; null without memory.
char* joinArguments(int count, char** arguments) {
    if (count == 2 && std::strchr(arguments[1], '"') != nullptr) return strdup(arguments[1]);
    std::size_t size = 1;
    for (int i = 0; i < count; ++i)
        size += std::strlen(arguments[i]) + 3;
    char* line = static_cast<char*>(std::malloc(size));
    if (line == nullptr) return nullptr;
    char* end = line;
    for (int i = 0; i < count; ++i) {
        if (i > 0) *end++ = ' ';
        *end++ = '"';
        end = stpcpy(end, arguments[i]);
        *end++ = '"';
    }
    *end = '\0';
    return line;
}

// `text` in 16-bit units, owned by the caller; null without memory.
LPWSTR widen(const char* text) {
    const int units = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, nullptr, 0);
    if (units <= 0) return nullptr;
    auto* wide = new (std::nothrow) WCHAR[static_cast<std::size_t>(units)];
    if (wide != nullptr) MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, wide, units);
    return wide;
}

}  // namespace

int main(int count, char** arguments) {
    openStandardStreams();
    // A file that reaches the size limit is to fail like a full disk, not to end the run half way.
    std::signal(SIGXFSZ, SIG_IGN);

    char* line = joinArguments(count, arguments);
    LPWSTR commandLine = line == nullptr ? nullptr : widen(line);
    std::free(line);
    if (commandLine == nullptr) {
        std::fputs("OvPatch: the command line cannot be held\n", stderr);
        std::abort();
    }
    const int exitValue = WinMain(nullptr, nullptr, commandLine, 0);
    delete[] commandLine;
    std::exit(exitValue);
}
