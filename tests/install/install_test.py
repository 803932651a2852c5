"""Installs and packages the built project, and uses the result as a stranger to these sources would.

The environment tells what to test: OVPATCH_BUILD (the build directory), OVPATCH_VERSION, and the commands
CMAKE, CPACK, CC and CXX; beside that what the player wants.
"""
import gzip
import os
import re
import shlex
import shutil
import stat
import sys
import tempfile
import unittest
from pathlib import Path

BUILD, VERSION, CMAKE = os.environ["OVPATCH_BUILD"], os.environ["OVPATCH_VERSION"], os.environ["CMAKE"]
SOURCE = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(SOURCE / "tests" / place) for place in ("support", "runs", "player")]
import player  # noqa: E402
from call import call  # noqa: E402
from oracle import judge  # noqa: E402

DOC, DEV_DOC, CONFIG = "share/doc/ovpatch/", "share/doc/ovpatch-agent-dev/", "share/cmake/OvPatchAgent/OvPatchAgentConfig"
PROGRAMS = {"bin/OvPatch", "bin/ovpatchctl"}
PROGRAM = {*PROGRAMS, *("share/man/man" + page for page in ("1/OvPatch.1", "1/ovpatchctl.1", "5/OvPatch.ini.5",
                                                            "5/OvBackup.ini.5")),
           "share/bash-completion/completions/ovpatchctl",
           DOC + "README.md", DOC + "copyright", DOC + "changelog", "lib/systemd/system/ovpatch@.service",
           *(DOC + "docs/" + page.name for page in SOURCE.glob("docs/*.*[dg]"))}
DEVELOPMENT = {"include/ovpatch/patch_agent.h", "share/pkgconfig/ovpatch-agent.pc", CONFIG + ".cmake",
               CONFIG + "Version.cmake", DEV_DOC + "copyright", DEV_DOC + "changelog", DEV_DOC + "agents.md",
               DEV_DOC + "examples/pinned_agent.c", DEV_DOC + "examples/shelf_agent.c"}

STRICT = shlex.split("-pedantic -Wall -Wextra -Werror -fvisibility=hidden -shared -fPIC -DAGENT_OLD -DAGENT_NEW")
C99 = [os.environ["CC"], "-std=c99", *STRICT]
CXX = [os.environ["CXX"], "-std=c++17", "-x", "c++", *STRICT]
AGENT = SOURCE / "tests/player/agent.c"
CALLS = ["StartAction()", "StartItem(engine.zip, 2, 31, 0, {0x15000 0 0}, {0x16000 120 0})",
         "CheckFileEx(dst\\new0.bin)", "CheckFileEx(dst\\old0.bin)", "EndItem(1, {0x15000 0 0}, {0x16000 120 0})", "EndAction()"]


class InstallTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="ovpatch-install.")
        self.addCleanup(directory.cleanup)
        self.place = Path(directory.name).resolve()

    def check_tree(self, prefix, expected):
        """Exactly the expected files, readable by everyone; nothing in them tells where they were made."""
        files = [path for path in prefix.rglob("*") if path.is_symlink() or not path.is_dir()]
        self.assertEqual(sorted(str(path.relative_to(prefix)) for path in files), sorted(expected))
        for path in [prefix, *prefix.rglob("*")]:
            executable = path.is_dir() or str(path.relative_to(prefix)) in PROGRAMS
            self.assertEqual(stat.filemode(path.stat().st_mode)[1:], "rwxr-xr-x" if executable else "rw-r--r--", path)
        for path in files:
            for made_at in (BUILD, str(SOURCE), str(self.place)) if str(path.relative_to(prefix)) not in PROGRAMS else ():
                self.assertNotIn(made_at.encode(), path.read_bytes(), path)

    def run_update(self, program, agent):
        """An update of one file and a new one, by that program, with that build of the recording agent."""
        player.PROGRAM, device = str(program), player.Device()
        story = player.Story(player.ENGINE, generation=1,
                             changes={"common.patchagent": "own\\agent.so", "item_0.item.zip": "engine.zip"})
        tree = player.with_directories({**story.tree(), "own/agent.so": player.read_file(os.fsencode(agent))})
        device.lay(tree)
        outcome = device.run()
        self.assertEqual((judge(tree, outcome, 0, device.decode), outcome.calls), ([], CALLS))


