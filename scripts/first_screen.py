#!/usr/bin/env python3
"""first_screen.py TOOL FILM OUTPUT: draws README.md's picture: what the tool's `check` says of a
broken copy of the film, and its map of that copy. It is light or dark as its reader's screen is."""

import re
import subprocess
import sys
import tempfile
import textwrap
from pathlib import Path
from xml.sax.saxutils import escape

from broken_films import broken

SHOWN = "never-closed"
LINE, MARGIN, COLUMNS = 19, 24, 128


def say(tool, film, folder):
    """A terminal in which the broken film is checked and drawn, and what is drawn."""
    copy, picture = f"{SHOWN}.avi", f"{SHOWN}.svg"
    Path(folder, copy).write_bytes(next(data for name, _, data, *_ in broken(film.read_bytes()) if name == SHOWN))
    done = subprocess.run([tool, "check", copy], cwd=folder, capture_output=True, text=True)
    subprocess.run([tool, "map", copy, "-o", picture], cwd=folder, check=True)
    lines = [part for line in (done.stdout + done.stderr).splitlines()
             for part in textwrap.wrap(line, COLUMNS, drop_whitespace=False)]
    return ([f"$ sorn-tool check {copy}", *lines, f"$ sorn-tool map {copy} -o {picture}"],
            Path(folder, picture).read_text())


def terminal(lines, y, width):
    height = LINE * len(lines) + 2 * MARGIN - 8
    yield f'<g class="terminal"><rect x="{MARGIN}" y="{y}" width="{width - 2 * MARGIN}" height="{height}" rx="8"/>'
    for number, line in enumerate(lines):
        kind = ' class="typed"' if line.startswith("$ ") else ""
        yield (f'<text x="{2 * MARGIN}" y="{y + MARGIN + 8 + LINE * number}"{kind} '
               f'xml:space="preserve">{escape(line)}</text>')
    yield "</g>"


STYLE = """<style>
.terminal rect{fill:#f1f3f7;stroke:#d7dbe3}
.terminal text{font:14px ui-monospace,"DejaVu Sans Mono",Menlo,Consolas,monospace;fill:#1b2130}
.terminal .typed{fill:#667085}
.paper-below{fill:#fff}
@media (prefers-color-scheme:dark){.terminal rect{fill:#1c212c;stroke:#333a48}
.terminal text{fill:#e6e9f0}.terminal .typed{fill:#98a2b3}.paper-below{fill:#12151c}}
</style>"""


def main():
    tool, film, output = (Path(argument).resolve() for argument in sys.argv[1:])
    with tempfile.TemporaryDirectory() as folder:
        lines, map_svg = say(tool, film, folder)
    width, height = map(int, re.search(r'viewBox="0 0 (\d+) (\d+)"', map_svg).groups())
    above = LINE * len(lines) + 3 * MARGIN - 8
    whole = above + height
    placed = f'y="{above}" width="{width}" height="{height}"'
    output.write_text("\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {whole}" width="{width}" '
        f'height="{whole}" role="img" aria-label="A broken film, checked and drawn">',
        STYLE, f'<rect class="paper-below" width="{width}" height="{whole}"/>',
        *terminal(lines, MARGIN, width), map_svg.replace('width="100%"', placed, 1).strip(), "</svg>", ""]))


if __name__ == "__main__":
    main()
