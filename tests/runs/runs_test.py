"""Whole runs: the situations of rows.txt and the transcripts, judged by the oracle, and how runs begin and meet."""
import itertools
import os
import re
import string
import subprocess
import sys
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../player")]
from oracle import GONE, KEPT, judge, judge_again  # noqa: E402
from player import (AGENTS, CALLS, ENGINE, LOG, MANIFEST, PATTERN, PRODUCT, RECORD, SUFFIX, WINDOWS, Device,  # noqa: E402
                    Link, Story, differences, file, read_file, with_directories)

# The lines of level 9; all others have level 6.
NINE = re.compile(r". (Old OV temp |Copy to old ov temp failed|Update(Ex)?: Call patchagent|startEachItem: unknown|"
                  r"endEachItem: unknown|rollback: patch agent refused|OvPatch: (CatURIWithFile|.*\\.* cannot be read)|"
                r"journal: |recovery: (?!directory))")
STEP = int(os.environ.get("OVPATCH_STEP", "1"))  # every so-many-th of the rows, other ones from day to day
ITEMS = {"engine": ENGINE, "product": PRODUCT, "pattern": PATTERN}
CLASSES = ("Engine", "Product", "Pattern")
# What the rows leave to the generation.
WORDS = {"gen": ("old", "new"), "other": ("new", "old"), "Patch": ("Patch", "Action"), "patch": ("patch", "action"),
         "open": ("StartPatch", "StartAction"), "close": ("EndPatch", "EndAction"),
         "ask": ("IsRollback", "IsRollbackEx"), "check": ("CheckFile", "CheckFileEx"),
         "start": ("StartProduct", "StartItem"), "end": ("EndProduct", "EndItem"),
         "from": ("0x31234", "{0x31234 0 0}"), "to": ("0x40000", "{0x40000 0 0}"),
         **{f"{side.lower()}{n}": (f"{side}{name} #1", f"{side}Item #{n}") for side in ("Start", "End")
            for n, name in enumerate(CLASSES, 1)}}

# Starts a program that cannot have the lock.
WITHOUT_LOCK = ["unshare", "-m", "sh", "-c", "mount -t tmpfs none /tmp && ln -s x /tmp/PATCH-5CF3C8EF-8084-4af1-9E60-8EB894E951B7.lock"
                ' && exec "$@"', "-"]
