"""A disposable Windows to measure on: a copy of the tests' Wine prefix, and the driver that starts programs in it."""
import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import threading

# Wine's services are switched off, as in the tests: the measured programs start nothing else.
OVERRIDES = ("mscoree,mshtml=;winemenubuilder.exe,services.exe,plugplay.exe,winedevice.exe,explorer.exe,rpcss.exe,"
             "svchost.exe,winedbg.exe=d")
PROGRAMS = ("VELAutil.exe", "bench/Bare.exe", "bench/Driver.exe", "bench/Steps.exe", "tests/fixtures/ClassProbe.exe")
LIMIT = 600  # seconds for a program
REQUEST = re.compile(rb"^([0-9a-f]{4}): ([a-z_0-9]+)\((?!\) =)")


class Fault(Exception):
    """A step did not do its work, so its measurement is worthless."""


@dataclasses.dataclass(frozen=True)
class Program:
    """A program to start: its full path on the machine and what follows its name on the command line."""
    path: str
    arguments: str = ""

    @property
    def command_line(self) -> str:
        return f'"{self.path}" {self.arguments}'.strip()


@dataclasses.dataclass(frozen=True)
class Run:
    seconds: float
    exit_code: int


def wine_text() -> str:
    return subprocess.run(["wine", "--version"], capture_output=True, text=True, check=True,
                          env=os.environ | {"WINEDEBUG": "-all"}).stdout.strip()


def batch(path: str) -> Program:
    return Program(r"C:\windows\system32\cmd.exe", f"/d /c {path}")


class Machine:
    """A context: the prefix, its server and the driver end with it."""

    def __init__(self, build: pathlib.Path, runs: pathlib.Path, traced: bool = False,
                 sources: pathlib.Path | None = None):
        """`runs`: the folder of the prefix, with a name as in the tests, so that their clean-up removes it, too.
        `traced`: the server records its requests, for run_counting(), and everything takes a few times longer.
        `sources`: the target of drive S:."""
        self.driver: subprocess.Popen | None = None
        self.build = build
        self.sources = sources
        self.folder = folder = runs / f"{os.getpid()}.bench"
        self.wine_version = int(re.search(r"\d+", wine_text())[0])
        self.prefix = folder / "prefix"
        self.drive = self.prefix / "drive_c"
        self.trace = folder / "requests.txt"
        self.environment = {
            name: value for name, value in os.environ.items()
            if name not in ("DISPLAY", "WAYLAND_DISPLAY", "LANG", "LANGUAGE", "LC_CTYPE")
        } | {"WINEPREFIX": str(self.prefix), "WINEDEBUG": "-all,+server" if traced else "-all", "LC_ALL": "C.UTF-8",
             "WINEDLLOVERRIDES": OVERRIDES}
        # With random addresses Wine sometimes fails to start a program.
        fixed = subprocess.run(["setarch", "-R", "true"], capture_output=True, check=False).returncode == 0
        self.start = ["setarch", "-R", "wine"] if fixed else ["wine"]

    def __enter__(self) -> "Machine":
        self.folder.mkdir(parents=True, exist_ok=True)
        template = self.build / "tests/prefix"
        if not (template / "vela-template").is_file():
            raise Fault(f"no complete prefix at {template}: tests/support/make_prefix.sh creates it")
        try:
            subprocess.run(["cp", "-a", template, self.prefix], check=True)
            if self.sources is not None:
                (self.prefix / "dosdevices/s:").symlink_to(self.sources)
            (self.drive / "bench").mkdir()
            for program in PROGRAMS:
                shutil.copy2(self.build / program, self.drive / "bench")
            self._start_driver()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_: object) -> None:
        for option in ("-k", "-w"):  # ends the server with all programs, and waits for its end
            subprocess.run(["wineserver", option], env=self.environment, capture_output=True, check=False)
        if self.driver is not None:
            self.driver.kill()
            self.driver.communicate()
        # Debian's wineserver records which folder of /tmp contains its sockets, and leaves that folder behind.
        noted = self.prefix / "wineserver"
        name = noted.read_text(encoding="ascii").strip() if noted.is_file() else ""
        if re.fullmatch(r"wine-[A-Za-z0-9]+", name):
            shutil.rmtree(pathlib.Path("/tmp", name), ignore_errors=True)
        shutil.rmtree(self.folder, ignore_errors=True)

    def _start_driver(self) -> None:
        """Starts the server, too. On the driver's error output, the server writes what it records."""
        with open(self.trace, "wb") as trace:
            self.driver = subprocess.Popen(
                [*self.start, r"C:\bench\Driver.exe"], env=self.environment, stdin=subprocess.PIPE,
                stdout=subprocess.PIPE, stderr=trace, text=True, encoding="utf-8")
        words = self._answer(60)
        if words[:1] != ["driver"]:
            raise Fault("Driver.exe does not start")
        self.driver_thread = words[1].encode("ascii")

    def _answer(self, limit: float) -> list[str]:
        watch = threading.Timer(limit, self.driver.kill)
        watch.start()
        try:
            return self.driver.stdout.readline().split()
        finally:
            watch.cancel()

    def run(self, program: Program) -> Run:
        """Starts a program and waits for its end. Any exit code is an answer; a program that does not start or end is
        a fault."""
        self.driver.stdin.write(f"{program.path}|{program.command_line}\n")
        self.driver.stdin.flush()
        words = self._answer(LIMIT)
        if len(words) != 2 or not words[0].isdigit():
            raise Fault(f"{program.command_line}: {' '.join(words) or 'it took too long, or Driver.exe ended'}")
        return Run(int(words[1]) / 1e6, int(words[0]))

    def run_counting(self, program: Program) -> tuple[Run, int]:
        """run(), and the number of requests to the server by the program and its children."""
        start = self.trace.stat().st_size
        result = self.run(program)
        with open(self.trace, "rb") as trace:
            trace.seek(start)
            requests = [match for match in map(REQUEST.match, trace) if match]
        counted = sum(1 for match in requests if match[1] != self.driver_thread)
        if counted == 0:
            raise Fault(f"{program.command_line}: wineserver recorded no request of this program")
        return result, counted

    def peak_memory(self, program: Program) -> tuple[Run, int]:
        """Starts it from the host, which tells the most memory that it held at once, in KiB; and does not time it."""
        child = subprocess.Popen([*self.start, program.path, *program.arguments.split()], env=self.environment,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        return Run(0.0, child.returncode), usage.ru_maxrss

    def require(self, program: Program, exit_code: int = 0) -> None:
        """run(), for preparations only: any other exit code is a fault."""
        result = self.run(program)
        if result.exit_code != exit_code:
            raise Fault(f"{program.command_line}: exit code {result.exit_code}, not {exit_code}")
