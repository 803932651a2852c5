#!/usr/bin/env python3
"""Runs clang-tidy over src and include as .clang-tidy says, after a build of the preset release."""

import json
import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/release"


def findings(source):
    """What is wrong with one source. One a process: sources that share one lead the analyzer astray."""
    run = subprocess.run(["clang-tidy", "-p", BUILD, "--quiet", source], stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, text=True)
    return "" if run.returncode == 0 else run.stdout or run.stderr


entries = json.loads((BUILD / "compile_commands.json").read_text())
sources = sorted({entry["file"] for entry in entries if Path(entry["file"]).is_relative_to(ROOT / "src")})
with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as workers:
    found = "".join(workers.map(findings, sources))
print(found or f"{len(sources)} sources, no findings")
sys.exit(1 if found or not sources else 0)
