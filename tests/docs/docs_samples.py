#!/usr/bin/env python3
"""Runs what the documents show, and looks up what they quote.

Each document is one story, played in a fresh directory by one shell. Its fenced blocks take part by their info
string: "<language> file=<path>" is written to that path, "sh example" is run, and "<language> output" right
behind an example is what that example prints; an example without one prints nothing. The program is in the
PATH, $src is the root of the sources and $CC the compiler. Process ids in the log are not compared.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from provoked_results import ANSWERING_AGENT, UNPROVOKED, provoke

DOCUMENTS = ["README.md", "docs/manifest.md", "docs/ledger.md", "docs/agents.md", "docs/results-and-logs.md",
             "docs/architecture.md"]
MARK = "@@@ end of an example @@@"


def blocks(text):
    """The fenced blocks of a document: (info string, content, line number)."""
    for match in re.finditer(r"^```([^\n`]*)\n(.*?)^```$", text, re.M | re.S):
        yield match[1].split(), match[2], text.count("\n", 0, match.start()) + 1


def without_ids(text):
    return re.sub(r"P\[\d+\] T\[\d+\]", "P[#] T[#]", text)


def shell_environment():
    environment = dict(os.environ, LC_ALL="C", CC=options.cc, src=str(options.source))
    environment["PATH"] = f"{options.program.parent}:{environment['PATH']}"
    return environment


def fresh_directory():
    return tempfile.TemporaryDirectory(prefix="ovpatch-docs.")


class Samples(unittest.TestCase):
    maxDiff = None

    def play(self, name):
        script, expected, lines = [], [], []
        for info, content, line in blocks((options.source / name).read_text()):
            if "output" in info:
                self.assertEqual(expected[-1], "", f"{name}:{line}: two outputs of one example")
                expected[-1] = content
            elif "example" in info:
                script.append(f"{content}echo '{MARK}'\n")
                expected.append("")
                lines.append(line)
            for target in (word[5:] for word in info if word.startswith("file=")):
                script.append(f"mkdir -p $(dirname {target}); cat >{target} <<'@@@'\n{content}@@@\n")
        with fresh_directory() as place:
            run = subprocess.run(["bash", "-eu", "-c", "".join(script)], cwd=place, env=shell_environment(),
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=120)
        printed = run.stdout.split(MARK + "\n")
        for seen, wanted, line in zip(printed, expected, lines):
            with self.subTest(f"{name}:{line}"):
                self.assertEqual(without_ids(wanted), without_ids(seen))
        self.assertEqual(run.returncode, 0, f"{name}: {printed[-1]}")
        return len(expected)

    def test_examples_print_what_is_shown(self):
        for name in DOCUMENTS:
            with self.subTest(name):
                played = self.play(name)
                self.assertTrue(played or name == "docs/architecture.md", f"{name} shows no example")

    def test_results_are_provoked(self):
        """Each row of the tables below a heading "Result <n>" is a log line and what provokes it."""
        text = (options.source / "docs/results-and-logs.md").read_text()
        rows = []
        for code, section in re.findall(r"^### Result (\d+)\b(.*?)(?=^##)", text, re.M | re.S):
            rows += [(int(code), line) for line in re.findall(r"^\| `([^`]+)` \|", section, re.M)]
        self.assertGreater(len(rows), 30)
        with fresh_directory() as name:
            place = Path(name)
            (place / "agent.c").write_text(ANSWERING_AGENT)
            subprocess.run([options.cc, "-shared", "-fPIC", f"-I{options.source}/include", "-o", "agent.so",
                            "agent.c"], cwd=place, check=True)
            for code, line in rows:
                if line in UNPROVOKED:
                    continue
                with self.subTest(f"result {code}: {line}"):
                    result, log = provoke(line, place / "agent.so", options.program)
                    self.assertEqual(result, code)
                    self.assertTrue(any(matches(line, record) for record in log), "\n".join(log))


def matches(quoted, text):
    """Whether the text is what a quoted line with its %s, %d, ... stands for."""
    pattern = re.sub(r"%[sdux]", ".*", re.escape(quoted))
    return re.fullmatch(pattern, text) is not None


class Quotations(unittest.TestCase):
    def literals(self):
        found = set()
        for path in (options.source / "src").rglob("*.cpp"):
            for text in re.findall(r'"((?:[^"\\\n]|\\.)*)"', path.read_text()):
                found.add(text.replace("\\n", "").replace('\\"', '"').replace("\\\\", "\\"))
        return found

    def test_log_lines_are_the_programs(self):
        literals = self.literals()
        # What is put together: a caller's name in front, or the name of an entry or a class inside.
        formats = [text for text in literals if "%s" in text and len(re.sub(r"%\w|\W", "", text)) > 3]

        def is_known(line):
            if line in literals or line.removesuffix(" %s") in literals:
                return True
            front, _, rest = line.partition(": ")
            if f"{front}: %s" in literals and rest in literals:
                return True
            return any(matches(text, line) and not text.endswith(": %s") for text in formats)

        checked = 0
        for name in DOCUMENTS:
            text = re.sub(r"^```.*?^```$", "", (options.source / name).read_text(), flags=re.M | re.S)
            for line in re.findall(r"`([^`\n]+)`", text):
                if re.match(r"([\w ]+: ?|PatchAgent |OvPatch [aA]|OvPatch [fU])[\w%]", line):
                    checked += 1
                    self.assertTrue(is_known(line), f"{name} quotes a line that is not logged: {line}")
        self.assertGreater(checked, 60)

    def test_links_lead_somewhere(self):
        for name in DOCUMENTS:
            path = options.source / name
            for target in re.findall(r"\]\(([^)#:]+)[^):]*\)", path.read_text()):
                self.assertTrue((path.parent / target).exists(), f"{name} links to {target}")

    def test_manual_pages_are_clean(self):
        for page in sorted((options.source / "man").iterdir()):
            for tool in (["mandoc", "-Tlint", "-Wstyle"], ["groff", "-man", "-Tutf8", "-ww", "-z"]):
                if shutil.which(tool[0]):
                    run = subprocess.run(tool + [page], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                    self.assertEqual((run.returncode, run.stdout), (0, ""), f"{tool[0]} on {page.name}")


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", type=lambda text: Path(text).resolve(), required=True)
    parser.add_argument("--source", type=lambda text: Path(text).resolve(), required=True)
    parser.add_argument("--cc", default="cc")
    options, others = parser.parse_known_args()
    unittest.main(argv=sys.argv[:1] + others)
