#!/usr/bin/env python3
"""package.py <build folder> <output folder>: makes the release, <output folder>/VELAutil-<version>.zip.

In it: the programs, the command files, the pages for administrators (pages.py), the messages for other tools, the
changes, the licence texts of what is compiled into the programs, a list of contents (SPDX 2.3) and checksums. The build
says what is compiled in: the linker's maps name the libraries, Ninja's record the headers, and Debian's package data
their packages.

VELA_SIGN is a command that signs the file in its last argument. Without it, the programs are not signed.

The same sources, program and packages give the same bytes: entries are sorted and not compressed (compressors differ
between versions), their time is that of the commit (or SOURCE_DATE_EPOCH), and nothing names the machine.

Not by CPack: it compresses every zip, and writing the zip is ten lines of this script. The rest makes the licence texts
and the list of contents, which CPack cannot.
"""
import dataclasses
import datetime
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import uuid
import zipfile

sys.dont_write_bytecode = True
import pages  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = ["VELAutil.exe", "VELAlog.exe"]
COMMON_LICENSES = pathlib.Path("/usr/share/common-licenses")
# A copyright file that is longer than this is cut to the text about the used files.
LONGEST_TEXT = 256 * 1024
OLDEST_ZIP_TIME = 315532800  # 1980-01-01, where the time of zip files begins

# What the copyright files say about the used parts, as SPDX expressions; NOASSERTION for all others.
DECLARED = {"boost": "BSL-1.0", "cli11": "BSD-3-Clause", "gcc-mingw-w64": "GPL-3.0-or-later WITH GCC-exception-3.1",
            "nlohmann-json3": "MIT"}


@dataclasses.dataclass
class Component:
    """A Debian source package that is partly in the programs."""
    name: str
    version: str
    packages: set[str] = dataclasses.field(default_factory=set)
    files: set[str] = dataclasses.field(default_factory=set)
    programs: set[str] = dataclasses.field(default_factory=set)
    linked_to: set[str] = dataclasses.field(default_factory=set)  # the others have only its headers compiled in

    @property
    def text(self) -> str:
        """The licence."""
        texts = [pathlib.Path("/usr/share/doc", package, "copyright").read_text(encoding="utf-8")
                 for package in sorted(self.packages)]
        return "\n".join(dict.fromkeys(
            text if len(text) <= LONGEST_TEXT else about_files(text, self.files) for text in texts))


def output_of(*command: str) -> str:
    return subprocess.run(command, capture_output=True, check=True, text=True, env={**os.environ, "LC_ALL": "C"}).stdout


def version_of(build: pathlib.Path) -> str:
    cache = (build / "CMakeCache.txt").read_text(encoding="utf-8")
    match = re.search(r"^CMAKE_PROJECT_VERSION:STATIC=(\S+)$", cache, re.M)
    if match is None:
        sys.exit(f"package: {build} is not a configured build folder")
    return match[1]


def release_time() -> int:
    """Seconds since 1970."""
    given = os.environ.get("SOURCE_DATE_EPOCH") or subprocess.run(
        ["git", "-C", ROOT, "log", "-1", "--format=%ct"], capture_output=True, check=False, text=True).stdout
    return max(int(given or 0), OLDEST_ZIP_TIME)  # sources without their history have the oldest time


def linked_files(linker_map: str) -> set[str]:
    """The libraries that were linked at least in part, and the objects that every program gets."""
    members = linker_map.partition("Archive member included")[2].partition("\n\n\n")[0]
    return set(re.findall(r"^(/\S+?)\(\S+\)$", members, re.M)) | set(re.findall(r"^LOAD (/\S+\.o)$", linker_map, re.M))


def compiled_headers(record: str) -> dict[str, set[str]]:
    """Headers from outside the sources in Ninja's record of dependencies, by program, without those of tests."""
    headers: dict[str, set[str]] = {program: set() for program in PROGRAMS}
    for entry in record.split("\n\n"):
        if not entry.startswith("tests/"):
            program = PROGRAMS["logreader/" in entry.partition(":")[0]]
            headers[program] |= set(re.findall(r"^ +(/usr/.*)$", entry, re.M))
    return headers


