#!/usr/bin/env python3
"""Measures OvPatch beside the tools that a user would take instead.

For each number of files N it lays out an item of N files, all of which exist at the destination, and runs in
alternation, each on a fresh destination:

  update    OvPatch, action 0, no agent    beside  rsync -a --backup --backup-dir, and cp -a (which saves nothing)
  second    the same update once more, over the ledger and the copies of the first
  rollback  OvPatch, action 1              beside  rsync -a BACKUP/ DST/ (which saves nothing before it restores)

and prints the median time per file, the system calls per file and the peak memory; OvPatch with a quiet log
(Level=10) and with the default one. Usage: bench/bench.py [--program P] [--sizes 1000,5000] [--rounds 3]
[--bytes 4096] [--place DIR] [--no-strace]
"""

import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

MOST_NAMES = 46656  # names of backup copies in one directory; a second update needs two per file

MANIFEST = """[common]
action={action}
itemcount=1
patchagent.version=1
orvelle_path=base
[item_0]
class=1
type=1
origin.version=1.0
result.version=1.1
destination=dst
"""


def install(*packages):
    missing = [p for p in packages if shutil.which(p) is None]
    if missing:
        subprocess.run(["apt-get", "install", "-y", "-qq", "--no-install-recommends", *missing], check=True,
                       stdout=subprocess.DEVNULL)


