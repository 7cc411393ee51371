#!/usr/bin/env python3
"""messages.py list | census --produced <folder> [--report <file>] | document [--check] | table <file> | json <file>

The messages of the run log and of the developers' trace.

  list      every message of the sources: level, text (… stands for a value), file and line
  census    which of them a test run produced. VELA_TEST_MESSAGES named <folder> during the run. --report gets the
            counts as a Markdown table. Exits with 1 if a message was never produced (tests/texts/unreachable.txt lists
            exceptions), if a line of a log is not in the sources, or if a command wrote a message that
            docs/messages/ does not have for it
  document  writes docs/messages.md from the sources and docs/messages/; --check only compares
  table     writes the messages of the run log as rows of C++, for logreader/Catalogue.cpp
  json      writes them for other tools
"""
from __future__ import annotations

import argparse
import sys
from pathlib import Path

sys.dont_write_bytecode = True
from texts import catalogue, census, document, source  # noqa: E402

ROOT = Path(__file__).resolve().parent.parent
UNREACHABLE = ROOT / "tests/texts/unreachable.txt"
TOLD = ROOT / "docs/messages"
DOCUMENT = ROOT / "docs/messages.md"


def take_census(folder: Path, report: Path | None) -> list[str]:
    unreachable = census.read_unreachable(UNREACHABLE.read_text(encoding="utf-8"))
    taken = census.take(source.read_product(ROOT), folder)
    table = taken.table(unreachable)
    if report is not None:
        report.parent.mkdir(parents=True, exist_ok=True)
        report.write_text(table, encoding="utf-8")
    print(table, end="")
    return taken.faults(unreachable) + taken.wrong_commands(document.commands_of(document.read_sections(TOLD)))


def write_document(check: bool) -> list[str]:
    text = document.write((TOLD / "head.md").read_text(encoding="utf-8"), document.read_sections(TOLD),
                          source.read_product(ROOT))
    if not check:
        DOCUMENT.write_text(text, encoding="utf-8")
    elif not DOCUMENT.exists() or DOCUMENT.read_text(encoding="utf-8") != text:
        return ["docs/messages.md is out of date: run scripts/messages.py document"]
    return []


def main() -> int:
    parser = argparse.ArgumentParser(usage=__doc__)
    tasks = parser.add_subparsers(dest="task", required=True)
    tasks.add_parser("list")
    counting = tasks.add_parser("census")
    counting.add_argument("--produced", type=Path, required=True)
    counting.add_argument("--report", type=Path)
    tasks.add_parser("document").add_argument("--check", action="store_true")
    for task in ("table", "json"):
        tasks.add_parser(task).add_argument("file", type=Path)
    asked = parser.parse_args()
    faults = []
    try:
        if asked.task == "list":
            for message in source.read_product(ROOT):
                text = message.text.replace("\n", "\\n")
                print(f"{message.kind} | {message.level} | {text}  ({message.place})")
        elif asked.task == "census":
            faults = take_census(asked.produced, asked.report)
        elif asked.task == "document":
            faults = write_document(asked.check)
        else:
            write = catalogue.table if asked.task == "table" else catalogue.as_json
            asked.file.write_text(write(document.read_sections(TOLD), source.read_product(ROOT)), encoding="utf-8")
    except (source.SourceError, document.DocumentError, ValueError) as error:
        faults = [str(error)]
    print(*faults, sep="\n", end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
