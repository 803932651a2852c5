/*
 * The contract between OvPatch and a product's patch agent.
 *
 * A patch agent is a shared library that belongs to the product being updated. The manifest names it
 * (`patchagent`) and says which of two generations of entries it exports (`patchagent.version`: 0 old, 1
 * new). OvPatch loads it before the first call and frees it after the last, all within one process and one
 * thread.
 *
 * An agent exports ALL entries of its generation, under the plain C names below. If the library cannot be
 * loaded, or lacks a single one of them, none of its entries is called and the run goes on as if every
 * question had been answered with consent.
 *
 * Text is zero-terminated, in the device's multi-byte code page, and belongs to OvPatch: it is good until the
 * entry returns. A path is at most 259 bytes long, terminator not counted, and is device text: its separators
 * are backslashes (a `destination` comes as the manifest spells it), on a POSIX host too, where an agent
 * turns them into slashes before it opens a file. Numbers are 32 bits wide.
 *
 * What an entry must not do: throw, end the process, or start OvPatch (it would wait for this run). It must
 * not touch what lies in an OV_Backup directory, nor, while files are being asked about, add, remove or
 * rename files of the item in the work area and at its destination.
 *
 * A run that fails after it was opened is undone: item by item, in the order in which they were done, with a
 * start and an end that carry the versions exchanged, and no question about files. There the answers count
 * for less. New generation: a StartItem or EndItem that answers 0 is ignored. Old generation: a start that
 * answers 0 is followed by its end with success 0; if that answers 0 too, the undoing ENDS there, and this
 * item and all later ones stay as they are; otherwise the files are put back and the end with success 1
 * follows as well. An end with success 1 that answers 0 is ignored.
 */
#ifndef OVPATCH_PATCH_AGENT_H
#define OVPATCH_PATCH_AGENT_H

#include <stdint.h>

#if defined(_WIN32)
#define OVPATCH_AGENT_EXPORT __declspec(dllexport)
#elif defined(__GNUC__)
#define OVPATCH_AGENT_EXPORT __attribute__((visibility("default")))
#else
#define OVPATCH_AGENT_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Size of a path buffer in bytes, terminator included. */
#define OVPATCH_PATH_SIZE 260

/* The classes of items, as `itemClass` tells them. */
#define OVPATCH_CLASS_PRODUCT 1
#define OVPATCH_CLASS_ENGINE 2
#define OVPATCH_CLASS_PATTERN 3

/* The bits of StartPatch's class mask. Note that they do not follow the class numbers. */
#define OVPATCH_MASK_PATTERN 1u
#define OVPATCH_MASK_ENGINE 2u
#define OVPATCH_MASK_PRODUCT 4u

/* The bits of StartItem's flags. */
#define OVPATCH_ITEM_FORCE 1u    /* `forceupdate` was set for this item or one before it in the run */
#define OVPATCH_ITEM_ROLLBACK 2u /* the item is being rolled back, on request or after a failure */

/* Answers of StartPatch and StartAction. Every other number means "go on". */
#define OVPATCH_START_OK 0
#define OVPATCH_START_FAILED 1 /* end the run before any file is touched: result 60 */
#define OVPATCH_START_CLOSE_PROGRAM \
    2 /* a program must be closed first: result 60 of an update, 3 of a rollback */

/* Answers of CheckFile and CheckFileEx. Any other number: an update logs it and acts as after 1; a rollback
 * acts as it did for the file before, for an item's first file as after 1. */
#define OVPATCH_FILE_GO_ON 1
#define OVPATCH_FILE_SKIP 0         /* leave this file as it is; the item goes on */
#define OVPATCH_FILE_STOP (-1)      /* stop here; the whole run is undone: result 60 */
#define OVPATCH_FILE_STOP_DIFF (-2) /* as STOP; but for a file that a rollback would delete: as SKIP */

/* A version. For Pattern items `number` is the plain number; for the others the major number stands in the
 * high 16 bits and up to four fraction digits, left-aligned, one hexadecimal digit each, in the low 16: "1.5"
 * is 0x00015000, "1.05" is 0x00010500. */
typedef struct ItemVersion {
    uint32_t number;
    uint32_t build; /* 0 when there is none; always 0 for Pattern items */
    int32_t spare;  /* always 0 */
} ItemVersion;

