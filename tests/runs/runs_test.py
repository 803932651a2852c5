"""Whole runs: the rows of rows.txt, judged by the oracle."""
import os
import re
import string
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../player")]
from oracle import KEPT, judge, judge_again  # noqa: E402
from player import (AGENTS, ENGINE, LOG, MANIFEST, PATTERN, PRODUCT, SUFFIX, WINDOWS, Device, Story, file,  # noqa: E402
                    read_file, with_directories)

# The lines of level 9; all others have level 6.
NINE = re.compile(r". (Old OV temp |Copy to old ov temp failed|Update(Ex)?: Call patchagent|(start|end)EachItem: unknown|"
                  r"rollback: patch agent refused|OvPatch: CatURIWithFile)")
ITEMS = {"engine": ENGINE, "product": PRODUCT, "pattern": PATTERN}
GONE = "gone"


def lines_of(name):
    with open(os.path.join(HERE, name)) as lines:
        return [line.rstrip("\n") for line in lines if line.strip() and not line.startswith("#")]


def words_of(action, generation):
    """What the rows leave to the run."""
    versions = ("0x31234", "0x40000") if generation == 0 else ("{0x31234 0 0}", "{0x40000 0 0}")
    old = {"gen": "old", "other": "new", "Patch": "Patch", "patch": "patch", "ex": "", "check": "CheckFile",
           "start": "StartProduct", "end": "EndProduct"}
    new = {"gen": "new", "other": "old", "Patch": "Action", "patch": "action", "ex": "Ex", "check": "CheckFileEx",
           "start": "StartItem", "end": "EndItem"}
    return {"so": SUFFIX, "run": ("update", "rollback")[action], "flags": 2 * action, "from": versions[0],
            "to": versions[1], **(old, new)[generation]}


