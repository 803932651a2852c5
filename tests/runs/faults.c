/*
 * A library to be preloaded on Linux: counts what the program itself asks of the system, and makes a call
 * fail.
 *
 * OVPATCH_FAULT is "<what> <n> <how>": of the calls ("call") or the allocations ("memory") the n-th, from 0,
 * fails once ("once"), it and all behind it fail ("from"), or the process is killed in its place ("kill").
 * With OVPATCH_FAULT_TRACE they are written to that file, one "<c or m> <name> <place in the code> <path>" a
 * line.
 *
 * Only what the program's own code calls counts, not what the C library, the loader or an agent does.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>

enum { CALL, MEMORY };
enum { HALF = -1 }; /* for an error: the call does half of what it is asked for */
typedef struct {
    const int* list;
    size_t count;
} Errors;
typedef const char* Text;

long syscall(long number, ...);

static uintptr_t programStart, programEnd;
static int counts[2], struckKind = -1, struckAt, trace = -1;
static char how;

static int noteProgram(struct dl_phdr_info* info, size_t size, void* unused) {
    (void)size, (void)unused;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        if (info->dlpi_phdr[i].p_type != PT_LOAD || (info->dlpi_phdr[i].p_flags & PF_X) == 0) continue;
        programStart = info->dlpi_addr + info->dlpi_phdr[i].p_vaddr;
        programEnd = programStart + info->dlpi_phdr[i].p_memsz;
    }
    return 1; /* the program comes first */
}

__attribute__((constructor)) static void begin(void) {
    const char* order = getenv("OVPATCH_FAULT");
    const char* path = getenv("OVPATCH_FAULT_TRACE");
    char what, manner;
    if (path != NULL)
        trace = (int)syscall(SYS_openat, -100, path, 01 | 02000 | 02000000); /* append, close on exec */
    if (order != NULL && sscanf(order, "%c%*s %d %c", &what, &struckAt, &manner) == 3) {
        struckKind = what == 'c' ? CALL : MEMORY;
        how = manner;
    }
    dl_iterate_phdr(noteProgram, NULL);
}

/* What a call is to fail with; 0 if it is not. */
static int fault(void* caller, int what, const char* name, const char* path, Errors errors) {
    const uintptr_t address = (uintptr_t)caller;
    if (address < programStart || address >= programEnd) return 0;
    const int n = counts[what]++;
    if (trace >= 0) {
        const int before = errno;
        char line[4200];
        syscall(SYS_write, trace, line,
                snprintf(line, sizeof line, "%c %s %lx %s\n", what == CALL ? 'c' : 'm', name,
                         (long)(address - programStart), path));
        errno = before;
    }
    if (what != struckKind || n < struckAt || (n > struckAt && how != 'f')) return 0;
    if (how == 'k') syscall(SYS_kill, syscall(SYS_getpid), SIGKILL);
    return errors.list[(size_t)n % errors.count];
}

/* The lock file is the machine's; here each device has its own, so that no other run is waited for. */
static const char* own(const char* path) {
    return strncmp(path, "/tmp/PATCH-", 11) == 0 ? "../lock" : path;
}

