"""C++ source text as statements and table rows.

Only what the small changes need, for sources laid out by clang-format with braces around every body. A mistake here
costs a change that does not compile, and nothing more.
"""
import typing

from cpp_tokens import PAIRS, closing, tokens_of

CONTROL = {"if", "for", "while", "switch"}
JUMPS = {"continue", "break"}
BEFORE_BODY = {")", "else", "try", "do", "const", "noexcept", "override", ";", ":"}
BEFORE_VALUES = {"=", "return", ",", "("}
NO_EXPRESSION = {"const", "constexpr", "static", "using", "return", "typedef", "struct", "class", "enum", "case",
                 "default", "public", "private", "protected", "template", "static_assert", "namespace", "virtual",
                 "explicit", "friend", "extern", "goto", "inline"}


class Statement(typing.NamedTuple):
    kind: str  # expression, jump, control or other
    first: int  # its tokens, both included
    last: int


class Source:
    def __init__(self, text):
        self.text = text
        self.tokens = tokens_of(text)
        self.partner = {index: closing(self.tokens, index)
                        for index, token in enumerate(self.tokens) if token.text in PAIRS}
        self.kinds = self._kinds_of_braces()

    def word(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def span(self, first, last):
        """The position of the tokens `first` to `last` in the text."""
        return self.tokens[first].start, self.tokens[last].end

    def spelled(self, first, last):
        start, end = self.span(first, last)
        return self.text[start:end]

    def spaced(self, index):
        """An operator between two operands; without blanks around it, < is a template's and && a reference's."""
        token = self.tokens[index]
        return self.text[token.start - 1:token.start].isspace() and self.text[token.end:token.end + 1].isspace()

    def elements(self, opening):
        """The token ranges between the commas of a bracket."""
        closing, ranges = self.partner[opening], []
        first = index = opening + 1
        while index <= closing:
            if index == closing or self.word(index) == ",":
                ranges.append((first, index - 1))
                first = index + 1
            index = self.partner.get(index, index) + 1
        return [(begin, end) for begin, end in ranges if begin <= end]

    def _kinds_of_braces(self):
        """Opening brace -> "body" (statements), "values" (initial ones) or "" (a type, a namespace)."""
        kinds, outer = {}, [""]
        for index, token in enumerate(self.tokens):
            if token.text == "{":
                before = self.word(index - 1)
                if before in BEFORE_VALUES or (before == "{" and outer[-1] == "values"):
                    kind = "values"
                elif before == "]":  # a lambda's, or of an array's initial values
                    kind = "body" if self.word(index - 2) != "[" and not self.word(index - 2).isdigit() else ""
                else:
                    kind = "body" if before in BEFORE_BODY or (before in ("{", "}") and outer[-1] == "body") else ""
                kinds[index] = kind
                outer.append(kind)
            elif token.text == "}":
                outer.pop()
        return kinds

    def braces(self, kind):
        return [index for index, found in self.kinds.items() if found == kind]

    def statements(self, opening):
        """The statements of one body, without those nested in them."""
        found, index, closing = [], opening + 1, self.partner[opening]
        while index < closing:
            last = self._statement_end(index)
            found.append(Statement(self._kind(index, last), index, last))
            index = last + 1
        return found

    def _statement_end(self, index):
        word = self.word(index)
        if word == "{":
            return self.partner[index]
        if word in CONTROL:
            index += 1
            while self.word(index) != "(":
                index += 1
            last = self._statement_end(self.partner[index] + 1)
            if word == "if" and self.word(last + 1) == "else":
                return self._statement_end(last + 2)
            return last
        if word == "try":
            last = self._statement_end(index + 1)
            while self.word(last + 1) == "catch":
                last = self._statement_end(self.partner[last + 2] + 1)
            return last
        while self.word(index) not in (";", ""):
            index = self.partner.get(index, index) + 1
        return min(index, len(self.tokens) - 1)

    def _kind(self, first, last):
        word = self.word(first)
        if word in CONTROL or word == "try":
            return "control"
        if word in JUMPS:
            return "jump"
        is_expression = word not in NO_EXPRESSION and self.word(last) == ";" and first != last
        return "expression" if is_expression and not self._declares(first, last) else "other"

    def _declares(self, first, last):
        """A type and a name before the first bracket or equals sign: two names side by side, or one after * & >."""
        if self.word(first) in ("delete", "throw", "new"):
            return False
        for index in range(first, last):
            word, is_name = self.word(index), self.tokens[index].kind == "name"
            if word in ("(", "=", "[", "{", "<<"):
                return False
            if self.tokens[index + 1].kind == "name" and word != "operator" and (
                    is_name or word in (">", "*", "&", "&&")):
                return index > first or is_name
        return False
