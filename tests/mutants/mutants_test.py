#!/usr/bin/env python3
"""The changes that scripts/mutants.py makes are those that it says, and its list of changes without effect is kept."""
import pathlib
import sys
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
from mutation.bench import CannotRun  # noqa: E402
from mutation.changes import find_changes, in_order, matching, product_sources, read_entries  # noqa: E402


class Changes(unittest.TestCase):
    def of(self, kind, text, **others):
        found = find_changes({"a.cpp": text, **others})
        return [change.apply(text) for change in found if change.kind == kind and change.file == "a.cpp"]

    def test_each_kind(self):
        for kind, text, *made in (
                ("constant", "int a = 7;\n", "int a = 8;\n", "int a = 0;\n"),
                ("constant", "int a = 0;\n", "int a = 1;\n"),
                ("constant", "int a = 0xFFu;\n", "int a = 0x100u;\n", "int a = 0u;\n"),
                ("constant", "bool a = true;\n", "bool a = false;\n"),
                ("level", "RunLog::Info() << a;\n", "RunLog::Error() << a;\n"),
                ("comparison", "bool a = b == c;\n", "bool a = b != c;\n"),
                ("comparison", "bool a = b < c;\n", "bool a = b <= c;\n"),
                ("comparison", "std::vector<int> a(T&& b);\n"),
                ("comparison", "void F() {\n  if (a) {\n  }\n}\n", "void F() {\n  if (!(a)) {\n  }\n}\n"),
                # The line numbers stay the same.
                ("skipped", "void F() {\n  G(1,\n    2);\n  int a = 1;\n  const B b(a);\n}\n",
                 "void F() {\n  ;\n\n  int a = 1;\n  const B b(a);\n}\n"),
                ("order", "void F() {\n  A();\n  B();\n}\n", "void F() {\n  B();\n  A();\n}\n"),
                ("order", "Row a[] = {\n  {1, 2},\n  {3, 4},\n};\n", "Row a[] = {\n  {3, 4},\n  {1, 2},\n};\n"),
                ("text", 'F(L"a");\n', 'F(L"b");\n'),
                ("text", 'F("\\\\");\n', 'F("x");\n'),
                ("text", '#include "a.h"\nextern "C" {\n}\n// "a"\n'),
                ("return", "bool F() {\n  return true;\n}\n", "bool F() {\n  return false;\n}\n"),
                ("return", "int F() {\n  return 1;\n}\n", "int F() {\n  return 2;\n}\n"),
                ("return", "int F() {\n  return a;\n}\n",
                 "int F() {\n  return !(a);\n}\n", "int F() {\n  return {};\n}\n"),
                ("not", "bool a = !b;\n", "bool a = b;\n")):
            self.assertEqual(self.of(kind, text), made, text)

    def test_flags_and_named_constants_of_one_family(self):
        self.assertEqual(self.of("constant", "Open(KEY_READ);\n", b="Open(KEY_WRITE);\n"), ["Open(KEY_WRITE);\n"])
        self.assertEqual(self.of("constant", "Open(KEY_READ);\n", b="Open(REG_SZ);\n"), [])
        self.assertEqual(self.of("constant", "V a = View::k1;\n", b="V b = View::k2;\n"), ["V a = View::k2;\n"])

    def test_declarations_are_not_skipped(self):
        for line in ("std::vector<int> a(2);", "A::B c = d;", "Key& a = b;", "wchar_t a[4] = {};", "return a;"):
            self.assertEqual(self.of("skipped", "void F() {\n  " + line + "\n}\n"), [], line)

    def test_every_source_of_the_product_can_be_changed_in_every_way(self):
        changes = find_changes(product_sources(ROOT))
        self.assertGreater(len(changes), 3000)
        self.assertGreater(min(len(ordered) for ordered in in_order(changes, 1).values()), 100)


class Order(unittest.TestCase):
    def test_an_edit_elsewhere_leaves_the_order_as_it_was(self):
        text = "int a = 7;\nint b = 8;\nint c = 9;\n"

        def lines(source):
            return [change.after for change in in_order(find_changes({"a.cpp": source}), 1)["constant"]]
        self.assertEqual(sorted(lines(text)), sorted(lines("void F();\n" + text)))
        self.assertEqual(lines(text), lines("void F();\n" + text))

    def test_no_file_is_left_out(self):
        sources = {f"{name}.cpp": "int a = 7;\nint b = 8;\n" for name in "abcd"}
        first = in_order(find_changes(sources), 1)["constant"][:4]
        self.assertEqual({change.file for change in first}, set(sources))


class Equivalents(unittest.TestCase):
    ENTRY = "# told\nfile: a.cpp\nwas: int a = 7;\nnow: int a = 8;\nwhy: nobody reads it\n"

    def test_entries(self):
        changes = find_changes({"a.cpp": "int a = 7;\n"})
        self.assertEqual({change.after for change in matching(read_entries(self.ENTRY), changes)}, {"int a = 8;"})

    def test_an_entry_that_several_changes_fit_says_which(self):
        changes = find_changes({"a.cpp": "int a = 7;\nint a = 7;\n"})
        with self.assertRaises(CannotRun):
            matching(read_entries(self.ENTRY), changes)
        for which, lines in (("1", {1}), ("2", {2}), ("all", {1, 2})):
            entries = read_entries(self.ENTRY.replace("why:", f"which: {which}\nwhy:"))
            self.assertEqual({change.line for change in matching(entries, changes)}, lines)
        with self.assertRaises(CannotRun):
            matching(read_entries(self.ENTRY.replace("why:", "which: 3\nwhy:")), changes)

    def test_entries_without_a_reason_or_a_change(self):
        for entry in (self.ENTRY.replace("why: nobody reads it\n", ""), self.ENTRY.replace("nobody reads it", ""),
                      self.ENTRY.replace("int a = 7", "int b = 7")):
            with self.assertRaises(CannotRun):
                matching(read_entries(entry), find_changes({"a.cpp": "int a = 7;\n"}))

    def test_the_list_matches_the_sources(self):
        path = ROOT / "tests/mutants/equivalent.txt"
        matching(read_entries(path.read_text(encoding="utf-8")), find_changes(product_sources(ROOT)))


if __name__ == "__main__":
    unittest.main()
