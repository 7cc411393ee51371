#!/usr/bin/env python3
"""The checks of this folder, and that of the lines that no test runs, find the faults that they are there for."""
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests/build"), str(ROOT / "tests/coverage")]
import add_counts  # noqa: E402
import check_docs  # noqa: E402
import check_floors  # noqa: E402
import check_options  # noqa: E402
import check_words  # noqa: E402
import report_coverage  # noqa: E402


class Options(unittest.TestCase):
    def test_each_missing_option_is_reported(self):
        text = (ROOT / "cmake" / "BuildOptions.cmake").read_text(encoding="utf-8")
        self.assertEqual(check_options.faults_in(text), [])
        for option in ("/Qspectre", "/CETCOMPAT", "/guard:ehcont", "-Wl,--tsaware", "ProgramDatabase"):
            self.assertNotEqual(check_options.faults_in(text.replace(option, "")), [], option)


@unittest.skipUnless(shutil.which("cmake"), "needs cmake")
class Imports(unittest.TestCase):
    """cmake/CheckImports.cmake, with a fake objdump that prints the given text."""

    def check(self, *imports):
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            (folder / "list.cpp").write_text('kKernel32[] = {\n    "CloseHandle",\n};\nkMsvcrt[] = {\n    "memcpy",\n};\n')
            (folder / "program.exe").write_text("")
            (folder / "headers").write_text("".join(
                "\tDLL Name: %s\n\tvma:  Hint/Ord Member-Name Bound-To\n%s\n" %
                (library, "".join("\t2b2f4\t  %d  %s\n" % (100 + n, name) for n, name in enumerate(names)))
                for library, names in imports))
            objdump = folder / "objdump"
            objdump.write_text('#!/bin/sh\nexec cat "%s"\n' % (folder / "headers"))
            objdump.chmod(0o755)
            run = subprocess.run(["cmake", "-D", "OBJDUMP=%s" % objdump, "-D", "PROGRAM=%s" % (folder / "program.exe"),
                                  "-D", "LIST=%s" % (folder / "list.cpp"), "-P", ROOT / "cmake" / "CheckImports.cmake"],
                                 capture_output=True, text=True)
            self.assertEqual((folder / "program.exe").exists(), run.returncode == 0)
            return run.returncode == 0, run.stderr

    def test_known_and_unknown(self):
        kernel = ("KERNEL32.dll", ["CloseHandle"])
        self.assertTrue(self.check(kernel, ("msvcrt.dll", ["memcpy"]))[0])
        passed, told = self.check(("KERNEL32.dll", ["CloseHandle", "GetTickCount64"]))
        self.assertFalse(passed)
        self.assertIn("GetTickCount64", told)
        for imports in ([("KERNEL32.dll", ["memcpy"]), kernel], [kernel, ("USER32.dll", ["CloseHandle"])], []):
            self.assertFalse(self.check(*imports)[0], imports)


FLOORS = """
set(_common Common/OrCommon/OrComn)
vela_library(OrCommon
  FILES ${_common}_File ${_common}_Path
  USES boost_headers)
vela_library(vela_files FILES install/FileCopy install/FolderListing USES OrCommon)
vela_library(vela_modules FILES plugins/ComModuleRunner USES OrCommon)
vela_library(vela_cli FILES cli/CommandDispatcher USES vela_files vela_modules)
"""


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return path


class Tree(Folder):
    """An invented product: four libraries and the program."""

    def setUp(self):
        super().setUp()
        self.write("cmake/Floors.cmake", FLOORS)
        for name in ("Common/OrCommon/OrComn_Path.h", "Common/OrCommon/OrComn_File.h", "install/FolderListing.h"):
            self.write(name, "")
        self.include("install/FileCopy.h", "Common/OrCommon/OrComn_File.h", "install/FolderListing.h")
        self.include("plugins/ComModuleRunner.h", "Common/OrCommon/OrComn_File.h")
        self.include("cli/CommandDispatcher.h", "plugins/ComModuleRunner.h", "install/FileCopy.h",
                     "Common/OrCommon/OrComn_Path.h")
        self.include("cli/Main.cpp", "cli/CommandDispatcher.h")

    def include(self, name, *included):
        self.write(name, "".join('#include "%s"\n' % file for file in included))


