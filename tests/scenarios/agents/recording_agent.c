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

/* Writes one line down; `arguments` is formatted with what follows it. */
#define RECORD(entry, ...)              \
    do {                                \
        FILE* const out_ = calls();     \
        if (out_ != NULL) {             \
            fputs(entry "(", out_);     \
            fprintf(out_, __VA_ARGS__); \
            fputs(")\n", out_);         \
            fclose(out_);               \
        }                               \
    } while (0)

static const char* shown(const char* text) {
    return text != NULL ? text : "null";
}

__attribute__((constructor)) static void load(void) {
    (void)decide("Load", NULL, NULL, 0);
}
__attribute__((destructor)) static void unload(void) {
    (void)decide("Unload", NULL, NULL, 0);
}

#ifdef AGENT_OLD

#define PATH_ENTRY(name)                    \
    void name(char* path) {                 \
        RECORD(#name, "%s", path);          \
        (void)decide(#name, path, path, 0); \
    }
#define START_ENTRY(name)                       \
    int32_t name(const char* itemZip) {         \
        RECORD(#name, "%s", shown(itemZip));    \
        return decide(#name, itemZip, NULL, 1); \
    }
#define END_ENTRY(name)                                                              \
    int32_t name(int32_t success, uint32_t from, uint32_t to) {                      \
        RECORD(#name, "%d, 0x%x, 0x%x", (int)success, (unsigned)from, (unsigned)to); \
        return decide(#name, NULL, NULL, 1);                                         \
    }

PATH_ENTRY(GetPatternPath)
PATH_ENTRY(GetEnginePath)
PATH_ENTRY(GetProductPath)
START_ENTRY(StartPattern)
START_ENTRY(StartEngine)
START_ENTRY(StartProduct)
END_ENTRY(EndPattern)
END_ENTRY(EndEngine)
END_ENTRY(EndProduct)

int32_t IsRollback(void) {
    RECORD("IsRollback", "%s", "");
    return decide("IsRollback", NULL, NULL, 1);
}

int32_t StartPatch(uint32_t classMask) {
    RECORD("StartPatch", "%u", (unsigned)classMask);
    return decide("StartPatch", NULL, NULL, 0);
}

int32_t EndPatch(int32_t lastAnswer) {
    RECORD("EndPatch", "%d", (int)lastAnswer);
    return decide("EndPatch", NULL, NULL, 1);
}

#ifndef AGENT_INCOMPLETE
int32_t CheckFile(const char* path) {
    RECORD("CheckFile", "%s", path);
    return decide("CheckFile", path, NULL, 1);
}
#endif

#endif

#ifdef AGENT_NEW

#define TRIPLE "{0x%x %u %d}"
#define FIELDS(version) (unsigned)(version)->number, (unsigned)(version)->build, (int)(version)->spare

int32_t IsRollbackEx(void) {
    RECORD("IsRollbackEx", "%s", "");
    return decide("IsRollbackEx", NULL, NULL, 1);
}

int32_t StartAction(void) {
    RECORD("StartAction", "%s", "");
    return decide("StartAction", NULL, NULL, 0);
}

int32_t StartItem(const char* itemZip, int32_t itemClass, int32_t itemType, uint32_t flags,
                  const ItemVersion* from, const ItemVersion* to) {
    RECORD("StartItem", "%s, %d, %d, %u, " TRIPLE ", " TRIPLE, shown(itemZip), (int)itemClass, (int)itemType,
           (unsigned)flags, FIELDS(from), FIELDS(to));
    return decide("StartItem", itemZip, NULL, 1);
}

int32_t EndItem(int32_t success, const ItemVersion* from, const ItemVersion* to) {
    RECORD("EndItem", "%d, " TRIPLE ", " TRIPLE, (int)success, FIELDS(from), FIELDS(to));
    return decide("EndItem", NULL, NULL, 1);
}

int32_t EndAction(void) {
    RECORD("EndAction", "%s", "");
    return decide("EndAction", NULL, NULL, 1);
}

#ifndef AGENT_INCOMPLETE
int32_t CheckFileEx(const char* path) {
    RECORD("CheckFileEx", "%s", path);
    return decide("CheckFileEx", path, NULL, 1);
}
#endif

#endif
