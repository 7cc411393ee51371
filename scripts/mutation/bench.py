"""The built product and its tests, and how to build the tests with a change in it.

build/mutants has a copy of the sources, a build of them, and for each trial under way a copy of the build, of links.
"""
import dataclasses
import filecmp
import json
import os
import pathlib
import re
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
FOLDER = ROOT / "build/mutants"
SOURCE = FOLDER / "source"
BUILD = FOLDER / "build"


class CannotRun(Exception):
    """Something that the trials need is broken."""


class DoesNotCompile(Exception):
    pass


def run(command, folder, what, failure=CannotRun):
    try:
        result = subprocess.run(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=3600,
                                stderr=subprocess.STDOUT, text=True, errors="replace", check=False)
    except subprocess.TimeoutExpired as expired:
        raise CannotRun(f"{what} did not end within an hour") from expired
    if result.returncode != 0:
        raise failure(f"{what} failed:\n{result.stdout[-3000:]}")
    return result.stdout


def copy_sources():
    """What git knows or would add, in a copy. In the copy, only files with other bytes change."""
    listed = run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], ROOT, "git ls-files")
    names = {name for name in listed.split("\0") if name and (ROOT / name).is_file()}
    for path in [path for path in SOURCE.rglob("*") if path.is_file()]:
        if path.relative_to(SOURCE).as_posix() not in names:
            path.unlink()
    for name in names:
        target = SOURCE / name
        if not target.is_file() or not filecmp.cmp(ROOT / name, target, shallow=False):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, target)


def build_all(jobs):
    """Without optimisation and warnings: only the tests shall catch a change. Also makes the templates of the
    prefixes."""
    run(["cmake", "--preset", "release", "-B", str(BUILD), "-DBUILD_TESTING=ON", "-DCMAKE_BUILD_TYPE=Trial",
         "-DCMAKE_CXX_FLAGS=-O0 -DNDEBUG -w"], SOURCE, "cmake")
    run(["ninja", "-j", str(jobs)], BUILD, "the build")
    run(["ctest", "-R", r"^prefix\.(template|locale_932)$", "--no-tests=error"], BUILD, "the Wine prefix")
    (BUILD / "tests/prefix.runs").mkdir(exist_ok=True)


@dataclasses.dataclass(frozen=True)
class Test:
    name: str
    command: tuple  # in the way that CTest runs it
    environment: tuple
    programs: tuple  # in the build folder; the first one is the test itself


def read_tests(companions):
    """Name -> test. `companions`: test -> the other programs that it starts and that are linked from the product."""
    tests = {}
    for entry in json.loads(run(["ctest", "--show-only=json-v1"], BUILD, "ctest --show-only"))["tests"]:
        name, command = entry["name"], entry["command"]
        if len(command) < 4 or not command[1].endswith("run_in_prefix.sh"):
            continue
        properties = {item["name"]: item["value"] for item in entry["properties"]}
        others = [program for pattern, programs in companions.items() if re.fullmatch(pattern, name)
                  for program in programs]
        tests[name] = Test(name, tuple(command), tuple(properties.get("ENVIRONMENT", ())),
                           (os.path.relpath(command[3], BUILD), *others))
    return tests


class Workplace:
    """One folder for one changed source at a time."""

    def __init__(self, folder):
        self.folder = folder
        self.build = folder / "build"

    def begin(self, file, text):
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(BUILD, self.build, symlinks=True, copy_function=os.link,
                        ignore=shutil.ignore_patterns("prefix*", ".ninja_*"))
        for record in BUILD.glob(".ninja_*"):  # Ninja writes on in these; compiler and linker make new files
            shutil.copy2(record, self.build)
        changed = self.folder / "changed"
        changed.write_text(text, encoding="utf-8")
        # Both are seen instead of the originals.
        self.ninja = ["bwrap", "--dev-bind", "/", "/", "--bind", str(self.build), str(BUILD), "--ro-bind", str(changed),
                      str(SOURCE / file), "ninja", "-C", str(BUILD), "-j", "1"]

    def changed_programs(self, programs):
        """Program -> where it lies with the change, of those that the change is a part of."""
        run([*self.ninja, *programs], BUILD, "the build", DoesNotCompile)
        return {program: str(self.build / program) for program in programs
                if not os.path.samefile(self.build / program, BUILD / program)}
