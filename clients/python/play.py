#!/usr/bin/env python3
"""Plays an AVI file through libdrm-sorn and says what every stream delivered.

    play.py LIBRARY DEBUG_MESSAGE_LIBRARY FILE

sorn.py, beside this file, says what the libraries are.
"""

import os
import struct
import sys

sys.dont_write_bytecode = True  # leaves nothing beside the sources
import sorn  # noqa: E402


def chunks(file):
    """Every chunk's id and payload, in pieces of at most a MiB, and whether a piece is the last."""
    while len(header := file.read(8)) == 8:
        fourcc, size = struct.unpack("<4sI", header)
        if fourcc in (b"RIFF", b"LIST"):
            if file.read(4) in (b"movi", b"rec ") or fourcc == b"RIFF":
                continue  # its first chunk is next
            file.seek(-4, os.SEEK_CUR)
        if fourcc == b"JUNK":
            file.seek(size + size % 2, os.SEEK_CUR)
            continue
        left = size
        while True:
            piece = file.read(min(left, 1 << 20))
            left -= len(piece)
            yield fourcc, piece, left == 0 or not piece
            if left == 0 or not piece:
                break
        file.seek(size & 1, os.SEEK_CUR)


def main(library, debug_message_library, path):
    streams = {}
    with sorn.SornFile(sorn.load(library, debug_message_library), path) as file:
        for fourcc, piece, last in chunks(file):
            if not fourcc[:2].isdigit() or fourcc[2:3] == b"i":
                continue
            count, size = streams.get(int(fourcc[:2]), (0, 0))
            streams[int(fourcc[:2])] = (count + last, size + len(piece))
    for stream, (count, size) in sorted(streams.items()):
        print(f"stream {stream}: {count} chunks, {size} bytes")


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    try:
        main(*sys.argv[1:])
    except OSError as error:
        sys.exit(str(error))
