"""Calls ovpatchctl on a device of the player. The program comes from the environment: OVPATCH_CTL."""
import json
import os
import re
import subprocess

from player import LAUNCHER, SECONDS

CTL = os.path.abspath(os.environ.get("OVPATCH_CTL") or "ovpatchctl")


def ctl(device, *arguments, stdout=subprocess.PIPE, through=()):
    """The exit status, what it printed (a document with --json) and what it said on standard error; `through` starts it."""
    done = subprocess.run([*through, *LAUNCHER, CTL, *map(device.encode, arguments)], cwd=device.directory, env=device.environment,
                          stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE, timeout=SECONDS, check=False)
    said = re.sub(r"^wine: .*\n", "", done.stderr.decode("utf-8").replace("\r", ""), flags=re.M)
    printed = (done.stdout or b"").decode("utf-8").replace("\r", "")  # strictly: names come as valid text
    return done.returncode, json.loads(printed) if "--json" in arguments and printed else printed, said
