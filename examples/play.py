#!/usr/bin/env python3
"""Plays an AVI file through libdrm-sorn and says what every stream delivered.

    play.py LIBRARY DEBUG_MESSAGE_LIBRARY FILE

LIBRARY is libdrm-sorn.so.0. It calls _debug_message, a function that the process must have before
the library is loaded; Python cannot define one, so DEBUG_MESSAGE_LIBRARY brings it: the platform's,
or libdebug_message.so, which debug_message.c beside this file becomes.
"""

import ctypes
import os
import struct
import sys


def load(library, debug_message_library):
    # RTLD_GLOBAL: what this library defines resolves what the next one lacks.
    ctypes.CDLL(debug_message_library, mode=ctypes.RTLD_GLOBAL)
    sorn = ctypes.CDLL(library)
    handle = ctypes.c_void_p
    uint32_pointer = ctypes.POINTER(ctypes.c_uint32)
    for name, result, arguments in [
        ("open", ctypes.c_int64, [ctypes.c_char_p, ctypes.POINTER(handle)]),
        ("close", ctypes.c_int32, [handle]),
        ("read", ctypes.c_int64, [handle, ctypes.c_void_p, ctypes.c_uint32, uint32_pointer]),
        ("seek", ctypes.c_int32, [handle, ctypes.c_int32, ctypes.c_int]),
        ("tell", ctypes.c_int32, [handle]),
    ]:
        function = getattr(sorn, f"drm_svc_sorn_{name}_file")
        function.restype, function.argtypes = result, arguments
    return sorn


class SornFile:
    """An AVI file opened through the library."""

    def __init__(self, sorn, path):
        self._sorn = sorn
        self._handle = ctypes.c_void_p()
        result = sorn.drm_svc_sorn_open_file(os.fsencode(path), ctypes.byref(self._handle))
        if result != 0:
            raise OSError(f"{path}: refused ({result})")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._sorn.drm_svc_sorn_close_file(self._handle)

    def read(self, size):
        buffer = ctypes.create_string_buffer(max(size, 1))
        count = ctypes.c_uint32()
        self._sorn.drm_svc_sorn_read_file(self._handle, buffer, size, ctypes.byref(count))
        return buffer.raw[: count.value]

    def seek(self, offset, whence=os.SEEK_SET):
        self._sorn.drm_svc_sorn_seek_file(self._handle, offset, whence)

    def tell(self):
        return self._sorn.drm_svc_sorn_tell_file(self._handle)


def chunks(file):
    """Every chunk's id and payload, in pieces of at most a MiB, and whether a piece is the last."""
    while len(header := file.read(8)) == 8:
        fourcc, size = struct.unpack("<4sI", header)
        if fourcc in (b"RIFF", b"LIST"):
            if file.read(4) in (b"movi", b"rec ") or fourcc == b"RIFF":
                continue  # its first chunk is next
            file.seek(-4, os.SEEK_CUR)
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
    with SornFile(load(library, debug_message_library), path) as file:
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
