/*
 * A patch agent that writes down what it is asked and answers as a test tells it.
 *
 * In the working directory it appends one line per call to "agent.calls", the arguments as they came, and
 * reads its orders from "agent.script", one a line:
 *
 *     <entry> <which call> <verb> <argument>
 *
 * The entry may be "Load" or "Unload" too. Which call: "*" is every one, "#2" the second call of that entry,
 * "~b.bin" one whose text ends in that. Verbs:
 *
 *     answer <n>     answer n instead of consent
 *     rewrite <text> put the text into the path buffer
 *     show <path>    append what stands in that file now (line feeds as '|')
 *     remove <path>  delete that file
 *     await <path>   go on only when that file is there
 *     abort          die
 *
 * Built several times: AGENT_OLD and AGENT_NEW choose the generations, AGENT_INCOMPLETE leaves out the last
 * entry.
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "ovpatch/patch_agent.h"

typedef struct Call {
    const char* entry;
    const char* text; /* what "~" looks at; may be null */
    char* buffer;     /* what "rewrite" changes; may be null */
    int number;       /* this is the n-th call of the entry */
    int32_t answer;
} Call;

enum { MAX_ENTRIES = 24, MAX_PATH_TEXT = 512, MAX_WAIT_SECONDS = 60 };

static FILE* openDevicePath(const char* path, int removeIt) {
    char host[MAX_PATH_TEXT];
    size_t i;
    for (i = 0; path[i] != '\0' && i + 1 < sizeof host; ++i)
        host[i] = path[i] == '\\' ? '/' : path[i];
    host[i] = '\0';
    if (removeIt) (void)remove(host);
    return fopen(host, "rb");
}

static int timesCalled(const char* entry) {
    static const char* names[MAX_ENTRIES];
    static int counts[MAX_ENTRIES];
    int i = 0;
    while (i < MAX_ENTRIES - 1 && names[i] != NULL && strcmp(names[i], entry) != 0)
        ++i;
    names[i] = entry;
    return ++counts[i];
}

#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
static void
record(const char* entry, const char* format, ...);

static FILE* calls(void) {
    return fopen("agent.calls", "ab");
}

static void show(const char* path) {
    FILE* const out = calls();
    FILE* const in = openDevicePath(path, 0);
    int byte;
    if (out == NULL) return;
    fprintf(out, "  %s: ", path);
    if (in == NULL) fputs("(none)", out);
    while (in != NULL && (byte = fgetc(in)) != EOF) {
        if (byte != '\r') fputc(byte == '\n' ? '|' : byte, out);
    }
    if (in != NULL) fclose(in);
    fputc('\n', out);
    fclose(out);
}

static void await(const char* path) {
    const time_t begin = time(NULL);
    FILE* file = NULL;
    while ((file = openDevicePath(path, 0)) == NULL && time(NULL) - begin < MAX_WAIT_SECONDS) {
    }
    if (file != NULL) fclose(file);
}

static int concerns(const Call* call, const char* which) {
    const size_t textLength = call->text != NULL ? strlen(call->text) : 0;
    if (which[0] == '#') return atoi(which + 1) == call->number;
    if (which[0] != '~') return 1;
    return textLength >= strlen(which + 1) &&
           strcmp(call->text + textLength - strlen(which + 1), which + 1) == 0;
}

static void obey(Call* call, const char* verb, const char* argument) {
    if (strcmp(verb, "answer") == 0) call->answer = (int32_t)strtol(argument, NULL, 10);
    if (strcmp(verb, "show") == 0) show(argument);
    if (strcmp(verb, "remove") == 0) (void)openDevicePath(argument, 1);
    if (strcmp(verb, "await") == 0) await(argument);
    if (strcmp(verb, "abort") == 0) abort();
    if (strcmp(verb, "rewrite") == 0 && call->buffer != NULL && strlen(argument) < OVPATCH_PATH_SIZE) {
        strcpy(call->buffer, argument);
    }
}

