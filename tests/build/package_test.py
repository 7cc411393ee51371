#!/usr/bin/env python3
"""package_test.py <repository> <build folder>: the release (scripts/package.py) is whole, true and repeatable."""
import copy
import datetime
import hashlib
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest
import zipfile

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import check_docs  # noqa: E402

ROOT, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
SUMS = "SHA256SUMS"

# What SPDX 2.3 requires of each part of a document.
REQUIRED = {
    "document": ["spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace", "creationInfo"],
    "creationInfo": ["created", "creators"],
    "package": ["SPDXID", "name", "downloadLocation"],
    "file": ["SPDXID", "fileName", "checksums"],
    "relationship": ["spdxElementId", "relationshipType", "relatedSpdxElement"],
}
RELATIONSHIPS = {"DESCRIBES", "CONTAINS", "STATIC_LINK", "DEPENDS_ON"}


def missing(kind, part):
    return ["%s %s lacks %s" % (kind, part.get("SPDXID", ""), name) for name in REQUIRED[kind] if not part.get(name)]


def spdx_faults(document, files):
    """`files`: name without "./" -> content, of everything that the document has to list."""
    faults = missing("document", document) + missing("creationInfo", document.get("creationInfo", {}))
    if document.get("spdxVersion") != "SPDX-2.3" or document.get("dataLicense") != "CC0-1.0":
        faults.append("wrong version or licence of the document")
    if not re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", document.get("creationInfo", {}).get("created", "")):
        faults.append("wrong time of creation")
    if not re.fullmatch(r"[a-z]+:[^#\s]+", document.get("documentNamespace", "")):
        faults.append("wrong namespace")
    packages, entries = document.get("packages", []), document.get("files", [])
    faults += [fault for part in packages for fault in missing("package", part)]
    faults += [fault for part in entries for fault in missing("file", part)]

    names = [part.get("SPDXID", "") for part in [document, *packages, *entries]]
    faults += ["invalid identifier %s" % name for name in names if not re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", name)]
    if len(set(names)) != len(names):
        faults.append("duplicate identifier")
    for relation in document.get("relationships", []):
        faults += missing("relationship", relation)
        if relation.get("relationshipType") not in RELATIONSHIPS or not {
                relation.get("spdxElementId"), relation.get("relatedSpdxElement")} <= set(names):
            faults.append("invalid relationship %s" % relation)

    listed = {entry.get("fileName", "")[2:]: entry for entry in entries}
    faults += ["%s is not in both list and package" % name for name in sorted(set(listed) ^ set(files))]
    for name in sorted(set(listed) & set(files)):
        told = {checksum["algorithm"]: checksum["checksumValue"] for checksum in listed[name].get("checksums", [])}
        if told != {"SHA1": hashlib.sha1(files[name]).hexdigest(), "SHA256": hashlib.sha256(files[name]).hexdigest()}:
            faults.append("wrong checksums of %s" % name)
    for package in packages:
        if package.get("filesAnalyzed"):
            code = hashlib.sha1("".join(sorted(hashlib.sha1(data).hexdigest() for data in files.values())).encode())
            if package.get("packageVerificationCode", {}).get("packageVerificationCodeValue") != code.hexdigest():
                faults.append("wrong verification code of %s" % package.get("name"))
    return faults


def make(root, output, **environment):
    environment = {**os.environ, "PYTHONDONTWRITEBYTECODE": "1", **environment}
    subprocess.run([sys.executable, root / "scripts/package.py", BUILD, BUILD / "VELAutil.exe", output], check=True,
                   stdout=subprocess.DEVNULL, env=environment)
    return next(output.glob("*.zip"))


class Release(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.place = pathlib.Path(cls.folder.name)
        cls.zip = make(ROOT, cls.place / "one")
        with zipfile.ZipFile(cls.zip) as archive:
            cls.entries = archive.infolist()
            cls.files = {entry.filename.partition("/")[2]: archive.read(entry) for entry in cls.entries}
            archive.extractall(cls.place / "unpacked")
        cls.unpacked = cls.place / "unpacked" / cls.zip.stem
        cls.spdx = next(name for name in cls.files if name.endswith(".spdx.json"))
        cls.document = json.loads(cls.files[cls.spdx])
        cls.listed = {name: data for name, data in cls.files.items() if name not in (SUMS, cls.spdx)}

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_same_bytes_from_a_copy_in_another_folder(self):
        copied = self.place / "elsewhere/deeper/sources"
        copied.mkdir(parents=True)
        shutil.copy(ROOT / "README.md", copied)
        for name in ("docs", "scripts"):
            shutil.copytree(ROOT / name, copied / name)
        time = self.document["creationInfo"]["created"]
        seconds = str(int(datetime.datetime.fromisoformat(time).timestamp()))
        old = os.umask(0o077)
        try:
            again = make(copied, self.place / "two", SOURCE_DATE_EPOCH=seconds, TZ="Pacific/Auckland", LC_ALL="C")
        finally:
            os.umask(old)
        self.assertEqual(again.read_bytes(), self.zip.read_bytes())

    def test_order_times_and_modes(self):
        names = [entry.filename for entry in self.entries]
        self.assertEqual(names, sorted(names))
        self.assertEqual(len({entry.date_time for entry in self.entries}), 1)
        self.assertEqual({entry.compress_type for entry in self.entries}, {zipfile.ZIP_STORED})
        self.assertTrue(all(name.startswith(self.zip.stem + "/") for name in names))

    def test_checksums(self):
        told = dict(reversed(line.split("  ")) for line in self.files[SUMS].decode().splitlines())
        self.assertEqual(told, {name: hashlib.sha256(data).hexdigest()
                                for name, data in self.files.items() if name != SUMS})
        beside = self.zip.with_name(self.zip.name + ".sha256").read_text().split()
        self.assertEqual(beside, [hashlib.sha256(self.zip.read_bytes()).hexdigest(), self.zip.name])

    def test_program_and_version(self):
        self.assertEqual(self.files["VELAutil.exe"], (BUILD / "VELAutil.exe").read_bytes())
        version = re.search(r"project\(VELAutil VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
        self.assertEqual(self.zip.name, "VELAutil-%s.zip" % version)
        self.assertEqual(self.document["packages"][0]["versionInfo"], version)

    def test_list_of_contents(self):
        self.assertEqual(spdx_faults(self.document, self.listed), [])

    def test_faults_in_the_list_of_contents_are_reported(self):
        def faults(change):
            document = copy.deepcopy(self.document)
            change(document)
            return spdx_faults(document, self.listed)
        changes = [
            lambda document: document.pop("documentNamespace"),
            lambda document: document["creationInfo"].update(created="yesterday"),
            lambda document: document["packages"][1].pop("downloadLocation"),
            lambda document: document["files"].pop(),
            lambda document: document["files"][0]["checksums"][1].update(checksumValue="0" * 64),
            lambda document: document["packages"][0]["packageVerificationCode"].update(
                packageVerificationCodeValue="0" * 40),
            lambda document: document["relationships"][0].update(relatedSpdxElement="SPDXRef-None"),
            lambda document: document["files"][0].update(SPDXID=document["files"][1]["SPDXID"]),
        ]
        for number, change in enumerate(changes):
            self.assertNotEqual(faults(change), [], number)

    def test_licences(self):
        for name, words in {"mingw-w64": "mingw-w64", "gcc-mingw-w64": "GCC RUNTIME LIBRARY EXCEPTION",
                            "boost": "Boost Software License - Version 1.0"}.items():
            self.assertIn(words, self.files["licences/%s.txt" % name].decode())
        told = {package["name"] for package in self.document["packages"][1:]}
        texts = {pathlib.PurePath(name).stem for name in self.files if re.match(r"licences/[^/]*\.txt$", name)}
        self.assertEqual(told, texts - {"contents"})
        for name, data in self.files.items():
            if name.startswith("licences/"):
                for common in re.findall(rb"/usr/share/common-licenses/([\w.+-]*\w)", data):
                    self.assertIn("licences/common/%s.txt" % common.decode(), self.files)

    def test_targets_of_links_are_in_the_package(self):
        for page in check_docs.pages_of(self.unpacked):
            self.assertEqual(check_docs.link_faults(page, page.read_text(encoding="utf-8")), [], page.name)

    def test_no_file_names_this_machine(self):
        words = {str(ROOT), str(BUILD), socket.gethostname()} - {"localhost"}
        for name, data in self.files.items():
            for word in words:
                # A short word can be in any program by chance.
                self.assertFalse(len(word) > 8 and word.encode() in data, "%s in %s" % (word, name))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
