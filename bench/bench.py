#!/usr/bin/env python3
"""Measures OvPatch beside a floor and beside the tools that a user would take instead.

Workloads, each an update and the rollback of it:

  overwritten  N files, all of which exist at the destination: the update alone
  again        20,000 of them, a second update and a rollback: names for copies allow no more
  new          N files, none of which exists
  deep         N / 10 files, at most 4,096, each in a leaf of a tree of depth 12
  big          20 files of 16 MiB that exist
  items        100 and 800 items of 20 files at one destination, which exist

Who does them, in alternation and each on a fresh destination:

  floor        bench/floor.c: the calls of the system that the same outcome takes, and nothing else
  copying      the same, but a rollback copies back what was copied away, and does not rename it
  recovery=0, flush=0, default, flush=2    OvPatch with these settings, without an agent and with a quiet log (Level=10)
  logged       OvPatch with flush=0 and the log that it writes when nothing is set
  asked        OvPatch with flush=0, a quiet log and an agent that consents to everything (bench/consent.c)
  rsync        update: -a --backup --backup-dir; rollback: -a BACKUP/ DST/, which saves nothing before it restores
  cp           update: cp -a, which saves nothing

It prints, per file, the least user and system time, the least elapsed time, the system calls, and the peak memory.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
QUIET = "[Debug]\nLevel=10\n"
SETTINGS = {"recovery=0": "recovery=0\n" + QUIET, "flush=0": "flush=0\n" + QUIET, "default": QUIET,
            "flush=2": "flush=2\n" + QUIET, "logged": "flush=0\n", "asked": "flush=0\n" + QUIET}
MANIFEST = "[common]\naction={}\nitemcount={}\npatchagent.version=1\norvelle_path=base\n{}"
ITEM = "[item_{}]\nclass=1\ntype={:x}\norigin.version=1.0\nresult.version=1.1\ndestination=dst\n"


def install(*packages):
    missing = [p for p in packages if shutil.which(p) is None]
    if missing:
        subprocess.run(["apt-get", "install", "-y", "-qq", "--no-install-recommends", *missing], check=True,
                       stdout=subprocess.DEVNULL)


def write(path, stamp, size, mtime):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write((stamp * (size // len(stamp) + 1))[:size])
    os.utime(path, (mtime, mtime))


class Place:
    """One working directory: base/ with the work area and the manifest, dst/ with the product.

    `files` are the item that brings a file, its name, and whether it is there already."""

    def __init__(self, root, files, size):
        self.root, self.files = root, files
        self.items = max(item for item, _, _ in files)
        for item, name, exists in files:
            write(f"{root}/base/OV_Temp/1/{item}/{name}", b"new " + name.encode(), size, 1_700_000_000)
            if exists:
                write(f"{root}/pristine/{name}", b"old " + name.encode(), size, 1_600_000_000)

    def fresh(self):
        """What the last run left is put aside and deleted at the end only: a file system that has just freed many
        files can take long to make new ones, which would be told against whoever comes next."""
        for name in ("dst", "saved", "base/OV_Log"):
            if os.path.exists(f"{self.root}/{name}"):
                os.rename(f"{self.root}/{name}", tempfile.mkdtemp(dir=self.root, prefix="used."))
        if os.path.exists(f"{self.root}/pristine"):
            subprocess.run(["cp", "-a", f"{self.root}/pristine", f"{self.root}/dst"], check=True)
        else:
            os.mkdir(f"{self.root}/dst")
        os.sync()

    def tidy(self):
        for name in os.listdir(self.root):
            if name.startswith("used."):
                shutil.rmtree(f"{self.root}/{name}")

    def order(self, action, settings, agent):
        with open(f"{self.root}/base/OV_Temp/OvPatch.ini", "w") as file:
            file.write(MANIFEST.format(action, self.items, agent))
            file.writelines(ITEM.format(n, n + 1) for n in range(self.items))
        with open(f"{self.root}/base/ovcfg.ini", "w") as file:
            file.write(settings)

    def is_done(self, action):
        for _, name, exists in (self.files[0], self.files[-1]):
            path, wanted = f"{self.root}/dst/{name}", b"new" if action == 0 else b"old" if exists else None
            found = None
            if os.path.exists(path):
                with open(path, "rb") as file:
                    found = file.read(3)
            if found != wanted:
                return False
        return True


class Runner:
    """Who does the work: the commands of both actions, None for one that it does not know."""

    def __init__(self, name, chosen, place):
        self.name, self.place, self.settings = name, place, SETTINGS.get(name)
        self.best = {}
        self.agent = f"patchagent={chosen.agent}\n" if name == "asked" else ""
        sources = [f"base/OV_Temp/1/{n + 1}/" for n in range(place.items)]
        floor = [chosen.floor, "{}", "base/OV_Temp/1", "dst", "saved"]
        backed = ["rsync", "-a", "--backup", f"--backup-dir={place.root}/saved", *sources, "dst/"]
        self.commands = {"floor": [[part.format(action) for part in floor] for action in ("update", "rollback")],
                         "copying": [[part.format(action) for part in floor] for action in ("update", "return")],
                         "rsync": [backed, ["rsync", "-a", "saved/", "dst/"]],
                         "cp": [["cp", "-a", *(source + "." for source in sources), "dst/"], None]}
        self.commands = self.commands.get(name, [[chosen.program, "base"]] * 2)
        if name == "rsync" and not place.files[0][2]:
            self.commands[1] = None

    def prepare(self, action, settings):
        if self.settings is not None:
            self.place.order(action, settings, self.agent)

    def play(self, action, prefix=()):
        command = [*prefix, *self.commands[action]]
        start = time.perf_counter()
        process = subprocess.Popen(command, cwd=self.place.root, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        said = process.stderr.read().decode()
        _, status, usage = os.wait4(process.pid, 0)
        elapsed = time.perf_counter() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0 or not self.place.is_done(action):
            sys.exit(f"{' '.join(command)}: not done, {said}")
        return usage.ru_utime + usage.ru_stime, elapsed, said

    def measure(self, step, prefix):
        """One round of a step: before it, what it rests on is done by OvPatch's quickest way or by the tool itself."""
        action = int(step == "rollback")
        if self.commands[action] is None or (step == "second" and self.settings is None):
            return None
        self.place.fresh()
        if step != "update":
            self.prepare(0, SETTINGS["recovery=0"])
            self.play(0)
        self.prepare(action, self.settings)
        return self.play(action, prefix)

    def note(self, step, column, value):
        key = (step, column)
        self.best[key] = min(self.best.get(key, value), value)

    def round(self, step, trace):
        """time(1) tells the peak: a child of this process would start out with this process's memory as its peak."""
        count = len(self.place.files)
        if trace:
            with tempfile.NamedTemporaryFile("r") as summary:
                if self.measure(step, ["strace", "-f", "-c", "-U", "calls", "-o", summary.name]):
                    calls = max(int(number) for number in re.findall(r"^\s*(\d+)", summary.read(), re.M))
                    self.note(step, "calls", calls / count)
            return
        taken = self.measure(step, ["time", "-f", "%M"])
        if taken:
            self.note(step, "cpu", taken[0] / count * 1e6)
            self.note(step, "elapsed", taken[1] / count * 1e6)
            self.note(step, "peak", int(taken[2].split()[-1]) / 1024)


