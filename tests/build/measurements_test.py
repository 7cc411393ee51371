#!/usr/bin/env python3
"""What bench/ reckons from its measurements: ratios, verdicts, tables, chart; and the sources that are made for them."""
import collections
import pathlib
import sys
import tempfile
import unittest
import unittest.mock

sys.dont_write_bytecode = True
BENCH = pathlib.Path(__file__).resolve().parents[2] / "bench"
sys.path.insert(0, str(BENCH))
import report  # noqa: E402
import trees  # noqa: E402
from counts import Measure, limit_of  # noqa: E402
from machine import REQUEST, Fault, Program, Run  # noqa: E402
from rounds import Arm, Comparison, Outcome, compare, rotated, run_arm  # noqa: E402


class Clock:
    """Runs nothing: returns the given times of each program, one after the other."""

    def __init__(self, **times):
        self.times = {name: list(values) for name, values in times.items()}
        self.runs = []

    def run(self, program: Program) -> Run:
        self.runs.append(program.path)
        return Run(self.times[program.path].pop(0), 0)


# Requests of whole runs: 4 for an entry at one place and 11 at the other.
REQUESTS = {"bare": 600, "interpreter": 900, "entries_small": 50, "entries_typical": 550, "delete_small_ours": 800,
            "delete_small_peer": 1600, "delete_typical_ours": 2800, "delete_typical_peer": 7100, "register_ours": 1001,
            "register_peer": 1002}


def outcome(**changes) -> Outcome:
    return Outcome(**({"what": "copy `a` & b", "peer": "xcopy", "limit": 0.5, "ours_seconds": 1.0, "peer_seconds": 2.0,
                       "ratio": 0.5, "minima": 0.5, "noise": 1.0, "rounds": 11} | changes))


def results(count=1.0, size=1.0, ratio=0.4, system="Debian 12", broken=()) -> report.Results:
    return report.Results([Measure("a file", count, 1.0)], [outcome(ratio=ratio), outcome(what="another", noise=2.0)],
                          [Measure("size", size, 1.0, "bytes"), Measure("memory", 2.0, 1.0, can_fail=False)],
                          system, "here", "small", True, REQUESTS, list(broken))


class Rounds(unittest.TestCase):
    def test_each_arm_runs_in_each_position_and_after_each_other_arm(self):
        self.assertEqual(["".join(rotated(list("abc"), number)) for number in range(6)],
                         ["abc", "bca", "cab", "cba", "acb", "bac"])

    def test_the_ratio_is_the_median_of_the_rounds_without_the_warm_up(self):
        # The product runs twice in each round: the second time for the noise.
        clock = Clock(ours=[9, 9] + [1, 1, 3, 3, 2, 2], peer=[9] + [2, 4, 8])
        found = compare(clock, Comparison("w", 0.6, Arm("ours", Program("ours")), Arm("peer", Program("peer")), 3))
        self.assertEqual(clock.runs[:3], ["ours", "peer", "ours"])
        self.assertEqual(len(clock.runs), 12)
        self.assertEqual((found.ratio, found.minima, found.noise, found.verdict), (0.5, 0.5, 1.0, "met"))

    def test_a_run_without_work_or_with_another_exit_code_fails(self):
        self.assertEqual(run_arm(Clock(p=[6.0]), Arm("a", Program("p"), units=3)), 2.0)
        with self.assertRaisesRegex(Fault, "peer did not do its work"):
            run_arm(Clock(p=[1.0]), Arm("peer", Program("p"), did_it=lambda: False))
        with self.assertRaisesRegex(Fault, "exit code 0"):
            run_arm(Clock(p=[1.0]), Arm("peer", Program("p"), exit_codes=(1,)))

    def test_verdicts(self):
        for changes, verdict in (({}, "met"), ({"ratio": 0.51}, "NOT MET"), ({"noise": 0.89}, "not judged"),
                                 ({"noise": 1.11, "ratio": 0.51}, "not judged")):
            self.assertEqual(outcome(**changes).verdict, verdict, changes)


class Reports(unittest.TestCase):
    def test_counts_and_sizes_can_fail_but_times_cannot(self):
        self.assertEqual([results(**changes).failed for changes in (
            {}, {"ratio": 9.0}, {"count": 1.001}, {"size": 1.001}, {"broken": ["delete: no work done"]})],
            [False, False, True, True, True])

    def test_the_page_has_the_verdicts_of_all_stored_systems(self):
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder)
            kept = [results(), results(ratio=9.0, count=2.0, system="Debian 13", broken=["delete: no work done"])]
            for one in kept:
                report.write(one, place)
            self.assertEqual(report.read(place), kept)
            with unittest.mock.patch.object(report, "RELEASED", place / "released"):
                report.write_released([results(count=3.0)])
                page = report.page(kept)
        counts = [line.split("|")[3:10] for line in page.split("\n") if line.startswith("| a file")]
        self.assertEqual([[cell.strip() for cell in line] for line in counts],
                         [["Debian 12", "1", "3", "-2", "1.000", "1.00", "met"],
                          ["Debian 13", "2", "-", "-", "2.000", "1.00", "NOT MET"]])
        self.assertEqual(page.count("NOT MET"), 4)
        self.assertEqual(page.count("| not judged |"), 2)
        self.assertIn("**No result** on Debian 13 for delete: no work done", page)

    def test_the_page_and_the_chart_match_the_stored_results(self):
        systems = report.read(BENCH / "results")
        self.assertEqual(report.PAGE.read_text(encoding="utf-8"), report.page(systems))
        self.assertEqual(report.PAGE.with_suffix(".svg").read_text(encoding="utf-8"), report.chart(systems))


class Counts(unittest.TestCase):
    def test_each_wine_version_has_its_own_limit(self):
        for what, wanted in (("a file, first copy", [12, 12, 12, 14, 14]), ("a file, unchanged", [6] * 5)):
            self.assertEqual([int(limit_of(what, wine)) for wine in (7, 8, 9, 10, 11)], wanted)

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
            # Each staged file has its own target, or a second run would find it out of date.
            pieces = sum(len(trees.files_below(source / folder)) for folder, _ in trees.STAGED)
            self.assertEqual(len(trees.staged(source)), pieces + len(trees.STAGED_INI_FILES))
            first = {name: (source / name).read_bytes() for name in files}
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
