#!/usr/bin/env python3
"""check_floors.py <repository>: holds the product's includes to the libraries of cmake/Floors.cmake.

A file includes only files of its own library, without a circle, and of those that its library uses, directly or through
another. A library uses directly only what one of its files includes. Every file belongs to one library.

CMake sees no more than the names: all headers lie below one folder, so that an include of any other library compiles.
"""
import collections
import pathlib
import re
import sys

FOLDERS = ["Common", "activation", "cli", "install", "logreader", "notify", "plugins", "settings", "uninstall"]
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
LIBRARY = re.compile(r"^vela_library\((\w+)\s+FILES\s+([^)]*?)(?:\s+USES\s+([^)]*))?\)", re.MULTILINE)
VARIABLE = re.compile(r"^set\((\w+) (\S+)\)", re.MULTILINE)
OUTSIDE = {"boost_headers", "cli11_headers", "json_headers"}
GENERATED = {"logreader_table.inc"}

Library = collections.namedtuple("Library", "files uses")
# The programs' own files, which are in no library.
PROGRAMS = {"VELAutil": Library(["cli/Main"], ["vela_cli"]),
            "VELAlog": Library(["logreader/Main"], ["reader_report", "reader_console", "OrCommonProcess"])}


def without_ending(path):
    return path.rpartition(".")[0]


def libraries_of(root):
    """Name -> its files, without ending, and the libraries it uses; lowest layer first."""
    text = (pathlib.Path(root) / "cmake/Floors.cmake").read_text(encoding="utf-8")
    for name, value in VARIABLE.findall(text):
        text = text.replace("${%s}" % name, value)
    found = {name: Library(files.split(), [used for used in uses.split() if used not in OUTSIDE])
             for name, files, uses in LIBRARY.findall(text)}
    return {**found, **{name: program for name, program in PROGRAMS.items()
                        if set(program.uses) <= set(found)}}


def reach_of(libraries):
    """Library -> all that it uses, directly or through another."""
    reach = {}
    for name, library in libraries.items():
        reach[name] = {below for used in library.uses for below in {used} | reach.get(used, set())}
    return reach


def sources_of(root):
    """Name without ending -> the files of the product that it includes."""
    root = pathlib.Path(root)
    included = collections.defaultdict(list)
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                own = without_ending(path.relative_to(root).as_posix())
                names = INCLUDE.findall(path.read_text(encoding="utf-8"))
                included[own] += [name for name in names if name not in GENERATED]
    return included


def has_circle(graph):
    """The files that are left when files that no remaining file includes are removed again and again."""
    graph = {file: set(targets) for file, targets in graph.items()}
    while True:
        top = set(graph) - {target for targets in graph.values() for target in targets}
        if not top:
            return sorted(graph)
        for file in top:
            del graph[file]


def faults_in(root):
    root = pathlib.Path(root)
    libraries, included = libraries_of(root), sources_of(root)
    home = {file: name for name, library in libraries.items() for file in library.files}
    reach = reach_of(libraries)
    faults = ["%s is in no library of cmake/Floors.cmake" % file for file in included if file not in home]
    faults += ["%s of the library %s does not exist" % (file, home[file]) for file in home if file not in included]
    used, inner = collections.defaultdict(set), collections.defaultdict(set)
    for file, names in included.items():
        own = home.get(file)
        for name in names:
            target = without_ending(name)
            theirs = home.get(target)
            if not (root / name).is_file():
                faults.append("%s includes %s, which is not a path from the root of the repository" % (file, name))
            elif own == theirs and file != target:
                inner[file].add(target)
            elif own != theirs and own and theirs:
                used[own].add(theirs)
                if theirs not in reach[own]:
                    faults.append("%s includes %s, but %s does not use %s" % (file, name, own, theirs))
    for name, library in libraries.items():
        faults += ["%s uses %s, but includes nothing of it" % (name, other) for other in library.uses
                   if other not in used[name]]
    circle = has_circle({file: inner[file] for file in home})
    if circle:
        faults.append("circular includes: %s" % ", ".join(circle))
    return faults


def main():
    faults = faults_in(sys.argv[1])
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
