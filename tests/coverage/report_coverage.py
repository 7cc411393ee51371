#!/usr/bin/env python3
"""report_coverage.py <build folder> <counts folder> <table>

Adds up what the runs of a coverage build left in the counts folder, one folder for each run. gcovr turns the sums into
lines and branches; branches by which a call throws do not count. Then checks the limits of the product for covered
lines and branches, and that tests/coverage/uncovered.txt has a reason for every other line. Writes and prints the table
of the folders. Prints every fault, and exits with 1 if there is one.
"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import add_counts  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
UNCOVERED = ROOT / "tests/coverage/uncovered.txt"
FOLDERS = ["Common/OrCommon", "Common/FrwkCommon", "settings", "install", "plugins", "activation", "uninstall",
           "notify", "cli", "logreader"]
LINES_AT_LEAST = 98.0
BRANCHES_AT_LEAST = 90.0
TOOLS = "x86_64-w64-mingw32-"


def place_counts(counts, build):
    """Adds up the runs and stores the sums where the compiler noted the sources, instead of older sums. Returns the
    number of runs, and the folders: a search below the build folder would follow links of the Wine prefixes."""
    for old in build.rglob("*.gcda"):
        if counts not in old.parents:
            old.unlink()
    sums = {}
    runs = [path for path in counts.iterdir() if path.is_dir()]
    for run in runs:
        root = run / str(build).lstrip("/")  # the runtime adds the whole path below the folder of the run
        for file in root.rglob("*.gcda"):
            part = add_counts.read(file.read_bytes())
            name = file.relative_to(root)
            if name in sums:
                sums[name].add(part)
            else:
                sums[name] = part
    if not sums:
        sys.exit("no counts in %s: no program of a coverage build ran" % counts)
    for name, whole in sums.items():
        (build / name).write_bytes(add_counts.write(whole))
    return len(runs), sorted({build / name.parent for name in sums})


def read_lines(build, objects, report):
    """File -> its counted lines, as gcovr tells them. What headers define inline is counted in tests' objects too."""
    filters = [word for folder in FOLDERS for word in ("--filter", str(ROOT / folder) + "/")]
    subprocess.run(["gcovr", "--gcov-executable", TOOLS + "gcov-win32", "--root", str(ROOT), "--object-directory",
                    str(build), "--exclude-throw-branches", "--json", str(report), "-j", str(os.cpu_count()), *filters,
                    *map(str, objects)], check=True, cwd=build)
    told = json.loads(report.read_text(encoding="utf-8"))
    return {entry["file"]: entry["lines"] for entry in told["files"]}


def read_list(text):
    """(file, text of the line) -> reason. In the file: "file: text of the line", then the reason, indented."""
    entries, key = {}, None
    for number, line in enumerate(text.split("\n"), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if line.startswith(" "):
            if key is None:
                raise ValueError("uncovered.txt, line %d: a reason without a line of the product" % number)
            entries[key] = (entries[key] + " " + line.strip()).strip()
            continue
        file, separator, code = line.partition(": ")
        key = (file, code.strip())
        if not separator or key in entries:
            raise ValueError("uncovered.txt, line %d: not \"file: text of the line\", or twice" % number)
        entries[key] = ""
    return entries


def compare(uncovered, entries):
    """`uncovered`: (file, line number, text) of every line that no run took. The list must contain the same lines."""
    faults = []
    found = set()
    for file, number, text in uncovered:
        if (file, text) in entries:
            found.add((file, text))
        else:
            faults.append("%s:%d: no test runs this line, and uncovered.txt has no reason: %s" % (file, number, text))
    for key, reason in entries.items():
        if key not in found:
            faults.append("%s: in uncovered.txt, but run by a test or gone: %s" % key)
        if not reason:
            faults.append("%s: no reason in uncovered.txt: %s" % key)
    return faults


class Count:
    def __init__(self):
        self.taken = self.of = 0

    def add(self, taken):
        self.of += 1
        self.taken += 1 if taken else 0

    @property
    def percent(self):
        return 100.0 * self.taken / self.of if self.of else 100.0

    def __str__(self):
        return "%d of %d | %.1f %%" % (self.taken, self.of, self.percent)


def measure(files):
    """Folder -> (lines, branches), and the lines that nobody took."""
    folders = {folder: (Count(), Count()) for folder in FOLDERS}
    uncovered = []
    for file, lines in sorted(files.items()):
        source = (ROOT / file).read_text(encoding="utf-8").split("\n")
        for_lines, for_branches = folders[os.path.dirname(file)]
        for line in lines:
            if line.get("gcovr/noncode"):
                continue
            for_lines.add(line["count"])
            if not line["count"]:
                uncovered.append((file, line["line_number"], source[line["line_number"] - 1].strip()))
            for branch in line["branches"]:
                for_branches.add(branch["count"])
    return folders, uncovered


def write_table(folders, total, runs, listed):
    rows = ["| Folder | Lines | | Branches | |", "|---|---|---|---|---|"]
    rows += ["| %s | %s | %s |" % (folder, *counts) for folder, counts in folders.items()]
    rows.append("| **all** | %s | %s |" % total)
    rows += ["", "%d runs of test programs; %d lines that none of them takes are listed with the reason in "
             "`tests/coverage/uncovered.txt`." % (runs, listed)]
    return "\n".join(rows) + "\n"


def untaken_branches(files):
    for file, lines in sorted(files.items()):
        for line in lines:
            taken = [branch["count"] > 0 for branch in line["branches"]]
            if line["count"] and not all(taken):
                yield "%s:%d: %d of %d branches" % (file, line["line_number"], sum(taken), len(taken))


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    build, counts, table = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    runs, objects = place_counts(counts, build)
    with tempfile.TemporaryDirectory() as folder:
        files = read_lines(build, objects, pathlib.Path(folder, "report.json"))
    folders, uncovered = measure(files)
    total = (Count(), Count())
    for counted in folders.values():
        for whole, part in zip(total, counted):
            whole.taken += part.taken
            whole.of += part.of
    faults = compare(uncovered, read_list(UNCOVERED.read_text(encoding="utf-8")))
    for count, limit, kind in ((total[0], LINES_AT_LEAST, "lines"), (total[1], BRANCHES_AT_LEAST, "branches")):
        if not count.of or count.percent < limit:
            faults.append("%.1f %% of the %s are covered, at least %.0f %% are required" % (count.percent, kind, limit))
    written = write_table(folders, total, runs, len(uncovered))
    table.write_text(written, encoding="utf-8")
    (build / "branches.txt").write_text("\n".join(untaken_branches(files)) + "\n", encoding="utf-8")
    print(written)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
