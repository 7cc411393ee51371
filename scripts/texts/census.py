"""Which messages of the sources a test run has produced, and which lines of it no source knows."""
from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, field
from pathlib import Path

from .source import Message, Parts

COMMAND_LINE = re.compile(r"LOG_INFO :  cmd:(-[IedUsrp])")
ENDS_RUN = " VELA END!!! RetrunCode:"
TRACE_HEAD = r"\d\d/\d\d/\d{4} \d\d:\d\d:\d\d\.\d{3} [0-9a-f]{4,}:[0-9a-f]{4,} "
Key = tuple[str, str, str]


def pattern_of(parts: Parts) -> str:
    written = []
    for part in parts:
        if isinstance(part, str):
            written.append(re.escape(part.replace("\n", "\r\n")))
        else:
            written.append(r"-?\d+" if part.is_number else r"[^\r\n]*")
    return "".join(written)


def cut_patterns(parts: Parts) -> Iterator[str]:
    """What is left of a message in a log that ended at a character which it cannot hold: everything up to there."""
    for index, part in enumerate(parts):
        if not isinstance(part, str) and index != 0:
            yield pattern_of(parts[: index + 1])


def weight(message: Message) -> tuple[int, int]:
    """How much of a message is settled. A line that fits several belongs to the one with the most."""
    settled = sum(len(part) for part in message.parts if isinstance(part, str))
    return (settled, -len(message.parts))


class Known:
    """The messages of one kind, as patterns."""

    def __init__(self, messages: list[Message], head: str = "", behind_level: str = "",
                 may_be_cut: bool = False) -> None:
        self.exact = [(re.compile(head + re.escape(message.level) + behind_level + pattern_of(message.parts)), message)
                      for message in messages]
        self.cut = [re.compile(head + re.escape(message.level) + pattern)
                    for message in messages for pattern in cut_patterns(message.parts) if may_be_cut]
        self.found: dict[str, list[Key]] = {}

    def keys(self) -> Iterable[Key]:
        return (message.key for _, message in self.exact)

    def find(self, line: str) -> list[Key]:
        if line not in self.found:
            fitting = [message for pattern, message in self.exact if pattern.fullmatch(line)]
            heaviest = max((weight(message) for message in fitting), default=None)
            self.found[line] = list({message.key: None for message in fitting if weight(message) == heaviest})
        return self.found[line]

    def is_cut(self, line: str) -> bool:
        # A program that was ended while it began the next entry leaves its line break.
        ended = line.removesuffix("\r\n")
        return bool(ended != line and self.find(ended)) or any(pattern.fullmatch(line) for pattern in self.cut)


def known_entries(messages: list[Message]) -> Known:
    return Known([message for message in messages if message.kind == "log"], may_be_cut=True)


def known_traces(messages: list[Message]) -> Known:
    return Known([message for message in messages if message.kind == "trace"], TRACE_HEAD, " <[^>]*> ")