static int32_t decide(const char* entry, const char* text, char* buffer, int32_t consent) {
    char line[MAX_PATH_TEXT * 2];
    Call call = {NULL, NULL, NULL, 0, 0};
    FILE* const script = fopen("agent.script", "rb");
    call.entry = entry;
    call.text = text;
    call.buffer = buffer;
    call.number = timesCalled(entry);
    call.answer = consent;
    while (script != NULL && fgets(line, sizeof line, script) != NULL) {
        char name[32], which[MAX_PATH_TEXT], verb[16], argument[MAX_PATH_TEXT] = "";
        if (sscanf(line, "%31s %511s %15s %511[^\r\n]", name, which, verb, argument) < 3) continue;
        if (strcmp(name, entry) == 0 && concerns(&call, which)) obey(&call, verb, argument);
    }
    if (script != NULL) fclose(script);
    return call.answer;
}

static void record(const char* entry, const char* format, ...) {
    FILE* const out = calls();
    va_list arguments;
    if (out == NULL) return;
    va_start(arguments, format);
    fprintf(out, "%s(", entry);
    vfprintf(out, format, arguments);
    fputs(")\n", out);
    va_end(arguments);
    fclose(out);
}

__attribute__((constructor)) static void load(void) {
    (void)decide("Load", NULL, NULL, 0);
}
__attribute__((destructor)) static void unload(void) {
    (void)decide("Unload", NULL, NULL, 0);
}

/* An entry that looks at `text`, consents by that number and writes its arguments down by a format. */
#define ENTRY(name, parameters, text, consent, ...) \
    int32_t name parameters {                       \
        record(#name, __VA_ARGS__);                 \
        return decide(#name, text, NULL, consent);  \
    }
#define PATH_ENTRY(name)                    \
    void name(char* path) {                 \
        record(#name, "%s", path);          \
        (void)decide(#name, path, path, 0); \
    }
#define SHOWN(text) ((text) != NULL ? (text) : "null")
#define TRIPLE "{0x%x %u %d}"
#define FIELDS(version) (version)->number, (version)->build, (version)->spare

#ifdef AGENT_OLD
#define START_ENTRY(name) ENTRY(name, (const char* itemZip), itemZip, 1, "%s", SHOWN(itemZip))
#define END_ENTRY(name) \
    ENTRY(name, (int32_t success, uint32_t from, uint32_t to), NULL, 1, "%d, 0x%x, 0x%x", success, from, to)

PATH_ENTRY(GetPatternPath)
PATH_ENTRY(GetEnginePath)
PATH_ENTRY(GetProductPath)
ENTRY(IsRollback, (void), NULL, 1, "%s", "")
ENTRY(StartPatch, (uint32_t classMask), NULL, 0, "%u", classMask)
START_ENTRY(StartPattern)
START_ENTRY(StartEngine)
START_ENTRY(StartProduct)
END_ENTRY(EndPattern)
END_ENTRY(EndEngine)
END_ENTRY(EndProduct)
ENTRY(EndPatch, (int32_t lastAnswer), NULL, 1, "%d", lastAnswer)
#ifndef AGENT_INCOMPLETE
ENTRY(CheckFile, (const char* path), path, 1, "%s", path)
#endif
#endif

#ifdef AGENT_NEW
ENTRY(IsRollbackEx, (void), NULL, 1, "%s", "")
ENTRY(StartAction, (void), NULL, 0, "%s", "")
ENTRY(StartItem,
      (const char* itemZip, int32_t itemClass, int32_t itemType, uint32_t flags, const ItemVersion* from,
       const ItemVersion* to),
      itemZip, 1, "%s, %d, %d, %u, " TRIPLE ", " TRIPLE, SHOWN(itemZip), itemClass, itemType, flags,
      FIELDS(from), FIELDS(to))
ENTRY(EndItem, (int32_t success, const ItemVersion* from, const ItemVersion* to), NULL, 1,
      "%d, " TRIPLE ", " TRIPLE, success, FIELDS(from), FIELDS(to))
ENTRY(EndAction, (void), NULL, 1, "%s", "")
#ifndef AGENT_INCOMPLETE
ENTRY(CheckFileEx, (const char* path), path, 1, "%s", path)
#endif
#endif
