"""Tests of sorn-tool: they run the real program on real files.

Run by ctest, which gives the build's paths and tools in the environment. By hand:
    TOOL=build/debug/bin/sorn-tool BUILD=build/debug python3 tests/tool/tool_test.py Play
"""

import json
import os
import pty
import re
import resource
import shlex
import shutil
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
SAMPLES = SOURCE / "samples"
BUILD = Path(os.environ.get("BUILD", SOURCE / "build/debug")).resolve()
TOOL = Path(os.environ.get("TOOL", BUILD / "bin/sorn-tool")).resolve()
PLUGIN = BUILD / "lib/libdrm-sorn.so.0"
FAULTY = BUILD / "lib/libfaulty-plugin.so"
EMULATOR = shlex.split(os.environ.get("EMULATOR", ""))  # what runs a program of another machine
NAMES = ["audio-only.avi", "extensions.avi", "mjpeg-pcm-titles.avi", "mpeg4-mp3.avi"]

DISAGREED, USAGE, REFUSED, NO_PLUGIN, CUT_SHORT, UNREADABLE, INTERRUPTED = 1, 2, 3, 4, 5, 6, 130

# The tool must end by itself; this only keeps a hang from lasting for ever.
LONGEST = 240


class Result:
    def __init__(self, done):
        self.status = done.returncode
        self.out = done.stdout.decode()
        self.err = done.stderr.decode(errors="replace")


def run(*arguments, env=None, tool=TOOL, **options):
    environment = {**os.environ, **(env or {})}
    return Result(
        subprocess.run([*EMULATOR, tool, *arguments], capture_output=True, timeout=LONGEST,
                       stdin=subprocess.DEVNULL, env=environment, **options))


# ---- files, written in the shape of the file itself


def chunk(name, payload=b"", size=None):
    declared = len(payload) if size is None else size
    return name + struct.pack("<I", declared) + payload + b"\0" * (len(payload) % 2)


def lst(kind, *parts, size=None):
    return chunk(b"LIST", kind + b"".join(parts), size)


def riff(kind, *parts, size=None):
    body = kind + b"".join(parts)
    return b"RIFF" + struct.pack("<I", len(body) if size is None else size) + body


def hdrl(name=None):
    strh = b"vids" + b"\x01\\~\x7f" + struct.pack("<I2H8I4H", 0, 0, 0, 0, 1, 25, 0, 0, 0, 0, 0,
                                                  0, 0, 0, 0)
    strf = struct.pack("<3I2H", 40, 320, 240, 1, 24) + b"FMP4" + bytes(20)
    strn = b"" if name is None else b"strn" + struct.pack("<I", len(name)) + name
    return lst(b"hdrl", chunk(b"avih", bytes(56)),
               lst(b"strl", chunk(b"strh", strh), chunk(b"strf", strf), strn))


def film(*media, before=b"", movi_size=None, riff_size=None):
    return riff(b"AVI ", hdrl(), before, lst(b"movi", *media, size=movi_size), size=riff_size)


def filler(count, seed=0):
    """The AVI builder's filler bytes."""
    state = (seed * 2654435761 + 1) & 0xFFFFFFFF
    out = bytearray()
    for _ in range(count):
        state = (state * 1664525 + 1013904223) & 0xFFFFFFFF
        out.append(state >> 24)
    return bytes(out)


