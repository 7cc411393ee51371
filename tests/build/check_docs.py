#!/usr/bin/env python3
"""check_docs.py <repository>: the pages for people agree with the repository.

Links and anchors have targets. Named files, folders and presets exist. The table of switches, the exit codes, the
registry keys and the events are those of the sources. The picture is that of cmake/Floors.cmake. Each mail client is
in README.md, docs/reference.md and deploy/common.cmd.
"""
import fnmatch
import json
import pathlib
import re
import sys

sys.dont_write_bytecode = True
import check_floors  # noqa: E402

PAGES = ["README.md", "docs/*.md"]
# A file name that the pages invent, to show how to add a file.
MADE_UP = "LetterboxPlugin"

CODE_BLOCK = re.compile(r"^ *```.*?^ *```", re.M | re.S)
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
NAMED_FILE = re.compile(r"`([\w./*{},-]+\.(?:\{[\w,]+\}|h|cpp|sh|py|ps1|cmake|md|json|manifest|txt))(?::\d+)?`")
SCRIPT = re.compile(r"(?<![\w/])(?:\./)?(scripts/[\w./-]+\.(?:sh|ps1|py))")
SOURCE = re.compile(r"(?<![\w/\\.-])((?:%s)/\w+(?:/\w+)?)\b(?![/\\])" % "|".join(check_floors.FOLDERS))
WIDE_TEXT = re.compile(r'L"((?:[^"\\]|\\.)*)"')
BOX = re.compile(r'(\w+)\["([^"]*)"\]')
ARROW = re.compile(r"^ *(\w+) --> (.+)$", re.M)

NUMBERS = ("no one two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen sixteen "
           "seventeen eighteen nineteen twenty").split()


def read(path):
    return path.read_text(encoding="utf-8")


def pages_of(root):
    return sorted(page for pattern in PAGES for page in root.glob(pattern))


def anchors_in(text):
    """The anchors of a page's headings, as the usual renderers of Markdown make them, and those that it has itself."""
    anchors = set(re.findall(r'^<a id="([^"]*)"></a>$', text, re.M))
    for heading in re.findall(r"^#+ +(.*?) *$", CODE_BLOCK.sub("", text), re.M):
        plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()
        anchors.add(re.sub(r"[^\w\- ]", "", plain).replace(" ", "-"))
    return anchors


def link_faults(page, text):
    faults = []
    for target in LINK.findall(CODE_BLOCK.sub("", text)):
        if re.match(r"[a-z]+:", target):
            continue
        path, _, anchor = target.partition("#")
        file = page if not path else page.parent / path
        if not file.exists():
            faults.append("the target of the link %s does not exist" % target)
        elif anchor and anchor not in anchors_in(read(file)):
            faults.append("the heading of the link %s does not exist" % target)
    return faults


def spread(name):
    """`a.{h,cpp}` -> a.h, a.cpp"""
    match = re.match(r"(.*)\{([\w,]+)\}(.*)", name)
    return [match[1] + part + match[3] for part in match[2].split(",")] if match else [name]


def name_faults(text, files):
    """Files by their path from the root, or by their name alone if it is enough."""
    faults = []
    names = {name for found in NAMED_FILE.findall(text) for name in spread(found)} | set(SCRIPT.findall(text))
    for name in sorted(names):
        if MADE_UP in name or name.startswith("build/"):
            continue
        name = name.removeprefix("./")
        if not any(fnmatch.fnmatchcase(file if "/" in name else file.rpartition("/")[2], name) for file in files):
            faults.append("there is no file %s" % name)
    folders = {str(parent) for file in files for parent in pathlib.PurePosixPath(file).parents}
    for name in sorted(set(SOURCE.findall(text))):
        if MADE_UP not in name and name not in folders and not any(
                name + end in files for end in (".h", ".cpp", ".txt", ".rc.in")):
            faults.append("there is no source file %s" % name)
    return faults


def commands_of(root):
    table = re.search(r"kCommands\[\] = \{(.*?)\n\};", read(root / "cli/CommandDispatcher.cpp"), re.S)[1]
    return set(re.findall(r'\{L"(-\w)"', table))


def row_of(text, name):
    row = re.search(r"^\| `%s` \|(.*)\|$" % re.escape(name), text, re.M)
    return row[1] if row else None