/* ---- Old generation: 13 entries ----
 *
 * Order of an update: GetPatternPath, GetEnginePath, GetProductPath (each only if such an item exists),
 * IsRollback, StartPatch; for each item its class's Start, one CheckFile per file, its class's End; EndPatch,
 * only if every item succeeded. A rollback asks in the same order.
 *
 * While the library is loaded it finds on disk, below the `destination` of the manifest's first item:
 *   OVSrc.tmp\KxuPatch.ini  section MAIN, key SOURCE: the directory OVSrc.tmp\
 *   OVSrc.tmp\<file name>   in an update, the new version of the file that CheckFile asks about (below the
 *                           `destination` of the file's own item, where those differ)
 *   PatchDll.ini            a copy of the agent's own .ini file, if there is one; also in the base directory
 */

/* May change the directory, in place, to which the files of its class will be copied by an update; a rollback
 * only logs what it reads there. `path` is a buffer of OVPATCH_PATH_SIZE bytes that holds the `destination`
 * of the first such item. */
OVPATCH_AGENT_EXPORT void GetPatternPath(char* path);
OVPATCH_AGENT_EXPORT void GetEnginePath(char* path);
OVPATCH_AGENT_EXPORT void GetProductPath(char* path);

/* 0: no rollback wanted. It ends a rollback with result 60; an update only logs it. */
OVPATCH_AGENT_EXPORT int32_t IsRollback(void);

/* Opens the run. `classMask` tells which classes the manifest holds. Answers: OVPATCH_START_... */
OVPATCH_AGENT_EXPORT int32_t StartPatch(uint32_t classMask);

/* Opens an item. `itemZip` is the manifest's `item.zip`, null when it has none, "" while a failed run is
 * undone. 0: failed; the class's End follows at once with success 0, and the run is undone. */
OVPATCH_AGENT_EXPORT int32_t StartPattern(const char* itemZip);
OVPATCH_AGENT_EXPORT int32_t StartEngine(const char* itemZip);
OVPATCH_AGENT_EXPORT int32_t StartProduct(const char* itemZip);

/* Asks about one file, by its path at its destination, before it is touched. Answers: OVPATCH_FILE_... */
OVPATCH_AGENT_EXPORT int32_t CheckFile(const char* path);

/* Closes an item. `success` is 0 or 1; `from` and `to` are the ItemVersion numbers of the item, exchanged
 * while a failed run is undone. For Pattern items they are shifted left by 16 bits, and with an item type of
 * 4 or less a number of 1000 or more is first divided by 100 and taken modulo 1000. 0: failed; the run is
 * undone. */
OVPATCH_AGENT_EXPORT int32_t EndPattern(int32_t success, uint32_t from, uint32_t to);
OVPATCH_AGENT_EXPORT int32_t EndEngine(int32_t success, uint32_t from, uint32_t to);
OVPATCH_AGENT_EXPORT int32_t EndProduct(int32_t success, uint32_t from, uint32_t to);

/* Closes a run in which every item succeeded; `lastAnswer` is the answer of the last End. Its own answer is
 * ignored. */
OVPATCH_AGENT_EXPORT int32_t EndPatch(int32_t lastAnswer);

/* ---- New generation: 6 entries ----
 *
 * Order of an update: StartAction; for each item StartItem, one CheckFileEx per file, EndItem; EndAction,
 * also after a failure. Order of a rollback: IsRollbackEx, then the same, but without EndAction after a
 * failure.
 */

/* Asked before a rollback. 0: refused; result 60. */
OVPATCH_AGENT_EXPORT int32_t IsRollbackEx(void);

/* Opens the run. Answers: OVPATCH_START_... */
OVPATCH_AGENT_EXPORT int32_t StartAction(void);

/* Opens an item. `itemZip` as for StartPattern. `flags`: OVPATCH_ITEM_... `from` and `to`: the item's
 * versions, exchanged while a failed run is undone; good until the entry returns. 0: failed; EndItem follows
 * at once with success 0, and the run is undone. */
OVPATCH_AGENT_EXPORT int32_t StartItem(const char* itemZip, int32_t itemClass, int32_t itemType,
                                       uint32_t flags, const ItemVersion* from, const ItemVersion* to);

/* Asks about one file, by its path at its destination, before it is touched. Answers: OVPATCH_FILE_... */
OVPATCH_AGENT_EXPORT int32_t CheckFileEx(const char* path);

/* Closes an item. 0: failed; the run is undone. */
OVPATCH_AGENT_EXPORT int32_t EndItem(int32_t success, const ItemVersion* from, const ItemVersion* to);

/* Closes the run. Its answer is ignored. */
OVPATCH_AGENT_EXPORT int32_t EndAction(void);

#ifdef __cplusplus
}
#endif

#endif
