"""The results of each system as a file, and those of all as tables, as a part of docs/performance.md and as a chart."""
import dataclasses
import json
import pathlib
import re
import xml.sax.saxutils

from counts import Measure
from rounds import Outcome

PAGE = pathlib.Path(__file__).resolve().parent.parent / "docs/performance.md"
RELEASED = pathlib.Path(__file__).resolve().parent / "released.json"  # the requests of the last release
BEGINS, ENDS = "<!-- measured begins -->\n", "<!-- measured ends -->\n"  # the text between them is written here
WORDS = 3  # the first columns of a table are words, the others numbers


@dataclasses.dataclass
class Results:
    counts: list[Measure]
    outcomes: list[Outcome]
    measures: list[Measure]
    system: str  # "Debian 12"
    machine: str  # what it was measured on
    sources: str
    quick: bool
    requests: dict[str, int]  # of whole runs
    broken: list[str] = dataclasses.field(default_factory=list)  # comparisons without a result, and why

    @property
    def failed(self) -> bool:
        return bool(self.broken) or any(
            measure.can_fail and measure.verdict == "NOT MET" for measure in (*self.counts, *self.measures))


def write(results: Results, folder: pathlib.Path) -> None:
    """One row of numbers is one line."""
    folder.mkdir(parents=True, exist_ok=True)
    fields = []
    for name, value in dataclasses.asdict(results).items():
        rows = [json.dumps(row) for row in value] if isinstance(value, list) else []
        fields.append(f'"{name}": ' + ("[\n  " + ",\n  ".join(rows) + "\n ]" if rows else json.dumps(value)))
    name = results.system.lower().replace(" ", "-") + ".json"
    (folder / name).write_text("{\n " + ",\n ".join(fields) + "\n}\n", encoding="utf-8")


def read(folder: pathlib.Path) -> list[Results]:
    kept = []
    for path in sorted(folder.glob("*.json")):
        fields = json.loads(path.read_text(encoding="utf-8"))
        for field, kind in (("counts", Measure), ("outcomes", Outcome), ("measures", Measure)):
            fields[field] = [kind(**row) for row in fields[field]]
        kept.append(Results(**fields))
    return kept


