"""Tests of the commands of sorn-tool that show, take out and compare. Run like tool_test.py."""

import json
import os
import re
import shutil
import signal
import stat
import struct
import subprocess
import sys
import unittest

from look_test import AVIH, FRAME, INDEX, MOVI, LookTest, audio, headers, strh, strn, video
from tool_test import (CUT_SHORT, DISAGREED, EMULATOR, FAULTY, INTERRUPTED, LONGEST, NAMES, PLUGIN,
                       REFUSED, SAMPLES, SOURCE, TOOL, UNREADABLE, USAGE, chunk, film, filler,
                       limit_files, lst, riff, run)

sys.path.insert(0, str(SOURCE / "scripts"))
import damage_films  # noqa: E402

NOTHING = 1  # the file has no such thing
SOUND = ["mpeg4-mp3.avi", "mjpeg-pcm-titles.avi", "audio-only.avi"]


def u32(content, offset):
    return struct.unpack_from("<I", content, offset)[0]


def walk(content, start, end):
    """Of each chunk its id, where its payload begins and its size: an independent reading."""
    while start + 8 <= end:
        name, size = content[start : start + 4], u32(content, start + 4)
        yield name, start + 8, size
        start += 8 + size + size % 2


def media(content, start, end):
    for name, payload, size in walk(content, start, end):
        if name == b"LIST" and content[payload : payload + 4] == b"rec ":
            yield from media(content, payload + 4, payload + size)
        elif name != b"LIST":
            yield name, content[payload : payload + size]


def stream_of(content, number):
    """The payloads of a stream."""
    taken, start = b"", 0
    while start + 12 <= len(content):  # forms follow each other without a pad
        end = start + 8 + u32(content, start + 4)
        for name, payload, size in walk(content, start + 12, end):
            if name == b"LIST" and content[payload : payload + 4] == b"movi":
                taken += b"".join(data for name, data in media(content, payload + 4, payload + size)
                                  if name[:2] == b"%02d" % number)
        start = end
    return taken


def vprp(fields=1):
    return chunk(b"vprp", struct.pack("<5I2H3I", 1, 2, 25, 320, 240, 3, 4, 320, 240, fields) +
                 struct.pack("<8I", *range(8)) * fields)


def indexed_film():
    """Every layout that is known, each field with a value of its own."""
    palette = bytes(range(12))
    paletted = chunk(b"strf", struct.pack("<3I2H4s5I", 55, 320, 0xFFFFFF10, 1, 8, bytes(4), 6, 7, 8, 3, 9) +
                     palette + b"codec")
    standard = struct.pack("<H2BI4sQI", 2, 0, 1, 2, b"00dc", 0x1_0000_0000, 5) + struct.pack(
        "<4I", 11, 12, 13, 0x8000000E)
    fields = struct.pack("<H2BI4sQI", 3, 1, 1, 1, b"00dc", 0, 0) + struct.pack("<3I", 21, 22, 23)
    super_index = struct.pack("<H2BI4s3I", 4, 0, 0, 1, b"00dc", 1, 2, 3) + struct.pack("<Q2I", 99, 98, 97)
    strd = chunk(b"strd", struct.pack("<2I", 7, 4) + b"data")
    picture = lst(b"strl", strh(), paletted, strd, strn(b"name"), chunk(b"indx", super_index), vprp(2))
    words = lst(b"strl", strh(b"txts"), chunk(b"strf", struct.pack("<4H", 1, 2, 4, 3)), strn(b"Subtitle"))
    other = lst(b"strl", strh(b"mids"), chunk(b"strf", b"opaque"))
    head = headers(picture, audio(extra=b"ext"), words, other,
                   lst(b"odml", chunk(b"dmlh", struct.pack("<2I", 12, 0))))
    return riff(b"AVI ", head, lst(b"INFO", chunk(b"ISFT", b"a writer\0")),
                lst(b"movi", FRAME, chunk(b"ix00", standard), chunk(b"00ix", fields)), INDEX)


