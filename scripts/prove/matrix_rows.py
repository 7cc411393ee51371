#!/usr/bin/env python3
"""matrix_rows.py <results of ctest, JUnit> <rows, Markdown>: what the matrix compared, a row for each Windows.

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
VERDICT = re.compile(r"^verdict (.+): (\d+) runs\r?$", re.MULTILINE)


def main() -> int:
    results, rows = map(pathlib.Path, sys.argv[1:])
    cases = {case.get("name"): case for case in ElementTree.parse(results).getroot().iter("testcase")}
    lines = ["| Windows | " + " | ".join(COLUMNS) + " |", "|---" * (len(COLUMNS) + 1) + "|"]
    compared = []
    verdicts = collections.Counter()
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
            for verdict, count in VERDICT.findall("" if case is None else case.findtext("system-out") or ""):
                verdicts[verdict] += int(count)
            cells.append(f"{runs} runs, {differ} differ" + (", **failed**" if failed else ""))
        lines.append("| " + " | ".join(cells) + " |")
    texts = {row[0] for row in compared}
    total, differing = (sum(int(row[place]) for row in compared) for place in (1, 2))
    said = ", ".join(f"{count} {verdict}" for verdict, count in sorted(verdicts.items()))
    lines += ["", f"{total} runs compared whole with {len(texts)} reviewed texts: {differing} differ.",
              f"Verdicts: {said}.", ""]
    rows.write_text("\n".join(lines), encoding="utf-8")
    unread = sorted({path.name for path in EXPECTED.iterdir()} - texts)
    print("\n".join(lines) + "".join(f"matrix: not used: tests/matrix/expected/{name}\n" for name in unread), end="")
    return 1 if bad or unread else 0


if __name__ == "__main__":
    sys.exit(main())