def write_released(systems: list[Results]) -> None:
    version = re.search(r"VERSION (\d\S*) LANG", (PAGE.parents[1] / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
    requests = {results.system: {row.what: row.requests for row in results.counts} for results in systems}
    RELEASED.write_text(json.dumps({"version": version, "requests": requests}, indent=1) + "\n", encoding="utf-8")


# ---- tables

def seconds(value: float) -> str:
    if value < 0.001:
        return f"{value * 1e6:.0f} us"
    return f"{value * 1e3:.1f} ms" if value < 1 else f"{value:.2f} s"


def _aligned(rows: list[list[str]]) -> list[str]:
    """A Markdown table that is also readable as plain text. Numbers stand to the right."""
    widths = [max(map(len, column)) for column in zip(*rows, strict=True)]
    lines = ["| " + " | ".join(text.ljust(width) if column < WORDS else text.rjust(width)
                               for column, (text, width) in enumerate(zip(row, widths))) + " |" for row in rows]
    rule = "|".join("-" * (width + 1) + ("-" if column < WORDS else ":") for column, width in enumerate(widths))
    return [lines[0], f"|{rule}|", *lines[1:]]


def _side_by_side(systems: list[Results], field: str) -> list[tuple[Results, Outcome | Measure]]:
    """The rows of all systems, grouped by what they measure."""
    rows = [(results, row) for results in systems for row in getattr(results, field)]
    order = list(dict.fromkeys(row.what for _, row in rows))
    return sorted(rows, key=lambda pair: order.index(pair[1].what))


def _whole_runs(results: Results) -> list[list[str]]:
    """What deletion and registration cost in requests, from the counts of whole runs."""
    def row(what: str, ours: float, peer: float) -> list[str]:
        return [what, "requests", results.system, f"{ours:,.0f}", f"{peer:,.0f}", f"{ours / peer:.2f}"]
    found = results.requests
    more = found["entries_typical"] - found["entries_small"]
    per_entry = ((found[f"delete_typical_{who}"] - found[f"delete_small_{who}"]) / more for who in ("ours", "peer"))
    return [row(f"delete, {name} ({found[f'entries_{name}']} entries)", found[f"delete_{name}_ours"],
                found[f"delete_{name}_peer"]) for name in ("small", "typical")] + [
        row("delete, one entry", *per_entry),
        row("ten modules registered", found["register_ours"], found["register_peer"]),
        row("a bare program / the command interpreter", found["bare"], found["interpreter"])]


def _since_release(results: Results, row: Measure, released: dict[str, dict[str, float]]) -> list[str]:
    before = released.get(results.system, {}).get(row.what)
    return [f"{row.requests:g}"] + (["-", "-"] if not before else [f"{before:g}", f"{row.requests - before:+g}"])


def tables(systems: list[Results]) -> str:
    released = json.loads(RELEASED.read_text(encoding="utf-8"))
    lines = _aligned([["Time", "Peer", "System", "ours", "peer", "ratio", "of minima", "limit", "noise", "rounds",
                       "verdict"]] + [
        [row.what, row.peer, results.system, seconds(row.ours_seconds), seconds(row.peer_seconds), f"{row.ratio:.2f}",
         f"{row.minima:.2f}", f"{row.limit:.2f}", f"{row.noise:.2f}", str(row.rounds), row.verdict]
        for results, row in _side_by_side(systems, "outcomes")])
    lines += [f"\n**No result** on {results.system} for {broken}" for results in systems for broken in results.broken]
    lines += [""] + _aligned([["Requests", "Measured", "System", "ours", f"in {released['version']}", "change", "count",
                               "limit", "verdict"]] + [
        [row.what, row.note or "slope between two sizes", results.system,
         *_since_release(results, row, released["requests"]), f"{row.value:.3f}", f"{row.limit:.2f}", row.verdict]
        for results, row in _side_by_side(systems, "counts")])
    lines += [""] + _aligned([["Whole runs", "Measured", "System", "ours", "peer", "ratio"]] + [
        row for rows in zip(*map(_whole_runs, systems)) for row in rows])
    lines += [""] + _aligned([["Size", "Measured", "System", "value", "limit", "verdict"]] + [
        [row.what, row.note, results.system, f"{row.value:.2f}", f"{row.limit:.2f}", row.verdict]
        for results, row in _side_by_side(systems, "measures")])
    return "\n".join(lines) + "\n"


def page(systems: list[Results]) -> str:
    """docs/performance.md with these results."""
    before, _, rest = PAGE.read_text(encoding="utf-8").partition(BEGINS)
    after = rest.partition(ENDS)[2]
    lines = [f"* {results.system}, {results.machine}" + (", quick" if results.quick else "") for results in systems]
    return "\n".join([before + BEGINS, *lines, "", "![Ratios of time, program / peer](performance.svg)", "",
                      tables(systems), f"Sources: {systems[0].sources}.", "", ENDS + after])


def write_page(systems: list[Results], folder: pathlib.Path) -> None:
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "performance.md").write_text(page(systems), encoding="utf-8")
    (folder / "performance.svg").write_text(chart(systems), encoding="utf-8")


# ---- the chart

WIDTH, LEFT, RIGHT, BAR, TOP = 860, 330, 120, 15, 48
COLOURS = {"met": "#2e7d32", "NOT MET": "#c62828", "not judged": "#9e9e9e"}


def chart(systems: list[Results]) -> str:
    """For each comparison one bar for each system, and a mark at its limit."""
    rows = _side_by_side(systems, "outcomes")
    whats = list(dict.fromkeys(outcome.what for _, outcome in rows))
    highest = max([1.2] + [max(outcome.ratio, outcome.limit) for _, outcome in rows]) * 1.05
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
        grey = "#757575" if tick == 5 else "#e0e0e0"
        parts += [f'<line x1="{x}" y1="{TOP}" x2="{x}" y2="{bottom}" stroke="{grey}"/>',
                  text(x, bottom + 16, f"{tick * 0.2:.1f}", ' text-anchor="middle"')]
    for number, what in enumerate(whats):
        y = TOP + row_height * number + 3
        found = [pair for pair in rows if pair[1].what == what]
        parts += [text(LEFT - 8, y + 11, what, ' text-anchor="end"'),
                  text(LEFT - 8, y + 23, f"/ {found[0][1].peer}", ' text-anchor="end" font-size="10" fill="#757575"')]
        for position, (results, outcome) in enumerate(found):
            bar, limit, top = round(across(outcome.ratio) - LEFT, 1), across(outcome.limit), y + BAR * position
            parts += [
                f'<rect x="{LEFT}" y="{top + 1}" width="{bar}" height="{BAR - 2}" fill="{COLOURS[outcome.verdict]}"/>',
                f'<line x1="{limit}" y1="{top}" x2="{limit}" y2="{top + BAR}" stroke="#000000" stroke-width="2"/>',
                text(max(LEFT + bar, limit) + 6, top + 12, f"{outcome.ratio:.2f}  {results.system}", ' font-size="10"'),
            ]
    for place, (verdict, colour) in enumerate(COLOURS.items()):
        x = LEFT + 100 * place
        parts += [f'<rect x="{x}" y="{height - 16}" width="10" height="10" fill="{colour}"/>',
                  text(x + 15, height - 7, verdict.lower())]
    return "\n".join(parts) + "\n</svg>\n"
