"""One test with changed programs, in a sandbox (bubblewrap).

A changed program may delete everything, and Wine shows it the whole machine as drive Z:. So a test can write only to
two folders in memory, and everything that it starts ends with it. One of the two is /tmp; a repository below /tmp stays
visible, read-only.
"""
import itertools
import os
import re
import subprocess

from mutation.bench import BUILD, ROOT, CannotRun

RUNS = BUILD / "tests/prefix.runs"
DISK = 1 << 30  # bytes in each of the two folders in memory
LIMITS = [f"--data={4 << 30}", f"--fsize={256 << 20}", "--core=0"]  # bytes that a process may allocate, and in one file

PASSED, FAILED, TIMED_OUT = "passed", "failed", "timed out"

# Used in turn. Each test has one (see tests/support/run_in_prefix.sh, which sees no other runs from inside a sandbox).
PROCESSORS = itertools.cycle(sorted(os.sched_getaffinity(0)))


def sandbox_command(replaced):
    """`replaced`: program in the build folder -> the changed one that replaces it in the sandbox."""
    command = ["taskset", "-c", str(next(PROCESSORS)), "prlimit", *LIMITS,
               "bwrap", "--unshare-all", "--die-with-parent", "--new-session", "--ro-bind", "/", "/", "--dev", "/dev",
               "--proc", "/proc", "--size", str(DISK), "--tmpfs", "/tmp", "--ro-bind", str(ROOT), str(ROOT),
               "--size", str(DISK), "--tmpfs", str(RUNS)]
    for program, changed in replaced.items():
        command += ["--ro-bind", changed, str(BUILD / program)]
    return command


def run_test(test, replaced, seconds, first_failure_only):
    """PASSED, FAILED or TIMED_OUT, and the output of the test."""
    command = sandbox_command(replaced) + list(test.command) + (["--abort-after=1"] if first_failure_only else [])
    environment = dict(os.environ, **dict(item.split("=", 1) for item in test.environment))
    environment["VELA_TEST_SECONDS"] = str(seconds)
    for _ in range(3):
        try:
            result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                    env=environment, timeout=seconds + 60, check=False)
        except subprocess.TimeoutExpired as expired:  # the runner has a limit of its own, so this is not the change
            raise CannotRun(f"{test.name}: the sandbox did not end") from expired
        output = result.stdout.decode("utf-8", "replace")
        if result.returncode == 0:
            return PASSED, output
        if result.returncode == 124:
            return TIMED_OUT, output
        # Wine rarely fails to start a program: that is no verdict.
        if not re.search(r"^wine: .*(1359|c00000e5)", output, re.M):
            break
    if result.returncode == 125 or output.startswith("bwrap:"):
        raise CannotRun(f"{test.name}: {output[-2000:]}")
    return FAILED, output
