"""Judges runs of the program, whatever they were about, by what was laid out and what they left.

It knows no step of the program: only what an update, a rollback and a failure mean for files, ledgers and copies.
"""
import re

from player import MANIFEST, RESULT, File, differences, directory_of, file

LEDGER = "OV_Backup/OvBackup.ini"
STAGED = re.compile(r"(^|/)(OVSrc\.tmp|PatchDll\.ini|KxuPatch\.ini|\.ovp.*|OvJournal.*)$")
# A start is followed by its end; only an undoing may leave its last bracket open.
CALLS = re.compile(r"(Get\w+Path )*(IsRollback(Ex)? )?((StartPatch|StartAction) "
                   r"(Start(\w+) (CheckFile(Ex)? )*End\7 (End\7 )?)*(Start\w+ )?(EndPatch |EndAction )?)?$")
KEPT, GONE = "kept", "gone"  # in `otherwise`: as before and in no ledger; not there


def number(text):
    return int(re.match(r"-?\d*", text)[0] or 0)


def sections(text):
    found, section = {}, {}
    for line in text.splitlines():
        if line.startswith("["):
            section = found.setdefault(line.strip("[] ").lower(), {})
        elif "=" in line:
            key, _, value = line.partition("=")
            section.setdefault(key.strip().lower(), value.strip())
    return found


def records(tree, destination, decode):
    """Of a destination's ledger: (class, type): (added paths, {path: its copy}, the versions)."""
    found = {}
    ledger = sections(decode(tree.get(f"{destination}/{LEDGER}", file("")).content))
    for n in range(len(ledger)):
        keys = ledger.get(f"item_{n}")
        if keys is None or not {"class", "type"} <= keys.keys():
            continue
        names = [entry for entry in keys if re.match(r"(added|written)\.\d", entry)]
        added = [keys[name].replace("\\", "/") for name in names if name.startswith("added")]
        written = [keys[name].replace("\\", "/").split(",") for name in names if name.startswith("written")]
        copies = f"{destination}/OV_Backup/{directory_of(keys)}/"
        found.setdefault((int(keys["class"]), int(keys["type"], 16)),
                         (added, {entry[1].strip(): copies + entry[0].strip().rpartition("/")[2] for entry in written if len(entry) > 1},
                          (keys.get("origin.version"), keys.get("result.version"))))
    return found


def files(tree, in_backups=False):
    return {path: entry for path, entry in tree.items()
            if entry is not None and ("/OV_Backup/" in path) == in_backups and not path.startswith("agent.")
            and path != RESULT and "/OVSrc.tmp/" not in path}


class Order:
    """What a run is to do, by the manifest, and by the agent's orders where an old one mends the paths of classes."""

    def __init__(self, tree, decode):
        manifest = sections(decode(tree.get(MANIFEST, file("")).content))
        common = manifest.get("common", {})
        action = number(common.get("action", "-1"))
        self.rollback, self.backup = action == 1, common.get("backup") != "0"
        self.old = common.get("patchagent.version") == "0"
        mended = re.findall(r"Get(\w+)Path \* rewrite (\S+)", decode(tree.get("agent.orders", file("")).content))
        paths = {{"Product": "1", "Engine": "2", "Pattern": "3"}[name]: path.replace("\\", "/") for name, path in mended}
        self.items = []
        for n in range(min(number(common.get("itemcount", "0")), len(manifest)) if action in (0, 1) else 0):
            keys = manifest.get(f"item_{n}", {})
            if not {"class", "type", "destination"} <= keys.keys():
                break
            destination = keys["destination"].rstrip("\\").replace("\\", "/")
            place = paths.setdefault(keys["class"], destination)
            source = f"{common.get('orvelle_path')}/OV_Temp/{directory_of(keys)}/".replace("\\", "/")
            self.items.append(((int(keys["class"]), int(keys["type"], 16)), destination, source,
                               place if self.old else destination))
        self.destinations = {destination for _, destination, _, _ in self.items}


def expect_update(order, before, skipped):
    """The files after an update, and the records: (destination, identity): (added, {path: content before})."""
    now, changed = files(before), {}
    for identity, destination, source, place in order.items:
        new = {f"{place}/{path[len(source):]}": entry for path, entry in before.items()
               if path.startswith(source) and entry is not None}
        new = {path: entry for path, entry in new.items() if path not in skipped}
        changed[destination, identity] = ({path for path in new if path not in now},
                                          {path: now[path] for path in new if path in now})
        now.update(new)
    return now, changed


def expect_rollback(order, before, skipped, decode):
    """The files after a rollback, in which the items have no records any more."""
    now, changed = files(before), {}
    for identity, destination, _, _ in order.items:
        added, written, _ = records(before, destination, decode).get(identity, ((), {}, ()))
        if (destination, identity) not in changed:
            for path in set(added) - skipped:
                now.pop(path, None)
            now.update({path: before[copy] for path, copy in written.items()
                        if isinstance(before.get(copy), File) and path not in skipped})
        changed[destination, identity] = None
    return now, changed


