"""Why a limit is not met where it is not, as far as the calls are bound: the requests of the whole run, and in words."""
import os
import pathlib

import comparisons
import counts
import trees
from machine import Fault, Machine, Program
from rounds import Arm

SHAPES = (trees.SMALL, trees.TYPICAL)
ARMS = ("ours", "peer")

# By the beginning of what is compared. Every number is that of the run which missed the limit.
TEXTS = {
    "ten modules registered":
        "Both arms start `regsvr32.exe` ten times and wait for it: {register_ours:,} requests to Wine's server here and "
        "{register_peer:,} there. The program makes none besides that it could leave out; what can be saved is the "
        "command interpreter around them.",
    "delete":
        "Every entry is opened twice, to take a read-only attribute off and to delete it, which makes {entry_ours:.0f} "
        "requests to Wine's server; `rmdir` makes about {entry_peer:.0f} and lists the folder again for each entry, so "
        "that it falls back further the fuller a folder is. By the requests of the whole run the small tree, which has "
        "{entries_small} entries, stands at {ratio_small:.2f} ({delete_small_ours:,} / {delete_small_peer:,}; a bare "
        "program makes {bare:,} and the command interpreter alone {interpreter:,}) and the typical one, with "
        "{entries_typical}, at {ratio_typical:.2f} ({delete_typical_ours:,} / {delete_typical_peer:,}). Both openings "
        "are meant, and no other request is left.",
}


def reckoned(requests: dict[str, int]) -> dict[str, float]:
    """The numbers that the texts name: what was counted, and what follows from it."""
    numbers: dict[str, float] = dict(requests)
    more = requests["entries_typical"] - requests["entries_small"]
    for who in ARMS:
        numbers[f"entry_{who}"] = (requests[f"delete_typical_{who}"] - requests[f"delete_small_{who}"]) / more
    for shape in SHAPES:
        numbers[f"ratio_{shape.name}"] = (requests[f"delete_{shape.name}_ours"] / requests[f"delete_{shape.name}_peer"])
    return numbers


def paragraph(beginning: str, requests: dict[str, int]) -> str:
    return TEXTS[beginning].format(**reckoned(requests))


def _count(machine: Machine, arm: Arm) -> int:
    """The second run's: the first one on a machine makes keys and folders that stay."""
    for _ in range(2):
        arm.prepare()
        result, requests = machine.run_counting(arm.program)
        if result.exit_code not in arm.exit_codes or (arm.did_it is not None and not arm.did_it()):
            raise Fault(f"{arm.name}: it did not do what was counted")
    return requests


def _entries(folder: pathlib.Path) -> int:
    return sum(len(folders) + len(files) for _, folders, files in os.walk(folder))


def measure(build: pathlib.Path, sources: pathlib.Path) -> dict[str, int]:
    with Machine(build, counts.folder_for(build), traced=True, drives={"s": sources}) as machine:
        place = comparisons.Workplace(machine, sources, list(SHAPES))
        found = {"bare": _count(machine, Arm("a bare program", Program(r"C:\bench\Bare.exe"))),
                 "interpreter": _count(machine, Arm("the command interpreter", Program(comparisons.CMD, "/d /c rem")))}
        for shape in SHAPES:
            place.stage("ours", shape)
            found[f"entries_{shape.name}"] = _entries(place.product_folder("ours", shape))
            for who in ARMS:
                found[f"delete_{shape.name}_{who}"] = _count(machine, place.delete(who, shape))
        place.place_modules()
        for who in ARMS:
            found[f"register_{who}"] = _count(machine, place.register(who))
        return found
