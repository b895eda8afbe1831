#!/usr/bin/env python3
"""damage_films.py FOLDER FILM...: writes damaged copies of sound films into FOLDER, each with one
thing done to it, and manifest.json, an array that says of each copy:

  file      its name in FOLDER
  film      the name of the film
  kind      of the damage, in a word
  damage    what was done
  words     any of them names the cause, in whatever case
  from, to  the place: the first and the last position that points at it

What is done to which film is fixed, so two runs write the same.
"""

import json
import random
import struct
import sys
from pathlib import Path


class Chunk:
    def __init__(self, film, pos):
        self.id = bytes(film[pos : pos + 4])
        self.pos = pos
        self.size = struct.unpack_from("<I", film, pos + 4)[0]
        self.body = pos + 8
        self.end = self.body + self.size
        self.type = bytes(film[self.body : self.body + 4]) if self.id in (b"RIFF", b"LIST") else b""

    @property
    def name(self):
        return (self.type or self.id).decode("latin1")


def chunks(film, start, end):
    while start + 8 <= end:
        chunk = Chunk(film, start)
        yield chunk
        start = chunk.end + chunk.size % 2


class Film:
    """A sound film: its bytes, and where its parts are."""

    def __init__(self, path):
        self.name = path.stem
        self.file = path.name
        self.data = path.read_bytes()
        self.form = Chunk(self.data, 0)
        self.parts = {c.name: c for c in chunks(self.data, 12, self.form.end)}
        self.headers = self.parts["hdrl"]
        self.movi = self.parts["movi"]
        self.index = self.parts.get("idx1")
        inside = list(chunks(self.data, self.headers.pos + 12, self.headers.end))
        self.main = inside[0]
        self.streams = []
        for stream in (c for c in inside if c.name == "strl"):
            own = {c.name: c for c in chunks(self.data, stream.pos + 12, stream.end)}
            self.streams.append((stream, own))
        self.media = [c for c in chunks(self.data, self.movi.pos + 12, self.movi.end)
                      if c.id[:2].isdigit() and c.id[2:] in (b"dc", b"db", b"wb")]

    def first(self, kind):
        """The list and chunks of the first stream of that type, or None."""
        for stream, own in self.streams:
            body = own["strh"].body
            if self.data[body : body + 4] == kind:
                return stream, own
        return None

    def word(self, pos):
        return struct.unpack_from("<I", self.data, pos)[0]

    def put(self, pos, new):
        return self.data[:pos] + new + self.data[pos + len(new) :]

    def put_word(self, pos, value):
        return self.put(pos, struct.pack("<I", value & 0xFFFFFFFF))


SIZE = ["size", "declares", "claims", "length", "truncat"]
CUT = ["ends", "cut", "truncat", "past the end", "incomplete"]
INDEX = ["index", "idx1"]