class Fields(LookTest):
    def rows(self, content, *options):
        result = run("tree", "--json", *options, self.file(content))
        self.assert_agrees(result)
        return self.lines(result)[1:]

    def fields(self, content, name, place=0):
        row = [row for row in self.rows(content, "--fields") if row["id"] == name][place]
        return row, {field["name"]: field["value"] for field in row["fields"]}

    def test_the_layouts_by_the_formats_own_names(self):
        content = indexed_film()
        row, main = self.fields(content, "avih")
        self.assertEqual(list(main), [
            "id", "size", "dwMicroSecPerFrame", "dwMaxBytesPerSec", "dwPaddingGranularity", "dwFlags",
            "dwTotalFrames", "dwInitialFrames", "dwStreams", "dwSuggestedBufferSize", "dwWidth",
            "dwHeight", "dwReserved[0]", "dwReserved[1]", "dwReserved[2]", "dwReserved[3]"])
        self.assertEqual((main["dwMicroSecPerFrame"], main["dwHeight"]), (40_000, 240))
        self.assertEqual([f["term"] for f in row["fields"] if f["name"] == "dwFlags"], ["AVIF_HASINDEX"])
        _, stream = self.fields(content, "strh")
        self.assertEqual(list(stream)[2:], [
            "fccType", "fccHandler", "dwFlags", "wPriority", "wLanguage", "dwInitialFrames", "dwScale",
            "dwRate", "dwStart", "dwLength", "dwSuggestedBufferSize", "dwQuality", "dwSampleSize",
            "rcFrame.left", "rcFrame.top", "rcFrame.right", "rcFrame.bottom"])
        self.assertEqual((stream["fccType"], stream["dwRate"]), ("vids", 25))
        row, picture = self.fields(content, "strf")
        self.assertEqual(list(picture.items())[2:], [
            ("biSize", 55), ("biWidth", 320), ("biHeight", -240), ("biPlanes", 1), ("biBitCount", 8),
            ("biCompression", "\\x00\\x00\\x00\\x00"), ("biSizeImage", 6), ("biXPelsPerMeter", 7),
            ("biYPelsPerMeter", 8), ("biClrUsed", 3), ("biClrImportant", 9), ("extra", b"codec".hex())])
        self.assertEqual([[e[c] for c in ("rgbBlue", "rgbGreen", "rgbRed", "rgbReserved")]
                          for e in row["entries"]], [[0, 1, 2, 3], [4, 5, 6, 7], [8, 9, 10, 11]])
        row, sound = self.fields(content, "strf", 1)
        self.assertEqual(list(sound.items())[2:], [
            ("wFormatTag", 1), ("nChannels", 2), ("nSamplesPerSec", 48000), ("nAvgBytesPerSec", 192000),
            ("nBlockAlign", 4), ("wBitsPerSample", 16), ("cbSize", 3), ("extra", b"ext".hex())])
        self.assertEqual(row["fields"][2]["term"], "PCM")
        self.assertEqual(list(self.fields(content, "strf", 2)[1].items())[2:],
                         [("slot 1", 1), ("slot 2", 2), ("slot 4", 4), ("slot 3", 3)])
        self.assertEqual(list(self.fields(content, "strf", 3)[1]), ["id", "size"])
        self.assertEqual(list(self.fields(content, "strd")[1].items())[2:], [("word", 7), ("length", 4)])
        self.assertEqual(self.fields(content, "strn")[1]["text"], "name")
        self.assertEqual(self.fields(content, "ISFT")[1]["text"], "a writer\\x00")
        self.assertEqual(self.fields(content, "dmlh")[1]["dwTotalFrames"], 12)
        row, properties = self.fields(content, "vprp")
        self.assertEqual((properties["dwFrameAspectRatio.y"], properties["nbFieldPerFrame"]), (3, 2))
        self.assertEqual([e["VideoYValidStartLine"] for e in row["entries"]], [7, 7])

    def test_indexes(self):
        content = indexed_film()
        row, index = self.fields(content, "indx")
        self.assertEqual(list(index.items())[2:], [
            ("wLongsPerEntry", 4), ("bIndexSubType", 0), ("bIndexType", 0), ("nEntriesInUse", 1),
            ("dwChunkId", "00dc"), ("dwReserved[0]", 1), ("dwReserved[1]", 2), ("dwReserved[2]", 3)])
        self.assertEqual(row["entries"], [{"offset": content.index(b"indx") + 32, "qwOffset": 99,
                                           "dwSize": 98, "dwDuration": 97}])
        row, index = self.fields(content, "ix00")
        self.assertEqual((index["qwBaseOffset"], index["dwReserved"]), (0x1_0000_0000, 5))
        self.assertEqual([(e["dwOffset"], e["dwSize"]) for e in row["entries"]],
                         [(11, 12), (13, 0x8000000E)])
        row, _ = self.fields(content, "00ix")
        self.assertEqual([e["dwOffsetField2"] for e in row["entries"]], [23])
        row, _ = self.fields(content, "idx1")
        self.assertEqual(row["entries"], [{"offset": content.index(b"idx1") + 8, "dwChunkId": "00dc",
                                           "dwFlags": 16, "dwOffset": 4, "dwSize": 24}])

    def test_each_field_is_what_the_file_has_at_its_offset(self):
        count = 0
        for content in [indexed_film(), *((SAMPLES / name).read_bytes() for name in NAMES)]:
            for row in self.rows(content):
                self.assertEqual("entries" in row, False)
                at = row["offset"]
                for field in row["fields"]:
                    self.assertEqual(field["offset"], at if field["name"] != "extra" else field["offset"])
                    at += field["width"]
                    there = content[field["offset"] : field["offset"] + field["width"]]
                    value = field["value"]
                    if isinstance(value, int):
                        value %= 1 << (8 * field["width"])
                        self.assertEqual(value, int.from_bytes(there, "little"), field)
                    elif field["name"] == "extra":
                        self.assertEqual(value, there.hex())
                    else:
                        told = re.sub(rb"\\x(..)", lambda m: bytes.fromhex(m[1].decode()), value.encode())
                        self.assertEqual(told, there, field)
                    count += 1
        self.assertGreater(count, 500)

    def test_lists_have_their_headers_and_media_nothing(self):
        rows = self.rows(film(FRAME))
        self.assertEqual([[f["name"] for f in row["fields"]] for row in rows if row["type"] == "movi"],
                         [["id", "size", "type"]])
        self.assertEqual([row["fields"] for row in rows if row["id"] == "00dc"], [[]])

    def test_a_chunk_that_is_cut_short_has_the_fields_that_are_there(self):
        content = riff(b"AVI ", lst(b"hdrl", AVIH))[:12 + 12 + 8 + 10]
        fields = self.rows(content)[-1]["fields"]
        self.assertEqual([f["name"] for f in fields][2:], ["dwMicroSecPerFrame", "dwMaxBytesPerSec"])

    def test_the_tree_shows_them_inline(self):
        path = self.file(indexed_film())
        plain, shown = run("tree", path), run("tree", "--fields", path)
        self.assert_agrees(shown)
        for line in plain.out.splitlines()[1:]:
            self.assertTrue("..." in line or line in shown.out, line)
        self.assertRegex(shown.out, r"\n0x02c        10 00 00 00 +dwFlags +0x10 \(AVIF_HASINDEX\)\n")
        self.assertRegex(shown.out, r" 04 +entry\[1\]  rgbBlue 4, rgbGreen 5, rgbRed 6|entry\[1\]  rgbBlue 4")
        self.assertIn("bIndexType             0 (AVI_INDEX_OF_INDEXES)", shown.out)
        self.assertIn("biCompression          '\\x00\\x00\\x00\\x00' (BI_RGB)", shown.out)
        self.assertIn("dwChunkId '00dc', dwFlags 0x10 (AVIIF_KEYFRAME), dwOffset 4, dwSize 24", shown.out)

    def test_lying_counts(self):
        """Entries end with their chunk, whatever a header says of their number."""
        index = struct.pack("<H2BI4s3I", 4, 0, 0, 0xFFFFFFFF, b"00dc", 0, 0, 0) + bytes(40)
        content = riff(b"AVI ", headers(video(chunk(b"indx", index))), MOVI)
        self.assertEqual(len(self.fields(content, "indx")[0]["entries"]), 2)
        palette = chunk(b"strf", struct.pack("<3I2H4s5I", 40, 1, 1, 1, 8, bytes(4), 0, 0, 0, 1 << 31, 0) + bytes(9))
        content = riff(b"AVI ", headers(lst(b"strl", strh(), palette)), MOVI)
        self.assertEqual(len(self.fields(content, "strf")[0]["entries"]), 2)


