"""docs/messages.md: the explanations in docs/messages/, joined with the messages of the sources."""
from __future__ import annotations

import re
import textwrap
import tomllib
from dataclasses import dataclass, field
from itertools import groupby
from pathlib import Path
from typing import Any

from .source import VALUE, Message

SWITCHES = ["-I", "-e", "-d", "-s", "-p", "-r", "-U"]
NOTE = ("<!-- Written by scripts/messages.py document, from the sources and docs/messages/. Change those, "
        "not this file.\n"
        "     scripts/messages.py list tells where each message is written. -->\n")
# What kind of line a message is, from the best to the worst. docs/messages/head.md explains them.
KINDS = ("frame", "expected", "usual", "notice", "left", "restart", "problem", "fatal")
# Marks in head.md that a list replaces: of the messages at these levels that are of one of these kinds.
LISTS = {"<!-- at LOG_INFO, and needs attention -->": (("LOG_INFO",), KINDS[4:]),
         "<!-- at the other levels, and needs none -->": (("LOG_ERROR", "LOG_WARN", "LOG_EVENT"), KINDS[:4])}
CODE = re.compile(r"`([^`]+)`")
WIDTH = 120


class DocumentError(Exception):
    """The explanations do not fit the messages."""


@dataclass(frozen=True)
class Told:
    """One entry of the document: texts with the same meaning."""

    texts: tuple[str, ...]
    commands: tuple[str, ...]
    meaning: str
    advice: str
    kind: str = ""  # empty for traces
    kinds: dict[str, str] = field(default_factory=dict)  # exceptions: command -> kind
    values: tuple[dict[str, Any], ...] = ()  # exceptions that win: value number `of`, from 1, `is` this text -> `kind`

    def kind_for(self, command: str) -> str:
        return self.kinds.get(command, self.kind)

    def is_any_of(self, kinds: tuple[str, ...]) -> bool:
        told = [*map(self.kind_for, self.commands or [""]), *(rule["kind"] for rule in self.values)]
        return any(kind in kinds for kind in told)


@dataclass(frozen=True)
class Section:
    title: str
    introduction: str
    rows: tuple[Told, ...]


def read_sections(folder: Path) -> list[Section]:
    sections = []
    for path in sorted(folder.glob("*.toml")):
        try:
            for section in tomllib.loads(path.read_text(encoding="utf-8"))["section"]:
                sections.append(Section(section["title"], section.get("introduction", ""),
                                        tuple(map(read_row, section["message"]))))
        except (KeyError, TypeError, tomllib.TOMLDecodeError, DocumentError) as error:
            raise DocumentError(f"{path.name}: {error}") from None
    return sections


def read_row(row: dict[str, Any]) -> Told:
    texts, commands = tuple(row["texts"]), tuple(row["commands"])
    kinds, values = row.get("kinds", {}), tuple(row.get("values", ()))
    if unknown := set(row) - {"texts", "commands", "meaning", "advice", "kind", "kinds", "values"}:
        raise DocumentError(f"{texts}: unknown keys {unknown}")
    if not texts or list(commands) != [switch for switch in SWITCHES if switch in commands]:
        raise DocumentError(f"{texts}: the commands must be from {SWITCHES}, in this order")
    if unknown := {row.get("kind", "frame"), *kinds.values(), *(rule["kind"] for rule in values)} - set(KINDS):
        raise DocumentError(f"{texts}: unknown kinds {unknown}")
    if ("kind" not in row and (kinds or values)) or set(kinds) - set(commands) or row.get("kind") in kinds.values():
        raise DocumentError(f"{texts}: `kinds` names a command that cannot write this, or repeats `kind`")
    if any(set(rule) != {"of", "is", "kind"} or not isinstance(rule["is"], str) or
           not 1 <= rule["of"] <= min(text.count(VALUE) for text in texts) for rule in values):
        raise DocumentError(f"{texts}: a rule in `values` needs `of` (the number of a value), `is` (a text) and `kind`")
    if not str(row["meaning"]).strip():
        raise DocumentError(f"{texts}: the meaning is missing")
    return Told(texts, commands, str(row["meaning"]), str(row.get("advice", "")), row.get("kind", ""), kinds, values)


def commands_of(sections: list[Section]) -> dict[str, tuple[str, ...]]:
    """The commands that may write a text of the run log. Traces have none."""
    return {text: row.commands for section in sections for row in section.rows for text in row.texts}