MOUNTS = not WINDOWS and subprocess.run([*WITHOUT_LOCK, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0


def lines_of(name):
    with open(os.path.join(HERE, name)) as lines:
        return [line.rstrip("\n") for line in lines if line.strip() and not line.startswith("#")]


def fill(text, run, more=()):
    words = {name: pair[int(run[1])] for name, pair in WORDS.items()}
    words.update(more, so=SUFFIX, run="rollback" if run[0] == "R" else "update", flags=2 * (run[0] == "R"))
    return string.Template(string.Template(text).safe_substitute(words)).safe_substitute(words)


def long_path(length):
    return ("d" * 100 + "/") * ((length - 1) // 101) + "e" * ((length - 1) % 101 + 1)


class Changes:
    """A column of differences, taken apart: keys of the manifest, files, read-only files, orders."""

    def __init__(self, text):
        self.keys, self.files, self.read_only, self.orders = {}, [], [], ""
        text = re.sub(r"<(\d+)>", lambda length: long_path(int(length[1])), text)
        for change in filter(None, map(str.strip, re.split(r";(?= |$)", text))):
            numbers = re.match(r"[^=]*(\[(\d+)-(\d+)\])", change)
            for n in range(int(numbers[2]), int(numbers[3]) + 1) if numbers else (0,):
                self.put(change.replace(numbers[1], str(n)) if numbers else change)

    def put(self, change):
        path, given, content = change.partition("=")
        if change[0].isupper():
            self.orders += change + "\n"
        elif change[0] not in "+-=!":
            self.keys[path] = content.replace("/", "\\") if given else None
        else:
            self.put_file(change)

    def put_file(self, change):
        path, _, content = change[1:].replace("^", "\n").replace(r"\s", " ").partition("=")
        agent = os.fsencode(os.path.join(AGENTS, content[1:] + SUFFIX))
        entry = read_file(agent) if content.startswith("@") else file(content)
        entry = {"+": None if path.endswith("/") else entry, "-": GONE, "=": KEPT, "!": None}[change[0]]
        (self.read_only if change[0] == "!" else self.files).append((path.rstrip("/"), entry))

    def apply(self, tree):
        tree = dict(tree)
        for path, entry in self.files:
            tree[path] = entry
            if entry == GONE:
                tree = {other: e for other, e in tree.items() if other != path and not other.startswith(path + "/")}
        for path, _ in self.read_only:
            tree[path] = tree[path]._replace(mode=0o444)
        return with_directories({**tree, "agent.orders": file(self.orders)})


class Runs(unittest.TestCase):
    maxDiff = None
    device, updated = None, {}

    @classmethod
    def setUpClass(cls):
        Runs.device = Runs.device or Device()

    def check(self, wrong, outcome=None):
        if wrong:
            self.fail("\n".join([*wrong, *(["", "Log and calls:", *outcome.log, *outcome.calls] if outcome else [])]))

    def lay(self, tree, hands):
        """Lays out the tree, or, with hands, what is left of it by a run that its agent ended, and changed by them."""
        self.device.lay(tree)
        if hands:
            self.assertNotEqual(self.device.wait(self.device.start()), 0)
            left = self.device.look()
            self.device.lay(hands.apply({path: left[path] for path in left if path not in (LOG, CALLS)}))

    def judged(self, tree, result=0, otherwise=None, through=(), hands=None):
        """What a run in that tree leaves, found right."""
        self.lay(tree, hands)
        outcome = self.device.run(through=through)
        if hands:
            tree = {path: entry for path, entry in hands.apply(tree).items() if "OvJournal" not in path}
        self.check(judge(tree, outcome, result, self.device.decode, otherwise), outcome)
        return outcome

    def prepare(self, words, changes, run):
        """The story, and the tree of a device before its run."""
        layout, _, disturbance = changes.rpartition(";;")
        layout, disturbance = Changes(layout), Changes(disturbance)
        items = [ITEMS[word] for word in words if word in ITEMS] or [ENGINE, PRODUCT]
        story = Story(*items, generation=int(run[1]), changes=layout.keys)
        tree = layout.apply(story.tree())
        if run[0] == "R" or "after" in words:
            key = frozenset(tree.items())
            tree = self.updated[key] = self.updated.get(key) or self.judged(tree).tree
        manifest = file(story.manifest({"common.action": int(run[0] == "R"), **disturbance.keys}))
        return story, disturbance.apply({**tree, MANIFEST: manifest})

    def play(self, words, changes, result, lines, otherwise, run):
        changes, cut, hands = changes.partition(";;;")
        hands = Changes(hands) if cut else None
        story, tree = self.prepare(words, changes, run)
        result, otherwise = None if result == "none" else int(result), dict(Changes(otherwise).files)
        outcome = self.judged(tree, result, otherwise, hands=hands)
        seen, again = outcome.log + ["C " + call for call in outcome.calls], outcome.tree
        for line in filter(None, lines.split(" & ")):
            unwanted = line.startswith("no ")
            if unwanted == (any(record.startswith(line[3:]) for record in seen) if unwanted else line in seen):
                self.check([f"{line} -- not so:", *seen])
        if not WINDOWS:  # where each run takes long, and the levels are the same
            settings = (tree.get("base/ovcfg.ini") or file("[Debug]\nLevel=6\n")).content
            told = [record for record in outcome.log if NINE.match(record)]
            for level in (7, 9, 10)[:1 + 2 * bool(told)]:
                self.lay({**tree, "base/ovcfg.ini": file(settings.replace(b"Level=6", b"Level=%d" % level))}, hands)
                quiet = self.device.run()
                self.assertEqual(quiet.log, told if level < 10 else [])
                self.check(differences(*({path: entry for path, entry in one.tree.items() if path != "base/ovcfg.ini" and
                                          "OvJournal" not in path} for one in (outcome, quiet))))
        if "once" not in words:
            self.check(judge_again(self.device, story, again), outcome)

    def play_rows(self, runs):
        rows = lines_of("rows.txt")
        texts = dict(row[4:].split(" = ", 1) for row in rows if row.startswith("let "))
        for row in [row for row in rows if not row.startswith("let ")][int(time.time() / 86400) % STEP::STEP]:
            variants = max(len(group.split(", ")) for group in re.findall(r"\[\[(.*?)\]\]", row) or [""])
            for n in range(variants):
                one = re.sub(r"\[\[(.*?)\]\]", lambda group: group[1].split(", ")[n], row)
                what, words, *columns = (column.strip() for column in one.split("|"))
                words = words.split()
                chosen = [word for word in words if word[0] in "UR"] or ["U", "R"]
                for run in (run for run in runs if run in chosen or run[0] in chosen):
                    column = [(fill(text, run, texts).split("//") * 2)[run[0] == "R"].strip() for text in columns]
                    with self.subTest(what, run=run):
                        if "posix" not in words or not WINDOWS:
                            self.play(words, *column, run)


class Updates(Runs):
    def test_rows(self):
        self.play_rows(("U0", "U1"))


class Rollbacks(Runs):
    def test_rows(self):
        self.play_rows(("R0", "R1"))


class Others(Runs):
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
            run, *words = words.split()
            _, tree = self.prepare(words, fill(changes, run), run)
            tree["agent.orders"] = file(tree["agent.orders"].content + f"Load * trace {LOG}\n".encode())
            lines = re.findall(r"(.)(E?) (.+?)( -> (.+))?$", fill("\n".join(blocks[head]), run), re.M)
            for least in ("6", "7"):
                self.device.lay({**tree, "base/ovcfg.ini": file(f"[Debug]\nLevel={least}\n")})
                records = []
                for level, error, text, _, call in lines:
                    records += [("E " if error else "I ") + text] * (level >= least) + ["C " + call] * bool(call)
                with self.subTest(what, levels=least):
                    self.assertEqual(records, self.device.run().log)

    def test_command_lines(self):
        tokens = ('"base/a.exe" "' + "b" * 250 + '" "').ljust(518, "c")
        deep = "b" * 200 + "/" + "c" * 37  # all paths below fit
        for line, status, base in (
                ('"x/a.exe" "base"', 0, "base/"), ('"x/a.exe""base"', 0, "base/"), ('a.exe"base', 0, "base/"),
                (' "a.exe" "" " base\t" "  "', 0, "base/"), ('"x/a.exe" "base/in"', 0, "base/in/"),
                ('"base/a.exe"', 0, "base/"), ('"base/a b.exe"', 0, "base/"), ('"base\\in/a.exe"', 0, "base/in/"),
                ('"base/a.exe" "o" "third"', 0, "base/"), ('""', 0, ""), ('"a.exe"', 0, ""), (tokens + '"', 0, "base/"),
                (f'"base/{"b" * 250}.exe"', 0, "base/"), (f'"base/{"b" * 251}.exe"', 1, None),
                (f'"x" "{deep}"', 0, deep + "/"), (f'"x" "{deep}d"', 0, None), (f'"x" "{deep}de"', 0, None),
                ('"base/a.exe" "base" "base" "base"', 0, None), ('"a.exe" "' + "b" * 260 + '"', 1, None),
                ('"a.exe" "' + "b" * 259 + '"', 0, None),
                ('"base/' + "b" * 260 + '/a.exe"', 1, None), (tokens + 'c"', 2, None), (tokens + "c" * 200, 2, None)):
            self.device.lay({("base/" if base is None else base) + "OV_Temp/OvPatch.ini": file("[common]\naction=2\n")})
            outcome = self.device.run([line])
            results = {path: entry.content for path, entry in outcome.tree.items() if path.endswith("OvResult.ini")}
            expected = {} if base is None else {base + "OV_Temp/OvResult.ini": b"result=0\n"}
            told = any(b"\nOvPatch: CatURIWithFile: failed.\n\nInfo" in entry.content for entry in outcome.tree.values() if entry)
            self.assertEqual((outcome.exit, results, told), (status, expected, line.endswith('cde"') and not WINDOWS), line)

    def test_two_runs(self):
        """The second waits, with nothing done, for as long as the first one's agent takes."""
        # Without the lock the journal has to be there.
        for through, entry in [((), "StartAction *"), (WITHOUT_LOCK, "CheckFileEx #2")][:1 + MOUNTS]:
            self.device.lay({**Story(ENGINE).tree(), "agent.orders": file(f"{entry} write started\n{entry} await go\n")})
            first = self.device.start(through=through)
            started = os.path.join(self.device.directory, b"started")
            while not (os.path.exists(started) and os.path.getsize(started)) and first.poll() is None:
                time.sleep(0.001)
            meanwhile = self.device.look()
            second = self.device.start(through=through)
            time.sleep(0.1)
            now = self.device.look()
            self.check(differences({**meanwhile, LOG: now[LOG]}, now))
            self.device.lay({**now, "go": file("")})
            self.assertEqual([self.device.wait(first), self.device.wait(second)], [0, 0])
            tree = self.device.look()
            log = self.device.decode(tree.pop(LOG).content)
            writers = [process for _, process in RECORD.findall(log)]
            self.assertEqual(log.count("the lock cannot be had"), 2 * bool(through))
            calls = tree.pop("agent.calls").content
            self.assertEqual((len(set(writers)), calls[:len(calls) // 2]), (2, calls[len(calls) // 2:]))
            if not through:  # which it tells
                self.assertEqual(sorted(writers, key=writers.index), writers)
            self.check(judge_again(self.device, Story(ENGINE), tree))

    def test_elsewhere(self):
        """What a run that was cut off has left is put right by a start in another directory, too."""
        tree = {**Story(ENGINE).tree(), "agent.orders": file("EndItem * die\n")}
        self.lay(tree, Changes(""))
        self.device.lay({**self.device.look(), MANIFEST: file("[common]\naction=2\n")})
        outcome = self.device.run([os.path.join("..", "base")], through=["env", "-C", "base"])
        self.check(differences(*({path: entry for path, entry in one.items() if path.startswith("dst")}
                                 for one in (tree, outcome.tree))), outcome)

    def test_code_page_932(self):
        """A trail byte that looks like a separator is none: in a destination, a directory and a file's name."""
        device, so = Device("cp932"), "\u30bd"
        story = Story({**ENGINE, "destination": "d" + so})
        tree = {**story.tree(), "base/ovcfg.ini": file("code_page=932\n"),
                f"base/OV_Temp/2/31/{so}/f{so}.bin": file("new"), f"d{so}/{so}/f{so}.bin": file("old")}
        self.check(judge_again(device, story, with_directories(tree)))

    @unittest.skipIf(WINDOWS, "streams and mounts of a POSIX host")
    def test_hosts_without(self):
        """Without standard streams, or without a place for the lock, a run goes on; a file too large for the host fails."""
        for through in (["sh", "-c", 'exec "$@" 0<&- 1>&- 2>&-', "-"], WITHOUT_LOCK if MOUNTS else ()):
            self.judged(Story(ENGINE).tree(), through=through)
        large = file("large" * 20000)
        for tree in {"base/OV_Temp/2/31/large": large}, {"dst/old0.bin": Link(b"../real"), "real": large}:
            self.judged({**Story(ENGINE).tree(), **tree}, 16, through=["prlimit", "--fsize=60000"])

    @unittest.skipIf(WINDOWS, "links of a POSIX host")
    def test_links(self):
        """What a link of the product leads to is updated, saved and brought back; the link stays."""
        for agent, name in itertools.product(("agent\\new" + SUFFIX, None), ("old0.bin", "new0.bin")):
            story = Story(ENGINE, PRODUCT, changes={"common.patchagent": agent})
            self.device.lay(with_directories({**story.tree(), f"dst/{name}": Link("../real"), "real": file("as it was")}))
            updated = self.device.run().tree
            self.assertEqual(updated["real"].content, f"{name[:4]} of the update".encode())
            for kind, result, content in ((None, 0, b"as it was"), (9, 16, updated["real"].content)):
                back = story.manifest({"common.action": 1, **({"item_1.class": kind} if kind else {})})
                self.device.lay({**updated, MANIFEST: file(back)})
                outcome = self.device.run()
                after = outcome.tree
                self.assertEqual((outcome.result, after.get(f"dst/{name}"), after["real"].content),
                                 (result, Link(b"../real"), content), outcome.log)
                self.assertFalse([path for path in after if "backup.00" in path and path not in updated])

    @unittest.skipIf(WINDOWS, "rights of a POSIX host")
    def test_directories_without_rights(self):
        """A directory that cannot be listed is not taken for an empty one, a file that cannot be read is not lost; without a
        journal a run goes on."""
        as_anybody = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
        for run, level, place, mode, result, line in (
                ("U1", 9, "base/OV_Temp/1/2", "0", 16, "E OvPatch: base\\OV_Temp\\1\\2\\ cannot be read, error 5."),
                ("U1", 6, "base/OV_Temp/1/2/sub", "0", 16, "E OvPatch: base\\OV_Temp\\1\\2\\sub\\ cannot be read, error 5."),
                ("U1", 9, "base", "555", 0, "E journal: base\\OvJournal.txt cannot be made, the run goes on without it."),
                ("R1", 6, "dst/new1.bin", "0", 16, "E rollbackItem: dst\\new1.bin cannot be saved.")):
            close = f'chmod {mode} "$0"; "$@"; status=$?; chmod u=rwX,go=rX "$0"; exit $status'
            _, tree = self.prepare((), f"+base/OV_Temp/1/2/sub/f=new; +base/OV_Log/; +base/ovcfg.ini=[Debug]^Level={level}^", run)
            self.device.lay(tree)
            outcome = self.device.run(through=["sh", "-c", close, place, *as_anybody])
            self.check([complaint for complaint in judge(tree, outcome, result, self.device.decode)
                        if not complaint.startswith(("a record of process", "the log's end")[:1 + level // 9])], outcome)
            self.assertIn(line, outcome.log)


if __name__ == "__main__":
    unittest.main()