def bytes_of(dump):
    """The bytes that a dump's lines show, by their offset; text and bytes are shown whole."""
    shown = {}
    for line in dump.splitlines():
        found = re.match(r"0x([0-9a-f]+)  ((?:[0-9a-f]{2} )*[0-9a-f]{2})(?:  |$)", line)
        if found is None:
            continue
        for i, byte in enumerate(bytes.fromhex(found[2])):
            offset = int(found[1], 16) + i
            assert offset not in shown, line
            shown[offset] = byte
    return shown


class Dump(LookTest):
    def dump(self, content, *words):
        result = run("dump", self.file(content), *map(str, words))
        self.assert_agrees(result)
        return result.out

    def test_every_byte_of_every_chunk_once(self):
        for content in (indexed_film(), (SAMPLES / "extensions.avi").read_bytes()):
            rows = self.lines(run("tree", "--json", self.file(content)))[1:]
            self.assertGreater(len(rows), 20)
            for row in rows:
                start = row["offset"]
                end = start + (12 if row["type"] else 8 + row["held"])
                shown = bytes_of(self.dump(content, start))
                self.assertEqual(shown, dict(zip(range(start, end), content[start:end])), row)

    def test_a_known_layout_is_shown_by_fields_and_else_bytes(self):
        out = self.dump(film(FRAME), "0x18").splitlines()
        self.assertEqual(out[0], "0x018  avih  56 bytes  main header")
        self.assertEqual(out[2], "0x01c  38 00 00 00              size                   56")
        self.assertEqual(len(out), 1 + 2 + 14)
        at = len(film())
        out = self.dump(film(FRAME), at).splitlines()
        self.assertEqual(out[0], f"0x{at:03x}  00dc  24 bytes  compressed video")
        self.assertRegex(out[3], rf"^0x{at + 8:03x}  3c( ..){{15}}  \|<.{{15}}\|$")
        self.assertRegex(out[4], rf"^0x{at + 24:03x}  dc( ..){{7}} +\|.S..7..Q\|$")

    def test_from_a_byte_inside_a_chunk(self):
        content = film(FRAME)
        out = self.dump(content, 0x2d).splitlines()
        self.assertIn("dwFlags", out[1])  # the field that holds it
        self.assertNotIn("dwPaddingGranularity", "\n".join(out))
        at = len(film()) + 8 + 5
        self.assertEqual(bytes_of(self.dump(content, at)),
                         dict(zip(range(at, len(content)), content[at:])))
        content = riff(b"AVI ", headers(video()), MOVI, chunk(b"idx1", filler(64)))
        at = content.index(b"idx1") + 8 + 20
        self.assertEqual(re.findall(r"entry\[(\d)\]", self.dump(content, at)), ["1", "2", "3"])
        self.assertEqual(re.findall(r"entry\[(\d)\]", self.dump(content, at, "--length", 13)), ["1", "2"])

    def test_as_many_bytes_as_are_asked_for(self):
        content = film(FRAME)
        at = len(film())
        for length in (1, 8, 15, 30):
            self.assertEqual(max(bytes_of(self.dump(content, at + 8, "--length", length))),
                             min(at + 8 + length, len(content)) - 1)
        self.assertEqual(max(bytes_of(self.dump(content, 0x20, "--length", 5))), 0x27)  # whole fields
        shown = bytes_of(self.dump(content, 0, "--length", 60))  # of a form, what it holds too
        self.assertEqual(shown, dict(enumerate(content[:60])))
        self.assert_fails(run("dump", self.file(content), "0", "--length", "0"), USAGE)

    def test_a_chunk_that_the_file_cuts_short(self):
        content = film(FRAME)[:-10]
        out = self.dump(content, len(film()))
        self.assertIn("24 bytes declared, 14 there", out)
        self.assertEqual(max(bytes_of(out)), len(content) - 1)
        content = riff(b"AVI ", lst(b"hdrl", AVIH))[:12 + 12 + 8 + 10]
        self.assertEqual(bytes_of(self.dump(content, 24)), dict(enumerate(content[24:], 24)))

    def test_bytes_that_are_no_chunk(self):
        content = film(FRAME, chunk(b"01wb", b"odd")) + b"end"
        out = self.dump(content, len(content) - 2)
        self.assertEqual(out.splitlines()[0], "no chunk is here")
        self.assertEqual(bytes_of(out), {len(content) - 2: ord("n"), len(content) - 1: ord("d")})
        pad = len(content) - 3 - 1
        self.assertEqual(bytes_of(self.dump(content, pad)), {pad: 0})

    def test_lines_that_are_alike_are_a_star(self):
        content = film(chunk(b"00dc", bytes(1000)))
        out = self.dump(content, len(film()) + 8).splitlines()
        self.assertEqual(len(out), 1 + 1 + 1 + 1)
        self.assertEqual(out[2], "*")
        self.assertEqual(out[3].split()[0], f"0x{len(film()) + 8 + 992:03x}")
        out = self.dump(film(chunk(b"00dc", bytes(1024))), len(film()) + 8).splitlines()
        self.assertEqual(out[3], f"0x{len(film()) + 8 + 1024:03x}")  # where it ends

    def test_what_the_reader_keeps_by_name(self):
        content = (SAMPLES / "extensions.avi").read_bytes()
        for what, name, place in (("data", b"MTDA", 0), ("menu", b"MENU", 0), ("form-menu", b"MENU", -1),
                                  ("stream-data:0", b"strd", 0), ("header", b"avih", 0),
                                  ("index", b"idx1", 0)):
            with self.subTest(what):
                at = [m.start() for m in re.finditer(name, content)][place]
                if what == "form-menu":
                    at = content.index(b"MENU", content.rindex(b"QMNU"))
                shown = bytes_of(self.dump(content, what))
                self.assertEqual(shown, dict(zip(range(at, at + 8 + u32(content, at + 4)), content[at:])))

    def test_the_headers_of_a_stream(self):
        out = self.dump((SAMPLES / "extensions.avi").read_bytes(), "header:1")
        self.assertIn("'auds'", out)
        self.assertRegex(out, r"wFormatTag +85 \(MP3\)")
        self.assertEqual(len(re.findall(r"^0x\w+  str[hf]  ", out, re.M)), 2)

    def test_of_several_the_one_that_the_reader_keeps(self):
        menus = lst(b"QMNU", chunk(b"MENU", b"1st."), chunk(b"MENU", b"2nd."), chunk(b"JUNK", bytes(8)))
        content = riff(b"AVI ", headers(video()), menus, MOVI)
        self.assertIn("|2nd.|", self.dump(content, "menu"))

    def test_files_that_the_reader_refuses(self):
        data = lst(b"QRDT", chunk(b"MTDA", b"1st."), chunk(b"MTDA", b"2nd."))
        menu = riff(b"MENU", lst(b"QMNU", chunk(b"MENU", b"menu")))
        content = riff(b"AVI ", headers(video()), data, lst(b"movi"), INDEX) + menu
        path = self.file(content)
        self.assertEqual(run("check", path).status, REFUSED)
        self.assertIn("|2nd.|", self.dump(content, "data"))
        self.assertIn("|menu|", self.dump(content, "form-menu"))
        self.assertIn("'vids'", self.dump(content, "header:0"))
        self.assertIn("entry[0]", self.dump(content, "index"))
        self.assertIn("avih", self.dump(content, 0x20))
        self.assertIn("no film", self.dump(b"no film", 0))

    def test_what_is_not_there(self):
        path = self.file(film(FRAME))
        for what, words in (("data", "has no data chunk"), ("menu", "has no menu"), ("form-menu", "has no menu"),
                            ("stream-data:0", "of stream 0"), ("header:7", "of stream 7"),
                            ("index", "has no index")):
            result = run("dump", path, what)
            self.assert_fails(result, NOTHING, words)
            self.assertEqual(result.out, "")
        self.assert_fails(run("dump", path, str(path.stat().st_size)), USAGE, "ends at")
        for what in ("nonsense", "0x", "-1", "header:", "header:x", "header:-1", "data:1", "stream-data", "12 "):
            self.assert_fails(run("dump", path, "--", what), USAGE)
        self.assert_fails(run("dump", path), USAGE)
        self.assert_fails(run("dump", self.folder / "none", "0"), UNREADABLE, "No such file")
        self.assert_fails(run("dump", self.folder, "0"), UNREADABLE)

    def test_an_output_that_is_full(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([*EMULATOR, TOOL, "dump", SAMPLES / "mpeg4-mp3.avi", "index"], stdout=full,
                                  stderr=subprocess.PIPE, timeout=LONGEST)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"cannot write", done.stderr)


