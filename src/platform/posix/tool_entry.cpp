#include "platform/tool_entry.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "platform/posix/interrupted.h"

namespace {

// What a caller closed must not become the number of a file that is opened later; and to write there fails.
void openStandardStreams() {
    int descriptor;
    do {
        descriptor = ovpatch::posix::untilDone([] { return open("/dev/null", O_RDONLY); });
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

}  // namespace

int main(int count, char** arguments) {
    openStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);
    return toolMain(count, arguments);
}
