"""Plays runs of the program on devices that are laid out for them.

    device = Device()
    device.lay(Story(ENGINE, PRODUCT).tree())      # the tree is made exactly so, whatever stood there
    outcome = device.run()                         # ... and outcome.tree is what stands there now

Paths in trees are the host's, relative to the device and with "/"; what the program gets and tells has "\\".
The program to run comes from the environment: OVPATCH_PROGRAM, OVPATCH_LAUNCHER (what starts it, for another
host's program), OVPATCH_TEST_AGENTS (the directory of the agents), OVPATCH_AGENT_SUFFIX.
"""
import atexit
import os
import re
import select
import shutil
import stat
import subprocess
import tempfile
from collections import namedtuple

PROGRAM = os.path.abspath(os.environ.get("OVPATCH_PROGRAM") or "OvPatch")
LAUNCHER = os.environ.get("OVPATCH_LAUNCHER", "").split()
AGENTS = os.environ.get("OVPATCH_TEST_AGENTS") or "."
SUFFIX = os.environ.get("OVPATCH_AGENT_SUFFIX") or ".so"
WINDOWS = SUFFIX == ".dll"
SECONDS = 90 if LAUNCHER else 30  # a run that takes longer does not end

# ---- Trees: what stands below a directory, by path: a File, a Link, or None for a directory ----

Link = namedtuple("Link", "target")
File = namedtuple("File", "content mode")


def file(content, mode=0o644):
    return File(content if isinstance(content, bytes) else content.encode("utf-8", "surrogateescape"), mode)


def read_file(path):
    with open(path, "rb", buffering=0) as handle:
        content, mode = handle.read(), stat.S_IMODE(os.fstat(handle.fileno()).st_mode)
    if WINDOWS:  # which ends lines of text its own way, and knows one of the rights
        content = content.replace(b"\r\n", b"\n") if path.endswith(b".ini") else content
        mode = 0o644 if mode & stat.S_IWUSR else 0o444
    return File(content, mode)


def read_tree(root, skipped=(), below=b""):
    """The tree as it is, keyed by bytes, but for the paths in `skipped`."""
    tree = {}
    for entry in os.scandir(os.path.join(root, below)):
        path = os.path.join(below, entry.name)
        if entry.is_symlink():
            tree[path] = Link(os.readlink(entry.path))
        else:
            tree[path] = None if entry.is_dir() else read_file(entry.path)
        if tree[path] is None:
            tree.update(read_tree(root, skipped, path))
    return {path: entry for path, entry in tree.items() if path not in skipped}


def write_tree(root, tree, now):
    """Makes the tree below `root`, where `now` stands; a file that changes is made anew, never written into."""
    for path in sorted((path for path, entry in now.items() if path not in tree or tree[path] != entry), reverse=True):
        (os.rmdir if now[path] is None else os.unlink)(os.path.join(root, path))
    for path in sorted(path for path, entry in tree.items() if path not in now or now[path] != entry):
        entry, place = tree[path], os.path.join(root, path)
        if entry is None:
            os.mkdir(place)
        elif isinstance(entry, Link):
            os.symlink(entry.target, place)
        else:
            with open(place, "xb", buffering=0) as handle:
                handle.write(entry.content)
                os.fchmod(handle.fileno(), entry.mode)


def with_directories(tree):
    """The tree with the directories above each entry."""
    whole = dict(tree)
    for path in tree:
        while "/" in path:
            path = path.rpartition("/")[0]
            whole.setdefault(path, None)
    return whole


def differences(expected, seen):
    """What a reader has to know of two trees that differ; empty if they do not."""
    def told(tree, path):
        entry = tree.get(path, "nothing")
        return "a directory" if entry is None else entry[0] if isinstance(entry, (File, Link)) else entry
    return [f"{path}: expected {told(expected, path)!r}, found {told(seen, path)!r}"
            for path in sorted(expected.keys() | seen.keys())
            if expected.get(path, "nothing") != seen.get(path, "nothing")]


