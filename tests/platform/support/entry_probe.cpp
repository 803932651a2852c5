// Shows the command line that the entry hands over, in 16-bit units, and ends with its length below 100; with
// 100 where what the program opens would be one of the standard streams.
#include "platform/platform.h"

#ifndef _WIN32
#include <unistd.h>
#endif

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPWSTR commandLine, int) {
    int length = 0;
    for (; commandLine[length] != 0; ++length)
        std::printf(commandLine[length] < 0x80 ? "%c" : "<%x>", static_cast<unsigned>(commandLine[length]));
#ifndef _WIN32
    if (dup(STDIN_FILENO) <= STDERR_FILENO) return 100;
#endif
    return length % 100;
}