def long_path(length):
    return ("d" * 100 + "/") * ((length - 1) // 101) + "e" * ((length - 1) % 101 + 1)


def order(line, generation):
    """An order for the agent, with the entries of its generation."""
    line = re.sub(r"^(Start|End)(\d)", lambda m: m[1] + (f"Item #{m[2]}" if generation else
                                                        ("Engine #1", "Product #1", "Pattern #1")[int(m[2]) - 1]), line)
    names = {"Open": ("StartPatch", "StartAction"), "Close": ("EndPatch", "EndAction"),
             "Ask": ("IsRollback", "IsRollbackEx"), "Check": ("CheckFile", "CheckFileEx")}
    return re.sub(r"^\w+", lambda word: names.get(word[0], (word[0],) * 2)[generation], line) + "\n"


class Changes:
    """A column of differences, taken apart: keys of the manifest, files, read-only files, orders."""

    def __init__(self, text, generation=0):
        self.keys, self.files, self.read_only, self.orders = {}, [], [], ""
        for change in filter(None, map(str.strip, re.split(r";(?= |$)", text))):
            if change[0].isupper():
                self.orders += order(change, generation)
            elif change[0] in "+-=!":
                numbers = re.search(r"\[(\d+)-(\d+)\]", change.partition("=")[0])
                for n in range(int(numbers[1]), int(numbers[2]) + 1) if numbers else (0,):
                    self.put(change.replace(numbers[0], str(n)) if numbers else change)
            else:
                key, given, value = change.partition("=")
                self.keys[key] = value.replace("/", "\\") if given else None

    def put(self, change):
        path, _, content = change[1:].replace("^", "\n").replace(r"\s", " ").replace(r"\r", "\r").partition("=")
        if change[0] == "!":
            self.read_only.append(path)
        elif content.startswith("@"):
            self.files.append((path, read_file(os.path.join(AGENTS, content[1:] + SUFFIX))))
        else:
            entry = None if path.endswith("/") else file(content)
            self.files.append((path.rstrip("/"), {"+": entry, "-": GONE, "=": KEPT}[change[0]]))

    def apply(self, tree):
        tree = dict(tree)
        for path, entry in self.files:
            for other in [other for other in tree if other == path or other.startswith(path + "/")]:
                if entry == GONE:
                    del tree[other]
            if entry != GONE:
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
        if wrong:
            self.fail("\n".join([*wrong, "", "Log and calls:", *outcome.log, *outcome.calls]))

    def after_update(self, story, tree):
        """The tree after an undisturbed update."""
        key = story.manifest(), frozenset(tree.items())
        if key not in self.updated:
            self.device.lay(tree)
            outcome = self.device.run()
            self.check(judge(tree, outcome, 0, self.device.decode), outcome)
            self.updated[key] = outcome.tree
        return self.updated[key]

    def check_records(self, lines, outcome):
        seen = outcome.log + ["C " + call for call in outcome.calls]
        for line in filter(None, lines.split(" & ")):
            unwanted = line.startswith("no ")
            found = any(record.startswith(line[3:]) for record in seen) if unwanted else line in seen
            self.assertNotEqual(found, unwanted, f"{line}\n\nnot among:\n" + "\n".join(seen))

    def prepare(self, words, changes, action, generation):
        """The story, and the tree of a device before its run."""
        layout, _, disturbance = changes.rpartition(";;")
        layout, disturbance = Changes(layout, generation), Changes(disturbance, generation)
        items = [ITEMS[word] for word in words if word in ITEMS] or [ENGINE, PRODUCT, PATTERN][:2 + ("three" in words)]
        story = Story(*items, generation=generation, changes=layout.keys)
        tree = layout.apply(story.tree())
        if action == 1 or "after" in words:
            tree = self.after_update(story, tree)
        manifest = file(story.manifest({"common.action": action, **disturbance.keys}))
        return story, disturbance.apply({**tree, MANIFEST: manifest})

    def play(self, words, changes, result, lines, otherwise, action, generation):
        story, tree = self.prepare(words, changes, action, generation)
        self.device.lay(tree)
        outcome = self.device.run()
        allowed = {path: None if entry == GONE else entry for path, entry in Changes(otherwise).files}
        mended = {ITEMS[name.lower()]["class"]: path.replace("\\", "/") for name, path in
                  re.findall(r"Get(\w+)Path \* rewrite (\S+)", changes)}
        self.check(judge(tree, outcome, None if result == "none" else int(result), self.device.decode, allowed, mended),
                   outcome)
        self.check_records(lines, outcome)
        again = outcome.tree
        self.device.lay({**tree, "base/ovcfg.ini": file("[Debug]\nLevel=7\n")})
        self.assertEqual([record for record in outcome.log if NINE.match(record)], self.device.run().log)
        if "once" not in words:
            self.check(judge_again(self.device, story, again), outcome)

    def test_rows(self):
        rows = lines_of("rows.txt")
        texts = dict(row[4:].split(" = ", 1) for row in rows if row.startswith("let "))
        for row in rows:
            if row.startswith("let "):
                continue
            what, words, *columns = (column.strip() for column in row.split("|"))
            words = words.split()
            for run in ("U0", "U1", "R0", "R1"):
                chosen = [word for word in words if word[0] in "UR"]
                if chosen and run not in chosen and run[0] not in chosen or "posix" in words and WINDOWS:
                    continue
                action, generation = int(run[0] == "R"), int(run[1])
                fill = (lambda text: string.Template(text).safe_substitute(texts | words_of(action, generation)))
                column = [re.sub(r"<(\d+)>", lambda m: long_path(int(m[1])), fill(fill(text))) for text in columns]
                column[1:] = [(text.split("//") * 2)[action].strip() for text in column[1:]]
                with self.subTest(what, run=run):
                    self.play(words, *column, action, generation)

    def test_transcripts(self):
        """Log and calls in order: the agent writes into the log, too."""
        blocks = {}
        for line in lines_of("transcripts.txt"):
            if line.startswith("="):
                block = blocks[line.lstrip("= ")] = []
            else:
                block += blocks[line[1:]] if line.startswith("@") else [line]
        for head in (head for head in blocks if "|" in head):
            what, words, changes = (column.strip() for column in head.split("|"))
            action, generation = int(words[0] == "R"), int(words[1])
            expected = string.Template("\n".join(blocks[head])).substitute(words_of(action, generation)).split("\n")
            for shown in ("69", "9"):
                _, tree = self.prepare(words.split(), changes, action, generation)
                orders = tree.get("agent.orders", file("")).content + f"Load * trace {LOG}\n".encode()
                self.device.lay({**tree, "agent.orders": file(orders), "base/ovcfg.ini":
                                 file(f"[Debug]\nLevel={5 + 2 * (shown == '9')}\n")})
                records = []
                for level, error, text, _, call in re.findall(r"(.)(E?) (.+?)( -> (.+))?$", "\n".join(expected), re.M):
                    records += [("E " if error else "I ") + text] * (level in shown) + ["C " + call] * bool(call)
                with self.subTest(what, levels=shown):
                    self.assertEqual(records, self.device.run().log)


if __name__ == "__main__":
    unittest.main()
