#!/usr/bin/env python3
"""The list of messages, the census, the document and the catalogue see what they are there for."""
import json
import re
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
from texts import catalogue, census, document, source  # noqa: E402

RUN_LOG = """
namespace RunLog {
Entry Info() { return Entry(L"LOG_INFO : "); }
Entry Error() { return Entry(L"LOG_ERROR: "); }
}
"""


def messages_of(**files):
    """The messages of sources that are given as cli_Main="..." for cli/Main.cpp."""
    sources = [source.Source("cli/RunLog.cpp", RUN_LOG)]
    sources += [source.Source(name.replace("_", "/") + ".cpp", text) for name, text in files.items()]
    return source.Product(sources).messages()


def told(**files):
    return [message.level + message.text for message in messages_of(**files)]


class Sources(unittest.TestCase):
    def test_text_values_and_constants(self):
        self.assertEqual(told(cli_Main="""
            namespace { constexpr wchar_t kKey[] = L"Key\\\\"; }
            void Run(const wchar_t* path) {  // RunLog::Info() << L"a comment";
              RunLog::Error() << L"cannot \\"open\\" " << path << L", "
                              L"err=" << ::GetLastError();
              RunLog::Info() << L"a" << std::endl << L"b\\\\" << 0 << kKey;
            }"""), ['LOG_ERROR: cannot "open" \u2026, err=\u2026', "LOG_INFO : a\nb\\0Key\\"])

    def test_table(self):
        self.assertEqual(told(plugins_Table="""
            struct Module {
              const wchar_t* name;
              bool (*run)(const A& a, int b);
              RunLog::Text failure;  // said when it fails
              bool namesPath;
            };
            constexpr Module kModules[] = {
                {L"a.dll", Run, L"a failed !! ", true},
                {L"b.dll", Run, L"b failed " L"!!", false},
                {L"c.dll", Run, nullptr, false},
            };
            bool Do(const Module& module) {
              RunLog::Error() << module.failure << (module.namesPath ? path.c_str() : L"");
            }"""), ["LOG_ERROR: a failed !! \u2026", "LOG_ERROR: b failed !!"])

    def test_single_rows_and_choices(self):
        self.assertEqual(told(activation_Switch="""
            struct Client { RunLog::Text good; RunLog::Text bad; };
            constexpr Client kOne = {L"one good", L"one bad"};
            constexpr Client kTwo = {L"two good", L"two bad"};
            void Client::Switch(const Client& client) {
              RunLog::Error() << client.bad << path;
              RunLog::Info() << (IsFirst() ? client.good : L"another");
            }"""),
                         ["LOG_ERROR: one bad\u2026", "LOG_ERROR: two bad\u2026",
                          "LOG_INFO : one good", "LOG_INFO : another", "LOG_INFO : two good"])

    def test_pointer_to_member(self):
        self.assertEqual(told(plugins_Table="""
            struct Module { const wchar_t* name; RunLog::Text in; RunLog::Text out; };
            constexpr Module kModules[] = {{L"a", L"a in", L"a out"}, {L"b", L"b in", nullptr}};
            bool All(const RunLog::Text Module::*failure) { for (;;) { RunLog::Error() << module.*failure; } }"""),
                         ["LOG_ERROR: a in", "LOG_ERROR: a out", "LOG_ERROR: b in"])

    def test_entry_in_a_loop(self):
        self.assertEqual(told(activation_Flags="""
            struct Flag { RunLog::Text shown; };
            constexpr Flag kFlags[] = {{L"a = %d"}, {L" b = %d"}};
            void Show() {
              RunLog::Entry entry = RunLog::Info();
              for (int i = 0; i < 2; ++i) { entry << kFlags[i].shown << flags[i]; }
            }"""), ["LOG_INFO : a = %d\u2026 b = %d\u2026"])

    def test_trace(self):
        self.assertEqual(told(Common_Station="""
            constexpr char kSourceFile[] = "..\\\\..\\\\Common\\\\Station";
            template <class... A> void TraceError(DWORD line, const wchar_t* format, A... arguments) {
              g_debugLog.Trace(kSourceFile, line, DebugLog::kError, format, arguments...);
            }
            bool Start() { TraceError(164, L"*** failed. [0x%08x], %s at 100%%", error, name); }"""),
                         ["!!!*** failed. [0x\u2026], \u2026 at 100% - Station(164)"])

    def test_an_entry_that_cannot_be_parsed_is_an_error(self):
        for text in ("void Run(const wchar_t* text) { RunLog::Info() << text << 1L; }",  # not a RunLog::Text
                     "void Run(RunLog::Text text) { RunLog::Info() << text; }",  # not of a table
                     "struct A { RunLog::Text t; };\nvoid Run(A a) { RunLog::Info() << a.t; }",  # without a table
                     "struct A { RunLog::Text t; };\nstruct B { RunLog::Text t; };\n"
                     "void R(A a) { RunLog::Info() << a.t; }",  # of which one?
                     "void Run() { RunLog::Info() << L\"a\""):
            with self.subTest(text), self.assertRaises(source.SourceError):
                told(cli_Main=text)