class Floors(Tree):
    def check(self, *faults):
        self.assertEqual(check_floors.faults_in(self.root), list(faults))

    def test_wrong_includes(self):
        self.check()
        for file, included, fault in (
                ("install/FolderListing.h", "plugins/ComModuleRunner.h",
                 "install/FolderListing includes plugins/ComModuleRunner.h, but vela_files does not use vela_modules"),
                ("Common/OrCommon/OrComn_Path.h", "cli/CommandDispatcher.h",
                 "Common/OrCommon/OrComn_Path includes cli/CommandDispatcher.h, but OrCommon does not use vela_cli"),
                ("install/FolderListing.h", "install/FileCopy.h",
                 "circular includes: install/FileCopy, install/FolderListing"),
                ("install/FolderListing.h", "FileCopy.h",
                 "install/FolderListing includes FileCopy.h, which is not a path from the root of the repository")):
            self.include(file, included)
            self.check(fault)
            self.write(file, "")

    def test_used_library_that_is_not_needed(self):
        self.include("cli/CommandDispatcher.h", "plugins/ComModuleRunner.h")
        self.check("vela_cli uses vela_files, but includes nothing of it")

    def test_files_without_library_and_libraries_without_file(self):
        self.write("install/Newcomer.cpp", "")
        (self.root / "Common/OrCommon/OrComn_Path.h").unlink()
        self.include("cli/CommandDispatcher.h", "plugins/ComModuleRunner.h", "install/FileCopy.h")
        self.check("install/Newcomer is in no library of cmake/Floors.cmake",
                   "Common/OrCommon/OrComn_Path of the library OrCommon does not exist")


class Picture(Tree):
    def test_picture(self):
        boxes = """
  VELAutil["Main"]
  vela_cli["CommandDispatcher"]
  vela_files["FileCopy, FolderListing"]
  vela_modules["ComModuleRunner"]
  OrCommon["File, Path"]
  VELAutil --> vela_cli
  vela_cli --> vela_files & vela_modules
  vela_files --> OrCommon
"""
        arrow = "  vela_modules --> OrCommon\n"
        page = "```mermaid\nflowchart TB%s```\n"

        def faults(picture):
            self.write("docs/architecture.md", page % picture)
            return check_docs.picture_faults(self.root)
        self.assertEqual(faults(boxes + arrow), [])
        self.assertEqual(faults(boxes), ["docs/architecture.md: the flowchart lacks vela_modules --> OrCommon"])
        self.assertEqual(faults(boxes.replace(", Path", "") + arrow),
                         ["docs/architecture.md: the box OrCommon lacks Common/OrCommon/OrComn_Path"])
        self.assertEqual(len(faults(boxes + arrow + "  vela_files --> vela_modules\n")), 1)