# ---- What a run reads: the manifest and the new files ----

ENGINE = {"class": "2", "type": "1f", "origin.version": "1.5", "result.version": "1.6.120", "destination": "dst"}
PRODUCT = {"class": "1", "type": "2", "origin.version": "3.1234", "result.version": "4.0", "destination": "dst"}
PATTERN = {"class": "3", "type": "5", "origin.version": "1234", "result.version": "1240", "destination": "dst"}
RESULT, MANIFEST = "base/OV_Temp/OvResult.ini", "base/OV_Temp/OvPatch.ini"
LOG, CALLS = "base/OV_Log/KxuDump.txt", "agent.calls"


def ini(sections):
    """Text of {section: {key: value}}; a key without a value (None) is left out."""
    return "".join(f"[{name}]\n" + "".join(f"{key}={value}\n" for key, value in keys.items() if value is not None)
                   for name, keys in sections.items() if keys is not None)


def directory_of(item):
    return f"{int(item['class'])}/{int(item['type'], 16)}"


class Story:
    """What the updater orders: items, and what differs from a plain manifest, keyed as "common.backup"."""

    def __init__(self, *items, generation=1, changes=None):
        self.generation = generation
        self.sections = {"common": {"action": 0, "itemcount": len(items), "patchagent.version": generation,
                                    "patchagent": f"agent\\{('old', 'new')[generation]}{SUFFIX}",
                                    "orvelle_path": "base"}}
        self.sections.update((f"item_{n}", item) for n, item in enumerate(items))
        self.sections = self.changed(changes or {})

    def changed(self, changes):
        sections = {name: dict(keys) for name, keys in self.sections.items()}
        for name, value in changes.items():
            section, _, key = name.partition(".")
            sections.setdefault(section, {})[key] = value
        return sections

    def manifest(self, changes=None):
        return ini(self.changed(changes or {}))

    def tree(self):
        """The device before an update: of each item n new<n>.bin is new and old<n>.bin is there already."""
        tree = {MANIFEST: file(self.manifest()), "base/ovcfg.ini": file("[Debug]\nLevel=6\n")}
        for n, item in enumerate(keys for name, keys in self.sections.items() if name != "common"):
            source, destination = "base/OV_Temp/" + directory_of(item), item["destination"].replace("\\", "/").removeprefix("./")
            tree[f"{source}/new{n}.bin"] = file(f"new{n} of the update")
            tree[f"{source}/old{n}.bin"] = file(f"old{n} of the update")
            tree[f"{destination.rstrip('/')}/old{n}.bin"] = file(f"old{n} as it was")
        return with_directories(tree)


# ---- Runs ----

RECORD = re.compile(r"\n\n(Info|Error|Call):  P\[(-?\d+)\] T\[-?\d+\] \n")
TOO_LONG = re.compile(r".{76}").match  # a word of more than 15 bytes is cut at the 75th, too


class Outcome:
    """What a run left: exit value, `result` (a number, or None), `log` and `calls` (each record as "I text", "E text"
    or "C call", its line breaks taken out), what it said on its standard streams, the tree but for log and calls, and
    `complaints` about records that are not well formed."""

    def __init__(self, process, status, before, after, said, decode):
        self.exit, self.said, self.complaints = status, said, []
        self.tree = {path: entry for path, entry in after.items() if path not in (LOG, CALLS)}
        kept, log, calls = (decode(tree[path].content) if path in tree else ""
                            for tree, path in ((before, LOG), (after, LOG), (after, CALLS)))
        self.log = self.records(log[len(kept):] if log.startswith(kept) else log, None if LAUNCHER else process)
        self.calls = [call[2:] for call in self.records(calls, None)]
        written = re.findall(r"^result=(-?\d+)$", decode(after[RESULT].content), re.M) if RESULT in after else []
        self.result = int(written[0]) if len(written) == 1 else None

    def records(self, text, process):
        first, *parts = RECORD.split(text)
        for kind, identity, message in zip(parts[::3], parts[1::3], parts[2::3]):
            if kind != "Call" and (process not in (None, int(identity)) or any(map(TOO_LONG, message.split("\n")))):
                self.complaints.append(f"a record of process {identity}, which is {process}: {message!r}")
        self.complaints += [f"before the first record: {first!r}"] * bool(first)
        return [kind[0] + " " + message.replace("\n", "") for kind, message in zip(parts[::3], parts[2::3])]


