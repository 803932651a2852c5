"""What `ovpatchctl run`, `log`, `status` and `clean` tell and do, by what the situations of the whole runs leave."""
import contextlib
import fcntl
import json
import os
import pty
import re
import shlex
import signal
import subprocess
import sys
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "..", place) for place in ("runs", "player")]
import runs_test  # noqa: E402
from ctl import CTL, ctl  # noqa: E402
from oracle import bare, records  # noqa: E402
from player import (ENGINE, LAUNCHER, MANIFEST, PRODUCT, PROGRAM, RESULT, WINDOWS, Story, differences, file, read_file,  # noqa: E402
                    with_directories)

LOCK = "/tmp/PATCH-5CF3C8EF-8084-4af1-9E60-8EB894E951B7.lock"
SETTINGS = "base/ovcfg.ini"
WAITING = "ovpatchctl: another run is at work, waiting for it\n"  # another test's, perhaps
COPY = re.compile(r".*/OV_Backup/\d+/\d+/backup\.[0-9a-z]{3}$")
# Starts a program as somebody who needs rights, behind a command of the shell, on mounts and with a lock of its own.
PRIVATELY = ["unshare", "-m", "setpriv", "--bounding-set=-dac_override,-dac_read_search", "sh", "-c",
             f'[ -e {LOCK} ] || (umask 0; : >{LOCK}); mount --bind agent.orders {LOCK} && eval "$0" && {{ "$@"; status=$?; '
             'chmod -R u=rwX,go=rX base dst; exit $status; }']
# Sanitizers and other processors' programs need more room than a limit leaves.
IS_PLAIN = not LAUNCHER and b"__asan_init" not in read_file(os.fsencode(CTL)).content


def unescaped(text):
    """What a text of a document stands for."""
    return re.sub(r"\?([0-9A-F]{2})", lambda byte: chr(int(byte[1], 16) + 0xdc00 * (byte[1] > "7F")), text)


def path_of(text):
    return bare(unescaped(text or ""))


class Told(runs_test.Runs):
    def told(self, *arguments, status=None, said=""):
        """The document of a command, which changes nothing but for `run` and `clean --yes`."""
        before = None if "run" in arguments or "--yes" in arguments else self.device.look()
        ended, document, complaint = ctl(self.device, *arguments, "--json")
        while ended == 75 and status != 75:  # a run of another test
            time.sleep(0.02)
            ended, document, complaint = ctl(self.device, *arguments, "--json")
        complaint = complaint.replace(WAITING, "")
        self.assertEqual((said in complaint, complaint != ""), (True, said != ""), complaint)
        self.assertIn(ended, (0, 1, 2) if status is None else (status,))
        self.check(differences(before, self.device.look()) if before is not None else [])
        return document

    def check_status(self, after):
        """Records and copies are those of the ledgers; `clean` takes what is left over, and nothing else."""
        gone = set()
        for told in self.told("status", "base")["destinations"]:
            place = path_of(told["destination"]).rstrip("/")
            held = {(item["class"], item["type"]): ({path_of(entry["path"]) for entry in item["removed"]},
                                                    {path_of(entry["path"]): path_of(entry["copy"]) for entry in
                                                     item["restored"]}) for item in told["items"] if not item["hidden"]}
            named = records(after, place, self.device.decode)
            if told["ledgerState"] == "unreadable":
                continue
            self.assertEqual({key: record[:2] for key, record in named.items()}, held)
            missing = {copy for _, copies in held.values() for copy in copies.values()} - after.keys()
            self.assertEqual(missing, {path_of(entry["copy"]) for item in told["items"] for entry in item["restored"]
                                       if entry["copyMissing"]} - after.keys())
            strays = {path for path in after if COPY.match(path) and path.startswith(place + "/OV_Backup/")} - {
                copy for _, written, _ in named.values() for copy in written.values()}
            self.assertEqual(strays, set(map(path_of, told["strayCopies"])))
            gone |= strays | set(map(path_of, told["temporaries"]))
        self.told("clean", "base", "--yes")
        left = {path: entry for path, entry in after.items() if not any(
            path == name.rstrip("/") or (name.endswith("/") and path.startswith(name)) for name in gone)}
        self.check(differences(left, self.device.look()))


