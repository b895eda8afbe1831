#!/usr/bin/env python3
"""Turns a run of the benchmarks into tables of ratios, ours to each rival, and a plot.

    report.py RESULTS.json DOCUMENT.md PLOT.svg README.md

All tables are printed and stand in the document, those that say most also in the README, each
between a pair of marks. Only a run of everything is written there; a filtered one is printed, and
so is one beside another build of the plug-in.

Medians of the processor time that the process used, user and system: another load on the machine
stretches the clock's time, and this far less. Threads are compared by the clock.
"""
import json
import math
import pathlib
import re
import sys
from xml.sax.saxutils import escape

import goals

TITLES = {"open": "Open and close, by film", "streams": "Open and close, by number of streams",
          "chunks": "Open and close, by chunks before the media list",
          "pass": "A pass over all media chunks", "load": "Open and close, loading a 1 MiB chunk"}
# Colours that hold on white and on black.
RIVALS = {"before": "#b0268c", "libavformat": "#d9730d", "walker_pread": "#0f9d6b", "walker_stream": "#3b82d6",
          "fopen_fclose": "#8a8a8a", "same_calls": "#3b82d6", "fseek_fread": "#8a8a8a",
          "pread": "#0f9d6b", "fread_each_byte": "#d9730d", "fread_whole": "#0f9d6b"}


def medians(path):
    found = {}
    for run in json.loads(path.read_text())["benchmarks"]:
        if run.get("aggregate_name") == "median":
            found[run["run_name"]] = run
    return found


def rows(runs):
    """Group, file, our time, and the ratio to each rival's."""
    times = {}
    for name, run in runs.items():
        group, file, who = name.split("/")[:3]
        if group in TITLES:
            times.setdefault((group, file), {})[who] = run["cpu_time"]
    def in_order(key):
        group, file = key
        return list(TITLES).index(group), [int(n) for n in re.findall(r"\d+", file)], file

    for group, file in sorted(times, key=in_order):
        by_who = times[group, file]
        ours = by_who["ours"]
        yield group, file, ours, {who: ours / by_who[who] for who in RIVALS if who in by_who}


# What the README shows: a line of text, and the ratio that it speaks of.
HIGHLIGHTS = (
    ("open and close a 10-second film", "film-1MB", "open", "libavformat"),
    ("open and close a 200 MB film", "film-200MB", "open", "libavformat"),
    ("open and close a 1.2 GB OpenDML film", "film-1200MB", "open", "libavformat"),
    ("read every chunk of the 10-second film", "film-1MB", "pass", "libavformat"),
    ("the same, against the very calls on a stream with locks", "film-1MB", "pass", "same_calls"),
    ("load a 1 MiB chunk, against a locked read a byte", "stream-data", "load", "fread_each_byte"),
)


def highlights(runs):
    ratios = {(group, file): of_file for group, file, _, of_file in rows(runs)}
    yield "| | our time, as a share of | |\n|---|---|--:|"
    for what, file, group, rival in HIGHLIGHTS:
        yield f"| {what} | {rival} | {ratios[group, file][rival]:.3g} |"


def write_between_marks(path, script, text):
    begin, end = f"<!-- written by {script} -->\n", f"<!-- end of what {script} writes -->\n"
    before, rest = path.read_text().split(begin)
    after = rest.split(end)[1]
    path.write_text(before + begin + text + end + after)


