"""Judges runs of the program, whatever they were about, by what was laid out and what they left.

It knows no step of the program: only what an update, a rollback and a failure mean for files, ledgers and copies.
"""
import re

from player import MANIFEST, RESULT, File, differences, directory_of, file

LEDGER = "OV_Backup/OvBackup.ini"
STAGED = re.compile(r"(^|/)(OVSrc\.tmp|PatchDll\.ini|KxuPatch\.ini|\.ovp.*|OvJournal.*|ovk\d+\.tmp)$")
UNJUDGED = re.compile(r"^agent\.|/OVSrc\.tmp|/OvJournal|/OvResult\.ini$")
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


def bare(path):
    return path.replace("\\", "/").removeprefix("./")


def identity_of(keys):
    return int(keys["class"]), int(keys["type"], 16)


def versions_of(keys):
    return keys.get("origin.version"), keys.get("result.version")


def records(tree, destination, decode):
    """Of a destination's ledger: (class, type): (added paths, {path: its copy}, versions); the first of two counts."""
    found, ledger = {}, sections(decode((tree.get(f"{destination}/{LEDGER}") or file("")).content))
    for keys in (ledger.get(f"item_{n}", {}) for n in range(len(ledger))):
        if {"class", "type"} <= keys.keys():
            lists = {name: [bare(value) for key, value in keys.items() if re.match(name + r"\.\d", key)]
                     for name in ("added", "written")}
            written = [[bare(part.strip()) for part in entry.split(",")] for entry in lists["written"]]
            copies = f"{destination}/OV_Backup/{directory_of(keys)}/"
            written = {entry[1]: copies + entry[0].rpartition("/")[2] for entry in written if len(entry) > 1}
            found.setdefault(identity_of(keys), (set(lists["added"]), written, versions_of(keys)))
    return found


def files(tree, in_backups=False):
    return {path: entry for path, entry in tree.items()
            if entry is not None and ("/OV_Backup/" in path) == in_backups and not UNJUDGED.search(path)}


class Order:
    """What a run is to do, by the manifest, and by the agent's orders where an old one mends the paths of classes."""

    def __init__(self, tree, decode):
        manifest = sections(decode((tree.get(MANIFEST) or file("")).content))
        common = manifest.get("common", {})
        action = number(common.get("action", "-1"))
        self.rollback, self.backup = action == 1, common.get("backup") != "0"
        self.old = common.get("patchagent.version") == "0"
        mended = re.findall(r"Get(\w+)Path \* rewrite (\S+)", decode(tree.get("agent.orders", file("")).content))
        paths = {("", "Product", "Engine", "Pattern").index(name): path.replace("\\", "/") for name, path in mended}
        self.items = []
        for n in range(min(number(common.get("itemcount", "0")), len(manifest)) if action in (0, 1) else 0):
            keys = manifest.get(f"item_{n}", {})
            if {"class", "type", "destination"} <= keys.keys():
                destination = bare(keys["destination"].rstrip("\\"))
                place = paths.setdefault(int(keys["class"] or 0), destination) if self.old else destination
                source = f"{common.get('orvelle_path')}/OV_Temp/{directory_of(keys)}/".replace("\\", "/")
                self.items.append(((destination, identity_of(keys)), versions_of(keys), source, place))


def expect(order, before, skipped, decode):
    """The files after a run that succeeds, and by destination and identity the records: None for one that is gone, or
    the added paths, {path: content before}, versions."""
    now, changed = files(before), {}
    for key, versions, source, place in order.items:
        if order.rollback:
            added, written, _ = records(before, key[0], decode).get(key[1], (set(), {}, ()))
            for path in added - skipped if key not in changed else ():
                now.pop(path, None)
            now.update({path: before[copy] for path, copy in written.items() if key not in changed and
                        isinstance(before.get(copy), File) and path not in skipped})
            changed[key] = None
        else:
            new = {f"{place}/{path[len(source):]}": entry for path, entry in before.items() if path.startswith(source)}
            new = {path: entry for path, entry in new.items() if entry and path not in skipped}
            changed[key] = (new.keys() - now.keys(), {path: now[path] for path in new if path in now},
                            versions) if order.backup else None
            now.update(new)
    return now, changed


def judge_records(changed, before, after, decode, otherwise):
    for destination in {destination for destination, _ in changed}:
        ledger = f"{destination}/{LEDGER}"
        if ledger in otherwise:
            text = before.get(ledger) if otherwise[ledger] == KEPT else otherwise[ledger]
            yield from differences({ledger: text}, {ledger: after.get(ledger)})
            continue
        old, new = records(before, destination, decode), records(after, destination, decode)
        ours = {identity: record for (place, identity), record in changed.items() if place == destination}
        held = {identity: (added, {path: after.get(copy) for path, copy in written.items()}, versions)
                if identity in ours else (added, written, versions)
                for identity, (added, written, versions) in new.items()}
        expected = {**old, **ours}
        for identity in expected.keys() | held.keys():
            if expected.get(identity) != held.get(identity):
                yield f"the record of {identity}: expected {expected.get(identity)}, found {held.get(identity)}"
        before_named, named = ({copy for _, written, _ in found.values() for copy in written.values()}
                               for found in (old, new))
        strays, left = ({path: entry for path, entry in files(tree, True).items() if path not in names and
                         path != ledger and path.startswith(destination + "/OV_Backup/") and path not in otherwise}
                        for tree, names in ((before, before_named), (after, named)))
        yield from differences(strays, left)


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
        expected, changed = expect(order, before, skipped, decode)
        wrong += judge_records(changed, before, after, decode, otherwise)
    for path, entry in otherwise.items():
        if entry == GONE:
            expected.pop(path, None)
        elif entry not in (KEPT, None) and "/OV_Backup/" not in path and not UNJUDGED.search(path):
            expected[path] = entry._replace(mode=getattr(after.get(path), "mode", 0))
    if RESULT in otherwise:
        wrong += differences({RESULT: otherwise[RESULT].content}, {RESULT: after[RESULT].content})
    wrong += differences(expected, files(after))
    # An old agent's files stay below all destinations but the first.
    wrong += [f"{path}: still there" for path in after if STAGED.search(path) and path not in otherwise and
              not (order.old and order.items and not path.startswith(order.items[0][0][0] + "/"))]
    wrong += [f"{path}: the directory is gone" for path, entry in before.items()
              if entry is None and path not in after and not STAGED.search(path) and path not in otherwise]
    return wrong


def judge_again(device, story, before):
    """An undisturbed update of the story, and a rollback after it, which gives back what was before."""
    wrong, now = [], before
    for action in (0, 1):
        now = {**now, MANIFEST: file(device.encode(story.manifest({"common.action": action})))}
        now.pop("agent.orders", None)
        device.lay(now)
        outcome = device.run()
        wrong += [f"again, action {action}: {line}" for line in judge(now, outcome, 0, device.decode)]
        now = outcome.tree
    beginning = {**files(before), MANIFEST: now[MANIFEST]}
    return wrong + [f"after going back: {line}" for line in differences(beginning, files(now))]