@dataclass
class Census:
    messages: list[Message]
    produced: dict[Key, set[str]] = field(default_factory=dict)  # with the commands that wrote it, where one is known
    unknown: dict[str, str] = field(default_factory=dict)  # a line that no source has, and the file it stands in
    files: int = 0

    def count(self, keys: Iterable[Key], command: str) -> None:
        for key in keys:
            self.produced.setdefault(key, set()).update([command] if command else [])

    def faults(self, unreachable: dict[Key, str]) -> list[str]:
        """Everything that is not as it should be. `unreachable`: messages that no input can produce."""
        faults = []
        keys = {message.key for message in self.messages}
        for message in self.messages:
            if message.key in keys and message.key not in self.produced and message.key not in unreachable:
                faults.append(f"never produced: {message.level}{message.text!r} ({message.source}, {message.function})")
            keys.discard(message.key)
        known = {message.key for message in self.messages}
        for key in unreachable:
            if key not in known:
                faults.append(f"an exception that is no message: {key[1]}{key[2]!r}")
            elif key in self.produced:
                faults.append(f"an exception that was produced: {key[1]}{key[2]!r}")
        faults.extend(f"no message of the sources: {line!r} (in {file})" for line, file in self.unknown.items())
        if self.files == 0:
            faults.append("no run left a log")
        return faults

    def wrong_commands(self, told: dict[str, tuple[str, ...]]) -> list[str]:
        """Texts that a command wrote which is not said to."""
        return [f"{command} writes it, docs/messages says only {' '.join(told[key[2]])}: {key[2]!r}"
                for key, commands in self.produced.items() for command in sorted(commands)
                if key[2] in told and command not in told[key[2]]]

    def levels(self) -> list[str]:
        return list(dict.fromkeys(message.level for message in self.messages))

    def table(self, unreachable: dict[Key, str]) -> str:
        """The rows for people: produced of all, level by level."""
        rows = ["| Level | Texts | Produced | Never, and cannot be |", "|---|---|---|---|"]
        total = [0, 0, 0]
        for level in self.levels():
            keys = {message.key for message in self.messages if message.level == level}
            kind = next(iter(keys))[0]
            counts = [len(keys), len(keys & self.produced.keys()), len(keys & unreachable.keys())]
            total = [sum(pair) for pair in zip(total, counts)]
            name = level.strip(" :") if kind == "log" else f"trace `{level}`"
            rows.append("| " + " | ".join([name, *map(str, counts)]) + " |")
        rows.append("| all | " + " | ".join(map(str, total)) + " |")
        return "\n".join(rows) + "\n"


def entries_of(log: str, levels: list[str]) -> list[str]:
    """The entries of a log. Each begins with a line break and its level."""
    start = re.compile(r"\r\n(?=" + "|".join(map(re.escape, levels)) + ")")
    first, *entries = start.split(log)
    return [first, *entries] if first else entries


def take_log(census: Census, known: Known, path: Path) -> None:
    levels = sorted({message.level for message in census.messages if message.kind == "log"})
    command = ""
    # One byte a character: what the log cannot hold never gets there.
    for entry in entries_of(path.read_bytes().decode("latin-1"), levels):
        found = known.find(entry)
        if not found and not known.is_cut(entry):
            census.unknown.setdefault(entry, path.name)
        asked = COMMAND_LINE.match(entry)
        if asked or ENDS_RUN in entry:
            command = ""
        census.count(found, command)
        if asked:
            command = asked.group(1)


def take_traces(census: Census, known: Known, path: Path) -> None:
    sources = {source_of(key[2]) for key in known.keys()}
    for line in path.read_bytes().decode("utf-8").split("\r\n"):
        # Tests of the trace itself write lines of their own, in names of their own.
        if source_of(line) in sources:
            found = known.find(line)
            if not found:
                census.unknown.setdefault(line, path.name)
            census.count(found, "")


def source_of(trace: str) -> str:
    """The name at the end of "... - Frwk_WindowStation(143)"."""
    return trace.rpartition(" - ")[2].partition("(")[0]


def take(messages: list[Message], folder: Path) -> Census:
    """What the runs left in the folder: a *.log each, and a *.trace where one was recorded."""
    census = Census(messages)
    entries = known_entries(messages)
    for path in sorted(folder.glob("*.log")):
        census.files += 1
        take_log(census, entries, path)
    traces = known_traces(messages)
    for path in sorted(folder.glob("*.trace")):
        take_traces(census, traces, path)
    return census


def read_unreachable(text: str) -> dict[Key, str]:
    """Exceptions, each on a line of its own (kind | level | text), its reason indented below it."""
    found: dict[Key, str] = {}
    key: Key | None = None
    for line in text.splitlines():
        if line.startswith("#") or not line.strip():
            continue
        if line.startswith("  ") and key is not None:
            found[key] = (found[key] + " " + line.strip()).strip()
        else:
            kind, level, said = line.split(" | ", 2)
            key = (kind, level, said)
            found[key] = ""
    for exception, reason in found.items():
        if not reason:
            raise ValueError(f"an exception without a reason: {exception}")
    return found
