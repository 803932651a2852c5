"""Whole runs: the rows of rows.txt, judged by the oracle."""
import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../player")]
from oracle import KEPT, judge, judge_again  # noqa: E402
from player import (ENGINE, MANIFEST, PATTERN, PRODUCT, WINDOWS, Device, Story, differences, file,  # noqa: E402
                    with_directories)

# The lines of level 9; all others have level 6.
NINE = re.compile(r". (Old OV temp |Copy to old ov temp failed|Update(Ex)?: Call patchagent|(start|end)EachItem: unknown|"
                  r"rollback: patch agent refused|OvPatch: CatURIWithFile)")
BRACKETS = ("Engine", "Product", "Pattern")


def long_path(length):
    return ("d" * 100 + "/") * ((length - 1) // 101) + "e" * ((length - 1) % 101 + 1)


class Changes:
    """A column of differences, taken apart."""

    def __init__(self, text, generation):
        self.keys, self.files, self.read_only, self.orders = {}, {}, [], ""
        text = re.sub(r"<(\d+)>", lambda length: long_path(int(length[1])), text)
        for change in filter(None, map(str.strip, text.split(";"))):
            path, given, content = change[1:].partition("=")
            if change[0].isupper():
                self.orders += self.order(change, generation) + "\n"
            elif change[0] == "!":
                self.read_only.append(path)
            elif change[0] in "+-=":
                entry = None if path.endswith("/") else file(content.replace(r"\n", "\n"))
                self.files[path.rstrip("/")] = {"+": entry, "-": "gone", "=": KEPT}[change[0]]
            else:
                key, given, value = change.partition("=")
                self.keys[key] = value.replace("/", "\\") if given else None

    @staticmethod
    def order(line, generation):
        old = generation == 0
        line = re.sub(r"^(Start|End)(\d)", lambda m: f"{m[1]}{BRACKETS[int(m[2]) - 1]} #1" if old else
                      f"{m[1]}Item #{m[2]}", line)
        for word, names in {"Open": ("StartPatch", "StartAction"), "Ask": ("IsRollback", "IsRollbackEx"),
                            "Check": ("CheckFile", "CheckFileEx")}.items():
            line = re.sub(rf"^{word}\b", names[generation], line)
        return line

    def apply(self, tree):
        tree = dict(tree)
        for path, entry in self.files.items():
            if entry == "gone":
                tree = {other: e for other, e in tree.items() if other != path and not other.startswith(path + "/")}
            else:
                tree[path] = entry
        for path in self.read_only:
            tree[path] = tree[path]._replace(mode=0o444)
        if self.orders:
            tree["agent.orders"] = file(self.orders)
        return with_directories(tree)


class Rows(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.device, cls.updated = Device(), {}

    def check(self, wrong, outcome):
        self.assertFalse(wrong, "\n" + "\n".join(wrong) + "\n\nIts log:\n" + "\n".join(outcome.log))

    def after_update(self, story, tree):
        """The tree after an undisturbed update."""
        key = story.manifest(), frozenset(tree.items())
        if key not in self.updated:
            self.device.lay(tree)
            outcome = self.device.run()
            self.check(judge(tree, outcome, 0, self.device.decode), outcome)
            self.updated[key] = outcome.tree
        return self.updated[key]

    def play(self, words, changes, result, line, otherwise, action, generation):
        layout, _, disturbance = changes.rpartition(";;")
        layout, disturbance = Changes(layout, generation), Changes(disturbance, generation)
        items = (ENGINE, PRODUCT, PATTERN) if "three" in words else (ENGINE, PRODUCT)
        story = Story(*items, generation=generation, changes=layout.keys)
        tree = layout.apply(story.tree())
        if action == 1:
            tree = self.after_update(story, tree)
        tree = disturbance.apply({**tree, MANIFEST: file(story.manifest({"common.action": action, **disturbance.keys}))})
        self.device.lay(tree)
        outcome = self.device.run()
        allowed = {path: None if entry == "gone" else entry for path, entry in Changes(otherwise, 0).files.items()}
        self.check(judge(tree, outcome, int(result), self.device.decode, allowed), outcome)
        if line:
            self.assertIn(line.format(
                run=("update", "rollback")[action], Patch=("Patch", "Action")[generation],
                patch=("patch", "action")[generation], item2=("product", "item")[generation],
                cancel=(" this", ".")[action]), outcome.log)
        again = outcome.tree
        self.device.lay({**tree, "base/ovcfg.ini": file("[Debug]\nLevel=7\n")})
        self.assertEqual([record for record in outcome.log if NINE.match(record)], self.device.run().log)
        if "once" not in words:
            self.check(judge_again(self.device, story, again), outcome)

    def test_rows(self):
        with open(os.path.join(HERE, "rows.txt")) as rows:
            rows = [row for row in rows if row.strip() and not row.startswith("#")]
        for row in rows:
            what, words, changes, results, lines, otherwise = (column.strip() for column in row.split("|"))
            words = words.split()
            for action, generation in ((0, 0), (0, 1), (1, 0), (1, 1)):
                name = "UR"[action] + "01"[generation]
                chosen = [word for word in words if word[0] in "UR"]
                if chosen and name not in chosen and name[0] not in chosen:
                    continue
                with self.subTest(what, run=name):
                    pick = (lambda column: column.split("//")[action if "//" in column else 0].strip())
                    self.play(words, changes, pick(results), pick(lines), pick(otherwise), action, generation)


if __name__ == "__main__":
    unittest.main()
