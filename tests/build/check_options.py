#!/usr/bin/env python3
"""check_options.py <repository>: the options that harden a build stand in cmake/BuildOptions.cmake for both compilers.

BuiltProgramTests.cpp sees the effect of mingw-w64's options in the built program. Visual C++ does not run here, so this
check at least keeps its options in place.
"""
import pathlib
import re
import sys

REQUIRED = {
    "Visual C++ compiler": ("/GS /sdl /guard:cf /guard:ehcont /Qspectre /W4 /WX").split(),
    "Visual C++ setting": ["CMAKE_MSVC_DEBUG_INFORMATION_FORMAT=ProgramDatabase"],
    "Visual C++ linker": ("/DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /TSAWARE /guard:cf /guard:ehcont /CETCOMPAT /DEBUG "
                          "/Brepro").split(),
    "GNU compiler": "-fstack-protector-strong -Werror".split(),
    "GNU linker": "-Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va -Wl,--tsaware".split(),
}


def options_in(text):
    text = re.sub(r"#[^\n]*", "", text)
    visual, gnu = re.search(r"\nif\(MSVC\)(.*?)\nelse\(\)(.*)\nendif\(\)", text, re.DOTALL).groups()
    found = {"Visual C++ setting": {"%s=%s" % setting for setting in re.findall(r"\n  set\((\S+) (\S+)\)", visual)}}
    for compiler, part in (("Visual C++", visual), ("GNU", gnu)):
        for tool, command in (("compiler", "compile"), ("linker", "link")):
            calls = re.findall(r"target_%s_options\(vela_options INTERFACE(.*?)\)\n" % command, part, re.DOTALL)
            found["%s %s" % (compiler, tool)] = set(" ".join(calls).replace(">", " ").split())
    return found


def faults_in(text):
    found = options_in(text)
    return ["cmake/BuildOptions.cmake: %s: %s is missing" % (tool, option)
            for tool, options in REQUIRED.items() for option in options if option not in found[tool]]


def main():
    faults = faults_in((pathlib.Path(sys.argv[1]) / "cmake" / "BuildOptions.cmake").read_text(encoding="utf-8"))
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
