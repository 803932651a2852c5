// The device's types, constants and operations on a POSIX host. Only what the program uses is here.
#ifndef OVPATCH_PLATFORM_POSIX_PLATFORM_HOST_H
#define OVPATCH_PLATFORM_POSIX_PLATFORM_HOST_H

#include <cstdint>

#define WINAPI
#define MAX_PATH 260
// Text literals of 16-bit characters: TEXT("StartPatch").
#define TEXT(quote) u##quote

using BOOL = int;
using UINT = std::uint32_t;
using DWORD = std::uint32_t;
using WCHAR = char16_t;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPBOOL = BOOL*;
using HANDLE = void*;
using HMODULE = void*;
using HINSTANCE = void*;
using FARPROC = std::intptr_t (*)();

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
