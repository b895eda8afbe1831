"""Counts what calls of the plug-in take on this machine, exactly: instructions with callgrind, system
calls with strace, allocations in counted_calls itself.
"""
import collections
import os
import pathlib
import platform
import re
import subprocess
import sys
import tempfile

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
    return {"environment": environment(build),
            "calls": {call: instructions[call] | others[call] for call in instructions}}
