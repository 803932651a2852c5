"""What `ovpatchctl plan` foretells is what a run then does, and it writes nothing."""
import os
import posixpath
import random
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "..", place) for place in ("runs", "player")]
import runs_test  # noqa: E402
from ctl import ctl  # noqa: E402
from oracle import files  # noqa: E402
from player import (ENGINE, MANIFEST, PATTERN, PRODUCT, RESULT, WINDOWS, File, Story, differences, file,  # noqa: E402
                    with_directories)


def contents(tree):
    return {path: entry.content for path, entry in files(tree).items() if isinstance(entry, File)
            and not path.startswith("base/O") and not re.search("PatchDll.ini$|/backup.000$", path)}


def wrong_acts(plan, before, after):
    """Where the files after the run are not as they were foretold."""
    old, new, acts = contents(before), contents(after), {}
    for item in plan["items"]:
        for told in item["files"]:
            path = posixpath.normpath(told["path"].replace("\\", "/"))
            if path not in acts or told["act"] in ("removed", "restored"):
                acts[path] = told["act"]
            elif told["act"] != "kept":
                acts[path] = "restored"  # it is there, by whichever of two items
    stands = {"added": lambda was, now: was is None and now is not None, "removed": lambda was, now: was is not None and now is None,
              "replaced": lambda was, now: None not in (was, now) and was != now, "restored": lambda was, now: now is not None,
              "same": lambda was, now: was == now, "kept": lambda was, now: was == now}
    for path in sorted(acts.keys() | {path for path in old.keys() | new.keys() if old.get(path) != new.get(path)}):
        act = acts.get(path, "kept")
        if plan["result"] == 0 and path in old.keys() | new.keys() and not stands[act](old.get(path), new.get(path)):
            yield f"{path}: foretold {act}, was {old.get(path)!r}, is {new.get(path)!r}"


class PlanAndRun(runs_test.Runs):
    def foretold(self, tree):
        """Lays the tree out, plans, runs, and compares; answers the plan."""
        self.device.lay(tree)
        before = self.device.look()
        status, plan, said = ctl(self.device, "plan", "--json", "base")
        self.check(differences(before, self.device.look()))
        self.assertEqual((said, status), ("", 2 if plan["result"] != 0 else 1 if plan["findings"] else 0))
        failures = [finding["result"] for finding in plan["findings"] if finding["severity"] == "failure"]
        self.assertIn(plan["result"], ((failures + [0])[0], None))
        outcome = self.device.run()
        wrong = [f"foretold result {plan['result']}, ended with {outcome.result}"] * (plan["result"] != outcome.result)
        self.check([*wrong, *wrong_acts(plan, tree, outcome.tree), *map(str, plan["findings"])] if wrong or
                   list(wrong_acts(plan, tree, outcome.tree)) else [], outcome)
        return plan, outcome


class Situations(PlanAndRun):
    def play(self, words, changes, result, lines, otherwise, run):
        if ";;;" in changes:
            return
        _, tree = self.prepare(words, changes, run)
        orders = tree["agent.orders"].content.splitlines()
        if all(re.match(b"Load ", order) for order in orders):  # otherwise the agent may not agree
            self.foretold(tree)

    def test_rows(self):
        """Every situation of the whole runs in which the agent agrees."""
        self.play_rows(("U1", "R0") if WINDOWS else ("U0", "U1", "R0", "R1"))  # where each run takes long


class RandomTrees(PlanAndRun):
    NAMES = [directory + name for directory in ("", "a/", "a/b/", "c d/") for name in ("x", "y.bin", "z,1", "a")]
    PLACES = ("dst", "dst2", "dst2/a", "new/place/", "base/OV_Temp/2/31", "base/OV_Temp/1/2", "base/OV_Temp/3/5")

    def disturbed(self, chance, tree, updated):
        """The tree with files that come, change, go, may not be written or stand where directories are to be."""
        for _ in range(chance.randrange(2, 14)):
            path = posixpath.join(chance.choice(self.PLACES), chance.choice(self.NAMES))
            above = {path[:n] for n, byte in enumerate(path) if byte == "/"}
            if chance.random() < 0.9 and any(tree.get(directory) for directory in above):
                continue
            tree = {other: entry for other, entry in tree.items() if not other.startswith(path + "/") and other not in above}
            tree[path] = file(chance.choice((b"", b"one", b"two")), chance.choice((0o644,) * 15 + (0o444,)))
            tree = with_directories(tree)
        gone = [path for path in tree if "backup." in path or (updated and path.startswith("dst"))]
        for path in chance.sample(gone, min(len(gone), chance.randrange(3))):
            if tree[path] is not None and "OvBackup" not in path:
                del tree[path]
        return tree

    def test_random_trees(self):
        chance = random.Random(8)
        seen = set()
        for _ in range(int(os.environ.get("OVPATCH_PLANS") or (12 if WINDOWS else 40))):
            items = [{**item, "destination": chance.choice(("dst", "dst", "dst2", "dst2\\a", "new\\place\\", ".\\dst"))}
                     for item in chance.choices((ENGINE, PRODUCT, PATTERN), k=chance.randrange(1, 4))]
            story = Story(*items, generation=chance.randrange(2))
            tree = {posixpath.normpath(path): entry for path, entry in story.tree().items() if path != "."}
            tree = self.disturbed(chance, tree, False)
            for action in (0, chance.randrange(2), chance.randrange(2)):
                tree[MANIFEST] = file(story.manifest({"common.action": action}))
                plan, outcome = self.foretold(tree)
                seen |= {(plan["action"], plan["result"])} | {act for act, count in plan["counts"].items() if count}
                tree = self.disturbed(chance, {path: entry for path, entry in outcome.tree.items() if path != RESULT}, True)
        self.assertLessEqual({("update", 0), ("update", 12), ("update", 16), ("rollback", 0), ("rollback", 16), "added", "same",
                              "replaced", "restored", "removed", "kept", "failing"}, seen)


if __name__ == "__main__":
    unittest.main()
