"""docs/messages.md: the explanations in docs/messages/, joined with the messages of the sources."""
from __future__ import annotations

import re
import textwrap
import tomllib
from dataclasses import dataclass
from pathlib import Path

from .source import VALUE, Message

SWITCHES = ["-I", "-e", "-d", "-s", "-p", "-r", "-U"]
NOTE = ("<!-- Written by scripts/messages.py document, from the sources and docs/messages/. Change those, "
        "not this file.\n"
        "     scripts/messages.py list tells where each message is written. -->\n")
NAMED_BY_HAND = "\n## Which lines mean failure\n"
FENCED = re.compile(r"^```.*?^```", re.DOTALL | re.MULTILINE)
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


def read_row(row: dict[str, str | list[str]]) -> Told:
    texts, commands = tuple(row["texts"]), tuple(row["commands"])
    if unknown := set(row) - {"texts", "commands", "meaning", "advice"}:
        raise DocumentError(f"{texts}: unknown keys {unknown}")
    if not texts or list(commands) != [switch for switch in SWITCHES if switch in commands]:
        raise DocumentError(f"{texts}: the commands must be from {SWITCHES}, in this order")
    if not str(row["meaning"]).strip():
        raise DocumentError(f"{texts}: the meaning is missing")
    return Told(texts, commands, str(row["meaning"]), str(row.get("advice", "")))


def commands_of(sections: list[Section]) -> dict[str, tuple[str, ...]]:
    """The commands that may write a text of the run log. Traces have none."""
    return {text: row.commands for section in sections for row in section.rows for text in row.texts}


def faults(sections: list[Section], messages: list[Message]) -> list[str]:
    """Every text is explained once, and nothing else is."""
    told = [text for section in sections for row in section.rows for text in row.texts]
    known = {message.text for message in messages}
    return [*(f"explained twice: {text!r}" for text in sorted(set(told)) if told.count(text) > 1),
            *(f"explained, but not in the sources: {text!r}" for text in sorted(set(told) - known)),
            *(f"not explained in docs/messages: {text!r}" for text in sorted(known - set(told)))]


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
    """The lines as a block of code, which keeps their blanks, and then the explanation."""
    lines = [line for text in row.texts for line in lines_of(text, messages)]
    commands = " ".join(f"`{switch}`" for switch in row.commands)
    told = [paragraph(f"{commands}: {row.meaning}" if commands else row.meaning)]
    if row.advice.strip():
        told.append(paragraph(f"**What to do:** {row.advice}"))
    return "".join(f"    {line}".rstrip() + "\n" for line in lines) + "\n" + "\n".join(told)


def strangers(head: str, messages: list[Message]) -> list[str]:
    """Names of log lines in the section NAMED_BY_HAND of head.md that no message begins with."""
    begins = [message.text.split(VALUE)[0] for message in messages]
    section = FENCED.sub("", head.partition(NAMED_BY_HAND)[2].partition("\n## ")[0])
    sentences = " ".join(line for line in section.split("\n") if not line.startswith("|"))
    return [f"head.md names {name!r}, but no message begins with it" for name in CODE.findall(sentences)
            if not name.startswith(("-", "LOG_")) and
            not any(begin and (begin.startswith(name) or name.startswith(begin)) for begin in begins)]


def write(head: str, sections: list[Section], messages: list[Message]) -> str:
    if found := faults(sections, messages) + strangers(head, messages):
        raise DocumentError("\n".join(found))
    parts = [NOTE, head]
    for section in sections:
        parts.append(f"\n## {section.title}\n\n")
        if section.introduction.strip():
            parts.append(section.introduction.strip() + "\n\n")
        parts.append("\n".join(write_row(row, messages) for row in section.rows))
    return "".join(parts)
