"""What `ovpatchctl plan` foretells is what a run then does, and it writes nothing."""
import os
import posixpath
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "..", place) for place in ("runs", "player")]
import runs_test  # noqa: E402
from ctl import ctl  # noqa: E402
from oracle import files  # noqa: E402
from player import WINDOWS, File, differences  # noqa: E402


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


class Situations(runs_test.Runs):
    def play(self, words, changes, result, lines, otherwise, run):
        if ";;;" in changes:
            return
        _, tree = self.prepare(words, changes, run)
        orders = tree["agent.orders"].content.splitlines()
        if not all(re.match(b"Load ", order) for order in orders):
            return  # the agent may not agree
        self.device.lay(tree)
        before = self.device.look()
        status, plan, said = ctl(self.device, "plan", "--json", "base")
        self.check(differences(before, self.device.look()))
        self.assertEqual((said, status), ("", 2 if plan["result"] != 0 else 1 if plan["findings"] else 0))
        failures = [finding["result"] for finding in plan["findings"] if finding["severity"] == "failure"]
        self.assertIn(plan["result"], ((failures + [0])[0], None))
        outcome = self.device.run()
        wrong = [f"foretold result {plan['result']}, ended with {outcome.result}"] * (plan["result"] != outcome.result)
        wrong += wrong_acts(plan, tree, outcome.tree)
        self.check([*wrong, *map(str, plan["findings"])] if wrong else [], outcome)

    def test_rows(self):
        """Every situation of the whole runs in which the agent agrees."""
        self.play_rows(("U1", "R0") if WINDOWS else ("U0", "U1", "R0", "R1"))  # where each run takes long


if __name__ == "__main__":
    unittest.main()
