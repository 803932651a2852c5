/* An agent, in C and in C++, that agrees to everything and writes each call into trace.txt. */
#include <ovpatch/patch_agent.h>
#include <stdio.h>

static int32_t trace(const char* entry, const char* text, int32_t first, int32_t second,
                     const ItemVersion* from, const ItemVersion* to) {
    FILE* file = fopen("trace.txt", "a");
    if (file == NULL) return 0;
    fprintf(file, "%s(%s, %d, %d, %x, %x)\n", entry, text, (int)first, (int)second,
            from != NULL ? (unsigned)from->number : 0u, to != NULL ? (unsigned)to->number : 0u);
    return fclose(file) == 0 ? 1 : 0;
}

int32_t IsRollbackEx(void) {
    return trace("IsRollbackEx", "", 0, 0, NULL, NULL);
}

int32_t StartAction(void) {
    return trace("StartAction", "", 0, 0, NULL, NULL) ? OVPATCH_START_OK : OVPATCH_START_FAILED;
}

int32_t StartItem(const char* itemZip, int32_t itemClass, int32_t itemType, uint32_t flags,
                  const ItemVersion* from, const ItemVersion* to) {
    return flags == 0 ? trace("StartItem", itemZip, itemClass, itemType, from, to) : 0;
}

int32_t CheckFileEx(const char* path) {
    return trace("CheckFileEx", path, 0, 0, NULL, NULL) ? OVPATCH_FILE_GO_ON : OVPATCH_FILE_STOP;
}

int32_t EndItem(int32_t success, const ItemVersion* from, const ItemVersion* to) {
    return trace("EndItem", "", success, 0, from, to);
}

int32_t EndAction(void) {
    return trace("EndAction", "", 0, 0, NULL, NULL);
}