def components_of(build: pathlib.Path) -> list[Component]:
    linked = {program: {os.path.realpath(file) for file in linked_files(
        (build / program).with_suffix(".map").read_text(encoding="utf-8"))} for program in PROGRAMS}
    headers = {program: set(map(os.path.realpath, files)) for program, files in compiled_headers(
        output_of("ninja", "-C", str(build), "-t", "deps")).items()}
    if not all(linked.values()) or not all(headers.values()):
        sys.exit("package: the build folder has no record of the parts of the programs; build them there first")
    used = sorted(set().union(*linked.values(), *headers.values()))
    owners = {}
    for line in output_of("dpkg", "-S", *used).splitlines():
        names, _, path = line.partition(": ")
        owners[path] = names.split(",")[0].partition(":")[0]
    told = output_of("dpkg-query", "-W", "-f", "${Package} ${source:Package} ${Version}\n", *sorted({*owners.values()}))
    facts = {package: (source, version) for package, source, version in map(str.split, told.splitlines())}
    components: dict[str, Component] = {}
    for file in used:
        source, version = facts[owners[file]]
        name = re.sub(r"^(boost)[\d.]+$", r"\1", source)
        component = components.setdefault(name, Component(name, version))
        component.packages.add(owners[file])
        component.files.add(file)
        component.linked_to |= {program for program in PROGRAMS if file in linked[program]}
        component.programs |= {program for program in PROGRAMS if file in linked[program] | headers[program]}
    return [components[name] for name in sorted(components)]


def about_files(text: str, files: set[str]) -> str:
    """A copyright file in Debian's format, cut to its head, these files, all files, and their licences."""
    paragraphs = re.split(r"\n\n+", text.strip())
    kept, licences = [re.sub(r"^Files-Excluded:\n( .*\n?)*", "", paragraphs[0], flags=re.M).strip()], set()
    for paragraph in paragraphs[1:]:
        about = re.match(r"Files:(.*?)\n(?=\w)(.*)", paragraph, re.S)
        # A header of the source package is one of the installed files.
        used = [name for name in about[1].split() if name == "*" or (
            "/include/" in name and any(file.endswith("/include/" + name.partition("/include/")[2]) for file in files)
        )] if about else []
        if used:
            kept.append("Files:\n" + "".join(f" {name}\n" for name in used) + about[2])
            licences |= set(re.findall(r"^License: (.*)$", paragraph, re.M))
    kept += [paragraph for paragraph in paragraphs
             if paragraph.partition("\n")[0] in {f"License: {licence}" for licence in licences}]
    return "\n\n".join(kept) + "\n"


def signed(program: pathlib.Path) -> bytes:
    """The program, signed if there is a certificate."""
    if "VELA_SIGN" not in os.environ:
        return program.read_bytes()
    with tempfile.TemporaryDirectory() as folder:
        copy = pathlib.Path(folder, program.name)
        copy.write_bytes(program.read_bytes())
        subprocess.run([*shlex.split(os.environ["VELA_SIGN"]), copy], check=True)
        if copy.read_bytes() == program.read_bytes():
            sys.exit(f"package: {os.environ['VELA_SIGN']} did not sign {program.name}")
        return copy.read_bytes()


def messages() -> bytes:
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "messages.json")
        subprocess.run([sys.executable, ROOT / "scripts/messages.py", "json", file], check=True)
        return file.read_bytes()


def windows_lines(text: str) -> bytes:
    return text.replace("\r\n", "\n").replace("\n", "\r\n").encode()


def contents_of(build: pathlib.Path, components: list[Component], said: str) -> dict[str, bytes]:
    files = {program: signed(build / program) for program in PROGRAMS}
    files["messages.json"] = messages()
    texts = {"CHANGES.txt": (ROOT / "CHANGES").read_text(encoding="utf-8")}
    for file in sorted((ROOT / "deploy").iterdir()):
        texts["deploy/" + file.name] = file.read_text(encoding="utf-8")
    for name in pages.PAGES:
        page = (ROOT / name).read_text(encoding="utf-8")
        texts |= pages.as_html(name, page if name != "README.md" else pages.first_page(
            page, said, "VELA_SIGN" in os.environ))
    texts["licences/contents.txt"] = "\n".join([
        "What is compiled into the programs, besides VELAutil and VELAlog themselves, and under which licence. The texts",
        "are those of the Debian packages that the programs were built with. This folder grants nothing for the",
        "programs themselves.", "",
        *(f"{component.name} {component.version} ({', '.join(sorted(component.programs))}): "
          f"licences/{component.name}.txt" for component in components), "",
        f"Where a text refers to {COMMON_LICENSES}, see licences/common.", ""])
    files |= {name: windows_lines(text) for name, text in texts.items()}
    for component in components:
        files[f"licences/{component.name}.txt"] = component.text.encode()
        for name in re.findall(str(COMMON_LICENSES) + r"/([\w.+-]*\w)", component.text):
            files[f"licences/common/{name}.txt"] = (COMMON_LICENSES / name).read_bytes()
    return files


def spdx_id(text: str) -> str:
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.]+", "-", text)


