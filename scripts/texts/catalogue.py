"""The messages of the run log for programs: a table in C++ for logreader/, and JSON for other tools.

An entry is compared without the line breaks at its end, which banners and "Pn error." have.
"""
from __future__ import annotations

import json
import re
from collections.abc import Iterator

from .census import pattern_of
from .document import SWITCHES, DocumentError, Section, Told, anchor_of, faults
from .source import Message, Parts

LINK = re.compile(r"\[([^\]]*)\]\([^)]*\)")
HEAD = """// Written by scripts/messages.py table, from the sources and docs/messages/. The rows of kMessages or, where
// LOGREADER_VALUE_RULES is defined, of kValueRules. The kinds are in the order -I -e -d -s -p -r -U; a message of no
// command has its kind in all places.
"""


def entries(sections: list[Section], messages: list[Message]) -> Iterator[tuple[Told, str, Parts, list[str]]]:
    """Each text of the run log in the order of the document, with its row, its parts and what may precede it."""
    if found := faults(sections, messages):
        raise DocumentError("\n".join(found))
    parts = {message.text: message.parts for message in messages if message.kind == "log"}
    for section in sections:
        for row in section.rows:
            for text in row.texts:
                if text in parts:
                    levels = dict.fromkeys(message.level for message in messages if message.text == text)
                    yield row, text, parts[text], list(levels)


def plain(text: str) -> str:
    """Links become their text; marks outside of code go."""
    whole = LINK.sub(r"\1", " ".join(text.split()))
    return re.sub(r"(`[^`]*`)|\*\*", lambda found: found[1] or "", whole)


def literal(data: bytes) -> str:
    """A literal of C++. Octal, because an escape in hexadecimal would take in the digits after it."""
    return '"' + "".join("\\" + chr(byte) if byte in b'"\\' else chr(byte) if 32 <= byte < 127 else f"\\{byte:03o}"
                         for byte in data) + '"'


def table(sections: list[Section], messages: list[Message]) -> str:
    rows, rules = [], []
    for row, text, parts, levels in entries(sections, messages):
        said = "".join(part if isinstance(part, str) else "\1" for part in parts).rstrip("\n")
        bits = " | ".join("k" + level.strip(" :").removeprefix("LOG_").capitalize() for level in levels)
        writers = row.commands or SWITCHES
        kinds = ", ".join("Kind::k" + (row.kind_for(switch).title() if switch in writers else "Never")
                          for switch in SWITCHES)
        told = ", ".join(literal(plain(about).encode()) for about in (row.meaning, row.advice))
        rows.append(f"{{{literal(said.encode('latin-1'))}, {bits}, \"{anchor_of(text)}\", {{{kinds}}}, "
                    f"{len(rules)}, {len(row.values)}, {told}}},\n")
        rules += [f"{{{rule['of']}, {literal(rule['is'].encode('latin-1'))}, Kind::k{rule['kind'].title()}}},\n"
                  for rule in row.values]
    return f"{HEAD}#ifdef LOGREADER_VALUE_RULES\n{''.join(rules)}#else\n{''.join(rows)}#endif\n"


def as_json(sections: list[Section], messages: list[Message]) -> str:
    return json.dumps([{
        "text": text.rstrip("\n"), "levels": [level.strip(" :") for level in levels],
        "pattern": f"^(?:{'|'.join(levels)}){pattern_of(parts)}$".replace(r"\r?\n$", "$"),
        "commands": row.commands, "kind": row.kind, "kinds": {switch: row.kind_for(switch) for switch in row.commands},
        "values": row.values, "anchor": anchor_of(text), "meaning": plain(row.meaning), "remedy": plain(row.advice),
    } for row, text, parts, levels in entries(sections, messages)], ensure_ascii=False, indent=1) + "\n"