def command_faults(root):
    readme, reference = read(root / "README.md"), read(root / "docs/reference.md")
    faults = []
    commands = commands_of(root)
    for command in sorted(commands):
        if row_of(readme, command) is None:
            faults.append("README.md: the table of switches has no row for %s" % command)
        if not re.search(r"^\*\*`%s` \w+\*\*" % re.escape(command), reference, re.M):
            faults.append("docs/reference.md: %s is not described" % command)
    for command in sorted(set(re.findall(r"^\| `(-\w)` \|", readme, re.M)) - commands):
        faults.append("README.md: %s is not a command" % command)
    code, broken_off = (
        re.search(name + r" = static_cast<int>\((0x\w+)U\)", read(root / header))[1]
        for name, header in (("kSwitchNotStored", "install/InstallCommand.h"), ("kBrokenOff", "cli/CommandDispatcher.h")))
    forms = [form for one in (code, broken_off) for form in (one, str(int(one, 16) - (1 << 32)))]
    for name, text in (("README.md", readme), ("docs/reference.md", reference)):
        for form in forms:
            if form not in text:
                faults.append("%s: the exit code %s is missing" % (name, form))
    told = row_of(readme, "-I") or ""
    if code not in told:
        faults.append("README.md: the row of -I lacks its exit code")
    for command in ("-p", "-r"):
        if " 1 where" not in (row_of(readme, command) or ""):
            faults.append("README.md: the row of %s does not say when it returns 1" % command)
    return faults


def preset_faults(root):
    table = {name for cell in re.findall(r"^\| (`[a-z0-9`, -]+`) \|", read(root / "README.md"), re.M)
             for name in re.findall(r"`([a-z][a-z0-9-]*)`", cell)}
    presets = json.loads(read(root / "CMakePresets.json"))["configurePresets"]
    real = {preset["name"] for preset in presets if not preset.get("hidden")}
    return ["preset %s is not in both README.md and CMakePresets.json" % name for name in sorted(table ^ real)]


def place_faults(root):
    """Registry keys and events of the product that docs/reference.md does not name."""
    told = read(root / "docs/reference.md").lower()
    faults = []
    for folder in check_floors.FOLDERS:
        for source in sorted((root / folder).rglob("*")):
            if source.suffix not in (".h", ".cpp"):
                continue
            for text in WIDE_TEXT.findall(read(source)):
                place = text.replace("\\\\", "\\").rstrip("\\").lower()
                if place.startswith("global\\vela"):  # one line describes three: the name, then endings
                    place = "_" + place.rpartition("_")[2]
                elif not place.startswith(("software\\", "global\\")):
                    continue
                if place not in told:
                    name = source.relative_to(root).as_posix()
                    faults.append("docs/reference.md: %s, used in %s, is missing" % (text, name))
    return faults


def client_faults(root):
    """Mail clients of the product that a page or the command files leave out."""
    rows = re.findall(r'\{MailClient::k\w+, L"(\w+)", L"(\w+)", L"(\w+)", (\w+), ',
                      read(root / "settings/MailClients.h"))
    names = re.findall(r'L"(?:MS Office )?([\w ]+) is running during installing !"',
                       read(root / "plugins/ClientRegistration.cpp"))
    wanted = {"README.md": list(names), "docs/reference.md": list(names), "deploy/common.cmd": []}
    for short, process, process_on_60, run_value in rows:
        wanted["docs/reference.md"] += ["VELA_%s.ini" % short, "%s_DELAY_INST" % short, "_%s`" % short,
                                        "`%s`" % process, "`%s`" % process_on_60]
        wanted["deploy/common.cmd"] += ["VELA_%s.ini" % short, "VELA_%s\\%%%%M" % short, " %%1\\VELA_%s" % short]
        if run_value != "nullptr":
            wanted["docs/reference.md"] += ["VELA_%sMon.exe" % short]
            wanted["deploy/common.cmd"] += ["VELA_%sMon.exe" % short, '"%%run_key%%" /v %s ' % short]
    faults = [] if len(rows) == len(names) > 0 else ["settings/MailClients.h: %d clients, and %d names in "
                                                     "plugins/ClientRegistration.cpp" % (len(rows), len(names))]
    for name, texts in wanted.items():
        told = re.sub(r"\s+", " ", read(root / name))
        faults += ["%s: of a mail client, %s is missing" % (name, text.strip()) for text in dict.fromkeys(texts)
                   if text not in told]
    folders = " ".join(short for short, *_ in rows)  # that an uninstallation deletes, in every list of them
    lists = re.findall(r"in \(([^)]*) VELA_common\)", read(root / "deploy/common.cmd"))
    return faults + ["deploy/common.cmd: (%s VELA_common) lacks one of %s" % (found, folders) for found in lists
                     if found != folders]


