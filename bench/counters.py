#!/usr/bin/env python3
"""Counts what calls of the plug-in cost, exactly: instructions, system calls, allocations.

    counters.py BUILD-FOLDER [--update]

The counts are compared with those in counters.json. An instruction count more than 2 % higher, or
any more system calls or allocations, fails (status 1). A lower count asks for --update, which
writes the file. Instruction counts hold for one compiler and one C library: with others they are
shown, not compared, and the status is 77 when all that could be compared is right.
"""
import argparse
import collections
import json
import os
import pathlib
import platform
import re
import subprocess
import sys
import tempfile

KEPT = pathlib.Path(__file__).with_name("counters.json")
TOLERANCE = 0.02
SKIPPED = 77
# The variants of string functions that a C library takes on every processor of its kind.
PLAIN_PROCESSOR = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX,-AVX2,-AVX512F,-AVX512VL,-ERMS,-FSRM,"
                                     "-MOVBE,-BMI1,-BMI2,-LZCNT,-POPCNT,-RTM,-SSE4_1,-SSE4_2"}


def environment(build):
    def first_line(*command):
        return subprocess.run(command, capture_output=True, text=True,
                              check=True).stdout.splitlines()[0]
    cache = (build / "CMakeCache.txt").read_text()
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.+)$", cache, re.M).group(1)
    return {"compiler": re.sub(r"^\S+ ", "", first_line(compiler, "--version")),
            "c_library": re.sub(r"^\S+ ", "", first_line("ldd", "--version")),
            "machine": platform.machine()}


def run(build, folder, *wrapper):
    command = [*wrapper, build / "bin/counted_calls", build / "lib/libdrm-sorn.so.0", folder]
    done = subprocess.run(command, env=os.environ | PLAIN_PROCESSOR, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"counters: {wrapper[0]} failed:\n{done.stderr}")


def instructions_by_library(dump, names):
    """The call that a dump is of, and its instructions. `names` are those numbered so far."""
    call, library, called = None, None, False
    counts = collections.Counter()
    for line in dump.read_text().splitlines():
        key, _, value = line.partition("=")
        if line.startswith("desc: Trigger: Client Request: "):
            call = line.split(": ", 3)[3]
        elif key in ("ob", "cob"):  # a name is spelled out once, and only numbered from then on
            number, _, spelled = value.partition(" ")
            names.setdefault(number, spelled)
            if key == "ob":
                library = names[number]
        elif key == "calls":
            called = True
        elif re.match(r"[+*\d-]", line):
            if not called:  # the line after a call is the callee's cost, which is counted there
                counts[library] += int(line.split()[1])
            called = False
    return call, counts


def count_instructions(build, folder):
    out = pathlib.Path(folder) / "callgrind"
    run(build, folder, "valgrind", "--tool=callgrind", "--collect-atstart=no", "--quiet",
        f"--callgrind-out-file={out}")
    names, counts = {}, {}
    for dump in sorted(out.parent.glob("callgrind.*"), key=lambda path: int(path.suffix[1:])):
        call, instructions = instructions_by_library(dump, names)
        counts[call] = {
            "plug_in": sum(n for name, n in instructions.items() if "libdrm-sorn" in name),
            "c_library": sum(n for name, n in instructions.items() if "/libc.so" in name)}
    return counts


def count_system_calls_and_allocations(build, folder):
    trace = pathlib.Path(folder) / "trace"
    run(build, folder, "strace", "-s", "100", "-o", trace)
    counts, call, system_calls = {}, None, None
    for line in trace.read_text().splitlines():
        if begin := re.match(r'write\(-1, "begin (.+?)"', line):
            call, system_calls = begin.group(1), collections.Counter()
        elif end := re.match(r'write\(-1, "end .+: (\d+)"', line):
            counts[call] = {"allocations": int(end.group(1)),
                            "system_calls": dict(sorted(system_calls.items()))}
            call = None
        elif call and (name := re.match(r"(\w+)\(", line)):
            system_calls[name.group(1)] += 1
    return counts


def measure(build):
    with tempfile.TemporaryDirectory() as folder:
        instructions = count_instructions(build, folder)
        others = count_system_calls_and_allocations(build, folder)
    if not instructions or instructions.keys() != others.keys():
        sys.exit("counters: callgrind and strace saw different calls")
    return {call: instructions[call] | others[call] for call in instructions}


def print_table(counts):
    print(f"{'call':22}{'instructions':>13}{'plug-in':>10}{'C library':>11}{'alloc':>7}  system calls")
    for call, count in counts.items():
        system_calls = count["system_calls"]
        listed = ", ".join(f"{n} {name}" for name, n in system_calls.items()) or "none"
        print(f"{call:22}{count['plug_in'] + count['c_library']:13,}{count['plug_in']:10,}"
              f"{count['c_library']:11,}{count['allocations']:7}  "
              f"{sum(system_calls.values())}: {listed}")


def figures(count, with_instructions):
    """What is compared: a name, the figure, and how much higher it may be."""
    if with_instructions:
        yield "instructions", count["plug_in"] + count["c_library"], TOLERANCE
    yield "allocations", count["allocations"], 0
    yield "system calls", sum(count["system_calls"].values()), 0


def compare(kept, counts, with_instructions):
    """Lists of what became worse and what became better."""
    worse = [f"{call}: not in {KEPT.name}" for call in counts.keys() - kept.keys()]
    worse += [f"{call}: no longer counted" for call in kept.keys() - counts.keys()]
    better = []
    for call in counts.keys() & kept.keys():
        pairs = zip(figures(kept[call], with_instructions), figures(counts[call], with_instructions))
        for (name, before, tolerance), (_, now, _) in pairs:
            if now > before * (1 + tolerance):
                worse.append(f"{call}: {name} {before:,} -> {now:,}")
            elif now < before:
                better.append(f"{call}: {name} {before:,} -> {now:,}")
    return sorted(worse), sorted(better)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--update", action="store_true", help=f"write {KEPT.name}")
    arguments = parser.parse_args()

    here = environment(arguments.build)
    counts = measure(arguments.build)
    print_table(counts)
    if arguments.update:
        KEPT.write_text(json.dumps({"environment": here, "calls": counts}, indent=1) + "\n")
        return 0

    kept = json.loads(KEPT.read_text())
    same_environment = kept["environment"] == here
    worse, better = compare(kept["calls"], counts, same_environment)
    for line in worse:
        print("WORSE  " + line)
    for line in better:
        print("better " + line)
    if worse:
        return 1
    if better:
        print("Better than counters.json: keep it with scripts/counters --update")
    if not same_environment:
        print(f"Instructions not compared: counted with {kept['environment']}, this is {here}")
        return SKIPPED
    return 0


if __name__ == "__main__":
    sys.exit(main())
