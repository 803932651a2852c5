// The device's types, constants and operations on a POSIX host. Only what the program uses is here.
//
// Texts. `LPCWSTR` is zero-terminated 16-bit text, `LPCSTR` zero-terminated 8-bit text in the default code
// page. Every byte of 8-bit text is one 16-bit unit of the same value. When the environment variable
// OVPATCH_ANSI_CODE_PAGE is 932, 936, 949 or 950, a lead byte of that code page and the byte behind it, if
// that is 0x40 or more, are one unit (lead << 8 | trail); a lead byte without such a trail byte stays a unit
// of its own. All texts come back byte for byte. Units that no byte text yields cannot be converted.
//
// Paths. `\` and `/` separate; a path without a leading separator is relative to the working directory. Every
// operation that takes a path, the query of FindFirstFileW apart, fails with
//   ERROR_PATH_NOT_FOUND (3)            for an empty path or a null one,
//   ERROR_INVALID_NAME (123)            for one that holds `*` or `?`,
//   ERROR_NO_UNICODE_TRANSLATION (1113) for one with a unit that cannot be converted,
//   ERROR_FILENAME_EXCED_RANGE (206)    for one longer than the host takes. None is ever shortened.
// Further numbers that every path can yield: 3 for a missing directory or a file in a directory's place,
// 5 for a missing permission or a read-only file system, 1921 for links in a circle.
//
// Errors. GetLastError holds the number of the calling thread's last failed operation. A success leaves it as
// it is, except where told otherwise.
#ifndef OVPATCH_PLATFORM_POSIX_PLATFORM_HOST_H
#define OVPATCH_PLATFORM_POSIX_PLATFORM_HOST_H

#include <cstdint>

#define WINAPI
// Bytes or 16-bit units of a path or a name, terminator included.
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

// Has no content on this host; operations take null.
struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

// One entry of a directory.
struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;     // FILE_ATTRIBUTE_DIRECTORY for a directory or a link to one, else
                                // FILE_ATTRIBUTE_NORMAL
    WCHAR cFileName[MAX_PATH];  // the name without its directory, zero-terminated
};
using LPWIN32_FIND_DATAW = WIN32_FIND_DATAW*;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;

// Text conversion.
constexpr UINT CP_ACP = 0;
constexpr DWORD MB_PRECOMPOSED = 0x1;
constexpr DWORD WC_COMPOSITECHECK = 0x200;

// Attributes.
constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

// Handles and file creation.
inline char invalidHandleMark;
constexpr HANDLE INVALID_HANDLE_VALUE = &invalidHandleMark;
constexpr DWORD FILE_SHARE_READ = 0x1;
constexpr DWORD CREATE_NEW = 1;

// Waiting.
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

// Error numbers.
constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
constexpr DWORD ERROR_NO_MORE_FILES = 18;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
constexpr DWORD ERROR_DIRECTORY = 267;
constexpr DWORD ERROR_NOT_OWNER = 288;
constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

// The number of the calling thread's last failed operation; 0 at the start.
DWORD GetLastError();
void SetLastError(DWORD number);

// Converts 8-bit text to 16-bit text. `size` is the length of `text` in bytes, or -1 for terminated text,
// whose terminator is then converted and counted too. `wideSize` is the capacity of `wide` in units; 0 asks
// for the size that is needed. Answers the number of units; 0 on failure, with `wide` untouched:
// ERROR_INSUFFICIENT_BUFFER (122) when they do not fit, ERROR_INVALID_PARAMETER (87) for a null pointer, a
// size of 0 or below -1, or a `codePage` other than CP_ACP. `flags` changes nothing.
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int size, LPWSTR wide, int wideSize);

// Converts 16-bit text to 8-bit text, with sizes and answers as above, the sizes of `text` in bytes. Text
// with a unit that cannot be converted fails with ERROR_NO_UNICODE_TRANSLATION (1113): there is no default
// character, and `usedDefault`, when given, becomes FALSE. `defaultChar` and `flags` change nothing.
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide, int wideSize, LPSTR text, int size,
                        LPCSTR defaultChar, LPBOOL usedDefault);

// Opens the mutex of that name, which is one for all processes of the machine, and takes it if `initialOwner`
// is set and nobody holds it. Sets the last error in any case: 0 when the mutex was taken (or not asked for),
// ERROR_ALREADY_EXISTS (183) when another holds it; the handle is good in both cases, and WaitForSingleObject
// then takes the mutex. Null on failure. The mutex is free again when its holder releases it, closes the
// handle or dies. A second handle in the holder's own process does not share its hold. `attributes` is not
// read. Characters of `name` other than ASCII letters, digits, `-`, `_` and `.` all count as the same.
HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCWSTR name);

// Waits for a mutex and takes it: WAIT_OBJECT_0 when the caller holds it. `milliseconds` is INFINITE, or 0
// for a try that answers WAIT_TIMEOUT when another holds it. WAIT_FAILED with ERROR_INVALID_HANDLE (6) for a
// handle that is no mutex, with ERROR_INVALID_PARAMETER (87) for any other time.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// Frees a mutex that the caller holds. FALSE with ERROR_INVALID_HANDLE (6) for null or what is no mutex,
// ERROR_NOT_OWNER (288) when it is not held.
BOOL ReleaseMutex(HANDLE handle);

