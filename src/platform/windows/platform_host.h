// The device's types, constants and operations on desktop Windows: the system's own. What the device names
// differently, or desktop Windows does at the cost of reaching another file, follows behind them.
#ifndef OVPATCH_PLATFORM_WINDOWS_PLATFORM_HOST_H
#define OVPATCH_PLATFORM_WINDOWS_PLATFORM_HOST_H

#ifndef UNICODE
#define UNICODE
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

// The device's entry takes its command line in 16-bit text; desktop Windows has that one under a name of its
// own.
#define WinMain wWinMain

// The system's conversions, with the same arguments and answers, but for what may be lost in them: 8-bit text
// that is none in the code page fails with ERROR_NO_UNICODE_TRANSLATION (1113), and a 16-bit character that
// the code page lacks becomes `?`, which no operation takes in a path, and never a character that looks like
// it. The device's flags are accepted for every default code page.
int convertToWide(UINT codePage, DWORD flags, LPCSTR text, int size, LPWSTR wide, int wideSize);
int convertFromWide(UINT codePage, DWORD flags, LPCWSTR wide, int wideSize, LPSTR text, int size,
                    LPCSTR defaultChar, LPBOOL usedDefault);
#define MultiByteToWideChar convertToWide
#define WideCharToMultiByte convertFromWide

// The system's copy, which is on the disk when it ends if files are to be (platform/durability.h).
BOOL copyFile(LPCWSTR source, LPCWSTR target, BOOL failIfExists);
#define CopyFileW copyFile

#endif
