"""How each log line of the tables of results is provoked."""

import os
import re
import subprocess
import tempfile
from pathlib import Path

# Answers what the environment says under the entry's name. GetEnginePath leaves no terminator if told to.
ANSWERING_AGENT = """
#include <ovpatch/patch_agent.h>
#include <stdlib.h>
#include <string.h>
static int32_t answer(const char* entry, int32_t usual) {
    const char* text = getenv(entry);
    return text == NULL ? usual : atoi(text);
}
#define ENTRY(name, usual, ...) int32_t name(__VA_ARGS__) { return answer(#name, usual); }
#define START const char* itemZip
#define END int32_t success, uint32_t from, uint32_t to
ENTRY(StartPatch, 0, uint32_t mask) ENTRY(EndPatch, 1, int32_t last) ENTRY(IsRollback, 1, void)
ENTRY(StartPattern, 1, START) ENTRY(StartEngine, 1, START) ENTRY(StartProduct, 1, START)
ENTRY(EndPattern, 1, END) ENTRY(EndEngine, 1, END) ENTRY(EndProduct, 1, END)
ENTRY(CheckFile, 1, const char* path) ENTRY(CheckFileEx, 1, const char* path)
ENTRY(IsRollbackEx, 1, void) ENTRY(StartAction, 0, void) ENTRY(EndAction, 1, void)
ENTRY(StartItem, 1, const char* itemZip, int32_t itemClass, int32_t itemType, uint32_t flags,
      const ItemVersion* from, const ItemVersion* to)
ENTRY(EndItem, 1, int32_t success, const ItemVersion* from, const ItemVersion* to)
void GetPatternPath(char* path) { (void)path; }
void GetProductPath(char* path) { (void)path; }
void GetEnginePath(char* path) { if (answer("GetEnginePath", 0)) memset(path, 'x', OVPATCH_PATH_SIZE); }
"""

# Memory is not made to run out here.
UNPROVOKED = ["initBackupStru: malloc failed.", "updateWithPatchAgent: malloc for blist dest failed."]

OLD = {"patchagent.version": "0"}
LONG = "d" * 100 + "\\" + "d" * 100 + "\\" + "d" * 80
IN_THE_WAY = "rm -rf engine/OV_Backup/2; mkdir -p engine/OV_Backup; echo x >engine/OV_Backup/2"


def case(common=None, item=None, before="", items=1, **answers):
    return common or {}, item or {}, before, items, answers


def rollback(common=None, item=None, before="", **answers):
    """A rollback of an update that went well."""
    return case({"action": "1", **(common or {})}, item, before, **answers)


def ledger(line):
    return f"sed -i '{line}' engine/OV_Backup/OvBackup.ini"