class Device:
    """A fresh directory, in which the program is started. The agents lie in its "agent" (agent\\new.so and so on)."""

    executable = PROGRAM

    def __init__(self, charset="utf-8"):
        self.charset, self.now, self.environment = charset, {}, dict(os.environ)
        if charset == "cp932":
            self.environment["OVPATCH_ANSI_CODE_PAGE"] = "932"
        root = tempfile.mkdtemp(prefix="ov")
        atexit.register(shutil.rmtree, root, ignore_errors=True)
        self.root, self.directory = os.fsencode(root), os.fsencode(os.path.join(root, "device"))
        os.mkdir(self.directory)
        shutil.copytree(AGENTS, os.path.join(root, "agent"), ignore=lambda _, names:
                        [name for name in names if not name.endswith(SUFFIX)])
        os.symlink("../agent", os.path.join(self.directory, b"agent"))
        self.streams = os.open(os.path.join(root, "said"), os.O_RDWR | os.O_CREAT | os.O_APPEND, 0o600)

    def remove(self):
        os.close(self.streams)
        shutil.rmtree(self.root, ignore_errors=True)

    def encode(self, text):
        """As the device writes it; in names that it keeps in Unicode this host sees UTF-8."""
        return text.encode(self.charset, "surrogateescape")

    def decode(self, content):
        text = content.decode(self.charset, "surrogateescape")
        return text.replace("\r", "") if WINDOWS else text

    def names(self, tree, convert):
        charset = "utf-8" if WINDOWS else self.charset
        return {getattr(path, convert)(charset, "surrogateescape"): entry for path, entry in tree.items()}

    def lay(self, tree):
        """Makes the device's tree this one."""
        wanted = self.names(with_directories(tree), "encode")
        write_tree(self.directory, wanted, self.now)
        self.now = wanted

    def look(self):
        self.now = read_tree(self.directory, (b"agent",))
        return self.names(self.now, "decode")

    def start(self, arguments=("base",), environment=None, through=()):
        """Starts a run with the environment's variables added; `through` is a command that starts what follows it."""
        return subprocess.Popen([*through, *LAUNCHER, self.executable, *map(self.encode, arguments)], cwd=self.directory,
                                close_fds=False, stdin=subprocess.DEVNULL, stdout=self.streams, stderr=self.streams,
                                env={**self.environment, **(environment or {})})

    @staticmethod
    def wait(process):
        """The exit value of a run, or less the number of the signal that killed it."""
        end = os.pidfd_open(process.pid)
        poll = select.poll()
        poll.register(end, select.POLLIN)
        ended = poll.poll(SECONDS * 1000)
        os.close(end)
        if not ended:
            process.kill()
            process.wait()
            raise AssertionError(f"a run does not end: {process.args}")
        return process.wait()

    def has_run(self, outcome):
        """Whether Wine did its part: now and then it does not start or end a program well."""
        return outcome.exit == 0 and outcome.log

    def run(self, arguments=("base",), environment=None, through=()):
        before = self.now
        for _ in range(3):
            os.ftruncate(self.streams, 0)
            process = self.start(arguments, environment, through)
            status = self.wait(process)
            outcome = Outcome(process.pid, status, self.names(before, "decode"), self.look(),
                              os.pread(self.streams, 1 << 20, 0).decode("utf-8", "replace"), self.decode)
            if not WINDOWS or self.has_run(outcome):
                break
            write_tree(self.directory, before, self.now)
            self.now = before
        return outcome
