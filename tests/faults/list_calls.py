#!/usr/bin/env python3
"""Which Windows functions the product's object files call, against the list in ProductCalls.h.

  list_calls.py redefine <nm> <ProductCalls.h> <output> <archive or object>...
      writes what objcopy needs (--redefine-syms) to send the product's calls of the listed functions, and nobody else's,
      through slots of the subject's own
  list_calls.py check <nm> <ProductCalls.h> <archive or object>...
      names every function that is called and not listed, or listed and not called; exits with 1 if there is one

A Windows function is told from one of the C runtime by its name: those of the runtime begin with a small letter or an
underscore. Most are called through "__imp_" and the name, the slot of the import table; a few, whose headers do not say
that they are imported, through the name alone.
"""
import pathlib
import re
import subprocess
import sys

IMPORT = "__imp_"
WINDOWS_NAME = re.compile(r"[A-Z][A-Za-z0-9]*$")
# The parts of the stack guard that run before the program begins (tests/unit/OrCommon/StackGuardTests.cpp).
NO_CALL_OF_THE_PRODUCT = {"GetSystemTimeAsFileTime", "QueryPerformanceCounter"}


def symbols(nm: str, option: str, files: list[str]) -> set[str]:
    listed = subprocess.run([nm, option, *files], capture_output=True, check=True, text=True).stdout
    return {line.split()[-1] for line in listed.splitlines() if line.strip() and not line.endswith(":")}


def called(nm: str, files: list[str]) -> tuple[set[str], set[str]]:
    """Names called through the import table, and names called directly."""
    wanted = symbols(nm, "--undefined-only", files) - symbols(nm, "--defined-only", files)
    imported = {name[len(IMPORT):] for name in wanted if name.startswith(IMPORT)}
    return ({name for name in imported if WINDOWS_NAME.match(name)} - NO_CALL_OF_THE_PRODUCT,
            {name for name in wanted if WINDOWS_NAME.match(name)} - NO_CALL_OF_THE_PRODUCT)


def listed_in(header: str) -> set[str]:
    text = pathlib.Path(header).read_text(encoding="ascii")
    block = text[text.index("#define FAULTS_IMPORTED_CALLS"):text.index("#define FAULTS_BOUND_CALLS")]
    return set(re.findall(r"CALL\((\w+),", block))


def redefine(nm: str, header: str, output: str, files: list[str]) -> int:
    listed = listed_in(header)
    by_name = called(nm, files)[1] & listed
    lines = ["%s%s faults_slot_%s" % (IMPORT, name, name) for name in sorted(listed)]
    lines += ["%s faults_jump_%s" % (name, name) for name in sorted(by_name)]
    pathlib.Path(output).write_text("\n".join(lines) + "\n", encoding="ascii")
    return 0


def check(nm: str, header: str, files: list[str]) -> int:
    listed, names = listed_in(header), set.union(*called(nm, files))
    for name in sorted(names - listed):
        print("%s is called by the product, and the fault sweep does not know it" % name)
    for name in sorted(listed - names):
        print("%s is in the list of the fault sweep, and the product does not call it" % name)
    if not names:
        print("no calls found in %s" % " ".join(files))
    return 0 if names and names == listed else 1


def main() -> int:
    if sys.argv[1] == "redefine":
        return redefine(sys.argv[2], sys.argv[3], sys.argv[4], sys.argv[5:])
    if sys.argv[1] == "check":
        return check(sys.argv[2], sys.argv[3], sys.argv[4:])
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main())
