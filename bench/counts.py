#!/usr/bin/env python3
"""counts.py <build folder>: the requests that the program makes to Wine's server, held to their limits.

They are what a run costs there, and unlike times they come out the same on any machine. What one file, or one entry,
costs is the difference between two sizes of the same run.
"""
import dataclasses
import os
import pathlib
import sys
from collections.abc import Callable

sys.dont_write_bytecode = True
from machine import Fault, Machine, Program  # noqa: E402

PRODUCT_KEY = r"HKLM\SOFTWARE\OrvaneLabs\BastionNTCorp\CurrentVersion\VELA"
SYSTEM = r"C:\windows\system32"
PROGRAM = r"C:\bench\VELAutil.exe"
STATUS = Program(PROGRAM, r"-s C:\source C:\dest")
READ_VALUE = Program(rf"{SYSTEM}\reg.exe", f"query {PRODUCT_KEY} /v VELAEnable /reg:32")
SET_VALUE = Program(rf"{SYSTEM}\reg.exe", f"add {PRODUCT_KEY} /v VELAEnable /t REG_DWORD /d 1 /f /reg:32")
SIZES = (20, 60)
WARM_UP = 3  # files; the first run on a machine makes keys and folders that stay

# The requests of one file or entry, by the version of Wine; one between two of these is held to the older one's.
WINE_10_ASKS = ("From Wine 10 on, setting a file's times or attributes is one request more: Wine asks its server for the "
                "file's name.")  # get_handle_unix_name: a first copy sets both, a deletion the attributes
REQUESTS = {
    "a file, first copy": {8: 12, 10: 14},
    "a file, unchanged": {8: 6},
    "a file, access list stamped": {8: 3},
    "an entry, deleted": {8: 5, 10: 6},
}
TOLERANCE = 0.1  # what is not of the files, divided by them


@dataclasses.dataclass(frozen=True)
class Count:
    what: str
    value: float
    limit: float
    note: str = ""

    @property
    def met(self) -> bool:
        return self.value <= self.limit


def limit_of(what: str, wine: int) -> float:
    by_version = REQUESTS[what]
    return by_version[max((version for version in by_version if version <= wine), default=min(by_version))] + TOLERANCE


def make_source(folder: pathlib.Path, files: int) -> None:
    """A source with that many files in one folder, which is staged once; and what else a run looks for."""
    for name in ("OL", "WLM", "OE", "Common/win32", "rule", "Resource/x64", "Resource/common"):
        (folder / name).mkdir(parents=True)
    for client in ("OL", "OE", "WLM"):
        (folder / f"Resource/common/VELA_{client}.ini").write_bytes(b"[VELA]\r\n")
    for index in range(files):
        (folder / f"OL/file{index:03}.dat").write_bytes(b"x" * 3000)


def count_files(folder: pathlib.Path) -> int:
    return sum(len(names) for _, _, names in os.walk(folder))