class Place:
    """One working directory: base/ with the work area and the manifest, dst/ with the product."""

    def __init__(self, root, count, size):
        self.root, self.count = root, count
        self.pristine = os.path.join(root, "pristine")
        self.source = os.path.join(root, "base", "OV_Temp", "1", "1")
        self.target = os.path.join(root, "dst")
        self.saved = os.path.join(root, "saved")
        os.makedirs(self.pristine)
        os.makedirs(self.source)
        for i in range(count):
            name = f"file{i:05}.dll"
            self.write(os.path.join(self.pristine, name), b"old %08d " % i, size, 1_600_000_000)
            self.write(os.path.join(self.source, name), b"new %08d " % i, size, 1_700_000_000)

    @staticmethod
    def write(path, stamp, size, mtime):
        with open(path, "wb") as file:
            file.write((stamp * (size // len(stamp) + 1))[:size])
        os.utime(path, (mtime, mtime))

    def fresh(self):
        """What the last run left is put aside and deleted at the end only: a file system that has just freed many
        files can take long to make new ones, which would be told against whoever comes next."""
        for path in (self.target, self.saved, os.path.join(self.root, "base", "OV_Log")):
            if os.path.exists(path):
                os.rename(path, tempfile.mkdtemp(dir=self.root, prefix="used."))
        shutil.copytree(self.pristine, self.target)
        os.sync()

    def order(self, action, quiet):
        with open(os.path.join(self.root, "base", "OV_Temp", "OvPatch.ini"), "w") as file:
            file.write(MANIFEST.format(action=action))
        with open(os.path.join(self.root, "base", "ovcfg.ini"), "w") as file:
            file.write("[Debug]\nLevel=10\n" if quiet else "")

    def result(self):
        with open(os.path.join(self.root, "base", "OV_Temp", "OvResult.ini")) as file:
            return file.read().strip()

    def holds(self, stamp):
        first = os.path.join(self.target, "file00000.dll")
        last = os.path.join(self.target, f"file{self.count - 1:05}.dll")
        return all(open(p, "rb").read(3) == stamp for p in (first, last))


def timed(command, cwd):
    """Seconds and peak memory in KiB of one run. time(1) stands between, as a child of this process would start out
    with this process's memory as its peak."""
    start = time.perf_counter()
    done = subprocess.run(["/usr/bin/time", "-f", "peak %M", *command], cwd=cwd, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, text=True)
    seconds = time.perf_counter() - start
    if done.returncode != 0:
        sys.exit(f"{command[0]} failed: {done.returncode} {done.stderr}")
    return seconds, int(done.stderr.split()[-1])


def calls(command, cwd):
    """System calls of one run, its children's included."""
    with tempfile.NamedTemporaryFile("r") as summary:
        subprocess.run(["strace", "-f", "-c", "-U", "calls", "-o", summary.name, *command], cwd=cwd, check=True,
                       stdout=subprocess.DEVNULL)
        return max(int(number) for number in re.findall(r"^\s*(\d+)", summary.read(), re.M))


class Contest:
    """Runs of one kind: how the place is prepared, what is run, and how its outcome is checked."""

    def __init__(self, name, prepare, command, check):
        self.name, self.prepare, self.command, self.check = name, prepare, command, check
        self.seconds, self.memory = [], 0

    def round(self, place):
        self.prepare()
        seconds, memory = timed(self.command, place.root)
        if not self.check():
            sys.exit(f"{self.name}: the outcome is not what it must be ({place.result()})")
        self.seconds.append(seconds)
        self.memory = max(self.memory, memory)

    def row(self, place, trace):
        per_call = "-"
        if trace:
            self.prepare()
            per_call = f"{calls(self.command, place.root) / place.count:.1f}"
        per_file = statistics.median(self.seconds) / place.count * 1e6
        print(f"{place.count:>7} | {self.name:<28} | {per_file:>9.1f} | {per_call:>9} | {self.memory / 1024:>8.1f}",
              flush=True)


def contests(place, program, steps):
    run = [program, "base"]
    sync = ["rsync", "-a", "--backup", f"--backup-dir={place.saved}", place.source + "/", place.target + "/"]

    def updated():
        return place.result() == "result=0" and place.holds(b"new")

    def ready(step, quiet):
        """The destination as it must be before the step is timed."""
        place.fresh()
        if step != "update":
            place.order(0, True)
            subprocess.run(run, cwd=place.root, check=True)
        place.order(1 if step == "rollback" else 0, quiet)

    def synced():
        place.fresh()
        subprocess.run(sync, check=True)

    found = []
    for step in steps:
        done = (lambda: place.result() == "result=0" and place.holds(b"old")) if step == "rollback" else updated
        for quiet, label in ((True, "quiet log"), (False, "default log")):
            found.append(Contest(f"{step}, {label}", lambda s=step, q=quiet: ready(s, q), run, done))
        if step == "update":
            found.append(Contest("rsync -a --backup", place.fresh, sync, lambda: place.holds(b"new")))
            found.append(Contest("cp -a", place.fresh, ["cp", "-a", place.source + "/.", place.target],
                                 lambda: place.holds(b"new")))
        if step == "rollback":
            found.append(Contest("rsync -a BACKUP/ DST/", synced, ["rsync", "-a", place.saved + "/", place.target + "/"],
                                 lambda: place.holds(b"old")))
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    here = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser.add_argument("--program", default=os.path.join(here, "build", "release", "OvPatch"))
    parser.add_argument("--sizes", default="1000,5000,10000,20000,40000")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--bytes", type=int, default=4096)
    parser.add_argument("--place", help="where to work; a directory on the file system to be measured")
    parser.add_argument("--no-strace", action="store_true")
    chosen = parser.parse_args()
    install("rsync", "time", *([] if chosen.no_strace else ["strace"]))

    print(f"files of {chosen.bytes} bytes, median of {chosen.rounds} rounds in alternation")
    print("  files | what                         | µs / file | calls / f | peak MiB")
    for count in (int(size) for size in chosen.sizes.split(",")):
        steps = ["update", "second", "rollback"] if 2 * count <= MOST_NAMES else ["update", "rollback"]
        root = tempfile.mkdtemp(dir=chosen.place)
        try:
            place = Place(os.path.join(root, "place"), count, chosen.bytes)
            entries = contests(place, os.path.abspath(chosen.program), steps)
            for _ in range(chosen.rounds):
                for entry in entries:
                    entry.round(place)
            for entry in entries:
                entry.row(place, not chosen.no_strace)
        finally:
            shutil.rmtree(root)


if __name__ == "__main__":
    main()
