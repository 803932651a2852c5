// Shows the command line that the entry hands over, in 16-bit units, and ends with its length below 100.
#include "platform/platform.h"

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPWSTR commandLine, int) {
    int length = 0;
    for (; commandLine[length] != 0; ++length)
        std::printf(commandLine[length] < 0x80 ? "%c" : "<%x>", static_cast<unsigned>(commandLine[length]));
    return length % 100;
}
