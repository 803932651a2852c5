#include "platform/tool_entry.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/platform.h"

// Arguments reach the program as they are: the C library must not put file names in the place of a `*`.
extern "C" {
int _dowildcard = 0;
}

extern "C" int wmain(int count, WCHAR** arguments) {
    std::vector<std::vector<char>> texts;
    std::vector<const char*> pointers;
    for (int i = 0; i < count; ++i) {
        const int size = WideCharToMultiByte(CP_ACP, 0, arguments[i], -1, nullptr, 0, nullptr, nullptr);
        std::vector<char> text(size > 0 ? static_cast<std::size_t>(size) : 1);
        if (WideCharToMultiByte(CP_ACP, 0, arguments[i], -1, text.data(), size, nullptr, nullptr) == 0) {
            std::fputs("ovpatchctl: an argument is no text of the code page\n", stderr);
            return EXIT_FAILURE;
        }
        texts.push_back(std::move(text));
    }
    for (const std::vector<char>& text : texts)
        pointers.push_back(text.data());
    return toolMain(count, pointers.data());
}
