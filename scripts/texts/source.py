"""All messages of the product, read from its sources.

A message of the run log is one entry: `RunLog::Error() << L"text" << value << ...;`. Its text is in the entry, or in a
table, as a member of the type RunLog::Text (cli/RunLog.h). A text of another type is a value. An entry without any text
is an error here, so that none is missed.
"""
from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from itertools import product
from pathlib import Path

from cpp_tokens import PAIRS, SourceError, Token, closing, tokens_of

FOLDERS = ("cli", "settings", "install", "plugins", "activation", "uninstall", "notify", "Common")
VALUE = "\N{HORIZONTAL ELLIPSIS}"  # replaces a value in the text for readers
RUN_LOG = ("cli/RunLog.h", "cli/RunLog.cpp")  # what writes entries, and says none
TRACE_LEVELS = {"kProgress": ".w.", "kNotice": "@@@", "kError": "!!!"}
FORMAT_SPECIFIER = re.compile(r"%(?:%|[-+ #0]*\d*(?:\.\d+)?(?:l|ll|h|I64)?[a-zA-Z])")
ESCAPE = re.compile(r"\\(x[0-9A-Fa-f]+|u[0-9A-Fa-f]{4}|.)", re.DOTALL)
PLAIN_ESCAPES = {"n": "\n", "r": "\r", "t": "\t", "0": "\0"}
ACCESS = (".", "->", "::")
NUMBERS = ("static_cast < DWORD >", "static_cast < int >", ":: GetLastError ( )")


@dataclass(frozen=True)
class Value:
    """A part of a message that differs from run to run."""

    is_number: bool = False


Parts = tuple["str | Value", ...]
Row = dict[str, "list[Token]"]  # the row of a table that gives an entry its texts: member -> its value


@dataclass(frozen=True)
class Message:
    kind: str  # "log", "trace"
    level: str  # what precedes the text: "LOG_ERROR: "; for a trace, its tag
    parts: Parts
    place: str  # file and line

    @property
    def text(self) -> str:
        return "".join(part if isinstance(part, str) else VALUE for part in self.parts)

    @property
    def key(self) -> tuple[str, str, str]:
        return (self.kind, self.level, self.text)


# ---- the parts of C++ that this needs

def is_text(part: list[Token]) -> bool:
    return bool(part) and all(token.kind == "text" for token in part)


def value_of(literals: Iterable[Token]) -> str:
    """The text of adjacent string literals."""
    def plain(match: re.Match[str]) -> str:
        code = match.group(1)
        return chr(int(code[1:], 16)) if code[0] in "xu" and len(code) > 1 else PLAIN_ESCAPES.get(code, code)

    return ESCAPE.sub(plain, "".join(token.text[token.text.index('"') + 1 : -1] for token in literals))


def spelled(tokens: Iterable[Token]) -> str:
    return " ".join(token.text for token in tokens)


def split(tokens: list[Token], separator: str) -> list[list[Token]]:
    """The parts between separators outside of brackets. A separator at the end is followed by no part."""
    parts: list[list[Token]] = [[]]
    index = 0
    while index < len(tokens):
        end = closing(tokens, index) if tokens[index].text in PAIRS else index
        if tokens[index].text == separator:
            parts.append([])
        else:
            parts[-1].extend(tokens[index : end + 1])
        index = end + 1
    return parts if parts[-1] else parts[:-1]


def member_name(declared: list[Token]) -> str:
    """"bool (*install)(...)" declares install."""
    text = spelled(declared).partition(" =")[0]
    pointer = re.search(r"\( \* (\w+)", text)
    return pointer[1] if pointer else re.findall(r"[A-Za-z_]\w*", text)[-1]


