#!/usr/bin/env python3
"""Runs clang-tidy over sources of src as .clang-tidy says, after a build of the preset release.

    tidy.py            those that changed last, as many as take some ten seconds on two cores
    tidy.py --all      all of them
    tidy.py FILE...    these
"""

import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/release"
DATABASE = ROOT / "build/tidy"
AT_ONCE = 8


def findings(source):
    """What is wrong with one source. One a process: sources that share one lead the analyzer astray."""
    run = subprocess.run(["clang-tidy", "-p", DATABASE, "--quiet", source], stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, text=True)
    return "" if run.returncode == 0 else run.stdout or run.stderr


def changed_last():
    """The repository's files, those that are changed now first, then by their last commit."""
    def git(*command):
        return subprocess.run(["git", *command], cwd=ROOT, stdout=subprocess.PIPE, text=True, check=True).stdout.split("\n")
    names = [*git("diff", "--name-only", "HEAD"), *git("log", "--format=", "--name-only", "--", "src")]
    return dict.fromkeys(str(ROOT / name) for name in names)


entries = json.loads((BUILD / "compile_commands.json").read_text())
for entry in entries:  # clang cannot read the headers that GCC has compiled
    entry["command"] = re.sub(r" -Winvalid-pch -include \S+", "", entry["command"])
DATABASE.mkdir(exist_ok=True)
(DATABASE / "compile_commands.json").write_text(json.dumps(entries))
known = {entry["file"] for entry in entries if Path(entry["file"]).is_relative_to(ROOT / "src")}
if sys.argv[1:] == ["--all"]:
    sources = sorted(known)
elif sys.argv[1:]:
    sources = [os.path.abspath(name) for name in sys.argv[1:]]
else:
    sources = [name for name in changed_last() if name in known][:AT_ONCE]
with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as workers:
    found = "".join(workers.map(findings, sources))
print(found or f"{len(sources)} of {len(known)} sources, no findings")
sys.exit(1 if found or not sources else 0)