class Situations(Told):
    def play(self, words, changes, result, lines, otherwise, run):
        changes, cut, hands = changes.partition(";;;")
        _, tree = self.prepare(words, changes, run)
        plain, seen = tree[SETTINGS] == file("[Debug]\nLevel=6\n"), []
        for html in (0, 1) if plain else (0,):
            if plain:
                tree[SETTINGS] = file(f"[Debug]\nLevel=6\nhtml={html}\n")
            self.lay(tree, runs_test.Changes(hands) if cut else None)
            status, told, said = ctl(self.device, "run", "--json", "--program", PROGRAM, "base")
            if status == 66:
                return self.assertIn("there is no manifest", said)
            self.assertEqual((status, said.replace(WAITING, "")), (70 if result == "none" else int(result), ""))
            if told["log"] is None or result == "none":
                return None
            [logged] = self.told("log", "base", "--run=-1")["runs"]
            self.assertEqual(*([part[name] for name in ("result", "became", "cause", "advice")] for part in (told, logged)))
            self.assertEqual(logged["cause"] is None, result == "0")
            other, seen = seen, [("E " if record["error"] else "I ") + unescaped(record["message"]).replace("\n", "")
                                 for record in logged["records"]]
            self.assertIn(other, ([], seen))  # in both formats
            for line in filter(lambda line: re.match("[EI] ", line), lines.split(" & ")):
                self.assertIn(line, seen)
        after = self.device.look()
        return None if any("OvJournal" in path for path in after) else self.check_status(after)

    def test_rows(self):
        """Results, causes and records are told of both formats of the log, and what is on the disk of each end."""
        self.play_rows(("U1",) if WINDOWS else ("U1", "R0"))


@unittest.skipIf(WINDOWS, "agents and rights of a POSIX host")
class Transcripts(Told):
    def lay_out(self, head):
        run, *words = head[2:].partition("|")[0].split()
        self.device.look()  # ovpatchctl has changed it
        _, tree = self.prepare(words, runs_test.fill(head.partition("|")[2], run), run)
        self.device.lay({path: entry._replace(mode=0o755) if entry and entry[0].startswith(b"#!") else entry
                         for path, entry in tree.items()})

    def lines_told(self, command, status, expected):
        setup, _, command = command.replace("PROGRAM", PROGRAM).rpartition(" && ")
        ended, told = None, ""
        while ended is None or ended == 75 != status or "at work" in str(told) and "at work" not in expected:  # another test's run
            ended, told, said = ctl(self.device, *shlex.split(command), through=[*PRIVATELY, setup] if setup else ())
        self.assertEqual(ended, status, said)
        if isinstance(told, dict):
            told = re.sub(r'"(\w+)": ', r"\1: ", json.dumps(told, ensure_ascii=False)).replace("\\\\", "\\")
            told = re.sub(r"(?<=\{)\w+: (null|false|\[\]), ", "", re.sub(r", \w+: (null|false|\[\])(?=[,}])", "", told))
            told = re.sub(r'"([^",:;{}\[\] ]+)"', r"\1", told)
            told = re.sub(r"((?<=\{)|(?<=, ))(?:result: (?=\d+, item)|(severity|act|path|text|message|kind|item): )", "", told)
        return told.split("\n") + [f"!! {line}" for line in said.replace(WAITING, "").splitlines()]

    def test_transcripts(self):
        """Word by word what a user reads."""
        steps = []
        for line in runs_test.lines_of("../ctl/transcripts.txt"):
            if line[:2] in ("= ", "$ "):
                steps.append([line])
            elif line[:2] == "| ":  # it goes on
                steps[-1][-1] += line[1:]
            else:
                steps[-1].append(line)
        for head, *expected in steps:
            if head[0] == "=":
                self.lay_out(head)
                continue
            head, *expected = (re.sub(r"<(\d+)>", lambda length: runs_test.long_path(int(length[1])), line)
                               for line in (head, *expected))
            command, status, first = re.fullmatch(r"\$ (.*) -> (\d+) ?(.*)", head).groups()
            expected = [first] * bool(first) + expected
            pattern = "".join("(.*\n)*" if line == "..." else re.escape(runs_test.fill(line, "U1")).replace(r"<\*>", ".*") + "\n"
                              for line in expected)
            with self.subTest(head):
                if "&&" not in command or runs_test.MOUNTS and (IS_PLAIN or "ulimit" not in command):
                    seen = self.lines_told(command, int(status), "".join(expected))
                    self.assertRegex("".join(f"{line}\n" for line in seen if line), f"\\A{pattern}\\Z")


