"""The results of each system as a file, and those of all as tables, as a page of the documentation and as a chart."""
import dataclasses
import json
import pathlib
import xml.sax.saxutils

import reasons
from counts import WINE_10_ASKS, Count
from rounds import QUIET, Outcome

REPEAT = """## How to repeat it

```
./scripts/bench.sh           # everything, about ten minutes; keeps the results of this system in bench/results, and
                             # writes this page and its chart from the results of all systems
./scripts/bench.sh --quick   # fewer rounds and no large tree; keeps and writes below build/bench
./scripts/bench.sh --page    # measures nothing: writes the page and the chart from the results that are kept
```

Needs a quiet machine: nothing else should run. Everything happens in a Wine prefix of its own, which is thrown away.
The counts alone are the test `bench.counts`, part of `scripts/test.sh`.
"""

HOW = """## How it is measured

* **Times.** A driver inside Wine starts each program by its full path and measures it with the high-resolution
  counter, from the start to the end of the process. After one warm-up the arms run in turn, in rotated order: ours, the
  peer, and ours once more. The ratio is the median of the ratios of each round; beside it stands the ratio of the
  shortest times.
* **One processor** serves all that runs. Wine hands each request to its server and back; where the two have a
  processor each, most of a time is their waking one another, which takes twice as long in one minute as in the next.
  Bound to one, every time is a third or a quarter of what it was, and two measurements of the same agree within 2 %.
* **Files** that are staged and deleted lie in memory, where there are 8 GiB of it: what the disk still has to write of
  one run would slow down the next.
* **Noise** is ours once more / ours, median of the rounds. Where it lies outside {low:.2f} to {high:.2f} nothing is
  said of the comparison ("not judged"). Times are never a reason for the script to fail.
* **Counts** are the requests that a program makes to Wine's server; they are exact. What one file or entry costs is the
  difference between two sizes. They can fail the script, and the tests.
* **Every arm's work is looked at** after each run, and one that did nothing ends the measurement. For "unchanged" one
  file is put back to an older state before each run, and has to be renewed.
* **Peers** are Wine's own tools: `xcopy /E /I /H /K /R /Y /Q` in a batch of the nine lines that stage the same files,
  `rmdir /s /q` of the command interpreter, and a batch of `regsvr32 /s`. Wine's `rmdir` looks through the whole folder
  again for each entry that it deletes, so that it falls back where folders are full.
* **Deletion, registration and look-up** are the program's own steps in a small program of their own
  (`bench/Steps.cpp`), started like the peers.
* **Sources**: {sources}. What is deleted is what an uninstallation deletes, made of hard links.
"""

WHY = f"""## What it rests on

* A start costs what it loads: three libraries. The shell's come with the first call of one of their functions.
* The file holds whole pages (`cmake/BuildOptions.cmake`), which are mapped when they are used, and not read before.
* A copied file is opened four times, at three requests each: the source, and the new file for its contents, its times
  and its attributes. An unchanged one is opened twice, for two times to compare. Contents cost no request.
  {WINE_10_ASKS}
* One process does all; a batch starts one for each line.
"""


@dataclasses.dataclass(frozen=True)
class Measure:
    """A number that is neither a count of requests nor a time."""
    what: str
    value: float
    limit: float
    note: str
    can_fail: bool = False
    noise: float = 1.0

    @property
    def verdict(self) -> str:
        if not QUIET[0] <= self.noise <= QUIET[1]:
            return "not judged"
        return "met" if self.value <= self.limit else "NOT MET"


@dataclasses.dataclass
class Results:
    counts: list[Count]
    outcomes: list[Outcome]
    measures: list[Measure]
    system: str  # in a word or two, e.g. Debian 12
    machine: str  # what it was measured on
    sources: str
    quick: bool
    requests: dict[str, int]  # of whole runs, for the reasons
    broken: list[str] = dataclasses.field(default_factory=list)  # comparisons that came to nothing, and why

    @property
    def failed(self) -> bool:
        return bool(self.broken) or any(not count.met for count in self.counts) or any(
            measure.can_fail and measure.verdict == "NOT MET" for measure in self.measures)


