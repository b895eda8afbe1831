"""Tests of the commands of sorn-tool that look into files. Run like tool_test.py."""

import json
import os
import re
import signal
import struct
import subprocess
import unittest

from tool_test import (BUILD, EMULATOR, INTERRUPTED, LONGEST, NAMES, REFUSED, SAMPLES, SOURCE, TOOL,
                       UNREADABLE, USAGE, ToolTest, chunk, film, filler, lst, riff, run)

FRAME = chunk(b"00dc", filler(24))
MOVI = lst(b"movi", FRAME)
AVIH = chunk(b"avih", struct.pack("<14I", 40_000, 0, 0, 0x10, 1, 0, 1, 0, 320, 240, *[0] * 4))
INDEX = chunk(b"idx1", struct.pack("<4s3I", b"00dc", 0x10, 4, 24))  # of a list with FRAME alone
FIRST_STREAM = 12 + 12 + 64


def parts_written_to(terminal):
    while True:
        try:
            part = os.read(terminal, 65536)
        except OSError:  # the other end is closed
            return
        if not part:
            return
        yield part


def strh(kind=b"vids", size=None):
    return chunk(b"strh", kind + bytes(4) + struct.pack("<I2H8I4H", 0, 0, 0, 0, 1, 25, 0, 1, *[0] * 7),
                 size)


def video_strf(size=40, compression=b"FMP4"):
    return chunk(b"strf", struct.pack("<3I2H", 40, 320, 240, 1, 24) + compression + bytes(20), size)


def strn(name, size=None):
    return b"strn" + struct.pack("<I", len(name) if size is None else size) + name


def video(*after, compression=b"FMP4"):
    return lst(b"strl", strh(), video_strf(compression=compression), *after)


def audio(*after, extra=b""):
    wave = struct.pack("<2H2I3H", 1, 2, 48000, 192000, 4, 16, len(extra)) + extra
    return lst(b"strl", strh(b"auds"), chunk(b"strf", wave), *after)


def text(name):
    return lst(b"strl", strh(b"txts"), chunk(b"strf", bytes(8)), strn(name))


def headers(*streams):
    return lst(b"hdrl", AVIH, *streams)


def with_streams(*streams):
    return riff(b"AVI ", headers(*streams), MOVI)


def cut(content, *parts):
    """A form that claims more than the file holds."""
    return riff(b"AVI ", content, *parts, size=50_000)


class LookTest(ToolTest):
    def lines(self, result):
        return [json.loads(line) for line in result.out.splitlines()]

    def interrupt(self, *arguments, stdout=subprocess.DEVNULL):
        """Stops the tool as soon as it shows how far it is; what it wrote to the terminal."""
        master, slave = self.open_terminal()
        process = subprocess.Popen([*EMULATOR, TOOL, *arguments], stdout=stdout, stderr=slave)
        os.close(slave)
        written = b""
        for part in parts_written_to(master):
            if b" left" in part and b" left" not in written:
                process.send_signal(signal.SIGINT)
            written += part
        os.close(master)
        return process.wait(timeout=LONGEST), written.decode()


