"""The built product and its tests, and how to make one of the programs with a change in it.

build/mutants has a copy of the sources, an ordinary build of them, and one folder for each trial under way: with the
changed source and the objects, libraries and programs that it is part of.
"""
import dataclasses
import filecmp
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
FOLDER = ROOT / "build/mutants"
SOURCE = FOLDER / "source"
BUILD = FOLDER / "build"

# What nearly every source of the product includes, compiled once: reading windows.h is most of a compilation.
QUICK_HEADER = FOLDER / "quick.h"
QUICK_INCLUDES = ("windows.h", "algorithm", "string", "vector", "boost/noncopyable.hpp")


class CannotRun(Exception):
    """Something that the trials need is broken."""


class DoesNotCompile(Exception):
    pass


def run(command, folder, what, failure=CannotRun):
    try:
        result = subprocess.run(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=3600,
                                stderr=subprocess.STDOUT, text=True, errors="replace", check=False)
    except subprocess.TimeoutExpired as expired:
        raise CannotRun(f"{what} does not end") from expired
    if result.returncode != 0:
        raise failure(f"{what} failed:\n{result.stdout[-3000:]}")
    return result.stdout


def copy_sources():
    """What git knows or is about to, in a copy whose files change only where their bytes do."""
    if (ROOT / ".git").exists():
        listed = run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], ROOT, "git ls-files")
    else:  # an unpacked archive
        listed = run(["find", ".", "(", "-path", "./build*", "-o", "-path", "./.git", ")", "-prune", "-o", "-type", "f",
                      "-printf", "%P\\0"], ROOT, "find")
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
    run(["cmake", "--preset", "release", "-B", str(BUILD), "-DBUILD_TESTING=ON"], SOURCE, "cmake")
    run(["ninja", "-j", str(jobs)], BUILD, "the build")


@dataclasses.dataclass(frozen=True)
class Test:
    name: str
    command: tuple  # as CTest runs it
    environment: tuple
    programs: tuple  # in the build folder; the first one is the test itself


def ninja_command(target):
    line = run(["ninja", "-t", "commands", "-s", target], BUILD, f"ninja -t commands {target}").strip().split("\n")[-1]
    return re.sub(r"^: && | && :$", "", line)


def quick(words):
    """A compile command without optimisation and warnings: only the tests shall catch a change."""
    replaced = {"-Werror": "-w", "-Os": "-O0"}
    return [replaced.get(word, word) for word in words if word != "-D_FORTIFY_SOURCE=2"]


