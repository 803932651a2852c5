/*
 * A patch agent of the old generation: it refuses to replace a file by an empty one.
 *
 * While it is loaded, the new version of each file that it is asked about waits in the directory that
 * KxuPatch.ini names, below the destination of the manifest's first item. The agent learns that directory
 * when it is asked for the path of a class, looks at the new version, and stops the run where it is empty: a
 * shelf must not be cleared by a transfer that broke off. The reason goes into `shelf.txt` in its working
 * directory.
 */
#include <ovpatch/patch_agent.h>
#include <stdio.h>
#include <string.h>

static const char REPORT[] = "shelf.txt";
static char staging[OVPATCH_PATH_SIZE];

/* Device paths may hold backslashes; the C library of a POSIX host wants slashes. */
static void to_host(char* path) {
#if !defined(_WIN32)
    for (; *path != '\0'; ++path) {
        if (*path == '\\') *path = '/';
    }
#else
    (void)path;
#endif
}

/* `<first><second>` as a path of the host. 0 when it does not fit. */
static int join(char* out, size_t size, const char* first, const char* second) {
    if (strlen(first) + strlen(second) + 1 > size) return 0;
    strcpy(out, first);
    strcat(out, second);
    to_host(out);
    return 1;
}

/* The key SOURCE of KxuPatch.ini below `destination`, its line end removed. */
static void read_source(const char* destination) {
    char name[OVPATCH_PATH_SIZE + 32];
    char line[OVPATCH_PATH_SIZE + 16];
    FILE* ini;
    if (staging[0] != '\0' || !join(name, sizeof name, destination, "\\OVSrc.tmp\\KxuPatch.ini")) return;
    ini = fopen(name, "r");
    if (ini == NULL) return;
    while (fgets(line, sizeof line, ini) != NULL) {
        line[strcspn(line, "\r\n")] = '\0';
        if (strncmp(line, "SOURCE=", 7) == 0 && strlen(line + 7) < sizeof staging) strcpy(staging, line + 7);
    }
    fclose(ini);
}

static const char* file_name(const char* path) {
    const char* name = path;
    for (; *path != '\0'; ++path) {
        if (*path == '\\' || *path == '/') name = path + 1;
    }
    return name;
}

/* Whether the new version of the file is there and empty. A rollback stages nothing. */
static int new_version_is_empty(const char* path) {
    char name[2 * OVPATCH_PATH_SIZE];
    FILE* file;
    int first;
    if (staging[0] == '\0' || !join(name, sizeof name, staging, file_name(path))) return 0;
    file = fopen(name, "rb");
    if (file == NULL) return 0;
    first = fgetc(file);
    fclose(file);
    return first == EOF;
}

void GetPatternPath(char* path) {
    read_source(path);
}
void GetEnginePath(char* path) {
    read_source(path);
}
void GetProductPath(char* path) {
    read_source(path);
}

int32_t IsRollback(void) {
    return 1;
}

int32_t StartPatch(uint32_t classMask) {
    (void)classMask;
    return OVPATCH_START_OK;
}

int32_t StartPattern(const char* itemZip) {
    (void)itemZip;
    return 1;
}

int32_t StartEngine(const char* itemZip) {
    (void)itemZip;
    return 1;
}

int32_t StartProduct(const char* itemZip) {
    (void)itemZip;
    return 1;
}

int32_t CheckFile(const char* path) {
    FILE* report;
    if (!new_version_is_empty(path)) return OVPATCH_FILE_GO_ON;
    report = fopen(REPORT, "a");
    if (report != NULL) {
        fprintf(report, "stopped, the new version is empty: %s\n", path);
        fclose(report);
    }
    return OVPATCH_FILE_STOP;
}

int32_t EndPattern(int32_t success, uint32_t from, uint32_t to) {
    (void)success;
    (void)from;
    (void)to;
    return 1;
}

int32_t EndEngine(int32_t success, uint32_t from, uint32_t to) {
    return EndPattern(success, from, to);
}

int32_t EndProduct(int32_t success, uint32_t from, uint32_t to) {
    return EndPattern(success, from, to);
}

int32_t EndPatch(int32_t lastAnswer) {
    (void)lastAnswer;
    return 1;
}
