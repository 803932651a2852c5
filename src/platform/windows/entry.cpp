// The host's entry: hands the program's arguments on as the device's one line of text.
#include <cstdlib>
#include <cwchar>
#include <new>

#include "platform/platform.h"

// Arguments reach the program as they are: the C library must not put file names in the place of a `*`.
extern "C" {
int _dowildcard = 0;
}

namespace {

// Copies `text` to `end`, without its terminator, and answers where it ends.
WCHAR* append(WCHAR* end, const WCHAR* text) {
    const std::size_t length = std::wcslen(text);
    std::wmemcpy(end, text, length);
    return end + length;
}

// Every argument in double quotes, joined by blanks, or the only one as it stands if it holds a double quote.
// The caller owns the text; null without memory.
WCHAR* joinArguments(int count, WCHAR** arguments) {
    const bool asItStands = count == 2 && std::wcschr(arguments[1], L'"') != nullptr;
    std::size_t size = 1;
    for (int i = 0; i < count; ++i)
        size += std::wcslen(arguments[i]) + 3;
    auto* line = new (std::nothrow) WCHAR[size];
    if (line == nullptr) return nullptr;
    WCHAR* end = line;
    if (asItStands) {
        end = append(end, arguments[1]);
    } else {
        for (int i = 0; i < count; ++i) {
            end = append(end, i > 0 ? L" \"" : L"\"");
            end = append(end, arguments[i]);
            *end++ = L'"';
        }
    }
    *end = L'\0';
    return line;
}

}  // namespace

extern "C" int wmain(int count, WCHAR** arguments) {
    // Nobody sits before the device: what would ask in a window, as a damaged library does, is to fail.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);

    WCHAR* commandLine = joinArguments(count, arguments);
    if (commandLine == nullptr) {
        std::fputs("OvPatch: the command line cannot be held\n", stderr);
        std::abort();
    }
    const int exitValue = WinMain(nullptr, nullptr, commandLine, 0);
    delete[] commandLine;
    std::exit(exitValue);
}