def tables(runs):
    for group, title in TITLES.items():
        of_group = [row for row in rows(runs) if row[0] == group]
        if not of_group:
            continue
        rivals = list(of_group[0][3])
        yield f"\n### {title}\n"
        yield "| file | ours, µs | " + " | ".join(rivals) + " |"
        yield "|---|--:|" + "--:|" * len(rivals)
        missed = []
        for _, file, ours, ratios in of_group:
            cells = []
            for rival in rivals:
                goal = goals.of_ratio(group, file, rival)
                verdict = f" ({goal.verdict(ratios[rival])})" if goal else ""
                cells.append(f"{ratios[rival]:.3g}{verdict}")
                if goal and (why := goal.missed(ratios[rival])):
                    missed.append(f"- {file}, {rival}, {ratios[rival]:.3g}: {why}.")
            yield f"| {file} | {ours / 1000:,.1f} | " + " | ".join(cells) + " |"
        if missed:
            yield "\nMore than they should be:\n"
            yield from missed
    yield "\n### Handles\n"
    for name, run in runs.items():
        if name.startswith("memory/"):
            yield f"{run['bytes_each']:,.0f} bytes of heap each, the C library's buffer included."
    threads = {run["threads"]: run["items_per_second"] for name, run in runs.items()
               if name.startswith("threads/")}
    for count, rate in sorted(threads.items()):
        yield f"{count} thread(s), a handle each: {rate:,.0f} chunks a second in all."


def plot(runs):
    left, width, row_height, low, high = 190, 560, 20, 0.001, 1000
    parts, y = [], 56

    def x(ratio):
        share = math.log(min(max(ratio, low), high) / low) / math.log(high / low)
        return left + width * share

    def text(at_x, at_y, content, extra=""):
        parts.append(f'<text x="{at_x:.1f}" y="{at_y}" {extra}>{escape(content)}</text>')

    text(16, 24, "Our time as a share of each rival's (left is faster)", 'class="title"')
    for group, title in TITLES.items():
        of_group = [row for row in rows(runs) if row[0] == group]
        if not of_group:
            continue
        text(16, y, title, 'class="title"')
        y += 18
        legend = 16
        for rival in of_group[0][3]:
            parts.append(f'<circle cx="{legend + 5}" cy="{y - 4}" r="5" fill="{RIVALS[rival]}"/>')
            text(legend + 15, y, rival)
            legend += 30 + 7 * len(rival)
        top = y + 8
        for _, file, _, ratios in of_group:
            y += row_height
            text(16, y, file)
            parts.append(f'<line x1="{left}" x2="{left + width}" y1="{y - 4}" y2="{y - 4}"/>')
            for rival, ratio in ratios.items():
                parts.append(f'<circle cx="{x(ratio):.1f}" cy="{y - 4}" r="5" '
                             f'fill="{RIVALS[rival]}"><title>{escape(rival)}: {ratio:.3g}'
                             f'</title></circle>')
        for tick in (0.001, 0.01, 0.1, 1, 10, 100, 1000):
            strong = ' class="one"' if tick == 1 else ""
            parts.append(f'<line{strong} x1="{x(tick):.1f}" x2="{x(tick):.1f}" y1="{top}" '
                         f'y2="{y + 6}"/>')
            text(x(tick), y + 20, f"{tick:g}", 'text-anchor="middle"')
        y += 56
    style = ("text{font:12px sans-serif;fill:#222}.title{font-weight:bold}"
             "line{stroke:#8888;stroke-width:.6}.one{stroke:#222;stroke-width:1.2}"
             "@media(prefers-color-scheme:dark){text{fill:#ddd}.one{stroke:#ddd}}")
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {left + width + 30} {y - 24}">'
            f"<style>{style}</style>" + "\n".join(parts) + "</svg>\n")


def main(results, document, picture, readme):
    runs = medians(pathlib.Path(results))
    if not runs:
        sys.exit("report: no medians in " + results)
    all_tables = "\n".join(tables(runs)) + "\n"
    print(all_tables, end="")
    two_builds = any(name.endswith("/before") for name in runs)
    if {group for group, *_ in rows(runs)} == set(TITLES) and not two_builds:
        write_between_marks(pathlib.Path(document), "scripts/bench", all_tables)
        write_between_marks(pathlib.Path(readme), "scripts/bench",
                            "\n".join(highlights(runs)) + "\n")
        pathlib.Path(picture).write_text(plot(runs))


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
