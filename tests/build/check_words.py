#!/usr/bin/env python3
"""check_words.py <repository>: no notes to oneself, tabs or Windows line ends in the files of the repository."""
import pathlib
import re
import subprocess
import sys

# Concatenated here, so that this file does not find itself.
NOTES = re.compile(r"\b(" + "|".join(["TO" + "DO", "FIX" + "ME", "X" + "XX", "HA" + "CK"]) + r")\b")
BINARY = {".ico", ".png"}
WINDOWS_LINES = {".bat", ".cmd", ".ps1"}
SEEDS = ("tests", "fuzz", "corpus")  # the fuzzers' seeds may contain any bytes


def files_of(root):
    listed = subprocess.run(["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            capture_output=True, check=True).stdout.decode("utf-8")
    return [root / name for name in listed.split("\0") if name]


def is_left_out(path):
    return path.suffix in BINARY or path.parts[:len(SEEDS)] == SEEDS


def faults_in_text(name, text):
    faults = []
    for number, line in enumerate(text.split("\n"), 1):
        if NOTES.search(line):
            faults.append("%s:%d: a reminder of unfinished work" % (name, number))
        if "\t" in line:
            faults.append("%s:%d: a tab" % (name, number))
        if line.rstrip("\r") != line.rstrip("\r").rstrip(" ") and not name.endswith(".md"):
            faults.append("%s:%d: trailing blanks" % (name, number))
        if line.endswith("\r") and pathlib.PurePath(name).suffix not in WINDOWS_LINES:
            faults.append("%s:%d: a line end CR LF" % (name, number))
    if text and not text.endswith("\n"):
        faults.append("%s: no line feed at the end of the file" % name)
    return faults


def main():
    root = pathlib.Path(sys.argv[1])
    faults = []
    count = 0
    for path in files_of(root):
        if is_left_out(path.relative_to(root)) or not path.is_file():
            continue
        count += 1
        try:
            text = path.read_bytes().decode("utf-8")
        except UnicodeDecodeError:
            faults.append("%s: not UTF-8" % path.relative_to(root))
            continue
        faults.extend(faults_in_text(path.relative_to(root).as_posix(), text))
    if count == 0:
        faults.append("no files found in %s" % root)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
