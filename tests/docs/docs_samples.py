#!/usr/bin/env python3
"""Runs what the documents show, and looks up what they quote.

Each document is one story, played in a fresh directory by one shell. Its fenced blocks take part by their info
string: "<language> file=<path>" is written to that path, "sh example" is run, and "<language> output" right
behind an example is what that example prints; an example without one prints nothing. The program is in the
PATH, $src is the root of the sources and $CC the compiler. Process ids in the log are not compared.
"""
import os
import re
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(SOURCE / "tests" / place) for place in ("support", "runs")]
import runs_test  # noqa: E402
from call import call  # noqa: E402

DOCUMENTS = {name: (SOURCE / name).read_text() for name in (
    "README.md", "docs/manifest.md", "docs/ledger.md", "docs/agents.md", "docs/results-and-logs.md", "docs/architecture.md",
    "docs/ovpatchctl.md")}
MARK = "@@@ end of an example @@@\n"
# Memory runs out in no row, and what may not be read is a case of its own beside them.
UNPROVOKED = {"initBackupStru: malloc failed.", "updateWithPatchAgent: malloc for blist dest failed.",
              "OvPatch: %s cannot be read, error %u.", "callBackForUpdate: the old file cannot be saved.",
              "rollbackItem: %s cannot be saved."}
ROLES = {"## The result": "RESULTS", "### Result 0": "REMARK", "### Result": "CAUSE", "### Lines that go": "COMPANION",
         "## A run that was cut off": "RECOVERY"}


def without_ids(text):
    """Without the numbers of processes and the processor's name."""
    return re.sub(r"P\[\d+\] T\[\d+\]|process \d+|ELF, [^)]*", "#", text)


def matches(quoted, text):
    """Whether the text is what a quoted line with its %s, %d, ... stands for."""
    return re.fullmatch(re.sub(r"%[sdux]", ".*", re.escape(quoted)), text) is not None