def limit_files():
    """Lets a program write files of 4 KiB: to them the disk is full then."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))


class ToolTest(unittest.TestCase):
    def open_terminal(self):
        """The two ends of a terminal."""
        try:
            return pty.openpty()
        except OSError as error:
            self.skipTest(f"there is no terminal to be had: {error}")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, content, name="film.avi"):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def assert_one_line(self, result, *words):
        self.assertRegex(result.err, r"\Asorn-tool: [^\n]+\n\Z")
        for word in words:
            self.assertIn(word, result.err)

    def assert_fails(self, result, status, *words):
        self.assertEqual(result.status, status, result.err)
        self.assert_one_line(result, *words)

    def assert_agrees(self, result):
        self.assertEqual(result.err, "")
        self.assertEqual(result.status, 0)


def delivered(result):
    return int(re.search(r"Delivered +([\d,]+) bytes", result.out)[1].replace(",", ""))


def recognised(result):
    found = re.search(r"Recognised +([\d,]+) audio reads?, ([\d,]+) video reads?", result.out)
    return tuple(int(number.replace(",", "")) for number in found.groups())


def stream_lines(result):
    """Of each stream its kind, chunks, bytes and play time."""
    table = re.findall(r"^ +\d+  (\w+(?: \w+)*?)  .*?  +([\d,]+)  +([\d,]+)  +(\S+)(?:  .*)?$",
                       result.out, re.M)
    return [(kind, int(c.replace(",", "")), int(b.replace(",", "")), time)
            for kind, c, b, time in table]


# ---- play


class Play(ToolTest):
    def test_every_sample_agrees(self):
        for name in NAMES:
            with self.subTest(name):
                result = run("play", "--verify", SAMPLES / name)
                self.assert_agrees(result)
                self.assertIn("all as in the file", result.out)
                self.assertIn("everything agreed", result.out)

    def test_counts_chunks_bytes_and_time_of_each_stream(self):
        result = run("play", SAMPLES / "extensions.avi")
        self.assertEqual(stream_lines(result), [
            ("video", 3, 200 + 90 + 50, "0:00.12"),
            ("audio", 3, 63 + 64 + 40, "0:00.08"),
            ("bitmap subtitle", 1, 30, "-"),
            ("subtitle", 1, 14, "-"),
            ("chapter", 1, 3, "-"),
        ])
        self.assertEqual(recognised(result), (3, 3))
        for text in ("1.72 KiB, 3 top-level forms", "Main film", "English", "Deutsch", "QRSV 320x240, 25 fps",
                     "MP3 44100 Hz, 2 channels, 128 kbit/s"):
            self.assertIn(text, result.out)

    def test_times_sound_with_a_sample_size_by_its_bytes(self):
        result = run("play", SAMPLES / "mjpeg-pcm-titles.avi")
        self.assertEqual([row[3] for row in stream_lines(result)], ["0:02.00", "0:02.00"])
        self.assertIn("Steady tone\n", result.out)

    def test_log_prints_each_message_as_it_comes(self):
        sample = SAMPLES / "extensions.avi"
        result = run("play", "--log", sample)
        self.assertEqual(result.status, 0)
        audio, video = recognised(result)
        self.assertEqual(result.err.count("CHUNK_TYPE_AUDIO STARTS\n"), audio)
        self.assertEqual(result.err.count("CHUNK_TYPE_VIDEO STARTS\n"), video)
        lines = result.err.splitlines()
        self.assertRegex(
            lines[0], r"^api    6110000/4000000 service/drm-service-sorn.cpp:\d+: "
            rf"drm_svc_sorn_open_file starts\. filepath:{sample}$")
        self.assertRegex(lines[-1], r"^api .*drm_svc_sorn_close_file  success\. $")
        self.assertEqual(result.err.count("Found unknown chynk type"), 3)

    def test_log_shows_why_a_file_is_refused(self):
        result = run("play", "--log", self.file(b"no film"))
        self.assertEqual(result.status, REFUSED)
        self.assertIn("error  61f0000/2000000", result.err)
        self.assertIn("[DRM-ERROR]drm_svc_sorn_open_file : aviin_open is failed.", result.err)

    def test_plays_chunks_of_nested_lists_and_skips_other_lists(self):
        media = lst(b"rec ", chunk(b"00dc", b"one"), lst(b"rec ", chunk(b"00dc", b"three")))
        other = lst(b"odd ", chunk(b"00dc", b"not a frame"))
        result = run("play", "--verify", self.file(film(media, other, chunk(b"00dc", b"four!"))))
        self.assert_agrees(result)
        self.assertEqual(stream_lines(result), [("video", 3, 3 + 5 + 5, "0:00.12")])

    def test_plays_every_media_list_of_every_form(self):
        frame = chunk(b"00dc", filler(33))
        first = riff(b"AVI ", hdrl(), lst(b"movi", frame), chunk(b"JUNK", b"odd"),
                     lst(b"movi", frame, frame))
        result = run("play", "--verify",
                     self.file(first + chunk(b"JUNK", bytes(6)) + riff(b"AVIX", lst(b"movi", frame))))
        self.assert_agrees(result)
        self.assertEqual(recognised(result), (0, 4))

    def test_counts_chunks_that_no_stream_describes(self):
        media = [chunk(b"00dc", b"seen"), chunk(b"07wb", b"sound"), chunk(b"JUNK", bytes(8)),
                 chunk(b"ix00", bytes(4))]
        result = run("play", self.file(film(*media)))
        self.assert_agrees(result)
        self.assertEqual(recognised(result), (1, 1))
        self.assertRegex(result.out, r"7  not described  - +1  +5")
        self.assertRegex(result.out, r"-  other chunks +- +2  +12")

    def test_empty_chunks_are_played(self):
        result = run("play", "--verify",
                     self.file(film(chunk(b"00dc", b"x" * 8), chunk(b"00dc"), chunk(b"00dc"))))
        self.assert_agrees(result)
        self.assertEqual(recognised(result), (0, 3))

    def test_file_that_opens_but_holds_no_stream(self):
        no_streams = riff(b"AVI ", lst(b"hdrl", chunk(b"avih", bytes(56)), chunk(b"JUNK", bytes(8))),
                          lst(b"movi", chunk(b"00dc", b"four")))
        result = run("play", self.file(no_streams))
        self.assert_agrees(result)
        self.assertIn("not described", result.out)


class LyingFiles(ToolTest):
    """No size that a file declares costs more than the bytes that it holds."""

    def play(self, content):
        result = run("play", "--verify", self.file(content))
        if result.status != REFUSED:
            self.assertLessEqual(delivered(result), len(content))
        return result

    def test_chunk_that_claims_four_gigabytes(self):
        result = self.play(film(chunk(b"00dc", b"whole"), chunk(b"00dc", b"cut", size=0xFFFFFFFF)))
        self.assert_fails(result, CUT_SHORT, "cut short: the 00dc chunk at",
                          "declares 4,294,967,295 bytes", "ends after 4")

    def test_media_list_and_form_that_claim_four_gigabytes(self):
        frames = [chunk(b"00dc", filler(20)) for _ in range(3)]
        for sizes in ({"movi_size": 0xFFFFFFFF}, {"riff_size": 0xFFFFFFFF}):
            with self.subTest(sizes):
                result = self.play(film(*frames, **sizes))
                self.assert_fails(result, CUT_SHORT)
                self.assertEqual(recognised(result), (0, 3))

    def test_form_smaller_than_its_media_list(self):
        result = self.play(film(*[chunk(b"00dc", filler(20))] * 9, riff_size=340))
        self.assert_agrees(result)
        self.assertEqual(recognised(result), (0, 9))

    def test_a_thousand_chunks_that_each_claim_the_rest_of_the_file(self):
        total = 1000 * 28
        media = b"".join(
            lst(b"rec ", chunk(b"00dc", bytes(8), size=total - i * 28), size=20)
            for i in range(1000))
        result = self.play(film(media))
        self.assertIn(result.status, (0, CUT_SHORT))

    def test_a_thousand_empty_lists(self):
        empty = b"LIST" + bytes(4)
        self.assert_agrees(self.play(film(empty * 1000, chunk(b"00dc", b"seen"))))

    def test_lists_nested_a_hundred_thousand_deep(self):
        depth = 100_000
        inner = chunk(b"00dc", b"deep")
        heads = b"".join(b"LIST" + struct.pack("<I", 4 + 12 * (depth - 1 - i) + len(inner)) + b"rec "
                         for i in range(depth))
        result = self.play(film(heads + inner))
        self.assert_agrees(result)
        self.assertEqual(recognised(result), (0, 1))

    def test_nested_lists_that_each_claim_too_much(self):
        deep = b"".join(b"LIST" + struct.pack("<I", 0xFFFFFFF0) + b"rec " for _ in range(5000))
        self.assert_fails(self.play(film(deep, chunk(b"00dc", b"deep"))), CUT_SHORT)

    def test_garbage_after_the_last_form(self):
        for tail in (b"x", bytes(7), bytes(8), b"ABCD\xff\xff\xff\xff", bytes(1001)):
            with self.subTest(len(tail)):
                self.assertIn(self.play(film(chunk(b"00dc", b"seen")) + tail).status, (0, REFUSED))

    def test_a_sample_cut_short_is_reported_wherever_it_is_cut(self):
        whole = (SAMPLES / "extensions.avi").read_bytes()
        second_form = whole.index(b"RIFF", 1)
        menu_form = whole.index(b"RIFF", second_form + 1)
        opens_from = whole.index(b"movi") + 4
        ends_of_forms = (second_form, menu_form, len(whole))

        def expected(length):
            if length in ends_of_forms:
                return 0
            if length < opens_from:
                return REFUSED
            for start in ends_of_forms:
                # The first bytes of an id without its size are no chunk that the reader can step
                # over; with a "RIFF" and a part of its size it sees a form, the player none yet.
                if start < length < start + 4:
                    return REFUSED
                if start + 4 <= length < start + 8:
                    return 0
            return CUT_SHORT

        edges = [edge + i for edge in (opens_from, *ends_of_forms) for i in range(-2, 10)]
        for length in [*range(0, len(whole), 23), *edges]:
            if length > len(whole):
                continue
            with self.subTest(length):
                result = self.play(whole[:length])
                self.assertEqual(result.status, expected(length))
                if result.status != 0:
                    self.assert_one_line(result)


class Failures(ToolTest):
    """Each kind of failure has a status of its own and one line that says what it is."""

    sample = SAMPLES / "mpeg4-mp3.avi"

    def test_wrong_usage(self):
        for arguments in ([], ["play"], ["play", "--nonsense", "a"], ["info"],
                          ["info", "--nonsense"], ["nonsense"]):
            with self.subTest(arguments):
                result = run(*arguments)
                self.assert_fails(result, USAGE, "--help")
                self.assertEqual(result.out, "")

    def test_help_documents_the_statuses(self):
        for arguments in (["--help"], *[[command, "--help"] for command in
                                           ("play", "info", "check", "tree", "map")]):
            result = run(*arguments)
            self.assert_agrees(result)
            for status in (*range(7), INTERRUPTED):
                self.assertRegex(result.out, rf"(?m)^  {status} +\w")

    def test_file_that_the_plugin_refuses(self):
        for content in (b"", b"no film", riff(b"WAVE", chunk(b"fmt ", bytes(16)))):
            result = run("play", self.file(content))
            self.assert_fails(result, REFUSED, "film.avi", "the plug-in refuses this file")
            self.assertEqual(result.out, "")

    def test_truncated_file(self):
        path = self.file(self.sample.read_bytes()[:50_000])
        result = run("play", "--verify", path)
        self.assert_fails(result, CUT_SHORT, str(path), "cut short")
        self.assertIn("the file is cut short", result.out)

    def test_path_that_cannot_be_read(self):
        os.mkfifo(self.folder / "pipe")
        for path, reason in ((self.folder / "none.avi", "No such file"), (self.folder, "directory"),
                             (self.folder / "pipe", "Not a regular file")):
            with self.subTest(path):
                self.assert_fails(run("play", path), UNREADABLE, str(path), reason)
                self.assert_fails(run("info", path), 1, str(path), reason)

    @unittest.skipIf(os.geteuid() == 0, "root reads every file")
    def test_path_without_permission(self):
        path = self.file(self.sample.read_bytes())
        path.chmod(0)
        self.assert_fails(run("play", path), UNREADABLE, "Permission denied")

    def test_plugin_that_is_missing_or_unusable(self):
        text = self.file(b"not a library", "text.so")
        libc = subprocess.run([os.environ.get("CC", "cc"), "-print-file-name=libc.so.6"],
                              capture_output=True, text=True, check=True).stdout.strip()
        self.assertTrue(Path(libc).is_file(), libc)
        for plugin in (self.folder / "none.so", text, self.folder, libc):
            with self.subTest(plugin):
                self.assert_fails(run("play", "--plugin", plugin, self.sample), NO_PLUGIN, "plug-in")

    def test_program_without_a_plugin_beside_it(self):
        alone = self.folder / "bin"
        alone.mkdir()
        shutil.copy(TOOL, alone)
        self.assert_fails(run("play", self.sample, tool=alone / "sorn-tool"), NO_PLUGIN, "--plugin")
        shutil.copy(PLUGIN, alone)
        self.assert_agrees(run("play", self.sample, tool=alone / "sorn-tool"))

    def test_a_bare_plugin_name_is_a_file_here(self):
        shutil.copy(PLUGIN, self.folder / "here.so")
        self.assert_agrees(run("play", "--plugin", "here.so", self.sample, cwd=self.folder))

    def test_path_with_a_line_end_keeps_to_one_line(self):
        self.assert_fails(run("play", self.folder / "a\nb"), UNREADABLE, "a\\x0ab")

    def test_full_disk(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([*EMULATOR, TOOL, "info", "--json", self.sample], stdout=full,
                                  stderr=subprocess.PIPE, timeout=LONGEST)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, b"sorn-tool: cannot write to standard output: No space left on device\n")

    def test_nowhere_to_say_what_failed(self):
        for words, status in (["play", self.folder / "none.avi"], UNREADABLE), (["nonsense"], USAGE):
            with open("/dev/full", "wb") as full, self.subTest(words):
                done = subprocess.run([*EMULATOR, TOOL, *words], stderr=full, timeout=LONGEST)
                self.assertEqual(done.returncode, status)


class FaultyPlugin(ToolTest):
    """A plug-in that gets one thing wrong is found out."""

    sample = SAMPLES / "mpeg4-mp3.avi"

    def play(self, fault, *options):
        return run("play", *options, "--plugin", FAULTY, self.sample,
                   env={"FAULT": fault, "REAL_PLUGIN": str(PLUGIN)})

    def test_without_a_fault_everything_agrees(self):
        self.assert_agrees(self.play("", "--verify"))

    def test_each_fault_is_a_disagreement(self):
        for fault, words in (("open-elsewhere", "tell answered 5 at position 0"),
                             ("tell", "tell answered"), ("seek", "seek returned 0"),
                             ("read", "read at 0x0 returned -1"), ("close", "close did not release"),
                             ("short", "delivered"), ("pieces", "was not taken for what it is")):
            with self.subTest(fault):
                result = self.play(fault)
                self.assert_fails(result, DISAGREED, words)
                self.assertIn("something disagreed", result.out)

    def test_wrong_bytes_are_found_when_verifying(self):
        self.assert_agrees(self.play("bytes"))
        result = self.play("bytes", "--verify")
        self.assert_fails(result, DISAGREED, "delivered other bytes than the file")
        self.assertNotIn("all as in the file", result.out)

    def test_interrupt_ends_with_what_was_done(self):
        result = self.play("interrupt")
        self.assert_fails(result, INTERRUPTED, "interrupted")
        self.assertIn("stopped before the end", result.out)
        self.assertLess(0, sum(recognised(result)))
        self.assertLess(sum(recognised(result)), 51 + 78)

    def on_terminal(self, *options):
        """Standard error as a terminal gets it."""
        leader, terminal = self.open_terminal()
        env = {**os.environ, "FAULT": "slow", "REAL_PLUGIN": str(PLUGIN)}
        subprocess.run([*EMULATOR, TOOL, "play", *options, "--plugin", FAULTY, self.sample],
                       stderr=terminal, stdout=subprocess.DEVNULL, env=env, timeout=LONGEST,
                       check=True)
        os.close(terminal)
        shown = b""
        try:
            while block := os.read(leader, 4096):
                shown += block
        except OSError:  # how a terminal says that no one writes to it any more
            pass
        os.close(leader)
        return shown.decode()

    def test_progress_shows_on_a_terminal_only(self):
        self.assertRegex(self.on_terminal(), r"\r\[[#-]+\] +\d+%  .* of 109\.7 KiB  .*/s  \d+:\d\d left\x1b\[K")
        self.assertRegex(self.on_terminal(), r"\r\x1b\[K\Z")
        self.assertEqual(self.on_terminal("--no-progress"), "")
        self.assertEqual(self.play("slow").err, "")


# ---- info

FORMAT = ["format_tag", "channels", "samples_per_second", "average_bytes_per_second", "block_align",
          "bits_per_sample", "extra_size", "extra"]
HEADER = ["type", "handler", "flags", "priority", "language", "initial_frames", "scale", "rate",
          "start", "length", "suggested_buffer_size", "quality", "sample_size", "frame"]
MAIN = ["microseconds_per_frame", "max_bytes_per_second", "padding_granularity", "flags",
        "total_frames", "initial_frames", "streams", "suggested_buffer_size", "width", "height",
        "reserved"]
VIDEO = ["rate", "scale", "width", "height", "handler", "compression", "has_stream_data",
         "stream_data_word", "quality", "stream_data_size", "stream_data_pos", "stream_data",
         "name_length", "name"]
AUDIO = ["format", "initial_frames", "scale", "rate", "start", "sample_size", "name_length", "name"]
ROWS = {
    "streams": ["kind", "track", "header"], "video": VIDEO, "bitmap_subtitle": VIDEO,
    "audio": AUDIO, "text_subtitle": ["values", "size", "data"],
    "chapter": ["values", "size", "data"],
    "super_index": ["stream", "pos", "longs_per_entry", "index_subtype", "index_type",
                    "entries_in_use", "chunk_id", "reserved"],
}
BLOBS = ["data_blob", "menu_blob", "form_menu_blob"]
RECORD = ["file", "opened", "file_size", "open_option", "form_count", "total_frames_ext",
          "index_pos", "movi_pos", "data_list_pos", "menu_list_pos", "form_menu_pos",
          "data_list_present", "menu_list_present", "main_header", *BLOBS, *ROWS]
TEXTS = {"type", "handler", "compression", "name", "chunk_id", "stream_data", "data", "extra"}
ARRAYS = {"reserved", "frame", "values"}


def expected_extensions(path, data):
    """The record of samples/extensions.avi, from what the AVI builder was told to write; where
    things lie is found by their ids."""

    def at(name, start=0):
        return data.index(name, start)

    def stream(kind, track, kind_text, handler, scale, rate, length=0, quality=0):
        return dict(kind=kind, track=track,
                    header=dict(zip(HEADER, [kind_text, handler, 0, 0, 0, 0, scale, rate, 0, length,
                                             0, quality, 0, [0] * 4])))

    def video(handler, quality, name, strd=None):
        data_fields = [1, 0x10203040, quality, len(strd), at(b"strd") + 16, strd.hex()] if strd \
            else [0, 0, quality, 0, 0, ""]
        return dict(zip(VIDEO, [25, 1, 320, 240, handler, handler, *data_fields, len(name), name]))

    def index(number, pos, chunk_id):
        return dict(zip(ROWS["super_index"], [number, pos, 4, 0, 0, 1, chunk_id, [0] * 3]))

    def blob(content, header=b""):
        return dict(present=1, size=len(content), data=(header + content).hex())

    none = "\\x00" * 4
    menu_form = at(b"RIFF", at(b"AVIX"))
    first_indx = at(b"indx")
    extra = (filler(12) + bytes(10)).hex()
    return {
        "file": path, "opened": True, "file_size": len(data), "open_option": 0,
        # Three forms, two chunks of the menu list, one of the menu form.
        "form_count": 3 + 2 + 1,
        "total_frames_ext": 6, "index_pos": at(b"idx1"), "movi_pos": at(b"movi") + 4,
        "data_list_pos": at(b"QRDT") + 4, "menu_list_pos": at(b"QMNU") + 4,
        "form_menu_pos": menu_form + 24, "data_list_present": 1, "menu_list_present": 1,
        "main_header": dict(zip(MAIN, [40000, 0, 0, 16, 4, 0, 5, 0, 320, 240, [0] * 4])),
        "data_blob": blob(filler(21, 3)),
        "menu_blob": blob(filler(15, 4), b"MENU\x0f\0\0\0"),
        "form_menu_blob": blob(filler(7, 5), b"MENU\x07\0\0\0"),
        "streams": [stream(3, 0, "vids", "QRSV", 1, 25, length=4, quality=7),
                    stream(1, 0, "auds", none, 1152, 44100),
                    stream(6, 0, "vids", "QRSB", 1, 25),
                    stream(5, 0, "txts", none, 1, 25),
                    stream(7, 0, "txts", none, 1, 25)],
        "video": [video("QRSV", 7, "Main film", filler(9, 2))],
        "bitmap_subtitle": [video("QRSB", 0, "Deutsch")],
        "audio": [dict(zip(AUDIO, [dict(zip(FORMAT, [0x55, 2, 44100, 16000, 1, 0, 12, extra])), 0,
                                   1152, 44100, 0, 0, 7, "English"]))],
        # Written 11 12 13 14: the third and fourth change places.
        "text_subtitle": [dict(values=[11, 12, 14, 13], size=0, data="")],
        "chapter": [dict(values=[21, 22, 24, 23], size=0, data="")],
        "super_index": [index(0, first_indx, "00dc"), index(1, at(b"indx", first_indx + 4), "01wb")],
    }


class Info(ToolTest):
    def records(self, *paths, status=0):
        result = run("info", "--json", *paths)
        self.assertEqual(result.status, status, result.err)
        lines = result.out.split("\n")
        self.assertEqual(lines.pop(), "")
        self.assertEqual(len(lines), len(paths))
        for line in lines:
            compact = json.dumps(json.loads(line), separators=(",", ":"), ensure_ascii=False)
            self.assertEqual(line, compact)
        return [json.loads(line) for line in lines]

    def test_json_of_the_extensions_is_as_they_were_written(self):
        path = SAMPLES / "extensions.avi"
        record, = self.records(path)
        expected = expected_extensions(str(path), path.read_bytes())
        for key, value in expected.items():
            self.assertEqual(record[key], value, key)
        self.assertEqual(json.dumps(record), json.dumps(expected))  # the order of keys, too

    def assert_keys(self, value, keys, place):
        self.assertEqual(list(value), keys, place)
        for key, item in value.items():
            if key in TEXTS:
                self.assertIsInstance(item, str, key)
                self.assertRegex(item, r"\A[ -~]*\Z")
            elif key in ARRAYS:
                self.assertTrue(all(type(number) is int for number in item), key)
            elif key not in ("file", "opened", "header", "format", "main_header", *BLOBS, *ROWS):
                self.assertIs(type(item), int, key)

    def test_json_has_every_key_in_order(self):
        paths = [SAMPLES / name for name in NAMES]
        for path, record in zip(paths, self.records(*paths)):
            self.assert_keys(record, RECORD, path)
            self.assertEqual(record["file"], str(path))
            self.assertIs(record["opened"], True)
            self.assertEqual(record["file_size"], path.stat().st_size)
            self.assert_keys(record["main_header"], MAIN, path)
            for blob in BLOBS:
                self.assert_keys(record[blob], ["present", "size", "data"], blob)
            for table, keys in ROWS.items():
                for row in record[table]:
                    self.assert_keys(row, keys, table)
            for row in record["streams"]:
                self.assert_keys(row["header"], HEADER, "header")
            for row in record["audio"]:
                self.assert_keys(row["format"], FORMAT, "format")
                self.assertEqual(len(row["format"]["extra"]), 2 * 22)

    def test_json_of_what_ffmpeg_wrote(self):
        record, titled = self.records(SAMPLES / "mpeg4-mp3.avi", SAMPLES / "mjpeg-pcm-titles.avi")
        data = (SAMPLES / "mpeg4-mp3.avi").read_bytes()
        self.assertEqual([row["kind"] for row in record["streams"]], [3, 1])
        self.assertEqual(record["index_pos"], data.rindex(b"idx1"))
        self.assertEqual(record["movi_pos"], data.index(b"movi") + 4)
        self.assertEqual(record["main_header"]["total_frames"], 51)
        self.assertEqual(record["video"][0]["compression"], "FMP4")
        self.assertEqual(record["audio"][0]["format"]["format_tag"], 0x55)
        self.assertEqual(titled["video"][0]["name"], "Test picture\\x00")
        self.assertEqual(titled["audio"][0]["name_length"], len("Steady tone") + 1)

    def test_json_writes_bytes_as_text(self):
        path = self.file(riff(b"AVI ", hdrl(b"a\\b\x1f\x7f\x80\xff \"~\0"),
                              lst(b"movi", chunk(b"00dc", b"four"))))
        record, = self.records(path)
        self.assertEqual(record["video"][0]["name"], "a\\x5cb\\x1f\\x7f\\x80\\xff \"~\\x00")
        self.assertEqual(record["video"][0]["handler"], "\\x01\\x5c~\\x7f")
        self.assertEqual(record["streams"][0]["header"]["handler"], "\\x01\\x5c~\\x7f")

    def test_json_shows_at_most_4096_bytes_of_a_buffer(self):
        for size in (4088, 4089, 4096, 4097):
            payload = filler(size)
            lists = lst(b"QRDT", chunk(b"JUNK", bytes(8)), chunk(b"MTDA", payload))
            lists += lst(b"QMNU", chunk(b"JUNK", bytes(8)), chunk(b"MENU", payload))
            record, = self.records(self.file(film(chunk(b"00dc", b"four"), before=lists)))
            menu = b"MENU" + struct.pack("<I", size) + payload
            self.assertEqual(record["data_blob"], dict(present=1, size=size,
                                                       data=payload[:4096].hex()))
            self.assertEqual(record["menu_blob"], dict(present=1, size=size,
                                                       data=menu[:4096].hex()))

    def test_json_of_an_empty_data_chunk(self):
        lists = lst(b"QRDT", chunk(b"JUNK", bytes(8)), chunk(b"MTDA"), chunk(b"JUNK", bytes(8)))
        record, = self.records(self.file(film(chunk(b"00dc", b"four"), before=lists)))
        self.assertEqual(record["data_blob"], dict(present=1, size=0, data=""))

    def test_files_that_do_not_open_keep_their_place(self):
        bad = self.file(b"no film", "bad.avi")
        good = SAMPLES / "audio-only.avi"
        folder = self.folder / "folder"
        folder.mkdir()
        result = run("info", "--json", good, bad, folder, good)
        self.assertEqual(result.status, 1)
        rows = [json.loads(line) for line in result.out.splitlines()]
        self.assertEqual([row["opened"] for row in rows], [True, False, False, True])
        self.assertEqual(rows[1], {"file": str(bad), "opened": False})
        self.assertEqual(list(rows[2].items()), [("file", str(folder)), ("opened", False)])
        self.assertRegex(result.err, r"\A(sorn-tool: [^\n]+\n){2}\Z")

    def test_path_that_is_not_utf8(self):
        path = os.fsencode(self.folder) + b"/\xff\xfe\xc3.avi"
        shutil.copy(SAMPLES / "audio-only.avi", path)
        for command in (["info"], ["info", "--json"], ["play"]):
            done = subprocess.run([*EMULATOR, TOOL, *command, path], capture_output=True,
                                  timeout=LONGEST)
            self.assertEqual(done.returncode, 0)
            self.assertEqual(done.stderr, b"")
            if "--json" in command:
                self.assertTrue(json.loads(done.stdout)["opened"])

    def test_text_for_people_says_what_the_record_holds(self):
        result = run("info", SAMPLES / "extensions.avi")
        self.assert_agrees(result)
        data = (SAMPLES / "extensions.avi").read_bytes()
        for text in ("1,760 bytes, 6 forms, those in menus included", "Duration      0:00.16, 88 kbit/s", "320x240, 25 fps, 4 frames (6 over all forms), 5 streams",
                     "video, QRSV 320x240, 25 fps, named Main film",
                     f"stream data: 9 bytes at 0x{data.index(b'strd') + 16:x}, word 0x10203040",
                     "audio, MP3 44100 Hz, 2 channels, 128 kbit/s, named English",
                     "bitmap subtitle, QRSB 320x240, 25 fps, named Deutsch",
                     "subtitle, values 11, 12, 14, 13", "chapter, values 21, 22, 24, 23",
                     f"stream 0 at 0x{data.index(b'indx'):x}: 1 in use for 00dc",
                     f"Data list     at 0x{data.index(b'QRDT') - 8:x}, MTDA chunk of 21 bytes",
                     f"Menu list     at 0x{data.index(b'QMNU') - 8:x}, MENU chunk of 15 bytes",
                     f"Menu form     at 0x{data.rindex(b'QMNU') - 20:x}, MENU chunk of 7 bytes",
                     f"first chunk at 0x{data.index(b'movi') + 4:x}",
                     f"at 0x{data.index(b'idx1'):x}"):
            self.assertIn(text, result.out)

    def test_names_that_are_utf8_print_as_such(self):
        for name, shown in ((b"Gr\xc3\xb6\xc3\x9fe \xe6\x98\xa0\xe7\x94\xbb \xf0\x9f\x8e\xac", "Größe 映画 🎬"),
                            (b"\xc3(\xff\xe6\x98", "\\xc3(\\xff\\xe6\\x98"),
                            (b"\xc2\x9bH\xe2\x80\xaetxt", "\\xc2\\x9bH\\xe2\\x80\\xaetxt")):
            path = self.file(riff(b"AVI ", hdrl(name), lst(b"movi", chunk(b"00dc", b"four"))))
            self.assertIn(f"named {shown}\n", run("info", path).out)

    def test_names_cannot_command_the_terminal(self):
        name = b"\x1b[2Jgone"
        path = self.file(riff(b"AVI ", hdrl(name), lst(b"movi", chunk(b"00dc", b"four"))))
        for command in ("info", "play"):
            result = run(command, path)
            self.assertNotIn("\x1b", result.out)
            self.assertIn("\\x1b[2Jgone", result.out)

    def peak_memory(self, paths):
        """Of a run that may have 24 files open, in kibibytes."""
        options = os.environ.get("ASAN_OPTIONS", "")
        env = {**os.environ, "ASAN_OPTIONS": options + ":quarantine_size_mb=1"}
        with open(os.devnull, "wb") as nowhere:
            process = subprocess.Popen(
                ["/bin/sh", "-c", 'ulimit -n 24; exec "$@"', "sh", *EMULATOR, TOOL, "info", "--json",
                 *paths],
                stdout=nowhere, env=env)
            _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, 0)
        return usage.ru_maxrss

    def test_thousands_of_files_take_no_more_memory_than_ten(self):
        sample = (SAMPLES / "extensions.avi").read_bytes()
        paths = [self.file(sample, f"{i}.avi") for i in range(3000)]
        few = self.peak_memory(paths[:10])
        many = self.peak_memory(paths)
        # The command line itself takes room: 3,000 paths. A record left behind takes 10 KiB.
        self.assertLess(many - few, 8 * 1024)


class Installed(ToolTest):
    def test_installed_program_finds_its_plugin(self):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", self.folder],
                       stdout=subprocess.DEVNULL, check=True)
        tool = self.folder / "bin/sorn-tool"
        self.assert_agrees(run("play", "--verify", SAMPLES / "mpeg4-mp3.avi", tool=tool))
        self.assertEqual(len(list(self.folder.glob("**/man1/sorn-tool.1"))), 1)

    def test_only_the_debug_message_function_is_exported(self):
        listing = subprocess.run([os.environ.get("NM", "nm"), "-D", "--defined-only",
                                  "--no-weak", TOOL], capture_output=True, text=True,
                                 check=True).stdout
        functions = re.findall(r" T (\w+)$", listing, re.M)
        if "__asan_init" in functions:
            self.skipTest("sanitizers export theirs")
        self.assertEqual([name for name in functions if name not in ("_init", "_fini")],
                         ["_debug_message"])


# ---- files past the sizes that 32 bits can name


class Far(ToolTest):
    def sparse(self, gap):
        """A film whose second form lies that many bytes further on, behind a hole."""
        path = self.folder / "sparse.avi"
        frame = chunk(b"00dc", filler(100))
        with open(path, "wb") as file:
            file.write(film(frame, chunk(b"01wb", filler(50))))
            file.write(b"JUNK" + struct.pack("<I", gap))
            file.seek(gap, os.SEEK_CUR)
            file.write(riff(b"AVIX", lst(b"movi", *[frame] * 5)))
        return path

    def test_past_two_gigabytes_tell_has_no_answer_and_reads_go_on(self):
        path = self.sparse(0x80000000)
        result = run("play", "--verify", path)
        self.assert_agrees(result)
        self.assertEqual(stream_lines(result)[0], ("video", 6, 600, "0:00.24"))
        self.assertEqual(recognised(result), (1, 1))
        self.assertIn("(none can be past 2 GiB)", result.out)

    def test_wrong_bytes_past_two_gigabytes_are_found(self):
        result = run("play", "--verify", "--plugin", FAULTY, self.sparse(0x80000000),
                     env={"FAULT": "far bytes", "REAL_PLUGIN": str(PLUGIN)})
        self.assert_fails(result, DISAGREED, "5 disagreements, the first: read at 0x80000")

    def test_past_four_gigabytes(self):
        result = run("play", "--verify", self.sparse(0xFFFFFFF0))
        self.assert_agrees(result)
        self.assertEqual(stream_lines(result)[0], ("video", 6, 600, "0:00.24"))

    def test_at_the_last_position_that_tell_can_name(self):
        start = len(film(chunk(b"00dc", filler(100)), chunk(b"01wb", filler(50)))) + 8
        # The payload of the later form's first chunk at 2^31 - 1, and one further on.
        for last, recognised_video in ((0x7FFFFFFF, 2), (0x80000000, 1)):
            with self.subTest(last):
                result = run("play", "--verify", self.sparse(last - 32 - start))
                self.assert_agrees(result)
                self.assertEqual(recognised(result), (1, recognised_video))


class Large(ToolTest):
    frames = 380  # of 3,110,400 bytes each

    def test_file_of_more_than_a_gigabyte_with_several_forms(self):
        if shutil.which("ffmpeg") is None:
            self.skipTest("ffmpeg is missing")
        if shutil.disk_usage(self.folder).free < 4 << 30:
            self.skipTest("disk space is short")
        path = self.folder / "large.avi"
        subprocess.run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i",
                        "color=size=1920x1080:rate=25", "-frames:v", str(self.frames), "-c:v",
                        "rawvideo", "-pix_fmt", "yuv420p", path], check=True, timeout=LONGEST)
        self.assertGreater(path.stat().st_size, 1 << 30)

        result = run("play", "--verify", path)
        self.assert_agrees(result)
        self.assertIn("2 top-level forms", result.out)
        self.assertEqual(stream_lines(result),
                         [("video", self.frames, self.frames * 3110400, "0:15.20")])
        self.assertEqual(recognised(result), (0, self.frames))

        record = json.loads(run("info", "--json", path).out)
        self.assertEqual(record["form_count"], 2)
        self.assertEqual(record["total_frames_ext"], self.frames)
        self.assertEqual([row["chunk_id"] for row in record["super_index"]], ["00dc"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