class Check(LookTest):
    def refused(self, content, reason, offset, sentence, found=None):
        path = self.file(content)
        result = run("check", path)
        self.assertEqual(result.status, REFUSED, result.out)
        self.assertEqual(result.err, "")
        self.assertTrue(result.out.startswith(f"{path}: {sentence}"), result.out)
        result = run("check", "--json", path)
        self.assertEqual(result.status, REFUSED)
        line, = self.lines(result)
        told = {key: line[key] for key in ("file", "opened", "reason", "offset", "found", "sentence")}
        self.assertEqual(told, dict(file=str(path), opened=False, reason=reason, offset=offset,
                                    found=found, sentence=sentence))
        first = line["findings"][0]
        self.assertEqual((first["rule"], first["severity"], first["offset"]),
                         (reason, "refusal", offset))
        self.assertIn(first["sentence"], sentence)

    def test_top_level_cut_short(self):
        whole = film(FRAME)
        self.refused(whole + b"JUNK", "top_level_cut_short", len(whole),
                     "refused: the file ends inside the header of the top-level chunk at "
                     f"0x{len(whole):x}")

    def test_list_header_cut_short(self):
        self.refused(b"", "list_header_cut_short", 0, "refused at 0x0: the file is empty")
        self.refused(b"RIFF" + bytes(4), "list_header_cut_short", 8,
                     "refused: the file ends at 0x8, inside the 12-byte header of a form or list")

    def test_not_a_form(self):
        self.refused(chunk(b"JUNK", bytes(20)) + film(FRAME), "not_a_form", 0,
                     "refused at 0x0: the file begins with 'JUNK', not 'RIFF'", "JUNK")

    def test_not_avi(self):
        self.refused(riff(b"WAVE", chunk(b"fmt ", bytes(16))), "not_avi", 8,
                     "refused at 0x8: the first form is of type 'WAVE', not 'AVI '", "WAVE")

    def test_header_list_too_short(self):
        self.refused(riff(b"AVI ", lst(b"hdrl"), MOVI), "header_list_too_short", 12,
                     "refused: the 'hdrl' list at 0xc declares 4 bytes: the reader takes it for empty")

    def test_no_main_header(self):
        self.refused(riff(b"AVI ", lst(b"hdrl", chunk(b"JUNK", b"abcd"), AVIH, video()), MOVI),
                     "no_main_header", 24,
                     "refused at 0x18: the header list begins with 'JUNK', not 'avih'", "JUNK")

    def test_header_list_cut_short(self):
        self.refused(riff(b"AVI ", lst(b"hdrl", AVIH, size=5000)), "header_list_cut_short", 12,
                     "refused: the 'hdrl' list at 0xc declares 5,000 bytes, and the file ends at 0x58")

    def one_too_many(self, stream, limit, reason, ordinal):
        offset = FIRST_STREAM + limit * len(stream)
        self.refused(with_streams(*[stream] * (limit + 1)), reason, offset,
                     f"refused: {ordinal} at 0x{offset:x}: at most {limit}")

    def test_too_many_streams(self):
        self.one_too_many(lst(b"strl", strh(b"mids")), 19, "too_many_streams", "20th stream")

    def test_too_many_audio_streams(self):
        self.one_too_many(audio(), 12, "too_many_audio_streams", "13th audio stream")

    def test_too_many_video_streams(self):
        self.one_too_many(video(), 12, "too_many_video_streams", "13th video stream")

    def test_too_many_bitmap_subtitles(self):
        self.one_too_many(video(compression=b"QRSB"), 12, "too_many_bitmap_subtitles",
                          "13th bitmap subtitle stream")

    def test_too_many_text_subtitles(self):
        self.one_too_many(text(b"Subtitle"), 12, "too_many_text_subtitles",
                          "13th text subtitle stream")

    def test_too_many_chapters(self):
        self.one_too_many(text(b"Chapter "), 12, "too_many_chapters", "13th chapter stream")

    def bad_list(self, chunks, reason, trouble):
        self.refused(with_streams(lst(b"strl", *chunks)), reason, FIRST_STREAM,
                     f"refused: the stream list at 0x58 {trouble}")

    def test_bad_stream_header(self):
        self.bad_list([strh(size=55)], "bad_stream_header", "has a 'strh' of 55 bytes: 56 are needed")
        self.bad_list([chunk(b"strx", bytes(56))], "bad_stream_header", "begins with 'strx', not 'strh'")
        cut_off = with_streams(video())[: FIRST_STREAM + 40]
        self.refused(cut_off, "bad_stream_header", FIRST_STREAM, "refused: the stream list at 0x58 has a "
                     f"'strh' of 56 bytes that the file cuts short: the file ends at 0x{len(cut_off):x}")

    def test_bad_audio_format(self):
        self.refused(riff(b"AVI ", headers(lst(b"strl", strh(b"auds"), b"strf\x10\0\0\0"))),
                     "bad_audio_format", FIRST_STREAM,
                     "refused: the stream list at 0x58 has an audio format at 0xa4 that the file cuts "
                     "short: the file ends at 0xac")

    def test_bad_video_format(self):
        self.bad_list([strh(), video_strf(size=44) + b"abcd"], "bad_video_format",
                      "has a video format at 0xa4 that declares 40 bytes, in a chunk that declares 44 bytes")
        cut_off = with_streams(video())[: FIRST_STREAM + 100]
        self.refused(cut_off, "bad_video_format", FIRST_STREAM, "refused: the stream list at 0x58 has a "
                     f"video format at 0xa4 that the file cuts short: the file ends at 0x{len(cut_off):x}")

    def test_bad_stream_name(self):
        self.bad_list([strh(), video_strf(), strn(bytes(20), 40_000)], "bad_stream_name",
                      "has a name whose length is negative as a 16-bit number")

    def test_stream_list_cut_short(self):
        self.refused(riff(b"AVI ", headers(video())), "stream_list_cut_short", FIRST_STREAM,
                     "refused: the stream list at 0x58 is cut short: the file ends at 0xd4, where its "
                     "next chunk is looked for")
        long_data = video(b"strd" + struct.pack("<3I", 50, 7, 900_000) + bytes(42))
        self.refused(riff(b"AVI ", headers(long_data)), "stream_list_cut_short", FIRST_STREAM,
                     "refused: the stream list at 0x58 is cut short: the 'strd' chunk at 0xd4 declares "
                     "900,000 bytes of stream data, and the file ends at 0x10e")

    def test_movi_too_short(self):
        head = headers(video())
        offset = 12 + len(head)
        self.refused(riff(b"AVI ", head, lst(b"movi", chunk(b"00dc")), chunk(b"JUNK", bytes(40))),
                     "movi_too_short", offset,
                     f"refused: the 'movi' list at 0x{offset:x} declares 12 bytes: the reader takes it "
                     "for ended")

    def test_no_movi(self):
        head = headers(video())
        offset = 12 + len(head) + 100
        self.refused(riff(b"AVI ", head, chunk(b"JUNK", bytes(92)), chunk(b"JUNK")), "no_movi",
                     offset, "refused: no 'movi' list in the first form, whose walk ended at "
                     f"0x{offset:x}")

    def test_form_cut_short(self):
        head = headers(video())
        offset = 12 + len(head) + 48
        self.refused(cut(head, chunk(b"JUNK", bytes(40))), "form_cut_short", offset,
                     f"refused: the file ends at 0x{offset:x}, before the first form's 'movi' list")

    def test_path_that_cannot_be_read(self):
        path = self.folder / "none.avi"
        self.assert_fails(run("check", path), UNREADABLE, str(path), "No such file")
        result = run("check", "--json", path)
        self.assertEqual(result.status, UNREADABLE)
        line, = self.lines(result)
        self.assertEqual((line["opened"], line["reason"], line["offset"]),
                         (False, "cannot_open", None))

    def oddities(self, content):
        result = run("check", "--json", self.file(content))
        self.assertEqual(result.status, 0, result.out)
        line, = self.lines(result)
        self.assertEqual((line["opened"], line["reason"], line["sentence"]), (True, None, "opens"))
        return line["oddities"]

    def odd(self, content, kind, offset, *words):
        """The oddity of that kind, of which there must be one alone."""
        found = [oddity for oddity in self.oddities(content) if oddity["kind"] == kind]
        self.assertEqual(len(found), 1, (kind, found))
        self.assertEqual(found[0]["offset"], offset)
        for word in words:
            self.assertIn(word, found[0]["sentence"])

    def whole(self, *before, streams=(video(),), after=b"", media=MOVI):
        """A file in which nothing is odd but what a test puts into it."""
        return riff(b"AVI ", headers(*streams), *before, media, INDEX, after)

    def place(self, content, what, start=0):
        return content.index(what, start)

    def test_samples_open_and_have_nothing_odd(self):
        for name in NAMES:
            with self.subTest(name):
                result = run("check", SAMPLES / name)
                self.assert_agrees(result)
                opens = re.escape(f"{SAMPLES / name}: opens")
                if name == "extensions.avi":  # its indexes lead nowhere, and its headers count nothing
                    self.assertRegex(result.out, rf"\A{opens}; 6 errors, 8 warnings \(54 chunks, 4 index")
                else:
                    self.assertRegex(result.out, rf"\A{opens} \([\d,]+ chunks, [\d,]+ index entries\)\n\Z")

    def test_a_plain_file_has_nothing_odd(self):
        self.assertEqual(self.oddities(self.whole()), [])

    def test_sizes_past_the_file(self):
        content = (SAMPLES / "mpeg4-mp3.avi").read_bytes()[:60_000]
        found = [o for o in self.oddities(content) if o["kind"] == "claims_too_much"]
        self.assertEqual([o["sentence"].split("'")[1] for o in found], ["AVI ", "movi", "00dc"])
        self.assertEqual(found[0]["sentence"], "the 'AVI ' form at 0x0 declares 112,296 bytes: the "
                         "file ends after 59,992 bytes")

    def test_a_list_past_its_parent(self):
        content = self.whole(lst(b"odd ", lst(b"in  ", chunk(b"abcd", bytes(8)), size=200)))
        self.odd(content, "claims_too_much", self.place(content, b"in  ") - 8, "declares 200 bytes",
                 "what holds it ends after 20")

    def test_a_short_main_header(self):
        short = lst(b"hdrl", b"avih" + struct.pack("<I", 40) + AVIH[8:48], video(), video())
        content = riff(b"AVI ", short, MOVI, INDEX)
        self.odd(content, "short_main_header", 24, "declares 40 bytes", "reads 56")

    def test_no_index(self):
        self.odd(film(FRAME), "no_index", None)

    def test_an_index_that_the_reader_does_not_see(self):
        index = chunk(b"idx1", bytes(16))
        inside = riff(b"AVI ", headers(video()), lst(b"movi", FRAME, index))
        self.odd(inside, "index_not_seen", self.place(inside, b"idx1"), "inside a list")
        later = film(FRAME) + riff(b"AVIX", lst(b"movi", FRAME), index)
        self.odd(later, "index_not_seen", self.place(later, b"idx1"), "in a later form")
        outside = film(FRAME) + chunk(b"JUNK", b"four") + index
        self.odd(outside, "index_not_seen", self.place(outside, b"idx1"), "outside the forms")
        second = self.whole(after=index)
        self.odd(second, "index_not_seen", second.rindex(b"idx1"), "not the first")
        self.assertEqual([o for o in self.oddities(inside) if o["kind"] == "no_index"], [])

    def test_an_index_where_no_pad_byte_lets_the_walk_find_it(self):
        content = riff(b"AVI ", headers(video()), MOVI, b"JUNK\x05\0\0\0abcde",
                       chunk(b"idx1", bytes(16)))
        self.odd(content, "index_not_seen", self.place(content, b"idx1"), "does not come")

    def test_extension_lists_that_are_never_loaded(self):
        data = lst(b"QRDT", chunk(b"MTDA", b"some data"), chunk(b"JUNK", bytes(8)))
        self.assertEqual(self.oddities(self.whole(data)), [])
        behind = self.whole(after=data)
        self.odd(behind, "extension_list_not_loaded", self.place(behind, b"QRDT") - 8,
                 "behind 'movi'")
        later = self.whole() + riff(b"AVIX", data)
        self.odd(later, "extension_list_not_loaded", self.place(later, b"QRDT") - 8, "later form")
        inside = self.whole(lst(b"odd ", data))
        self.odd(inside, "extension_list_not_loaded", self.place(inside, b"QRDT") - 8,
                 "inside another list")

    def test_chunks_in_a_lists_last_bytes(self):
        last = chunk(b"MTDA")
        content = self.whole(lst(b"QRDT", chunk(b"MTDA", b"data"), last))
        self.odd(content, "never_visited", content.rindex(last), "last 8 bytes")
        # After a chunk that is only stepped over it is visited.
        content = self.whole(lst(b"QMNU", chunk(b"JUNK", b"data"), chunk(b"MENU")))
        self.assertEqual(self.oddities(content), [])
        content = self.whole(lst(b"QRDT", chunk(b"MTDA")))
        self.odd(content, "never_visited", self.place(content, b"MTDA"))
        record = json.loads(run("info", "--json", self.folder / "film.avi").out)
        self.assertEqual(record["data_blob"]["present"], 0)

    def test_extension_chunks_that_others_replace(self):
        content = self.whole(lst(b"QMNU", chunk(b"MENU", b"1st."), chunk(b"MENU", b"2nd."),
                                 chunk(b"JUNK", bytes(8))))
        self.odd(content, "extension_chunk_not_kept", self.place(content, b"MENU"), "a later one")

    def test_an_extension_chunk_that_the_file_cuts_short(self):
        content = self.whole() + riff(b"MENU", b"LIST" + struct.pack("<I", 4) + b"QMNU" +
                                      chunk(b"MENU", b"four", size=50))
        self.odd(content, "extension_cut_short", self.place(content, b"MENU", len(content) - 12),
                 "ends 46 bytes before")

    def test_a_stream_of_no_known_type(self):
        self.odd(self.whole(streams=[lst(b"strl", strh(b"mids"))]), "unknown_stream", None,
                 "stream 0 is of type 'mids'")
        self.odd(self.whole(streams=[text(b"Lyrics..")]), "unknown_stream", None,
                 "neither 'Subtitle' nor 'Chapter'")

    def test_stream_chunks_that_are_not_kept(self):
        strd = chunk(b"strd", struct.pack("<2I", 7, 4) + b"data")
        name = strn(b"name")
        indx = chunk(b"indx", struct.pack("<H2BI4s3I", 4, 0, 0, 0, b"00dc", 0, 0, 0))
        self.assertEqual(self.oddities(self.whole(streams=[video(strd, name, indx)])), [])
        lying = chunk(b"strd", struct.pack("<2I", 7, 0x90000000) + b"data")
        for kind, stream in (("stream_data_not_kept", video(chunk(b"JUNK", b"four"), strd)),
                             ("stream_data_not_kept", video(lying)),
                             ("stream_data_not_kept", audio(strd)),
                             ("name_not_kept", audio(chunk(b"JUNK", b"four"), name)),
                             ("super_index_not_kept", video(chunk(b"JUNK", b"four"), indx))):
            content = self.whole(streams=[stream])
            wanted = {"stream": b"strd", "name": b"strn", "super": b"indx"}[kind.split("_")[0]]
            self.odd(content, kind, self.place(content, wanted))

    def test_a_name_of_which_only_the_low_16_bits_count(self):
        content = self.whole(streams=[audio(strn(filler(65_546)))])
        self.odd(content, "name_cut", self.place(content, b"strn"), "65,546 bytes: 10 are kept")

    def test_bytes_that_are_no_chunk(self):
        content = self.whole(lst(b"odd ", chunk(b"abcd", bytes(8)), b"xyz\0"))
        self.odd(content, "lost_bytes", self.place(content, b"xyz"), "4 bytes", "'odd ' list")

    def test_a_main_header_that_counts_other_streams(self):
        self.odd(self.whole(streams=[video(), audio()]), "stream_count_differs", 56,
                 "counts 1 stream at 0x38, the file has 2")

    def test_a_million_oddities_are_counted(self):
        content = self.whole(lst(b"odd ", *[lst(b"x   ", b"12\0\0") for _ in range(25)]))
        found = [o for o in self.oddities(content) if o["kind"] == "lost_bytes"]
        self.assertEqual(len(found), 11)
        self.assertEqual(found[-1]["sentence"], "and 15 more like that")

    def test_several_files(self):
        good, bad = self.file(self.whole(), "good.avi"), self.file(b"no film", "bad.avi")
        self.assertEqual(run("check", good, good).status, 0)
        self.assertEqual(run("check", bad, bad).status, REFUSED)
        result = run("check", good, bad, good)
        self.assertEqual(result.status, 1)
        self.assertEqual(re.findall(r"^\S+: (opens|refused)", result.out, re.M),
                         ["opens", "refused", "opens"])
        self.assertEqual(run("check").status, USAGE)