class Extract(LookTest):
    def setUp(self):
        super().setUp()
        self.out = self.folder / "out"
        self.out.mkdir()
        self.taken = self.out / "taken"

    def extract(self, path, *options):
        self.assert_agrees(run("extract", path, *options, "-o", self.taken))
        self.assertEqual(os.listdir(self.out), ["taken"])
        return self.taken.read_bytes()

    def fails(self, path, options, status, *words):
        self.assert_fails(run("extract", path, *options, "-o", self.taken), status, *words)
        self.assertEqual(os.listdir(self.out), [])

    def test_each_stream_of_each_sample(self):
        count = 0
        for name in NAMES:
            content = (SAMPLES / name).read_bytes()
            for number in range(6):
                wanted = stream_of(content, number)
                if not wanted:
                    continue
                with self.subTest(name, stream=number):
                    self.assertEqual(self.extract(SAMPLES / name, "--stream", str(number)), wanted)
                    count += 1
        self.assertGreaterEqual(count, 8)

    def test_as_another_demuxer_has_them(self):
        if shutil.which("ffmpeg") is None:
            self.skipTest("ffmpeg is missing")
        for name in SOUND:
            for number in range(1 if name == "audio-only.avi" else 2):
                other = subprocess.run(["ffmpeg", "-v", "error", "-i", SAMPLES / name, "-map", f"0:{number}",
                                        "-c", "copy", "-f", "data", "-"], capture_output=True, check=True)
                self.assertEqual(self.extract(SAMPLES / name, "--stream", str(number)), other.stdout)

    def test_forms_and_groups_in_the_order_of_the_file(self):
        parts = [filler(n, n) for n in (5, 24, 0, 7, 11)]
        first, second, third, fourth, fifth = (chunk(b"01wb", part) for part in parts)
        content = riff(b"AVI ", headers(video(), audio()),
                       lst(b"movi", first, FRAME, lst(b"rec ", second, FRAME), chunk(b"ix01", bytes(24)),
                           chunk(b"01ix", bytes(24)), third), INDEX)
        content += riff(b"AVIX", lst(b"movi", fourth, lst(b"rec ", fifth))) + riff(b"AVIX", MOVI)
        self.assertEqual(self.extract(self.file(content), "--stream", "1"), b"".join(parts))

    def test_what_the_record_keeps(self):
        path = SAMPLES / "extensions.avi"
        record = json.loads(run("info", "--json", path).out)
        for option, blob, header in (("--data", "data_blob", 0), ("--menu", "menu_blob", 8),
                                     ("--form-menu", "form_menu_blob", 8)):
            self.assertEqual(self.extract(path, option), bytes.fromhex(record[blob]["data"])[header:])
        self.assertEqual(self.extract(path, "--stream-data", "0"),
                         bytes.fromhex(record["video"][0]["stream_data"]))

    def test_a_chunk_by_its_place(self):
        content = (SAMPLES / "extensions.avi").read_bytes()
        path = SAMPLES / "extensions.avi"
        for name in (b"avih", b"MTDA", b"strd", b"idx1"):
            at = content.index(name)
            self.assertEqual(self.extract(path, "--chunk", hex(at)),
                             content[at + 8 : at + 8 + u32(content, at + 4)])
        movi = content.index(b"movi") - 8
        self.assertEqual(self.extract(path, "--chunk", str(movi)),
                         content[movi + 8 : movi + 8 + u32(content, movi + 4)])
        os.remove(self.taken)
        self.fails(path, ["--chunk", "25"], NOTHING, "begins at 0x19", "'avih' chunk at 0x18")
        self.fails(path, ["--chunk", "0xffffff"], NOTHING, "0xffffff")

    def test_to_standard_output(self):
        wanted = stream_of((SAMPLES / "mpeg4-mp3.avi").read_bytes(), 1)
        done = subprocess.run([*EMULATOR, TOOL, "extract", SAMPLES / "mpeg4-mp3.avi", "--stream", "1", "-o", "-"],
                              capture_output=True, timeout=LONGEST)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, wanted, b""))

    def test_what_is_not_there(self):
        path = self.file(film(FRAME))
        for options, words in ((["--stream", "7"], "no chunk of stream 7"), (["--data"], "no data chunk"),
                               (["--menu"], "no menu"), (["--form-menu"], "no menu form"),
                               (["--stream-data", "0"], "no data of stream 0")):
            self.fails(path, options, NOTHING, words)

    def test_what_the_file_does_not_hold_is_an_error(self):
        self.fails(self.file(film(FRAME, FRAME)[:-4]), ["--stream", "0"], CUT_SHORT,
                   "'00dc' chunk", "24 bytes", "20 bytes")
        lying = chunk(b"strd", struct.pack("<2I", 7, 0x90000) + b"data")
        path = self.file(riff(b"AVI ", headers(audio(lying)), MOVI))
        self.fails(path, ["--stream-data", "0"], CUT_SHORT, "589,824 bytes")
        path = self.file(riff(b"AVI ", headers(video()), MOVI) + riff(
            b"MENU", b"LIST" + struct.pack("<I", 4) + b"QMNU" + chunk(b"MENU", b"four", size=50)))
        self.fails(path, ["--form-menu"], CUT_SHORT, "'MENU' chunk", "50 bytes")

    def test_files_that_are_refused(self):
        path = self.file(riff(b"AVI ", headers(video()), lst(b"movi"), INDEX))
        self.fails(path, ["--stream", "0"], REFUSED, "the reader takes it for ended")
        self.fails(self.folder / "none", ["--data"], UNREADABLE, "No such file")

    def test_wrong_usage(self):
        path = self.file(film(FRAME))
        for options in ([], ["--data", "--menu"], ["--stream", "0", "--chunk", "0"], ["--stream", "x"],
                        ["--stream", "100"], ["--chunk", "0xg"]):
            self.fails(path, options, USAGE)
        self.assert_fails(run("extract", path, "--data"), USAGE, "--output")

    def test_never_into_the_file_itself(self):
        content = film(FRAME)
        path = self.file(content)
        os.link(path, self.folder / "hard")
        os.symlink(path, self.folder / "soft")
        for name in ("film.avi", "hard", "soft", "./out/../film.avi"):
            self.assert_fails(run("extract", path, "--stream", "0", "-o", f"{self.folder}/{name}"), USAGE,
                              "the file that is read")
        with open(path, "ab") as same:
            done = subprocess.run([*EMULATOR, TOOL, "extract", path, "--stream", "0", "-o", "-"], stdout=same,
                                  stderr=subprocess.PIPE, timeout=LONGEST)
        self.assertEqual(done.returncode, USAGE)
        self.assertEqual(path.read_bytes(), content)
        self.assertEqual(sorted(os.listdir(self.folder)), ["film.avi", "hard", "out", "soft"])

    def test_a_file_of_that_name_is_replaced_or_stays_as_it_was(self):
        path = self.file(film(FRAME))
        self.taken.write_text("before")
        self.taken.chmod(0o640)
        self.assert_fails(run("extract", path, "--data", "-o", self.taken), NOTHING)
        self.assertEqual(self.taken.read_text(), "before")
        self.assertEqual(self.extract(path, "--stream", "0"), filler(24))
        self.assertEqual(stat.S_IMODE(self.taken.stat().st_mode), 0o640)
        link = self.folder / "link"
        os.symlink(self.taken, link)
        self.taken.write_text("before")
        self.assert_agrees(run("extract", path, "--stream", "0", "-o", link))
        self.assertTrue(link.is_symlink())
        self.assertEqual(self.taken.read_bytes(), filler(24))

    def test_outputs_that_cannot_be_written(self):
        path = self.file(film(FRAME))
        for name, why in (("none/taken", "No such file"), ("film.avi/taken", "Not a directory"),
                          ("out", "Not a regular file")):
            self.assert_fails(run("extract", path, "--stream", "0", "-o", self.folder / name), 1,
                              "cannot be written: " + why)
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        self.assert_fails(run("extract", path, "--stream", "0", "-o", pipe), 1, "Not a regular file")
        self.assertTrue(stat.S_ISFIFO(pipe.stat().st_mode))

    def test_a_full_disk_leaves_nothing(self):
        for before in (None, "before"):
            if before is not None:
                self.taken.write_text(before)
            result = run("extract", SAMPLES / "mpeg4-mp3.avi", "--stream", "0", "-o", self.taken,
                         preexec_fn=limit_files)
            self.assert_fails(result, 1, "cannot be written: File too large")
            self.assertEqual(os.listdir(self.out), [] if before is None else ["taken"])
        self.assertEqual(self.taken.read_text(), "before")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([*EMULATOR, TOOL, "extract", SAMPLES / "mpeg4-mp3.avi", "--stream", "0",
                                   "-o", "-"], stdout=full, stderr=subprocess.PIPE, timeout=LONGEST)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"No space left on device", done.stderr)

    def test_a_plug_in_that_delivers_something_else(self):
        for fault in ("bytes", "short", "read", "seek", "tell"):
            with self.subTest(fault):
                result = run("extract", SAMPLES / "mpeg4-mp3.avi", "--stream", "1", "--plugin", FAULTY, "-o",
                             self.taken, env={"REAL_PLUGIN": str(PLUGIN), "FAULT": fault})
                self.assert_fails(result, DISAGREED, "mpeg4-mp3.avi: ")
                self.assertEqual(os.listdir(self.out), [])
        self.assert_fails(run("extract", SAMPLES / "mpeg4-mp3.avi", "--stream", "1", "--plugin", "/none", "-o",
                              self.taken), 4, "/none")

    def test_interrupted_or_asked_to_end_it_leaves_nothing(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            for where in (str(self.taken), "-"):
                with self.subTest(number, where=where):
                    self.stop(number, where)

    def stop(self, number, where):
        """The plug-in, which is in the same process, presses the key in the midst of the reading."""
        path = self.folder / "long.avi"
        path.write_bytes(film(*[FRAME] * 2000))
        environment = {"REAL_PLUGIN": str(PLUGIN), "FAULT": "interrupt" if number == signal.SIGINT else "end"}
        done = subprocess.run([*EMULATOR, TOOL, "extract", path, "--stream", "0", "--plugin", FAULTY, "-o", where],
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, timeout=LONGEST,
                              env={**os.environ, **environment})
        self.assertEqual(done.returncode, INTERRUPTED)
        self.assertTrue(done.stderr.endswith(b"long.avi: interrupted\n"), done.stderr)
        self.assertEqual(os.listdir(self.out), [])


def header_of(row):
    return {field["name"]: (field["first"]["value"], field["second"]["value"]) for field in row["fields"]}


class Diff(LookTest):
    def diff(self, first, second, *options):
        """The first line, and the others."""
        a = first if isinstance(first, os.PathLike) else self.file(first, "first.avi")
        b = second if isinstance(second, os.PathLike) else self.file(second, "second.avi")
        result = run("diff", "--json", a, b, *options)
        self.assertEqual(result.err, "")
        summary, *rows = self.lines(result)
        self.assertEqual(result.status, 0 if summary["outcome"] == "same" else DISAGREED)
        self.assertEqual(bool(rows), summary["outcome"] != "same")
        for change in ("changed", "missing", "added", "moved"):
            self.assertEqual(summary[change], sum(row["change"] == change for row in rows))
        self.compared = [a, b, *options]
        return summary["outcome"], rows

    @property
    def text(self):
        """What is told of the files that were compared last."""
        return run("diff", *self.compared).out

    def one(self, first, second, change="changed", outcome="different"):
        found, rows = self.diff(first, second)
        self.assertEqual((found, [row["change"] for row in rows]), (outcome, [change]))
        return rows[0]

    def film(self, *frames, before=(), streams=None):
        return riff(b"AVI ", headers(*(streams or [video()])), *before, lst(b"movi", *frames), INDEX)

    frames = [chunk(b"00dc" if n % 2 else b"01wb", filler(20 + n % 7, n)) for n in range(60)]

    def test_equal_files_are_said_to_be(self):
        for name in NAMES:
            self.assertEqual(self.diff(SAMPLES / name, self.file((SAMPLES / name).read_bytes()))[0], "same")
            self.assertRegex(self.text, r" are the same\n\Z")
        self.assertEqual(self.diff(b"", b"")[0], "same")
        self.assertEqual(self.diff(b"no film", b"no film")[0], "same")

    def test_media_bytes_alone(self):
        right = self.film(*self.frames)
        wrong = bytearray(right)
        at = right.index(self.frames[5])
        wrong[at + 10] ^= 1
        wrong[at + 12] ^= 1
        row = self.one(right, bytes(wrong), outcome="media")
        self.assertEqual((row["first"]["offset"], row["fields"]), (at, []))
        self.assertEqual(row["bytes"], {"differ": 2, "first_differs_at": at + 10, "first_size": 26,
                                        "second_size": 26})
        self.assertIn("differ in media bytes alone: 1 chunk changed\n", self.text)
        self.assertIn(f"0x{at + 10:x}  2 bytes differ, the first: {right[at + 10]:02x} -> "
                      f"{wrong[at + 10]:02x}", self.text)

    def test_what_is_no_media_is_not_taken_for_it(self):
        for before in (chunk(b"JUNK", b"some"), lst(b"QRDT", chunk(b"MTDA", b"some"))):
            row = self.one(self.film(*self.frames, before=[before]),
                           self.film(*self.frames, before=[before.replace(b"some", b"Some")]))
            self.assertEqual(row["bytes"]["differ"], 1)
        right = self.film(chunk(b"01wb", b"odd"), FRAME)
        self.one(right, right.replace(b"odd\0", b"odd\1"))  # a pad
        index = self.film(*self.frames, chunk(b"ix00", bytes(32)))
        self.one(index, index.replace(b"ix00" + struct.pack("<I", 32) + bytes(32),
                                      b"ix00" + struct.pack("<I", 32) + bytes(31) + b"\1"))

    def test_fields_with_both_values(self):
        right = self.film(*self.frames)
        wrong = right.replace(struct.pack("<I", 40_000), struct.pack("<I", 50_000), 1)
        row = self.one(right, wrong)
        self.assertEqual(row["fields"], [{"name": "dwMicroSecPerFrame", "first": {"offset": 32, "value": 40_000},
                                          "second": {"offset": 32, "value": 50_000}}])
        self.assertEqual(row["bytes"], None)
        self.assertIn("\n    0x20  dwMicroSecPerFrame: 40000 -> 50000\n", self.text)
        at = right.index(b"idx1") + 8
        row = self.one(right, right[: at + 4] + b"\0" + right[at + 5 :])
        self.assertEqual(header_of(row), {"entry[0].dwFlags": (16, 0)})
        self.assertIn("entry[0].dwFlags: 0x10 (AVIIF_KEYFRAME) -> 0x0\n", self.text)

    def test_names_of_another_length(self):
        row = self.diff(self.film(FRAME, streams=[video(strn(b"name"))]),
                        self.film(FRAME, streams=[video(strn(b"naming"))]))[1][-1]
        self.assertEqual(header_of(row), {"size": (4, 6), "text": ("name", "naming")})
        self.assertEqual(row["bytes"], None)

    def test_sizes_and_ids_that_make_other_chunks_of_the_same_bytes(self):
        right = self.film(*self.frames)
        movi = right.index(b"movi") - 8
        middle = right.index(self.frames[30])
        last = right.index(b"idx1")
        for at, bytes_, name in ((0, b"RIFX", "id"), (12, b"LISX", "id"), (movi, b"LISX", "id"),
                                 (movi + 8, b"mowi", "type"), (movi + 4, bytes(4), "size"),
                                 (4, bytes(4), "size"), (16, struct.pack("<I", 300), "size"),
                                 (16, struct.pack("<I", 100), "size"), (middle, b"\0\0\0\0", "id"),
                                 (middle + 4, struct.pack("<I", 60), "size"),
                                 (middle + 4, struct.pack("<I", 2), "size"),
                                 (middle + 4, b"\xff" * 4, "size"), (last, b"idx2", "id"),
                                 (last + 4, struct.pack("<I", 11), "size")):
            with self.subTest(at=at, to=bytes_):
                row = self.one(right, right[:at] + bytes_ + right[at + len(bytes_) :])
                self.assertEqual(list(header_of(row)), [name])

    def test_chunks_that_are_missing_or_more(self):
        for place in (0, 7, 59):
            fewer = self.frames[:place] + self.frames[place + 1 :]
            rows = self.diff(self.film(*self.frames), self.film(*fewer))[1]
            names = [(row["change"], row["first"] and row["first"]["id"]) for row in rows]
            wanted = [("changed", "RIFF"), ("changed", "LIST"), ("missing", "00dc" if place % 2 else "01wb")]
            self.assertEqual(names, wanted)
            rows = self.diff(self.film(*fewer), self.film(*self.frames))[1]
            self.assertEqual([row["change"] for row in rows], ["changed", "changed", "added"])
            self.assertEqual(rows[2]["second"]["offset"],
                             self.film(*self.frames).index(self.frames[place]))

    def test_long_runs_are_one_line(self):
        rows = self.diff(self.film(*self.frames), self.film(*self.frames[:10], *self.frames[50:]))[1]
        self.assertEqual([row["change"] for row in rows], ["changed"] * 2 + ["missing"] * 40)
        self.assertRegex(self.text, r"\n  missing  0x\w+  40 chunks up to 0x\w+: 20 00dc, 20 01wb\n")
        self.assertEqual(len(self.text.splitlines()), 1 + 2 * 2 + 1)
        self.diff(self.film(*self.frames), self.film(*self.frames[:10], *self.frames[50:]))
        everything = run("diff", "--all", self.folder / "first.avi", self.folder / "second.avi").out
        self.assertEqual(len(everything.splitlines()), 1 + 2 * 2 + 40)

    def test_many_more_and_many_fewer(self):
        more = [*self.frames[:30], *(chunk(b"01wb", filler(30, n)) for n in range(500, 800)), *self.frames[30:]]
        for first, second, change in ((self.frames, more, "added"), (more, self.frames, "missing")):
            rows = self.diff(self.film(*first), self.film(*second))[1]
            self.assertEqual([row["change"] for row in rows], ["changed"] * 2 + [change] * 300)

    def test_chunks_that_moved(self):
        swapped = [*self.frames[:20], self.frames[40], *self.frames[20:40], *self.frames[41:]]
        row = self.one(self.film(*self.frames), self.film(*swapped), "moved")
        self.assertEqual((row["first"]["offset"], row["second"]["offset"]),
                         (self.film(*self.frames).index(self.frames[40]),
                          self.film(*swapped).index(self.frames[40])))
        name, data = strn(b"name"), chunk(b"strd", struct.pack("<2I", 7, 4) + b"data")
        self.one(self.film(FRAME, streams=[video(data, name)]), self.film(FRAME, streams=[video(name, data)]),
                 "moved")

    def test_what_lies_further_on_is_no_difference(self):
        wider = self.film(*self.frames, before=[chunk(b"JUNK", bytes(1000))])
        rows = self.diff(self.film(*self.frames), wider)[1]
        self.assertEqual([(row["change"], row["second"]["id"]) for row in rows],
                         [("changed", "RIFF"), ("added", "JUNK")])

    def test_cut_short(self):
        right = self.film(*self.frames)
        rows = self.diff(right, right[: right.index(self.frames[30]) + 12])[1]
        self.assertEqual(rows[0]["bytes"]["second_size"], 4)
        self.assertEqual([row["change"] for row in rows], ["changed"] + ["missing"] * 30)
        rows = self.diff(right, right + b"end")[1]
        self.assertEqual([(row["change"], row["second"]["id"]) for row in rows], [("added", None)])

    def test_damage_is_named_and_nothing_else(self):
        """Of damage of every kind: each difference touches the bytes that were damaged."""
        count = 0
        for name in SOUND:
            sound = damage_films.Film(SAMPLES / name)
            for kind, _, data, *_ in damage_films.damaged(sound):
                if data == sound.data:
                    continue
                with self.subTest(name, damage=kind):
                    _, rows = self.diff(SAMPLES / name, data)
                    for row in rows:
                        self.assertTrue(touches(row, damaged_bytes(sound.data, data)), row)
                    count += 1
        self.assertGreater(count, 150)

    def test_nothing_alike(self):
        other = riff(b"WAVE", chunk(b"fmt ", bytes(16)), chunk(b"data", filler(500, 9)))
        outcome, rows = self.diff(SAMPLES / "mpeg4-mp3.avi", other)
        self.assertEqual(outcome, "different")
        self.assertGreater(sum(row["change"] == "missing" for row in rows), 100)
        self.assertEqual({row["change"] for row in self.diff(b"", film(FRAME))[1]}, {"added"})

    def test_as_the_schema_says(self):
        import jsonschema
        schema = json.loads((SOURCE / "docs/schemas/diff.json").read_text())
        validator = jsonschema.Draft202012Validator(schema)
        sound = damage_films.Film(SAMPLES / "mjpeg-pcm-titles.avi")
        lines = []
        for _, _, data, *_ in list(damage_films.damaged(sound))[::5]:
            lines += self.lines(run("diff", "--json", SAMPLES / "mjpeg-pcm-titles.avi", self.file(data)))
        self.assertGreater(len(lines), 20)
        for line in lines:
            validator.validate(line)
            with self.assertRaises(jsonschema.ValidationError):
                validator.validate({**line, "more": 1})

    def test_tree_with_entries_is_as_its_schema_says(self):
        import jsonschema
        validator = jsonschema.Draft202012Validator(json.loads((SOURCE / "docs/schemas/tree.json").read_text()))
        for line in self.lines(run("tree", "--json", "--fields", self.file(indexed_film()))):
            validator.validate(line)

    def test_paths_that_cannot_be_read(self):
        path = self.file(film(FRAME))
        self.assert_fails(run("diff", path, self.folder / "none"), UNREADABLE, "none: No such file")
        self.assert_fails(run("diff", self.folder / "none", path), UNREADABLE, "none: No such file")
        self.assert_fails(run("diff", path), USAGE)
        self.assert_fails(run("diff", path, path, path), USAGE)


def damaged_bytes(right, wrong):
    """Where the difference begins, and where it ends in either file."""
    limit = min(len(right), len(wrong))
    begin = next((i for i in range(limit) if right[i] != wrong[i]), limit)
    same = 0
    while same < limit - begin and right[-1 - same] == wrong[-1 - same]:
        same += 1
    return begin, len(right) - same, len(wrong) - same


def touches(row, damage):
    begin, *ends = damage
    for side, end in zip((row["first"], row["second"]), ends):
        if side is None:
            continue
        own = 12 if side["type"] else side["held"] + (8 if side["id"] is not None else 0)
        if side["offset"] <= max(end, begin) and side["offset"] + own + 1 >= begin:
            return True
    return False


class Long(LookTest):
    """Films of 5 GiB, which are holes but for their headers, and of very many chunks."""

    def sparse(self, name="far.avi"):
        """Five forms, each with a picture of 1 GiB between two short chunks."""
        path = self.folder / name
        big = (1 << 30) - 256
        self.places = []
        with open(path, "wb") as file:
            for form in range(5):
                head = headers(video(), audio()) if form == 0 else b""
                size = 4 + 8 + 24 + 8 + big + 8 + 10
                body = (b"AVIX" if form else b"AVI ") + head
                file.write(b"RIFF" + struct.pack("<I", len(body) + 8 + size) + body + b"LIST" +
                           struct.pack("<I", size) + b"movi" + chunk(b"00dc", filler(24, form)))
                self.places.append(file.tell())
                file.write(b"00dc" + struct.pack("<I", big))
                file.seek(big, 1)
                file.write(chunk(b"01wb", filler(10, 100 + form)))
        if path.stat().st_blocks * 512 > 1 << 24:
            self.skipTest("there are no holes in files here")
        return path

    def run_small(self, *arguments):
        """Runs it, and holds it to a memory that is small beside the film."""
        with open(self.folder / "out", "wb") as out:
            process = subprocess.Popen([*EMULATOR, TOOL, *arguments], stdout=out, stderr=subprocess.PIPE)
            err = process.stderr.read()
            process.stderr.close()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        self.assertLess(usage.ru_maxrss, 1 << 19, "KiB")
        self.assertEqual(err, b"")
        return process.returncode, (self.folder / "out").read_bytes()

    def test_a_film_past_4_gib(self):
        path = self.sparse()
        taken = self.folder / "taken"
        status, _ = self.run_small("extract", path, "--stream", "1", "-o", taken)
        self.assertEqual(status, 0)
        self.assertEqual(taken.read_bytes(), b"".join(filler(10, 100 + form) for form in range(5)))
        status, out = self.run_small("dump", path, str(self.places[4]))
        self.assertEqual(status, 0)
        self.assertLess(len(out.splitlines()), 10)
        self.assertIn(f"0x{path.stat().st_size - 18:09x}", out.decode())
        mark = (self.places[4] + 700_000_000) // 4096 * 4096  # where the hole ends then
        place = (mark - self.places[4] - 8) % 16
        with open(path, "r+b") as file:
            file.seek(mark)
            file.write(b"mark")
        _, out = self.run_small("dump", path, str(self.places[4]))
        shown = bytes_of(out.decode())
        self.assertEqual(bytes(shown[mark + i] for i in range(4)), b"mark")
        self.assertEqual(min(at for at in shown if at > mark - 100), mark - place)
        with open(path, "r+b") as file:
            file.seek(mark)
            file.write(bytes(4))
        other = self.sparse("other.avi")
        self.assertEqual(self.run_small("diff", path, other)[0], 0)
        with open(other, "r+b") as file:
            file.seek(self.places[3] + 900_000_000)
            file.write(b"x")
        status, out = self.run_small("diff", path, other)
        self.assertEqual(status, DISAGREED)
        self.assertIn(f"0x{self.places[3] + 900_000_000:x}  1 byte differs: 00 -> 78", out.decode())

    def test_holes_stay_holes(self):
        path = self.folder / "far.avi"
        size = 200 << 20
        with open(path, "wb") as file:
            file.write(film(FRAME, movi_size=4 + 32 + 8 + size, riff_size=len(film()) + 32 + size))
            file.write(b"00dc" + struct.pack("<I", size))
            file.truncate(file.tell() + size)
        if path.stat().st_blocks * 512 > 1 << 24:
            self.skipTest("there are no holes in files here")
        taken = self.folder / "taken"
        self.assertEqual(self.run_small("extract", path, "--stream", "0", "-o", taken)[0], 0)
        self.assertEqual(taken.stat().st_size, 24 + size)
        self.assertLess(taken.stat().st_blocks * 512, 1 << 23)
        with open(taken, "rb") as file:
            self.assertEqual(file.read(24), filler(24))
            self.assertEqual(sum(block.count(0) for block in iter(lambda: file.read(1 << 20), b"")), size)

    def many(self, name, seed):
        path = self.folder / name
        with open(path, "wb") as file:
            file.write(film(FRAME, movi_size=0xFFFFFFF0, riff_size=0xFFFFFFF8))
            for number in range(30_000):
                file.write(chunk(b"00dc", struct.pack("<3I", number, seed, seed * number)))
        return path

    def test_two_films_in_which_no_frame_is_alike(self):
        status, out = self.run_small("diff", self.many("a.avi", 1), self.many("b.avi", 2))
        self.assertEqual(status, DISAGREED)
        self.assertEqual(len(out.splitlines()), 2)
        self.assertIn(b"the media bytes of 30,000 chunks", out)

    def test_it_can_be_stopped(self):
        path = self.folder / "long.avi"
        with open(path, "wb") as file:
            file.write(film(FRAME, movi_size=0xFFFFFFF0, riff_size=0xFFFFFFF8))
            for _ in range(64):
                file.write(chunk(b"00dc") * (1 << 16))
        taken = self.folder / "taken"
        for arguments in (["dump", path, str((1 << 25) - 8)], ["diff", path, path],
                          ["extract", path, "--stream", "0", "-o", taken]):
            with self.subTest(arguments[0]):
                status, written = self.interrupt(*arguments)
                self.assertEqual(status, INTERRUPTED, written)
                self.assertRegex(written, r"\[#*-+\] +\d+%  .*/s  \d+:\d\d left")
                self.assertTrue(written.endswith("long.avi: interrupted\r\n"), written[-200:])
        self.assertEqual(os.listdir(self.folder), ["long.avi"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
