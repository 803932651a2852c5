/*
 * A part of ovpatch_faulty.exe, which is OvPatch.exe otherwise: counts what the program asks of Windows and
 * of the C library, and makes a call fail. It puts itself into the program's own table of imports, so that
 * only what the program's code calls counts, not what the C library, the loader or an agent does.
 *
 * OVPATCH_FAULT is "call <n> <how>": the n-th call, from 0, fails once ("once"), the process ends before it
 * ("kill") or when half of it is done ("half"). "trace" has the calls written to ../trace, one "<kind> <name>
 * <halves> <path>" a line: kind "c" changes what is on the disk, "l" does not, and halves is 1 for one that
 * can be half done. ../trace is made by each run, so that one that Wine did not start can be told.
 */
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

enum { NONE, HALF = -1, KILLED = 9 };
typedef long long Number;
typedef Number (*Call)(Number a, Number b, Number c, Number d, Number e, Number f, Number g);

static HANDLE trace;
static BOOL traces, isWithin; /* a call that this file makes itself is none of the program's */
static int count, struckAt = -1;
static char how;

static void die(void) {
    TerminateProcess(GetCurrentProcess(), KILLED);
}

static void follow(void) {
    const char* const order = getenv("OVPATCH_FAULT");
    if (trace != NULL) return;
    trace = CreateFileW(L"..\\trace", GENERIC_WRITE, FILE_SHARE_READ, NULL, CREATE_ALWAYS, 0, NULL);
    traces = order != NULL && strcmp(order, "trace") == 0;
    if (order != NULL) (void)sscanf(order, "call %d %c", &struckAt, &how);
}

/* What a call is to fail with, HALF or NONE. */
static int fault(const char* name, const WCHAR* path, BOOL changes, BOOL halves, int error) {
    if (isWithin) return NONE;
    const int n = count++;
    if (traces) {
        const DWORD before = GetLastError();
        char line[1200];
        DWORD written;
        isWithin = TRUE;
        const int length =
            snprintf(line, sizeof line, "%c %s %d %.999ls\n", changes ? 'c' : 'l', name, halves, path);
        WriteFile(trace, line, (DWORD)length, &written, NULL);
        isWithin = FALSE;
        SetLastError(before);
    }
    if (n != struckAt) return NONE;
    isWithin = TRUE;
    if (how == 'k') die();
    if (how == 'h') return HALF;
    isWithin = FALSE;
    return error;
}

static Number sizeOf(HANDLE file) {
    LARGE_INTEGER size = {0};
    GetFileSizeEx(file, &size);
    return size.QuadPart;
}

static void cut(HANDLE file, Number size) {
    LARGE_INTEGER end;
    end.QuadPart = size;
    SetFilePointerEx(file, end, NULL, FILE_BEGIN);
    SetEndOfFile(file);
}

/* A copy under way: half of its bytes, and a size that every second time is the whole one's already. */
static void tearFile(const WCHAR* path) {
    const HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, NULL, OPEN_EXISTING, 0, NULL);
    const Number size = sizeOf(file);
    cut(file, size / 2);
    if (struckAt % 2 != 0) cut(file, size);
}

/* Half of what the stream still held. */
static void tearStream(FILE* stream) {
    const HANDLE file = (HANDLE)_get_osfhandle(_fileno(stream));
    const Number size = sizeOf(file);
    fflush(stream);
    cut(file, size + (sizeOf(file) - size) / 2);
}

static void replace(const char* name, ULONG_PTR hook, ULONG_PTR* next) {
    char* const program = (char*)GetModuleHandleW(NULL);
    const IMAGE_NT_HEADERS* const head = (void*)(program + ((IMAGE_DOS_HEADER*)program)->e_lfanew);
    const IMAGE_IMPORT_DESCRIPTOR* library =
        (void*)(program + head->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    follow();
    for (; library->Name != 0; ++library) {
        const IMAGE_THUNK_DATA* names = (void*)(program + library->OriginalFirstThunk);
        ULONG_PTR* slot = (void*)(program + library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++slot) {
            const IMAGE_IMPORT_BY_NAME* const import = (void*)(program + names->u1.AddressOfData);
            DWORD rights;
            if (strcmp((const char*)import->Name, name) != 0) continue;
            VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &rights);
            *next = *slot;
            *slot = hook;
        }
    }
    if (*next == 0) fprintf(stderr, "%s is not imported\n", name);
}

