#!/usr/bin/env python3
"""Runs the example programs on real files. One test for each call, named on the command line."""

import argparse
import contextlib
import glob
import os
import struct
import subprocess
import sys
import tempfile


def run(command, expected_status=0, **environment):
    environment = {**os.environ, **environment}
    done = subprocess.run(command, capture_output=True, text=True, env=environment)
    if done.returncode != expected_status:
        sys.exit(f"{command}: exit status {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def play_py(options, file, **rest):
    if options.preload:  # the interpreter's own memory is not what is tested
        rest.update(LD_PRELOAD=options.preload, ASAN_OPTIONS="detect_leaks=0")
    command = [sys.executable, options.play_py, options.plug_in, options.debug_message, file]
    return run(command, **rest)


def play_c(options, file, **rest):
    return run([options.play, file], **rest)


def streams_of(data):
    """What a player of `data` prints, found in the bytes without the plug-in."""
    streams, pos = {}, 0
    while pos + 8 <= len(data):
        fourcc, size = struct.unpack_from("<4sI", data, pos)
        entered = fourcc == b"LIST" and data[pos + 8 : pos + 12] in (b"movi", b"rec ")
        if fourcc == b"RIFF" or entered:
            pos += 12
            continue
        if fourcc[:2].isdigit() and fourcc[2:3] != b"i":
            chunks, total = streams.get(int(fourcc[:2]), (0, 0))
            held = min(size, len(data) - pos - 8)
            streams[int(fourcc[:2])] = (chunks + 1, total + held)
        pos += 8 + size + size % 2
    return "".join(
        f"stream {stream}: {chunks} chunks, {total} bytes\n"
        for stream, (chunks, total) in sorted(streams.items())
    )


@contextlib.contextmanager
def builder_files(options):
    with tempfile.TemporaryDirectory() as folder:
        run([options.write_files, folder])
        yield os.path.join(folder, "plain.avi"), os.path.join(folder, "rich.avi")


def plays(options, play):
    with builder_files(options) as (plain, rich):
        for path in [plain, rich, *glob.glob(os.path.join(options.samples, "*.avi"))]:
            with open(path, "rb") as file:
                expected = streams_of(file.read())
            played = play(options, path).stdout
            if not expected or played != expected:
                sys.exit(f"{path}: played\n{played}instead of\n{expected}")
        with open(plain, "r+b") as file:
            file.truncate(16)
        play(options, plain, expected_status=1)  # refused


def test_play_c(options):
    plays(options, play_c)
    if "usage: " not in run([options.play], expected_status=2).stderr:
        sys.exit("without a file it does not say what it wants")
    if "missing.avi: cannot be opened" not in play_c(options, "missing.avi", expected_status=1).stderr:
        sys.exit("it does not say what it cannot open")


def test_play_py(options):
    plays(options, play_py)


def test_log(options):
    """Both print the library's messages when asked to, and only then."""
    with builder_files(options) as (plain, _):
        for play in play_c, play_py:
            if play(options, plain).stderr:
                sys.exit("messages that nobody asked for")
            messages = play(options, plain, DRM_SORN_LOG="1").stderr
            if messages.count("CHUNK_TYPE_VIDEO STARTS\n") != 2:
                sys.exit(f"the two frames are not in the log:\n{messages}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for option in "samples", "write-files", "plug-in", "debug-message", "play", "play-py":
        parser.add_argument(f"--{option}", required=True)
    parser.add_argument("--preload", help="library that a plain interpreter has to load first")
    parser.add_argument("test")
    options = parser.parse_args()
    globals()[f"test_{options.test}"](options)


if __name__ == "__main__":
    main()