class Tree(LookTest):
    def tree(self, content, *options):
        result = run("tree", *options, self.file(content))
        self.assert_agrees(result)
        return result.out.splitlines()

    def rows(self, content):
        """Of each chunk its offset, depth, id, type, declared and held size."""
        lines = self.tree(content, "--json")
        keys = ("offset", "depth", "id", "type", "declared", "held")
        return [tuple(row[key] for key in keys) for row in map(json.loads, lines[1:])]

    def test_every_chunk_of_a_file_in_its_place(self):
        content = riff(b"AVI ", headers(video()), lst(b"movi", FRAME, lst(b"rec ", FRAME)),
                       chunk(b"what", b"odd")) + chunk(b"JUNK", b"four")
        movi = content.index(b"movi") - 8
        self.assertEqual(self.rows(content), [
            (0, 0, "RIFF", "AVI ", len(content) - 12 - 8, len(content) - 12 - 8),
            (12, 1, "LIST", "hdrl", 192, 192), (24, 2, "avih", None, 56, 56),
            (88, 2, "LIST", "strl", 124 - 8, 116), (100, 3, "strh", None, 56, 56),
            (164, 3, "strf", None, 40, 40), (movi, 1, "LIST", "movi", 80, 80),
            (movi + 12, 2, "00dc", None, 24, 24), (movi + 44, 2, "LIST", "rec ", 36, 36),
            (movi + 56, 3, "00dc", None, 24, 24), (movi + 88, 1, "what", None, 3, 3),
            (movi + 100, 0, "JUNK", None, 4, 4)])

    def test_what_each_chunk_is_and_what_was_kept(self):
        out = run("tree", SAMPLES / "extensions.avi").out
        for pattern in (r"0x000  RIFF AVI   1,570 bytes  first form", "0x018      avih  56 bytes  main "
                        r"header  \[kept: whole\]", r"LIST strl .*\[kept: stream 2: bitmap subtitle\]",
                        r"strd .*\[kept: whole\]", r"indx .*super index  \[kept: header, for stream 1",
                        r"LIST QRDT .*\[kept: position\]", r"MTDA .*\[kept: whole, without",
                        r"MENU  15 bytes  menu  \[kept: whole\]", r"strn .*\[kept: Main film\]",
                        r"MENU  7 bytes  menu  \[kept: whole\]", r"idx1 .*index  \[kept: position\]",
                        r"LIST movi  538 bytes  media  \[kept: position of its first chunk\]",
                        r"RIFF AVIX .*later form", r"8 chunks up to 0x601: 2 00dc, 2 01wb, 1 LIST rec "):
            self.assertRegex(out, pattern)

    def test_thousands_of_media_chunks_are_one_line(self):
        frames = [FRAME, chunk(b"01wb", b"odd")] * 4000
        lines = self.tree(film(*frames))
        media = len(film())
        end = media + 4000 * (32 + 12) - 1
        self.assertIn(f"0x{media:05x}      ...  {4000 * 44 - 1:,} bytes  8,000 chunks up to 0x{end:x}: "
                      "4,000 00dc, 4,000 01wb", lines)
        self.assertLess(len(lines), 12)
        self.assertEqual(len(self.tree(film(*frames), "--all")), len(lines) - 1 + 8000)
        self.assertEqual(len(self.rows(film(*frames))), len(lines) - 1 - 1 + 8000)

    def test_declared_and_actual_size_where_they_differ(self):
        lines = self.tree(film(FRAME, chunk(b"00dc", b"four", size=0xFFFFFFFF)))
        self.assertIn("00dc  4,294,967,295 bytes declared, 4 there  compressed video", lines[-1])

    def test_a_list_is_clamped_to_what_holds_it(self):
        rows = self.rows(riff(b"AVI ", lst(b"odd ", lst(b"in  ", FRAME, size=5000)), FRAME))
        self.assertEqual([row[1:] for row in rows[1:]],
                         [(1, "LIST", "odd ", 48, 48), (2, "LIST", "in  ", 5000, 36),
                          (3, "00dc", None, 24, 24), (1, "00dc", None, 24, 24)])

    def test_a_recording_that_was_never_finished(self):
        head = headers(video())
        content = riff(b"AVI ", head, lst(b"movi", FRAME, FRAME, size=0), size=0)
        self.assertEqual([row[2] for row in self.rows(content)][-3:], ["LIST", "00dc", "00dc"])
        self.assertIn("0 bytes declared", self.tree(content)[1])

    def test_pads_as_files_have_them(self):
        index = chunk(b"idx1", bytes(16))
        for pad in (b"", b"\0", b"x"):
            with self.subTest(pad):
                content = riff(b"AVI ", headers(), lst(b"movi", b"00dc\3\0\0\0odd" + pad + FRAME),
                               b"JUNK\1\0\0\0j" + pad, index)
                content += b"JUNK\1\0\0\0j" + pad + riff(b"AVIX", MOVI)
                self.assertEqual([row[2] for row in self.rows(content) if row[1] == 1],
                                 ["LIST", "LIST", "JUNK", "idx1", "LIST"])

    def test_bytes_that_are_no_chunk(self):
        lines = self.tree(film(FRAME) + b"abc\x1b")
        self.assertRegex(lines[-1], r"lost  4 bytes  too few for a chunk$")

    def test_ids_cannot_command_the_terminal(self):
        lines = self.tree(film(FRAME) + chunk(b"\x1b[2J", b"four"))
        self.assertIn("\\x1b[2J  4 bytes  unknown", lines[-1])

    def test_a_refused_file_is_shown_with_the_place(self):
        lines = self.tree(riff(b"AVI ", lst(b"hdrl", chunk(b"JUNK", b"abcd"), AVIH), MOVI))
        self.assertIn("refused at 0x18: the header list begins with 'JUNK'", lines[0])
        self.assertEqual(lines[3], "0x18      JUNK  4 bytes  filler  [refused here]")

    def test_lists_nested_a_hundred_thousand_deep(self):
        depth = 100_000
        heads = b"".join(b"LIST" + struct.pack("<I", 4 + 12 * (depth - 1 - i)) + b"rec "
                         for i in range(depth))
        rows = self.rows(film(heads))
        self.assertEqual(max(row[1] for row in rows), 64)
        self.assertEqual(sum(row[2] == "LIST" for row in rows), 64 + 2)  # with the header lists

    def test_lying_sizes_cost_no_more_than_the_file_is_long(self):
        heads = b"".join(b"LIST" + struct.pack("<I", 0xFFFFFFF0) + b"rec " for _ in range(5000))
        for content in (film(heads), film(bytes(80_000)), film((b"LIST" + bytes(4)) * 1000)):
            rows = self.rows(content)
            self.assertLessEqual(len(rows), len(content) / 8)
            self.assertLess(len(self.tree(content)), 200)

    def in_terminal(self, env=None):
        """What the tool writes to a terminal that is its standard output and error."""
        master, slave = self.open_terminal()
        process = subprocess.Popen([*EMULATOR, TOOL, "tree", SAMPLES / "extensions.avi"], stdout=slave,
                                   stderr=slave, env={**os.environ, **(env or {})})
        os.close(slave)
        output = b""
        for part in parts_written_to(master):
            output += part
        os.close(master)
        self.assertEqual(process.wait(timeout=60), 0)
        return output

    def test_colour_on_a_terminal_only(self):
        plain = {key: value for key, value in os.environ.items() if key != "NO_COLOR"}
        self.assertIn(b"\x1b[32m[kept: position]\x1b[0m", self.in_terminal({"NO_COLOR": ""}))
        self.assertNotIn(b"\x1b", self.in_terminal({"NO_COLOR": "1"}))
        self.assertNotIn("\x1b", run("tree", SAMPLES / "extensions.avi", env=plain).out)

    def test_paths_that_cannot_be_read(self):
        self.assert_fails(run("tree", self.folder / "none"), UNREADABLE, "No such file")
        self.assert_fails(run("tree"), USAGE, "--help")