class Moments(Told):
    @unittest.skipIf(WINDOWS, "locks and signals of a POSIX host")
    def test_cut_off(self):
        """A run at work and one that was cut off keep `clean` away; the next start puts things right."""
        tree = {**Story(ENGINE, PRODUCT).tree(), "agent.orders": file("EndItem * write started\nEndItem * await go\n")}
        self.device.lay(tree)
        process = self.device.start()
        while not os.path.exists(os.path.join(self.device.directory, b"started")) and process.poll() is None:
            time.sleep(0.001)
        self.assertEqual(self.told("status", "base")["bases"][0]["run"], "at work")
        self.told("clean", "base", "--yes", status=75, said="a run is at work")
        self.told("run", "base", "--timeout", "0.1", status=75, said="nothing was started: another run is still at work")
        process.send_signal(signal.SIGKILL)
        process.wait()
        before = self.device.look()
        [base] = self.told("status", "base", status=1)["bases"]
        while base["run"] == "at work":  # another test's, perhaps
            [base] = self.told("status", "base", status=1)["bases"]
        self.assertEqual((base["run"], base["process"]), ("cut off", process.pid))
        self.told("clean", "base", "--yes", status=2, said="nothing was deleted: a run was cut off")
        self.check(differences(before, self.device.look()))
        [logged] = self.told("log", "base", status=0)["runs"]
        self.assertEqual((logged["ended"], logged["result"], logged["advice"]), (False, None, "Start it again."))
        self.device.lay({**self.device.look(), "go": file("")})
        self.assertEqual(self.told("run", "base", status=0)["result"], 0)
        self.assertEqual([run["ended"] for run in self.told("log", "base")["runs"]], [False, True])
        self.check_status(self.device.look())

    @unittest.skipIf(WINDOWS, "locks and signals of a POSIX host")
    def test_waiting(self):
        """A start waits for the lock, and the result of a run that was killed is not that of an older one."""
        self.device.lay({**Story(ENGINE).tree(), RESULT: file("result=0\n"), "killed": file("#!/bin/sh\nkill -9 $$\n", 0o755)})
        with open(LOCK, "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            waiting = subprocess.Popen([CTL, "run", "base", "--program", "./killed"], cwd=self.device.directory,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            self.assertRegex(waiting.stderr.readline(), "another run is at work, waiting for it")
        out = waiting.communicate(timeout=30)[0]
        self.assertRegex(out, "OvPatch left no result: it was killed by signal 9\n.*again")
        self.assertNotIn("it wrote", out)
        self.assertEqual((waiting.returncode, RESULT in self.device.look()), (70, False))

    @unittest.skipIf(WINDOWS, "terminals of a POSIX host")
    def test_progress(self):
        """A bar on a terminal follows the run through its undo, by either format of the log, and goes."""
        orders = "+base/ovcfg.ini=[Debug]^Level={0}^html={1}^; CheckFileEx #2 await go; StartItem #3 await back; EndItem #2 answer 0"
        orders += "; +base/OV_Log/KxuDump.txt=PatchAgent CheckFil; +base/OV_Log/KxuDump.htm=PatchAgent CheckFil"
        for run, level, arguments in (("U1", 6, ()), ("R1", 6, ()), ("U1", 7, ()), ("U1", 6, ("--json",))):
            _, tree = self.prepare((), "+base/OV_Temp/1/2/sub/f=new;; " + orders.format(level, int(run == "R1")), run)
            self.device.lay(tree)
            ours, terminal = pty.openpty()
            process = subprocess.Popen([CTL, "run", "base", "--program", PROGRAM, *arguments], cwd=self.device.directory,
                                       stdout=subprocess.DEVNULL, stderr=terminal)
            os.close(terminal)
            seen, silent = "", level == 7 or arguments
            for name, awaited in (("go", "2 of 5 files"), ("back", "5 of 5 files, now being undone"), (None, None)):
                with contextlib.suppress(OSError):  # that is its end
                    while not (awaited and (silent or seen.endswith(awaited))) and (part := os.read(ours, 999)):
                        seen += part.decode()
                if name:
                    with open(os.path.join(self.device.directory, name.encode()), "w"):
                        pass
            os.close(ours)
            self.assertEqual(process.wait(), 60)
            self.device.look()
            erased, *bars = seen.replace(WAITING.replace("\n", "\r\n"), "").split("\r\x1b[K")
            told = [f"[{'#' * (6 * n) + '.' * (30 - 6 * n)}] {n} of 5 files" for n in range(6)]
            self.assertEqual((erased, bars[-1:], bars[:-1]), ("", [] if silent else [""], [bar for bar in (
                *told, told[5] + ", now being undone") if bar in bars]))
            self.assertTrue(silent or {told[2], told[5] + ", now being undone"} <= set(bars))

    def test_documents(self):
        """The members of the documents are those that docs/ovpatchctl.md tells."""
        with open(os.path.join(HERE, "../../docs/ovpatchctl.md"), encoding="utf-8") as page:
            rows = re.findall(r"^\| (?:`|each (?:of (?:its )?`|item of a ))(\w+)`? \| (`.*) \|$", page.read(), re.M)
        rows = {name: set(re.findall(r"`(\w+)`", re.sub(r"\([^()]*\)", "", text))) for name, text in rows}
        self.device.lay({**Story(ENGINE, PRODUCT).tree(), "dst/OV_Backup/3/5/backup.000": file("stray"),
                         "dst/.ovp_1.tmp": file("somebody's")})
        documents = {command: self.told(command, "base", status=status) for command, status in
                     (("plan", 0), ("clean", 1), ("run", 0), ("status", 1), ("log", 0))}
        self.assertNotIn("ovp", str(documents["clean"]))
        status, log = documents["status"], documents["log"]
        documents.update(bases=status["bases"][0], destinations=status["destinations"][0], runs=log["runs"][0],
                         ledger=status["destinations"][0]["items"][0], items=documents["plan"]["items"][0])
        self.assertEqual({name: set(document) for name, document in documents.items()},
                         {name: rows[name] for name in documents})

    def test_ends(self):
        """What cannot be told, looked at or written ends with one line that says so."""
        log = "\n\nInfo:  P[1] T[1] \nOvPatch action ready.\n\nError:  P[1"
        tree = {**Story(ENGINE).tree(), "base/OV_Log/KxuDump.txt": file(log), "bare/OV_Temp": None, "plain": None,
                "dst/OV_Backup/OvBackup.ini": file("[common]\nitemcount=1\npatchagent.version=1\n")}
        aside = {**tree, "base/OvJournal.txt.old": file("OvJournal 1 4711 \"/\"\n"), "dst/OV_Backup/1/2/backup.00z": file("needed")}
        for layout, command, status, said in (
                (tree, "", 64, "subcommand is required"), (tree, "--version", 0, ""), (tree, "log", 64, "BASE is required"),
                (tree, "log gone", 66, "no such"), (tree, "plan gone", 66, "no such directory: gone"),
                (tree, "log plain", 66, "no log below plain"), (tree, "log base --run 2", 66, "has 1 run, and no run 2"),
                (tree, "log base --run=-1", 0, ""), (tree, "status gone", 66, "no such directory: gone"),
                (tree, "status plain", 0, ""), (Story(ENGINE).tree(), "status base", 0, ""),
                (tree, "status base", 2, ""), (tree, "clean base", 2, ""),
                (tree, "clean dst --yes", 64, "wants the base"), (aside, "clean base --yes", 2, "could not be put right wholly"),
                (tree, "run gone", 66, "no such directory: gone"), (tree, "run bare", 66, "there is no manifest: bare"),
                (tree, "run base --timeout x", 64, "timeout"), (tree, "run base --program gone/p", 71, "the program cannot be: gone/p")):
            with self.subTest(command):
                self.device.lay(with_directories(layout))
                before = {path: entry for path, entry in self.device.look().items() if path != RESULT}
                ended, told, complaint = ctl(self.device, *command.split())
                while ended == 75:
                    ended, told, complaint = ctl(self.device, *command.split())
                self.assertTrue(told or ended != 0)
                complaint = complaint.replace(WAITING, "")
                self.assertEqual((ended, complaint.count("\n")), (status, int(bool(said))), complaint)
                self.assertIn(said, complaint)
                self.check(differences(before, self.device.look()))
        if not WINDOWS:
            reader, shut = os.pipe()
            os.close(reader)
            with open("/dev/full", "wb") as full:
                for command, out, told in (("log base", full, "No space left on device"), ("clean base", shut, "Broken pipe"),
                                           ("status base --json", full, "No space left on device"), ("--help", shut, "Broken pipe")):
                    self.assertEqual(ctl(self.device, *command.split(), stdout=out)[::2],
                                     (74, f"ovpatchctl: standard output cannot be written: {told}\n"))
            os.close(shut)


if __name__ == "__main__":
    unittest.main()
