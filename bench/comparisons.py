"""The comparisons: the program and its steps with Windows' own tools."""
import os
import pathlib
import shutil
import subprocess
from collections.abc import Callable

import counts
import trees
from machine import Machine, Program, batch
from rounds import Arm, Comparison, run_arm

CMD = rf"{counts.SYSTEM}\cmd.exe"
LOOK_UPS = 100
TREES = {"ours": "Orvane Labs/VELA", "peer": "Orvane_Labs/VELA"}  # Wine 10's xcopy takes no path with a blank
# Like the program's copy: with empty folders, hidden files and attributes, over read-only files, and without questions.
XCOPY = rf"{counts.SYSTEM}\xcopy.exe {{}} /E /I /H /K /R /Y /Q"


class Workplace:
    """The machine with the sources on its drive S:, and the actions of the comparisons on its drive C:."""

    def __init__(self, machine: Machine, sources: pathlib.Path, shapes: list[trees.Shape]):
        self.machine = machine
        self.sources = sources
        self.aside = machine.drive / "aside"
        self.log = machine.drive / "windows/temp/QRTX_Debug/vela.log"
        self.staged = {shape.name: trees.staged(sources / shape.name) for shape in shapes}
        machine.require(counts.SET_VALUE)
        machine.require(counts.STATUS)  # from here on, the log's folder exists
        self._write_batches(shapes)

    def _write_batches(self, shapes: list[trees.Shape]) -> None:
        r"""xcopy.<shape>.bat and xcopy_newer.<shape>.bat copy what the program stages to C:\peer.<shape>, a line for
        each folder and file. register.bat and unregister.bat have a line for each module."""
        batches = {name: [rf'{counts.SYSTEM}\regsvr32.exe {switches} "C:\modules\{module}"' for module in trees.MODULES]
                   for name, switches in (("register", "/s"), ("unregister", "/u /s"))}
        pairs = [*trees.STAGED, *((f"Resource/common/{name}", target + "/") for name, target in trees.STAGED_INI_FILES)]
        for shape in shapes:
            place = f"C:/peer.{shape.name}/{TREES['peer']}"
            paths = [f"S:/{shape.name}/{source} {place}/{target}" for source, target in pairs]
            lines = [XCOPY.format(pair.replace("/", "\\")) for pair in paths]
            batches |= {f"xcopy.{shape.name}": lines, f"xcopy_newer.{shape.name}": [line + " /D" for line in lines]}
        for name, lines in batches.items():
            self.machine.drive.joinpath(f"bench/{name}.bat").write_text(
                "\r\n".join(["@echo off", *lines, ""]), encoding="ascii", newline="")

    # ---- staging

    def product_folder(self, who: str, shape: trees.Shape) -> pathlib.Path:
        return self.machine.drive / f"{who}.{shape.name}" / TREES[who]

    def remove(self, who: str, shape: trees.Shape) -> None:
        """An empty folder to copy into. Its old contents are only moved aside: for each new file ext4 passes over the
        inodes that were freed within the last seconds, and the next arm would pay for that."""
        folder = self.machine.drive / f"{who}.{shape.name}"
        if folder.exists():
            self.aside.mkdir(exist_ok=True)
            folder.rename(self.aside / str(len(os.listdir(self.aside))))
        folder.mkdir()

    def clear_away(self) -> None:
        """Between comparisons: deletes what was moved aside."""
        shutil.rmtree(self.aside, ignore_errors=True)

    def is_staged(self, who: str, shape: trees.Shape) -> bool:
        return trees.files_below(self.product_folder(who, shape)) == self.staged[shape.name]

    def outdate(self, who: str, shape: trees.Shape) -> None:
        """Puts one staged file back to an older state. An arm that works brings it up to date."""
        name = next(iter(self.staged[shape.name]))
        path = self.product_folder(who, shape) / name
        path.write_bytes(b"older")
        subprocess.run(["touch", "-d", "2001-01-01 00:00:00Z", path], check=True)

    def is_renewed(self, who: str, shape: trees.Shape) -> bool:
        name = next(iter(self.staged[shape.name]))
        return (self.product_folder(who, shape) / name).stat().st_size == self.staged[shape.name][name]

    def upgrade(self, shape: trees.Shape) -> Program:
        return Program(counts.PROGRAM, rf"-p S:\{shape.name} C:\ours.{shape.name}")

    def stage(self, who: str, shape: trees.Shape) -> None:
        """The initial state of "unchanged"."""
        run_arm(self.machine, self.copy(who, shape, True))

    def copy(self, who: str, shape: trees.Shape, first: bool, units: int = 1, name: str = "") -> Arm:
        if who == "ours":
            program, exit_codes = self.upgrade(shape), (1,)  # 1: every running client, of which there is none, was told
        else:
            program, exit_codes = batch(rf"C:\bench\xcopy{'' if first else '_newer'}.{shape.name}.bat"), (0,)
        name = name or ("`-p`" if who == "ours" else "`xcopy`" if first else "`xcopy /D`")
        prepare, did_it = (self.remove, self.is_staged) if first else (self.outdate, self.is_renewed)
        return Arm(name, program, lambda: prepare(who, shape), lambda: did_it(who, shape), exit_codes, units)

    # ---- the log

    def logged(self, shape: trees.Shape, can: bool) -> Arm:
        """The log is a new file; or it cannot be opened, since a folder has its name."""
        def prepare() -> None:
            self.log.unlink(missing_ok=True)
            if not can:
                self.log.mkdir()
            self.outdate("ours", shape)

        def did_it() -> bool:
            staged = len(self.staged[shape.name]) - len(trees.STAGED_INI_FILES)  # those are copied without a log line
            logged = not can or self.log.read_bytes().count(b"successed.") == staged
            if not can:
                self.log.rmdir()
            return logged and self.is_renewed("ours", shape)
        return Arm("log written" if can else "log that cannot be opened", self.upgrade(shape), prepare, did_it, (1,))

    # ---- deletion

    def delete(self, who: str, shape: trees.Shape) -> Arm:
        folder = self.machine.drive / f"delete.{who}"

        # What an uninstallation deletes: the product's folder. Hard links, since the disk would still write copies.
        def prepare() -> None:
            subprocess.run(["cp", "-rl", self.product_folder("ours", shape), folder], check=True)
        name, program = (("delete", Program(counts.STEPS, rf"delete C:\{folder.name}")) if who == "ours" else
                         ("`rmdir /s /q`", Program(CMD, rf"/d /c rmdir /s /q C:\{folder.name}")))
        return Arm(name, program, prepare, lambda: not folder.exists())

    # ---- registration

    def place_modules(self) -> None:
        folder = self.machine.drive / "modules"
        folder.mkdir()
        for name in trees.MODULES:
            shutil.copy2(self.machine.build / "tests/fixtures/ComModule.dll", folder / name)
        self.machine.require(batch(r"C:\bench\register.bat"))  # one that is not registered cannot be unregistered

    def unregister(self) -> None:
        self.machine.require(batch(r"C:\bench\unregister.bat"))
        self.machine.require(Program(r"C:\bench\ClassProbe.exe"), len(trees.MODULES))  # none can be created

    def registered(self) -> bool:
        return self.machine.run(Program(r"C:\bench\ClassProbe.exe")).exit_code == 0

    def register(self, who: str) -> Arm:
        if who == "ours":
            return Arm("register", Program(counts.STEPS, r"register C:\modules"), self.unregister, self.registered)
        return Arm("`regsvr32 /s`", batch(r"C:\bench\register.bat"), self.unregister, self.registered)