# What differs from a plain update, in which one file is new and one is overwritten; None takes a key away.
CASES = {
    "loadSharedObj: filename is empty.": case({"patchagent": None}),
    "loadSharedObj: %s failed.": case({"patchagent": "nowhere.so"}),
    "callBackForUpdate: check file user skip this file": case(CheckFileEx=0),
    "callBackForUpdate: check file return unknown value.": case(CheckFileEx=7),
    "rollbackItem:unknown action for checkfile.": rollback(CheckFileEx=7),
    "updateWithPatchAgent: patch agent want not to rollback.": case(OLD, IsRollback=0),
    "Copy to old ov temp failed": case(OLD, before="mkdir engine/OVSrc.tmp; echo >engine/OVSrc.tmp/eng.dll; chmod a-w engine/OVSrc.tmp/*"),
    "phaseIniForBackup: item has no backuped files.": rollback(before=ledger("/filecount/d")),
    "OvPatch: ovcfg.ini cannot be read.": case(before="mkdir device/ovcfg.ini"),
    "Merge backup ini faild": case(before="mkdir -p engine/OV_Backup; echo x >engine/OV_Backup/OvBackup.ini"),
    "mergeBackupIni: transaction of %u items does not fit.": case(OLD, items=100),
    "rollbackWithPatchAgent: start action close program needed.": rollback(StartAction=2),
    "rollbackWithPatchAgent: start patch close program needed.": rollback(OLD, StartPatch=2),
    "update: ovpatch ini contains no items.": case({"itemcount": "0"}),
    "rollback: ovpatch contains no items.": rollback({"itemcount": "none"}),
    "phaseIniForUpdate: fetch item count failed.": case({"itemcount": None}),
    "phaseIniForUpdate: fetch old/new patchagent failed.": case({"patchagent.version": None}),
    "phaseIniForUpdate: fetch orvelle full path failed.": case({"orvelle_path": None}),
    "phaseIniForUpdate: malloc failed.": case({"itemcount": "-1"}),
    "phaseIniForUpdate: fetch class failed.": case({"itemcount": "2"}),
    "phaseIniForUpdate: fetch type failed.": case(item={"type": None}),
    "phaseIniForUpdate: fetch origin version failed.": case(item={"origin.version": None}),
    "phaseIniForUpdate: fetch result version failed.": case(item={"result.version": None}),
    "phaseIniForUpdate: fetch destination failed.": case(item={"destination": None}),
    "update: unknown patch agent version number.": case({"patchagent.version": "2"}),
    "rollback: unkown patch agent version number.": rollback({"patchagent.version": "2"}),
    "updateWithPatchAgent: path does not fit.": case(item={"destination": LONG}),
    "updateWithPatchAgent: xcopy failed, bad parameters.": case(item={"destination": "missing"}),
    "updateWithPatchAgent: destination does not fit, GetEnginePath not called.": case(OLD, {"destination": LONG}),
    "updateWithPatchAgent: path of GetEnginePath does not fit.": case(OLD, GetEnginePath=1),
    "rollbackWithPatchAgent: bad arguments.": rollback(item={"destination": LONG}),
    "updateWithPatchAgent: xcopy failed, disk access.": case(before="chmod a-w engine/eng.dll"),
    "OvPatch: %s cannot be read, error %u.": case(before="mkdir device/OV_Temp/2/31/" + "d" * 238),
    "callBackForUpdate: crtUniFile failed.": case(before=IN_THE_WAY),
    "callBackForUpdate: target path does not fit.": case(item={"destination": LONG[:254] + "\\"}),
    "callBackForUpdate: the ledger cannot hold this path.": case(before="touch 'device/OV_Temp/2/31/x '"),
    "rollbackItem: %s doesnot exist.": rollback(before="rm -r engine/OV_Backup"),
    "rollbackItem: phaseIniForBackup failed.": rollback(before=ledger("/itemcount/d")),
    "rollbackItem: item not found.": rollback(item={"type": "20"}),
    "rollbackItem: crtUniFile failed.": rollback(before=IN_THE_WAY),
    "rollbackItem: path does not fit.": rollback(before=ledger("s/added.0=/&" + "d" * 260 + "/")),
    "OvPatch: %s cannot be read.": case(before="cd device/OV_Temp; rm OvPatch.ini; mkdir OvPatch.ini"),
    "OvPatch fetch (common:action) failed.": case({"action": None}),
    "OvPatch Unknown action.": case({"action": "3"}),
    "updateWithPatchAgent: start action failed.": case(StartAction=1),
    "updateWithPatchAgent: start action, need close program.": case(StartAction=2),
    "updateWithPatchAgent: start patch failed.": case(OLD, StartPatch=1),
    "updateWithPatchAgent: start patch, need close program.": case(OLD, StartPatch=2),
    "updateWithPatchAgent: start item failed.": case(StartItem=0),
    "startEachItem: unknown class.": case(OLD, {"class": "9"}),
    "updateWithPatchAgent: user cancel this": case(CheckFileEx=-2),
    "updateWithPatchAgent: end item failed.": case(EndItem=0),
    "rollback: patch agent refused to rollback.": rollback(IsRollbackEx=0),
    "rollbackWithPatchAgent: patch agent want not to rollback.": rollback(OLD, IsRollback=0),
    "rollbackWithPatchAgent: start action failed.": rollback(StartAction=1),
    "rollbackWithPatchAgent: start patch failed.": rollback(OLD, StartPatch=1),
    "rollbackWithPatchAgent: start item failed.": rollback(StartItem=0),
    "rollbackWithPatchAgent: user cancel.": rollback(CheckFileEx=-2),
    "rollbackWithPatchAgent: end item failed.": rollback(EndItem=0),
}


def manifest(place, common, item, items):
    sections = [("common", {"action": "0", "itemcount": str(items), "patchagent.version": "1",
                            "patchagent": "device\\agent.so", "orvelle_path": "device", **common})]
    for n in range(items):
        sections.append((f"item_{n}", {"class": "2", "type": f"{31 + n:x}", "origin.version": "1.0",
                                       "result.version": "1.1", "destination": "engine", **item}))
    lines = []
    for name, keys in sections:
        lines += [f"[{name}]"] + [f"{key}={value}" for key, value in keys.items() if value is not None]
    (place / "device/OV_Temp/OvPatch.ini").write_text("\n".join(lines) + "\n")


def provoke(line, agent, program):
    """The result, and the log's records without their heads and line breaks."""
    common, item, before, items, answers = CASES[line]
    with tempfile.TemporaryDirectory(prefix="ovpatch-docs.") as name:
        place = Path(name)
        subprocess.run(["bash", "-eu", "-c", "mkdir -p engine device/OV_Temp/2/31; echo old >engine/eng.dll; "
                        f"for f in eng new; do echo $f >device/OV_Temp/2/31/$f.dll; done; cp {agent} device/agent.so"],
                       cwd=place, check=True)

        def run(environment):
            subprocess.run([program, "device"], cwd=place, env=environment, check=True, timeout=60)

        if common.get("action") == "1":
            manifest(place, {}, {}, 1)
            run(os.environ)
            (place / "device/OV_Log/KxuDump.txt").unlink()
        manifest(place, common, item, items)
        subprocess.run(["bash", "-eu", "-c", before], cwd=place, check=True)
        run({**os.environ, **{entry: str(value) for entry, value in answers.items()}})
        result = (place / "device/OV_Temp/OvResult.ini").read_text()
        log = (place / "device/OV_Log/KxuDump.txt").read_text()
        records = [text.partition("\n")[2].replace("\n", "") for text in re.split("\n\n+", log)]
        return int(result.partition("=")[2]), records
