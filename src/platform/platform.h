// The device's operations, under the device's own names and with 16-bit text.
//
// All code above this folder includes this header and no header of the host. `platform_host.h` is taken from
// posix/ or windows/, as the build chooses; it declares the types, constants, error numbers and operations:
//
//   WideCharToMultiByte MultiByteToWideChar GetLastError SetLastError
//   CreateMutexW WaitForSingleObject ReleaseMutex CloseHandle CreateFileW
//   LoadLibraryW FreeLibrary
//   GetFileAttributesW CopyFileW CreateDirectoryW RemoveDirectoryW DeleteFileW
//   FindFirstFileW FindNextFileW FindClose
//   GetCurrentProcessId GetCurrentThreadId
//
// What the host lacks or spells in another way is declared here and has one name on both hosts.
#ifndef OVPATCH_PLATFORM_PLATFORM_H
#define OVPATCH_PLATFORM_PLATFORM_H

#include <cstdio>

#include "platform_host.h"

// The program's entry, defined above this layer. The command line is 16-bit text, without the host's
// division into arguments; the answer is the exit value of the process.
int WINAPI WinMain(HINSTANCE instance, HINSTANCE previousInstance, LPWSTR commandLine, int showFlag);

// The entry point that `library` exports under the 16-bit `name`; null when it exports none of that name.
FARPROC GetProcAddressW(HMODULE library, LPCWSTR name);

namespace platform {

struct FileState;  // platform/file_state.h

// Opens a file named in device text (8-bit, default code page). `mode` is the C library's ("r", "wb", "at",
// ...). Null on failure, with the device's number in GetLastError: also for a directory or anything else that
// is no regular file (5), a read-only file opened for writing (5), an unknown mode (87), and a path that
// holds a wildcard (123) or does not fit. The caller ends it with fclose. On a POSIX host a file opened for
// writing from the start ("w") is replaced as a whole when the stream is closed: until then the name shows
// the old file, and after a failed write fclose answers EOF and the old file stays. fflush brings the text to
// the file only on the other streams. On Windows, as on the device, such a file is emptied when it is opened.
std::FILE* fopen(const char* path, const char* mode);

// Whether fopen(path, "rb") would succeed, at less cost. False with the device's number in GetLastError: that
// nothing is there (see tellsMissing), that what is there cannot be read (5), or that the host could not
// look.
bool canOpenForReading(const char* path);

// What GetFileAttributesW answers, at less cost where there is nothing: the number of a failure tells that by
// tellsMissing, and may be another one of those.
DWORD lookAt(LPCWSTR path);

// Whether a number of GetLastError tells that there is nothing of that name, or can be nothing. After any
// other number there may be something.
bool tellsMissing(DWORD number);

// Whether the name is a link to something else rather than the thing itself, which goes into `link`. A
// removal takes the link. False, with the device's number in GetLastError, when the host cannot tell.
bool isLink(LPCWSTR path, bool* link);

// Does in one step what CopyFileW of `source` over `target` and DeleteFileW of `source` would do, where that
// leaves just the same behind; the target may be missing. False when the host has no such step or the files
// are not fit for it: then nothing has changed, and the two operations have to be called.
// `looked` is the state of `source` where the caller has just asked for it, else null.
bool moveFileOver(LPCWSTR source, LPCWSTR target, const FileState* looked = nullptr);

// Gives a file a second name instead of copying it to a new file: for a file that is about to be deleted, or
// replaced as a whole by CopyFileW, after which its old content stands under `newName` alone. False, with the
// device's number in GetLastError, when the name exists (80), and when the host has no second names or the
// file is not fit for one: then the file has to be copied. On Windows, where CopyFileW writes in place, it
// always is. `looked` is the state of `file` where the caller has just asked for it, else null.
bool giveSecondName(LPCWSTR file, LPCWSTR newName, const FileState* looked = nullptr);

}  // namespace platform

#endif
