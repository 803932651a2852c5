/*
 * A patch agent of the new generation: it leaves alone every file that the product has marked as pinned.
 *
 * A file is pinned by an empty file of the same name with `.pinned` behind it, in the same directory. For
 * each pinned file that an update or a rollback would have touched, the agent writes a line into `pinned.txt`
 * in its working directory, so that an engineer who wonders about an old file on a device finds the reason
 * there.
 *
 * An item is refused whole while a file `<item.zip>.veto` exists.
 */
#include <ovpatch/patch_agent.h>
#include <stdio.h>
#include <string.h>

static const char REPORT[] = "pinned.txt";
static const char* doing = "update";

/* Device paths may hold backslashes; the C library of a POSIX host wants slashes. 0 when the path does not
 * fit. */
static int host_path(char* out, size_t size, const char* path, const char* suffix) {
    size_t length = strlen(path);
    size_t i;
    if (length + strlen(suffix) + 1 > size) return 0;
    for (i = 0; i < length; ++i)
        out[i] = path[i];
    strcpy(out + length, suffix);
#if !defined(_WIN32)
    for (i = 0; out[i] != '\0'; ++i) {
        if (out[i] == '\\') out[i] = '/';
    }
#endif
    return 1;
}

static int exists(const char* path, const char* suffix) {
    char name[OVPATCH_PATH_SIZE + 16];
    FILE* file;
    if (!host_path(name, sizeof name, path, suffix)) return 0;
    file = fopen(name, "rb");
    if (file == NULL) return 0;
    fclose(file);
    return 1;
}

static void report(const char* what, const char* path) {
    FILE* file = fopen(REPORT, "a");
    if (file == NULL) return;
    fprintf(file, "%s: %s %s\n", doing, what, path);
    fclose(file);
}

int32_t IsRollbackEx(void) {
    return 1;
}

int32_t StartAction(void) {
    return OVPATCH_START_OK;
}

int32_t StartItem(const char* itemZip, int32_t itemClass, int32_t itemType, uint32_t flags,
                  const ItemVersion* from, const ItemVersion* to) {
    (void)itemClass;
    (void)itemType;
    (void)from;
    (void)to;
    doing = (flags & OVPATCH_ITEM_ROLLBACK) != 0 ? "rollback" : "update";
    if (itemZip != NULL && itemZip[0] != '\0' && exists(itemZip, ".veto")) {
        report("item vetoed,", itemZip);
        return 0;
    }
    return 1;
}

int32_t CheckFileEx(const char* path) {
    if (!exists(path, ".pinned")) return OVPATCH_FILE_GO_ON;
    report("left alone, pinned:", path);
    return OVPATCH_FILE_SKIP;
}

int32_t EndItem(int32_t success, const ItemVersion* from, const ItemVersion* to) {
    (void)success;
    (void)from;
    (void)to;
    return 1;
}

int32_t EndAction(void) {
    return 1;
}
