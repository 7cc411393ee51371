#!/usr/bin/env python3
"""package_test.py <repository> <build folder>: the release (scripts/package.py) is whole, true and repeatable."""
import copy
import datetime
import hashlib
import html.parser
import json
import os
import pathlib
import re
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest
import zipfile

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import pages  # noqa: E402

ROOT, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
SUMS = "SHA256SUMS"
PROGRAMS = {"VELAutil.exe", "VELAlog.exe"}

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
    """The release, and what was said while it was made."""
    environment = {**os.environ, "PYTHONDONTWRITEBYTECODE": "1", **environment}
    run = subprocess.run([sys.executable, root / "scripts/package.py", BUILD, output], check=True, capture_output=True,
                         text=True, env=environment)
    return next(output.glob("*.zip")), run.stdout


class Page(html.parser.HTMLParser):
    """The anchors and the links of a page."""
    def __init__(self, text):
        super().__init__()
        self.anchors, self.links = set(), []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        facts = dict(attrs)
        self.anchors |= {facts[name] for name in ("id", "name") if name in facts}
        self.links += [facts[name] for name in ("href", "src") if name in facts]


class Release(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.place = pathlib.Path(cls.folder.name)
        cls.zip, cls.said = make(ROOT, cls.place / "one")
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
        shutil.copytree(ROOT, copied, ignore=shutil.ignore_patterns("build*", ".git", "tests"))
        time = self.document["creationInfo"]["created"]
        seconds = str(int(datetime.datetime.fromisoformat(time).timestamp()))
        old = os.umask(0o077)
        try:
            again, _ = make(copied, self.place / "two", SOURCE_DATE_EPOCH=seconds, TZ="Pacific/Auckland", LC_ALL="C")
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

    def test_programs_and_version(self):
        for program in PROGRAMS:
            self.assertEqual(self.files[program], (BUILD / program).read_bytes())
        version = re.search(r"project\(VELAutil VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
        self.assertEqual(self.zip.name, "VELAutil-%s.zip" % version)
        self.assertEqual(self.document["packages"][0]["versionInfo"], version)
        first = self.files["README.html"].decode()
        self.assertIn("Version %s, %s." % (version, self.document["creationInfo"]["created"][:10]), first)
        self.assertIn("certutil -hashfile %s SHA256" % self.zip.name, first)
        self.assertIn("\r\n%s\r\n" % version, self.files["CHANGES.txt"].decode())

    def test_what_is_in_it(self):
        deploy = {"deploy/" + file.name for file in (ROOT / "deploy").iterdir()}
        self.assertLessEqual({"deploy/install.cmd", "deploy/enable-task.xml"}, deploy)
        shown = {name for name in self.files if not name.startswith("licences/") and not name.endswith(".svg")}
        self.assertEqual(shown, PROGRAMS | deploy | {"CHANGES.txt", "messages.json", SUMS, self.spdx} |
                         {name.replace(".md", ".html") for name in pages.PAGES})
        self.assertTrue(all({"pattern", "kind", "meaning"} <= set(message)
                            for message in json.loads(self.files["messages.json"])))

    def test_texts_have_windows_lines(self):
        for name, data in self.files.items():
            if name.startswith("deploy/") or name.endswith((".html", ".svg")) or name == "CHANGES.txt":
                self.assertNotIn(b"\n", data.replace(b"\r\n", b""), name)
                self.assertNotIn(b"\r", data.replace(b"\r\n", b""), name)

    def test_signing(self):
        self.assertIn("NOT SIGNED", self.said)
        self.assertIn("They are not signed", self.files["README.html"].decode())
        sign = shlex.join([sys.executable, "-c", "import sys; open(sys.argv[1], 'ab').write(b'signature')"])
        release, said = make(ROOT, self.place / "signed", VELA_SIGN=sign)
        self.assertNotIn("NOT SIGNED", said)
        with zipfile.ZipFile(release) as archive:
            for program in PROGRAMS:
                data = archive.read("%s/%s" % (release.stem, program))
                self.assertEqual(data, self.files[program] + b"signature")
            first = archive.read("%s/README.html" % release.stem).decode()
        self.assertNotIn("not signed", first)
        self.assertIn("has ever run on Windows itself", first)
        for command in ("false", "true"):  # fails; signs nothing
            with self.assertRaises(subprocess.CalledProcessError):
                make(ROOT, self.place / "unsigned", VELA_SIGN=command)

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
                            "boost": "Boost Software License - Version 1.0", "cli11": "CLI11",
                            "nlohmann-json3": "Niels Lohmann"}.items():
            self.assertIn(words, self.files["licences/%s.txt" % name].decode())
        told = {package["name"] for package in self.document["packages"][1:]}
        texts = {pathlib.PurePath(name).stem for name in self.files if re.match(r"licences/[^/]*\.txt$", name)}
        self.assertEqual(told, texts - {"contents"})
        for name, data in self.files.items():
            if name.startswith("licences/"):
                for common in re.findall(rb"/usr/share/common-licenses/([\w.+-]*\w)", data):
                    self.assertIn("licences/common/%s.txt" % common.decode(), self.files)

    def test_targets_of_links_are_in_the_package(self):
        read = {page.resolve(): Page(page.read_text(encoding="utf-8")) for page in self.unpacked.rglob("*.html")}
        for page, facts in read.items():
            self.assertEqual([name for name in facts.links if ".md" in name], [], page.name)
            self.assertNotIn(".md</a>", page.read_text(encoding="utf-8"), page.name)
            for target in facts.links:
                path, _, anchor = target.partition("#")
                file = (page.parent / path).resolve() if path else page
                self.assertTrue(file.is_file(), "%s in %s" % (target, page.name))
                self.assertTrue(not anchor or anchor in read[file].anchors, "%s in %s" % (target, page.name))

    def test_pictures_are_drawn(self):
        drawn = {name: data.decode() for name, data in self.files.items() if name.endswith(".svg")}
        self.assertEqual(len(drawn), sum((ROOT / name).read_text(encoding="utf-8").count("```mermaid")
                                         for name in pages.PAGES))
        for name in pages.PAGES:
            self.assertNotIn("flowchart", self.files[name.replace(".md", ".html")].decode())
        self.assertIn("VELA setup", drawn["docs/deploy-1.svg"])

    def test_pictures_that_cannot_be_drawn(self):
        good = 'flowchart LR\n  accTitle: A title\n  a["C:\\x<br/>y"]\n  b["z"]\n  a -.->|"-e"| b\n  a --> b\n'
        title, dot = pages.dot_of(good)
        self.assertEqual(title, "A title")
        self.assertIn('a [label="C:\\\\x\\ny"]', dot)
        self.assertIn('a -> b [style=dashed, label=" -e "]', dot)
        for bad in (good.replace("accTitle: A title", ""), good + "subgraph c\n", good + "a ==> b\n"):
            self.assertRaises(pages.PageError, pages.dot_of, bad)

    def test_pages_that_cannot_be_in_it(self):
        self.assertRaises(pages.PageError, pages.as_html, "docs/a.md", "# A\n\n[b](testing.md)\n")
        whole = (ROOT / "README.md").read_text(encoding="utf-8")
        for bad in (whole.replace("<!-- of all -->", ""), whole.replace(pages.NOT_SIGNED, "")):
            self.assertRaises(pages.PageError, pages.first_page, bad, "", False)

    def test_no_file_names_this_machine(self):
        words = {str(ROOT), str(BUILD), socket.gethostname()} - {"localhost"}
        for name, data in self.files.items():
            for word in words:
                # A short word can be in any program by chance.
                self.assertFalse(len(word) > 8 and word.encode() in data, "%s in %s" % (word, name))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
