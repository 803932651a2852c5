/*
 * A library to be preloaded on Linux: counts what the program itself asks of the system, and makes a call
 * fail. The program stops before main; each order that comes through its standard input starts a run, as a
 * fork. The run's process number and, at its end, its status (an int each) go to descriptor OVPATCH_ANSWERS.
 *
 * An order is "<what> <n> <how>": of the calls ("call") or the allocations ("memory") the n-th, from 0, fails
 * once ("once"), it and all behind it fail ("from"), or the process is killed in its place ("kill"). "trace"
 * has them written to ../trace, one "<c or m> <name> <place in the code> <path>" a line, "none" does nothing.
 * The call that OVPATCH_WITHOUT names is none that this host has.
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
#include <sys/wait.h>

enum { CALL, MEMORY };
enum { HALF = -1, LAST = -2 }; /* for an error: the call does half of what it is asked for; and is the last */
typedef struct {
    const int* list;
    size_t count;
} Errors;

long syscall(long number, ...);
pid_t fork(void);
int dup2(int from, int to);
void _exit(int status) __attribute__((noreturn));

static uintptr_t programStart, programEnd;
static int counts[2], struckKind = -1, struckAt, struckBy, trace = -1, isRun;
static const char* without = "";
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

static void follow(const char* order) {
    char what, manner;
    if (strcmp(order, "trace") == 0) trace = (int)syscall(SYS_openat, -100, "../trace", 01 | 02000000);
    if (sscanf(order, "%c%*s %d %c", &what, &struckAt, &manner) != 3) return;
    struckKind = what == 'c' ? CALL : MEMORY;
    how = manner;
}

__attribute__((constructor)) static void serve(void) {
    const char* const answers = getenv("OVPATCH_ANSWERS");
    char order[64];
    int status;
    dl_iterate_phdr(noteProgram, NULL);
    if (getenv("OVPATCH_WITHOUT") != NULL) without = getenv("OVPATCH_WITHOUT");
    if (answers == NULL) return;
    for (long size; (size = syscall(SYS_read, 0, order, sizeof order - 1)) > 0;) {
        order[size] = '\0';
        const pid_t run = fork();
        if (run == 0) {
            syscall(SYS_close, atoi(answers));
            follow(order);
            isRun = 1;
            return;
        }
        syscall(SYS_write, atoi(answers), &run, sizeof run);
        waitpid(run, &status, 0);
        syscall(SYS_write, atoi(answers), &status, sizeof status);
    }
    _exit(0);
}

__attribute__((destructor)) static void leave(void) {
    for (int descriptor = 3; isRun && descriptor < 99; ++descriptor)
        if (descriptor != trace && dup2(descriptor, descriptor) == descriptor)
            dprintf(2, "descriptor %d is left open\n", descriptor);
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
    if (strcmp(name, without) == 0) return ENOSYS;
    if (what != struckKind || n < struckAt || (n > struckAt && how != 'f')) return 0;
    if (how == 'k') return LAST;
    return struckBy = errors.list[(size_t)n % errors.count];
}

/* For a test that this is a part of: the n-th call from now on fails once, none with -1. Answers what the
 * last one failed with, 0 if it was not reached. */
int failCall(int n);
int failCall(int n) {
    const int before = struckBy;
    counts[CALL] = struckBy = 0;
    struckKind = CALL;
    struckAt = n;
    how = 'o';
    return before;
}

/* The lock file is the machine's; here each device has its own, so that no other run is waited for. */
static const char* own(long* path) {
    if (strncmp((const char*)*path, "/tmp/PATCH-", 11) == 0) *path = (long)"../lock";
    return (const char*)*path;
}

/* Six numbers are handed on whatever the call takes, and one comes back. `bad` is what it answers when it
 * fails, with these errors in turn; a third parameter that is a size can be halved. */
