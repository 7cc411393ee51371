#!/usr/bin/env python3
"""counts.py <build folder>: the requests that the program makes to Wine's server, held to their limits.

They are most of what a run costs under Wine. Unlike times they are the same on any machine. What one file or entry
costs is the difference between two sizes of the same run.
"""
import dataclasses
import pathlib
import sys
from collections.abc import Callable

sys.dont_write_bytecode = True
import trees  # noqa: E402
from machine import Fault, Machine, Program  # noqa: E402

PRODUCT_KEY = r"HKLM\SOFTWARE\OrvaneLabs\BastionNTCorp\CurrentVersion\VELA"
SYSTEM = r"C:\windows\system32"
PROGRAM, STEPS = r"C:\bench\VELAutil.exe", r"C:\bench\Steps.exe"
BARE = Program(r"C:\bench\Bare.exe")
STATUS = Program(PROGRAM, r"-s C:\source C:\dest")
READ_VALUE = Program(rf"{SYSTEM}\reg.exe", f"query {PRODUCT_KEY} /v VELAEnable /reg:32")
SET_VALUE = Program(rf"{SYSTEM}\reg.exe", f"add {PRODUCT_KEY} /v VELAEnable /t REG_DWORD /d 1 /f /reg:32")
SIZES = (20, 60)
WARM_UP = 3  # files; the first run on a machine makes keys and folders that stay

# Requests for one file or entry, by the version of Wine. A version between two of these has the older one's limit. Wine
# 10 asks for a file's name (get_handle_unix_name) when its times or attributes are set. A first copy sets both, a
# deletion sets the attributes.
REQUESTS = {
    "a file, first copy": {8: 12, 10: 14},
    "a file, unchanged": {8: 6},
    "a file, access list stamped": {8: 3},
    "an entry, deleted": {8: 5, 10: 6},
}
TOLERANCE = 0.1  # what does not belong to the files, divided by their number


@dataclasses.dataclass(frozen=True)
class Measure:
    """A number with a limit that is no time."""
    what: str
    value: float
    limit: float
    note: str = ""
    can_fail: bool = True
    noise: float = 1.0

    @property
    def verdict(self) -> str:
        return verdict(self.value, self.limit, self.noise)

    @property
    def requests(self) -> float:
        """Of the program itself: the first number of a ratio."""
        return float(self.note.partition(" / ")[0] or self.value)


def verdict(value: float, limit: float, noise: float) -> str:
    """`noise`: the measured ratio of the program to itself."""
    if not 0.90 <= noise <= 1.10:
        return "not judged"
    return "met" if value <= limit else "NOT MET"


def limit_of(what: str, wine: int) -> float:
    by_version = REQUESTS[what]
    return by_version[max((version for version in by_version if version <= wine), default=min(by_version))] + TOLERANCE


def make_source(folder: pathlib.Path, files: int) -> None:
    """A source with that many files in one folder, which is staged once; and what else a run looks for."""
    for name in (*trees.SHARES, "Resource/common"):
        (folder / name).mkdir(parents=True)
    for name in trees.INI_FILES:
        (folder / "Resource/common" / name).write_bytes(b"[VELA]\r\n")
    for index in range(files):
        (folder / f"OL/file{index:03}.dat").write_bytes(b"x" * 3000)


class Counter:
    def __init__(self, machine: Machine):
        self.machine = machine
        machine.require(SET_VALUE)
        for files in (WARM_UP, *SIZES):
            make_source(machine.drive / f"source{files}", files)
            (machine.drive / f"dest{files}").mkdir()

    def _count(self, program: Program, holds: Callable[[], bool]) -> int:
        requests = self.machine.run_counting(program)[1]
        if not holds():
            raise Fault(f"{program.command_line}: it did not do its work, so the count is void")
        return requests

    def start(self, program: Program, exit_code: int = 0) -> int:
        """The second run's: the first one on a machine makes keys and folders that stay."""
        self.machine.require(program, exit_code)
        return self.machine.run_counting(program)[1]

    # ---- one run for a number of files; each checks that the work was done

    def upgrade(self, files: int) -> int:
        """A first copy, or, if there is one already, an unchanged tree."""
        first = self.machine.drive / f"dest{files}/Orvane Labs/VELA/VELA_OL/file000.dat"
        before = first.stat().st_ctime_ns if first.exists() else None
        return self._count(Program(PROGRAM, rf"-p C:\source{files} C:\dest{files}"), lambda: (
            len(trees.files_below(first.parent)) == files + 1 and before in (None, first.stat().st_ctime_ns)))

    def stamp(self, files: int) -> int:
        paths = list((self.machine.drive / f"source{files}/OL").iterdir())
        for path in paths:
            path.chmod(0o600)
        return self._count(Program(STEPS, rf"stamp C:\source{files}\OL"),
                           lambda: all(path.stat().st_mode & 0o022 == 0o022 for path in paths))

    def delete(self, files: int) -> int:
        return self._count(Program(STEPS, rf"delete C:\source{files}\OL"),
                           lambda: not (self.machine.drive / f"source{files}/OL").exists())

    def slope(self, run: Callable[[int], int]) -> float:
        first, second = (run(size) for size in SIZES)
        return (second - first) / (SIZES[1] - SIZES[0])

    def per_file(self, what: str, run: Callable[[int], int]) -> Measure:
        run(WARM_UP)
        return Measure(what, self.slope(run), limit_of(what, self.machine.wine_version))

    def measure(self) -> list[Measure]:
        status, read = self.start(STATUS), self.start(READ_VALUE)
        log = self.machine.drive / "windows/temp/QRTX_Debug/vela.log"
        if log.read_bytes().count(b"GetStatus!!!!! 1") != 2:
            raise Fault("the command -s did not write the status, so the count is void")
        look_up = self.slope(lambda times: self.start(Program(STEPS, f"lookup {times}")))
        snapshot = self.slope(lambda times: self.start(Program(STEPS, f"snapshot {times}")))
        bare = self.start(BARE)
        wrong = self.start(Program(PROGRAM, r"-x C:\source C:\dest"))
        reload = self.start(Program(PROGRAM, r"-r C:\source C:\dest"), 1)  # 1: all clients, of which there is none
        return [
            Measure("`-s` / `reg query` of the same value", status / read, 1.00, f"{status} / {read}"),
            # These load only the registry's library more than a bare program does.
            Measure("`-r` / a bare program", reload / bare, 1.30, f"{reload} / {bare}"),
            Measure("a wrong switch / a bare program", wrong / bare, 1.10, f"{wrong} / {bare}"),
            Measure("look-up of a process / a bare snapshot", look_up / snapshot, 1.05,
                  f"{look_up:.1f} / {snapshot:.1f}"),
            self.per_file("a file, first copy", self.upgrade),
            self.per_file("a file, unchanged", self.upgrade),
            self.per_file("a file, access list stamped", self.stamp),
            self.per_file("an entry, deleted", self.delete),
        ]


def measure(build: pathlib.Path) -> list[Measure]:
    with Machine(build, build / "tests/prefix.runs", traced=True) as machine:
        return Counter(machine).measure()


def main() -> int:
    counts = measure(pathlib.Path(sys.argv[1]).resolve())
    for count in counts:
        print(f"{count.verdict:7} {count.value:6.3f} (limit {count.limit:5.2f})  {count.what}"
              + (f" ({count.note})" if count.note else ""))
    return 0 if all(count.verdict == "met" for count in counts) else 1


if __name__ == "__main__":
    sys.exit(main())
