#!/usr/bin/env python3
"""What a run changed, for people to read.

changes.py registry <folder before> <folder after>   what SaveRegistry.exe wrote into the two folders
changes.py files <list before> <list after>          lines "<size> <time> <path>", as find prints them;
                                                     "- - <path>/" for a folder
"""
import pathlib
import re
import sys


def unescape(text):
    """Wine writes \\\\ for a backslash, \\" for a quote, \\0 for a NUL and \\x1234 for any other character."""
    def one(match):
        code = match.group(1)
        return chr(int(code[1:], 16)) if code.startswith("x") else {"0": "\0", "n": "\n", "r": "\r"}.get(code, code)
    return re.sub(r"\\(x[0-9a-fA-F]{1,4}|.)", one, text)


def readable(data):
    if data.startswith("dword:"):
        number = int(data[6:], 16)
        return f"{number}" if number < 10 else f"{number} (0x{number:x})"
    match = re.fullmatch(r'(?:str\((?:2|7)\):)?"(.*)"', data, re.S)
    if match:
        return '"' + unescape(match.group(1)).replace("\0", "|") + '"'
    return data if len(data) <= 80 else data[:77] + "..."


def read_branch(path):
    """(key, value name) -> data. A key without values stands there with the name None."""
    values = {}
    key = None
    text = re.sub(r"\\\n\s*", "", path.read_text(encoding="latin-1"))
    for line in text.split("\n"):
        if line.startswith("["):
            key = unescape(line[1:line.rindex("]")])
            values[key, None] = ""
        elif key is not None and (match := re.match(r'(@|"(?:[^"\\]|\\.)*")=(.*)', line)):
            name = "(default)" if match.group(1) == "@" else unescape(match.group(1)[1:-1])
            values[key, name] = match.group(2)
    return values


def place(root, key):
    """Where a 64-bit reader of the registry finds a key: (root and view, path)."""
    parts = key.split("\\")
    kept = [part for part in parts if part.lower() != "wow6432node"]
    if root == "HKEY_USERS":
        return f"{root}\\{parts[0]}", "\\".join(kept[1:])
    return f"{root}, {'64' if len(kept) == len(parts) else '32'}-bit view", "\\".join(kept)


def has_key(values, key):
    """Of the keys without values, Wine lists those that have no subkeys either."""
    return any(other == key or other.startswith(key + "\\") for other, _ in values)


# Wine notes here, whenever it likes, which displays it found; Wine 10 its other devices, too.
NOISE = re.compile(r"System\\(CurrentControlSet|ControlSet001)\\(Control\\(Class|Video)|Enum)\\", re.I)


CLASS = re.compile(r"Software\\Classes\\(Wow6432Node\\)?CLSID\\(\{[^\\]+\})(\\.*)?$", re.I)


def classes_of(values):
    """Class id -> (program id, module) of the COM classes that live in a module."""
    found = {}
    for key, name in values:
        match = CLASS.match(key)
        if match and name == "(default)" and (match.group(3) or "").lower() == "\\inprocserver32":
            folder = key[:-len(match.group(3))]
            found[match.group(2)] = (readable(values.get((folder + "\\ProgID", name), '""')), readable(values[key, name]))
    return found


def com_classes(old, new):
    """Tells of COM classes in one line each; returns the beginnings of the keys that are told by it."""
    was, now = classes_of(old), classes_of(new)
    told = []
    for identity in sorted(was.keys() | now.keys()):
        if was.get(identity) == now.get(identity):
            continue
        program, module = now.get(identity) or was[identity]
        if not told:
            print("COM classes, 64-bit (below HKEY_LOCAL_MACHINE\\Software\\Classes)")
        print(f"  {'-' if identity not in now else '+' if identity not in was else '~'} {identity}  {program}  {module}")
        told += [f"Software\\Classes\\CLSID\\{identity}".lower(), f"Software\\Classes\\{program[1:-1]}".lower()]
    return told


def registry(before, after):
    lines = {}
    told = []
    for file, root in (("machine.txt", "HKEY_LOCAL_MACHINE"), ("users.txt", "HKEY_USERS")):
        old, new = read_branch(before / file), read_branch(after / file)
        told += com_classes(old, new)
        for key, name in sorted(old.keys() | new.keys(), key=lambda pair: (pair[0].lower(), pair[1] or "")):
            was, now = old.get((key, name)), new.get((key, name))
            if was == now or NOISE.match(key) or any((key.lower() + "\\").startswith(start + "\\") for start in told):
                continue
            if name is None:
                there, elsewhere = (new, old) if was is None else (old, new)
                # A key that comes or goes with values is told by them.
                if has_key(elsewhere, key) or any(other == key and value is not None for other, value in there):
                    continue
                text = "+ (key, empty)" if was is None else "- (key)"
            elif was is None:
                text = f"+ {name} = {readable(now)}"
            elif now is None:
                text = f"- {name}"
            else:
                text = f"~ {name} = {readable(now)}, was {readable(was)}"
            lines.setdefault(place(root, key), []).append(text)
    heading = None
    for (root, key), texts in sorted(lines.items()):
        if root != heading:
            print(root)
            heading = root
        print(f"  {key}")
        for text in texts:
            print(f"      {text}")
    if not lines and not told:
        print("nothing")


def read_list(path):
    files = {}
    for line in path.read_text(encoding="utf-8", errors="replace").splitlines():
        size, time, name = line.split(" ", 2)
        files[name] = (size, time)
    return files


def files(before, after):
    """The changes as a tree: a folder is named once, above what changed in it."""
    old, new = read_list(before), read_list(after)
    shown = []

    def show_folders(parts):
        """Names those folders on the way that the line before did not name."""
        common = 0
        while common < min(len(shown), len(parts)) and shown[common] == parts[common]:
            common += 1
        for depth in range(common, len(parts)):
            folder = "/".join(parts[:depth + 1]) + "/"
            mark = "+" if folder not in old else "-" if folder not in new else " "
            print(f"{mark} {'   ' * depth}{parts[depth]}\\")
        shown[:] = parts

    for name in sorted(old.keys() | new.keys(), key=lambda path: path.lower().split("/")):
        was, now = old.get(name), new.get(name)
        if was == now:
            continue
        parts = name.split("/")
        show_folders(parts[:-1])
        if parts[-1]:
            mark = "+" if was is None else "-" if now is None else "~"
            print(f"{mark} {'   ' * (len(parts) - 1)}{parts[-1]}   ({(now or was)[0]} bytes)")
    if old == new:
        print("nothing")


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ("registry", "files"):
        sys.exit(__doc__)
    report = registry if sys.argv[1] == "registry" else files
    report(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))


if __name__ == "__main__":
    main()
