#!/usr/bin/env python3
"""figures.py [--check] SIZES COVERAGE LIBRARY DOCUMENT: writes the promise in figures between its
marks in DOCUMENT, or with --check fails when other figures stand there. SIZES and COVERAGE hold
what scripts/sizes and scripts/coverage have printed; the counts are those that scripts/counters
holds calls to."""

import json
import re
import subprocess
import sys
from pathlib import Path

MARKS = "<!-- written by scripts/figures -->\n", "<!-- end of what scripts/figures writes -->\n"


def number(pattern, text):
    found = re.search(pattern, text)
    if not found:
        sys.exit(f"figures: nothing like «{pattern}» in\n{text}")
    return f"{int(found[1]):,}"


def rows(sizes, coverage, library, counters):
    yield "code and data on 32-bit ARM", number(r"= (\d+) bytes", sizes) + " bytes"
    yield "heap for an open file there", number(r"one open file: (\d+) bytes", sizes) + " bytes"
    yield "stack at most, in one function", number(r"functions: (\d+) bytes", sizes) + " bytes"
    needed = re.findall(r"NEEDED.*\[(.*)\]", subprocess.run(
        ["readelf", "-d", library], capture_output=True, text=True, check=True).stdout)
    yield "libraries that it needs, all the C library's", ", ".join(needed)
    film = counters["calls"]["film open"]
    yield "instructions of opening a film, the C library's aside", f"{film['plug_in']:,}"
    yield "system calls of opening a film", str(sum(film["system_calls"].values()))
    yield "lines of it that tests run", covered("lines", coverage)
    yield "branches of it that tests take", covered("branches", coverage)
    yield "conditions of it that tests show to decide alone (MC/DC)", covered("conditions", coverage)


def covered(what, coverage):
    found = re.search(rf"^{what}: (\d+) of (\d+)$", coverage, re.MULTILINE)
    if not found:
        sys.exit(f"figures: no {what} in\n{coverage}")
    return f"{int(found[1]):,} of {int(found[2]):,}"


def main():
    arguments = sys.argv[1:]
    check = arguments[0] == "--check"
    sizes, coverage, library, document = map(Path, arguments[check:])
    counters = json.loads(Path("bench/counters.json").read_text())
    table = "| | |\n|---|--:|\n" + "".join(f"| {what} | {figure} |\n" for what, figure in rows(
        sizes.read_text(), coverage.read_text(), library, counters))
    text = document.read_text()
    before, rest = text.split(MARKS[0])
    new = before + MARKS[0] + table + MARKS[1] + rest.split(MARKS[1])[1]
    print(table, end="")
    if check and new != text:
        sys.exit(f"{document} has other figures: run scripts/figures")
    document.write_text(new)


if __name__ == "__main__":
    main()
