"""Installs and packages the built project, and uses the result as a stranger to these sources would.

The environment tells what to test: OVPATCH_BUILD (the build directory), OVPATCH_VERSION, and the commands
CMAKE, CPACK, CC and CXX.
"""
import gzip
import os
import re
import shlex
import shutil
import stat
import subprocess
import tempfile
import unittest
from pathlib import Path

BUILD = os.environ["OVPATCH_BUILD"]
VERSION = os.environ["OVPATCH_VERSION"]
HERE = Path(__file__).resolve().parent
SOURCE = HERE.parent.parent

DOC = "share/doc/ovpatch/"
DEV_DOC = "share/doc/ovpatch-agent-dev/"
PROGRAM = {"bin/OvPatch", "share/man/man1/OvPatch.1", "share/man/man5/OvPatch.ini.5",
           "share/man/man5/OvBackup.ini.5", DOC + "README.md", DOC + "copyright", DOC + "changelog",
           "lib/systemd/system/ovpatch@.service"}
PROGRAM |= {DOC + "docs/" + page.name for page in SOURCE.glob("docs/*.*[dg]")}
DEVELOPMENT = {"include/ovpatch/patch_agent.h", "share/pkgconfig/ovpatch-agent.pc",
               "share/cmake/OvPatchAgent/OvPatchAgentConfig.cmake",
               "share/cmake/OvPatchAgent/OvPatchAgentConfigVersion.cmake",
               DEV_DOC + "copyright", DEV_DOC + "changelog", DEV_DOC + "agents.md", DEV_DOC + "examples/pinned_agent.c", DEV_DOC + "examples/shelf_agent.c"}

STRICT = ["-pedantic", "-Wall", "-Wextra", "-Werror", "-fvisibility=hidden", "-shared", "-fPIC"]
C99 = [os.environ["CC"], "-std=c99"] + STRICT
CXX = [os.environ["CXX"], "-std=c++17", "-x", "c++"] + STRICT

# What the tracing agent writes down about the update of `run_update`.
TRACE = ["StartAction(, 0, 0, 0, 0)", "StartItem(engine.zip, 2, 31, 15000, 16000)",
         "CheckFileEx(engine\\added.dll, 0, 0, 0, 0)", "CheckFileEx(engine\\eng.dll, 0, 0, 0, 0)",
         "EndItem(, 1, 0, 15000, 16000)", "EndAction(, 0, 0, 0, 0)"]
MANIFEST = """[common]
action=0
itemcount=1
patchagent.version=1
patchagent=device\\agent.so
orvelle_path=device
[item_0]
class=2
type=1f
origin.version=1.5
result.version=1.6
destination=engine
item.zip=engine.zip
"""


def call(*command, **more):
    """Runs a command, free of what the environment says to compilers, and returns its output."""
    unwanted = ("CFLAGS", "CXXFLAGS", "LDFLAGS", "CPATH", "C_INCLUDE_PATH", "CPLUS_INCLUDE_PATH", "DESTDIR",
                "PKG_CONFIG_PATH", "PKG_CONFIG_LIBDIR", "CMAKE_PREFIX_PATH", "OVPATCH_ANSI_CODE_PAGE")
    env = {name: value for name, value in os.environ.items() if name not in unwanted}
    env.update(more.pop("env", {}), LC_ALL="C.UTF-8")
    done = subprocess.run([str(part) for part in command], env=env, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False, **more)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


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
            executable = path.is_dir() or path.name == "OvPatch"
            self.assertEqual(stat.filemode(path.stat().st_mode)[1:], "rwxr-xr-x" if executable else "rw-r--r--", path)
        for path in files:
            if path.name != "OvPatch":
                for made_at in (BUILD, str(SOURCE), str(self.place)):
                    self.assertNotIn(made_at.encode(), path.read_bytes(), path)

    def run_update(self, program, agent):
        """An update of one file and a new one, by that program, with a tracing agent."""
        place = Path(tempfile.mkdtemp(dir=self.place))
        work = place / "device/OV_Temp/2/31"
        work.mkdir(parents=True)
        (place / "engine").mkdir()
        (place / "engine/eng.dll").write_text("engine 1.5")
        (work / "eng.dll").write_text("engine 1.6")
        (work / "added.dll").write_text("added 1.6")
        (place / "device/OV_Temp/OvPatch.ini").write_text(MANIFEST)
        shutil.copy(agent, place / "device/agent.so")
        call(program, "device", cwd=place)
        self.assertEqual((place / "device/OV_Temp/OvResult.ini").read_text(), "result=0\n")
        self.assertEqual((place / "engine/eng.dll").read_text(), "engine 1.6")
        self.assertEqual((place / "engine/added.dll").read_text(), "added 1.6")
        self.assertEqual((place / "engine/OV_Backup/2/31/backup.000").read_text(), "engine 1.5")
        self.assertEqual((place / "trace.txt").read_text().splitlines(), TRACE)

    def pkg_config(self, prefix, *what):
        return call("pkg-config", "--define-prefix", *what, "ovpatch-agent",
                    env={"PKG_CONFIG_LIBDIR": str(prefix / "share/pkgconfig")}).strip()


