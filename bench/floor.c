/*
 * The floor of the measurements: leaves what an update or a rollback leaves, by no more than the calls of the
 * system that this takes. It asks nobody, checks nothing, tells nothing and cannot be undone; what it
 * overwrites it saves by copying. bench.py builds it and runs
 *
 *   floor update SOURCE TARGET COPIES
 *     lays the files of each directory in SOURCE over TARGET; what was there goes to COPIES, and the list of
 *     both to COPIES/list
 *   floor rollback SOURCE TARGET COPIES
 *     goes back by that list, with a copy of each file first, as OvPatch makes one; what was there is renamed
 *   floor return SOURCE TARGET COPIES
 *     the same, but what was there is copied back, as it was copied away
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { SIZE = 1 << 20 };
static char buffer[SIZE];
static const char* copies;
static FILE* list;
static int saved;
static int returns;

static void check(int good, const char* path) {
    if (good) return;
    perror(path);
    exit(1);
}

/* `target` is made. */
static void copy(const char* source, const char* target) {
    struct stat state;
    const int from = open(source, O_RDONLY | O_CLOEXEC);
    check(from >= 0 && fstat(from, &state) == 0, source);
    const int to = open(target, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, state.st_mode & 0777);
    check(to >= 0, target);
    for (off_t done = 0; done < state.st_size;) {
        const ssize_t count = read(from, buffer, SIZE);
        check(count > 0 && write(to, buffer, (size_t)count) == count, target);
        done += count;
    }
    const struct timespec times[2] = {{0, UTIME_OMIT}, state.st_mtim};
    check(futimens(to, times) == 0 && close(to) == 0, target);
    close(from);
}

static void copyName(char* out, int number) {
    snprintf(out, PATH_MAX, "%s/%d", copies, number);
}

static void replace(const char* source, const char* target) {
    char whole[PATH_MAX + 8];
    snprintf(whole, sizeof whole, "%s.new", target);
    copy(source, whole);
    check(rename(whole, target) == 0, target);
}

static void updateFile(const char* source, const char* target) {
    char name[PATH_MAX];
    if (access(target, F_OK) == 0) {
        copyName(name, saved);
        copy(target, name);
        fprintf(list, "%d %s\n", saved++, target);
    } else {
        fprintf(list, "- %s\n", target);
    }
    replace(source, target);
}

static void updateTree(const char* source, const char* target) {
    DIR* directory = opendir(source);
    check(directory != NULL, source);
    for (struct dirent* entry; (entry = readdir(directory)) != NULL;) {
        char from[PATH_MAX];
        char to[PATH_MAX];
        if (entry->d_name[0] == '.') continue;
        snprintf(from, sizeof from, "%s/%s", source, entry->d_name);
        snprintf(to, sizeof to, "%s/%s", target, entry->d_name);
        if (entry->d_type == DT_DIR) {
            check(mkdir(to, 0777) == 0 || errno == EEXIST, to);
            updateTree(from, to);
        } else {
            updateFile(from, to);
        }
    }
    closedir(directory);
}

static void update(const char* source, const char* target) {
    DIR* items = opendir(source);
    check(items != NULL && (mkdir(copies, 0777) == 0 || errno == EEXIST), copies);
    for (struct dirent* entry; (entry = readdir(items)) != NULL;) {
        char item[PATH_MAX];
        snprintf(item, sizeof item, "%s/%s", source, entry->d_name);
        if (entry->d_name[0] != '.') updateTree(item, target);
    }
    closedir(items);
}

static void rollback(void) {
    char line[PATH_MAX + 16];
    char name[PATH_MAX];
    char safety[PATH_MAX + 8];
    int count = 0;
    for (; fgets(line, sizeof line, list) != NULL; ++count) {
        char* target = strchr(line, ' ') + 1;
        target[strcspn(target, "\n")] = '\0';
        snprintf(safety, sizeof safety, "%s/safety%d", copies, count);
        copy(target, safety);
        copyName(name, atoi(line));
        if (*line == '-') {
            check(unlink(target) == 0, target);
        } else if (returns) {
            replace(name, target);
            check(unlink(name) == 0, name);
        } else {
            check(rename(name, target) == 0, target);
        }
    }
    while (count > 0) {
        snprintf(safety, sizeof safety, "%s/safety%d", copies, --count);
        unlink(safety);
    }
}

int main(int count, char** arguments) {
    char path[PATH_MAX];
    if (count != 5) return 2;
    const int forward = strcmp(arguments[1], "update") == 0;
    returns = strcmp(arguments[1], "return") == 0;
    copies = arguments[4];
    if (forward) mkdir(copies, 0777);
    snprintf(path, sizeof path, "%s/list", copies);
    list = fopen(path, forward ? "we" : "re");
    check(list != NULL, path);
    if (forward)
        update(arguments[2], arguments[3]);
    else
        rollback();
    check(fclose(list) == 0 && (forward || unlink(path) == 0), path);
    return 0;
}