def faults(sections: list[Section], messages: list[Message]) -> list[str]:
    """Every text is explained once, and nothing else is. Each of the run log has a kind and an anchor of its own."""
    rows = {text: row for section in sections for row in section.rows for text in row.texts}
    told = [text for section in sections for row in section.rows for text in row.texts]
    known = {message.text for message in messages}
    logged = {message.text for message in messages if message.kind == "log"}
    anchors = list(map(anchor_of, rows))
    return [*(f"explained twice: {text!r}" for text in sorted(set(told)) if told.count(text) > 1),
            *(f"explained, but not in the sources: {text!r}" for text in sorted(set(told) - known)),
            *(f"not explained in docs/messages: {text!r}" for text in sorted(known - set(told))),
            *(f"{'no kind' if text in logged else 'a kind, but not of the run log'}: {text!r}"
              for text, row in rows.items() if text in known and (text in logged) != bool(row.kind)),
            *(f"two messages have the anchor {anchor}" for anchor in sorted(set(anchors)) if anchors.count(anchor) > 1)]


def anchor_of(text: str) -> str:
    """Of the fixed text alone, so that links stay valid."""
    return "-".join(re.findall(r"[a-z0-9]+", text.replace(VALUE, " x ").lower()))


def kinds_of(row: Told) -> str:
    """The commands and the kind of line: "`-e` (problem) `-s` (fatal)", "`-I` (expected; with `0` problem)"."""
    values = "".join(f"; with `{rule['is']}` {rule['kind']}" for rule in row.values)
    if not row.commands:
        return f"No command ({row.kind}{values})"
    return " ".join(" ".join(f"`{switch}`" for switch in switches) + f" ({kind}{values})"
                    for kind, switches in groupby(row.commands, row.kind_for))


def paragraph(text: str) -> str:
    """Wrapped, but not within a span of code: people search for it, and a hyphen at its start would begin a list."""
    whole = CODE.sub(lambda span: span[0].replace(" ", "\0"), " ".join(text.split()))
    lines = textwrap.wrap(whole, WIDTH, break_long_words=False, break_on_hyphens=False)
    return "\n".join(lines).replace("\0", " ") + "\n"


def lines_of(text: str, messages: list[Message]) -> list[str]:
    """The text as it is in a log, once for each level that it is written at."""
    return list(dict.fromkeys(
        line for message in messages if message.text == text
        for line in f"{message.level}{'' if message.kind == 'log' else ' '}{text}".rstrip("\n").split("\n")))


def write_row(row: Told, messages: list[Message]) -> str:
    """The anchors, the lines as a block of code, which keeps their blanks, and then the explanation."""
    lines = [line for text in row.texts for line in lines_of(text, messages)]
    told = [paragraph(f"{kinds_of(row)}: {row.meaning}" if row.kind else row.meaning)]
    if row.advice.strip():
        told.append(paragraph(f"**What to do:** {row.advice}"))
    anchors = "".join(f'<a id="{anchor_of(text)}"></a>\n' for text in row.texts)
    return anchors + "\n" + "".join(f"    {line}".rstrip() + "\n" for line in lines) + "\n" + "\n".join(told)


def list_of(sections: list[Section], messages: list[Message], levels: tuple[str, ...], kinds: tuple[str, ...]) -> str:
    found = {message.text for message in messages if message.level.strip(" :") in levels}
    return "".join(f"* [`{text.strip()}`](#{anchor_of(text)}): {kinds_of(row)}\n"
                   for section in sections for row in section.rows for text in row.texts
                   if text in found and row.kind != "frame" and row.is_any_of(kinds))


def write(head: str, sections: list[Section], messages: list[Message]) -> str:
    if found := faults(sections, messages):
        raise DocumentError("\n".join(found))
    for mark, chosen in LISTS.items():
        head = head.replace(mark + "\n", list_of(sections, messages, *chosen))
    if "<!--" in head:
        raise DocumentError(f"head.md has a mark that is none of {list(LISTS)}")
    parts = [NOTE, head]
    for section in sections:
        parts.append(f"\n## {section.title}\n\n")
        if section.introduction.strip():
            parts.append(section.introduction.strip() + "\n\n")
        parts.append("\n".join(write_row(row, messages) for row in section.rows))
    return "".join(parts)