# ---- long work


class LongWork(LookTest):
    """Millions of empty chunks, which take a while to walk."""

    def setUp(self):
        super().setUp()
        self.path = self.folder / "long.avi"
        with open(self.path, "wb") as file:
            file.write(film(FRAME, movi_size=0xFFFFFFF0, riff_size=0xFFFFFFF8))
            for _ in range(256):
                file.write(chunk(b"00dc") * (1 << 16))

    def test_progress_with_rate_and_time_left_until_it_is_stopped(self):
        output = self.folder / "map.html"
        for arguments in (["check", self.path], ["tree", self.path],
                          ["map", self.path, "-o", output]):
            with self.subTest(arguments[0]):
                status, written = self.interrupt(*arguments)
                self.assertEqual(status, INTERRUPTED)
                self.assertRegex(written, r"\[#*-+\] +\d+%  .* of 128\.0 MiB  .*/s  \d+:\d\d left")
                self.assertTrue(written.endswith("long.avi: interrupted\r\n"), written[-200:])
        self.assertEqual(list(self.folder.iterdir()), [self.path])

    def test_an_interrupted_tree_shows_what_was_done(self):
        with open(self.folder / "tree", "wb+") as tree:
            self.interrupt("tree", self.path, stdout=tree)
        lines = (self.folder / "tree").read_text().splitlines()
        self.assertIn("LIST movi", lines[-2])
        self.assertRegex(lines[-1], r"\.\.\.  .* bytes  .* chunks up to .*: [\d,]+ 00dc")

    def test_no_progress_where_there_is_no_terminal(self):
        path = self.file(film(*[FRAME] * 1000))
        for arguments in (["check", path], ["tree", path], ["map", path, "-o", self.folder / "m.svg"]):
            self.assertEqual(run(*arguments).err, "")


