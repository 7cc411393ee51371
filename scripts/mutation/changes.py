"""Small changes of C++ sources: mistakes that people make. And those without effect: tests/mutants/equivalent.txt."""
import collections
import dataclasses
import hashlib
import re

from mutation.bench import CannotRun
from mutation.source_text import Source

# The product
FOLDERS = ("Common", "cli", "settings", "install", "plugins", "activation", "uninstall", "notify", "logreader")
KINDS = ("constant", "level", "comparison", "order", "skipped", "text", "return", "not")

COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&"}
LEVELS = {"Info": "Error", "Error": "Warn", "Warn": "Event", "Event": "Info"}
OPPOSITES = {"true": "false", "false": "true", "TRUE": "FALSE", "FALSE": "TRUE"}
NUMBER = re.compile(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)")
FLAG = re.compile(r"[A-Z][A-Z0-9]*_[A-Z0-9_]+")
CHARACTER = re.compile(r"\\(?:x[0-9a-fA-F]+|[0-7]{1,3}|.)|[^\\]", re.S)


@dataclasses.dataclass(frozen=True)
class Change:
    file: str
    kind: str
    start: int  # in the text of the file
    end: int
    new: str
    line: int
    before: str  # the lines it touches, blanks put together
    after: str
    key: str = ""  # its index among equal ones in its file, so that every change has a unique name

    def apply(self, text):
        return text[:self.start] + self.new + text[self.end:]

    def rank(self, seed):
        """The place in the sample. It depends only on the change and the seed, not on edits elsewhere."""
        name = "\0".join((str(seed), self.file, self.kind, self.before, self.after, self.key))
        return hashlib.sha256(name.encode()).hexdigest()


def families(texts):
    """(family, name) -> the next name of the family: flags of Windows (KEY_READ), named constants (View::k32Bit)."""
    found = collections.defaultdict(set)
    for source in map(Source, texts):
        for index, token in enumerate(source.tokens):
            if family := family_of(source, index):
                found[family].add(token.text)
    return {(family, one): other for family, members in found.items()
            for one, other in zip(sorted(members), sorted(members)[1:] + sorted(members)[:1]) if one != other}


def family_of(source, index):
    word = source.word(index)
    if FLAG.fullmatch(word):
        return word.split("_")[0]
    if re.match(r"k[A-Z0-9]", word) and source.word(index - 1) == "::":
        return source.word(index - 2) + "::"
    return ""


