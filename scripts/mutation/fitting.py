"""Which tests run for a change: those of its folder first, then those of its users, then whole runs."""
import re

# A test program -> the other programs that it starts and that contain product code.
COMPANIONS = {
    r"unit\.OrCommon": ("tests/unit.OrCommon.probe.exe",),
    r"unit\.cli": ("tests/unit.cli.probe.exe",),
    r"(scenarios|matrix)\..*": ("VELAutil.exe",),
    r"scenarios\.log_reader": ("VELAlog.exe",),
}

# The scenarios show differences from plain runs, and the matrix contains those runs.
PLAIN = r"matrix\.windows_vista\.1252\.administrator"

# Folder of the product -> groups of tests. A group runs only if no test of the earlier groups failed.
FITTING = {
    "Common/OrCommon": (r"unit\.OrCommon.*", r"unit\.FrwkCommon.*|unit\.cli|unit\.plugins|unit\.activation"),
    "Common/FrwkCommon": (r"unit\.FrwkCommon.*", r"unit\.activation|unit\.settings"),
    "cli": (r"unit\.cli", r"scenarios\.command_line|scenarios\.code_page.*"),
    "settings": (r"unit\.settings.*", r"unit\.install|unit\.plugins|unit\.activation"),
    "install": (r"unit\.install.*", rf"scenarios\.install_(files|outlook|paths|switch)|{PLAIN}"),
    "plugins": (r"unit\.plugins.*", rf"scenarios\.install_registration|scenarios\.removal(_entries)?|{PLAIN}"),
    "activation": (r"unit\.activation.*", rf"scenarios\.delayed_install|scenarios\.switch|{PLAIN}"),
    "uninstall": (r"unit\.uninstall.*", rf"scenarios\.removal.*|{PLAIN}"),
    "notify": (r"unit\.notify.*", rf"scenarios\.reload|{PLAIN}"),
    "logreader": (r"unit\.logreader.*", rf"scenarios\.log_reader|{PLAIN}"),
}


def fitting_tests(file, tests):
    """Lists of names of tests. For headers of Common/OrCommon, the tests of users are skipped: nearly everything would
    have to be compiled again."""
    folder, _, name = file.rpartition("/")
    groups = []
    for pattern in FITTING[folder]:
        fitting = sorted(name for name in tests if re.fullmatch(pattern, name))
        if not fitting:
            raise ValueError(f"no name of a test matches {pattern}")
        groups.append(fitting)
    return groups[:1] if folder == "Common/OrCommon" and name.endswith(".h") else groups
