#!/usr/bin/env python3
"""Counts what calls of the plug-in cost, exactly: instructions, system calls, allocations.

    counters.py BUILD-FOLDER ARM-BUILD-FOLDER [--update]

The counts are compared with those in counters.json. On this machine, an instruction count more than
2 % higher or any more system calls or allocations fail (status 1); on ARM, where an emulator counts,
any more instructions, or a library more than 2 % larger. A lower count asks for --update, which
writes the file, and what docs/benchmarks.md says of the goals.

Instruction counts hold for one compiler and one C library: with others they are shown, not compared,
and the status is 77 when all that could be compared is right.
"""
import argparse
import json
import pathlib
import sys

import arm_counts
import goals
import report
import x86_counts

KEPT = pathlib.Path(__file__).with_name("counters.json")
PAGE = KEPT.parent.parent / "docs" / "benchmarks.md"
TOLERANCE = 0.02
SKIPPED = 77


def print_tables(counters):
    print(f"{'call':22}{'instructions':>13}{'plug-in':>10}{'C library':>11}{'alloc':>7}  system calls")
    for call, count in counters["calls"].items():
        system_calls = count["system_calls"]
        listed = ", ".join(f"{n} {name}" for name, n in system_calls.items()) or "none"
        print(f"{call:22}{count['plug_in'] + count['c_library']:13,}{count['plug_in']:10,}"
              f"{count['c_library']:11,}{count['allocations']:7}  "
              f"{sum(system_calls.values())}: {listed}")
    print(f"\n{'call on ARM':37}{'instructions':>13}{'plug-in':>10}{'C library':>11}")
    for call, count in counters["arm"]["calls"].items():
        print(f"{call:37}{sum(count.values()):13,}{count['plug_in']:10,}{count['c_library']:11,}")
    print(f"\nText and data on ARM: {counters['arm']['text_and_data']:,} bytes")


def figures(counters):
    """What is compared, by name: the figure, how much higher it may be, and whose it is when it
    holds for one environment only."""
    for call, count in counters["calls"].items():
        total = count["plug_in"] + count["c_library"]
        yield f"{call}: instructions", (total, TOLERANCE, "x86")
        yield f"{call}: allocations", (count["allocations"], 0, None)
        yield f"{call}: system calls", (sum(count["system_calls"].values()), 0, None)
    for call, count in counters["arm"]["calls"].items():
        for whose, number in count.items():
            yield f"{call}: ARM instructions, {whose}", (number, 0, "arm")
    yield "ARM text and data", (counters["arm"]["text_and_data"], TOLERANCE, "arm")


def compare(kept, counters, skipped):
    """Lists of what became worse and what became better. `skipped` environments are left out."""
    before, now = dict(figures(kept)), dict(figures(counters))
    worse = [f"{name}: not in {KEPT.name}" for name in now.keys() - before.keys()]
    worse += [f"{name}: no longer counted" for name in before.keys() - now.keys()]
    better = []
    for name in now.keys() & before.keys():
        (was, tolerance, environment), (figure, _, _) = before[name], now[name]
        if environment in skipped:
            continue
        if figure > was * (1 + tolerance):
            worse.append(f"{name} {was:,} -> {figure:,}")
        elif figure < was:
            better.append(f"{name} {was:,} -> {figure:,}")
    return sorted(worse), sorted(better)


def other_environments(kept, counters):
    pairs = {"x86": (kept, counters), "arm": (kept["arm"], counters["arm"])}
    return {name: f"counted with {was['environment']}, this is {here['environment']}"
            for name, (was, here) in pairs.items() if was["environment"] != here["environment"]}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("arm_build", type=pathlib.Path)
    parser.add_argument("--update", action="store_true",
                        help=f"write {KEPT.name} and {PAGE.name}")
    arguments = parser.parse_args()

    counter = arguments.build / "lib/libcount_instructions.so"
    counters = x86_counts.measure(arguments.build)
    counters["arm"] = arm_counts.measure(arguments.arm_build, counter)
    print_tables(counters)
    if arguments.update:
        KEPT.write_text(json.dumps(counters, indent=1) + "\n")
        report.write_between_marks(PAGE, "scripts/counters", goals.counted_table(counters))
        return 0

    kept = json.loads(KEPT.read_text())
    skipped = other_environments(kept, counters)
    worse, better = compare(kept, counters, skipped)
    if goals.counted_table(kept) not in PAGE.read_text():
        worse.append(f"{PAGE.name} does not show the counts of {KEPT.name}")
    for line in worse:
        print("WORSE  " + line)
    for line in better:
        print("better " + line)
    if worse:
        return 1
    if better:
        print("Better than counters.json: keep it with scripts/counters --update")
    for name, why in skipped.items():
        print(f"Instructions on {name} not compared: {why}")
    return SKIPPED if skipped else 0


if __name__ == "__main__":
    sys.exit(main())
