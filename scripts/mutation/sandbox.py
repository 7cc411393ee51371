"""One test with changed programs, in a sandbox (bubblewrap).

A changed program may delete everything, and Wine shows it the whole machine as drive Z:. So a test can write only to
two folders in memory, and everything that it starts ends with it. One of the two is /tmp; a repository below /tmp stays
visible, read-only.
"""
import collections
import contextlib
import functools
import os
import re
import resource
import subprocess
import threading

from mutation.bench import BUILD, ROOT, CannotRun

RUNS = BUILD / "tests/prefix.runs"
MEMORY = 4 << 30  # bytes that one process may allocate
DISK = 1 << 30  # bytes in each of the two folders in memory
FILE = 256 << 20  # bytes in one file

PASSED, FAILED, TIMED_OUT = "passed", "failed", "timed out"

_runs = collections.Counter(dict.fromkeys(os.sched_getaffinity(0), 0))  # processor -> tests that run on it
_runs_lock = threading.Lock()


@contextlib.contextmanager
def one_processor():
    """The processor with the fewest tests. Each test has one (see tests/support/run_in_prefix.sh, which sees no other
    runs from within a sandbox)."""
    with _runs_lock:
        processor = min(_runs, key=_runs.get)
        _runs[processor] += 1
    try:
        yield processor
    finally:
        with _runs_lock:
            _runs[processor] -= 1


def limit_resources(processor):
    os.sched_setaffinity(0, {processor})
    resource.setrlimit(resource.RLIMIT_DATA, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE, FILE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def sandbox_command(replaced):
    """`replaced`: program in the build folder -> the changed one that is to be seen in its place."""
    command = ["bwrap", "--unshare-all", "--die-with-parent", "--new-session", "--ro-bind", "/", "/", "--dev", "/dev",
               "--proc", "/proc", "--size", str(DISK), "--tmpfs", "/tmp", "--ro-bind", str(ROOT), str(ROOT),
               "--size", str(DISK), "--tmpfs", str(RUNS)]
    for program, changed in replaced.items():
        command += ["--ro-bind", changed, str(BUILD / program)]
    return command


def run_test(test, replaced, seconds, first_failure_only):
    """PASSED, FAILED or TIMED_OUT, and what the test said."""
    command = sandbox_command(replaced) + list(test.command)
    if first_failure_only:
        command.append("--abort-after=1")
    environment = dict(os.environ, **dict(item.split("=", 1) for item in test.environment))
    environment["VELA_TEST_SECONDS"] = str(seconds)
    for _ in range(3):
        try:
            with one_processor() as processor:
                result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, env=environment, timeout=seconds + 60, check=False,
                                        preexec_fn=functools.partial(limit_resources, processor))
        except subprocess.TimeoutExpired as expired:  # the runner has a limit of its own, so this is not the change
            raise CannotRun(f"{test.name}: the sandbox did not end") from expired
        output = result.stdout.decode("utf-8", "replace")
        if result.returncode == 0:
            return PASSED, output
        if result.returncode == 124:
            return TIMED_OUT, output
        # Wine fails to start a program once in a long while: that is no verdict.
        if not re.search(r"^wine: .*(1359|c00000e5)", output, re.M):
            break
    if result.returncode == 125 or output.startswith("bwrap:"):
        raise CannotRun(f"{test.name}: {output[-2000:]}")
    return FAILED, output
