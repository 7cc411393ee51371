"""Which tests are asked about a change: those of its folder first, then those of who uses it, then whole runs."""
import re

# A test program -> the other programs that it starts and that contain product code.
COMPANIONS = {
    r"unit\.OrCommon": ("tests/unit.OrCommon.probe.exe",),
    r"unit\.cli": ("tests/unit.cli.probe.exe",),
    r"scenarios\..*": ("VELAutil.exe",),
}

# Product folder -> groups of tests; a group is asked when nobody in the one before noticed.
FITTING = {
    "Common/OrCommon": (r"unit\.OrCommon.*", r"unit\.FrwkCommon.*|unit\.cli|unit\.plugins|unit\.activation"),
    "Common/FrwkCommon": (r"unit\.FrwkCommon.*", r"unit\.activation|unit\.settings"),
    "cli": (r"unit\.cli", r"scenarios\.command_line|scenarios\.code_page.*"),
    "settings": (r"unit\.settings.*", r"unit\.install|unit\.plugins|unit\.activation"),
    "install": (r"unit\.install.*", r"scenarios\.install_files|scenarios\.install_systems"),
    "plugins": (r"unit\.plugins.*", r"scenarios\.install_registration"),
    "activation": (r"unit\.activation.*", r"scenarios\.delayed_install"),
    "uninstall": (r"unit\.uninstall.*", r"scenarios\.removal"),
    "notify": (r"unit\.notify.*", r"scenarios\.reload"),
}


def fitting_tests(file, tests, whole_runs):
    """Lists of names of tests; `whole_runs`: those of the whole program too."""
    folder = max((folder for folder in FITTING if file.startswith(folder + "/")), key=len)
    groups = []
    for pattern in FITTING[folder]:
        group = [name for name in tests if re.fullmatch(pattern, name)]
        if not group:
            raise ValueError(f"no test fits {pattern}")
        groups.append([name for name in group if whole_runs or not name.startswith("scenarios.")])
    return groups
