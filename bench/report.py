"""The results as a table, as a page of the documentation and as a chart."""
import dataclasses
import xml.sax.saxutils

from counts import Count
from rounds import QUIET, Outcome

REPEAT = """## How to repeat it

```
./scripts/bench.sh           # everything, about ten minutes; writes this page and its chart
./scripts/bench.sh --quick   # fewer rounds and no large tree; writes the page and the chart below build/bench
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

WHY = """## What it rests on

* A start costs what it loads. The program starts with three libraries; the shell's come with the first call
  (`OrComn_Shell.h`). The value that guards the stack is drawn without a cryptographic provider
  (`OrComn_StackGuard.h`): with one, `-s` made 1,039 requests instead of 724.
  The file holds whole pages (`cmake/BuildOptions.cmake`), which are mapped when they are used; having to read them all
  made a start 4 % longer.
* A copied file is opened four times, at three requests each: the source, and the new file for its contents, its times
  and its attributes. An unchanged one is opened twice, for two times to compare. Contents cost no request.
* One process does all; a batch starts one for each line.
"""

# Why a limit is not met where it is not, as far as the calls are bound; by the beginning of what is compared.
REASONS = {
    "ten modules registered":
        "Both arms start `regsvr32.exe` ten times and wait for it: 15,028 requests to Wine's server here and 15,163 "
        "there. The program makes none besides that it could leave out; what can be saved is the command interpreter "
        "around them.",
    "delete":
        "Every entry is opened twice, to take a read-only attribute off and to delete it, which makes five requests "
        "to Wine's server; `rmdir` makes about 15 and lists the folder again for each entry, so that it falls back "
        "further the fuller a folder is. By the requests of the whole run the small tree, which has 55 entries, "
        "stands at 0.55 (1,024 / 1,854; a bare program makes 658 and the command interpreter alone 991) and the "
        "typical one, with 562, at 0.38 (3,577 / 9,363): the times say the same. Both openings are meant, and no "
        "other request is left.",
}


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
    machine: str  # what it was measured on
    sources: str
    quick: bool
    broken: list[str] = dataclasses.field(default_factory=list)  # comparisons that came to nothing, and why

    @property
    def failed(self) -> bool:
        return bool(self.broken) or any(not count.met for count in self.counts) or any(
            measure.can_fail and measure.verdict == "NOT MET" for measure in self.measures)


def seconds(value: float) -> str:
    if value < 0.001:
        return f"{value * 1e6:.0f} us"
    return f"{value * 1e3:.1f} ms" if value < 1 else f"{value:.2f} s"


def _aligned(rows: list[list[str]]) -> list[str]:
    """A table in Markdown that is also readable as it stands; everything but the first two columns to the right."""
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = []
    for number, row in enumerate(rows):
        cells = [text.ljust(width) if column < 2 else text.rjust(width)
                 for column, (text, width) in enumerate(zip(row, widths, strict=True))]
        lines.append(f"| {' | '.join(cells)} |")
        if number == 0:
            lines.append("|" + "|".join("-" * (width + 1) + ("-" if column < 2 else ":")
                                        for column, width in enumerate(widths)) + "|")
    return lines


def tables(results: Results) -> str:
    lines = _aligned([["Time", "Peer", "ours", "peer", "ratio", "of minima", "limit", "noise", "rounds",
                       "verdict"]] + [
        [outcome.what, outcome.peer, seconds(outcome.ours_seconds), seconds(outcome.peer_seconds),
         f"{outcome.ratio:.2f}", f"{outcome.minima:.2f}", f"{outcome.limit:.2f}", f"{outcome.noise:.2f}",
         str(outcome.rounds), outcome.verdict] for outcome in results.outcomes])
    lines += [f"\n**No result** for {broken}" for broken in results.broken]
    lines += [""] + _aligned([["Requests", "Of which", "count", "limit", "verdict"]] + [
        [count.what, count.note or "slope between two sizes", f"{count.value:.3f}", f"{count.limit:.2f}",
         "met" if count.met else "NOT MET"] for count in results.counts])
    lines += [""] + _aligned([["Size", "Of which", "value", "limit", "verdict"]] + [
        [measure.what, measure.note, f"{measure.value:.2f}", f"{measure.limit:.2f}", measure.verdict]
        for measure in results.measures])
    return "\n".join(lines) + "\n"


def reasons(results: Results) -> str:
    """A paragraph for each limit that is not met and whose reason is known."""
    missed = {beginning for outcome in results.outcomes if outcome.verdict == "NOT MET"
              for beginning in REASONS if outcome.what.startswith(beginning)}
    return "".join(f"**Not met: {beginning}.** {REASONS[beginning]}\n\n" for beginning in sorted(missed))


def page(results: Results, chart: str) -> str:
    return "\n".join([
        "# Performance", "",
        "What the program takes, against what Windows' own tools take for the same work, under Wine. Below 1 the",
        f"program is faster. Written by `scripts/bench.sh{' --quick' if results.quick else ''}`,",
        f"{results.machine}.", "",
        f"![Ratios of time, program / peer]({chart})", "", "## Results", "", tables(results) + "\n" + reasons(results) +
        HOW.format(low=QUIET[0], high=QUIET[1], sources=results.sources), WHY, REPEAT])


# ---- the chart

WIDTH, LEFT, RIGHT, ROW, TOP = 860, 330, 60, 30, 48
COLOURS = {"met": "#2e7d32", "NOT MET": "#c62828", "not judged": "#9e9e9e"}


def chart(results: Results) -> str:
    """One bar for each comparison, and a mark at its limit."""
    outcomes = results.outcomes
    highest = max([1.2] + [max(outcome.ratio, outcome.limit) for outcome in outcomes]) * 1.05
    height = TOP + ROW * len(outcomes) + 46

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
        parts.append(f'<line x1="{x}" y1="{TOP}" x2="{x}" y2="{TOP + ROW * len(outcomes)}" '
                     f'stroke="{"#757575" if tick == 5 else "#e0e0e0"}"/>')
        parts.append(text(x, TOP + ROW * len(outcomes) + 16, f"{tick * 0.2:.1f}", ' text-anchor="middle"'))
    for number, outcome in enumerate(outcomes):
        y = TOP + ROW * number
        bar = round(across(outcome.ratio) - LEFT, 1)
        limit = across(outcome.limit)
        parts += [
            text(LEFT - 8, y + 13, outcome.what, ' text-anchor="end"'),
            text(LEFT - 8, y + 25, f"/ {outcome.peer}", ' text-anchor="end" font-size="10" fill="#757575"'),
            f'<rect x="{LEFT}" y="{y + 6}" width="{bar}" height="18" fill="{COLOURS[outcome.verdict]}"/>',
            f'<line x1="{limit}" y1="{y + 3}" x2="{limit}" y2="{y + 27}" stroke="#000000" stroke-width="2"/>',
            text(max(LEFT + bar, limit) + 6, y + 19, f"{outcome.ratio:.2f}"),
        ]
    x = LEFT
    for verdict, colour in COLOURS.items():
        parts.append(f'<rect x="{x}" y="{height - 16}" width="10" height="10" fill="{colour}"/>')
        parts.append(text(x + 15, height - 7, verdict.lower()))
        x += 100
    return "\n".join(parts) + "\n</svg>\n"
