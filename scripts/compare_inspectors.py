#!/usr/bin/env python3
"""compare_inspectors.py TOOL FOLDER [DOCUMENT]: shows each broken film in FOLDER to this project's
tool and to the inspectors that are installed, and prints whether each says what is broken and
where, and by which exit status. FOLDER/manifest.json says what was done to each film; see
broken_films.py. With DOCUMENT, the table between its markers is written anew.

What counts as said is what an inspector gives as a finding, not its list of what the file holds:
its messages, errors and failed rules.
"""

import json
import re
import shutil
import subprocess
import sys
from pathlib import Path

BEGIN, END = "<!-- written by scripts/compare-inspectors -->", "<!-- end of what scripts/compare-inspectors writes -->"


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, errors="replace",
                          stdin=subprocess.DEVNULL, timeout=60)


class Inspector:
    """How a program is asked, and which lines of its answer are findings."""

    def __init__(self, name, command, finding=None, stream="stdout", version_option="--version"):
        self.name, self.command, self.finding, self.stream = name, command, finding, stream
        self.version_option = version_option

    def title(self):
        done = run(self.command[0], self.version_option)
        number = re.search(r"\d+(\.\d+)+", done.stdout + done.stderr)
        return f"{self.name} {number[0]}" if number else self.name

    def ask(self, film):
        done = run(*(str(film) if word == "FILM" else word for word in self.command))
        lines = (done.stdout if self.stream == "stdout" else done.stderr).splitlines()
        return done.returncode, [line for line in lines
                                 if not self.finding or re.search(self.finding, line, re.I)]


FQ = '.. | select(._error?) | "error: \\(._error.error) at \\(._error.position // (._start / 8 | floor))"'


def inspectors(tool):
    return [i for i in (
        Inspector("sorn-tool", [tool, "check", "FILM"]),
        Inspector("ffprobe", ["ffprobe", "-hide_banner", "-v", "warning", "-show_format",
                              "-show_streams", "FILM"], stream="stderr", version_option="-version"),
        Inspector("fq", ["fq", "-d", "avi", "-r", FQ, "FILM"], finding="error"),
        Inspector("MediaInfo", ["mediainfo", "--Full", "FILM"],
                  finding=r"truncat|error|conform|invalid|incoherent"),
        Inspector("MediaConch", ["mediaconch", "-fx", "FILM"],
                  finding=r'outcome="fail"|error|truncat'),
    ) if shutil.which(i.command[0])]


def numbers(lines):
    """Every number in the lines, decimal or hexadecimal."""
    found = re.findall(r"\b0x[0-9a-f]+\b|\b\d[\d,]*\b", " ".join(lines), re.I)
    return {int(word.replace(",", ""), 0) if word[:2].lower() == "0x" else int(word.replace(",", ""))
            for word in found}


def judged(entry, lines, film):
    text = " ".join(lines).replace(str(film), "").lower()
    cause = any(word.lower() in text for word in entry["words"])
    place = any(entry["from"] <= number <= entry["to"] for number in numbers([text]))
    return cause, place


def verdict(status, lines, cause, place):
    said = [word for word, holds in (("cause", cause), ("place", place)) if holds]
    return f"{' and '.join(said) or ('something else' if lines else 'nothing')}, {status}"


def table(tool, folder):
    manifest = json.loads((folder / "manifest.json").read_text())
    programs = inspectors(tool)
    rows, totals = [], [[0, 0, 0] for _ in programs]
    for entry in manifest:
        cells = []
        for program, total in zip(programs, totals):
            film = folder / entry["file"]
            status, lines = program.ask(film)
            cause, place = judged(entry, lines, film)
            for k, holds in enumerate((cause, place, status != 0)):
                total[k] += holds
            cells.append(verdict(status, lines, cause, place))
        rows.append([entry["damage"], *cells])
    rows.append([f"**of {len(manifest)}: cause, place, exit status not 0**",
                 *(f"**{a}, {b}, {c}**" for a, b, c in totals)])
    head = ["what was done to the film", *(program.title() for program in programs)]
    lines = [head, ["---"] * len(head), *rows]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def main():
    tool, folder = sys.argv[1], Path(sys.argv[2])
    text = table(tool, folder)
    print(text, end="")
    for document in map(Path, sys.argv[3:]):
        before, _, rest = document.read_text().partition(BEGIN)
        _, found, after = rest.partition(END)
        if not found:
            sys.exit(f"{document} has no place for the table")
        document.write_text(f"{before}{BEGIN}\n{text}{END}{after}")


if __name__ == "__main__":
    main()
