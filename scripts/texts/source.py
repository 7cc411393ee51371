"""All messages of the product, read from its sources.

A message of the run log is one entry: `RunLog::Error() << L"text" << value << ...;`. Its text is in the entry itself, in
a table, or in a parameter of the function that writes it; the last two have the type RunLog::Text (cli/RunLog.h). A
text of another type is a value, and an entry without any text is an error here, so that none is overlooked.
"""
from __future__ import annotations

import re
from collections.abc import Iterator
from dataclasses import dataclass
from itertools import product
from pathlib import Path

from cpp_tokens import SourceError, Token, closing

from . import cpp
from .cpp import Function, Source

FOLDERS = ("cli", "settings", "install", "plugins", "activation", "uninstall", "notify", "Common")
VALUE = "\N{HORIZONTAL ELLIPSIS}"  # stands for a value in what people read
RUN_LOG = ("cli/RunLog.h", "cli/RunLog.cpp")  # what writes entries, and says none
TRACE_LEVELS = {"kProgress": ".w.", "kNotice": "@@@", "kError": "!!!"}
FORMAT_SPECIFIER = re.compile(r"%(?:%|[-+ #0]*\d*(?:\.\d+)?(?:l|ll|h|I64)?[a-zA-Z])")


@dataclass(frozen=True)
class Value:
    """A part of a message that differs from run to run."""

    is_number: bool = False


Parts = tuple["str | Value", ...]


@dataclass(frozen=True)
class Message:
    kind: str  # "log", "trace"
    level: str  # what stands before the text: "LOG_ERROR: "; of a trace its tag
    parts: Parts
    source: str  # the file of the function that writes it
    function: str

    @property
    def text(self) -> str:
        return "".join(part if isinstance(part, str) else VALUE for part in self.parts)

    @property
    def key(self) -> tuple[str, str, str]:
        return (self.kind, self.level, self.text)


Row = dict[str, "list[Token]"]  # a line of a table that an entry takes its texts from: member -> what it is given


def is_text(part: list[Token]) -> bool:
    return bool(part) and all(token.kind == "text" for token in part)


@dataclass(frozen=True)
class Place:
    source: Source
    function: Function

    def error(self, told: str) -> SourceError:
        return SourceError(f"{self.source.name}: {self.function.name}: {told}")

    def text_parameters(self) -> dict[str, int]:
        return {parameter[-1].text: index for index, parameter in enumerate(self.function.parameters)
                if "RunLog :: Text" in cpp.spelled(parameter)}


