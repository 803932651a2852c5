"""Whole runs: the rows of rows.txt, judged by the oracle."""
import os
import random
import re
import string
import subprocess
import sys
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../player")]
from oracle import KEPT, judge, judge_again  # noqa: E402
from player import (AGENTS, ENGINE, LOG, MANIFEST, PATTERN, PRODUCT, RECORD, SUFFIX, WINDOWS, Device,  # noqa: E402
                    Story, differences, file, read_file, with_directories)

# The lines of level 9; all others have level 6.
NINE = re.compile(r". (Old OV temp |Copy to old ov temp failed|Update(Ex)?: Call patchagent|(start|end)EachItem: unknown|"
                  r"rollback: patch agent refused|OvPatch: CatURIWithFile)")
ITEMS = {"engine": ENGINE, "product": PRODUCT, "pattern": PATTERN}
MODES = (0o644,) if WINDOWS else (0o644, 0o600, 0o755)
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


class Runs(unittest.TestCase):
    maxDiff = None
    device, updated = None, {}

    @classmethod
    def setUpClass(cls):
        Runs.device = Runs.device or Device()

    def check(self, wrong, outcome):
        if wrong:
            self.fail("\n".join([*wrong, *(["", "Log and calls:", *outcome.log, *outcome.calls] if outcome else [])]))

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


class Rows(Runs):
    runs = ()

    def play(self, words, changes, result, lines, otherwise, action, generation):
        story, tree = self.prepare(words, changes, action, generation)
        self.device.lay(tree)
        outcome = self.device.run()
        allowed = {path: None if entry == GONE else entry for path, entry in Changes(otherwise).files}
        mended = {ITEMS[name.lower()]["class"]: path.replace("\\", "/") for name, path in
                  re.findall(r"Get(\w+)Path \* rewrite ([^\s;]+)", changes)}
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
            for run in self.runs:
                chosen = [word for word in words if word[0] in "UR"]
                if chosen and run not in chosen and run[0] not in chosen or "posix" in words and WINDOWS:
                    continue
                action, generation = int(run[0] == "R"), int(run[1])
                fill = (lambda text: string.Template(text).safe_substitute(texts | words_of(action, generation)))
                column = [re.sub(r"<(\d+)>", lambda m: long_path(int(m[1])), fill(fill(text))) for text in columns]
                column[1:] = [(text.split("//") * 2)[action].strip() for text in column[1:]]
                with self.subTest(what, run=run):
                    self.play(words, *column, action, generation)


class Updates(Rows):
    runs = ("U0", "U1")


class Rollbacks(Rows):
    runs = ("R0", "R1")


