#!/usr/bin/env python3
"""matrix_rows.py <results of ctest, JUnit> <rows, Markdown> [<name> <program>]: what the matrix compared, a row for each
Windows. With a program: one row with that name for all, which is appended, and every run must have been of that program.

Prints the same. Ends with 1 where a combination is missing, failed or compared nothing, and where a text lies there that
none was compared with.
"""
import collections
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

EXPECTED = pathlib.Path(__file__).resolve().parents[2] / "tests/matrix/expected"
SYSTEMS = {"windows_xp": "XP x64", "windows_server_2003": "Server 2003 x64", "windows_vista": "Vista", "windows_7": "7",
           "windows_8": "8", "windows_8_1": "8.1", "windows_10": "10"}
COLUMNS = [f"{code_page}, {user}" for user in ("administrator", "ordinary user") for code_page in (1252, 932)]
COMPARED = re.compile(r"^(\S+\.txt): (\d+) runs, (\d+) differ\r?$", re.MULTILINE)
PROGRAM = re.compile(r"^program (\w+): (\d+) runs\r?$", re.MULTILINE)
VERDICT = re.compile(r"^verdict (.+): (\d+) runs\r?$", re.MULTILINE)


def hash_of(content: bytes) -> str:
    """As in tests/matrix/Chapter.cpp."""
    value = 0xCBF29CE484222325
    for byte in content:
        value = (value ^ byte) * 0x100000001B3 & 0xFFFFFFFFFFFFFFFF
    return f"{value:016x}"


def main() -> int:
    results, rows = map(pathlib.Path, sys.argv[1:3])
    cases = {case.get("name"): case for case in ElementTree.parse(results).getroot().iter("testcase")}
    lines = ["| Windows | " + " | ".join(COLUMNS) + " |", "|---" * (len(COLUMNS) + 1) + "|"]
    compared = []
    verdicts, programs = collections.Counter(), collections.Counter()
    bad = False
    for system, name in SYSTEMS.items():
        cells = [name]
        for column in COLUMNS:
            case = cases.get(f"matrix.{system}.{column.replace(', ', '.').replace(' ', '_')}")
            found = [] if case is None else COMPARED.findall(case.findtext("system-out") or "")
            failed = case is None or case.get("status") != "run" or case.find("failure") is not None
            runs, differ = (sum(int(row[place]) for row in found) for place in (1, 2))
            bad |= failed or runs == 0 or differ != 0
            compared += found
            for pattern, counter in ((VERDICT, verdicts), (PROGRAM, programs)):
                for what, count in pattern.findall("" if case is None else case.findtext("system-out") or ""):
                    counter[what] += int(count)
            cells.append(f"{runs} runs, {differ} differ" + (", **failed**" if failed else ""))
        lines.append("| " + " | ".join(cells) + " |")
    texts = {row[0] for row in compared}
    total, differing = (sum(int(row[place]) for row in compared) for place in (1, 2))
    said = ", ".join(f"{count} {verdict}" for verdict, count in sorted(verdicts.items()))
    lines += ["", f"{total} runs compared whole with {len(texts)} reviewed texts: {differing} differ.",
              f"Verdicts: {said}.", ""]
    if sys.argv[3:]:
        name, program = sys.argv[3:]
        content = pathlib.Path(program).read_bytes()
        if programs != {hash_of(content): total}:
            print(f"matrix: not all runs were of {program} ({hash_of(content)}): {dict(programs)}")
            bad = True
        lines = [f"| {name} | {len(content):,} bytes, {hash_of(content)} | {total} | {differing} |"
                 + (" **failed**" if bad else ""), ""]
    with rows.open("a" if sys.argv[3:] else "w", encoding="utf-8") as file:
        file.write("\n".join(lines))
    unread = sorted({path.name for path in EXPECTED.iterdir()} - texts)
    print("\n".join(lines) + "".join(f"matrix: not used: tests/matrix/expected/{name}\n" for name in unread), end="")
    return 1 if bad or unread else 0


if __name__ == "__main__":
    sys.exit(main())