class Docs(Folder):
    def test_links(self):
        page = self.write("docs/page.md", "# Two words, `-x` and more\n")

        def faults(link):
            return check_docs.link_faults(page, "[words](%s)" % link)
        for good in ("page.md", "page.md#two-words--x-and-more", "#two-words--x-and-more", "../docs", "https://x.example/"):
            self.assertEqual(faults(good), [])
        for bad in ("none.md", "page.md#two", "#none"):
            self.assertEqual(len(faults(bad)), 1)

    def test_headings_in_code_blocks_do_not_count(self):
        page = "# One\n```\n# two\n```\n## [Three](x.md)\n<a id=\"four\"></a>\n"
        self.assertEqual(check_docs.anchors_in(page), {"one", "three", "four"})

    def test_json_fields(self):
        self.write("logreader/Report.cpp", 'Json run = {{"run", 1},\n {"time", 2}};\njson["lines"] = 3;\n')
        table = "## VELAlog.exe --json\n| a run | `run`, `time` | `one` |\n"
        for rows, faults in (("| | `lines` | |", 0), ("", 1), ("| | `lines`, `more` | |", 1)):
            self.write("docs/log.md", table + rows + "\n")
            self.assertEqual(len(check_docs.json_faults(self.root)), faults)

    def test_names(self):
        files = {"cli/RunLog.h", "cli/RunLog.cpp", "tests/scenarios/ExpectedLog.cpp", "scripts/demo.sh"}
        good = "`cli/RunLog.{h,cpp}` `RunLog.h` `Expected*.cpp` ./scripts/demo.sh cli/RunLog `C:\\install\\Setup`"
        self.assertEqual(check_docs.name_faults(good, files), [])
        for bad in ("`cli/RunLog.{h,cc,cpp}`", "`Log.h`", "`None*.cpp`", "./scripts/none.sh", "cli/Log"):
            self.assertEqual(len(check_docs.name_faults(bad, files)), 1, bad)

    def test_commands(self):
        self.write("cli/CommandDispatcher.cpp", 'constexpr Command kCommands[] = {\n    {L"-I", L"", 0},\n    {L"-p", 0},\n'
                   '    {L"-r", 0},\n};\n')
        self.write("install/InstallCommand.h", "kSwitchNotStored = static_cast<int>(0xE0FF0001U);")
        self.write("cli/CommandDispatcher.h", "kBrokenOff = static_cast<int>(0xE0FF0002U);")
        broken_off = "0xE0FF0002 -520159230\n"
        rows = "| `-I` | 0; 0xE0FF0001 |\n| `-p` | 1 where |\n| `-r` | 1 where |\n-520159231\n" + broken_off
        words = "**`-I` x**\n**`-p` x**\n**`-r` x**\n0xE0FF0001 -520159231\n" + broken_off
        self.write("README.md", rows)
        self.write("docs/reference.md", words)
        self.assertEqual(check_docs.command_faults(self.root), [])
        self.write("README.md", rows.replace("1 where |\n| `-r`", "0 |\n| `-r`") + "| `-x` | 0 |\n")
        self.write("docs/reference.md", words.replace("-520159231", "1").replace("**`-p` x**", ""))
        self.assertEqual(len(check_docs.command_faults(self.root)), 4)
        self.write("README.md", rows.replace(broken_off, ""))
        self.write("docs/reference.md", words)
        self.assertEqual(len(check_docs.command_faults(self.root)), 2)

    def test_silent_failures(self):
        checks = ('constexpr char kHive[] = "the key of a user";\nconstexpr char kFile[] =\n    "a file, "\n    "or its time";\n'
                  '    {"-I -e", "Call", "", "HKU\\\\", kHive},\n    {"-p", "", kFile},\n')
        page = "| `-I` `-e` `-d` | [the key](#x) of a user | ask |\n| `-p` | no time, a file, or its time | ask |\n"
        self.write("tests/faults/VerdictChecks.cpp", checks)
        self.write("docs/messages/head.md", page)
        self.assertEqual(check_docs.silent_faults(self.root), [])
        self.write("docs/messages/head.md", page.replace("`-e` ", "").replace("a file, or", "a file or"))
        self.assertEqual(len(check_docs.silent_faults(self.root)), 2)
        self.write("docs/messages/head.md", page)
        self.write("tests/faults/VerdictChecks.cpp", checks.replace(", kHive}", ", kFile}"))
        self.assertEqual(len(check_docs.silent_faults(self.root)), 2)

    def test_places(self):
        self.write("cli/Main.cpp", 'L"Software\\\\Maker\\\\Key\\\\" L"Global\\\\Event" L"Global\\\\VELA_EVENT_OL" L"other"')
        self.write("docs/reference.md", "HKLM\\SOFTWARE\\Maker\\Key Global\\Event Global\\VELA_EVENT_OE, _OL")
        self.assertEqual(check_docs.place_faults(self.root), [])
        self.write("docs/reference.md", "")
        self.assertEqual(len(check_docs.place_faults(self.root)), 3)

    def test_clients(self):
        self.write("settings/MailClients.h", '{MailClient::kA, L"AB", L"ab", L"abc", nullptr, true},\n'
                   '    {MailClient::kB, L"CD", L"cd", L"cd", g_run, false}')
        self.write("plugins/ClientRegistration.cpp", 'L"MS Office A B is running during installing !" '
                   'L"C D is running during installing !"')
        page = "VELA_AB.ini AB_DELAY_INST `x_AB` `ab` `abc` VELA_CD.ini CD_DELAY_INST `_CD` `cd` VELA_CDMon.exe A B, C\nD"
        script = ('(AB CD VELA_common) (VELA_AB.ini) VELA_AB\\%%M (x %1\\VELA_AB %1\\VELA_CD) VELA_CD.ini VELA_CD\\%%M '
                  '"%run_key%" /v CD VELA_CDMon.exe\nin (AB CD VELA_common)\n')
        self.write("README.md", "A B and C D")
        self.write("docs/reference.md", page)
        self.write("deploy/common.cmd", script)
        self.assertEqual(check_docs.client_faults(self.root), [])
        self.write("README.md", "A B")
        self.write("docs/reference.md", page.replace("VELA_CDMon.exe", "").replace("`abc`", ""))
        self.write("deploy/common.cmd", script.replace("/v CD", "").replace("in (AB CD", "in (AB"))
        self.assertEqual(len(check_docs.client_faults(self.root)), 5)
        self.write("settings/MailClients.h", "")
        self.assertNotEqual(check_docs.client_faults(self.root), [])

    def test_steps(self):
        self.write("settings/MailClients.h", '{MailClient::kA, L"AB", L"ab", nullptr, true},\n'
                   '    {MailClient::kB, L"CD", L"cd", g_run, false}')
        self.write("tests/support/Clients.h", '{L"a.dll", L"b.dll"}},\n{L"c.dll"}},')
        steps = "## What each command does, in order\n**`-I` a** AB, CD (three modules)\n**`-s` b** none\n## CD\n"
        rules = "\n## Detection\n`VELA_CDA.dll`\n## Other\n"
        for page, detection, faults in ((steps, rules, 0), (steps.replace(", CD", ""), rules, 1),
                                        (steps.replace("three", "two"), rules, 1), (steps, "\n## Detection\n", 1)):
            self.write("docs/reference.md", page)
            self.write("docs/deploy.md", detection)
            self.assertEqual(len(check_docs.step_faults(self.root)), faults)