class Counter:
    def __init__(self, machine: Machine):
        self.machine = machine

    def _require(self, holds: bool, what: str) -> None:
        if not holds:
            raise Fault(f"{what}: it did not do what was counted")

    def _upgrade(self, files: int) -> Program:
        return Program(PROGRAM, rf"-p C:\source{files} C:\dest{files}")

    def prepare(self) -> None:
        self.machine.require(SET_VALUE)
        for files in (WARM_UP, *SIZES):
            make_source(self.machine.drive / f"source{files}", files)
            (self.machine.drive / f"dest{files}").mkdir()

    def first_copy(self, files: int) -> int:
        _, requests = self.machine.run_counting(self._upgrade(files))
        staged = self.machine.drive / f"dest{files}/Orvane Labs/VELA/VELA_OL"
        self._require(count_files(staged) == files + 1, "first copy")
        return requests

    def unchanged(self, files: int) -> int:
        staged = self.machine.drive / f"dest{files}/Orvane Labs/VELA/VELA_OL"
        before = staged.joinpath("file000.dat").stat().st_ctime_ns
        _, requests = self.machine.run_counting(self._upgrade(files))
        self._require(staged.joinpath("file000.dat").stat().st_ctime_ns == before, "unchanged")
        return requests

    def stamp(self, files: int) -> int:
        folder = self.machine.drive / f"source{files}/OL"
        for path in folder.iterdir():
            path.chmod(0o600)
        _, requests = self.machine.run_counting(Program(r"C:\bench\Steps.exe", rf"stamp C:\source{files}\OL"))
        self._require(all(path.stat().st_mode & 0o022 == 0o022 for path in folder.iterdir()), "stamp")
        return requests

    def delete(self, files: int) -> int:
        _, requests = self.machine.run_counting(Program(r"C:\bench\Steps.exe", rf"delete C:\source{files}\OL"))
        self._require(not (self.machine.drive / f"source{files}/OL").exists(), "delete")
        return requests

    def per_file(self, what: str, run: Callable[[int], int]) -> Count:
        run(WARM_UP)
        first, second = (run(files) for files in SIZES)
        return Count(what, (second - first) / (SIZES[1] - SIZES[0]), limit_of(what, self.machine.wine_version))

    def look_up(self, program: str) -> float:
        """Requests of one look-up."""
        few, many = (self.start(Program(program.split()[0], f"{' '.join(program.split()[1:])} {times}".strip()))
                     for times in SIZES)
        return (many - few) / (SIZES[1] - SIZES[0])

    def start(self, program: Program, exit_code: int = 0) -> int:
        self.machine.run(program)
        result, requests = self.machine.run_counting(program)
        self._require(result.exit_code == exit_code, program.command_line)
        return requests

    def measure(self) -> list[Count]:
        self.prepare()
        status, read = self.start(STATUS), self.start(READ_VALUE)
        log = self.machine.drive / "windows/temp/QRTX_Debug/vela.log"
        self._require(log.read_bytes().count(b"GetStatus!!!!! 1") == 2, "status")
        look_up = self.look_up(r"C:\bench\Steps.exe lookup")
        snapshot = self.look_up(r"C:\bench\Snapshot.exe")
        bare = self.start(Program(r"C:\bench\Bare.exe"))
        wrong = self.start(Program(PROGRAM, r"-x C:\source C:\dest"))
        reload = self.start(Program(PROGRAM, r"-r C:\source C:\dest"), 1)  # 1: all clients, of which there is none
        return [
            Count("`-s` / `reg query` of the same value", status / read, 1.00,
                  f"{status} / {read}"),
            # Either loads nothing that a bare program does without, but for the registry's library.
            Count("`-r` / a bare program", reload / bare, 1.30, f"{reload} / {bare}"),
            Count("a wrong switch / a bare program", wrong / bare, 1.10, f"{wrong} / {bare}"),
            Count("look-up of a process / a bare snapshot", look_up / snapshot, 1.05,
                  f"{look_up:.1f} / {snapshot:.1f}"),
            self.per_file("a file, first copy", self.first_copy),
            self.per_file("a file, unchanged", self.unchanged),
            self.per_file("a file, access list stamped", self.stamp),
            self.per_file("an entry, deleted", self.delete),
        ]


def folder_for(build: pathlib.Path) -> pathlib.Path:
    """Beside the runs of the tests, and named as they are: whoever clears those away clears this away."""
    return build / f"tests/prefix.runs/{os.getpid()}.counts"


def measure(build: pathlib.Path) -> list[Count]:
    with Machine(build, folder_for(build), traced=True) as machine:
        return Counter(machine).measure()


def main() -> int:
    counts = measure(pathlib.Path(sys.argv[1]).resolve())
    for count in counts:
        print(f"{'met    ' if count.met else 'NOT MET'} {count.value:6.3f} (limit {count.limit:5.2f})  {count.what}"
              + (f" ({count.note})" if count.note else ""))
    return 0 if all(count.met for count in counts) else 1


if __name__ == "__main__":
    sys.exit(main())