class Finder:
    """All changes of one file."""

    def __init__(self, file, text, others):
        self.file = file
        self.source = Source(text)
        self.text = text
        self.others = others
        self.changes = []
        self.seen = collections.Counter()
        self.left_out = self._left_out()

    def _left_out(self):
        """Tokens that do not exist at run time."""
        tokens = set()
        for index, token in enumerate(self.source.tokens):
            if token.text in ("static_assert", "assert") and self.source.word(index + 1) == "(":
                tokens.update(range(index, self.source.partner[index + 1] + 1))
            elif token.text in ("using", "virtual", "template", "extern") and token.kind == "name":
                last = index
                while self.source.word(last) not in (";", "{", ">", ""):
                    last += 1
                tokens.update(range(index, last + 1))
            elif token.text == "[" and self.source.word(index + 1) == "[":
                tokens.update(range(index, self.source.partner[index] + 1))
        return tokens

    def find(self):
        for index, token in enumerate(self.source.tokens):
            if index not in self.left_out:
                {"number": self._number, "text": self._text, "char": self._text, "name": self._name,
                 "sign": self._sign}[token.kind](index)
        for opening in self.source.braces("body"):
            self._body(opening)
        for opening in self.source.braces("values"):
            self._rows(opening)
        return self.changes

    def _add(self, kind, first, last, new):
        start, end = self.source.span(first, last)
        if self.text[start:end] == new:
            return
        head, tail = self.text[:start].rpartition("\n")[2], self.text[end:].partition("\n")[0]
        before = " ".join((head + self.text[start:end] + tail).split())
        after = " ".join((head + new + tail).split())
        self.seen[kind, before, after] += 1
        self.changes.append(Change(self.file, kind, start, end, new, self.text.count("\n", 0, start) + 1, before, after,
                                   str(self.seen[kind, before, after])))

    def _number(self, index):
        match = NUMBER.fullmatch(self.source.word(index))
        if match is None or self.source.word(index - 1) == "return":
            return
        digits, suffix = match.groups()
        more = int(digits, 0) + 1
        self._add("constant", index, index, (f"0x{more:X}" if "x" in digits.lower() else str(more)) + suffix)
        if more != 1:
            self._add("constant", index, index, "0" + suffix)

    def _text(self, index):
        word = self.source.word(index)
        opening = word.index(word[-1])
        characters = CHARACTER.findall(word[opening + 1:-1]) or [""]
        plain = [place for place, character in enumerate(characters) if len(character) == 1] or [0]
        place = plain[int(hashlib.sha256(word.encode()).hexdigest(), 16) % len(plain)]
        characters[place] = other_character(characters[place])
        self._add("text", index, index, word[:opening + 1] + "".join(characters) + word[-1])

    def _name(self, index):
        word = self.source.word(index)
        if word in OPPOSITES and self.source.word(index - 1) != "return":
            self._add("constant", index, index, OPPOSITES[word])
        elif word in LEVELS and self.source.word(index - 2) == "RunLog" and self.source.word(index + 1) == "(":
            self._add("level", index, index, LEVELS[word])
        elif word in ("if", "while"):
            self._condition(index + 1)
        elif word == "return":
            self._return(index)
        else:
            family = family_of(self.source, index)
            if family and (family, word) in self.others:
                self._add("constant", index, index, self.others[family, word])

    def _condition(self, opening):
        if self.source.word(opening) != "(":  # if constexpr
            return
        first, last = opening + 1, self.source.partner[opening] - 1
        words = [self.source.word(index) for index in range(first, last + 1)]
        if ";" in words or (words[0] == "!" and not {"&&", "||"} & set(words)):  # the dropped "!" is the same
            return
        self._add("comparison", first, last, f"!({self.source.spelled(first, last)})")

    def _return(self, index):
        first = last = index + 1
        while self.source.word(last) != ";":
            last = self.source.partner.get(last, last) + 1
        last -= 1
        word = self.source.word(first)
        if first == last and (word in OPPOSITES or NUMBER.fullmatch(word)):
            self._add("return", first, last, OPPOSITES.get(word) or str(int(word, 0) + 1))
        elif first <= last and word != "{":
            if word != "!":
                self._add("return", first, last, f"!({self.source.spelled(first, last)})")
            self._add("return", first, last, "{}")

    def _sign(self, index):
        word = self.source.word(index)
        if word in COMPARISONS and self.source.spaced(index):
            self._add("comparison", index, index, COMPARISONS[word])
        elif word == "!":
            self._add("not", index, index, "")

    def _body(self, opening):
        statements = self.source.statements(opening)
        for statement in statements:
            if statement.kind in ("expression", "jump"):
                # The lines stay, so that the line numbers below do not change.
                lines = self.source.spelled(statement.first, statement.last).count("\n")
                self._add("skipped", statement.first, statement.last, ";" + "\n" * lines)
        for one, next_one in zip(statements, statements[1:]):
            if {one.kind, next_one.kind} <= {"expression", "control"}:
                self._swap((one.first, one.last), (next_one.first, next_one.last))

    def _rows(self, opening):
        elements = self.source.elements(opening)
        is_array = self.source.word(opening - 1) == "=" and self.source.word(opening - 2) == "]"
        if is_array or all(self.source.word(first) == "{" for first, _ in elements):
            for one, next_one in zip(elements, elements[1:]):
                self._swap(one, next_one)

    def _swap(self, one, next_one):
        between = self.text[self.source.span(*one)[1]:self.source.span(*next_one)[0]]
        self._add("order", one[0], next_one[1], self.source.spelled(*next_one) + between + self.source.spelled(*one))


def other_character(character):
    if character.isascii() and character.isalnum():
        return {"z": "a", "Z": "A", "9": "0"}.get(character, chr(ord(character) + 1))
    return "x"


def product_sources(root):
    return {path.relative_to(root).as_posix(): path.read_text(encoding="utf-8")
            for folder in FOLDERS for path in (root / folder).rglob("*") if path.suffix in (".cpp", ".h")}


def find_changes(sources):
    """All changes of the sources (name -> text)."""
    others = families(sources.values())
    return [change for file, text in sorted(sources.items()) for change in Finder(file, text, others).find()]


def in_order(changes, seed):
    """Kind -> its changes in the order of the sample: first one of every file, then all others."""
    ranked = sorted(changes, key=lambda change: change.rank(seed))
    firsts = set({change.file: change for change in reversed(ranked)}.values())
    ordered = {kind: [] for kind in KINDS}
    for change in sorted(ranked, key=lambda change: change not in firsts):
        ordered[change.kind].append(change)
    return ordered


def read_entries(text):
    """Entries of four lines "field: value", five with "which", and an empty line between them. # begins a comment."""
    entries = []
    for block in re.split(r"\n{2,}", re.sub(r"^#.*\n", "", text, flags=re.MULTILINE).strip()):
        entry = dict(re.findall(r"^(\w+): *(.*\S)$", block, re.MULTILINE))
        fields = [field for field in entry if field != "which"]
        if fields != ["file", "was", "now", "why"] or len(entry) != block.count("\n") + 1:
            raise CannotRun(f"equivalent.txt: an entry has file, was, now, why:\n{block}")
        entries.append(entry)
    return entries


def matching(entries, changes):
    """The changes in the list. Each entry must fit a change; one that fits several says which, by number or "all"."""
    found = set()
    for entry in entries:
        fitting = [change for change in changes
                   if (change.file, change.before, change.after) == (entry["file"], entry["was"], entry["now"])]
        which = entry.get("which", "all" if len(fitting) == 1 else "")
        chosen = [change for change in fitting if which in ("all", change.key)]
        if not chosen:
            raise CannotRun(f"tests/mutants/equivalent.txt: {len(fitting)} changes fit this entry, which: {which}\n" +
                            "".join(f"  {field}: {value}\n" for field, value in entry.items()))
        found.update(chosen)
    return found
