"""As much of the structure of C++ sources as it takes to find texts."""
from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, field

from cpp_tokens import PAIRS, SourceError, Token, closing, tokens_of

ESCAPE = re.compile(r"\\(x[0-9A-Fa-f]+|u[0-9A-Fa-f]{4}|.)", re.DOTALL)
PLAIN_ESCAPES = {"n": "\n", "r": "\r", "t": "\t", "0": "\0"}


def value_of(literals: Iterable[Token]) -> str:
    """The text of adjacent string literals."""
    joined = "".join(token.text[token.text.index('"') + 1 : -1] for token in literals)

    def plain(match: re.Match[str]) -> str:
        code = match.group(1)
        return chr(int(code[1:], 16)) if code[0] in "xu" and len(code) > 1 else PLAIN_ESCAPES.get(code, code)

    return ESCAPE.sub(plain, joined)


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


def statement_end(tokens: list[Token], start: int) -> int:
    """The index of the semicolon that ends what begins at `start`."""
    index = start
    while index < len(tokens) and tokens[index].text != ";":
        index = closing(tokens, index) + 1 if tokens[index].text in PAIRS else index + 1
    if index >= len(tokens):
        raise SourceError(f"line {tokens[start].line}: a statement is never ended")
    return index


def spelled(tokens: Iterable[Token]) -> str:
    return " ".join(token.text for token in tokens)


def is_at(tokens: list[Token], index: int, *texts: str) -> bool:
    return [token.text for token in tokens[index : index + len(texts)]] == list(texts)


@dataclass
class Function:
    name: str  # as it is defined: "CProviderAntiSpam::SetAntiSpamEnable"
    parameters: list[list[Token]]
    body: list[Token]


@dataclass
class Table:
    """A variable of a structure type: its rows, each a list of the expressions given for the members."""

    type_name: str
    rows: list[list[list[Token]]]


@dataclass
class Source:
    name: str
    functions: list[Function] = field(default_factory=list)
    structures: dict[str, list[list[Token]]] = field(default_factory=dict)  # members as declared
    tables: list[Table] = field(default_factory=list)
    constants: dict[str, str] = field(default_factory=dict)  # texts that have a name


def function_name(head: list[Token]) -> str:
    """The name before the parameters: "LogFile::LogFile"."""
    name = re.search(r"(?:\w+ :: )*(?:~ )?\w+$", spelled(head).partition(" (")[0])
    return name[0].replace(" ", "") if name else ""


def read(name: str, text: str) -> Source:
    source = Source(name)
    try:
        _read_scope(source, tokens_of(text))
    except SourceError as error:
        raise SourceError(f"{name}: {error}") from None
    return source


def _read_scope(source: Source, tokens: list[Token]) -> None:
    start = 0
    index = 0
    while index < len(tokens):
        text = tokens[index].text
        if text in ("(", "["):
            index = closing(tokens, index)
        elif text == ";":
            _read_declaration(source, tokens[start:index])
            start = index + 1
        elif text == "{":
            end = closing(tokens, index)
            head = tokens[start:index]
            words = {token.text for token in head}
            if "=" in words and "(" not in words:
                index = end  # an initialiser; the semicolon ends the declaration
            else:
                _read_block(source, head, tokens[index + 1 : end])
                start = end + 1
                index = end
        index += 1


def _read_block(source: Source, head: list[Token], body: list[Token]) -> None:
    words = [token.text for token in head]
    if "namespace" in words or "extern" in words:
        _read_scope(source, body)
    elif "enum" in words or "union" in words:
        return
    elif ("struct" in words or "class" in words) and "(" not in words:
        kind = max(words.index(word) for word in ("struct", "class") if word in words)
        members = split(body, ";")
        source.structures[words[kind + 1]] = members
        _read_scope(source, body)
    elif "(" in words:
        opening = words.index("(")
        parameters = split(head[opening + 1 : closing(head, opening)], ",")
        source.functions.append(Function(function_name(head), parameters, body))


def _read_declaration(source: Source, tokens: list[Token]) -> None:
    words = [token.text for token in tokens]
    if "=" not in words or words[0] in ("using", "template"):
        return
    equals = words.index("=")
    value = tokens[equals + 1 :]
    declared = [word for word in words[:equals] if word not in ("inline", "static", "constexpr", "const")]
    is_list = declared[-2:] == ["[", "]"] or (len(declared) > 3 and declared[-1] == "]")
    names = declared[: declared.index("[")] if "[" in declared else declared
    if value and all(token.kind == "text" for token in value) and {"wchar_t", "char"} & set(names):
        source.constants[names[-1]] = value_of(value)
    elif value and value[0].text == "{" and len(names) >= 2:
        inside = split(value[1 : closing(value, 0)], ",")
        rows = [split(row[1 : closing(row, 0)], ",") for row in inside if row[0].text == "{"] if is_list else [inside]
        source.tables.append(Table(names[-2], rows))


def member_names(members: list[list[Token]]) -> list[str]:
    """The names of a structure's members, in their order: "bool (*install)(...)" declares install."""
    names = []
    for member in members:
        declared = spelled(member).partition(" =")[0]
        pointer = re.search(r"\( \* (\w+)", declared)
        if declared and not declared.startswith("using "):
            names.append(pointer[1] if pointer else re.findall(r"[A-Za-z_]\w*", declared)[-1])
    return names


def calls(function: Function, name: str) -> Iterator[list[list[Token]]]:
    """The arguments of each call of `name` in the function."""
    for index, token in enumerate(function.body):
        if token.text == name and is_at(function.body, index + 1, "("):
            yield split(function.body[index + 2 : closing(function.body, index + 1)], ",")