#define STRIKE(what, name, path, ...)                           \
    static __typeof__(&name) next;                              \
    static const int list[] = {__VA_ARGS__};                    \
    const Errors errors = {list, sizeof list / sizeof *list};   \
    if (next == NULL) *(void**)&next = dlsym(RTLD_NEXT, #name); \
    const int error = fault(__builtin_return_address(0), what, #name, path, errors)
/* A call that answers `bad` when it fails, with these errors in turn. */
#define CALLED(type, name, parameters, arguments, path, bad, ...) \
    type name parameters;                                         \
    type name parameters {                                        \
        STRIKE(CALL, name, path, __VA_ARGS__);                    \
        if (error > 0) errno = error;                             \
        return error > 0 ? bad : next arguments;                  \
    }
#define MOVING(name, parameters, whole, half)                                       \
    ssize_t name parameters;                                                        \
    ssize_t name parameters {                                                       \
        STRIKE(CALL, name, "", EIO, HALF, EINTR, ENOSPC);                           \
        if (error > 0) errno = error;                                               \
        return error > 0 ? -1 : error == HALF && size > 1 ? next half : next whole; \
    }
#define ALLOCATING(name, parameters, arguments)   \
    void* name parameters;                        \
    void* name parameters {                       \
        STRIKE(MEMORY, name, "", ENOMEM);         \
        return error > 0 ? NULL : next arguments; \
    }
#define LOOK EPERM, EIO, ENOMEM, EMFILE
#define OPEN EMFILE, EIO, EINTR, ENFILE
#define CHANGE EIO, ENOSPC, EACCES

ALLOCATING(malloc, (size_t size), (size))
ALLOCATING(calloc, (size_t count, size_t size), (count, size))
ALLOCATING(realloc, (void* block, size_t size), (block, size))
ALLOCATING(_Znwm, (size_t size), (size))
ALLOCATING(_Znam, (size_t size), (size))
ALLOCATING(_ZnwmRKSt9nothrow_t, (size_t size, void* tag), (size, tag))
ALLOCATING(_ZnamRKSt9nothrow_t, (size_t size, void* tag), (size, tag))
CALLED(FILE*, fopencookie, (void* c, Text mode, cookie_io_functions_t f), (c, mode, f), "", NULL, ENOMEM)
MOVING(read, (int file, void* bytes, size_t size), (file, bytes, size), (file, bytes, size / 2))
MOVING(__read_chk, (int file, void* bytes, size_t size, size_t room), (file, bytes, size, room),
       (file, bytes, size / 2, room))
MOVING(write, (int file, const void* bytes, size_t size), (file, bytes, size), (file, bytes, size / 2))
MOVING(pread64, (int file, void* bytes, size_t size, long at), (file, bytes, size, at),
       (file, bytes, size / 2, at))
CALLED(int, open64, (Text path, int flags, unsigned mode), (own(path), flags, mode), path, -1, OPEN)
CALLED(int, __open64_2, (Text path, int flags), (own(path), flags), path, -1, OPEN)
CALLED(void*, opendir, (Text path), (path), path, NULL, OPEN, ENOMEM)
CALLED(void*, readdir64, (void* stream), (stream), "", NULL, EIO, ENOMEM)
CALLED(int, stat64, (Text path, void* status), (path, status), path, -1, LOOK)
CALLED(int, lstat64, (Text path, void* status), (path, status), path, -1, LOOK)
CALLED(int, fstat64, (int file, void* status), (file, status), "", -1, LOOK)
CALLED(int, fstatat64, (int file, Text path, void* status, int flags), (file, path, status, flags), path, -1,
       LOOK)
CALLED(int, access, (Text path, int mode), (path, mode), path, -1, LOOK)
CALLED(int, faccessat, (int file, Text path, int mode, int flags), (file, path, mode, flags), path, -1, LOOK)
CALLED(char*, realpath, (Text path, char* out), (path, out), path, NULL, LOOK)
CALLED(char*, __realpath_chk, (Text path, char* out, size_t size), (path, out, size), path, NULL, LOOK)
CALLED(int, mkdir, (Text path, unsigned mode), (path, mode), path, -1, CHANGE)
CALLED(int, rmdir, (Text path), (path), path, -1, CHANGE)
CALLED(int, unlink, (Text path), (path), path, -1, CHANGE)
CALLED(int, link, (Text path, Text name), (path, name), name, -1, CHANGE, EMLINK)
CALLED(int, rename, (Text path, Text name), (path, name), name, -1, CHANGE)
CALLED(int, renameat2, (int a, Text path, int b, Text name, unsigned f), (a, path, b, name, f), name, -1,
       CHANGE)
CALLED(int, fchmod, (int file, unsigned mode), (file, mode), "", -1, EIO, EPERM)
CALLED(int, fchown, (int file, unsigned user, unsigned group), (file, user, group), "", -1, EIO, EPERM)
CALLED(int, futimens, (int file, const void* times), (file, times), "", -1, EIO, EPERM)
CALLED(int, ftruncate64, (int file, long size), (file, size), "", -1, EIO, EINTR)
CALLED(int, fsync, (int file), (file), "", -1, EIO, ENOSPC)
CALLED(int, fdatasync, (int file), (file), "", -1, EIO, ENOSPC)
CALLED(int, syncfs, (int file), (file), "", -1, EIO, ENOSPC)
CALLED(int, flock, (int file, int operation), (file, operation), "", -1, EINTR, ENOLCK)

/* A close that fails has closed all the same. */
int close(int file);
int close(int file) {
    STRIKE(CALL, close, "", EIO, EINTR, ENOSPC);
    const int answer = next(file);
    if (error > 0) errno = error;
    return error > 0 ? -1 : answer;
}
