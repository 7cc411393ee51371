"""The census: which messages of the sources a test run produced, and which of its lines are not in the sources.

Own code, because no tool knows the texts: they are in the entries, in tables and in parameters of the sources.
"""
from __future__ import annotations

import functools
import re
from collections.abc import Iterable
from dataclasses import dataclass, field
from pathlib import Path

from .source import Message, Parts

COMMAND_LINE = re.compile(r"LOG_INFO :  cmd:(-[IedUsrp])")
ENDS_RUN = " VELA END!!! RetrunCode:"
TRACE_HEAD = r"\d\d/\d\d/\d{4} \d\d:\d\d:\d\d\.\d{3} [0-9a-f]{4,}:[0-9a-f]{4,} "
Key = tuple[str, str, str]


def escaped(text: str) -> str:
    """Without escapes that only some dialects of regular expressions know: other tools get these too."""
    return re.sub(r"[\\^$.|?*+()\[\]{}]", r"\\\g<0>", text).replace("\n", r"\r?\n")


def pattern_of(parts: Parts) -> str:
    """With a group for each value."""
    return "".join(escaped(part) if isinstance(part, str) else r"(-?\d+)" if part.is_number else r"([^\r\n]*)"
                   for part in parts)


def weight(message: Message) -> tuple[int, int]:
    """How much of a message is fixed. A line that fits several messages belongs to the one with the most fixed text."""
    return (sum(len(part) for part in message.parts if isinstance(part, str)), -len(message.parts))


class Known:
    """The messages of one kind, as patterns."""

    def __init__(self, messages: list[Message], head: str = "", behind_level: str = "") -> None:
        self.messages = messages
        self.whole = [(re.compile(head + re.escape(message.level) + behind_level + pattern_of(message.parts)), message)
                      for message in messages]
        # An entry ends early at a character that the log cannot store. This can happen in any of its values.
        self.cut = [re.compile(re.escape(message.level) + pattern_of(message.parts[: index + 1]))
                    for message in messages for index, part in enumerate(message.parts)
                    if index != 0 and not isinstance(part, str)]
        self.find = functools.cache(self._find)

    def _find(self, line: str) -> list[Key]:
        fitting = [message for pattern, message in self.whole if pattern.fullmatch(line)]
        heaviest = max(map(weight, fitting), default=None)
        return list({message.key: None for message in fitting if weight(message) == heaviest})

    def is_cut(self, line: str) -> bool:
        # A program that ends when it begins the next entry leaves a line break.
        ended = line.removesuffix("\r\n")
        return bool(ended != line and self.find(ended)) or any(pattern.fullmatch(line) for pattern in self.cut)


@dataclass
class Census:
    messages: list[Message]
    produced: dict[Key, set[str]] = field(default_factory=dict)  # with the commands that wrote it, if known
    unknown: dict[str, str] = field(default_factory=dict)  # a line that is not in the sources, and its file
    files: int = 0

    def count(self, keys: Iterable[Key], command: str) -> None:
        for key in keys:
            self.produced.setdefault(key, set()).update([command] if command else [])

    def faults(self, unreachable: dict[Key, str]) -> list[str]:
        """`unreachable`: messages that no input can produce."""
        known = {message.key: message for message in self.messages}
        return [*(f"no test produced: {message.level}{message.text!r} ({message.place})"
                  for key, message in known.items() if key not in self.produced and key not in unreachable),
                *(f"unreachable.txt: {'a test produced' if key in known else 'no such message'}: {key[1]}{key[2]!r}"
                  for key in unreachable if key not in known or key in self.produced),
                *(f"unknown log line: {line!r} (in {file})" for line, file in self.unknown.items()),
                *(["no log found: was VELA_TEST_MESSAGES set in the test run?"] if self.files == 0 else [])]

    def wrong_commands(self, told: dict[str, tuple[str, ...]]) -> list[str]:
        """Texts that a command wrote although docs/messages does not say so."""
        return [f"{command} wrote this, docs/messages lists only {' '.join(told[key[2]])}: {key[2]!r}"
                for key, commands in self.produced.items() for command in sorted(commands)
                if key[2] in told and command not in told[key[2]]]

    def table(self, unreachable: dict[Key, str]) -> str:
        """Rows for readers, level by level."""
        rows = "| Level | Texts | Produced | Cannot be produced |\n|---|---|---|---|\n"
        levels: dict[str, set[Key]] = {}
        for message in self.messages:
            name = message.level.strip(" :") if message.kind == "log" else f"trace `{message.level}`"
            levels.setdefault(name, set()).add(message.key)
        for name, keys in (*levels.items(), ("all", set().union(*levels.values()))):
            rows += f"| {name} | {len(keys)} | {len(keys & self.produced.keys())} | {len(keys & unreachable.keys())} |\n"
        return rows


def take_log(census: Census, known: Known, path: Path) -> None:
    """Each entry begins with a line break and its level."""
    levels = "|".join({re.escape(message.level) for message in known.messages})
    command = ""
    # One byte per character: the log contains no others.
    for entry in re.split(rf"\r\n(?={levels})", path.read_bytes().decode("latin-1")):
        found = known.find(entry)
        if entry and not found and not known.is_cut(entry):
            census.unknown.setdefault(entry, path.name)
        asked = COMMAND_LINE.match(entry)
        if asked or ENDS_RUN in entry:
            command = ""
        census.count(found, command)
        if asked:
            command = asked.group(1)


def take_traces(census: Census, known: Known, path: Path) -> None:
    sources = {source_of(message.text) for message in known.messages}
    for line in path.read_bytes().decode("utf-8").split("\r\n"):
        # Tests of the trace itself write other lines, with other names.
        if source_of(line) in sources:
            found = known.find(line)
            if not found:
                census.unknown.setdefault(line, path.name)
            census.count(found, "")


def source_of(trace: str) -> str:
    """The name at the end of "... - Frwk_WindowStation(143)"."""
    return trace.rpartition(" - ")[2].partition("(")[0]


def take(messages: list[Message], folder: Path) -> Census:
    """The folder has a *.log of each run, and a *.trace if the run recorded one."""
    census = Census(messages)
    entries = Known([message for message in messages if message.kind == "log"])
    for path in sorted(folder.glob("*.log")):
        census.files += 1
        take_log(census, entries, path)
    traces = Known([message for message in messages if message.kind == "trace"], TRACE_HEAD, " <[^>]*> ")
    for path in sorted(folder.glob("*.trace")):
        take_traces(census, traces, path)
    return census


def read_unreachable(text: str) -> dict[Key, str]:
    """One exception a line (kind | level | text), and its reason indented below."""
    entries = re.findall(r"^(\w+) \| (.*?) \| (.*)\n((?:  .*\n)*)", text, re.MULTILINE)
    found = {(kind, level, said): " ".join(reason.split()) for kind, level, said, reason in entries}
    if missing := [exception for exception, reason in found.items() if not reason]:
        raise ValueError(f"unreachable.txt: no reason for {missing}")
    return found
