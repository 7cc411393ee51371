#!/usr/bin/env python3
"""The checks of this folder find the faults that they are there for."""
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import check_floors  # noqa: E402
import check_words  # noqa: E402


class Floors(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)
        for name in check_floors.FLOORS:
            self.write(name + ".h")

    def write(self, name, *includes):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("".join('#include "%s"\n' % included for included in includes))

    def test_nothing_wrong(self):
        self.write("Common/OrCommon/OrComn_File.h")
        self.write("cli/Main.cpp", "cli/CommandDispatcher.h", "Common/OrCommon/OrComn_File.h")
        self.write("install/FileCopy.cpp", "install/FileCopy.h", "install/FolderListing.h")
        self.assertEqual(check_floors.faults_in(self.root), [])

    def test_upward(self):
        self.write("cli/RunLog.cpp", "install/FileCopy.h")
        self.assertEqual(check_floors.faults_in(self.root),
                         ["cli/RunLog.cpp (floor 2) includes install/FileCopy.h above it (3)"])

    def test_own_floor_in_another_folder(self):
        self.write("install/FileCopy.cpp", "plugins/ComModuleRunner.h")
        self.assertEqual(check_floors.faults_in(self.root),
                         ["install/FileCopy.cpp includes plugins/ComModuleRunner.h, on its own floor 3 in another folder"])

    def test_circle(self):
        self.write("install/FileCopy.h", "install/FolderListing.h")
        self.write("install/FolderListing.cpp", "install/FileCopy.h")
        self.assertEqual(check_floors.faults_in(self.root),
                         ["a circle: install/FileCopy -> install/FolderListing -> install/FileCopy"])

    def test_files_without_floor_and_floors_without_file(self):
        self.write("install/Newcomer.cpp")
        (self.root / "cli/Main.h").unlink()
        self.assertEqual(check_floors.faults_in(self.root),
                         ["install/Newcomer.cpp has no floor", "cli/Main has a floor and no file"])

    def test_include_that_is_not_from_the_root(self):
        self.write("install/FileCopy.cpp", "FileCopy.h")
        self.assertEqual(len(check_floors.faults_in(self.root)), 1)

    def test_nothing_there(self):
        with tempfile.TemporaryDirectory() as empty:
            self.assertEqual(len(check_floors.faults_in(empty)), 1)


class Words(unittest.TestCase):
    def faults(self, text, name="a.cpp"):
        return [fault.partition(": ")[2] for fault in check_words.faults_in_text(name, text)]

    def test_clean(self):
        self.assertEqual(self.faults("int x;\n"), [])
        self.assertEqual(self.faults(""), [])

    def test_faults(self):
        self.assertEqual(self.faults("// TO" + "DO: later\n"), ["a note to oneself"])
        self.assertEqual(self.faults("int\tx;\n"), ["a tab"])
        self.assertEqual(self.faults("int x; \n"), ["blanks at the end"])
        self.assertEqual(self.faults("int x;\r\n"), ["a Windows line end"])
        self.assertEqual(self.faults("int x;"), ["the last line is not ended"])

    def test_windows_scripts_have_windows_lines(self):
        self.assertEqual(self.faults("echo off\r\n", "a.bat"), [])


if __name__ == "__main__":
    unittest.main()
