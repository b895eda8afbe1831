"""Counts the instructions that calls of the plug-in take on 32-bit ARM, exactly, under emulation.

The build is one of the preset arm-linux-gnueabihf; what counts is a plug-in of the emulator, from
the build for this machine.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
SYSTEM_ROOT = pathlib.Path("/usr/arm-linux-gnueabihf")
MARK = re.compile(r"(begin|end) (\d+) (.+): (\d+) (\d+)")


def first_line(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=True)
    return done.stdout.splitlines()[0]


def environment():
    library = first_line("qemu-arm", "-L", SYSTEM_ROOT, SYSTEM_ROOT / "lib/libc.so.6")
    return {"compiler": first_line("arm-linux-gnueabihf-g++", "--version").partition(" ")[2],
            "c_library": re.search(r"\((.+?)\)", library).group(1),
            "emulator": re.search(r"version (\d+\.\d+)", first_line("qemu-arm", "--version"))[1]}


def rounds(counter, build, *arguments):
    """The calls that are made between marks: name, number, instructions of plug-in and C library."""
    # Relative names, which take as much memory in every checkout.
    program, plug_in = (str((build / path).resolve().relative_to(ROOT))
                        for path in ("bin/counted_rounds", "lib/libdrm-sorn.so.0"))
    done = subprocess.run(["qemu-arm", "-L", SYSTEM_ROOT, "-plugin", counter.resolve(), program,
                           plug_in, *arguments], cwd=ROOT, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"counters: counted_rounds failed:\n{done.stderr}")
    marks = [MARK.fullmatch(line) for line in done.stderr.splitlines()]
    if not marks or None in marks:
        sys.exit(f"counters: counted_rounds printed:\n{done.stderr}")
    for begin, end in zip(marks[::2], marks[1::2]):
        yield begin[3], int(begin[2]), [int(end[i]) - int(begin[i]) for i in (4, 5)]


def instructions(counter, build, *arguments):
    """The instructions of each call: what twice as many calls take more."""
    all_rounds = list(rounds(counter, build, *arguments))
    counts = {}
    for (name, calls, once), (_, _, twice) in zip(all_rounds[::2], all_rounds[1::2]):
        plug_in, c_library = (round((b - a) / calls) for a, b in zip(once, twice))
        counts[name] = {"plug_in": plug_in, "c_library": c_library}
    return counts


def text_and_data(build):
    """The bytes of the plug-in as it is installed."""
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.run(["arm-linux-gnueabihf-strip", "-o", stripped.name,
                        build / "lib/libdrm-sorn.so.0"], check=True)
        sizes = subprocess.run(["arm-linux-gnueabihf-size", stripped.name], capture_output=True,
                               text=True, check=True).stdout.splitlines()[1].split()
    return int(sizes[0]) + int(sizes[1])


def measure(build, counter):
    calls = {}
    for sample in sorted((ROOT / "samples").glob("*.avi")):
        calls |= instructions(counter, build, "open", sample.relative_to(ROOT))
    with tempfile.TemporaryDirectory() as folder:
        calls |= instructions(counter, build, "read", pathlib.Path(folder) / "chunks")
    return {"environment": environment(), "text_and_data": text_and_data(build), "calls": calls}