def comparisons(place: Workplace, quick: bool) -> list[Comparison]:
    small, typical, large = trees.SMALL, trees.TYPICAL, trees.LARGE
    # Many rounds if a run is short or near its limit, few if it writes or reads much.
    few, more, many = (5, 11, 41) if quick else (11, 41, 121)

    def pair(what: str, limit: float, rounds: int, arm: Callable[..., Arm], *arguments: object) -> Comparison:
        return Comparison(what, limit, arm("ours", *arguments), arm("peer", *arguments), rounds)
    for shape in (small, typical) if quick else (small, typical, large):
        place.stage("ours", shape)
        if shape is not large:
            place.stage("peer", shape)
    place.place_modules()
    rows = [
        Comparison("status (`-s`)", 1.20, Arm("`-s`", counts.STATUS), Arm("a bare program", counts.BARE), many),
        pair("upgrade (`-p`), typical, first copy", 0.70, few, place.copy, typical, True),
        pair("upgrade (`-p`), small, unchanged", 0.22, more, place.copy, small, False),
        pair("upgrade (`-p`), typical, unchanged", 0.48, more, place.copy, typical, False),
        pair("ten modules registered", 0.95, more, place.register),
        pair("delete, small", 0.45, more, place.delete, small),
        pair("delete, typical", 0.25, more, place.delete, typical),
        Comparison("upgrade (`-p`), typical, unchanged, log written", 1.05, place.logged(typical, True),
                   place.logged(typical, False), many),
        Comparison("look-up of a process", 1.05, Arm("look-up", Program(counts.STEPS, f"lookup {LOOK_UPS}")),
                   Arm("a bare snapshot", Program(counts.STEPS, f"snapshot {LOOK_UPS}")), more),
    ]
    return rows if quick else rows + [
        pair("delete, large", 0.15, few, place.delete, large),
        Comparison("time per file, unchanged, large", 1.10,
                   place.copy("ours", large, False, len(place.staged["large"]), "`-p`, large"),
                   place.copy("ours", typical, False, len(place.staged["typical"]), "typical"), few),
    ]


def peak_memory(place: Workplace, shape: trees.Shape, runs: int) -> list[int]:
    arm, peaks = place.copy("ours", shape, False), []
    for _ in range(runs):
        arm.prepare()
        result, peak = place.machine.peak_memory(arm.program)
        arm.check(result)
        peaks.append(peak)
    return peaks


def whole_runs(build: pathlib.Path, sources: pathlib.Path) -> dict[str, int]:
    """The requests of whole runs: they explain the ratios of deletion and registration."""
    shapes = [trees.SMALL, trees.TYPICAL]
    with Machine(build, build / "tests/prefix.runs", traced=True, sources=sources) as machine:
        place = Workplace(machine, sources, shapes)

        def count(arm: Arm) -> int:
            run_arm(machine, arm)  # the first run on a machine makes keys and folders that stay
            arm.prepare()
            result, requests = machine.run_counting(arm.program)
            arm.check(result)
            return requests
        found = {"bare": count(Arm("a bare program", counts.BARE)),
                 "interpreter": count(Arm("the command interpreter", Program(CMD, "/d /c rem")))}
        for shape in shapes:
            place.stage("ours", shape)
            folder = place.product_folder("ours", shape)
            found[f"entries_{shape.name}"] = sum(len(folders) + len(files) for _, folders, files in os.walk(folder))
            for who in TREES:
                found[f"delete_{shape.name}_{who}"] = count(place.delete(who, shape))
        place.place_modules()
        for who in TREES:
            found[f"register_{who}"] = count(place.register(who))
        return found