# ---- completion and help


class Completion(LookTest):
    script = SOURCE / "tools/completion/sorn-tool"

    def complete(self, *words):
        """What bash offers for the last of the words."""
        for name in ("film.avi", "old film.AVI", "notes.txt", "map.html", "own.so", "own.so.0"):
            (self.folder / name).touch()
        (self.folder / "folder").mkdir(exist_ok=True)
        program = """set -u; source "$1"; shift
            [ "$(complete -p sorn-tool)" = "complete -F _sorn_tool sorn-tool" ] || exit 9
            COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _sorn_tool
            ((${#COMPREPLY[@]})) && printf '%s\\n' "${COMPREPLY[@]}"; exit 0"""
        done = subprocess.run(["bash", "-c", program, "bash", self.script, "sorn-tool", *words],
                              cwd=self.folder, capture_output=True, text=True, timeout=LONGEST)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return sorted(done.stdout.splitlines())

    def commands(self):
        names = re.search(r"Subcommands:\n((?:  .*\n)+)", run("--help").out)[1]
        return re.findall(r"^  (\w+)", names, re.M)

    def test_commands(self):
        self.assertEqual(self.commands(), ["play", "info", "check", "tree", "map", "dump", "extract", "diff",
                                           "repair"])
        self.assertEqual(self.complete(""), sorted([*self.commands(), "--help", "--version"]))
        self.assertEqual(self.complete("t"), ["tree"])

    def test_every_option_of_every_command(self):
        for command in self.commands():
            with self.subTest(command):
                found = re.findall(r"^  (?:-\w,)?(--[a-z-]+)", run(command, "--help").out, re.M)
                self.assertEqual(self.complete(command, "--"), sorted(found))

    def test_files_of_the_kind_that_belongs_there(self):
        films = ["film.avi", "folder", "old film.AVI"]
        for command in self.commands():
            self.assertEqual(self.complete(command, ""), films)
        self.assertEqual(self.complete("check", "--json", "film.avi", "o"), ["old film.AVI"])
        self.assertEqual(self.complete("map", "-o", ""), ["folder", "map.html"])
        self.assertEqual(self.complete("map", "film.avi", "--output", "m"), ["map.html"])
        self.assertEqual(self.complete("play", "--plugin", "o"), ["own.so", "own.so.0"])
        self.assertEqual(self.complete("dump", "film.avi", "m"), ["menu"])
        self.assertEqual(self.complete("extract", "film.avi", "-o", "n"), ["notes.txt"])
        self.assertEqual(self.complete("diff", "film.avi", ""), films)
        self.assertEqual(self.complete("nonsense", ""), [])

    def test_installed_where_bash_looks(self):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", self.folder],
                       stdout=subprocess.DEVNULL, check=True)
        self.assertEqual((self.folder / "share/bash-completion/completions/sorn-tool").read_bytes(),
                         self.script.read_bytes())

    def test_every_command_has_an_example_in_its_help_and_a_section_in_the_manual(self):
        manual = (SOURCE / "docs/sorn-tool.1").read_text()
        for command in self.commands():
            example = re.search(r"Example:\n  (sorn-tool .*)\n", run(command, "--help").out)[1]
            self.assertTrue(example.startswith(f"sorn-tool {command} "))
            self.assertIn(example.replace("-", "\\-").replace("sorn\\-tool", "sorn-tool"), manual)
            self.assertIn(f"\n.SS {command}\n", manual)
            self.assertIn(f"\n.B sorn-tool {command}\n", manual)


if __name__ == "__main__":
    unittest.main(verbosity=2)