def seconds(value: float) -> str:
    if value < 0.001:
        return f"{value * 1e6:.0f} us"
    return f"{value * 1e3:.1f} ms" if value < 1 else f"{value:.2f} s"


WORDS = 3  # columns of them; numbers follow


def _aligned(rows: list[list[str]]) -> list[str]:
    """A table in Markdown that is also readable as it stands; everything but words to the right."""
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = []
    for number, row in enumerate(rows):
        cells = [text.ljust(width) if column < WORDS else text.rjust(width)
                 for column, (text, width) in enumerate(zip(row, widths, strict=True))]
        lines.append(f"| {' | '.join(cells)} |")
        if number == 0:
            lines.append("|" + "|".join("-" * (width + 1) + ("-" if column < WORDS else ":")
                                        for column, width in enumerate(widths)) + "|")
    return lines


def write(results: Results, folder: pathlib.Path) -> None:
    folder.mkdir(parents=True, exist_ok=True)
    name = results.system.lower().replace(" ", "-") + ".json"
    (folder / name).write_text(json.dumps(dataclasses.asdict(results), indent=1) + "\n", encoding="utf-8")


def read(folder: pathlib.Path) -> list[Results]:
    """What is kept there, by the names of the systems."""
    kept = []
    for path in sorted(folder.glob("*.json")):
        told = json.loads(path.read_text(encoding="utf-8"))
        for field, kind in (("counts", Count), ("outcomes", Outcome), ("measures", Measure)):
            told[field] = [kind(**row) for row in told[field]]
        kept.append(Results(**told))
    return kept


def _side_by_side(systems: list[Results], field: str) -> list[tuple[str, Results, Outcome | Count | Measure]]:
    """The rows of all systems, those of the same thing one below the other."""
    order: dict[str, list] = {}
    for results in systems:
        for row in getattr(results, field):
            order.setdefault(row.what, []).append((row.what, results, row))
    return [row for rows in order.values() for row in rows]


def tables(systems: list[Results]) -> str:
    lines = _aligned([["Time", "Peer", "System", "ours", "peer", "ratio", "of minima", "limit", "noise", "rounds",
                       "verdict"]] + [
        [what, outcome.peer, results.system, seconds(outcome.ours_seconds), seconds(outcome.peer_seconds),
         f"{outcome.ratio:.2f}", f"{outcome.minima:.2f}", f"{outcome.limit:.2f}", f"{outcome.noise:.2f}",
         str(outcome.rounds), outcome.verdict] for what, results, outcome in _side_by_side(systems, "outcomes")])
    lines += [f"\n**No result** on {results.system} for {broken}" for results in systems for broken in results.broken]
    lines += [""] + _aligned([["Requests", "Of which", "System", "count", "limit", "verdict"]] + [
        [what, count.note or "slope between two sizes", results.system, f"{count.value:.3f}", f"{count.limit:.2f}",
         "met" if count.met else "NOT MET"] for what, results, count in _side_by_side(systems, "counts")])
    lines += [""] + _aligned([["Size", "Of which", "System", "value", "limit", "verdict"]] + [
        [what, measure.note, results.system, f"{measure.value:.2f}", f"{measure.limit:.2f}", measure.verdict]
        for what, results, measure in _side_by_side(systems, "measures")])
    return "\n".join(lines) + "\n"


def why_not_met(systems: list[Results]) -> str:
    """A paragraph for each limit that a system does not meet and whose reason is known."""
    return "".join(
        f"**Not met on {results.system}: {beginning}.** {reasons.paragraph(beginning, results.requests)}\n\n"
        for beginning in sorted(reasons.TEXTS) for results in systems
        if any(outcome.verdict == "NOT MET" and outcome.what.startswith(beginning) for outcome in results.outcomes))