class Source:
    """A file: its named texts, and the tables of its structures that have texts for the log."""

    def __init__(self, name: str, text: str) -> None:
        self.name = name
        self.tokens = tokens_of(text)
        self.constants: dict[str, str] = {}
        self.structure_of: dict[str, str] = {}  # member of the type RunLog::Text -> its structure
        self.members: dict[str, list[str]] = {}  # structure -> all its members
        self.rows: dict[str, list[Row]] = {}
        for index, token in enumerate(self.tokens):
            if token.text == "struct" and self.is_at(index + 2, "{"):
                self._read_structure(index + 1)
            elif token.text in self.members:
                self._read_table(index)
            elif self.is_at(index, "[", "]", "="):
                value = self.statement(index + 3)
                if is_text(value):
                    self.constants[self.tokens[index - 1].text] = value_of(value)

    def is_at(self, index: int, *texts: str) -> bool:
        return [token.text for token in self.tokens[index : index + len(texts)]] == list(texts)

    def statement(self, start: int) -> list[Token]:
        """From there to the semicolon."""
        index = start
        while index < len(self.tokens) and self.tokens[index].text != ";":
            index = closing(self.tokens, index) + 1 if self.tokens[index].text in PAIRS else index + 1
        if index >= len(self.tokens):
            raise SourceError(f"line {self.tokens[start - 1].line}: the statement has no semicolon")
        return self.tokens[start:index]

    def bracket(self, opening: int) -> list[Token]:
        return self.tokens[opening + 1 : closing(self.tokens, opening)]

    def _read_structure(self, index: int) -> None:
        structure = self.tokens[index].text
        members = split(self.bracket(index + 1), ";")
        texts = [member[-1].text for member in members if spelled(member).startswith("RunLog :: Text ")]
        if shared := set(texts) & set(self.structure_of):
            raise SourceError(f"two structures have a RunLog::Text {shared}: rename one")
        if texts:
            self.structure_of.update(dict.fromkeys(texts, structure))
            self.members[structure] = [member_name(member) for member in members]

    def _read_table(self, index: int) -> None:
        """`Type kOne = {...}` or `Type kRows[] = {{...}, ...}`."""
        structure, place = self.tokens[index].text, index + 2
        is_list = self.is_at(place, "[")
        if is_list:
            place = closing(self.tokens, place) + 1
        if self.is_at(place, "=", "{"):
            inside = self.bracket(place + 1)
            rows = [row[1:-1] for row in split(inside, ",")] if is_list else [inside]
            self.rows.setdefault(structure, []).extend(
                dict(zip(self.members[structure], split(row, ","))) for row in rows)

    def calls(self, name: str) -> Iterator[tuple[int, list[list[Token]]]]:
        """The positions of `name` with arguments after it, and these arguments."""
        for index, token in enumerate(self.tokens):
            if token.text == name and self.is_at(index + 1, "("):
                yield index, split(self.bracket(index + 1), ",")


# ---- the messages