#define WRAP(what, name, path, bad, ...)                                                     \
    long wrap_##name(long a, long b, long c, long d, long e, long f) __asm__(#name);         \
    __attribute__((weak)) long wrap_##name(long a, long b, long c, long d, long e, long f) { \
        static long (*next)(long, long, long, long, long, long);                             \
        static const int list[] = {__VA_ARGS__};                                             \
        const Errors errors = {list, sizeof list / sizeof *list};                            \
        if (next == NULL) *(void**)&next = dlsym(RTLD_NEXT, #name);                          \
        const char* const told = path;                                                       \
        const int error = fault(__builtin_return_address(0), what, #name, told, errors);     \
        if (error == LAST && strstr(#name, "write") != NULL) next(a, b, c / 2, d, e, f);     \
        if (error == LAST) syscall(SYS_kill, syscall(SYS_getpid), SIGKILL);                  \
        if (error <= 0) return next(a, b, error == HALF && c > 1 ? c / 2 : c, d, e, f);      \
        if (strcmp(#name, "close") == 0) (void)next(a, b, c, d, e, f);                       \
        errno = error;                                                                       \
        return bad;                                                                          \
    }
#define TEXT(parameter) (const char*)parameter
#define LOOK EPERM, EIO, ENOMEM, EMFILE
#define OPEN EMFILE, EIO, EINTR, ENFILE
#define MOVE EIO, HALF, EINTR, ENOSPC
#define CHANGE EIO, ENOSPC, EACCES

WRAP(MEMORY, malloc, "", 0, ENOMEM)
WRAP(MEMORY, calloc, "", 0, ENOMEM)
WRAP(MEMORY, realloc, "", 0, ENOMEM)
WRAP(MEMORY, _Znwm, "", 0, ENOMEM)
WRAP(MEMORY, _ZnwmRKSt9nothrow_t, "", 0, ENOMEM)
WRAP(MEMORY, _ZnamRKSt9nothrow_t, "", 0, ENOMEM)
WRAP(CALL, open64, own(&a), -1, OPEN)
WRAP(CALL, __open64_2, own(&a), -1, OPEN)
WRAP(CALL, close, "", -1, EIO, EINTR, ENOSPC) /* it has closed all the same */
WRAP(CALL, read, "", -1, MOVE)
WRAP(CALL, write, "", -1, MOVE)
WRAP(CALL, __read_chk, "", -1, MOVE)
WRAP(CALL, pread64, "", -1, MOVE)
WRAP(CALL, pwrite64, "", -1, MOVE)
WRAP(CALL, opendir, TEXT(a), 0, OPEN, ENOMEM)
WRAP(CALL, readdir64, "", 0, EIO, ENOMEM)
WRAP(CALL, stat64, TEXT(a), -1, LOOK)
WRAP(CALL, lstat64, TEXT(a), -1, LOOK)
WRAP(CALL, fstat64, "", -1, LOOK)
WRAP(CALL, fstatat64, TEXT(b), -1, LOOK)
WRAP(CALL, access, TEXT(a), -1, LOOK)
WRAP(CALL, faccessat, TEXT(b), -1, LOOK)
WRAP(CALL, readlink, TEXT(a), -1, LOOK)
WRAP(CALL, realpath, TEXT(a), 0, LOOK)
WRAP(CALL, __realpath_chk, TEXT(a), 0, LOOK)
WRAP(CALL, mkdir, TEXT(a), -1, CHANGE)
WRAP(CALL, rmdir, TEXT(a), -1, CHANGE)
WRAP(CALL, unlink, TEXT(a), -1, CHANGE)
WRAP(CALL, unlinkat, TEXT(b), -1, CHANGE)
WRAP(CALL, linkat, TEXT(d), -1, CHANGE)
WRAP(CALL, link, TEXT(b), -1, CHANGE, EMLINK)
WRAP(CALL, rename, TEXT(b), -1, CHANGE, EXDEV)
WRAP(CALL, renameat2, TEXT(d), -1, CHANGE, ENOSYS)
WRAP(CALL, fchmod, "", -1, EIO, EPERM)
WRAP(CALL, fchown, "", -1, EIO, EPERM)
WRAP(CALL, futimens, "", -1, EIO, EPERM)
WRAP(CALL, ftruncate64, "", -1, EIO, EINTR)
WRAP(CALL, fallocate64, "", -1, ENOSPC, EOPNOTSUPP, EINTR)
WRAP(CALL, fstatfs64, "", -1, EIO, EINTR)
WRAP(CALL, mmap64, "", -1, ENOMEM, EINVAL, ENODEV)
WRAP(CALL, madvise, "", -1, EFAULT, EINVAL)
WRAP(CALL, fsync, "", -1, EIO, ENOSPC)
WRAP(CALL, fdatasync, "", -1, EIO, ENOSPC)
WRAP(CALL, syncfs, "", -1, EIO, ENOSPC)
WRAP(CALL, flock, "", -1, ENOLCK, EINTR, ENOLCK)

FILE* fopencookie(void* cookie, const char* mode, cookie_io_functions_t functions) {
    static const int list[] = {ENOMEM};
    static __typeof__(&fopencookie) next;
    if (next == NULL) *(void**)&next = dlsym(RTLD_NEXT, "fopencookie");
    const int error = fault(__builtin_return_address(0), CALL, "fopencookie", "", (Errors){list, 1});
    if (error == LAST) syscall(SYS_kill, syscall(SYS_getpid), SIGKILL);
    return error > 0 ? NULL : next(cookie, mode, functions);
}
