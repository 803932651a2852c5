#!/usr/bin/env python3
"""Makes the pictures of the documents: docs/<name>.svg of docs/<name>.dot, with Debian's graphviz.

docs/rooms.dot itself is made of what the build says: the rooms of src/ and what stands behind their USES.
    scripts/pictures.py            makes them anew
    scripts/pictures.py --check    fails where a picture is not made of what stands there now; needs no graphviz
"""
import hashlib
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FONT = 'fontname="Helvetica,Arial,sans-serif"'


def build_graph():
    """{room or program: (its folder, the rooms it uses)}, programs in the spelling of their executables."""
    graph = {}
    for path in sorted((ROOT / "src").rglob("CMakeLists.txt")):
        text = re.sub(r"#.*", "", path.read_text())
        folder = path.parent.relative_to(ROOT / "src")
        for name, words in re.findall(r"ovpatch_room\((\w+)([^)]*)\)", text):
            uses = words.partition("USES")[2].split()
            graph.setdefault(name, (folder, set()))[1].update(uses)
        for name in re.findall(r"add_executable\((\w+)", text):
            linked = re.findall(rf"target_link_libraries\({name}\b([^)]*)\)", text)
            graph[name] = (folder, set(re.findall(r"\bovpatch_(\w+)", " ".join(linked))))
    return {name: (folder, uses & graph.keys()) for name, (folder, uses) in graph.items()}


def rooms_dot():
    graph = build_graph()

    def reached(name):
        return graph[name][1].union(*(reached(used) for used in graph[name][1]))
    lines = ["// Made by scripts/pictures.py of the USES in src/; not to be edited.", "digraph rooms {",
             '  bgcolor=white; pad=0.15; nodesep=0.3; ranksep=0.32;',
             f'  node [shape=box, style="rounded,filled", {FONT}, fontsize=12, fontcolor="#22303c",',
             '        color="#8a99a8", fillcolor=white, width=1.25, height=0.4];',
             '  edge [color="#5d6d7e", arrowsize=0.7];']
    inner = {"ovpatch": [], "ovpatchctl": []}
    for name, (folder, _) in sorted(graph.items()):
        look = ', fillcolor="#2f5d8a", color="#2f5d8a", fontcolor=white' if name.startswith("OvP") or name.endswith(
            "ctl") else ""
        label = "entry of the host" if name == "entry" else name
        line = f'{name} [label="{label}"{look}];'
        (lines if look else inner.get(folder.parts[0], lines)).append("  " + line)
    for folder, nodes in inner.items():
        lines += [f'  subgraph cluster_{folder} {{', f'    label="{folder}/"; labeljust=l; style="rounded,filled"; margin=12;',
                  f'    color="#c9d6e2"; fillcolor="#f2f6fa"; {FONT}; fontsize=12; fontcolor="#44525f";',
                  *("  " + node for node in nodes), "  }"]
    for name, (_, uses) in sorted(graph.items()):
        implied = set().union(*(reached(used) for used in uses))
        # The entry stands aside, so that the others come to stand in one line.
        aside = " [weight=0]" if name == "entry" else " [weight=9]"
        lines += [f"  {name} -> {used}{aside};" for used in sorted(uses - implied)]
    return "\n".join(lines) + "\n}\n"


def mark(dot):
    return f"<!-- made by scripts/pictures.py of {hashlib.sha256(dot.encode()).hexdigest()} -->\n"


def main(check):
    stale = []
    rooms = ROOT / "docs/rooms.dot"
    if not check:
        rooms.write_text(rooms_dot())
    elif rooms.read_text() != rooms_dot():
        stale.append(rooms)
    for source in sorted(ROOT.glob("docs/*.dot")):
        dot, picture = source.read_text(), source.with_suffix(".svg")
        if not check:
            made = subprocess.run(["dot", "-Tsvg"], input=dot, stdout=subprocess.PIPE, text=True, check=True).stdout
            picture.write_text(made + mark(dot))
        elif not picture.exists() or not picture.read_text().endswith(mark(dot)):
            stale.append(picture)
    for path in stale:
        print(f"{path.relative_to(ROOT)} is out of date: run scripts/pictures.py", file=sys.stderr)
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:] == ["--check"]))
