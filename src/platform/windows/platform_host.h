// The device's types, constants and operations on desktop Windows: the system's own. What the device names
// differently follows behind them.
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

#endif
