"""Which tests are asked about a change: those of its folder first, then those of who uses it, then whole runs."""
import re

# A test program -> the other programs that it starts and that contain product code.
COMPANIONS = {
    r"unit\.OrCommon": ("tests/unit.OrCommon.probe.exe",),
    r"unit\.cli": ("tests/unit.cli.probe.exe",),
    r"(scenarios|matrix)\..*": ("VELAutil.exe",),
}

ANY_COMMON = r"unit\.OrCommon.*"
USERS_OF_COMMON = r"unit\.FrwkCommon.*|unit\.cli|unit\.plugins|unit\.activation"

# The scenarios tell what they do otherwise than plain runs, which the matrix has.
PLAIN = r"matrix\.windows_vista\.1252\.administrator"

# Beginning of a name in the product -> groups of tests; a group is asked when nobody in the one before noticed. The
# longest beginning counts.
FITTING = {
    "Common/OrCommon/OrComn_AccessControl": (r"unit\.OrCommon\.session", ANY_COMMON, USERS_OF_COMMON),
    "Common/OrCommon/OrComn_AtlSecurity": (r"unit\.OrCommon\.security", ANY_COMMON, USERS_OF_COMMON),
    "Common/OrCommon/OrComn_DebugLog": (r"unit\.OrCommon\.trace", ANY_COMMON, USERS_OF_COMMON),
    "Common/OrCommon/OrComn_File": (r"unit\.OrCommon|unit\.OrCommon\.removal", ANY_COMMON, USERS_OF_COMMON),
    "Common/OrCommon/OrComn_SecurityAttributes": (r"unit\.OrCommon\.security", ANY_COMMON, USERS_OF_COMMON),
    "Common/OrCommon/OrComn_TerminalService": (r"unit\.OrCommon\.session", ANY_COMMON, USERS_OF_COMMON),
    "Common/OrCommon": (r"unit\.OrCommon", ANY_COMMON, USERS_OF_COMMON),
    "Common/FrwkCommon": (r"unit\.FrwkCommon.*", r"unit\.activation|unit\.settings"),
    "cli": (r"unit\.cli", r"scenarios\.command_line|scenarios\.code_page.*"),
    "settings": (r"unit\.settings.*", r"unit\.install|unit\.plugins|unit\.activation"),
    "install": (r"unit\.install.*", rf"scenarios\.install_(files|outlook|paths|switch)|{PLAIN}"),
    "plugins": (r"unit\.plugins.*", rf"scenarios\.install_registration|scenarios\.removal(_entries)?|{PLAIN}"),
    "activation": (r"unit\.activation.*", rf"scenarios\.delayed_install|scenarios\.switch|{PLAIN}"),
    "uninstall": (r"unit\.uninstall.*", rf"scenarios\.removal.*|{PLAIN}"),
    "notify": (r"unit\.notify.*", rf"scenarios\.reload|{PLAIN}"),
}


def fitting_tests(file, tests):
    """Lists of names of tests. The last of three groups is not asked about a header, for which most of it would have to
    be compiled anew."""
    beginning = max((beginning for beginning in FITTING if file.startswith(beginning)), key=len)
    groups, taken = [], set()
    for pattern in FITTING[beginning]:
        fitting = {name for name in tests if re.fullmatch(pattern, name)}
        if not fitting:
            raise ValueError(f"no test fits {pattern}")
        groups.append(sorted(fitting - taken))
        taken |= fitting
    return groups[:-1] if file.endswith(".h") and len(groups) > 2 else groups