def list_of_contents(version: str, time: int, files: dict[str, bytes], components: list[Component],
                     left_out: list[str]) -> bytes:
    """The SPDX document."""
    sums = {name: hashlib.sha1(data).hexdigest() for name, data in files.items()}
    verification = hashlib.sha1("".join(sorted(sums.values())).encode()).hexdigest()
    unknown = {"licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION"}
    product = spdx_id("Package-VELAutil")
    packages = [{
        "SPDXID": product, "name": "VELAutil", "versionInfo": version, "downloadLocation": "NOASSERTION",
        "filesAnalyzed": True, "licenseDeclared": "NOASSERTION", "primaryPackagePurpose": "APPLICATION", **unknown,
        "packageVerificationCode": {
            "packageVerificationCodeValue": verification,
            "packageVerificationCodeExcludedFiles": ["./" + name for name in left_out]},
    }]
    relationships = [("SPDXRef-DOCUMENT", "DESCRIBES", product)]
    for component in components:
        packages.append({
            "SPDXID": spdx_id("Package-" + component.name), "name": component.name, "versionInfo": component.version, "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False, "licenseDeclared": DECLARED.get(component.name, "NOASSERTION"),
            "primaryPackagePurpose": "LIBRARY", **unknown,
            "comment": f"Debian's {', '.join(sorted(component.packages))}; terms: ./licences/{component.name}.txt",
        })
        for program in sorted(component.programs):
            kind = "STATIC_LINK" if program in component.linked_to else "DEPENDS_ON"
            relationships.append((spdx_id("File-" + program), kind, packages[-1]["SPDXID"]))
    entries = [{
        "SPDXID": spdx_id("File-" + name), "fileName": "./" + name, "licenseInfoInFiles": ["NOASSERTION"], **unknown,
        "fileTypes": ["BINARY" if name in PROGRAMS else "DOCUMENTATION" if name.endswith(".html") else "TEXT"],
        "checksums": [{"algorithm": "SHA1", "checksumValue": sums[name]},
                      {"algorithm": "SHA256", "checksumValue": hashlib.sha256(files[name]).hexdigest()}],
    } for name in sorted(files)]
    relationships += [(product, "CONTAINS", entry["SPDXID"]) for entry in entries]
    document = {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"VELAutil-{version}",
        # The same bytes always get the same name, without a registry.
        "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, f'VELAutil-{version}-{verification}-{time}')}",
        "creationInfo": {"created": f"{datetime.datetime.fromtimestamp(time, datetime.UTC):%Y-%m-%dT%H:%M:%SZ}",
                         "creators": [f"Tool: package.py-{version}"]},
        "packages": packages, "files": entries,
        "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
                          for one, kind, other in relationships],
    }
    return (json.dumps(document, indent=1, ensure_ascii=True) + "\n").encode()


def write_zip(path: pathlib.Path, folder: str, files: dict[str, bytes], time: int) -> None:
    moment = datetime.datetime.fromtimestamp(time, datetime.UTC)
    with zipfile.ZipFile(path, "w", zipfile.ZIP_STORED) as archive:
        for name in sorted(files):
            entry = zipfile.ZipInfo(f"{folder}/{name}", moment.timetuple()[:6])
            entry.create_system = 3  # Unix, on any system, so that the mode is used
            entry.external_attr = 0o100644 << 16
            archive.writestr(entry, files[name])


def main() -> None:
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    build, output = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    version, time = version_of(build), release_time()
    if "VELA_SIGN" not in os.environ:
        print("package: NOT SIGNED: there is no certificate (VELA_SIGN names no command)")
    components = components_of(build)
    zip_name = f"VELAutil-{version}.zip"
    spdx, sums = f"VELAutil-{version}.spdx.json", "SHA256SUMS"
    date = datetime.datetime.fromtimestamp(time, datetime.UTC)
    said = (f"**Version {version}, {date:%Y-%m-%d}.** To check the zip, compare what "
            f"`certutil -hashfile {zip_name} SHA256` prints with `{zip_name}.sha256`; on Linux: "
            f"`sha256sum -c {zip_name}.sha256`. A checksum from the same place proves only the transfer. "
            f"`CHANGES.txt` lists the changes, `{sums}` the checksum of each file, and `{spdx}` what the programs "
            "contain; the texts of its licences are in `licences`.")
    files = contents_of(build, components, said)
    files[spdx] = list_of_contents(version, time, files, components, [sums, spdx])
    files[sums] = "".join(f"{hashlib.sha256(files[name]).hexdigest()}  {name}\n" for name in sorted(files)).encode()
    output.mkdir(parents=True, exist_ok=True)
    path = output / zip_name
    write_zip(path, f"VELAutil-{version}", files, time)
    checksum = hashlib.sha256(path.read_bytes()).hexdigest()
    path.with_name(path.name + ".sha256").write_text(f"{checksum}  {path.name}\n", encoding="utf-8")
    print(f"{checksum}  {path.name}  {path.stat().st_size} bytes")


if __name__ == "__main__":
    try:
        main()
    except pages.PageError as error:
        sys.exit(f"package: {error}")