class InstalledComponents(InstallTest):
    def install(self, name, *component):
        """Installs for /usr into a directory of that name, and returns where /usr is in there."""
        stage = self.place / name
        call(os.environ["CMAKE"], "--install", BUILD, "--prefix", "/usr", *component,
             env={"DESTDIR": str(stage)}, umask=0o022)
        self.assertEqual([path.name for path in stage.iterdir()], ["usr"])
        return stage / "usr"

    def test_files_of_each_component(self):
        self.check_tree(self.install("program", "--component", "program"), PROGRAM)
        self.check_tree(self.install("development", "--component", "development"), DEVELOPMENT)
        self.check_tree(self.install("all"), PROGRAM | DEVELOPMENT)

    def test_agents_built_against_the_installed_header(self):
        prefix = self.place / "moved tree"
        self.install("stage").rename(prefix)
        consumer = self.place / "consumer"
        shutil.copytree(HERE / "consumer", consumer)
        agents = {way: self.place / (way + ".so") for way in ("plain", "cxx", "pkg-config")}

        include = ["-I", prefix / "include"]
        call(*C99, *include, consumer / "tracing_agent.c", "-o", agents["plain"])
        call(*CXX, *include, consumer / "tracing_agent.c", "-o", agents["cxx"])
        self.assertEqual(self.pkg_config(prefix, "--modversion"), VERSION)
        flags = shlex.split(self.pkg_config(prefix, "--cflags", "--libs"))
        call(*C99, *flags, consumer / "tracing_agent.c", "-o", agents["pkg-config"])

        for way in ("find_package", "add_subdirectory", "FetchContent"):
            build = self.place / way
            call(os.environ["CMAKE"], "-S", consumer, "-B", build, "-G", "Ninja", f"-DWAY={way}",
                 f"-DCMAKE_PREFIX_PATH={prefix}", f"-DWANTED_MAJOR={VERSION.split('.')[0]}",
                 f"-DOVPATCH_SOURCE={SOURCE}", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON")
            call(os.environ["CMAKE"], "--build", build)
            call(os.environ["CMAKE"], "--install", build, "--prefix", build / "installed")
            self.assertEqual([path.name for path in build.glob("installed/*/*")], ["agent.so"])
            agents[way] = build / "agent.so"
        self.assertIn(f"OvPatchAgent_DIR:PATH={prefix}/",
                      (self.place / "find_package/CMakeCache.txt").read_text())

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
        common = {"Version": VERSION, "Priority": "optional",
                  "Maintainer": "OvPatch maintainers <maintainers@ovpatch.example>"}
        program = self.place / f"made/ovpatch_{VERSION}_{machine}.deb"
        development = self.place / f"made/ovpatch-agent-dev_{VERSION}_all.deb"
        self.assertEqual(sorted(self.place.glob("made/*.deb")), sorted([program, development]))

        fields = self.check_fields(program, common, Package="ovpatch", Architecture=machine, Section="admin")
        self.assertRegex(fields["Depends"], r"\blibc6 \(>= .*\blibstdc\+\+6 \(>= ")
        self.assertRegex(fields["Description"], "^one-shot patch executor\n OvPatch applies ")
        fields = self.check_fields(development, common, Package="ovpatch-agent-dev", Architecture="all",
                                   Section="devel", Suggests="ovpatch")
        self.assertNotIn("Depends", fields)
        self.assertRegex(fields["Description"], "^header for patch agents of OvPatch\n A patch agent ")

        prefix = self.unpack(program, PROGRAM)
        for page in prefix.glob("share/man/*/*.gz"):
            self.assertEqual(gzip.decompress(page.read_bytes()), (SOURCE / "man" / page.stem).read_bytes())
        binary = (prefix / "bin/OvPatch").read_bytes()
        self.assertNotIn(b".symtab", binary, "not stripped")
        self.assertNotIn(str(SOURCE).encode(), binary)

        if shutil.which("lintian"):
            found = call("lintian", "--allow-root", "--fail-on", "none", program, development).splitlines()
            self.assertEqual([line for line in found if "copyright-without-copyright-notice" not in line], [])
        if shutil.which("systemd-analyze"):
            unit = self.place / "ovpatch@a.service"
            text = (prefix / "lib/systemd/system/ovpatch@.service").read_text()
            unit.write_text(text.replace("/usr/bin/OvPatch", str(prefix / "bin/OvPatch")))
            self.assertEqual(call("systemd-analyze", "verify", "--man=no", unit), "")

        include = ["-I", self.unpack(development, DEVELOPMENT) / "include"]
        agent = self.place / "agent.so"
        call(*C99, *include, HERE / "consumer/tracing_agent.c", "-o", agent)
        self.run_update(prefix / "bin/OvPatch", agent)

    def check_fields(self, package, *expected, **more):
        text = call("dpkg-deb", "--field", package)
        fields = dict(re.findall(r"^(\S+): ((?:.*)(?:\n .*)*)", text, re.MULTILINE))
        for wanted in (*expected, more):
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