class Bench:
    """`companions`: test program -> the other programs that it starts and that are linked from the product."""

    def __init__(self, companions):
        self.compile = {}  # object -> words of its command
        self.object_of = {}  # product source -> its object
        for entry in json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8")):
            if entry["file"].endswith(".cpp"):
                words = shlex.split(entry["command"])
                made = words[words.index("-o") + 1]
                self.compile[made] = words
                self.object_of.setdefault(os.path.relpath(entry["file"], SOURCE), made)
        self.users_of = self._users_of()
        self.tests = self._tests(companions)
        self.link = {}  # program -> words
        self.members = {}  # archive -> its objects
        for program in {program for test in self.tests.values() for program in test.programs}:
            self.link[program] = shlex.split(ninja_command(program))
            for archive in self.link[program]:
                if archive.endswith(".a") and not archive.startswith("-") and archive not in self.members:
                    self.members[archive] = self._members(archive)

    def _users_of(self):
        """Header -> the objects that are compiled from it."""
        users, current = {}, ""
        for line in run(["ninja", "-t", "deps"], BUILD, "ninja -t deps").split("\n"):
            if line and not line.startswith(" "):
                current = line.split(":")[0]
            elif line.strip():
                path = os.path.normpath(os.path.join(BUILD, line.strip()))
                if path.startswith(str(SOURCE) + "/"):
                    users.setdefault(os.path.relpath(path, SOURCE), []).append(current)
        return users

    def _members(self, archive):
        if not (BUILD / archive).exists() or "_delay" in archive or os.path.isabs(archive):
            return []
        return [word for word in shlex.split(ninja_command(archive)) if word.endswith(".obj")]

    def _tests(self, companions):
        shown = json.loads(run(["ctest", "--show-only=json-v1"], BUILD, "ctest --show-only"))
        tests = {}
        for entry in shown["tests"]:
            properties = {item["name"]: item["value"] for item in entry["properties"]}
            command = entry["command"]
            if len(command) < 4 or not command[1].endswith("run_in_prefix.sh"):
                continue
            program = os.path.relpath(command[3], BUILD)
            others = tuple(name for pattern, names in companions.items() if re.fullmatch(pattern, entry["name"])
                           for name in names)
            tests[entry["name"]] = Test(entry["name"], tuple(command), tuple(properties.get("ENVIRONMENT", ())),
                                        (program, *others))
        return tests

    def prepare_prefix(self):
        """The templates that every test is run in a copy of."""
        run(["ctest", "-R", r"^prefix\.(template|locale_932)$", "--no-tests=error"], BUILD, "the Wine prefix")
        (BUILD / "tests/prefix.runs").mkdir(exist_ok=True)

    def prepare_header(self):
        QUICK_HEADER.write_text("".join(f"#include <{name}>\n" for name in QUICK_INCLUDES), encoding="utf-8")
        words = quick(self.compile[self.object_of["cli/RunLog.cpp"]])
        words[words.index("-o") + 1] = f"{QUICK_HEADER}.gch"
        words[words.index("-c") + 1:] = ["-x", "c++-header", str(QUICK_HEADER)]
        run(words, BUILD, "the shared header")

    def affected(self, file):
        """The objects that a change in this source or header is compiled into."""
        return set(self.users_of.get(file, [])) | ({self.object_of[file]} if file in self.object_of else set())


class Workplace:
    """One folder for one changed source at a time. Makes only what the trial asks for."""

    def __init__(self, bench, folder):
        self.bench = bench
        self.folder = folder

    def begin(self, file, text):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.changed = self.folder / "source" / file
        self.changed.parent.mkdir(parents=True)
        self.changed.write_text(text, encoding="utf-8")
        self.original = str(SOURCE / file)
        self.affected = self.bench.affected(file)
        self.made = {}

    def _place(self, name):
        place = self.folder / "made" / name
        place.parent.mkdir(parents=True, exist_ok=True)
        return str(place)

    def object(self, name):
        if name not in self.made:
            words = [str(self.changed) if word == self.original else word for word in quick(self.bench.compile[name])]
            self.made[name] = words[words.index("-o") + 1] = self._place(name)
            if not name.startswith("tests/"):  # those have a shared header of their own
                words[1:1] = ["-include", str(QUICK_HEADER)]
            words[1:1] = ["-iquote", str(self.folder / "source")]
            run(words, BUILD, name, DoesNotCompile)
        return self.made[name]

    def archive(self, name):
        if name not in self.made:
            objects = [self.object(member) for member in self.bench.members[name] if member in self.affected]
            self.made[name] = self._place(name) if objects else name
            if objects:
                shutil.copy(BUILD / name, self.made[name])
                run(["x86_64-w64-mingw32-ar", "r", self.made[name], *objects], BUILD, name)
        return self.made[name]

    def program(self, name):
        """The place of the changed program, or "" if the change is no part of it."""
        if name not in self.made:
            original = [word for word in self.bench.link[name] if not word.startswith("-Wl,--out-implib")]
            words = [self.object(word) if word in self.affected else
                     self.archive(word) if word in self.bench.members else word for word in original]
            self.made[name] = "" if words == original else self._place(name)
            if self.made[name]:
                words[words.index("-o") + 1] = self.made[name]
                run(words, BUILD, name, DoesNotCompile)
        return self.made[name]