class Words(unittest.TestCase):
    def test_faults(self):
        for text, fault in {"// TO" + "DO: later\n": "a reminder of unfinished work", "int\tx;\n": "a tab",
                            "int x; \n": "trailing blanks", "int x;\r\n": "a line end CR LF",
                            "int x;": "no line feed at the end of the file"}.items():
            self.assertEqual([told.partition(": ")[2] for told in check_words.faults_in_text("a.cpp", text)], [fault])
        for name, text in (("a.cpp", "int x;\n"), ("a.cpp", ""), ("a.bat", "echo off\r\n")):
            self.assertEqual(check_words.faults_in_text(name, text), [])

    def test_files_that_are_not_text_are_left_out(self):
        names = {"tests/fuzz/corpus/Format/0f4c": True, "docs/a.png": True, "tests/fuzz/Format.cpp": False, "a.cpp": False}
        for name, expected in names.items():
            self.assertEqual(check_words.is_left_out(pathlib.PurePath(name)), expected, name)


class Coverage(unittest.TestCase):
    UNCOVERED = [("cli/RunLog.cpp", 12, "return;"), ("cli/RunLog.cpp", 40, "return;"), ("cli/Main.cpp", 3, "throw;")]
    LISTED = "# A remark.\ncli/RunLog.cpp: return;\n  Nobody\n  comes here.\n\ncli/Main.cpp: throw;\n  Nor here.\n"

    def test_uncovered_lines_and_the_list_agree(self):
        entries = report_coverage.read_list(self.LISTED)
        self.assertEqual(entries[("cli/RunLog.cpp", "return;")], "Nobody comes here.")
        without_reason = report_coverage.read_list("cli/Main.cpp: throw;\n")
        for uncovered, listed, faults in (
                (self.UNCOVERED, entries, []),
                (self.UNCOVERED + [("cli/Main.cpp", 9, "log();")], entries,
                 ["cli/Main.cpp:9: no test runs this line, and uncovered.txt has no reason: log();"]),
                (self.UNCOVERED[:2], entries, ["cli/Main.cpp: in uncovered.txt, but run by a test or gone: throw;"]),
                (self.UNCOVERED[2:], without_reason, ["cli/Main.cpp: no reason in uncovered.txt: throw;"])):
            self.assertEqual(report_coverage.compare(uncovered, listed), faults)

    def test_list_that_cannot_be_read(self):
        for text in ("  a reason\n", "cli/Main.cpp\n", "cli/Main.cpp: throw;\n a\ncli/Main.cpp: throw;\n"):
            self.assertRaises(ValueError, report_coverage.read_list, text)

    def test_counts(self):
        line = {"line_number": 1, "count": 3, "branches": [{"count": 0}, {"count": 3}]}
        folders, uncovered = report_coverage.measure({"cli/Main.cpp": [line, dict(line, count=0, branches=[])]})
        lines, branches = folders["cli"]
        self.assertEqual((lines.taken, lines.of, branches.taken, branches.of), (1, 2, 1, 2))
        self.assertEqual([entry[:2] for entry in uncovered], [("cli/Main.cpp", 1)])


