#!/usr/bin/env python3
"""What is reckoned from the measurements: ratios, verdicts, tables, chart; and the sources that are made for them."""
import collections
import dataclasses
import pathlib
import sys
import tempfile
import unittest
import xml.etree.ElementTree

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import reasons  # noqa: E402
import report  # noqa: E402
import trees  # noqa: E402
from counts import Count, limit_of  # noqa: E402
from machine import REQUEST, Fault, Program, Run  # noqa: E402
from rounds import Arm, Comparison, Outcome, Stub, compare, rotated, run_arm  # noqa: E402


class Clock:
    """Runs nothing: hands out the times that it was given for each program, one after the other."""

    def __init__(self, **times):
        self.times = {name: list(values) for name, values in times.items()}
        self.runs = []

    def run(self, program: Program) -> Run:
        self.runs.append(program.path)
        return Run(self.times[program.path].pop(0), 0)


# Requests of whole runs: 4 for an entry here and 11 there.
REQUESTS = {"bare": 600, "interpreter": 900, "entries_small": 50, "entries_typical": 550, "delete_small_ours": 800,
            "delete_small_peer": 1600, "delete_typical_ours": 2800, "delete_typical_peer": 7100, "register_ours": 1001,
            "register_peer": 1002}


def outcome(**changes) -> Outcome:
    return Outcome(**({"what": "copy `a` & b", "peer": "xcopy", "limit": 0.5, "ours_seconds": 1.0, "peer_seconds": 2.0,
                       "ratio": 0.5, "minima": 0.5, "noise": 1.0, "rounds": 11} | changes))


class Rounds(unittest.TestCase):
    def test_every_arm_is_in_every_place_and_behind_every_other(self):
        orders = ["".join(rotated(list("abc"), number)) for number in range(6)]
        for place in range(3):
            self.assertEqual(sorted(order[place] for order in orders), list("aabbcc"))
        followers = {order[place:place + 2] for order in orders for place in range(2)}
        self.assertEqual(followers, {"ab", "bc", "ca", "ba", "cb", "ac"})

    def test_the_ratio_is_the_median_of_the_rounds_and_leaves_the_warm_up_out(self):
        # Ours runs twice in each round: as itself and once more.
        clock = Clock(ours=[9, 9] + [1, 1, 3, 3, 2, 2], peer=[9] + [2, 4, 8])
        found = compare(clock, Comparison("w", 0.6, Arm("ours", Program("ours")), Arm("peer", Program("peer")), 3))
        self.assertEqual(clock.runs[:3], ["ours", "peer", "ours"])
        self.assertEqual(len(clock.runs), 12)
        self.assertEqual((found.ratio, found.minima, found.noise, found.verdict), (0.5, 0.5, 1.0, "met"))

    def test_time_is_told_by_unit(self):
        self.assertEqual(run_arm(Clock(p=[6.0]), Arm("a", Program("p"), units=3)), 2.0)

    def test_an_arm_that_did_nothing_is_called_a_stub(self):
        with self.assertRaisesRegex(Stub, "peer is a stub"):
            run_arm(Clock(p=[1.0]), Arm("peer", Program("p"), did_it=lambda: False))

    def test_an_arm_that_failed_is_a_fault(self):
        with self.assertRaisesRegex(Fault, "exit code 0"):
            run_arm(Clock(p=[1.0]), Arm("peer", Program("p"), exit_codes=(1,)))

    def test_verdicts(self):
        self.assertEqual(outcome().verdict, "met")
        self.assertEqual(outcome(ratio=0.51).verdict, "NOT MET")
        for noise in (0.89, 1.11):
            self.assertEqual(outcome(noise=noise).verdict, "not judged")
            self.assertEqual(outcome(noise=noise, ratio=0.51).verdict, "not judged")