def step_faults(root):
    """Mail clients that the steps of a command or the rules of detection leave out, and a wrong number of modules."""
    ended = dict(re.findall(r'\{MailClient::k\w+, L"(\w+)", .*, (\w+)\}', read(root / "settings/MailClients.h")))
    steps = read(root / "docs/reference.md").split("## What each command does, in order")[-1].split("\n## ")[0]
    faults = []
    for part in re.split(r"\n(?=\*\*`-)", steps):
        told = set(ended) & set(re.findall(r"\w+", part))
        if told:
            faults += ["docs/reference.md: the steps of %s lack %s" % (part.split()[0], short)
                       for short in sorted(set(ended) - told)]
    detection = read(root / "docs/deploy.md").split("\n## Detection")[-1].split("\n## ")[0]
    faults += ["docs/deploy.md: no rule of detection looks for VELA_%sA.dll" % short
               for short in ended if ended[short] == "false" and "VELA_%sA.dll`" % short not in detection]
    rows = re.findall(r'\{(L"[^}]*\.dll")\}', read(root / "tests/support/Clients.h"))
    number = NUMBERS[sum(row.count(".dll") for row in rows)]
    return faults + (["docs/reference.md: the steps do not say (%s modules)" % number]
                     if "(%s modules)" % number not in steps else [])


def picture_faults(root):
    """Each library is a box that names its files (* for any text), and the arrows are what the libraries use."""
    page = read(root / "docs/architecture.md")
    picture = re.search(r"```mermaid\nflowchart(.*?)```", page, re.S)
    if picture is None:
        return ["docs/architecture.md: no flowchart"]
    libraries = check_floors.libraries_of(root)
    boxes = dict(BOX.findall(picture[1]))
    faults = []
    for name, library in libraries.items():
        faults += ["docs/architecture.md: the box %s lacks %s" % (name, file) for file in library.files
                   if not any(fnmatch.fnmatchcase(file.rpartition("/")[2].rpartition("_")[2], drawn)
                              for drawn in re.findall(r"[\w*]+", boxes.get(name, "")))]
    drawn = {(start, end) for start, ends in ARROW.findall(picture[1]) for end in ends.split(" & ")}
    real = {(name, used) for name, library in libraries.items() for used in library.uses}
    return (faults +
            ["docs/architecture.md: cmake/Floors.cmake lacks %s --> %s" % arrow for arrow in sorted(drawn - real)] +
            ["docs/architecture.md: the flowchart lacks %s --> %s" % arrow for arrow in sorted(real - drawn)])


def silent_faults(root):
    """What the tests allow a log not to show is on the list for administrators, for the same commands."""
    listed = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", read(root / "docs/messages/head.md"))
    checks = read(root / "tests/faults/VerdictChecks.cpp")
    texts = {name: "".join(re.findall(r'"([^"]*)"', text)).replace("\\\\", "\\")
             for name, text in re.findall(r'^constexpr char (k\w+)\[\] =((?:\s*"[^"]*")+);', checks, re.M)}
    rows = re.findall(r'^    \{"([^"]*)", [^}]*?(k\w+)\},$', checks, re.M)
    faults = ["VerdictChecks.cpp: no row has the reason %s" % name for name in set(texts) - {name for _, name in rows}]
    for commands, name in rows:
        found = [row for row in listed.splitlines() if row.startswith("|") and texts[name] in row]
        if not any(set(commands.split()) <= set(re.findall(r"-\w", row.split("|")[1])) for row in found):
            faults.append("docs/messages/head.md does not list for %s: %s" % (commands, texts[name]))
    return faults


def json_faults(root):
    """docs/log.md lists the fields of VELAlog.exe --json."""
    code = read(root / "logreader/Report.cpp")
    fields = set(re.findall(r'(?<!= )\{"(\w+)", |json\["(\w+)"\]|"(runs)', code))
    written = {name for names in fields for name in names if name}
    section = read(root / "docs/log.md").split("## VELAlog.exe --json")[-1]
    listed = {name for row in section.splitlines() if row.startswith("|")
              for name in re.findall(r"`(\w+)`", row.split("|")[2])}
    return ["docs/log.md: --json has a field %s in only one of code and page" % name
            for name in sorted(written ^ listed)]


def version_faults(root):
    built = re.search(r"project\(\w+ VERSION ([\d.]+)", read(root / "CMakeLists.txt"))[1]
    other = json.loads(read(root / "vcpkg.json"))["version-string"]
    return [] if built == other else ["vcpkg.json says version %s, CMakeLists.txt %s" % (other, built)]


def files_of(root):
    left_out = ("build", ".git")
    return {path.relative_to(root).as_posix() for path in root.rglob("*")
            if path.is_file() and not path.relative_to(root).parts[0].startswith(left_out)}


def faults_in(root):
    files = files_of(root)
    faults = []
    for page in pages_of(root):
        text = read(page)
        name = page.relative_to(root).as_posix()
        faults += ["%s: %s" % (name, fault) for fault in link_faults(page, text) + name_faults(text, files)]
    return faults + (command_faults(root) + preset_faults(root) + place_faults(root) + client_faults(root) +
                     step_faults(root) +
                     picture_faults(root) + version_faults(root) + silent_faults(root) +
                     json_faults(root))


def main():
    faults = faults_in(pathlib.Path(sys.argv[1]))
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
