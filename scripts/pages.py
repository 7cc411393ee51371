"""The pages of the release: the Markdown of the repository as HTML, with pictures. pandoc writes the HTML, Graphviz
draws the pictures. The same sources give the same bytes on the same Debian."""
from __future__ import annotations

import glob
import html
import os
import pathlib
import re
import subprocess
import tempfile

# What an administrator needs, by the title in the head of each page.
PAGES = {"README.md": "Start", "docs/deploy.md": "Deployment", "docs/reference.md": "Reference",
         "docs/messages.md": "Messages", "docs/log.md": "Log format", "docs/security.md": "Security"}

OF_THE_SOURCES = re.compile(r"<!-- of the sources -->.*?<!-- of all -->\n+", re.S)
NOT_SIGNED = "They are not signed, and there is no licence for them."
MERMAID = re.compile(r"^```mermaid\n(.*?)^```\n", re.S | re.M)
LINK = re.compile(r"\]\(([\w./-]+)\.md(#[^)]*)?\)")
NAME = re.compile(r"\[([\w./-]+)\.md\](?=\()")

# The part of Mermaid that the pages use.
DIRECTION = re.compile(r"flowchart (TB|LR)")
TITLE = re.compile(r"accTitle: (.+)")
NODE = re.compile(r'(\w+)\["(.+)"\]')
EDGE = re.compile(r'(\w+) (-->|-\.->)(?:\|"?(.*?)"?\|)? (\w+)')

PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>{title}</title>
<style>
body {{ font-family: Arial, sans-serif; line-height: 1.4; max-width: 60em; margin: 1em auto; padding: 0 1em; }}
table {{ border-collapse: collapse; }}
th, td {{ border: 1px solid #999; padding: 0.2em 0.5em; text-align: left; vertical-align: top; }}
code, pre {{ font-family: Consolas, monospace; background: #eee; }}
pre {{ padding: 0.5em; overflow: auto; }}
img {{ max-width: 100%; }}
</style>
</head>
<body>
<p>{places}</p>
{body}</body>
</html>
"""


class PageError(Exception):
    """A page cannot be part of the release."""


def literal(text: str) -> str:
    """A label of Graphviz."""
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"').replace("<br/>", "\\n") + '"'


def dot_of(picture: str) -> tuple[str, str]:
    """The title of a flowchart in Mermaid, and the same picture for Graphviz."""
    title, lines = "", []
    for line in map(str.strip, picture.strip().split("\n")):
        if found := DIRECTION.fullmatch(line):
            lines.append(f"rankdir={found[1]}")
        elif found := TITLE.fullmatch(line):
            title = found[1]
        elif found := NODE.fullmatch(line):
            lines.append(f"{found[1]} [label={literal(found[2])}]")
        elif found := EDGE.fullmatch(line):
            style = "solid" if found[2] == "-->" else "dashed"
            lines.append(f"{found[1]} -> {found[4]} [style={style}, label={literal(' ' + (found[3] or '') + ' ')}]")
        else:
            raise PageError(f"a picture has a line that cannot be drawn: {line}")
    if not title:
        raise PageError("a picture has no accTitle")
    return title, (f"digraph {literal(title)} {{\nnode [shape=box, style=rounded, fontname=Arial, fontsize=11]\n"
                   "edge [fontname=Arial, fontsize=10]\n" + "\n".join(lines) + "\n}\n")


def drawn(dot: str) -> str:
    """The picture as SVG. Without Graphviz's plug-in for fonts: with it, the fonts of the machine decide the sizes."""
    with tempfile.TemporaryDirectory() as folder:
        for plugin in glob.glob("/usr/lib/*/graphviz/libgvplugin_core.so.?") + glob.glob(
                "/usr/lib/*/graphviz/libgvplugin_dot_layout.so.?"):
            os.symlink(plugin, pathlib.Path(folder, pathlib.Path(plugin).name))
        environment = {**os.environ, "GVBINDIR": folder, "LC_ALL": "C"}
        subprocess.run(["dot", "-c"], check=True, env=environment)
        return subprocess.run(["dot", "-Tsvg"], input=dot, capture_output=True, check=True, text=True,
                              env=environment).stdout


def first_page(text: str, said: str, signed: bool) -> str:
    """The page of the sources without the parts that only people with the sources can use."""
    kept = OF_THE_SOURCES.sub("", text)
    if kept == text or "<!--" in kept or "scripts/" in kept:
        raise PageError("README.md: what is of the sources alone is not between its two marks")
    if NOT_SIGNED not in kept:
        raise PageError(f"README.md does not say: {NOT_SIGNED}")
    if signed:
        kept = kept.replace(NOT_SIGNED, "There is no licence for them.")
    return kept.replace("\n\n", f"\n\n{said}\n\n", 1)


def as_html(name: str, text: str) -> dict[str, str]:
    """A page and its pictures, by their names in the release."""
    files: dict[str, str] = {}

    def picture(found: re.Match[str]) -> str:
        title, dot = dot_of(found[1])
        file = pathlib.PurePosixPath(name).stem + f"-{len(files) + 1}.svg"
        files[str(pathlib.PurePosixPath(name).parent / file)] = drawn(dot)
        return f"![{title}]({file})\n"

    def link(found: re.Match[str]) -> str:
        target = os.path.normpath(os.path.join(os.path.dirname(name), found[1] + ".md"))
        if target not in PAGES:
            raise PageError(f"{name}: the link to {target} leads out of the release")
        return f"]({found[1]}.html{found[2] or ''})"

    text = LINK.sub(link, NAME.sub(r"[\1.html]", MERMAID.sub(picture, text)))
    body = subprocess.run(["pandoc", "-f", "gfm", "-t", "html5", "--no-highlight", "--wrap=preserve"], input=text,
                          capture_output=True, check=True, text=True).stdout
    up = "../" * name.count("/")
    places = " · ".join(f'<a href="{up}{page[:-3]}.html">{title}</a>' for page, title in PAGES.items())
    heading = re.search(r"^# (.+)$", text, re.M)[1]
    files[name[:-3] + ".html"] = PAGE.format(title=html.escape(heading), places=places, body=body)
    return files
