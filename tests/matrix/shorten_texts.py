#!/usr/bin/env python3
"""shorten_texts.py <folder of whole texts> <tests/matrix/expected>

Writes the expected texts of the matrix from what each cell did (<chapter>.<system>.<code page>.txt): a file for each
chapter, in which a run is said whole or by its difference from a run that was said before. ExpectedTexts.h has the
form.
"""
import difflib
import pathlib
import sys

CHAPTERS = ("life", "destinations", "outlook_2002", "ordinary_user")
SYSTEMS = ("windows_xp", "windows_server_2003", "windows_vista", "windows_7", "windows_8", "windows_8_1", "windows_10")
CELLS = [f"{system}.{code_page}" for code_page in (1252, 932) for system in SYSTEMS]
COMMON = "C:\\ProgramData\\Orvane Labs"  # the product's place if the plug-ins cannot handle the destination
SHORT_ENOUGH = 0.75  # of the whole text; a longer difference is harder to read than the text


def runs_in(path):
    """Title and lines of each run."""
    runs = []
    for line in path.read_text(encoding="utf-8").split("\n")[:-1]:
        if line.startswith("##### "):
            runs.append((line[6:], []))
        else:
            runs[-1][1].append(line)
    return runs


def difference(old, new):
    lines = []
    for kind, start, end, new_start, new_end in difflib.SequenceMatcher(None, old, new, False).get_opcodes():
        if kind == "equal":
            continue
        lines.append(f"@@ {start + 1}")
        gone = ["-" + line for line in old[start:end]]
        lines += gone if len(gone) <= 3 else [gone[0], f"-[{len(gone) - 1} more, to]{gone[-1][1:]}"]
        lines += ["+" + line for line in new[new_start:new_end]]
    return lines


def destination(lines):
    return "C:\\" + lines[0].rpartition("C:\\")[2].rstrip('"').removesuffix("\\Orvane Labs")


def shortest(new, said):
    """The shortest difference from one of the earlier texts (by name)."""
    differences = []
    for name, old in said.items():
        before, after = destination(old), destination(new)
        for by, what in ((None, None), (after, before), (COMMON, before + "\\Orvane Labs"),
                         (after + "\\Orvane Labs", COMMON)):
            head = [f"like {name}"] + ([f"with {by} for {what}"] if what else [])
            differences.append(head + difference([line.replace(what, by) if what else line for line in old], new))
    return min(differences, key=len, default=new)


def cell_names(cells):
    both = [system for system in SYSTEMS if {f"{system}.1252", f"{system}.932"} <= set(cells)]
    return " ".join(both + [cell for cell in cells if cell.partition(".")[0] not in both])


def variants(texts):
    """The text of the other cells, where it differs from that of the first cell."""
    groups = {}
    for cell, text in texts.items():
        groups.setdefault("\n".join(text), []).append(cell)
    first, *others = groups.values()
    said = {first[0]: texts[first[0]]}
    lines = []
    for cells in others:
        change = shortest(texts[cells[0]], said)
        lines += ["===== " + cell_names(cells)] + change[change[0] == f"like {first[0]}":]
        said[cells[0]] = texts[cells[0]]
    return lines


def main():
    whole, expected = map(pathlib.Path, sys.argv[1:])
    said = {}
    for chapter in CHAPTERS:
        cells = {cell: runs_in(whole / f"{chapter}.{cell}.txt") for cell in CELLS}
        lines = []
        for number, (title, text) in enumerate(cells[CELLS[0]]):
            if {runs[number][0] for runs in cells.values()} != {title}:
                sys.exit(f"{chapter}: run {number + 1} is not the same one in every cell")
            change = shortest(text, said)
            lines += ["##### " + title] + (change if len(change) <= SHORT_ENOUGH * len(text) else text)
            lines += variants({cell: runs[number][1] for cell, runs in cells.items()})
            said[f"{chapter}: {title}"] = text
        (expected / f"{chapter}.txt").write_text("\n".join(lines) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