class Documents(runs_test.Runs):
    def check_examples(self, name):
        script, expected = "", []
        for info, content in re.findall(r"^```([^\n`]*)\n(.*?)^```$", DOCUMENTS[name], re.M | re.S):
            if "output" in info.split():
                self.assertEqual(expected[-1], "", "two outputs of one example")
                expected[-1] = content
            elif "example" in info.split():
                script += f"{content}printf '{MARK}'\n"
                expected.append("")
            for target in re.findall(r"\bfile=(\S+)", info):
                script += f"mkdir -p $(dirname {target}); cat >{target} <<'@@@'\n{content}@@@\n"
        self.assertTrue(expected or name == "docs/architecture.md", "no example")
        path = f"{os.path.dirname(os.environ['OVPATCH_PROGRAM'])}:{os.environ['PATH']}"
        with tempfile.TemporaryDirectory(prefix="ovpatch-docs.") as place:
            printed = call("bash", "-eu", "-c", script, cwd=place, env={"PATH": path, "src": str(SOURCE)})
        printed = printed.replace("ovpatchctl: another run is at work, waiting for it\n", "")  # that of another test
        self.assertEqual(without_ids("".join(text + MARK for text in expected)), without_ids(printed))

    def test_examples_print_what_is_shown(self):
        for name in DOCUMENTS:
            with self.subTest(name):
                self.check_examples(name)

    def play(self, words, changes, result, lines, otherwise, run):
        self.shown |= {(result, line[2:]) for line in lines.split(" & ")}

    def test_results_are_provoked(self):
        """Each row of the tables below a heading "Result <n>" is a log line that a situation of that result shows."""
        self.shown, checked = set(), 0
        self.play_rows(("U0", "U1", "R0", "R1"))
        for code, section in re.findall(r"^### Result (\d+)\b(.*?)(?=^##)", DOCUMENTS["docs/results-and-logs.md"], re.M | re.S):
            for line in set(re.findall(r"^\| `([^`]+)` \|", section, re.M)) - UNPROVOKED:
                checked += 1
                with self.subTest(f"result {code}: {line}"):
                    self.assertTrue(any(code == result and matches(line, seen) for result, seen in self.shown))
        self.assertGreater(checked, 50)

    def test_log_lines_are_the_programs(self):
        literals = {re.sub(r"\\(.)", lambda escaped: escaped[1].strip("n"), text) for path in (SOURCE / "src").rglob("*.cpp")
                    for text in re.findall(r'"((?:[^"\\\n]|\\.)*)"', path.read_text())}
        # What is put together: a caller's name in front, or the name of an entry or a class inside.
        formats = [text for text in literals if "%s" in text and len(re.sub(r"%\w|\W", "", text)) > 3]
        checked = 0
        for name, document in DOCUMENTS.items():
            for line in re.findall(r"`([^`\n]+)`", re.sub(r"^```.*?^```$", "", document, flags=re.M | re.S)):
                if re.match(r"([\w ]+: ?|PatchAgent |OvPatch [aA]|OvPatch [fU]|ledger )[\w%]", line):
                    checked += 1
                    front, _, rest = line.partition(": ")
                    known = {line, line.removesuffix(" %s")} & literals or {f"{front}: %s", rest} <= literals or any(
                        matches(text, line) and not text.endswith(": %s") for text in formats)
                    self.assertTrue(known, f"{name} quotes a line that is not logged: {line}")
        self.assertGreater(checked, 60)

    def test_words_of_ovpatchctl(self):
        """The tables of results and lines are those of the program, word by word."""
        source = (SOURCE / "src/ovpatchctl/log/known_lines.cpp").read_text().replace("\\\\", "\\")
        known = [re.sub(r'"\s*"', "", row) for row in re.findall(r"^    \{((?:[^{}]|\n)*)\},$", source, re.M)]
        known = {re.sub(r"\s+(?=[^\"]*(?:\"[^\"]*\"[^\"]*)*$)", "", row) for row in known}
        told = set()
        for heading, section in re.findall(r"^(##+ .*)\n((?:(?!##).*\n)*)", DOCUMENTS["docs/results-and-logs.md"], re.M):
            role = next((role for start, role in ROLES.items() if heading.startswith(start)), None)
            number = re.sub(r"\D.*", "", heading.removeprefix("### Result ")) or "NO_RESULT"
            for first, *rest in (line.strip("| \n").split(" | ") for line in section.splitlines() if line[:2] == "| " and role):
                rest = ",".join(f'"{cell}"' for cell in rest).replace("`", "").replace("*no*", "no")
                if role == "RESULTS" and first != "Result":
                    number = {"none": "NO_RESULT"}.get(first, first if first.isdigit() else "UNWRITTEN_RESULT")
                    told.add(f"{number},{rest}")
                told |= {f'LineRole::{role},{number},"{line}",{rest}' for line in re.findall("`([^`]+)`", first) if role != "RESULTS"}
        self.assertGreater(len(told), 90)
        self.assertEqual(told, known)

    def test_options_are_told(self):
        """What each command's --help offers stands in the manual page, the completion and the tables of documents."""
        program = os.path.join(os.path.dirname(os.environ["OVPATCH_PROGRAM"]), "ovpatchctl")
        page = (SOURCE / "man/ovpatchctl.1").read_text().replace("\\-", "-")
        completion = (SOURCE / "packaging/ovpatchctl.bash-completion").read_text()
        commands = re.findall(r"^  (\w+) ", call(program, "--help").partition("Subcommands:")[2], re.M)
        self.assertGreater(len(commands), 4)
        for command in commands:
            offered = set(re.findall(r"--[a-z]+", call(program, command, "--help")))
            completed = re.search(rf"^    [a-z |]*\b{command}\b[a-z |]*\) options='(.*)'", completion, re.M)[1]
            self.assertEqual(set(completed.split()), offered)
            self.assertEqual([part for part in (f".TP\n.B {command}\n", *offered) if part not in page], [])

    def test_links_lead_somewhere(self):
        for name, document in DOCUMENTS.items():
            for target in re.findall(r"\]\(([^)#:]+)[^):]*\)", document):
                self.assertTrue((SOURCE / name).parent.joinpath(target).exists(), f"{name} links to {target}")

    def test_manual_pages_are_clean(self):
        for page in sorted((SOURCE / "man").iterdir()):
            for tool in ("mandoc -Tlint -Wstyle", "groff -man -Tutf8 -ww -z"):
                if shutil.which(tool.split()[0]):
                    self.assertEqual(call(*tool.split(), page), "")


if __name__ == "__main__":
    unittest.main()
