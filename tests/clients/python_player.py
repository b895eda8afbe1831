#!/usr/bin/env python3
"""Reads every chunk of media through sorn.py, and says what each stream delivered.

    python_player.py LIBRARY DEBUG_MESSAGE_LIBRARY [--direct] [--start=SECONDS] FILE

Reads the file by Python's own file object with --direct. With a start, the way into the file is that
part of it that the seconds are of two, and what is read from there is 64 KiB.
"""

import hashlib
import os
import signal
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "clients/python"))
import play  # noqa: E402
import sorn  # noqa: E402


def open_file(library, debug_message, path, direct):
    if direct:
        return open(path, "rb", buffering=0)
    return sorn.SornFile(sorn.load(library, debug_message), path)


def print_part(file, start):
    position = int(os.path.getsize(file.name) * start / 2)
    file.seek(position)
    data = file.read(1 << 16)
    print(f"stream part: from {position} to {file.tell()}, MD5 {hashlib.md5(data).hexdigest()}")


def print_streams(file):
    streams = {}
    for fourcc, piece, _ in play.chunks(file):
        if fourcc[:2].isdigit():
            streams.setdefault(fourcc.decode("latin-1"), hashlib.md5()).update(piece)
    for fourcc, digest in sorted(streams.items()):
        print(f"stream {fourcc}: MD5 {digest.hexdigest()}")


def main(library, debug_message, *rest):
    start = [float(option[8:]) for option in rest if option.startswith("--start=")]
    with open_file(library, debug_message, rest[-1], "--direct" in rest) as file:
        if start:
            print_part(file, start[0])
        else:
            print_streams(file)


if __name__ == "__main__":
    signal.signal(signal.SIGINT, signal.default_int_handler)
    try:
        main(*sys.argv[1:])
    except OSError as error:
        sys.exit(str(error))
    except KeyboardInterrupt:
        sys.exit(130)