class Reports(unittest.TestCase):
    def results(self, count=1.0, size=1.0, ratio=0.4, system="Debian 12"):
        return report.Results([Count("a file", count, 1.0)], [outcome(ratio=ratio), outcome(noise=2.0)],
                              [report.Measure("size", size, 1.0, "bytes", can_fail=True)], system, "here", "small", True,
                              REQUESTS)

    def test_counts_and_the_size_can_fail_and_times_cannot(self):
        self.assertFalse(self.results().failed)
        self.assertTrue(self.results(count=1.001).failed)
        self.assertTrue(self.results(size=1.001).failed)
        self.assertFalse(self.results(ratio=9.0).failed)

    def test_a_comparison_that_came_to_nothing_fails_and_is_told(self):
        results = self.results()
        results.broken.append("delete: peer is a stub")
        self.assertTrue(results.failed)
        self.assertIn("**No result** on Debian 12 for delete: peer is a stub", report.tables([results]))

    def test_the_page_tells_every_verdict(self):
        page = report.page([self.results(count=2.0, ratio=9.0)], "chart.svg")
        self.assertEqual(page.count("NOT MET"), 2)
        self.assertEqual(page.count("| not judged |"), 1)
        self.assertIn("(chart.svg)", page)

    def test_the_page_tells_of_every_system_that_is_kept(self):
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder)
            kept = [self.results(), self.results(ratio=9.0, count=2.0, system="Debian 13")]
            for results in kept:
                report.write(results, place)
            self.assertEqual(sorted(path.name for path in place.iterdir()), ["debian-12.json", "debian-13.json"])
            self.assertEqual(report.read(place), kept)
            report.write_page(report.read(place), place)
            page = (place / "performance.md").read_text(encoding="utf-8")
        counts = [line.split("|")[3:7] for line in page.split("\n") if line.startswith("| a file")]
        self.assertEqual([[cell.strip() for cell in line] for line in counts],
                         [["Debian 12", "1.000", "1.00", "met"], ["Debian 13", "2.000", "1.00", "NOT MET"]])

    def test_the_page_tells_why_a_limit_is_not_met_and_only_then(self):
        results = self.results()
        results.outcomes[:] = [outcome(what="delete, small", ratio=9.0), outcome(what="delete, large", ratio=9.0)]
        page = report.page([results], "chart.svg")
        self.assertEqual(page.count("**Not met on Debian 12: delete.**"), 1)
        results.outcomes[:] = [outcome(what="delete, small"), outcome(what="ten modules registered", noise=2.0)]
        self.assertNotIn("Not met", report.page([results], "chart.svg"))

    def test_the_numbers_of_a_reason_are_those_of_the_run(self):
        text = reasons.paragraph("delete", REQUESTS)
        for told in ("makes 4 requests", "makes about 11", "50 entries", "0.50 (800 / 1,600; ", "makes 600", "alone 900",
                     "550, at 0.39 (2,800 / 7,100)"):
            self.assertIn(told, text)
        self.assertIn("1,001 requests to Wine's server here and 1,002 there",
                      reasons.paragraph("ten modules registered", REQUESTS))

    def test_the_chart_is_a_picture_with_a_bar_for_each_comparison_and_system(self):
        systems = [self.results(), self.results(ratio=9.0, system="Debian 13")]
        for results in systems:
            results.outcomes[1] = dataclasses.replace(results.outcomes[1], what="another")
        picture = xml.etree.ElementTree.fromstring(report.chart(systems))
        bars = [part for part in picture if part.tag.endswith("rect") and part.get("height") == str(report.BAR - 2)]
        self.assertEqual([bar.get("fill") for bar in bars], [report.COLOURS[verdict] for verdict in (
            "met", "NOT MET", "not judged", "not judged")])

    def test_the_documentation_is_what_the_kept_results_make(self):
        root = pathlib.Path(__file__).resolve().parent.parent
        systems = report.read(root / "bench/results")
        self.assertEqual((root / "docs/performance.md").read_text(encoding="utf-8"),
                         report.page(systems, "performance.svg"))
        self.assertEqual((root / "docs/performance.svg").read_text(encoding="utf-8"), report.chart(systems))


class Limits(unittest.TestCase):
    def test_each_wine_is_held_to_its_own_count(self):
        self.assertEqual([int(limit_of("a file, first copy", wine)) for wine in (7, 8, 9, 10, 11)], [12, 12, 12, 14, 14])
        self.assertEqual([int(limit_of("a file, unchanged", wine)) for wine in (8, 10)], [6, 6])


class Requests(unittest.TestCase):
    def test_only_requests_count(self):
        lines = {b"004c: get_key_value( hkey=0004 )": True, b"004c: get_key_value() = 0 { type=4 }": False,
                 b"004c: *fd* 0004 -> 20": False, b"004c: select( flags=3 )": True, b"00a8: *process killed*": False}
        self.assertEqual({line: bool(REQUEST.match(line)) for line in lines}, lines)


class Sources(unittest.TestCase):
    def test_small_source(self):
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder) / "small"
            trees.make(trees.SMALL, source)
            files = trees.files_below(source)
            self.assertEqual((len(files), sum(files.values())), (trees.SMALL.files, trees.SMALL.size))
            # Everything staged has a place of its own, or a second run would find it out of date.
            pieces = sum(len(trees.files_below(source / folder)) for folder, _ in trees.STAGED)
            self.assertEqual(len(trees.staged(source)), pieces + len(trees.STAGED_INI_FILES))
            first = {name: (source / name).read_bytes() for name in files}
            (source / "OL").rename(source / "elsewhere")
            source.with_suffix(".made").unlink()
            trees.make(trees.SMALL, source)
            self.assertEqual({name: (source / name).read_bytes() for name in files}, first)

    def test_the_large_source_is_deep(self):
        names = trees._names(trees.LARGE)
        self.assertEqual(len(names) + len(trees.INI_FILES) + 1, trees.LARGE.files)
        self.assertEqual(len(set(names)), len(names))
        self.assertEqual(max(name.count("/part") for name in names), 6)
        folders = collections.Counter(name.rpartition("/")[0] for name in names)
        self.assertLessEqual(max(folders.values()), trees.LARGE.width)


if __name__ == "__main__":
    unittest.main()