/* Seven numbers are handed on whatever the call takes. `half` does half of the call; `bad` is what it answers
 * when it fails, with these errors in turn. */
#define WRAP(name, path, changes, halves, half, bad, ...)                                             \
    static ULONG_PTR next_##name;                                                                     \
    static Number hook_##name(Number a, Number b, Number c, Number d, Number e, Number f, Number g) { \
        static const int list[] = {__VA_ARGS__};                                                      \
        const Call next = (Call)next_##name;                                                          \
        const int error =                                                                             \
            fault(#name, path, changes, halves, list[(size_t)count % (sizeof list / sizeof *list)]);  \
        if (error == NONE) return next(a, b, c, d, e, f, g);                                          \
        if (error == HALF) {                                                                          \
            half;                                                                                     \
            die();                                                                                    \
        }                                                                                             \
        SetLastError((DWORD)error);                                                                   \
        return bad;                                                                                   \
    }                                                                                                 \
    __attribute__((constructor)) static void put_##name(void) {                                       \
        replace(#name, (ULONG_PTR)hook_##name, &next_##name);                                         \
    }
#define LOOK(name, path, bad, ...) WRAP(name, path, FALSE, FALSE, (void)0, bad, __VA_ARGS__)
#define CHANGE(name, path) \
    WRAP(name, path, TRUE, FALSE, (void)0, FALSE, ERROR_ACCESS_DENIED, ERROR_WRITE_FAULT, ERROR_DISK_FULL)
#define ALL next(a, b, c, d, e, f, g)
#define TEXT_OF(parameter) (const WCHAR*)parameter
#define READING ERROR_ACCESS_DENIED, ERROR_IO_DEVICE, ERROR_NOT_ENOUGH_MEMORY
#define IS_WRITTEN(stream) (((FILE*)stream)->_flag & (_IOWRT | _IORW)) != 0

/* No refusal of the rights: a file that may not be read counts as none. */
WRAP(CreateFileW, TEXT_OF(a), (DWORD)e != OPEN_EXISTING, FALSE, (void)0, -1, ERROR_TOO_MANY_OPEN_FILES,
     ERROR_SHARING_VIOLATION, ERROR_IO_DEVICE)
WRAP(CopyFileW, TEXT_OF(b), TRUE, TRUE, if ((int)ALL != 0) tearFile(TEXT_OF(b)), FALSE, ERROR_ACCESS_DENIED,
     ERROR_DISK_FULL, ERROR_IO_DEVICE)
WRAP(WriteFile, L"", TRUE, TRUE, next(a, b, c / 2, d, e, f, g), FALSE, ERROR_WRITE_FAULT, ERROR_DISK_FULL)
WRAP(fclose, L"", IS_WRITTEN(a), IS_WRITTEN(a), tearStream((FILE*)a), (ALL, EOF), ERROR_DISK_FULL)
WRAP(fflush, L"", IS_WRITTEN(a), IS_WRITTEN(a), tearStream((FILE*)a), EOF, ERROR_DISK_FULL)
CHANGE(MoveFileExW, TEXT_OF(b))
CHANGE(MoveFileW, TEXT_OF(b))
CHANGE(DeleteFileW, TEXT_OF(a))
CHANGE(CreateDirectoryW, TEXT_OF(a))
CHANGE(RemoveDirectoryW, TEXT_OF(a))
CHANGE(SetFileAttributesW, TEXT_OF(a))
CHANGE(SetEndOfFile, L"")
CHANGE(SetFileInformationByHandle, L"")
LOOK(fwrite, L"", 0, ERROR_DISK_FULL)
LOOK(_fdopen, L"", 0, ERROR_NOT_ENOUGH_MEMORY)
LOOK(ReadFile, L"", FALSE, READING)
LOOK(GetFileAttributesW, TEXT_OF(a), INVALID_FILE_ATTRIBUTES, READING)
LOOK(GetFileAttributesExW, TEXT_OF(a), FALSE, READING)
LOOK(GetFileSizeEx, L"", FALSE, READING)
LOOK(SetFilePointerEx, L"", FALSE, READING)
LOOK(FindFirstFileW, TEXT_OF(a), -1, READING)
LOOK(FindNextFileW, L"", FALSE, READING)
LOOK(FlushFileBuffers, L"", FALSE, ERROR_IO_DEVICE)
/* The mutex is the machine's; here each run has its own, so that no other is waited for. */
LOOK(CreateMutexW, (c = 0, L""), 0, ERROR_ACCESS_DENIED)