// Ends a handle of CreateMutexW or CreateFileW, which must not be used afterwards. FALSE with
// ERROR_INVALID_HANDLE (6) for null and INVALID_HANDLE_VALUE.
BOOL CloseHandle(HANDLE handle);

// Creates an empty file that did not exist. `disposition` must be CREATE_NEW; the handle only holds the file
// and is ended by CloseHandle. `access`, `share`, `attributes`, `flags` and `templateFile` are not read.
// INVALID_HANDLE_VALUE on failure: ERROR_FILE_EXISTS (80) when the name exists, as a directory or a link too;
// ERROR_PATH_NOT_FOUND (3) when the directory is missing.
HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
                   DWORD disposition, DWORD flags, HANDLE templateFile);

// Loads a dynamic library with all its symbols bound, visible to nobody else. A name without a separator is
// looked for beside the program, then where the host looks for libraries. Null on failure:
// ERROR_MOD_NOT_FOUND (126) for an empty name and for a file that is not there, ERROR_BAD_EXE_FORMAT (193)
// for a file that cannot be loaded: also for what is no regular file, and for a library cut short, at which
// the host's own loader would wait or end the process (one that only the host's cache of libraries knows is
// left to that loader). Each success is ended by one FreeLibrary.
HMODULE LoadLibraryW(LPCWSTR path);

// Ends one LoadLibraryW. FALSE with ERROR_INVALID_HANDLE (6) for null.
BOOL FreeLibrary(HMODULE library);

// The attributes of what the path names, links followed: FILE_ATTRIBUTE_DIRECTORY for a directory,
// FILE_ATTRIBUTE_READONLY for a file whose owner has no permission to write, else FILE_ATTRIBUTE_NORMAL.
// INVALID_FILE_ATTRIBUTES on failure: ERROR_FILE_NOT_FOUND (2) when only the last name is missing, also for a
// link to nothing; ERROR_PATH_NOT_FOUND (3) when its directory is.
DWORD GetFileAttributesW(LPCWSTR path);

// Copies a file's content, permission bits (read, write, execute) and modification time. The target is
// replaced as a whole once the copy is complete, links followed on both sides; whoever has the old file open
// keeps its old content, and the file keeps its owner where the host allows it. After a failure the target is
// as it was and nothing else is left behind. Only a kill can leave something: a file `.ovp*.tmp` beside the
// target. FALSE on failure:
//   2     the source is missing
//   3     the directory of the source or of the target is missing
//   5     the source is no regular file; the target is a directory, no regular file, read-only (whoever runs
//         the program) or a link to nothing
//   32    both are the same file
//   80    `failIfExists` is set and the target exists
//   112   no space, or a quota reached
//   223   the target would be larger than allowed
BOOL CopyFileW(LPCWSTR source, LPCWSTR target, BOOL failIfExists);

// Makes a directory. FALSE on failure: ERROR_ALREADY_EXISTS (183) when the name exists, whatever it is;
// ERROR_PATH_NOT_FOUND (3) when the parent is missing or is a file. `attributes` is not read.
BOOL CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES attributes);

// Removes an empty directory, or a link to a directory, in which case the directory stays. FALSE on failure:
// ERROR_DIR_NOT_EMPTY (145); ERROR_FILE_NOT_FOUND (2) when it is missing; ERROR_PATH_NOT_FOUND (3) when its
// parent is missing; 267 (ERROR_DIRECTORY) for a file or a link to one.
BOOL RemoveDirectoryW(LPCWSTR path);

// Removes a file, or a link of any kind, in which case what it points to stays. FALSE on failure:
// ERROR_FILE_NOT_FOUND (2), ERROR_PATH_NOT_FOUND (3), ERROR_ACCESS_DENIED (5) for a directory and for a
// read-only file, whoever runs the program.
BOOL DeleteFileW(LPCWSTR path);

// Reads a directory whole and yields its first entry; FindNextFileW yields the others. The order is ascending
// by the name's bytes, taken as unsigned. `.` and `..` are not reported. `query` is a directory and `*`
// behind it (`*` alone: the working directory), or a path without a wildcard, which yields that one entry. A
// `\` that is part of a host name is reported as `?`, so that no operation can take the name for a path.
// INVALID_HANDLE_VALUE on failure: ERROR_FILE_NOT_FOUND (2) for an empty directory or a missing name,
// ERROR_PATH_NOT_FOUND (3) for a missing directory, ERROR_INVALID_NAME (123) for any other pattern; by any
// other number the directory could not be read to its end, and none of its entries is yielded. The handle is
// ended by FindClose.
HANDLE FindFirstFileW(LPCWSTR query, LPWIN32_FIND_DATAW entry);

// FALSE with ERROR_NO_MORE_FILES (18) behind the last entry, with ERROR_INVALID_HANDLE (6) for a handle of
// another kind.
BOOL FindNextFileW(HANDLE handle, LPWIN32_FIND_DATAW entry);

// Ends a handle of FindFirstFileW. FALSE with ERROR_INVALID_HANDLE (6) for INVALID_HANDLE_VALUE and null.
BOOL FindClose(HANDLE handle);

// The host's numbers of the process and of the calling thread.
DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

#endif
