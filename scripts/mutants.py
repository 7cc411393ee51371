#!/usr/bin/env python3
"""mutants.py [--count N | --all [--minutes N]] [--seed N] [--only PLACE]... [--list] [--again] [--jobs N]

Makes small changes in copies of the product's sources, one at a time, and runs the tests. At least 95 in 100 must make
a test fail. Prints the survivors. tests/mutants/equivalent.txt lists changes without effect; they do not count.

  --count  how many changes (default 200)     --list   print the sample and end
  --seed   another sample (default 1)         --again  go on: keep earlier verdicts, try survivors again
  --only   only in this file or folder         --jobs   how many at a time (default: processors + 1)
  --all    every change that has no verdict yet, for so many minutes (default: to the end). It goes on where an earlier
           run stopped, also a sample: build/mutants/verdicts.jsonl keeps each verdict as long as the changed file stays
           as it was. If only tests have changed, remove that file, or use --again.

Writes build/prove/mutants.md and build/mutants/survivors.txt. Exits with 1 below 95 per cent, with 2 if it cannot run.

Own code: the mutation tools for C++ work on clang's code of a program for this machine. Here GCC's programs for Windows
run under Wine, and levels, log texts and the order of statements are among the changes.
"""
import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import random
import sys
import threading
import time

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from mutation import bench, sandbox  # noqa: E402
from mutation.changes import (KINDS, find_changes, in_order, matching, product_sources,  # noqa: E402
                              read_entries)
from mutation.fitting import COMPANIONS, fitting_tests  # noqa: E402

WANTED = 95.0
REPORT = bench.ROOT / "build/prove/mutants.md"
SURVIVORS = bench.FOLDER / "survivors.txt"
VERDICTS = bench.FOLDER / "verdicts.jsonl"  # a line for each verdict, written at once; they add up

CAUGHT, TIMED_OUT, WITHOUT_EFFECT, SURVIVED = "caught", "caught by the time limit", "without effect", "survived"
REFUSED = "does not compile"


def take(left, kind):
    """One more change of a kind, also to replace one that does not compile. A kind without more takes it from a
    larger one."""
    if not left[kind]:
        kind = max(KINDS, key=lambda other: len(left[other]))
    return left[kind].pop(0) if left[kind] else None


class Trials:
    def __init__(self, tests, sources, equivalents, jobs, known):
        self.tests = tests
        self.known = known  # verdicts of earlier runs
        self.until = None  # when no other change is begun; None: never
        self.sources = sources
        self.equivalents = equivalents
        self.jobs = jobs
        self.seconds = {}  # test -> its time without a change
        self.catches = collections.Counter()  # (file, test) -> changes caught
        self.places = collections.deque(bench.Workplace(bench.FOLDER / f"trial{number}") for number in range(jobs))
        self.refused = 0
        self.verdicts = []
        self.lock = threading.Lock()

    def see_tests_pass(self, names):
        """Without a change all tests must pass. Stores which did."""
        record = bench.FOLDER / "baseline.json"
        known = json.loads(record.read_text(encoding="utf-8")) if record.exists() else {}

        def one(name):
            test = self.tests[name]
            state = repr((test, [(bench.BUILD / program).stat().st_mtime_ns for program in test.programs]))
            if known.get(name, ("", 0.0))[0] != state:
                started = time.monotonic()
                verdict, output = sandbox.run_test(test, {}, 400, False)
                if verdict != sandbox.PASSED:
                    raise bench.CannotRun(f"the test {name} {verdict} without any change:\n{output[-3000:]}")
                known[name] = (state, time.monotonic() - started)
            self.seconds[name] = known[name][1]
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            list(pool.map(one, sorted(names)))
        record.write_text(json.dumps(known), encoding="utf-8")

    def test(self, change):
        """The verdict on a change, and the test that gave it."""
        place = self.places.popleft()
        try:
            place.begin(change.file, change.apply(self.sources[change.file]))
            for group in fitting_tests(change.file, self.tests):
                # The test that caught most in this file first, else the longest one.
                for name in sorted(group, key=lambda name: (-self.catches[change.file, name], -self.seconds[name])):
                    replaced = place.changed_programs(self.tests[name].programs)
                    if not replaced:
                        continue
                    limit = round(15 + 6 * self.seconds[name])
                    verdict, _ = sandbox.run_test(self.tests[name], replaced, limit, True)
                    if verdict != sandbox.PASSED:
                        self.catches[change.file, name] += 1
                        return (CAUGHT if verdict == sandbox.FAILED else TIMED_OUT), name
        except bench.DoesNotCompile:
            return REFUSED, ""
        finally:
            self.places.append(place)
        return SURVIVED, ""

    def judge(self, change, left):
        """Records the verdict on this change. If it does not compile, takes the next one that is left, if any."""
        while change and (self.until is None or time.monotonic() < self.until):
            started = time.monotonic()
            verdict, name = self.known.get(name_of(change), SURVIVED), "an earlier run"
            if change in self.equivalents:
                verdict, name = WITHOUT_EFFECT, ""
            elif verdict in (SURVIVED, WITHOUT_EFFECT):
                verdict, name = self.test(change)
            with self.lock:
                with VERDICTS.open("a", encoding="utf-8") as record:
                    record.write(json.dumps((name_of(change), digest(self.sources[change.file]), verdict)) + "\n")
                if verdict == REFUSED:  # try another one
                    self.refused += 1
                    change = take(left, change.kind) if left else None
                    continue
                self.verdicts.append((change, verdict))
                print(f"{len(self.verdicts):4} {change.kind:10} {change.file}:{change.line} {verdict}"
                      f"{' by ' + name if name else ''} ({time.monotonic() - started:.1f} s)", flush=True)
                if verdict == SURVIVED:
                    print(described(change), end="", flush=True)
            return


