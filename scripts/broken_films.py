#!/usr/bin/env python3
"""broken_films.py FILM FOLDER: writes seven broken copies of a film, each broken as films are in
practice, and manifest.json, which says of each what was done to it and what names the trouble:

  file     its name in FOLDER
  damage   what was done
  words    any of them names the cause, in whatever case
  from, to the place: the first and the last position that points at it
"""

import json
import struct
import sys
from pathlib import Path


def chunks(film, start, end):
    """(id, position, size) of each chunk between two positions."""
    while start + 8 <= end:
        size = struct.unpack_from("<I", film, start + 4)[0]
        yield bytes(film[start : start + 4]), start, size
        start += 8 + size + size % 2


def find(film, *path):
    """The position and size of the first chunk that is reached by ids, or list types, from the
    top of the first form."""
    start, end = 12, len(film)
    for name in path:
        for found, pos, size in chunks(film, start, end):
            if name in (found, bytes(film[pos + 8 : pos + 12]) if found == b"LIST" else found):
                break
        else:
            sys.exit(f"{name} is not in the film")
        start, end = pos + 12, pos + 8 + size
    return pos, size


def with_bytes(film, pos, new):
    return film[:pos] + new + film[pos + len(new) :]


def with_word(film, pos, value):
    return with_bytes(film, pos, struct.pack("<I", value))


def broken(film):
    """(name, damage, the broken film, words, from, to)"""
    header = find(film, b"hdrl", b"strl", b"strh")[0]
    form = find(film, b"hdrl", b"strl", b"strf")[0]
    movi, movi_size = find(film, b"movi")
    index = find(film, b"idx1")[0]
    stream_list = find(film, b"hdrl", b"strl")[0]
    main = find(film, b"hdrl", b"avih")[0]

    yield ("cut-header", "the download ended inside the stream headers", film[: form + 20],
           ("ends", "cut", "truncat", "past the end"), stream_list - 12, form + 20)
    yield ("cut-media", "the download ended in the middle of the media",
           film[: movi + movi_size // 2],
           ("ends", "cut", "truncat", "claims"), movi, movi + movi_size // 2)
    yield ("never-closed", "the recorder lost power before it wrote the size of the media list",
           with_word(film, movi + 4, 0), ("movi",), movi, movi + 12)
    yield ("no-index", "the index was lost, and with it the last bytes of the file", film[:index],
           ("index", "idx1"), movi, index + 8)
    yield ("wrong-format-size", "the format of a stream tells another size than its chunk",
           with_word(film, form + 8, 4000), ("format", "strf"), stream_list, form + 12)
    yield ("no-main-header", "the main header's id was damaged", with_bytes(film, main, b"a\0ih"),
           ("avih", "main header"), main, main + 8)
    yield ("short-stream-header", "a stream header is 8 bytes shorter than it has to be",
           with_bytes(with_word(film, header + 4, 48), header + 56, b"JUNK\0\0\0\0"),
           ("stream header", "strh"), stream_list, header + 64)


def main():
    film, folder = Path(sys.argv[1]).read_bytes(), Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    manifest = []
    for name, damage, data, words, first, last in broken(film):
        (folder / f"{name}.avi").write_bytes(data)
        manifest.append({"file": f"{name}.avi", "damage": damage, "words": list(words),
                         "from": first, "to": last})
    (folder / "manifest.json").write_text(json.dumps(manifest, indent=1) + "\n")


if __name__ == "__main__":
    main()
