#!/usr/bin/env python3
"""Spreads the media of an AVI file over an OpenDML film of more than 5 GiB.

    long_film.py FILE FILM

The film plays like FILE: the same streams, the same chunks in the same order. They lie in seven
groups with holes between them, which take no room on the disk; one chunk crosses the second GiB and
one the fourth. Five forms hold them, each with its own indexes, which the headers list.
"""

import struct
import sys

GIB = 1 << 30
FORMS = [0, 5 * GIB // 4, 10 * GIB // 4, 15 * GIB // 4, 5 * GIB]
# The groups of each form: where one starts, or what one of its chunks has to cross.
GROUPS = [
    [("at", 0), ("at", GIB)],
    [("at", 0), ("across", 2 * GIB)],
    [("at", 3 * GIB)],
    [("across", 4 * GIB)],
    [("at", 0)],
]
KEY_FRAME = 0x10


def chunk(fourcc, payload):
    return struct.pack("<4sI", fourcc, len(payload)) + payload + b"\0" * (len(payload) % 2)


def listed(kind, *parts):
    return chunk(b"LIST", kind + b"".join(parts))


def chunks_in(data, pos, end):
    """(fourcc, position of the payload, its size) of each chunk between two positions."""
    while pos + 8 <= end:
        fourcc, size = struct.unpack_from("<4sI", data, pos)
        yield fourcc, pos + 8, size
        pos += 8 + size + size % 2


class Source:
    """The headers and the media of an AVI file of one form, with a list of streams and a movi list."""

    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = data = file.read()
        lists = {data[pos : pos + 4]: (pos + 4, pos + size)
                 for fourcc, pos, size in chunks_in(data, 12, len(data)) if fourcc == b"LIST"}
        self.main_header = b""
        self.streams = []  # the "strh" and "strf" payloads of each
        for fourcc, pos, size in chunks_in(data, *lists[b"hdrl"]):
            if fourcc == b"avih":
                self.main_header = data[pos : pos + size]
            elif fourcc == b"LIST" and data[pos : pos + 4] == b"strl":
                parts = {name: data[start : start + length]
                         for name, start, length in chunks_in(data, pos + 4, pos + size)}
                self.streams.append((parts[b"strh"], parts[b"strf"]))
        self.media = [(fourcc, data[pos : pos + size])
                      for fourcc, pos, size in chunks_in(data, *lists[b"movi"])]

    def duration(self, fourcc, payload):
        """What a chunk adds to the length of its stream, in the stream's own ticks."""
        sample_size = struct.unpack_from("<I", self.streams[int(fourcc[:2])][0], 44)[0]
        return len(payload) // sample_size if sample_size else 1


class Form:
    """What of a form has been written so far."""

    def __init__(self, source, number, start):
        self.source = source
        self.number = number
        self.start = start
        self.placed = []  # (fourcc, position of the payload, payload)

    def frames(self):
        return sum(fourcc[2:] in (b"dc", b"db") for fourcc, _, _ in self.placed)

    def of_stream(self, stream):
        return [entry for entry in self.placed if int(entry[0][:2]) == stream]

    def standard_index(self, stream):
        entries = self.of_stream(stream)
        fourcc = entries[0][0] if entries else b"%02ddc" % stream
        head = struct.pack("<HBBI4sQI", 2, 0, 1, len(entries), fourcc, self.start, 0)
        return chunk(b"ix%02d" % stream, head + b"".join(
            struct.pack("<II", pos - self.start, len(payload)) for _, pos, payload in entries))

    def old_index(self, movi):
        return chunk(b"idx1", b"".join(
            struct.pack("<4sIII", fourcc, KEY_FRAME, pos - 8 - movi, len(payload))
            for fourcc, pos, payload in self.placed))


class Film:
    def __init__(self, source, file):
        self.source = source
        self.file = file
        self.super_indexes = [[] for _ in source.streams]
        self.forms = []

    def headers(self):
        """As long whatever is known by now of what is to be in them."""
        frames = [form.frames() for form in self.forms] or [0]
        main_header = bytearray(self.source.main_header)
        struct.pack_into("<I", main_header, 16, frames[0])
        streams = [
            listed(b"strl", chunk(b"strh", header), chunk(b"strf", layout),
                   self.super_index(number))
            for number, (header, layout) in enumerate(self.source.streams)]
        extended = listed(b"odml", chunk(b"dmlh", struct.pack("<I244x", sum(frames))))
        return listed(b"hdrl", chunk(b"avih", bytes(main_header)), *streams, extended)

    def super_index(self, stream):
        entries = self.super_indexes[stream]
        fourcc = next(fourcc for fourcc, _ in self.source.media if int(fourcc[:2]) == stream)
        head = struct.pack("<HBBI4s12x", 4, 0, 0, len(entries), fourcc)
        room = b"\0" * 16 * (len(FORMS) - len(entries))
        return chunk(b"indx", head + b"".join(entries) + room)

    def fill_up_to(self, pos):
        """A hole: a chunk of filler whose payload is only gone over."""
        gap = pos - self.file.tell()
        if gap > 0:
            self.file.write(struct.pack("<4sI", b"JUNK", gap - 8))
            self.file.seek(pos)

    def place(self, form, media):
        for fourcc, payload in media:
            form.placed.append((fourcc, self.file.tell() + 8, payload))
            self.file.write(chunk(fourcc, payload))

    def write_indexes(self, form):
        for stream, entries in enumerate(self.super_indexes):
            index = form.standard_index(stream)
            ticks = sum(self.source.duration(fourcc, payload)
                        for fourcc, _, payload in form.of_stream(stream))
            entries.append(struct.pack("<QII", self.file.tell(), len(index), ticks))
            self.file.write(index)

    def write_form(self, number, groups):
        form = Form(self.source, number, FORMS[number])
        self.forms.append(form)
        self.file.seek(form.start)
        self.file.write(struct.pack("<4sI4s", b"RIFF", 0, b"AVIX" if number else b"AVI "))
        if number == 0:
            self.file.write(self.headers())
        movi = self.file.tell() + 8
        self.file.write(struct.pack("<4sI4s", b"LIST", 0, b"movi"))
        for (how, pos), media in groups:
            self.fill_up_to(pos if how == "at" else start_across(pos, media))
            self.place(form, media)
        self.write_indexes(form)
        movi_end = self.file.tell()
        if number == 0:
            self.file.write(form.old_index(movi))
        if number + 1 < len(FORMS):  # forms follow each other
            self.fill_up_to(FORMS[number + 1])
        end = self.file.tell()
        self.write_size(movi - 4, movi_end)
        self.write_size(form.start + 4, end)
        self.file.seek(end)

    def write_size(self, pos, end):
        self.file.seek(pos)
        self.file.write(struct.pack("<I", end - pos - 4))

    def write(self):
        groups = sum(len(form) for form in GROUPS)
        media = self.source.media
        shares = [media[len(media) * i // groups : len(media) * (i + 1) // groups]
                  for i in range(groups)]
        for number, placed in enumerate(GROUPS):
            self.write_form(number, [(place, shares.pop(0)) for place in placed])
        self.file.seek(12)
        self.file.write(self.headers())


def start_across(pos, media):
    """Where a group has to start for the middle of its middle chunk's payload to be at `pos`."""
    middle = len(media) // 2
    before = sum(len(chunk(*entry)) for entry in media[:middle])
    return (pos - before - 8 - len(media[middle][1]) // 2) // 2 * 2


def write_long_film(path, film_path):
    with open(film_path, "wb") as file:
        Film(Source(path), file).write()


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    write_long_film(*sys.argv[1:])
