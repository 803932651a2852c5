"""Runs on damaged devices: no crash, no waiting, and nothing of others lost.

    damage.py [<step>]    every so-many-th of the 2,000 cases, which are always the same
"""
import os
import random
import re
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../player"))
import player  # noqa: E402
from player import AGENTS, ENGINE, MANIFEST, PRODUCT, SUFFIX, Device, Story, file, read_file, read_tree  # noqa: E402

player.SECONDS = 10
AGENT, SETTINGS, LEDGER = "own/x" + SUFFIX, "base/ovcfg.ini", "dst/OV_Backup/OvBackup.ini"
HUGE = (b"-1", b"4294967295", b"2147483648", b"99999999999999999999", b"1000000", b"")
ODD = ("a FIFO", "a directory", "outside/kept", "outside", "nowhere", "/dev/zero", "/dev/full", "itself")
OUTSIDE = {b"kept": file("kept"), b"deep": None, b"deep/kept": file("kept")}


# Cut at each place in turn, numbers that are none, or flipped bits.
def damaged(text, n, chance):
    if n % 5 == 0 or text.startswith(b"\x7fELF"):
        return text[:n * 7919 % len(text)]
    if n % 5 == 1:
        first, end = chance.choice([number.span() for number in re.finditer(rb"\d+", text)])
        return text[:first] + chance.choice(HUGE) + text[end:]
    flips = [(chance.randrange(len(text)), 1 << chance.randrange(8)) for _ in range(chance.choice((1, 3, 20)))]
    text = bytes(byte ^ sum({bit for place, bit in flips if place == at}) for at, byte in enumerate(text))
    return re.sub(rb"=\s*[/\\]|\.\.", b"=x", text)  # the paths stay on the device


# What is wrong with a run on the n-th damaged device.
def play(n, trees={}):
    device, chance, generation = Device(), random.Random(n), n % 2
    outside = os.path.join(device.root, b"outside")
    story = Story(ENGINE, PRODUCT, generation=generation, changes={"common.patchagent": AGENT})
    if generation not in trees:
        device.lay({**story.tree(), SETTINGS: file("code_page=0\n[Debug]\nLevel=6\n"),
                    AGENT: read_file(os.path.join(AGENTS, ("old", "new")[generation] + SUFFIX))})
        trees[generation] = device.run().tree
    tree = {**trees[generation], MANIFEST: file(story.manifest({"common.action": n // 2 % 2}))}
    kind, victim = chance.choice(ODD), chance.choice((MANIFEST, LEDGER, SETTINGS, AGENT))
    if n % 8 > 4:  # a run was cut off before this one
        device.lay({**tree, "agent.orders": file("EndProduct * die\nEndItem #2 die\n")})
        tree = device.run().tree
        del tree["agent.orders"]
        victim = "base/OvJournal.txt"
    if n % 5 < 4:
        tree[victim] = file(damaged(tree[victim].content, n, chance))
    device.lay(tree)
    os.mkdir(outside)
    player.write_tree(outside, OUTSIDE, {})
    if n % 5 == 4:  # something else stands in the place of what is there
        victim = chance.choice((victim, *sorted(tree.keys() - {"base"})))
        place = os.path.join(device.directory, victim.encode())
        os.rename(place, os.path.join(device.root, b"aside"))
        goal = place if kind == "itself" else os.path.join(device.root, kind.encode())
        {"a FIFO": os.mkfifo, "a directory": os.mkdir}.get(kind, lambda it: os.symlink(goal, it))(place)
    try:
        status = device.wait(device.start())
    except AssertionError:
        status = "none"
    said = os.pread(device.streams, 9999, 0).decode(errors="replace")
    lost = OUTSIDE.keys() - read_tree(outside).keys()
    device.remove()
    fine = status in (0, 1) and not said or status == -6 and re.fullmatch(r"OvPatch: no memory for [a-z ]+\n", said)
    return [] if fine and not lost else [f"case {n}, {victim}, {kind}: ends with {status}, lost {lost}, said {said!r}"]


if __name__ == "__main__":
    cases = range(0, 2000, int((sys.argv[1:] or [1])[0]))
    wrong = [line for n in cases for line in play(n)]
    print("\n".join([*wrong, f"{len(cases)} cases, {len(wrong)} bad"]))
    sys.exit(bool(wrong))