class Census(unittest.TestCase):
    def setUp(self):
        self.messages = messages_of(cli_Main="""
            void Run(const wchar_t* path) {
              RunLog::Info() << L" cmd:" << path << std::endl << L" src:" << path;
              RunLog::Info() << L"Banner\\n";
              RunLog::Info() << L"Status " << path;
              RunLog::Info() << L"Status FAIL";
              RunLog::Error() << L"code " << ::GetLastError();
            }""", Common_Station="""
            constexpr char kSource[] = "Station";
            void TraceError(int line, const wchar_t* format) { log.Trace(kSource, line, DebugLog::kError, format); }
            void Start() { TraceError(1, L"failed %d"); }""")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def take(self, log, trace=""):
        (self.folder / "run.log").write_bytes(log.encode("latin-1"))
        (self.folder / "run.trace").write_bytes(trace.encode("utf-8"))
        return census.take(self.messages, self.folder)

    ALL = ("\r\nLOG_INFO :  cmd:-x\r\n src:C:\\caf\xe9\r\nLOG_INFO : Banner\r\n\r\nLOG_INFO : Status 1"
           "\r\nLOG_INFO : Status FAIL\r\nLOG_ERROR: code 5")
    TRACE = "31/12/2009 23:59:59.999 0020:0024 !!! <VELA> failed 7 - Station(1)\r\n"

    def faults(self, log, unreachable=None, trace=TRACE):
        return self.take(log, trace).faults(unreachable or {})

    def test_all_messages_produced_or_none(self):
        self.assertEqual(len(census.take(self.messages, self.folder).faults({})), len(self.messages) + 1)
        self.assertEqual(self.faults(self.ALL), [])

    def test_missing(self):
        # "Status FAIL" is a separate text. It does not count for "Status ...".
        faults = self.faults(self.ALL.replace("\r\nLOG_INFO : Status 1", ""))
        self.assertEqual(len(faults), 1)
        self.assertIn("no test produced: LOG_INFO : 'Status \u2026'", faults[0])

    def test_another_level_or_another_kind_of_value_is_another_message(self):
        faults = self.faults(self.ALL.replace("LOG_ERROR: code", "LOG_INFO : code"))
        self.assertEqual([fault.split(":")[0] for fault in faults], ["no test produced", "unknown log line"])
        self.assertEqual(len(self.faults(self.ALL.replace("code 5", "code x"))), 2)

    def test_unknown_lines(self):
        self.assertEqual(self.faults(self.ALL + "\r\nLOG_INFO : who wrote this?"),
                         ["unknown log line: 'LOG_INFO : who wrote this?' (in run.log)"])
        self.assertEqual(len(self.faults("not ours" + self.ALL)), 1)
        self.assertEqual(len(self.faults(self.ALL, trace=self.TRACE + self.TRACE.replace("failed", "done"))), 1)

    def test_a_cut_entry_is_accepted_but_does_not_count(self):
        self.assertEqual(self.faults(self.ALL + "\r\nLOG_INFO :  cmd:-x"), [])
        self.assertEqual(self.faults(self.ALL + "\r\nLOG_ERROR: code 6\r\n"), [])  # ended when the next entry began
        self.assertEqual(len(self.faults(self.ALL.replace("\r\n src:C:\\caf\xe9", ""))), 1)
        # Traces of the tests are ignored.
        self.assertEqual(self.faults(self.ALL, trace=self.TRACE + "anything - a.cpp(1)\r\n"), [])

    def test_exceptions(self):
        error = ("log", "LOG_ERROR: ", "code \u2026")
        without = self.ALL.replace("\r\nLOG_ERROR: code 5", "")
        self.assertEqual(self.faults(without, {error: "none"}), [])
        self.assertEqual(len(self.faults(self.ALL, {error: "none"})), 1)
        self.assertEqual(len(self.faults(self.ALL, {("log", "LOG_INFO : ", "code \u2026"): "none"})), 1)

    def test_exceptions_need_a_reason(self):
        self.assertEqual(census.read_unreachable("# head\n\nlog | LOG_ERROR:  | a | b\n  because\n  of it\n"),
                         {("log", "LOG_ERROR: ", "a | b"): "because of it"})
        with self.assertRaises(ValueError):
            census.read_unreachable("log | LOG_ERROR:  | a\nlog | LOG_ERROR:  | b\n  because\n")

    def test_commands(self):
        taken = self.take(self.ALL + "\r\nLOG_INFO :  cmd:-I\r\n src:\r\nLOG_ERROR: code 6")
        self.assertEqual(len(taken.wrong_commands({"code \u2026": ("-e",)})), 1)
        self.assertEqual(taken.wrong_commands({"code \u2026": ("-I",)}), [])  # -x is not a command

    def test_table(self):
        rows = self.take(self.ALL, "").table({}).splitlines()
        self.assertEqual(rows[2:], ["| LOG_INFO | 4 | 4 | 0 |", "| LOG_ERROR | 1 | 1 | 0 |",
                                    "| trace `!!!` | 1 | 0 | 0 |", "| all | 6 | 5 | 0 |"])