class InstalledComponents(InstallTest):
    def install(self, name, *component):
        """Installs for /usr into a directory of that name, and returns where /usr is in there."""
        stage = self.place / name
        call(CMAKE, "--install", BUILD, "--prefix", "/usr", *component, env={"DESTDIR": str(stage)}, umask=0o022)
        self.assertEqual([path.name for path in stage.iterdir()], ["usr"])
        return stage / "usr"

    def test_files_of_each_component(self):
        for expected, *component in ((PROGRAM, "--component", "program"), (DEVELOPMENT, "--component", "development"),
                                     (PROGRAM | DEVELOPMENT,)):
            self.check_tree(self.install("-".join(["stage", *component]), *component), expected)

    def test_agents_built_against_the_installed_header(self):
        prefix, consumer = self.place / "moved tree", self.place / "consumer"
        self.install("stage").rename(prefix)
        shutil.copytree(SOURCE / "tests/install/consumer", consumer)
        shutil.copy(AGENT, consumer)

        def pkg_config(*what):
            return call("pkg-config", "--define-prefix", *what, "ovpatch-agent",
                        env={"PKG_CONFIG_LIBDIR": str(prefix / "share/pkgconfig")}).strip()

        self.assertEqual(pkg_config("--modversion"), VERSION)
        include, agents = ["-I", prefix / "include"], {}
        for way, *compiler in (("plain", *C99, *include), ("cxx", *CXX, *include),
                               ("pkg-config", *C99, *shlex.split(pkg_config("--cflags", "--libs")))):
            agents[way] = self.place / (way + ".so")
            call(*compiler, consumer / "agent.c", "-o", agents[way])
        for way in ("find_package", "add_subdirectory", "FetchContent"):
            build = self.place / way
            call(CMAKE, "-S", consumer, "-B", build, "-G", "Ninja", f"-DWAY={way}", f"-DCMAKE_PREFIX_PATH={prefix}",
                 f"-DWANTED_MAJOR={VERSION.split('.')[0]}", f"-DOVPATCH_SOURCE={SOURCE}", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON")
            call(CMAKE, "--build", build)
            call(CMAKE, "--install", build, "--prefix", build / "installed")
            self.assertEqual([path.name for path in build.glob("installed/*/*")], ["agent.so"])
            agents[way] = build / "agent.so"
        self.assertIn(f"OvPatchAgent_DIR:PATH={prefix}/", (self.place / "find_package/CMakeCache.txt").read_text())
        for way, agent in agents.items():
            with self.subTest(way):
                self.run_update(prefix / "bin/OvPatch", agent)
        for example in (prefix / DEV_DOC / "examples").iterdir():
            call(*C99, *include, example, "-o", self.place / "example.so")


class DebianPackages(InstallTest):
    def test_packages(self):
        # The umask of who packs must not show in the package.
        call(os.environ["CPACK"], "--config", BUILD + "/CPackConfig.cmake", "-B", self.place / "made",
             cwd=self.place, umask=0o077)
        machine = call("dpkg", "--print-architecture").strip()
        program = self.place / f"made/ovpatch_{VERSION}_{machine}.deb"
        development = self.place / f"made/ovpatch-agent-dev_{VERSION}_all.deb"
        self.assertEqual(sorted(self.place.glob("made/*.deb")), sorted([program, development]))

        fields = self.check_fields(program, Package="ovpatch", Architecture=machine, Section="admin")
        self.assertRegex(fields["Depends"], r"\blibc6 \(>= .*\blibstdc\+\+6 \(>= ")
        self.assertRegex(fields["Description"], "^one-shot patch executor\n OvPatch applies ")
        fields = self.check_fields(development, Package="ovpatch-agent-dev", Architecture="all", Section="devel", Suggests="ovpatch")
        self.assertNotIn("Depends", fields)
        self.assertRegex(fields["Description"], "^header for patch agents of OvPatch\n A patch agent ")

        prefix = self.unpack(program, PROGRAM)
        for page in prefix.glob("share/man/*/*.gz"):
            self.assertEqual(gzip.decompress(page.read_bytes()), (SOURCE / "man" / page.stem).read_bytes())
        for binary in ((prefix / name).read_bytes() for name in PROGRAMS):
            self.assertNotIn(b".symtab", binary, "not stripped")
            self.assertNotIn(str(SOURCE).encode(), binary)
        self.assertEqual(call(prefix / "bin/ovpatchctl", "--version"), f"ovpatchctl {VERSION}\n")

        if shutil.which("lintian"):
            found = call("lintian", "--allow-root", "--fail-on", "none", program, development).splitlines()
            self.assertEqual([line for line in found if "copyright-without-copyright-notice" not in line], [])
        if shutil.which("systemd-analyze"):
            unit = self.place / "ovpatch@a.service"
            text = (prefix / "lib/systemd/system/ovpatch@.service").read_text()
            unit.write_text(text.replace("/usr/bin/OvPatch", str(prefix / "bin/OvPatch")))
            self.assertEqual(call("systemd-analyze", "verify", "--man=no", unit), "")

        call(*C99, "-I", self.unpack(development, DEVELOPMENT) / "include", AGENT, "-o", self.place / "agent.so")
        self.run_update(prefix / "bin/OvPatch", self.place / "agent.so")

    def check_fields(self, package, **more):
        fields = dict(re.findall(r"^(\S+): ((?:.*)(?:\n .*)*)", call("dpkg-deb", "--field", package), re.MULTILINE))
        wanted = {"Version": VERSION, "Priority": "optional",
                  "Maintainer": "OvPatch maintainers <maintainers@ovpatch.example>", **more}
        self.assertEqual({name: fields.get(name) for name in wanted}, wanted)
        return fields

    def unpack(self, package, expected):
        """Checks what the package holds and returns where its /usr has been unpacked."""
        for line in call("dpkg-deb", "--contents", package).splitlines():
            self.assertRegex(line, r"^\S+ root/root .* \./usr/")
        root = self.place / package.stem
        call("dpkg", "--extract", package, root, umask=0o022)
        self.check_tree(root / "usr", {re.sub("(/man/.*|/changelog)$", r"\1.gz", name) for name in expected})
        return root / "usr"


if __name__ == "__main__":
    unittest.main()