def cuts(film):
    """Downloads that ended, copies that failed."""
    movi, media = film.movi, film.media
    middle, late = media[len(media) // 2], media[-len(media) // 10 - 1]
    yield "cut-in-first-bytes", "the copy ended in the first form's header", film.data[:10], CUT, 0, 10
    yield ("cut-in-headers", "the copy ended in the stream headers",
           film.data[: film.streams[0][1]["strf"].body + 12], CUT, film.streams[0][0].pos - 12,
           film.streams[0][1]["strf"].body + 12)
    for name, at in (("early", media[3]), ("half-way", middle), ("late", late)):
        end = at.body + max(at.size // 2, 1)
        yield (f"cut-{name}", f"the copy ended {name} in the media, inside a chunk", film.data[:end],
               CUT, movi.pos, end)
    yield ("cut-in-chunk-header", "the copy ended inside the header of a media chunk",
           film.data[: middle.pos + 5], CUT + ["no chunk"], movi.pos, middle.pos + 5)
    if film.index:
        index = film.index
        yield ("cut-in-index", "the copy ended inside the index", film.data[: index.body + 40],
               CUT + INDEX, index.pos, index.body + 40)
        yield ("cut-before-index", "the copy ended where the index begins", film.data[: index.pos],
               CUT + INDEX, 0, index.pos)


def sizes(film):
    """Sizes that were never written, or written wrong."""
    form, movi, media = film.form, film.movi, film.media
    middle = media[len(media) // 2]
    yield "form-size-0", "the form's size was never written", film.put_word(4, 0), SIZE, 0, 12
    yield ("movi-size-0", "the media list's size was never written", film.put_word(movi.pos + 4, 0),
           SIZE, movi.pos, movi.pos + 12)
    yield ("form-size-too-small", "the form declares half of what it holds",
           film.put_word(4, form.size // 4 * 2), SIZE, 0, 12)
    yield ("form-size-too-large", "the form declares more than the file holds",
           film.put_word(4, form.size + 5000), SIZE, 0, 12)
    yield ("movi-size-too-small", "the media list declares half of what it holds",
           film.put_word(movi.pos + 4, movi.size // 4 * 2 + 2), SIZE, movi.pos, movi.pos + 12)
    yield ("movi-size-too-large", "the media list declares more than the form holds",
           film.put_word(movi.pos + 4, movi.size + 100_000), SIZE, movi.pos, movi.pos + 12)
    yield ("headers-too-large", "the header list declares more than it holds",
           film.put_word(film.headers.pos + 4, film.headers.size + 1000), SIZE, film.headers.pos,
           film.headers.pos + 12)
    yield ("headers-too-small", "the header list declares less than it holds",
           film.put_word(film.headers.pos + 4, film.headers.size - 40), SIZE + ["no chunk"],
           film.headers.pos, film.headers.end)
    stream = film.streams[0][0]
    yield ("stream-list-too-large", "a stream list declares more than it holds",
           film.put_word(stream.pos + 4, stream.size + 200), SIZE, stream.pos, stream.pos + 12)
    yield ("huge-chunk", "a media chunk declares 4 GiB", film.put_word(middle.pos + 4, 0xFFFFFFF0),
           SIZE, middle.pos, middle.body)
    yield ("chunk-too-large", "a media chunk declares 4,096 bytes too many",
           film.put_word(middle.pos + 4, middle.size + 4096), SIZE, middle.pos, middle.body)
    wide = next(c for c in media if c.size > 60)
    yield ("chunk-too-small", "a media chunk declares 30 bytes too few",
           film.put_word(wide.pos + 4, wide.size - 30), SIZE, wide.pos, wide.end)
    yield ("main-header-size", "the main header declares 20 bytes more than it has",
           film.put_word(film.main.pos + 4, film.main.size + 20), SIZE, film.main.pos, film.main.body)


def media(film):
    """Damage among the media."""
    rng = random.Random(film.name)
    every = film.media
    middle = every[len(every) // 2]
    last = next(c for c in reversed(every) if c.pos > middle.pos + 3000 or c is middle)
    hole_end = min(middle.pos + 4096, film.movi.end)
    yield ("hole", "4,096 bytes of the media are zeros", film.put(middle.pos, bytes(hole_end - middle.pos)),
           ["zero"], middle.pos, hole_end)
    noise = bytes(rng.randrange(256) for _ in range(hole_end - middle.pos))
    yield ("noise", "4,096 bytes of the media are noise", film.put(middle.pos, noise),
           ["no known kind", "size", "declares", "invalid", "unknown", "begins"],
           middle.pos - 8 - max(c.size for c in every), hole_end)
    yield ("id-noise", "the id of a media chunk is noise", film.put(middle.pos, b"\xb1\x07\xf3\x90"),
           ["no known kind", "unknown", "invalid", "id"], middle.pos, middle.body)
    yield ("id-no-stream", "a media chunk names stream 57", film.put(middle.pos, b"57" + middle.id[2:]),
           ["57"], middle.pos, middle.body)
    code = b"wb" if middle.id[2:] != b"wb" else b"dc"
    yield ("id-other-kind", "a media chunk is marked as of another kind",
           film.put(middle.pos + 2, code), ["marked", "kind", "type"], middle.pos, middle.body)
    yield ("movi-type", "the media list's type has a wrong letter", film.put(film.movi.pos + 8, b"mowi"),
           ["mowi", "movi"], 0, film.movi.pos + 12)
    without = film.data[: last.pos] + film.data[last.end + last.size % 2 :]
    yield ("chunk-lost", "a media chunk was cut out of the file", without,
           SIZE + INDEX + ["follows"], 0, len(without))


def index(film):
    """Damage in the index."""
    if not film.index:
        return
    chunk = film.index
    count = chunk.size // 16
    entry = chunk.body + count // 2 * 16
    first, last = chunk.pos, chunk.end

    def each(change):
        data = bytearray(film.data)
        for i in range(count):
            change(data, chunk.body + i * 16)
        return bytes(data)

    def shift(data, pos):
        struct.pack_into("<I", data, pos + 8, struct.unpack_from("<I", data, pos + 8)[0] + 77_777)

    yield "index-shifted", "every offset of the index is wrong", each(shift), INDEX, first, last
    yield ("index-offset", "one offset of the index is wrong",
           film.put_word(entry + 8, film.word(entry + 8) + 2), INDEX, entry, entry + 15)
    yield ("index-offset-far", "one offset of the index lies behind the end of the file",
           film.put_word(entry + 8, 0x7FFFFFFF), INDEX, entry, entry + 15)
    yield ("index-size", "one size of the index is wrong",
           film.put_word(entry + 12, film.word(entry + 12) + 100), INDEX, entry, entry + 15)
    other = b"00wb" if film.data[entry : entry + 4] != b"00wb" else b"00dc"
    yield "index-id", "one id of the index is wrong", film.put(entry, other), INDEX, entry, entry + 15
    yield ("index-zeroed", "a quarter of the index is zeros",
           film.put(entry, bytes(count // 4 * 16)), INDEX, entry, entry + count // 4 * 16)
    yield "index-all-zero", "all of the index is zeros", film.put(chunk.body, bytes(chunk.size)), INDEX, first, last
    yield ("index-misspelt", "the index's id has a wrong letter", film.put(chunk.pos, b"idx2"),
           ["idx"], first, last)
    yield ("index-cut", "the index's size is 5 bytes too small", film.put_word(chunk.pos + 4, chunk.size - 5),
           INDEX + SIZE, first, last)
    twice = film.data[entry : entry + 16]
    data = film.data[: entry] + twice + film.data[entry:]
    data = data[:4] + struct.pack("<I", film.form.size + 16) + data[8:]
    data = data[: chunk.pos + 4] + struct.pack("<I", chunk.size + 16) + data[chunk.body :]
    yield "index-entry-twice", "an entry of the index is there twice", data, INDEX, first, last + 16
    data = film.data[: entry] + film.data[entry + 16 :]
    data = data[:4] + struct.pack("<I", film.form.size - 16) + data[8:]
    data = data[: chunk.pos + 4] + struct.pack("<I", chunk.size - 16) + data[chunk.body :]
    yield "index-entry-lost", "an entry of the index is missing", data, INDEX, first, last
    yield ("index-outside", "the form ends before the index", film.put_word(4, chunk.pos - 8), INDEX,
           first, last)


def headers(film):
    """Values of the headers that are not true."""
    main = film.main.body
    yield ("frames-wrong", "the main header counts 9,999 frames", film.put_word(main + 16, 9999),
           ["frame"], main, main + 55) if film.first(b"vids") else None
    yield ("streams-wrong", "the main header counts 7 streams", film.put_word(main + 24, 7), ["stream"],
           main, main + 55)
    yield ("main-id", "the main header's id has a wrong letter", film.put(film.main.pos, b"avhi"),
           ["avih", "avhi"], film.headers.pos, film.main.end)
    yield ("headers-type", "the header list's type has a wrong letter",
           film.put(film.headers.pos + 8, b"hdrx"), ["hdrl", "hdrx", "header"], film.headers.pos,
           film.headers.pos + 12)
    for kind, stream in ((kind, film.first(kind)) for kind in (b"vids", b"auds")):
        if stream is None:
            continue
        own, word = stream[1], "video" if kind == b"vids" else "audio"
        strh, strf = own["strh"].body, own["strf"].body
        yield (f"{word}-rate-0", f"the {word} stream's rate is 0", film.put_word(strh + 24, 0),
               ["rate"], strh, strh + 55)
        yield (f"{word}-scale-0", f"the {word} stream's scale is 0", film.put_word(strh + 20, 0),
               ["scale", "rate"], strh, strh + 55)
        yield (f"{word}-length", f"the {word} stream's length is 123,456", film.put_word(strh + 32, 123_456),
               ["length", "duration"], strh, strh + 55)
        yield (f"{word}-type", f"the {word} stream's type has a wrong letter", film.put(strh + 3, b"z"),
               ["type", "vidz", "audz"], strh - 8, strh + 55)
        yield (f"{word}-header-id", f"the {word} stream header's id is noise",
               film.put(strh - 8, b"\x01\x02\x03\x04"), ["strh", "stream"], strh - 20, strh + 55)
        yield (f"{word}-header-short", f"the {word} stream header declares 40 bytes",
               film.put_word(strh - 4, 40), ["strh", "size", "declares"], strh - 20, strh + 55)
        yield (f"{word}-buffer", f"the {word} stream suggests a buffer of 9 bytes",
               film.put_word(strh + 36, 9), ["buffer"], strh, strh + 55)
    video, sound = film.first(b"vids"), film.first(b"auds")
    if video:
        strf = video[1]["strf"].body
        yield ("time-of-a-frame", "the main header's time of a frame is wrong", film.put_word(main, 1000),
               ["frame", "rate"], main, main + 55)
        yield ("main-width", "the main header's width is wrong", film.put_word(main + 32, 5),
               ["picture", "width", "size"], main, main + 55)
        yield ("width-0", "the picture's width is 0", film.put_word(strf + 4, 0),
               ["picture", "width", "size"], strf, strf + 40)
        yield ("format-size", "the video format's own size is wrong", film.put_word(strf, 400),
               ["format", "strf"], video[0].pos, strf + 40)
        yield ("depth", "the picture's depth is 77 bits", film.put(strf + 14, b"\x4d\0"),
               ["bits", "depth"], strf, strf + 40)
    if sound:
        strf = sound[1]["strf"].body
        yield ("channels-0", "the sound has no channels", film.put(strf + 2, b"\0\0"), ["channel"],
               strf, strf + 18)
        yield ("sampling-rate-0", "the sound's sampling rate is 0", film.put_word(strf + 4, 0),
               ["sampl", "rate"], strf, strf + 18)
        if film.data[strf : strf + 2] == b"\x01\0":
            yield ("block-align", "the sound's block align is wrong", film.put(strf + 12, b"\x09\0"),
                   ["block", "align"], strf, strf + 18)


def ends(film):
    """Bytes where none should be."""
    size = len(film.data)
    yield "stray-bytes", "3 bytes follow the film", film.data + b"end", ["no chunk", "behind", "ends", "extra", "trailing"], size, size + 3
    yield ("stray-text", "a line of text follows the film", film.data + b"downloaded from the net, enjoy the film!",
           ["outside", "behind", "trailing", "extra", "junk"], size, size + 40)
    yield ("zeros-behind", "4,096 zeros follow the film", film.data + bytes(4096),
           ["zero", "outside", "trailing", "extra", "junk"], size, size + 4096)
    yield ("text-before", "a line of text stands before the film", b"HTTP/1.1 200 OK\r\n\r\n" + film.data,
           ["RIFF", "form", "begins"], 0, 19)
    yield ("no-media-of-a-stream", "all chunks of the last stream are lost", without_last_stream(film),
           ["no media", "stream"] + INDEX, 0, size) if len(film.streams) > 1 else None


def without_last_stream(film):
    number = b"%02d" % (len(film.streams) - 1)
    data = bytearray(film.data)
    for chunk in film.media:
        if chunk.id[:2] == number:
            data[chunk.pos : chunk.pos + 4] = b"JUNK"
    return bytes(data)


DAMAGES = (cuts, sizes, media, index, headers, ends)


def damaged(film):
    """(name, damage, bytes, words, from, to) of each copy."""
    for damages in DAMAGES:
        yield from filter(None, damages(film))


def write(folder, paths):
    manifest = []
    for film in map(Film, paths):
        for name, damage, data, words, first, last in damaged(film):
            file = f"{film.name}-{name}.avi"
            (folder / file).write_bytes(data)
            manifest.append({"file": file, "film": film.file, "kind": name, "damage": f"{film.name}: {damage}", "words": list(words),
                             "from": first, "to": last})
    (folder / "manifest.json").write_text(json.dumps(manifest, indent=1) + "\n")
    return manifest


def main():
    folder = Path(sys.argv[1])
    manifest = write(folder, [Path(path) for path in sys.argv[2:]])
    print(f"{len(manifest)} damaged films in {folder}")


if __name__ == "__main__":
    main()