def judge_records(order, changed, before, after, decode, otherwise):
    for destination in order.destinations:
        ledger = f"{destination}/{LEDGER}"
        if ledger in otherwise:
            text = before.get(ledger) if otherwise[ledger] == KEPT else otherwise[ledger]
            yield from differences({ledger: text}, {ledger: after.get(ledger)})
            continue
        old, new = records(before, destination, decode), records(after, destination, decode)
        ours = {identity: record for (place, identity), record in changed.items() if place == destination}
        if {i: r for i, r in old.items() if i not in ours} != {i: r for i, r in new.items() if i not in ours}:
            yield f"records of other items under {destination} changed"
        for identity, record in ours.items():
            added, written, _ = new.get(identity, ((), {}, ()))
            if (identity in new) != (record is not None):
                yield f"the record of {identity} under {destination}"
            elif record is not None and (set(added), set(written)) != (record[0], set(record[1])):
                yield f"the record of {identity} under {destination} has {added} and {list(written)}"
            elif record is not None:
                yield from differences(record[1], {path: after.get(copy) for path, copy in written.items()})
        old_named, named = ({copy for _, written, _ in ledger.values() for copy in written.values()}
                            for ledger in (old, new))
        copies, kept = ({path: entry for path, entry in files(tree, True).items()
                         if path.startswith(destination + "/OV_Backup/") and path != ledger} for tree in (before, after))
        strays = {path: entry for path, entry in copies.items() if path not in old_named}
        yield from differences(strays, {path: entry for path, entry in kept.items()
                                        if path not in named and path not in otherwise})


def judge(before, outcome, result, decode, otherwise=None):
    """What is wrong with a run that was to give that result, as lines; `otherwise`: {path: entry, KEPT or GONE}, the
    files that are not as one has to expect."""
    otherwise, after = dict(otherwise or {}), outcome.tree
    wrong = list(outcome.complaints)
    if (outcome.exit, outcome.result, outcome.said) != (0, result, ""):
        wrong.append(f"exit value {outcome.exit}, result {outcome.result} instead of {result}, said {outcome.said!r}")
    if not outcome.log or outcome.log[-1] != "I writeResult: done.":
        wrong.append(f"the log's end: {outcome.log[-1:]}")
    if not CALLS.match("".join(call.partition("(")[0] + " " for call in outcome.calls if re.match(r"\w+\(", call))):
        wrong.append(f"calls out of order: {outcome.calls}")
    skipped = {path for path, entry in otherwise.items() if entry == KEPT}
    order = Order(before, decode)
    if result != 0:
        expected, copies, kept = files(before), files(before, True), files(after, True)
        wrong += differences(*({path: entry for path, entry in tree.items() if path.endswith(LEDGER)}
                               for tree in (copies, kept)))
        wrong += [f"{path}: left behind" for path in kept if kept[path] != copies.get(path) and path not in otherwise]
    else:
        expected, changed = (expect_rollback(order, before, skipped, decode) if order.rollback else
                             expect_update(order, before, skipped))
        if not order.rollback and not order.backup:
            changed = dict.fromkeys(changed)
        wrong += judge_records(order, changed, before, after, decode, otherwise)
    for path, entry in otherwise.items():
        if entry == GONE:
            expected.pop(path, None)
        elif entry not in (KEPT, None) and "/OV_Backup/" not in path and "/OVSrc.tmp" not in path:
            expected[path] = entry._replace(mode=getattr(after.get(path), "mode", 0))
    if RESULT in otherwise:
        wrong += differences({RESULT: expected.pop(RESULT).content}, {RESULT: after[RESULT].content})
    wrong += differences(expected, files(after))
    # An old agent's files stay below all destinations but the first.
    wrong += [f"{path}: still there" for path in after if STAGED.search(path) and path not in otherwise and
              not (order.old and order.items and not path.startswith(order.items[0][1] + "/"))]
    wrong += [f"{path}: the directory is gone" for path, entry in before.items()
              if entry is None and path not in after and not STAGED.search(path) and path not in otherwise]
    return wrong


def judge_again(device, story, before):
    """An undisturbed update of the story, and a rollback after it, which gives back what was before."""
    wrong = []
    now = before
    for action in (0, 1):
        now = {**now, MANIFEST: file(device.encode(story.manifest({"common.action": action})))}
        now.pop("agent.orders", None)
        device.lay(now)
        outcome = device.run()
        wrong += [f"again, action {action}: {line}" for line in judge(now, outcome, 0, device.decode)]
        now = outcome.tree
    beginning = {**files(before), MANIFEST: now[MANIFEST]}
    return wrong + [f"after going back: {line}" for line in differences(beginning, files(now))]
