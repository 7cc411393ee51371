"""Installation sources of several sizes. They have the same bytes each time they are made."""
import dataclasses
import os
import pathlib
import random
import re
import shutil

STEADY_TIME = 1_577_880_000  # noon of 2020-01-01: last-write times count up from here

# The mail clients as the tests know them: name, whether it ended with Windows Vista, whether it has 64-bit files, modules.
_CLIENTS_H = pathlib.Path(__file__).resolve().parents[1] / "tests/support/Clients.h"
_CLIENTS = re.findall(r'\{L"([A-Z]+)",.*?(?:true|false),\s+(true|false),\s+(true|false),(.*?)\}\}',
                      _CLIENTS_H.read_text(encoding="utf-8"), re.DOTALL)
MODULES = [name for *_, modules in _CLIENTS for name in re.findall(r"\w+\.dll", modules)]
INI_FILES = [f"VELA_{client}.ini" for client, *_ in _CLIENTS]

# Share of the files that each folder of a source has. No name is in two folders that are staged into the same place:
# the second copy would make the first one out of date.
SHARES = {"OL": 22, "WLM": 20, "OE": 8, "OE64": 8, "Common/win32": 10, "Common/win64": 8, "rule": 12, "Resource/x64": 7,
          "Resource/x86": 5}
for _client, _, _has_64_bit_files, _ in _CLIENTS:  # a new one
    SHARES.setdefault(_client, 8)
    if _has_64_bit_files == "true":
        SHARES.setdefault(_client + "64", 8)
ENDINGS = (".dll", ".ini", ".dat", ".rul", ".txt", ".html", ".gif", ".exe")
# What is staged from Windows 7 on, in this order: source folder, folder below the product's.
_STAGED_CLIENTS = [client for client, ended_with_vista, *_ in _CLIENTS if ended_with_vista == "false"]
STAGED = [("Resource/x64", "Resource")] + [pair for client in _STAGED_CLIENTS for pair in (
    (client, f"VELA_{client}"), ("Common/win32", f"VELA_{client}"), ("rule", f"VELA_{client}/rule"))]
STAGED_INI_FILES = [(f"VELA_{client}.ini", f"VELA_{client}") for client in _STAGED_CLIENTS]


@dataclasses.dataclass(frozen=True)
class Shape:
    name: str
    files: int
    size: int  # bytes, of all files
    depth: int  # folders below one of the source's own
    width: int  # files in a folder, at most
    pattern: int = 0  # bytes of the pattern file, which is one of the files


MIB = 1 << 20
SMALL = Shape("small", 60, 8 * MIB, 1, 12)
TYPICAL = Shape("typical", 600, 80 * MIB, 2, 100, 20 * MIB)
LARGE = Shape("large", 20_000, 1024 * MIB, 6, 250, 20 * MIB)


def _names(shape: Shape) -> list[str]:
    """The files apart from the pattern and the ini files, as paths in the source."""
    wanted = shape.files - len(INI_FILES) - (1 if shape.pattern else 0)
    names = []
    for position, (folder, share) in enumerate(SHARES.items()):
        count = wanted * share // sum(SHARES.values())
        if position == len(SHARES) - 1:
            count = wanted - len(names)
        for index in range(count):
            path = folder
            chain, depth = divmod(index // shape.width, shape.depth + 1)
            for level in range(depth):
                path += f"/part{chain + level:02}"
            if chain > 0 and depth == 0:  # the folder itself is full
                path += f"/more{chain:02}"
            short = folder.replace("/", "").lower()
            names.append(f"{path}/{short}_{index:05}{ENDINGS[index % len(ENDINGS)]}")
    return names


def _sizes(shape: Shape, count: int, chance: random.Random) -> list[int]:
    """Many small files and a few big ones, like a real installation; `count` sizes with the sum that is left."""
    total = shape.size - shape.pattern - len(INI_FILES) * 200
    weights = [chance.lognormvariate(0, 1.2) for _ in range(count)]
    sizes = [int(total * weight / sum(weights)) for weight in weights]
    sizes[0] += total - sum(sizes)
    return sizes


def make(shape: Shape, folder: pathlib.Path) -> None:
    """Makes the source in `folder`, unless it exists already."""
    stamp = folder.with_suffix(".made")
    wanted = f"{shape} {STEADY_TIME} {SHARES}\n"
    if stamp.is_file() and stamp.read_text(encoding="utf-8") == wanted:
        return
    stamp.unlink(missing_ok=True)
    shutil.rmtree(folder, ignore_errors=True)
    chance = random.Random(shape.name)
    noise = chance.randbytes(2 * MIB)  # nothing that a file system could store smaller
    names = _names(shape)
    sizes = _sizes(shape, len(names), chance)
    names += [f"Resource/common/{name}" for name in INI_FILES]
    sizes += [200] * len(INI_FILES)
    if shape.pattern:
        names.append("Common/win32/vela.ptn")
        sizes.append(shape.pattern)
    for index, (name, size) in enumerate(zip(names, sizes, strict=True)):
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        with open(path, "wb") as file:
            while size > 0:
                start = chance.randrange(MIB)
                size -= file.write(noise[start:start + min(size, MIB)])
        os.utime(path, (STEADY_TIME, STEADY_TIME + index))
    stamp.write_text(wanted, encoding="utf-8")


def files_below(folder: pathlib.Path) -> dict[str, int]:
    """Path below `folder` and size of each file."""
    return {path.relative_to(folder).as_posix(): path.stat().st_size for path in folder.rglob("*") if path.is_file()}


def staged(source: pathlib.Path) -> dict[str, int]:
    """What must be below the product's folder afterwards, in the form of files_below()."""
    expected = {f"{target}/{name}": size for folder, target in STAGED
                for name, size in files_below(source / folder).items()}
    return expected | {f"{target}/{name}": (source / "Resource/common" / name).stat().st_size
                       for name, target in STAGED_INI_FILES}
