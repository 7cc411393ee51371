"""Rounds: the programs that are compared run in turn, in rotated order. Each round gives a ratio.

A third arm runs the first program again. The difference between the two is noise; with much noise there is no verdict.
"""
import dataclasses
import statistics
from collections.abc import Callable

from counts import verdict
from machine import Fault, Machine, Program, Run


@dataclasses.dataclass(frozen=True)
class Arm:
    """One of the compared programs. `prepare` and `did_it` are outside of the time."""
    name: str
    program: Program
    prepare: Callable[[], None] = lambda: None
    did_it: Callable[[], bool] | None = None  # checks after each run that the work is done
    exit_codes: tuple[int, ...] = (0,)
    units: int = 1  # the time is divided by it

    def check(self, result: Run) -> None:
        if result.exit_code not in self.exit_codes:
            raise Fault(f"{self.name}: exit code {result.exit_code}")
        if self.did_it is not None and not self.did_it():
            raise Fault(f"{self.name} did not do its work, although its exit code is {result.exit_code}")


@dataclasses.dataclass(frozen=True)
class Comparison:
    what: str
    limit: float
    ours: Arm
    peer: Arm
    rounds: int


@dataclasses.dataclass(frozen=True)
class Outcome:
    what: str
    peer: str
    limit: float
    ours_seconds: float  # medians
    peer_seconds: float
    ratio: float  # median of the ratios of each round
    minima: float  # ratio of the shortest times
    noise: float  # ours the second time / ours, median of the rounds
    rounds: int

    @property
    def verdict(self) -> str:
        return verdict(self.ratio, self.limit, self.noise)


def rotated(arms: list[Arm], number: int) -> list[Arm]:
    """The order of the arms in a round: each is first, second and last equally often, and follows each other one."""
    shift = number % len(arms)
    order = arms[shift:] + arms[:shift]
    return order[::-1] if number // len(arms) % 2 else order


def run_arm(machine: Machine, arm: Arm) -> float:
    arm.prepare()
    result = machine.run(arm.program)
    arm.check(result)
    return result.seconds / arm.units


def compare(machine: Machine, comparison: Comparison) -> Outcome:
    again = dataclasses.replace(comparison.ours, name=comparison.ours.name + ", once more")
    arms = [comparison.ours, comparison.peer, again]
    for arm in arms:  # warm-up
        run_arm(machine, arm)
    times: dict[str, list[float]] = {arm.name: [] for arm in arms}
    for number in range(comparison.rounds):
        for arm in rotated(arms, number):
            times[arm.name].append(run_arm(machine, arm))
    ours, peer, repeated = (times[arm.name] for arm in arms)

    def ratio(above: list[float], below: list[float]) -> float:
        return statistics.median(one / other for one, other in zip(above, below, strict=True))

    return Outcome(comparison.what, comparison.peer.name, comparison.limit, statistics.median(ours),
                   statistics.median(peer), ratio(ours, peer), min(ours) / min(peer), ratio(repeated, ours),
                   comparison.rounds)
