/*
 * A patch agent that writes down what it is asked and answers as a test tells it.
 *
 * In the working directory it appends one record per call to "agent.calls", in the form of a log's record,
 * and reads its orders, when it is loaded, from "agent.orders", one a line:
 *
 *     <entry> <which call> <verb> <argument>
 *
 * The entry may be "Load" or "Unload" too. Which call: "*" is every one, "#2" the second call of that entry,
 * "~b.bin" one whose text ends in that. Verbs:
 *
 *     answer <n>     answer n instead of consent
 *     rewrite <text> put the text into the path buffer; "rewrite" alone fills it to its last byte
 *     show <path>    append what stands in that file now (line feeds as '^')
 *     write <path>   make that file, with "meanwhile" in it
 *     remove <path>  delete that file
 *     await <path>   go on only when that file is there
 *     die            end the process at once
 *     trace <path>   for "Load": append the calls to that file instead, a log for example
 *
 * Built several times: AGENT_OLD and AGENT_NEW choose the generations, AGENT_INCOMPLETE leaves out the last
 * entry. On Linux it calls the kernel itself, so that its own calls are none of those that a preloaded
 * library sees.
 */
#ifdef __linux__
#define _DEFAULT_SOURCE /* syscall */
#endif
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "ovpatch/patch_agent.h"

#ifdef __linux__
#include <sys/syscall.h>
#include <unistd.h>
#define O_BINARY 0
#define OPEN(path, flags) (int)syscall(SYS_openat, AT_FDCWD, path, flags, 0644)
#define READ(file, bytes, size) (int)syscall(SYS_read, file, bytes, size)
#define WRITE(file, bytes, size) (int)syscall(SYS_write, file, bytes, size)
#define CLOSE(file) (void)syscall(SYS_close, file)
#define REMOVE(path) (void)syscall(SYS_unlinkat, AT_FDCWD, path, 0)
#else
#include <io.h>
#define OPEN(path, flags) _open(path, flags, 0644)
#define READ(file, bytes, size) _read(file, bytes, (unsigned)(size))
#define WRITE(file, bytes, size) _write(file, bytes, (unsigned)(size))
#define CLOSE(file) (void)_close(file)
#define REMOVE(path) (void)_unlink(path)
#endif

enum { MAX_TEXT = 1024, MAX_ORDERS = 16384, MAX_WAIT_SECONDS = 60 };

static char orders[MAX_ORDERS];
static char callsPath[MAX_TEXT] = "agent.calls";

static const char* hostPath(const char* path) {
    static char host[MAX_TEXT];
    size_t i = 0;
    for (; path[i] != '\0' && i + 1 < sizeof host; ++i)
        host[i] = path[i] == '\\' ? '/' : path[i];
    host[i] = '\0';
    return host;
}

/* The length of the file, cut at the size less 1; -1 without one. */
static int readAll(const char* path, char* into, size_t size) {
    const int file = OPEN(hostPath(path), O_RDONLY | O_BINARY);
    const int length = file < 0 ? -1 : READ(file, into, size - 1);
    if (file >= 0) CLOSE(file);
    into[length < 0 ? 0 : length] = '\0';
    return length;
}

static void append(const char* path, const char* text) {
    const int file = OPEN(hostPath(path), O_WRONLY | O_CREAT | O_APPEND | O_BINARY);
    if (file >= 0 && WRITE(file, text, strlen(text)) >= 0) CLOSE(file);
}

#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
static void
record(const char* format, ...) {
    char text[MAX_TEXT * 4] = "\n\nCall:  P[0] T[0] \n";
    const size_t head = strlen(text);
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text + head, sizeof text - head, format, arguments);
    va_end(arguments);
    append(callsPath, text);
}

static int concerns(const char* which, const char* text, int number) {
    const size_t length = text != NULL ? strlen(text) : 0;
    const size_t end = strlen(which + 1);
    if (which[0] == '#') return atoi(which + 1) == number;
    return which[0] != '~' || (length >= end && strcmp(text + length - end, which + 1) == 0);
}