class Counts(unittest.TestCase):
    HEAD = (0x4232302a, 1, 2)

    def counts(self, functions, head=HEAD):
        counts = add_counts.Counts(head)
        counts.runs = 1
        counts.functions = functions
        return counts

    def test_written_and_read(self):
        functions = {(1, 2, 3): [5, 0, 2**40], (4, 5, 6): []}
        read = add_counts.read(add_counts.write(self.counts(functions)))
        self.assertEqual((read.head, read.runs, read.functions), (self.HEAD, 1, functions))

    def test_added_up_function_by_function(self):
        whole = self.counts({(1, 2, 3): [5, 0], (4, 5, 6): [7]})
        whole.add(self.counts({(1, 2, 3): [1, 1], (7, 8, 9): [2]}))
        self.assertEqual(whole.functions, {(1, 2, 3): [6, 1], (4, 5, 6): [7], (7, 8, 9): [2]})
        self.assertEqual(whole.runs, 2)

    def test_counts_of_zeros_and_of_functions_in_other_objects(self):
        data = add_counts.write(self.counts({}))[:-4]
        data += struct.pack("<Ii", add_counts.FUNCTION, 0)
        data += struct.pack("<Ii3I", add_counts.FUNCTION, 12, 1, 2, 3) + struct.pack("<Ii", add_counts.ARCS, -16)
        self.assertEqual(add_counts.read(data).functions, {(1, 2, 3): [0, 0]})

    def test_counts_that_cannot_be_added(self):
        for other in (self.counts({}, (0, 1, 2)), self.counts({(1, 2, 3): [1]})):
            self.assertRaises(ValueError, self.counts({(1, 2, 3): [5, 0]}).add, other)
        for data in (b"", b"abc", b"0123456789abcdef", add_counts.write(self.counts({}))[:-4] + b"\1\0\0\0\0\0\0\0"):
            self.assertRaises(ValueError, add_counts.read, data)


if __name__ == "__main__":
    unittest.main()