class Product:
    def __init__(self, sources: list[Source]) -> None:
        self.sources = [source for source in sources if source.name not in RUN_LOG]
        self.constants = {name: text for source in sources if source.name.endswith(".h")
                          for name, text in source.constants.items()}
        # RunLog::Info and its like, with what they write first: "Entry Info() { return Entry(L"LOG_INFO : "); }".
        self.levels = {source.tokens[index - 5].text: value_of(arguments[0])
                       for source in sources if source.name in RUN_LOG for index, arguments in source.calls("Entry")
                       if source.is_at(index - 1, "return") and is_text(arguments[0])}

    def alternatives(self, source: Source, part: list[Token], row: Row) -> list[str | Value]:
        """What an expression may be: texts, or a value; nothing if the row has no text."""
        if is_text(part):
            return [value_of(part)]
        if part[0].text == "(" and closing(part, 0) == len(part) - 1:
            return self.alternatives(source, part[1:-1], row)
        words = [token.text for token in part]
        if "?" in words:
            question = words.index("?")
            sides = [self.alternatives(source, side, row) for side in split(part[question + 1 :], ":")]
            decided = spelled(row.get(words[question - 1], []))
            if decided in ("true", "false"):  # the condition is a member of the table
                return sides[decided == "false"]
            return [Value()] if any(isinstance(found, Value) for side in sides for found in side) else sum(sides, [])
        if words == ["std", "::", "endl"]:
            return ["\n"]
        before, word = words[-2] if len(words) > 1 else "", words[-1]
        if before == ".*" or (before in ACCESS and word in source.structure_of):
            members = source.structure_of if before == ".*" else [word]  # a pointer may be to any text of the table
            return [value_of(row[member]) for member in members if is_text(row.get(member, []))]
        constants = {**self.constants, **source.constants}
        if not before and (word.isdigit() or word in constants):
            return [constants.get(word, word)]
        return [Value(spelled(part).startswith(NUMBERS))]

    def rows_for(self, source: Source, parts: list[list[Token]]) -> list[Row]:
        """The rows that the members in these expressions come from; one empty row if there are none."""
        used = set()
        for part in parts:
            for before, token in zip(part, part[1:]):
                if before.text in ACCESS and token.text in source.structure_of:
                    used.add(source.structure_of[token.text])
                elif before.text == ".*":
                    # `const RunLog::Text Row::*failure`: a pointer to a text of the table
                    used.update(source.tokens[index - 3].text for index in range(3, len(source.tokens))
                                if source.is_at(index - 2, "::", "*", token.text))
        if len(used) > 1:
            raise SourceError("one log entry has texts of two tables")
        found = [row for structure in used for row in source.rows.get(structure, [])]
        if used and not found:
            raise SourceError(f"there is no table of the structure {used}")
        return found or [{}]

    def said(self, source: Source, parts: list[list[Token]]) -> list[Parts]:
        """Everything that an entry of these parts may say."""
        found: list[Parts] = []
        for row in self.rows_for(source, parts):
            found.extend(product(*[self.alternatives(source, part, row) for part in parts]))
        return list(dict.fromkeys(found))

    def named_entry(self, source: Source, start: int) -> list[Parts]:
        """An entry with a name gets its parts from a loop over a table: what each row says, one after the other."""
        name = source.tokens[start - 2].text
        written = [index for index in range(start, len(source.tokens)) if source.is_at(index, name, "<<")]
        if len(written) != 1:
            raise SourceError(f"the log entry {name}: one statement, in a loop, must write to it")
        return [sum(self.said(source, split(source.statement(written[0]), "<<")[1:]), ())]

    def log_messages(self, source: Source) -> Iterator[Message]:
        for start in range(len(source.tokens)):
            if not source.is_at(start, "RunLog", "::") or source.tokens[start + 2].text not in self.levels:
                continue
            level = self.levels[source.tokens[start + 2].text]
            written = split(source.statement(start + 5), "<<")
            said = self.said(source, written[1:]) if written else self.named_entry(source, start)
            if not said or not all(any(isinstance(part, str) and part.strip() for part in parts) for parts in said):
                raise SourceError(f"line {source.tokens[start].line}: a log entry without a text (in a table, its "
                                  "type must be RunLog::Text)")
            for parts in said:
                yield Message("log", level, tuple(part for part in parts if part != ""),
                              f"{source.name}:{source.tokens[start].line}")

    @staticmethod
    def trace_messages(source: Source) -> Iterator[Message]:
        """Functions that pass a format on to the trace have their own level; their calls contain line and format."""
        for index, handed in source.calls("Trace"):
            level = TRACE_LEVELS.get(handed[2][-1].text if len(handed) > 3 else "")
            if level is None:
                continue
            tracer = next(source.tokens[place + 1].text for place in range(index, 0, -1) if source.is_at(place, "void"))
            file = source.constants.get(handed[0][-1].text, "").split("\\")[-1]
            for place, (line, text, *_) in source.calls(tracer):
                if is_text(text):
                    parts = (*format_parts(value_of(text)), f" - {file}({spelled(line)})")
                    yield Message("trace", level, parts, f"{source.name}:{source.tokens[place].line}")

    def messages(self) -> list[Message]:
        """Every message once for each place that writes it, in the order of the sources; traces at the end."""
        found: list[Message] = []
        for read in (self.log_messages, self.trace_messages):
            for source in self.sources:
                try:
                    found.extend(read(source))
                except SourceError as error:
                    raise SourceError(f"{source.name}: {error}") from None
        return list(dict.fromkeys(found))


def format_parts(text: str) -> Parts:
    texts = FORMAT_SPECIFIER.split(text)
    values = ["%" if found == "%%" else Value() for found in FORMAT_SPECIFIER.findall(text)]
    return tuple(part for pair in zip(texts, [*values, ""]) for part in pair if part != "")


def read_product(root: Path) -> list[Message]:
    messages = Product([Source(path.relative_to(root).as_posix(), path.read_text(encoding="utf-8"))
                        for folder in FOLDERS for path in sorted((root / folder).rglob("*"))
                        if path.suffix in (".h", ".cpp")]).messages()
    if not messages:
        raise SourceError(f"no log messages found in {root}")
    return messages
