#!/usr/bin/env python3
"""first_screen.py TOOL FILM OUTPUT: draws README.md's picture: the tool's map of a film, and below
it what the tool's `check` says of two broken copies of the film. It is light or dark as its reader's
screen is."""

import re
import subprocess
import sys
import tempfile
from pathlib import Path
from xml.sax.saxutils import escape

from broken_films import broken

SHOWN = ("never-closed", "cut-media")
LINE, MARGIN = 19, 24


def say(tool, film, folder):
    """A terminal with the two films checked in it."""
    for name, _, data, *_ in broken(film.read_bytes()):
        if name in SHOWN:
            Path(folder, f"{name}.avi").write_bytes(data)
    for name in SHOWN:
        yield f"$ sorn-tool check {name}.avi"
        done = subprocess.run([tool, "check", f"{name}.avi"], cwd=folder, capture_output=True,
                              text=True)
        yield from (done.stdout + done.stderr).splitlines()


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
        picture = Path(folder, "map.svg")
        subprocess.run([tool, "map", film, "-o", picture], check=True)
        map_svg = picture.read_text()
        lines = list(say(tool, film, folder))
    width, height = map(int, re.search(r'viewBox="0 0 (\d+) (\d+)"', map_svg).groups())
    whole = height + LINE * len(lines) + 3 * MARGIN - 8
    output.write_text("\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {whole}" width="{width}" '
        f'height="{whole}" role="img" aria-label="A map of a film, and two broken films checked">',
        STYLE, f'<rect class="paper-below" width="{width}" height="{whole}"/>',
        map_svg.replace('width="100%"', f'width="{width}" height="{height}"').strip(),
        *terminal(lines, height, width), "</svg>", ""]))


if __name__ == "__main__":
    main()
