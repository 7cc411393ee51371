#!/usr/bin/env python3
"""check_floors.py <repository>: holds every include of the product to the floors of docs/architecture.md.

A file may include files of lower floors, and files of its own floor in its own folder, but never in a circle. A source
file that has no floor is a fault as well: a new file gets its line in FLOORS together with its place in the picture.
"""
import pathlib
import re
import sys

# A header and its source share one floor; the name stands without its ending.
FLOORS = {
    "cli/Main": 8,
    "cli/CommandDispatcher": 7,
    "settings/StatusCommands": 6,
    "install/InstallCommand": 6,
    "install/UpgradeCommand": 6,
    "uninstall/UninstallCommand": 6,
    "notify/ReloadNotification": 6,
    "activation/AntiSpamSwitch": 5,
    "activation/ClientActivation": 5,
    "activation/MonitorLaunch": 4,
    "activation/UserDataTree": 4,
    "install/Staging": 4,
    "plugins/ClientRegistration": 4,
    "plugins/OutlookAddin": 4,
    "plugins/OutlookAddinRemoval": 4,
    "plugins/OutlookExpressPlugin": 4,
    "plugins/WindowsLiveMailPlugin": 4,
    "uninstall/FolderRemoval": 4,
    "activation/ConsoleUser": 3,
    "install/DataFolder": 3,
    "install/FileCopy": 3,
    "install/FolderListing": 3,
    "install/OutlookDetection": 3,
    "plugins/ComModuleRunner": 3,
    "plugins/UserHives": 3,
    "settings/ProductSettings": 3,
    "cli/RunLog": 2,
    "settings/CommandLineFolders": 2,
    "settings/MailClients": 2,
    "settings/ProductFolders": 2,
}
# Folders that lie on one floor as a whole.
FOLDER_FLOORS = {"Common/FrwkCommon": 1, "Common/OrCommon": 0}

FOLDERS = ["Common", "activation", "cli", "install", "notify", "plugins", "settings", "uninstall"]
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def floor_of(name):
    folder = name.rpartition("/")[0]
    return FLOORS.get(name, FOLDER_FLOORS.get(folder))


def without_ending(path):
    return path.rpartition(".")[0]


def find_circle(graph):
    """The files of one circle, the first one repeated at the end, or None."""
    done, path = set(), []

    def visit(node):
        if node in path:
            return path[path.index(node):] + [node]
        if node in done:
            return None
        path.append(node)
        for target in sorted(graph.get(node, ())):
            circle = visit(target)
            if circle:
                return circle
        path.pop()
        done.add(node)
        return None

    for start in sorted(graph):
        circle = visit(start)
        if circle:
            return circle
    return None


def faults_in(root):
    root = pathlib.Path(root)
    faults, graph, seen = [], {}, set()
    files = sorted(p for folder in FOLDERS for p in (root / folder).rglob("*") if p.suffix in (".h", ".cpp"))
    if not files:
        return ["no source files below %s" % root]
    for path in files:
        name = path.relative_to(root).as_posix()
        own = without_ending(name)
        seen.add(own)
        own_floor = floor_of(own)
        if own_floor is None:
            faults.append("%s has no floor" % name)
            continue
        targets = graph.setdefault(own, set())
        for included in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if not (root / included).is_file():
                faults.append("%s includes %s, which is not there from the root of the repository" % (name, included))
                continue
            target = without_ending(included)
            if target == own:
                continue
            floor = floor_of(target)
            targets.add(target)
            if floor is None:
                faults.append("%s includes %s, which has no floor" % (name, included))
            elif floor > own_floor:
                faults.append("%s (floor %d) includes %s above it (%d)" % (name, own_floor, included, floor))
            elif floor == own_floor and included.rpartition("/")[0] != name.rpartition("/")[0]:
                faults.append("%s includes %s, on its own floor %d in another folder" % (name, included, floor))
    circle = find_circle(graph)
    if circle:
        faults.append("a circle: " + " -> ".join(circle))
    faults.extend("%s has a floor and no file" % name for name in FLOORS if name not in seen)
    return faults


def main():
    faults = faults_in(sys.argv[1])
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
