#!/usr/bin/env python3
"""clang_checks.py [--tidy | --tidy-all] <build folder>... < list of sources

Puts every C++ file through clang as a second compiler, and with --tidy through clang-tidy (all but tests/, with --tidy-all those too). A header is looked at by
itself, to see that it includes what it needs, unless its own source includes it first and shows that already. Flags
come from compile_commands.json of the build folders; a source that no target compiles is a fault of its own.

clang-tidy takes seconds a file. Its verdict "nothing to say" is remembered under a hash of everything that it depends
on: the bytes of every file read, headers of the system included, the flags, the configuration and the version.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
TARGET = "x86_64-w64-mingw32"

WARNINGS = """-Wall -Wextra -Wpedantic -Wconversion -Wshadow-all -Wold-style-cast -Wnon-virtual-dtor -Wextra-semi
    -Wextra-semi-stmt -Wimplicit-fallthrough -Wunreachable-code -Wloop-analysis -Wstring-conversion
    -Wunused-member-function -Wunused-template -Wheader-hygiene -Wundefined-reinterpret-cast -Wcast-qual
    -Wdeprecated-copy-dtor -Wnewline-eof -Wover-aligned -Wmissing-noreturn -Werror""".split()


def make_sysroot(folder):
    """A folder in which clang finds mingw-w64's headers: it takes gcc's own folder only when that is called by a
    version, and without a sysroot it would add the headers of this machine's own C library."""
    libraries = folder / "lib/gcc" / TARGET
    libraries.mkdir(parents=True, exist_ok=True)
    flavours = sorted(pathlib.Path("/usr/lib/gcc", TARGET).glob("*-win32"))
    if not flavours:
        sys.exit("clang_checks: no mingw-w64 with the win32 thread model under /usr/lib/gcc")
    version = flavours[-1].name.split("-")[0] + ".0.0"
    for link, place in ((libraries / version, flavours[-1]), (folder / TARGET, pathlib.Path("/usr", TARGET))):
        if not link.is_symlink():
            link.symlink_to(place)
    return folder


def flags_of_builds(builds):
    """Source file -> the flags of its compile command that clang needs and knows."""
    database = {}
    entries = []
    for build in builds:
        entries += json.loads(pathlib.Path(build, "compile_commands.json").read_text(encoding="utf-8"))
    for entry in entries:
        if not entry["file"].endswith(".cpp"):  # the resource script is in there too
            continue
        words = shlex.split(entry["command"])
        flags = []
        for index, word in enumerate(words):
            if re.match(r"-(D|U|I|std=)", word):
                flags.append(word)
            elif word == "-isystem":
                flags += [word, words[index + 1]]
        database.setdefault(os.path.realpath(entry["file"]), flags)  # its own target comes first
    return database


def flags_of_header(name, database):
    """The flags of a source that includes it; else of the one that is nearest in the folder tree."""
    path = os.path.realpath(ROOT / name)
    line = f'#include "{name}"\n'

    def fitness(source):
        return (line in pathlib.Path(source).read_text(encoding="utf-8"), len(os.path.commonpath([source, path])), source)
    return database[max(database, key=fitness)]


def is_test(path):
    return "tests" in pathlib.Path(os.path.abspath(path)).relative_to(ROOT).parts[:1]


class Checker:
    def __init__(self, tidy, builds):
        self.database = flags_of_builds(builds)
        self.tidy = tidy
        work = ROOT / "build/lint"
        self.cache = work / "clean"
        self.cache.mkdir(parents=True, exist_ok=True)
        self.common = ["--target=" + TARGET, "--sysroot=" + str(make_sysroot(work / "sysroot"))]
        self.version = subprocess.run(["clang-tidy", "--version"], capture_output=True, check=True).stdout
        self.remembered = 0

    @staticmethod
    def source_shows(header):
        source = ROOT / (header[:-2] + ".cpp")
        if not source.exists():
            return False
        first = re.search(r'^#include [<"](.*)[>"]', source.read_text(encoding="utf-8"), re.M)
        return first is not None and first.group(1) == header

    def check(self, name):
        path = os.path.realpath(ROOT / name)
        header = name.endswith(".h")
        if header and self.source_shows(name):
            return ""
        if header:
            flags = flags_of_header(name, self.database)
        elif path in self.database:
            flags = self.database[path]
        else:
            return f"{name}: no target compiles this file\n"
        flags = self.common + flags
        with tempfile.TemporaryDirectory() as folder:
            dependencies = pathlib.Path(folder, "read.d")
            kind = ["-x", "c++", "-Wno-pragma-once-outside-header", "-Wno-unused-template",
                         "-Wno-unused-member-function", "-Wno-unused-function"] if header else []
            if name.startswith("tests/"):  # a stand-in is whole, whichever of its members a test happens to ask
                kind.append("-Wno-unused-member-function")
            result = subprocess.run(
                ["clang++", *flags, *WARNINGS, *kind, "-fsyntax-only", "-MD", "-MF", str(dependencies), path],
                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            if result.returncode != 0:
                return result.stdout.decode("utf-8", "replace")
            read = dependencies.read_text(encoding="utf-8")
        # Headers are looked at through the sources that include them.
        tidied = self.tidy == "--tidy-all" or (self.tidy and not is_test(path))
        return self.run_tidy(path, flags, read) if tidied and not header else ""

    def run_tidy(self, path, flags, dependencies):
        key = hashlib.sha256(self.version)
        key.update("\0".join(flags).encode())
        files = shlex.split(dependencies.replace("\\\n", " ").split(":", 1)[1])
        folder = pathlib.Path(path).parent
        while folder != ROOT.parent:
            if (folder / ".clang-tidy").exists():
                files.append(str(folder / ".clang-tidy"))
            folder = folder.parent
        for file in files:
            key.update(file.encode() + b"\0" + hashlib.sha256(pathlib.Path(file).read_bytes()).digest())
        stamp = self.cache / key.hexdigest()
        if stamp.exists():
            self.remembered += 1
            return ""
        result = subprocess.run(["clang-tidy", "--quiet", path, "--", *flags, "-Wno-unknown-warning-option"],
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        if result.returncode == 0:
            stamp.touch()
            return ""
        return result.stdout.decode("utf-8", "replace") or f"{path}: clang-tidy failed without a word\n"


def main():
    builds = sys.argv[1:]
    tidy = builds.pop(0) if builds[:1] in (["--tidy"], ["--tidy-all"]) else ""
    if not builds:
        sys.exit(__doc__)
    names = sys.stdin.read().split()
    checker = Checker(tidy, builds)
    faults = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for text in pool.map(checker.check, names):
            if text:
                faults += 1
                print(text.replace(str(ROOT) + "/", ""), end="", flush=True)
    unchanged = f"; clang-tidy knew {checker.remembered} of them unchanged" if tidy else ""
    print(f"{len(names)} files, {faults} with faults{unchanged}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
