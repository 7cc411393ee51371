#!/usr/bin/env python3
"""run.py [--quick | --page | --released], for scripts/bench.sh, which says what these mean.

Keeps the results as <system>.json. Writes performance.md and performance.svg from the results of all systems. Prints
the tables of this one. Exits with 1 if a limit other than a time is exceeded.
"""
import argparse
import datetime
import os
import pathlib
import platform
import re
import shutil
import statistics
import sys

sys.dont_write_bytecode = True
import comparisons  # noqa: E402
import counts  # noqa: E402
import report  # noqa: E402
import trees  # noqa: E402
from machine import Fault, Machine, wine_text  # noqa: E402
from rounds import compare  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[1]
LARGEST_PROGRAM = 1 << 20  # bytes
MEMORY = pathlib.Path("/dev/shm/vela.bench")  # scripts/bench.sh clears it away, too
MEMORY_NEEDED = 8 << 30  # bytes; what is staged, put aside and read again


def say(text: str) -> None:
    print(f"[{datetime.datetime.now():%H:%M:%S}] {text}", flush=True)


def system() -> str:
    about = platform.freedesktop_os_release()
    return f"{about['NAME'].partition(' ')[0]} {about.get('VERSION_ID', '')}".strip()


def describe_machine(build: pathlib.Path) -> str:
    model = next((line.partition(":")[2].strip() for line in open("/proc/cpuinfo", encoding="utf-8")
                  if line.startswith("model name")), platform.machine())
    compiler = next(build.glob("CMakeFiles/*/CMakeCXXCompiler.cmake")).read_text(encoding="utf-8")
    version = re.search(r'CMAKE_CXX_COMPILER_VERSION "(\d+)', compiler)[1]
    return f"on {datetime.date.today()}, with GCC {version} and {wine_text()}, on {os.cpu_count()} x {model}"


def describe_sources(shapes: list[trees.Shape]) -> str:
    return ", ".join(f"{shape.name} ({shape.files:,} files, up to {shape.width} in a folder, {shape.size >> 20:,} MiB"
                     + (f", one of {shape.pattern >> 20} MiB" if shape.pattern else "") + ")" for shape in shapes)


def folder_for_runs(build: pathlib.Path) -> tuple[pathlib.Path, str]:
    """Where the prefix is made, and in words. In memory, where there is room: what the disk still has to write of one
    run would slow down the next."""
    available = next((int(line.split()[1]) << 10 for line in open("/proc/meminfo", encoding="ascii")
                      if line.startswith("MemAvailable:")), 0)
    if os.path.ismount(MEMORY.parent) and min(available, shutil.disk_usage(MEMORY.parent).free) >= MEMORY_NEEDED:
        return MEMORY, "in memory"
    return build / "tests/prefix.runs", "on the disk"


def measure_memory(place: comparisons.Workplace, quick: bool) -> counts.Measure:
    high, runs = (trees.TYPICAL, 3) if quick else (trees.LARGE, 7)
    small, larger, again = (statistics.median(comparisons.peak_memory(place, shape, runs))
                            for shape in (trees.SMALL, high, trees.SMALL))
    return counts.Measure(f"peak memory, {high.name} / small tree", larger / small, 1.05,
                          f"{larger / 1024:.1f} MiB / {small / 1024:.1f} MiB", can_fail=False, noise=again / small)


def main() -> int:
    # One processor for all: docs/performance.md says why.
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--page", action="store_true")
    parser.add_argument("--released", action="store_true")
    arguments = parser.parse_args()
    quick = arguments.quick
    build, target = ROOT / "build/release", ROOT / ("build/bench" if quick else "docs")
    sources, kept = ROOT / "build/bench/sources", ROOT / ("build/bench/results" if quick else "bench/results")
    if arguments.released:
        report.write_released(report.read(kept))
    if arguments.page or arguments.released:
        report.write_page(report.read(kept), target)
        return 0
    sources.mkdir(parents=True, exist_ok=True)
    shapes = [trees.SMALL, trees.TYPICAL] + ([] if quick else [trees.LARGE])
    for shape in shapes:
        say(f"installation source: {shape.name}")
        trees.make(shape, sources / shape.name)
    say("counting requests")
    counted = counts.measure(build)
    requests = comparisons.whole_runs(build, sources)
    outcomes, broken = [], []
    folder, where = folder_for_runs(build)
    with Machine(build, folder, sources=sources) as machine:
        say("staging files")
        place = comparisons.Workplace(machine, sources, shapes)
        for comparison in comparisons.comparisons(place, quick):
            try:
                outcomes.append(compare(machine, comparison))
                say(f"{comparison.what}: {outcomes[-1].ratio:.2f} ({outcomes[-1].verdict})")
            except Fault as fault:  # the others may tell something all the same
                broken.append(f"{comparison.what}: {fault}")
                say(broken[-1])
            place.clear_away()
        say("measuring memory")
        measures = [measure_memory(place, quick)]
    size = (build / "VELAutil.exe").stat().st_size
    measures.append(counts.Measure("the program, MiB", size / LARGEST_PROGRAM, 1.0, f"{size:,} bytes"))
    results = report.Results(counted, outcomes, measures, system(), f"{describe_machine(build)}, files {where}",
                             describe_sources(shapes), quick, requests, broken)
    report.write(results, kept)
    report.write_page(report.read(kept), target)
    print(f"\n{report.tables([results])}\n{target}/performance.md")
    return 1 if results.failed else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Fault as fault:
        sys.exit(f"bench: {fault}")
