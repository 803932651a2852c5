// Where the hosts answer differently. docs/platforms.md gives the reasons.
#ifndef OVPATCH_TESTS_PLATFORM_SUPPORT_HOST_TRAITS_H
#define OVPATCH_TESTS_PLATFORM_SUPPORT_HOST_TRAITS_H

#include "platform/platform.h"

namespace ovpatch::test {

#ifdef _WIN32
// A file opened with "w" is empty at once and grows with every flush.
inline constexpr bool REPLACES_AS_A_WHOLE = false;
// What removing the directory with an empty name leaves. The program never asks for it.
inline constexpr DWORD EMPTY_REMOVAL_NUMBER = ERROR_INVALID_NAME;
// A search for everything yields `.` and `..` too, and so finds something in an empty directory.
inline constexpr bool LISTS_DOTS = true;
#else
inline constexpr bool REPLACES_AS_A_WHOLE = true;
inline constexpr DWORD EMPTY_REMOVAL_NUMBER = ERROR_PATH_NOT_FOUND;
inline constexpr bool LISTS_DOTS = false;
#endif

}  // namespace ovpatch::test

#endif
