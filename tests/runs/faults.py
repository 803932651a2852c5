"""Makes each call of the system and each allocation of whole runs fail, and kills the run there, once each.

    faults.py [<step>]    with a step: every so-many-th point, from one that changes from day to day

A run with one failure may succeed, really, or fail and be undone: the oracle judges both. One that cannot hold its
texts says so and ends at once, as if it were killed.
"""
import os
import re
import sys
import time
from concurrent.futures import ProcessPoolExecutor

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../player")]
from oracle import LEDGER, STAGED, files, judge, sections  # noqa: E402
from player import ENGINE, MANIFEST, PRODUCT, RESULT, Device, Story, differences, file  # noqa: E402

STEP = int(sys.argv[1]) if len(sys.argv) > 1 else 1
RECOVERS = False  # whether the next start puts a cut-off run right
NO_MEMORY = re.compile(r"OvPatch: (no memory for [a-z ]+|the command line cannot be held)\n")
SITUATIONS = ("update", "second update", "rollback", "undo", "undone rollback", "logged update")

# What the oracle may find, by the point (as it is told) and the first thing found, and why.
EXCUSED = [
    (r"once [mc]alloc : ..dst/new\d\.bin: expected 'nothing'", "a new file stays when there is no memory to note it"),
    (r"(update|undo), .* once malloc : ..calls out of order", "without memory for an item's record its bracket stays open"),
    (r"rollback.* once malloc : ..dst/OV_Backup.*left behind", "without memory for a record a rollback ends at once"),
    (r"once [^:]*: ..the record of ", "a ledger that cannot be read or written when a run is entered is only logged"),
]