/* `buffer` is what "rewrite" changes and may be null. */
static void obey(const char* verb, const char* argument, char* buffer, int32_t* answer) {
    const time_t begin = time(NULL);
    char text[MAX_TEXT * 2] = "(none)";
    if (strcmp(verb, "answer") == 0) *answer = (int32_t)strtol(argument, NULL, 10);
    if (strcmp(verb, "rewrite") == 0 && buffer != NULL) {
        memset(buffer, 'x', OVPATCH_PATH_SIZE);
        if (*argument != '\0') strcpy(buffer, argument);
    }
    if (strcmp(verb, "show") == 0) {
        if (readAll(argument, text, sizeof text) < 0) strcpy(text, "(none)");
        for (; strchr(text, '\n') != NULL; *strchr(text, '\n') = '^') {
        }
        record("%s: %s", argument, text);
    }
    if (strcmp(verb, "write") == 0) append(argument, "meanwhile");
    if (strcmp(verb, "remove") == 0) REMOVE(hostPath(argument));
    while (strcmp(verb, "await") == 0 && readAll(argument, text, 2) < 0 &&
           time(NULL) - begin < MAX_WAIT_SECONDS) {
    }
    if (strcmp(verb, "die") == 0) _Exit(99);
    if (strcmp(verb, "trace") == 0) strcpy(callsPath, argument);
}

/* `text` is what "~" looks at and may be null; this is the n-th call of the entry. */
static int32_t decide(const char* entry, const char* text, char* buffer, int number, int32_t consent) {
    int32_t answer = consent;
    for (const char* line = orders; *line != '\0'; line += strlen(line) + 1) {
        char name[32], which[MAX_TEXT], verb[16], argument[MAX_TEXT] = "";
        if (sscanf(line, "%31s %1023s %15s%*1[ ]%1023[^\r]", name, which, verb, argument) < 3) continue;
        if (strcmp(name, entry) == 0 && concerns(which, text, number)) obey(verb, argument, buffer, &answer);
    }
    return answer;
}

__attribute__((constructor)) static void load(void) {
    char* end = orders;
    (void)readAll("agent.orders", orders, sizeof orders);
    while ((end = strchr(end, '\n')) != NULL)
        *end++ = '\0';
    (void)decide("Load", NULL, NULL, 1, 0);
}
__attribute__((destructor)) static void unload(void) {
    (void)decide("Unload", NULL, NULL, 1, 0);
}

/* An entry that looks at `text`, consents by that number and writes its arguments down by a format. */
#define ENTRY(name, parameters, text, consent, ...)          \
    int32_t name parameters {                                \
        static int number;                                   \
        record(#name "(" __VA_ARGS__);                       \
        return decide(#name, text, NULL, ++number, consent); \
    }
#define PATH_ENTRY(name)                       \
    void name(char* path) {                    \
        record(#name "(%s)", path);            \
        (void)decide(#name, path, path, 1, 0); \
    }
#define SHOWN(text) ((text) != NULL ? (text) : "null")
#define TRIPLE "{0x%x %u %d}"
#define FIELDS(version) (version)->number, (version)->build, (version)->spare

#ifdef AGENT_OLD
#define START_ENTRY(name) ENTRY(name, (const char* itemZip), itemZip, 1, "%s)", SHOWN(itemZip))
#define END_ENTRY(name) \
    ENTRY(name, (int32_t success, uint32_t from, uint32_t to), NULL, 1, "%d, 0x%x, 0x%x)", success, from, to)

PATH_ENTRY(GetPatternPath)
PATH_ENTRY(GetEnginePath)
PATH_ENTRY(GetProductPath)
ENTRY(IsRollback, (void), NULL, 1, ")")
ENTRY(StartPatch, (uint32_t classMask), NULL, 0, "%u)", classMask)
START_ENTRY(StartPattern)
START_ENTRY(StartEngine)
START_ENTRY(StartProduct)
END_ENTRY(EndPattern)
END_ENTRY(EndEngine)
END_ENTRY(EndProduct)
ENTRY(EndPatch, (int32_t lastAnswer), NULL, 1, "%d)", lastAnswer)
#ifndef AGENT_INCOMPLETE
ENTRY(CheckFile, (const char* path), path, 1, "%s)", path)
#endif
#endif

#ifdef AGENT_NEW
ENTRY(IsRollbackEx, (void), NULL, 1, ")")
ENTRY(StartAction, (void), NULL, 0, ")")
ENTRY(StartItem,
      (const char* itemZip, int32_t itemClass, int32_t itemType, uint32_t flags, const ItemVersion* from,
       const ItemVersion* to),
      itemZip, 1, "%s, %d, %d, %u, " TRIPLE ", " TRIPLE ")", SHOWN(itemZip), itemClass, itemType, flags,
      FIELDS(from), FIELDS(to))
ENTRY(EndItem, (int32_t success, const ItemVersion* from, const ItemVersion* to), NULL, 1,
      "%d, " TRIPLE ", " TRIPLE ")", success, FIELDS(from), FIELDS(to))
ENTRY(EndAction, (void), NULL, 1, ")")
#ifndef AGENT_INCOMPLETE
ENTRY(CheckFileEx, (const char* path), path, 1, "%s)", path)
#endif
#endif
