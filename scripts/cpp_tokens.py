"""The tokens of C++ text: for the list of messages (texts/) and for the mutants (mutation/).

No compiler and no library: these need the tokens with their places, comments and macros unchanged, and nothing else of
the language. In clang's syntax tree, macros are expanded, and clang would need every header of Windows.
"""
from __future__ import annotations

import re
from dataclasses import dataclass

TOKENS = re.compile(
    r"""(?P<blank>\s+|//[^\n]*|/\*.*?\*/|\\\n)
      | (?P<directive>^[ ]*\#(?:[^\n\\]|\\.)*)
      | (?P<text>(?:u8|[LuU])?"(?:[^"\\\n]|\\.)*")
      | (?P<char>[LuU]?'(?:[^'\\\n]|\\.)+')
      | (?P<number>\d[\w.']*)
      | (?P<name>[A-Za-z_]\w*)
      | (?P<sign>->\*|<<=|>>=|\.\.\.|\.\*|::|->|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|>>|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)
PAIRS = {"(": ")", "{": "}", "[": "]"}


class SourceError(Exception):
    """The message names the place that is not understood."""


@dataclass(frozen=True)
class Token:
    kind: str  # text, char, number, name or sign
    text: str
    start: int
    end: int
    line: int


def tokens_of(source: str) -> list[Token]:
    """Without comments and preprocessor lines."""
    tokens, line = [], 1
    for match in TOKENS.finditer(source):
        if match.lastgroup not in ("blank", "directive"):
            tokens.append(Token(str(match.lastgroup), match.group(), *match.span(), line))
        line += match.group().count("\n")
    return tokens


def closing(tokens: list[Token], start: int) -> int:
    """The index of the bracket that closes the one at `start`."""
    expected: list[str] = []
    for index in range(start, len(tokens)):
        text = tokens[index].text
        if text in PAIRS:
            expected.append(PAIRS[text])
        elif text in PAIRS.values() and text != expected.pop():
            break
        if not expected:
            return index
    raise SourceError(f"line {tokens[start].line}: the bracket is never closed")