class Document(unittest.TestCase):
    MESSAGES = messages_of(cli_Main='void Run(A v) { RunLog::Info() << L" a|b " << v; RunLog::Error() << L"c\\n"; }')
    A = document.Told((" a|b \u2026",), ("-I", "-e"), "What\nit is.", "Do.", "expected", {"-e": "usual"},
                      ({"of": 1, "is": "0", "kind": "problem"},))
    C = document.Told(("c\n",), (), "Two.", "", "fatal")

    def sections(self, *rows):
        return [document.Section("Title", "Intro.", rows)]

    def write(self, *rows, head="# Head\n"):
        return document.write(head, self.sections(*rows), self.MESSAGES)

    def test_rows(self):
        text = self.write(self.A, self.C)
        self.assertTrue(text.endswith(
            '# Head\n\n## Title\n\nIntro.\n\n<a id="a-b-x"></a>\n\n    LOG_INFO :  a|b \u2026\n\n'
            "`-I` (expected; with `0` problem) `-e` (usual; with `0` problem): What it is.\n\n**What to do:** Do.\n\n"
            '<a id="c"></a>\n\n    LOG_ERROR: c\n\nNo command (fatal): Two.\n'), text)

    def test_lists(self):
        info, other = document.LISTS
        text = self.write(self.A, self.C, head=f"# Head\n{info}\n\n{other}\n")
        self.assertIn("# Head\n* [`a|b \u2026`](#a-b-x): `-I` (expected; with `0` problem) "
                      "`-e` (usual; with `0` problem)\n\n\n## Title", text)  # the error is fatal: not in the second list
        with self.assertRaises(document.DocumentError):
            self.write(self.A, self.C, head="<!-- another mark -->\n")

    def test_lines_break_outside_code(self):
        word = "x" * (document.WIDTH - 4)
        self.assertEqual(document.paragraph(f"{word} `a - b`\n c-d"), f"{word}\n`a - b` c-d\n")

    def test_each_text_is_explained_once_and_no_other_text(self):
        for rows in ([self.A], [self.A, self.C, self.C],
                     [self.A, self.C, document.Told(("d",), (), "Three.", "")],
                     [self.A, document.Told(("c\n",), (), "Two.", "")]):  # without a kind
            with self.assertRaises(document.DocumentError):
                self.write(*rows)

    def test_anchors_are_unique(self):
        rows = [document.Told((text,), (), "One.", "", "usual") for text in ("a b", "a-b")]
        messages = messages_of(cli_Main='void Run() { RunLog::Info() << L"a b"; RunLog::Info() << L"a-b"; }')
        self.assertEqual(document.faults(self.sections(*rows), messages), ["two messages have the anchor a-b"])

    def test_an_incomplete_explanation_is_an_error(self):
        rule = {"of": 1, "is": "0", "kind": "problem"}
        row = {"texts": ["a \u2026"], "commands": ["-I"], "meaning": "m", "advice": "d"}
        self.assertEqual(document.read_row(row), document.Told(("a \u2026",), ("-I",), "m", "d"))
        row |= {"kind": "usual", "kinds": {"-I": "fatal"}, "values": [rule]}
        self.assertEqual(document.read_row(row).kind_for("-I"), "fatal")
        for change in ({"meaning": " "}, {"commands": ["-e", "-I"]}, {"commands": ["-x"]}, {"texts": []},
                       {"advise": "d"}, {"kind": "bad"}, {"kinds": {"-I": "bad"}}, {"kinds": {"-e": "fatal"}},
                       {"kinds": {"-I": "usual"}}, {"values": [rule | {"of": 2}]}, {"values": [rule | {"of": 0}]},
                       {"values": [rule | {"is": 0}]}, {"values": [rule | {"kind": "bad"}]}, {"texts": ["a"]}):
            with self.subTest(change), self.assertRaises(document.DocumentError):
                document.read_row(row | change)
        with self.assertRaises(document.DocumentError):
            document.read_row({name: told for name, told in row.items() if name != "kind"})

    def test_table(self):
        odd = messages_of(cli_Main='void Run(A v) { RunLog::Info() << L"a\\\\ \\"\xe9" << v << L"1"; }')
        row = document.Told((odd[0].text,), ("-e",), "See **[`x`](y.md)** `**`,\n\u2026", "", "usual")
        rows, rules = catalogue.table(self.sections(self.A, self.C), self.MESSAGES).split("#else\n")[::-1]
        self.assertTrue(rules.endswith('#ifdef LOGREADER_VALUE_RULES\n{1, "0", Kind::kProblem},\n'), rules)
        never = ", Kind::kNever" * 5
        self.assertEqual(rows.split("\n")[:2], [
            '{" a|b \\001", kInfo, "a-b-x", {Kind::kExpected, Kind::kUsual' + never + '}, 0, 1, "What it is.", "Do."},',
            '{"c", kError, "c", {' + ", ".join(["Kind::kFatal"] * 7) + '}, 1, 0, "Two.", ""},'])
        self.assertIn('{"a\\\\ \\"\\351\\0011", kInfo, ', catalogue.table(self.sections(row), odd))
        self.assertIn('"See `x` `**`, \\342\\200\\246", ""},', catalogue.table(self.sections(row), odd))

    def test_json(self):
        first, second = json.loads(catalogue.as_json(self.sections(self.A, self.C), self.MESSAGES))
        self.assertEqual(re.fullmatch(first["pattern"], "LOG_INFO :  a|b C:\\x")[1], "C:\\x")
        self.assertIsNone(re.fullmatch(first["pattern"], "LOG_INFO :  aa"))
        self.assertEqual(first["kinds"], {"-I": "expected", "-e": "usual"})
        self.assertEqual((second["pattern"], second["levels"], second["text"]), ("^(?:LOG_ERROR: )c$", ["LOG_ERROR"], "c"))



if __name__ == "__main__":
    unittest.main()