def described(change):
    """In the format of the start of an entry of tests/mutants/equivalent.txt."""
    return f"# {change.kind}, line {change.line}\nfile: {change.file}\nwas: {change.before}\nnow: {change.after}\n\n"


def name_of(change):
    return change.file, change.kind, change.before, change.after, change.key


def digest(text):
    return hashlib.sha256(text.encode("utf-8")).hexdigest()


def summary_of(what, verdicts):
    """A sentence, and how many per cent were caught."""
    counted = collections.Counter(verdict for _, verdict in verdicts)
    caught = counted[CAUGHT] + counted[TIMED_OUT]
    tried = caught + counted[SURVIVED]
    share = 100.0 * caught / tried if tried else 0.0
    return (f"{what}: {share:.1f} % caught: {caught} of {tried} mutants, {counted[TIMED_OUT]} of them by the time limit; "
            f"{counted[WITHOUT_EFFECT]} more are without effect."), share


def report(verdicts, summaries):
    """Stores and prints the table of these verdicts, (change, verdict)."""
    counted = collections.Counter((change.kind, verdict) for change, verdict in verdicts)
    rows = ["| kind | mutants | caught | without effect | survived |", "|---|---|---|---|---|"]
    for name, kinds in (*((kind, [kind]) for kind in KINDS), ("all", KINDS)):
        caught, timed_out, without, survived = (sum(counted[kind, verdict] for kind in kinds) for verdict in (
            CAUGHT, TIMED_OUT, WITHOUT_EFFECT, SURVIVED))
        caught += timed_out
        rows.append(f"| {name} | {caught + without + survived} | {caught} | {without} | {survived} |")
    lines = [line for summary in summaries for line in (summary, "")] + rows
    REPORT.parent.mkdir(parents=True, exist_ok=True)
    REPORT.write_text("\n".join([*lines, ""]), encoding="utf-8")
    SURVIVORS.write_text("".join(described(change) for change, verdict in sorted(
        verdicts, key=lambda pair: (pair[0].file, pair[0].line)) if verdict == SURVIVED), encoding="utf-8")
    print("\n".join(["", *lines]))


def earlier_verdicts(sources):
    """Those on files that have not changed since."""
    digests = {file: digest(text) for file, text in sources.items()}
    lines = VERDICTS.read_text(encoding="utf-8").splitlines() if VERDICTS.exists() else []
    return {tuple(name): verdict for name, seen, verdict in map(json.loads, lines) if digests.get(name[0]) == seen}


def judged(changes, equivalents, known):
    """(change, verdict) for each of the changes that has a verdict and compiles."""
    verdicts = ((change, WITHOUT_EFFECT if change in equivalents else known.get(name_of(change), REFUSED))
                for change in changes)
    return [pair for pair in verdicts if pair[1] != REFUSED]


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", action="append", default=[])
    parser.add_argument("--jobs", type=int, default=(os.cpu_count() or 1) + 1)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--minutes", type=float)
    arguments = parser.parse_args()
    started = time.monotonic()
    bench.copy_sources()
    sources = product_sources(bench.SOURCE)
    changes = find_changes(sources)
    entries = read_entries((bench.SOURCE / "tests/mutants/equivalent.txt").read_text(encoding="utf-8"))
    equivalents = matching(entries, changes)
    chosen = [change for change in changes if not arguments.only or
              any(change.file == place or change.file.startswith(place + "/") for place in arguments.only)]
    known = earlier_verdicts(sources)
    if arguments.all:
        left = None
        done = {name for name, verdict in known.items() if verdict != SURVIVED or not arguments.again}
        sample = [change for change in chosen if name_of(change) not in done and change not in equivalents]
        random.Random(arguments.seed).shuffle(sample)  # so that those of a part are a fair sample
    else:
        left = in_order(chosen, arguments.seed)
        sample = [take(left, KINDS[number % len(KINDS)]) for number in range(min(arguments.count, len(chosen)))]
    count = len(sample)
    if arguments.list:
        for change in sample:
            print(described(change), end="")
        return 0
    if not chosen:
        raise bench.CannotRun("no changes to try")
    bench.build_all(arguments.jobs)
    trials = Trials(bench.read_tests(COMPANIONS), sources, equivalents, arguments.jobs,
                    known if arguments.again or arguments.all else {})
    trials.see_tests_pass({name for change in chosen for group in fitting_tests(change.file, trials.tests)
                           for name in group})
    print(f"{len(changes)} possible changes, trying {count}; prepared in {time.monotonic() - started:.0f} s",
          flush=True)
    trials.until = time.monotonic() + 60 * arguments.minutes if arguments.minutes else None
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        waiting = [pool.submit(trials.judge, change, left) for change in
                   sorted(sample, key=lambda change: change.file.endswith(".h"))]  # headers take the longest
        try:
            for one in waiting:
                one.result()
        except BaseException:
            pool.shutdown(cancel_futures=True)
            raise
    print(f"{trials.refused} did not compile; {time.monotonic() - started:.0f} s")
    known = earlier_verdicts(sources)
    whole = judged(chosen, equivalents, known)
    tried = len(whole) + sum(known.get(name_of(change)) == REFUSED for change in chosen)
    summary, share = summary_of(f"Of all {len(chosen)} changes, {tried} tried so far", whole)
    if arguments.all:
        report(whole, [summary])
    else:
        of_sample, share = summary_of(f"Seed {arguments.seed}", trials.verdicts)
        report(trials.verdicts, [of_sample, summary])
    return 0 if share >= WANTED else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except bench.CannotRun as reason:
        print(f"mutants: could not run: {reason}", file=sys.stderr)
        sys.exit(2)
