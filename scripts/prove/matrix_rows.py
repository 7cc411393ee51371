#!/usr/bin/env python3
"""matrix_rows.py <results of ctest, JUnit> <rows, Markdown>: what the matrix compared, a row for each Windows.

Prints the same. Ends with 1 where a combination is missing, failed or compared nothing, and where a text lies there that
none was compared with.
"""
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

EXPECTED = pathlib.Path(__file__).resolve().parents[2] / "tests/matrix/expected"
SYSTEMS = {
    "windows_xp": "XP x64",
    "windows_server_2003": "Server 2003 x64",
    "windows_vista": "Vista",
    "windows_7": "7",
    "windows_8": "8",
    "windows_8_1": "8.1",
    "windows_10": "10",
}
COLUMNS = {
    "1252.administrator": "1252, administrator",
    "932.administrator": "932, administrator",
    "1252.ordinary_user": "1252, ordinary user",
    "932.ordinary_user": "932, ordinary user",
}
COMPARED = re.compile(r"^(\S+\.txt): (\d+) runs, (\d+) differ\r?$", re.MULTILINE)


def compared_by(case: ElementTree.Element) -> tuple[int, int, set[str]]:
    """Runs, runs that differ, and the texts that they were compared with."""
    found = COMPARED.findall(case.findtext("system-out") or "")
    return sum(int(row[1]) for row in found), sum(int(row[2]) for row in found), {row[0] for row in found}


def main() -> int:
    results, rows = sys.argv[1:]
    cases = {case.get("name"): case for case in ElementTree.parse(results).getroot().iter("testcase")}
    lines = ["| Windows | " + " | ".join(COLUMNS.values()) + " |", "|---" * (len(COLUMNS) + 1) + "|"]
    total = differing = bad = 0
    texts: set[str] = set()
    for system, name in SYSTEMS.items():
        cells = [name]
        for column in COLUMNS:
            case = cases.get(f"matrix.{system}.{column}")
            runs, differ, used = (0, 0, set()) if case is None else compared_by(case)
            failed = case is None or case.get("status") != "run" or case.find("failure") is not None
            bad += failed or runs == 0 or differ != 0
            total += runs
            differing += differ
            texts |= used
            cells.append(f"{runs} runs, {differ} differ" + (", **failed**" if failed else ""))
        lines.append("| " + " | ".join(cells) + " |")
    unread = sorted({path.name for path in EXPECTED.iterdir()} - texts)
    bad += len(unread)
    lines += ["", f"{total} runs compared whole with {len(texts)} reviewed texts: {differing} differ."]
    with open(rows, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")
    print("\n".join(lines))
    for name in unread:
        print(f"matrix: nobody reads tests/matrix/expected/{name}")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