class Product:
    def __init__(self, sources: list[Source]) -> None:
        self.sources = sources
        self.constants: dict[str, str] = {}
        for source in sources:
            if source.name.endswith(".h"):
                self.constants.update(source.constants)
        # RunLog::Info and its like, with what they write first.
        self.levels = {function.name: cpp.value_of(arguments[0])
                       for source in sources if source.name in RUN_LOG for function in source.functions
                       for arguments in cpp.calls(function, "Entry") if arguments[0][0].kind == "text"}

    def text_members(self, source: Source) -> dict[str, str]:
        """Members of type RunLog::Text, with their structure. A name means one structure within a file."""
        found: dict[str, str] = {}
        for structure, members in source.structures.items():
            for declared, name in zip(members, cpp.member_names(members)):
                if cpp.is_at(declared, 0, "RunLog", "::", "Text"):
                    if name in found:
                        raise SourceError(f"{source.name}: two structures have a text {name}; name one differently")
                    found[name] = structure
        return found

    def rows(self, source: Source, structure: str) -> list[Row]:
        names = cpp.member_names(source.structures[structure])
        return [dict(zip(names, row)) for table in source.tables if table.type_name == structure for row in table.rows]

    def member_of(self, source: Source, part: list[Token]) -> str:
        """The member that `row.text` or `&Row::text` names; empty where the expression is another."""
        is_member = len(part) > 2 and part[-2].text in (".", "->", "::") and part[-1].text in self.text_members(source)
        return part[-1].text if is_member else ""

    def handed_over(self, function: Function, parameter: int) -> list[str]:
        """The texts that callers hand to a parameter."""
        name = function.name.split("::")[-1]
        texts: list[str] = []
        for source in self.sources:
            for caller in source.functions:
                for arguments in cpp.calls(caller, name):
                    if len(arguments) == len(function.parameters):
                        place = Place(source, caller)
                        for row in self.rows_for(place, [arguments[parameter]]):
                            handed = self.texts_of(place, arguments[parameter], row)
                            if handed is None:
                                raise place.error(f"the text that it hands {name} cannot be found")
                            texts.extend(handed)
        if not texts:
            raise SourceError(f"nobody hands {name} a text")
        return texts

    def texts_of(self, place: Place, part: list[Token], row: Row) -> list[str] | None:
        """The texts that an expression may be; None where it is a value, none where the row has none."""
        if is_text(part):
            return [cpp.value_of(part)]
        if part[0].text == "(" and closing(part, 0) == len(part) - 1:
            return self.texts_of(place, part[1:-1], row)
        words = [token.text for token in part]
        if "?" in words:
            question = words.index("?")
            sides = cpp.split(part[question + 1 :], ":")
            decided = cpp.spelled(row.get(words[question - 1], []))
            if decided in ("true", "false"):  # the condition is a member of the table
                return self.texts_of(place, sides[0 if decided == "true" else 1], row)
            either = [self.texts_of(place, side, row) for side in sides]
            return None if None in either else [text for texts in either for text in texts or []]
        if words == ["std", "::", "endl"]:
            return ["\n"]
        parameters = place.text_parameters()
        if words[-1] in parameters and (len(words) == 1 or words[-2] == ".*"):
            return self.handed_over(place.function, parameters[words[-1]])
        if len(words) == 1:
            constant = place.source.constants.get(words[0], self.constants.get(words[0]))
            return None if constant is None else [constant]
        member = self.member_of(place.source, part)
        if not member:
            return None
        return [cpp.value_of(row[member])] if is_text(row.get(member, [])) else []

    def alternatives(self, place: Place, part: list[Token], row: Row) -> list[str | Value]:
        texts = self.texts_of(place, part, row)
        if texts is not None:
            return list(texts)
        words = cpp.spelled(part)
        if words.isdigit():
            return [words]
        return [Value(words.startswith(("static_cast < DWORD >", "static_cast < int >", ":: GetLastError ( )")))]

    def rows_for(self, place: Place, parts: list[list[Token]]) -> list[Row]:
        """The rows that the members in these expressions come from; one empty row where there are none."""
        known = self.text_members(place.source)
        used = {known[part[index].text] for part in parts for index in range(1, len(part))
                if part[index].text in known and part[index - 1].text in (".", "->", "::")}
        if len(used) > 1:
            raise place.error("texts of two tables in one entry")
        found = [row for structure in used for row in self.rows(place.source, structure)]
        if used and not found:
            raise place.error(f"no table of {used} is found")
        return found or [{}]

    def said(self, place: Place, parts: list[list[Token]]) -> list[Parts]:
        """Everything that an entry of these parts may say."""
        found: list[Parts] = []
        for row in self.rows_for(place, parts):
            found.extend(product(*[self.alternatives(place, part, row) for part in parts]))
        return list(dict.fromkeys(found))

    def entries(self, place: Place) -> Iterator[tuple[str, list[Parts]]]:
        """Each entry that the function writes: its level, and what it may say."""
        body = place.function.body
        for index in range(len(body)):
            if not cpp.is_at(body, index, "RunLog", "::") or body[index + 2].text not in self.levels:
                continue
            level = self.levels[body[index + 2].text]
            end = cpp.statement_end(body, index)
            written = cpp.split(body[index + 5 : end], "<<")
            if written:
                yield level, self.said(place, written[1:])
            else:
                yield level, [self.named_entry(place, body[index - 2].text, end)]

    def named_entry(self, place: Place, name: str, start: int) -> Parts:
        """An entry with a name gets its parts from a loop over a table: what each row says, one after the other."""
        body = place.function.body
        statements = [index for index in range(start, len(body)) if cpp.is_at(body, index, name, "<<")]
        if len(statements) != 1:
            raise place.error(f"the entry {name} is understood only where one statement in a loop writes to it")
        parts = cpp.split(body[statements[0] : cpp.statement_end(body, statements[0])], "<<")[1:]
        return tuple(part for said in self.said(place, parts) for part in said)

    def log_messages(self) -> Iterator[Message]:
        for source in self.sources:
            if source.name in RUN_LOG:
                continue
            for function in source.functions:
                place = Place(source, function)
                for level, said in self.entries(place):
                    if not said:
                        raise place.error(f"nothing gives a {level} entry a text")
                    for parts in said:
                        if not any(isinstance(part, str) and part.strip() for part in parts):
                            raise place.error(f"a {level} entry without a text; in a table its type is RunLog::Text")
                        parts = tuple(part for part in parts if part != "")
                        yield Message("log", level, parts, source.name, function.name)

    def trace_messages(self) -> Iterator[Message]:
        """Functions that hand a format on to the trace have a level of their own; their calls name line and format."""
        for source in self.sources:
            for tracer in source.functions:
                for arguments in cpp.calls(tracer, "Trace"):
                    level = arguments[2][-1].text if len(arguments) > 3 else ""
                    if level not in TRACE_LEVELS:
                        continue
                    name = source.constants.get(arguments[0][-1].text, "").split("\\")[-1]
                    for function in source.functions:
                        for line, text, *_ in cpp.calls(function, tracer.name):
                            parts = (*format_parts(cpp.value_of(text)), f" - {name}({cpp.spelled(line)})")
                            yield Message("trace", TRACE_LEVELS[level], parts, source.name, function.name)


def format_parts(text: str) -> Parts:
    texts = FORMAT_SPECIFIER.split(text)
    values = ["%" if found == "%%" else Value() for found in FORMAT_SPECIFIER.findall(text)]
    return tuple(part for pair in zip(texts, [*values, ""]) for part in pair if part != "")


def read_product(root: Path) -> list[Message]:
    """Every message once for each function that writes it, in the order of the sources."""
    found = Product([cpp.read(path.relative_to(root).as_posix(), path.read_text(encoding="utf-8"))
                     for folder in FOLDERS for path in sorted((root / folder).rglob("*"))
                     if path.suffix in (".h", ".cpp")])
    messages = list(dict.fromkeys((*found.log_messages(), *found.trace_messages())))
    if not messages:
        raise SourceError(f"no messages in {root}")
    return messages