def page(systems: list[Results], chart: str) -> str:
    quick = " --quick" if any(results.quick for results in systems) else ""
    return "\n".join([
        "# Performance", "",
        "What the program takes, against what Windows' own tools take for the same work, under Wine. Below 1 the",
        f"program is faster. Written by `scripts/bench.sh{quick}`, from what it measured, each time with the program built",
        "there:", "", *(f"* {results.system}, {results.machine}" for results in systems), "",
        f"![Ratios of time, program / peer]({chart})", "", "## Results", "",
        tables(systems) + "\n" + why_not_met(systems) +
        HOW.format(low=QUIET[0], high=QUIET[1], sources=systems[0].sources), WHY, REPEAT])


def write_page(systems: list[Results], folder: pathlib.Path) -> None:
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "performance.md").write_text(page(systems, "performance.svg"), encoding="utf-8")
    (folder / "performance.svg").write_text(chart(systems), encoding="utf-8")


# ---- the chart

WIDTH, LEFT, RIGHT, BAR, TOP = 860, 330, 120, 15, 48
COLOURS = {"met": "#2e7d32", "NOT MET": "#c62828", "not judged": "#9e9e9e"}


def chart(systems: list[Results]) -> str:
    """For each comparison one bar for each system, and a mark at its limit."""
    rows = _side_by_side(systems, "outcomes")
    whats = list(dict.fromkeys(what for what, _, _ in rows))
    highest = max([1.2] + [max(outcome.ratio, outcome.limit) for _, _, outcome in rows]) * 1.05
    row_height = max(BAR * len(systems), 24) + 6
    bottom = TOP + row_height * len(whats)
    height = bottom + 46

    def across(ratio: float) -> float:
        return round(LEFT + (WIDTH - LEFT - RIGHT) * ratio / highest, 1)

    def text(x: float, y: float, words: str, more: str = "") -> str:
        return f'<text x="{x}" y="{y}"{more}>{xml.sax.saxutils.escape(words.replace("`", ""))}</text>'

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" viewBox="0 0 {WIDTH} {height}" '
        'font-family="sans-serif" font-size="12">',
        f'<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>',
        text(12, 22, "Time of the program / time of the peer", ' font-size="15" font-weight="bold"'),
        text(12, 38, "shorter is better; the black mark is the limit", ' fill="#616161"'),
    ]
    for tick in range(int(highest / 0.2) + 1):
        x = across(tick * 0.2)
        parts.append(f'<line x1="{x}" y1="{TOP}" x2="{x}" y2="{bottom}" '
                     f'stroke="{"#757575" if tick == 5 else "#e0e0e0"}"/>')
        parts.append(text(x, bottom + 16, f"{tick * 0.2:.1f}", ' text-anchor="middle"'))
    for number, what in enumerate(whats):
        y = TOP + row_height * number + 3
        found = [(results, outcome) for name, results, outcome in rows if name == what]
        parts += [text(LEFT - 8, y + 11, what, ' text-anchor="end"'),
                  text(LEFT - 8, y + 23, f"/ {found[0][1].peer}", ' text-anchor="end" font-size="10" fill="#757575"')]
        for position, (results, outcome) in enumerate(found):
            bar, limit, top = round(across(outcome.ratio) - LEFT, 1), across(outcome.limit), y + BAR * position
            parts += [
                f'<rect x="{LEFT}" y="{top + 1}" width="{bar}" height="{BAR - 2}" fill="{COLOURS[outcome.verdict]}"/>',
                f'<line x1="{limit}" y1="{top}" x2="{limit}" y2="{top + BAR}" stroke="#000000" stroke-width="2"/>',
                text(max(LEFT + bar, limit) + 6, top + 12, f"{outcome.ratio:.2f}  {results.system}", ' font-size="10"'),
            ]
    x = LEFT
    for verdict, colour in COLOURS.items():
        parts.append(f'<rect x="{x}" y="{height - 16}" width="10" height="10" fill="{colour}"/>')
        parts.append(text(x + 15, height - 7, verdict.lower()))
        x += 100
    return "\n".join(parts) + "\n</svg>\n"