def workloads(chosen):
    """The name of each, its files, their size, and its steps."""
    count, both = chosen.files, ("update", "rollback")
    leaves = [[f"{'/'.join(f'{leaf:012b}')}/leaf.dll"] for leaf in range(min(count // 10, 4096))]
    names = [f"file{n:05}.dll" for n in range(count)]
    found = {"overwritten": ([(1, name, True) for name in names], chosen.bytes, ("update",)),
             "again": ([(1, name, True) for name in names[:20000]], chosen.bytes, ("second", "rollback")),
             "new": ([(1, name, False) for name in names], chosen.bytes, both),
             "deep": ([(1, name, False) for [name] in leaves], chosen.bytes, both),
             "big": ([(1, name, True) for name in names[:20]], 16 << 20, both)}
    for items in (100, 800):
        files = [(n // 20 + 1, f"{n // 20:03}-{n % 20:02}.dll", True) for n in range(items * 20)]
        found[f"items {items}"] = (files, chosen.bytes, both)
    return {name: found[name] for name in found if name.split()[0] in chosen.workloads.split(",")}


def show(title, column, rows, names):
    print(f"\n{title}\n\n| | {' | '.join(names)} |\n|---|{'---:|' * len(names)}")
    for name, step, runners in rows:
        cells = [runner.best.get((step, column)) for runner in runners]
        print(f"| {name}, {step} | {' | '.join('-' if cell is None else f'{cell:.1f}' for cell in cells)} |")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", default=os.path.join(os.path.dirname(HERE), "build", "release", "OvPatch"))
    parser.add_argument("--workloads", default="overwritten,again,new,deep,big,items")
    parser.add_argument("--who", default=",".join(["floor", "copying", *SETTINGS, "rsync", "cp"]))
    parser.add_argument("--files", type=int, default=40000)
    parser.add_argument("--bytes", type=int, default=4096)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--place", help="where to work; a directory on the file system to be measured")
    parser.add_argument("--no-strace", action="store_true")
    chosen = parser.parse_args()
    install("rsync", "time", *([] if chosen.no_strace else ["strace"]))
    chosen.program, names, rows = os.path.abspath(chosen.program), chosen.who.split(","), []
    root = tempfile.mkdtemp(dir=chosen.place)
    try:
        chosen.floor = os.path.join(root, "floor")
        subprocess.run(["cc", "-O2", "-o", chosen.floor, os.path.join(HERE, "floor.c")], check=True)
        chosen.agent = os.path.join(root, "consent.so")
        subprocess.run(["cc", "-O2", "-shared", "-fPIC", "-I", os.path.join(HERE, "..", "include"), "-o", chosen.agent,
                        os.path.join(HERE, "consent.c")], check=True)
        for name, (files, size, steps) in workloads(chosen).items():
            place = Place(os.path.join(root, name), files, size)
            runners = [Runner(who, chosen, place) for who in names]
            for step in steps:
                for number in range(chosen.rounds + (not chosen.no_strace)):
                    for runner in runners:
                        runner.round(step, number == chosen.rounds)
                        place.tidy()
                rows.append((name, step, runners))
            shutil.rmtree(place.root)
            print(f"{name}: {chosen.rounds} rounds", file=sys.stderr, flush=True)
    finally:
        shutil.rmtree(root)
    show("Least user and system time, µs per file", "cpu", rows, names)
    show("Least elapsed time, µs per file", "elapsed", rows, names)
    show("System calls per file", "calls", rows, names)
    show("Peak memory, MiB", "peak", rows, names)


if __name__ == "__main__":
    main()