class Situation:
    """A story to be disturbed: the device before it, and its undisturbed run."""

    def __init__(self, name, generation):
        self.name, self.generation, self.device = f"{name}, {('old', 'new')[generation]}", generation, Device()
        self.before = self.with_manifest(Story(ENGINE, PRODUCT, generation=generation).tree(), {}, "logged" in name)
        if name not in ("update", "logged update", "undo"):
            self.before = self.device_after(self.before)
        if name == "second update":
            self.before.update({path: file(entry.content + b", second") for path, entry in self.before.items()
                                if path.startswith("base/OV_Temp/") and path != MANIFEST and entry})
        self.before = self.with_manifest(self.before, {"common.action": int("rollback" in name)}, "logged" in name)
        if name.startswith("undo"):
            self.before["agent.orders"] = file(("EndProduct #1 answer 0\n", "EndItem #2 answer 0\n")[generation])
        for path in (b"lock", b"agent/old.ini"):
            open(os.path.join(self.device.root, path), "w").close()
        trace = os.path.join(os.fsdecode(self.device.root), "trace")
        open(trace, "w").close()
        self.plain = self.play("", {"OVPATCH_FAULT_TRACE": trace})
        assert not self.wrong_with_end(self.plain), (self.name, self.wrong_with_end(self.plain))
        with open(trace, errors="replace") as lines:
            self.points = [line.rstrip("\n").split(" ", 3) for line in lines]

    def with_manifest(self, tree, changes, logged):
        quiet = {} if logged else {"base/ovcfg.ini": file("[Debug]\nLevel=10\n")}
        tree = {path: entry for path, entry in tree.items() if path != RESULT}  # the updater has taken it
        return {**tree, **quiet, MANIFEST: file(Story(ENGINE, PRODUCT, generation=self.generation).manifest(changes))}

    def device_after(self, tree):
        self.device.lay(tree)
        return self.device.run().tree

    def play(self, fault, more=None):
        self.device.lay(self.before)
        return self.again(fault, more)

    def again(self, fault, more=None):
        return self.device.run(environment={"LD_PRELOAD": os.environ["OVPATCH_FAULTS"], "OVPATCH_FAULT": fault,
                                            "ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0", **(more or {})})

    def wrong_with_end(self, outcome):
        """What is wrong with a run that came to its end: as a success or, when it tells nothing, a failure."""
        if outcome.exit in (1, 2) and outcome.result in (None, 57):
            outcome.exit, outcome.result = 0, 57  # it did not begin
        wrong = []
        for outcome.result in [57, 0] if outcome.result is None else [outcome.result]:
            wrong = [line for line in judge(self.before, outcome, outcome.result, self.device.decode)
                     if not line.startswith("the log's end")]
            if not wrong:
                break
        return wrong

    def wrong_with_cut(self, tree):
        """What must not be wrong with what a run leaves that ends anywhere."""
        ours = {path: entry for path, entry in {**files(tree), **files(tree, True)}.items() if not STAGED.search(path)}
        known = {entry.content for path, entry in {**files(self.before), **files(self.before, True)}.items()}
        for path, entry in ours.items():
            if path.endswith(LEDGER):
                found = sections(self.device.decode(entry.content))
                for n in range(int(found.get("common", {}).get("itemcount", 0))):
                    keys = found.get(f"item_{n}", {})
                    if any(int(keys.get(f"{kind}.filecount", -1)) != sum(key.startswith(f"{kind}.") for key in keys) - 1
                           for kind in ("added", "written")):
                        yield f"{path}: a part"
            elif entry.content not in known and not ("/OV_Backup/" in path and not entry.content):
                yield f"{path}: torn, {entry.content!r}"
        left = {entry.content for entry in ours.values()}
        yield from (f"{path}: its content is lost" for path, entry in files(self.before).items()
                    if entry.content not in left)

    def wrong_with(self, outcome, how, n):
        if outcome.exit == 0 and how != "from" or outcome.exit in (1, 2) or outcome.result == 0 and outcome.exit == 0:
            return self.wrong_with_end(outcome)
        if outcome.exit != -9 and not NO_MEMORY.fullmatch(outcome.said) and (outcome.exit != 0 or outcome.said):
            return [f"exit value {outcome.exit}, said {outcome.said!r}"]
        wrong = list(self.wrong_with_cut(outcome.tree))
        if RECOVERS and how != "from":
            if n % 9 == 0:
                self.again(f"call {n % 41 + 7} kill")
            outcome = self.again("")
            wrong += differences(self.plain.tree, outcome.tree)
            wrong += [f"then the result is {outcome.result}"] * (outcome.result != self.plain.result)
        return wrong

    def orders(self):
        """The faults to play, and how each point is told."""
        counts, seen = {"c": 0, "m": 0}, set()
        for kind, name, place, path in self.points:
            n = counts[kind]
            counts[kind] += 1
            for how, what, often in (("once", "c", 1), ("kill", "c", 1), ("from", "c", 7), ("once", "m", 1), ("from", "m", 29)):
                # Allocations of one place between two calls are alike.
                if what != kind or n % often or (kind == "m" and how == "once" and (place, counts["c"]) in seen):
                    continue
                seen.add((place, counts["c"]))
                yield f"{'call' if kind == 'c' else 'memory'} {n} {how}", how, n, f"{name} {re.sub('ovp[0-9_]*', 'ovp', path)}"


def play(name, generation):
    situation = Situation(name, generation)
    found, count = [], 0
    try:
        for number, (order, how, n, told) in enumerate(situation.orders()):
            if (number + int(time.time() / 86400)) % STEP == 0:
                count += 1
                wrong = situation.wrong_with(situation.play(order), how, n)
                found += [f"{situation.name}: {order} {told}: {wrong}"] if wrong else []
    finally:
        situation.device.remove()
    return found, count


def main():
    with ProcessPoolExecutor(min(2, len(os.sched_getaffinity(0)))) as pool:
        tasks = [pool.submit(play, name, generation) for name in SITUATIONS for generation in (0, 1)]
        results = [task.result() for task in tasks]
    found = [line for lines, _ in results for line in lines]
    bad = [line for line in found if not any(re.search(pattern, line) for pattern, _ in EXCUSED)]
    idle = [pattern for pattern, _ in EXCUSED if not any(re.search(pattern, line) for line in found)]
    print("\n".join(bad + [f"this excuses nothing: {pattern}" for pattern in idle if STEP == 1]))
    print(f"{sum(count for _, count in results)} points, {len(found) - len(bad)} excused, {len(bad)} bad")
    return int(bool(bad or idle and STEP == 1))


if __name__ == "__main__":
    sys.exit(main())