del Rows  # not to be played by itself


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

    def run_bare(self, line, base, settings=""):
        """A run that has nothing to do."""
        self.device.lay({base + "OV_Temp/OvPatch.ini": file("[common]\naction=2\n"),
                         base + "ovcfg.ini": file(settings)})
        return self.device.run([line])

    def test_command_lines(self):
        tokens = ('"base/a.exe" "' + "b" * 250 + '" "').ljust(518, "c")
        deep = "b" * 200 + "/" + "c" * 37  # all paths below fit
        for line, status, base in (
                ('"x/a.exe" "base"', 0, "base/"), ('"x/a.exe""base"', 0, "base/"), ('a.exe"base', 0, "base/"),
                (' "a.exe" "" " base\t" "  "', 0, "base/"), ('"x/a.exe" "base/in"', 0, "base/in/"),
                ('"base/a.exe"', 0, "base/"), ('"base/a b.exe"', 0, "base/"), ('"base\\in/a.exe"', 0, "base/in/"),
                ('"base/a.exe" "other" "third"', 0, "base/"), ('""', 0, ""), ('"a.exe"', 0, ""), (tokens + '"', 0, "base/"),
                (f'"x" "{deep}"', 0, deep + "/"), (f'"x" "{deep}d"', 0, None), (f'"x" "{deep}de"', 0, None),
                ('"base/a.exe" "base" "base" "base"', 0, None), ('"a.exe" "' + "b" * 260 + '"', 1, None),
                ('"base/' + "b" * 260 + '/a.exe"', 1, None), (tokens + 'c"', 2, None), (tokens.ljust(700, "c") + '"', 2, None)):
            with self.subTest(line):
                outcome = self.run_bare(line, "base/" if base is None else base)
                results = {path: entry.content for path, entry in outcome.tree.items() if path.endswith("OvResult.ini")}
                self.assertEqual(outcome.exit, status)
                self.assertEqual(results, {base + "OV_Temp/OvResult.ini": b"result=0\n"} if base is not None else {})

    def test_log_settings(self):
        """Where the log goes, and what of it; a run has eight records of level 6."""
        for settings, output, directory, name in (
                ("", 0, 1, "txt"), ("Level=6", 0, 1, "txt"), ("Level=-3", 0, 1, "txt"), ("Level=x", 0, 1, "txt"),
                ("Level=7", 0, 1, ""), ("log_mode=1", 1, 0, ""), ("log_mode=1\nhtml=1", 1, 0, ""), ("html=1", 0, 1, "htm"),
                ("html=2", 0, 1, "txt"), ("log_mode=2", 0, 1, "txt"), ("log_mode=3", 0, 1, ""), ("log_mode=x", 0, 0, ""),
                ("log_mode=4\nhtml=1", 0, 0, "")):
            with self.subTest(settings):
                settings = f"[debug]\n{settings}\n"
                outcome = self.run_bare('"x" "base"', "base/", settings)
                logs = [path for path in outcome.tree if path.startswith("base/OV_Log/")] + ["base/OV_Log/KxuDump.txt"] * \
                    bool(outcome.log)
                self.assertEqual(outcome.said.replace("\r", ""), "OvPatch action ready.\nOvPatch Action rollback.\n"
                                 "writeResult: start.\nwriteResult: done.\n" if output else "")
                self.assertEqual(("base/OV_Log" in outcome.tree, logs), (bool(directory), [f"base/OV_Log/KxuDump.{name}"] * bool(name)))
                self.assertEqual(outcome.tree["base/ovcfg.ini"].content.decode(), settings)

    def test_records_byte_by_byte(self):
        manifest = file("[common]\naction=0\nitemcount=1\npatchagent.version=1\n"
                        "patchagent=Program Data\\R&D  <beta>\\agents\\an_agent_with_a_long_name_of_the_engine.dll\n")
        messages = ["OvPatch action ready.", "OvPatch action update.", "update: start.", "phaseIniForUpdate: start.",
                    "phaseIniForUpdate: common section key/value processing.",
                    "phaseIniForUpdate: patch agent file(Program Data\\R&D  <beta>\\agents\\an_agen\n"
                    "t_with_a_long_name_of_the_engine.dll).",
                    "phaseIniForUpdate: fetch orvelle full path failed.", "phaseIniForUpdate: error quit.",
                    "update: phaseIniForUpdate failed.", "writeResult: start.", "writeResult: done."]
        plain = "".join(f"\n\n{('Info', 'Error')[n in (6, 8)]}:  P[5] T[7] \n{message}" for n, message in enumerate(messages))
        field = "{color} {{font-size:12pt; color:{}}}"
        head = "<html>\n<head>\n<style type=\"text/css\"><!--\nbody {background-color: white;}\n" + "".join(
            f"#{name}\t{{font-size:12pt; color:{color};}}\n" for name, color in
            (*((name, "white") for name in ("typ", "tme", "pid", "tid", "fln")), ("inf", "black"),
             ("err", "red; font-weight: bold"))) + \
            "--></style>\n</head>\n<body><h1 align=center>Orvelle Log File</h1><br><br>\n\n\n\n"
        escaped = [message.replace("&", "&#38;").replace("<", "&#60;").replace(">", "&#62;").replace("  ", "&nbsp ")
                   .replace("\n", "<br>") for message in messages]
        html = "".join(f'<span id="typ"> {("Info", "Error")[n in (6, 8)]}:\n</span><span id="tme"> \n</span><span id="pid"> '
                       f'P[5]\n</span><span id="tid"> T[7] \n</span><span id="fln"><br>\n</span>'
                       f'<span id="{("inf", "err")[n in (6, 8)]}"> {message}\n<br>\n</span>'
                       for n, message in enumerate(escaped))
        for settings, name, text in (("", "txt", plain * 2), ("[Debug]\nhtml=1\n", "htm", head + html * 2)):
            self.device.lay({MANIFEST: manifest, "base/ovcfg.ini": file(settings)})
            self.device.run()
            self.device.run()
            log = self.device.decode(self.device.look()[f"base/OV_Log/KxuDump.{name}"].content)
            self.assertEqual(re.sub(r"P\[\d+\]([^T]*) T\[\d+\]", r"P[5]\1 T[7]", log), text)

    def test_two_runs(self):
        """The second waits, with nothing done, for as long as the first one's agent takes."""
        tree = Story(ENGINE).tree()
        self.device.lay({**tree, "agent.orders": file("StartAction * write started\nStartAction * await go\n")})
        first = self.device.start()
        while not os.path.exists(os.path.join(self.device.directory, b"started")) and first.poll() is None:
            time.sleep(0.001)
        meanwhile = self.device.look()
        second = self.device.start()
        time.sleep(0.1)
        self.assertFalse(differences(meanwhile, self.device.look()))
        self.device.lay({**self.device.look(), "go": file("")})
        self.assertEqual([self.device.wait(first), self.device.wait(second)], [0, 0])
        tree = self.device.look()
        writers = [process for _, process in RECORD.findall(self.device.decode(tree.pop(LOG).content))]
        calls = tree.pop("agent.calls").content
        self.assertEqual(calls[:len(calls) // 2], calls[len(calls) // 2:])
        self.assertEqual((len(set(writers)), sorted(writers, key=writers.index)), (2, writers))
        self.check(judge_again(self.device, Story(ENGINE), tree), None)

    def test_code_page_932(self):
        """A trail byte that looks like a separator is none: in a destination, a directory and a file's name."""
        device = Device("cp932")
        story = Story({**ENGINE, "destination": "d\u30bd"})
        tree = {path: entry._replace(content=entry.content.decode().encode("cp932")) if entry else None
                for path, entry in story.tree().items()}
        tree.update({"base/OV_Temp/2/31/\u30bd/f\u30bd.bin": file("new"), "d\u30bd/\u30bd/f\u30bd.bin": file("old"),
                     "base/ovcfg.ini": file("code_page=932\n")})
        self.check(judge_again(device, story, with_directories(tree)), None)

    @unittest.skipIf(WINDOWS, "streams and mounts of a POSIX host")
    def test_hosts_without(self):
        """Without standard streams, or without a place for the lock, a run goes on."""
        mounting = "mount -t tmpfs none /tmp && mkdir /tmp/PATCH-5CF3C8EF-8084-4af1-9E60-8EB894E951B7.lock && "
        through = [["sh", "-c", 'exec "$@" 0<&- 1>&- 2>&-', "sh"]]
        if subprocess.run(["unshare", "-m", "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
            through.append(["unshare", "-m", "sh", "-c", mounting + 'exec "$@"', "sh"])
        for starter in through:
            tree = Story(ENGINE).tree()
            self.device.lay(tree)
            outcome = self.device.run(through=starter)
            self.check(judge(tree, outcome, 0, self.device.decode), outcome)

    def test_there_and_back(self):
        """Random trees: two updates, then a rollback, which gives back what was between them."""
        chance = random.Random(1)
        for generation in (0, 1) * 6:
            names = [f"{directory}{name}" for directory in ("", "a/", "a/b/", "c d/") for name in ("x", "y.bin", "z")]
            story = Story(ENGINE, {**PRODUCT, "destination": "dst2"}, generation=generation)
            tree = story.tree()
            for _ in range(2):
                for place in ("dst", "dst2", "base/OV_Temp/2/31", "base/OV_Temp/1/2"):
                    tree.update({f"{place}/{name}": file(chance.randbytes(chance.choice((0, 1, 999, 70000))),
                                                         chance.choice(MODES)) for name in chance.sample(names, 5)})
                tree = with_directories(tree)
                self.check(judge_again(self.device, story, tree), None)
                self.device.lay(tree)
                tree = self.device.run().tree


if __name__ == "__main__":
    unittest.main()
