"""Tests of sorn-tool map: what the picture holds, and how a real browser shows it. Run like
tool_test.py."""

import json
import os
import re
import shutil
import struct
import subprocess
import tempfile
import unittest
from xml.etree import ElementTree

from look_test import AVIH, FRAME, MOVI, LookTest, headers, strn, video
from tool_test import (LONGEST, SAMPLES, UNREADABLE, USAGE, chunk, film, filler,
                       limit_files, lst, riff, run)

SVG = "{http://www.w3.org/2000/svg}"
WIDTH = 1152  # of a chart, in its own units


def number(text):
    return int(text.replace(",", ""))


def sound(rate):
    """An audio stream list in which so many bytes play in a second."""
    wave = struct.pack("<2H2I3H", 1, 1, rate, rate, 1, 8, 0)
    header = b"auds" + bytes(4) + struct.pack("<I2H8I4H", 0, 0, 0, 0, 1, rate, 0, 0, 0, 0, 1, *[0] * 4)
    return lst(b"strl", chunk(b"strh", header), chunk(b"strf", wave))


def pictures(seconds, late=0):
    """A second of 25 frames and a second of sound in turn, the sound so many seconds late."""
    media = []
    for second in range(seconds + late):
        if second < seconds:
            media += [chunk(b"00dc", bytes(100))] * 25
        if second >= late:
            media.append(chunk(b"01wb", bytes(1000)))
    return riff(b"AVI ", headers(video(), sound(1000)), lst(b"movi", *media))


class Drawn:
    """The charts of a picture: of each its name with its figures, and its marks."""

    def __init__(self, svg):
        self.tree = ElementTree.fromstring(svg)

    def charts(self, kind):
        return [group for group in self.tree.iter(SVG + "g") if group.get("class") == kind]

    def labels(self, kind):
        return [chart.get("aria-label") for chart in self.charts(kind)]

    def marks(self, chart):
        return [rect for rect in chart.iter(SVG + "rect") if rect.get("data-mark") is not None]

    def hints(self, chart):
        return [rect.find(SVG + "title").text for rect in self.marks(chart)]

    def lanes(self):
        return [(chart.get("aria-label"), self.hints(chart)) for chart in self.charts("lane")]

    def line(self, chart, place=0):
        """The points of one of a chart's lines."""
        points = list(chart.iter(SVG + "polyline"))[place].get("points").split()
        return [tuple(map(float, point.split(","))) for point in points]


class Map(LookTest):
    def draw(self, content, name="map.svg", film_name="film.avi"):
        output = self.folder / name
        self.assert_agrees(run("map", self.file(content, film_name), "-o", output))
        self.assertEqual(list(self.folder.glob("*.part")), [])
        return output.read_text()

    def drawn(self, content):
        return Drawn(self.draw(content))

    def test_each_chunk_stands_where_it_lies(self):
        content = film(chunk(b"00dc", filler(100)), chunk(b"01wb", filler(60)),
                       chunk(b"00dc", filler(40)))
        start = content.index(b"00dc")
        drawn = self.drawn(content)
        (label, hints), (other, others) = drawn.lanes()
        self.assertEqual(label, "Stream 0: video, FMP4 320x240, 25 fps: 2 chunks, 140 bytes, 0:00.08")
        self.assertEqual(other, "Stream 1, not described: 1 chunk, 60 bytes")
        self.assertEqual(hints, [
            f"0x{start:x} to 0x{start + 108:x}: 1 chunk, 100 bytes, 0:00.00 to 0:00.04",
            f"0x{start + 176:x} to 0x{start + 224:x}: 1 chunk, 40 bytes, 0:00.04 to 0:00.08"])
        self.assertEqual(others, [f"0x{start + 108:x} to 0x{start + 176:x}: 1 chunk, 60 bytes"])
        mark = drawn.marks(drawn.charts("lane")[0])[0]
        self.assertAlmostEqual(float(mark.get("x")), WIDTH * start / len(content), 1)
        self.assertAlmostEqual(float(mark.get("width")), WIDTH * 108 / len(content), 1)

    def test_half_a_million_chunks_are_counted_in_a_bounded_picture(self):
        count = 250_000
        pair = chunk(b"00dc", b"12345678") + chunk(b"01wb", b"odd")
        svg = self.draw(film(pair * count))
        self.assertLess(len(svg), 500_000)
        for (label, hints), size in zip(Drawn(svg).lanes(), (8, 3)):
            self.assertIn(f"{count:,} chunks", label)
            self.assertLessEqual(len(hints), 576)
            found = [re.search(r": ([\d,]+) chunks?, ([\d,]+) bytes", hint) for hint in hints]
            self.assertEqual(sum(number(hint[1]) for hint in found if hint), count)
            self.assertEqual(sum(number(hint[2]) for hint in found if hint), count * size)

    def test_a_hundred_streams_make_a_bounded_picture(self):
        media = [chunk(b"%02dwb" % (i % 100), bytes(50)) for i in range(60_000)]
        svg = self.draw(film(*media))
        self.assertLess(len(svg), 2_500_000)
        self.assertEqual(Drawn(svg).labels("lane")[-1],
                         "Streams 20 and up, not described: 48,000 chunks, 2.29 MiB")

    def test_shares_of_a_column_add_up(self):
        pair = chunk(b"00dc", bytes(16)) + chunk(b"01wb", bytes(8))
        shares = [[int(re.search(r"(\d+)% of the bytes here", hint)[1]) for hint in hints]
                  for _, hints in self.drawn(film(pair * 20_000)).lanes()]
        for video_share, audio_share in list(zip(*shares))[2:-2]:
            self.assertIn(video_share, (59, 60, 61))
            self.assertIn(audio_share, (39, 40, 41))

    def test_standard_indexes_belong_to_their_stream(self):
        index = chunk(b"ix01", bytes(40))
        content = film(FRAME, chunk(b"01wb", bytes(20)), index, chunk(b"ixAB", bytes(4)))
        (first, _), (second, hints), (other, _) = self.drawn(content).lanes()
        self.assertIn("Stream 0", first)
        self.assertNotIn("index", first)
        self.assertEqual(second, "Stream 1, not described: 1 chunk, 20 bytes, 1 standard index")
        place = content.index(b"ix01")
        self.assertEqual(hints[-1], f"0x{place:x} to 0x{place + 48:x}: 1 standard index, 40 bytes")
        self.assertEqual(other, "Chunks that name no stream: 1 chunk, 4 bytes")

    # ---- time against place

    def test_the_line_of_a_stream_goes_through_its_chunks(self):
        content = film(chunk(b"00dc", filler(100)), chunk(b"01wb", filler(60)),
                       chunk(b"00dc", filler(40)))
        start = content.index(b"00dc")
        drawn = self.drawn(content)
        chart, = drawn.charts("clock")
        x = [WIDTH * (start + place) / len(content) for place in (0, 108, 176, 224)]
        for point, wanted in zip(drawn.line(chart), zip(x, (200, 100, 100, 0)), strict=True):
            self.assertAlmostEqual(point[0], wanted[0], 1)
            self.assertAlmostEqual(point[1], wanted[1], 1)
        self.assertIn("stream 0 has played 0:00.08", drawn.hints(chart)[-1])

    def test_how_far_sound_lies_from_its_picture_in_short_films_and_long(self):
        for seconds in (4, 7200):
            drawn = self.drawn(pictures(seconds))
            self.assertEqual(drawn.labels("lead"),
                             ["Stream 1: audio, PCM 1000 Hz, 1 channel, 8 bits, 8 kbit/s: at most "
                              "0 s ahead, 1 s behind"])
            drawn = self.drawn(pictures(seconds, late=3))
            self.assertIn("at most 0 s ahead, 4 s behind", drawn.labels("lead")[0])
            chart, = drawn.charts("lead")
            self.assertTrue(any("from -4.000 s to -3.000 s" in hint for hint in drawn.hints(chart)))
            self.assertLessEqual(len(drawn.line(chart)), 4 * 576)

    def test_one_gap_in_a_long_film_is_seen(self):
        frames, sound_of_one = [chunk(b"00dc", bytes(100))] * 25, chunk(b"01wb", bytes(1000))
        media = []
        for second in range(7200):
            media += frames
            late = 3004 <= second < 3009
            media += [] if late else [sound_of_one] * (6 if second == 3009 else 1)
        drawn = self.drawn(riff(b"AVI ", headers(video(), sound(1000)), lst(b"movi", *media)))
        self.assertIn("at most 0 s ahead, 6 s behind", drawn.labels("lead")[0])
        chart, = drawn.charts("lead")
        lowest = max(drawn.line(chart), key=lambda point: point[1])
        self.assertAlmostEqual(lowest[0], WIDTH * 3009 / 7200, -1)
        self.assertEqual(sum("from -6.000 s" in hint for hint in drawn.hints(chart)), 1)

    def test_sound_that_comes_first_is_ahead(self):
        media = [chunk(b"01wb", bytes(1000))] * 5 + [chunk(b"00dc", bytes(9))] * 125
        drawn = self.drawn(riff(b"AVI ", headers(sound(1000), video()), lst(b"movi", *media[5:], *media[:5])
                                ).replace(b"00dc", b"01dc").replace(b"01wb", b"00wb"))
        self.assertIn("at most 0 s ahead, 5 s behind", drawn.labels("lead")[0])
        drawn = self.drawn(riff(b"AVI ", headers(video(), sound(1000)), lst(b"movi", *media)))
        self.assertIn("at most 5 s ahead, 0 s behind", drawn.labels("lead")[0])

    def test_a_film_without_two_clocks_has_no_lead(self):
        self.assertEqual(self.drawn(film(FRAME)).charts("lead"), [])
        self.assertEqual(self.drawn(riff(b"AVI ", headers(video(), sound(9)), MOVI)).charts("lead"),
                         [])

    # ---- bitrate

    def test_the_bitrate_holds_every_byte(self):
        data = (SAMPLES / "mpeg4-mp3.avi").read_bytes()
        drawn = self.drawn(data)
        self.assertEqual(drawn.labels("bitrate"),
                         ["Stream 0: video, FMP4 320x240, 25 fps: average 325 kbit/s, peak 2,282 "
                          "kbit/s",
                          "Stream 1: audio, MP3 44100 Hz, 1 channel, 64 kbit/s: average 64 kbit/s, "
                          "peak 64 kbit/s"])
        # Each bar's height is its rate, of which the chart's 72 pixels are 2,282 kbit/s and 8 %.
        bars = drawn.marks(drawn.charts("bitrate")[0])
        area = sum((float(bar.get("width")) - 1) * float(bar.get("height")) for bar in bars)
        whole = json.loads(run("info", "--json", SAMPLES / "mpeg4-mp3.avi").out)
        media = data[whole["movi_pos"]:whole["index_pos"]]
        size = 0
        while media:
            length, = struct.unpack("<I", media[4:8])
            size += length if media[:4] == b"00dc" else 0
            media = media[8 + length + length % 2:]
        self.assertAlmostEqual(area / WIDTH * (51 / 25) / 72 * 1.08 * 2282_000 / 8 / size, 1, 2)

    def test_a_steady_bitrate_stays_steady_over_any_time(self):
        for frames in (7, 300, 20_000):
            drawn = self.drawn(film(chunk(b"00dc", bytes(100)) * frames))
            label, = drawn.labels("bitrate")
            self.assertIn("25 fps: average 20 kbit/s, peak 20 kbit/s", label)
            heights = {bar.get("height") for bar in drawn.marks(drawn.charts("bitrate")[0])}
            self.assertEqual(heights, {"66.67"})

    def test_axes_are_marked_on_round_numbers(self):
        def words(chart):
            return [text.text for text in chart.iter(SVG + "text")]

        drawn = self.drawn(pictures(7200))
        clock, = drawn.charts("clock")
        self.assertEqual([word for word in words(clock) if ":" in word],
                         ["30:00", "1:00:00", "1:30:00", "2:00:00"])
        self.assertEqual([word for word in words(clock) if "B" in word],
                         ["5 MiB", "10 MiB", "15 MiB", "20 MiB", "25 MiB"])
        picture, _ = drawn.charts("bitrate")
        self.assertIn("10 kbit/s", words(picture))
        short = self.drawn(film(chunk(b"00dc", bytes(5000)) * 50))
        self.assertIn("0:00.50", words(short.charts("clock")[0]))
        self.assertIn("50 KiB", words(short.charts("lane")[0]))

    def test_steps_are_round_on_every_axis(self):
        seen = set()
        for count in (3, 10, 30, 100, 300, 1000):
            drawn = self.drawn(pictures(count))
            for kind in ("file", "clock", "lead", "lane", "bitrate"):
                for chart in drawn.charts(kind):
                    words = [text.text for text in chart.iter(SVG + "text")]
                    for unit in ("KiB", "MiB", "kbit/s"):
                        numbers = sorted({float(word.split()[0].replace(",", "")) for word in words
                                          if re.fullmatch(rf"[\d,.]+ {unit}", word)})
                        steps = {f"{b - a:.6e}" for a, b in zip(numbers, numbers[1:])}
                        for step in steps:
                            seen.add(step[0])
                            self.assertRegex(step, r"^[125]\.0*e", (count, kind, words))
        self.assertEqual(seen, {"1", "2", "5"})

    # ---- the file

    def test_the_parts_of_the_file(self):
        data = (SAMPLES / "extensions.avi").read_bytes()
        page = self.draw(data, "map.html")
        for text in ("RIFF AVI  at 0x0 to 0x62a: first form, 1,570 bytes", "RIFF AVIX at 0x62a",
                     "LIST QRDT at 0x360 to 0x392: data list, 42 bytes", "LIST QMNU at 0x392",
                     "idx1 at 0x602 to 0x62a: index, 32 bytes", "LIST movi at 0x3e0",
                     "Stream 0: video, QRSV 320x240, 25 fps, Main film", "English", "Deutsch",
                     "<td>0x6b8</td>"):
            self.assertIn(text, page)

    def test_small_parts_of_a_large_file_do_not_cover_each_other(self):
        drawn = self.drawn(film(chunk(b"00dc", bytes(3_000_000)),
                                before=chunk(b"JUNK", bytes(6)) + chunk(b"IDIT", bytes(8)))
                           + riff(b"AVIX", lst(b"movi", FRAME), chunk(b"JUNK", b"four")))
        chart, = drawn.charts("file")
        forms, parts = [plot for plot in chart.iter(SVG + "svg") if "parts" in (plot.get("class") or "")]
        for plot, count in ((forms, 2), (parts, 6)):
            places = [(float(mark.get("x")), float(mark.get("width"))) for mark in drawn.marks(plot)]
            self.assertEqual(len(places), count)
            self.assertGreaterEqual(places[0][0], 0)
            for (x, width), (after, _) in zip(places, places[1:]):
                self.assertGreaterEqual(width, 4)
                self.assertAlmostEqual(x + width, after, 1)
            self.assertAlmostEqual(sum(places[-1]), WIDTH, 1)

    def test_bytes_that_are_declared_and_not_there(self):
        content = (SAMPLES / "mpeg4-mp3.avi").read_bytes()[:60_000]
        page = self.draw(content, "map.html")
        self.assertIn("52,304 bytes are declared beyond the end of the file", page)
        self.assertIn("lost at ", self.draw(film(FRAME) + b"junk"))

    # ---- findings

    def test_findings_are_counted_listed_and_marked_where_they_lie(self):
        content = film(FRAME) + chunk(b"JUNK", bytes(4000)) + b"idx1\x10\0\0\0" + bytes(16)
        place = content.rindex(b"idx1")
        told = run("check", "--json", self.file(content)).out
        self.assertIn(f'"offset":{place}', told)
        page = self.draw(content, "map.html")
        verdict = re.search(r'<p class="odd">opens, (\d+) findings</p>', page)
        entries = re.findall(r'<li id="finding-(\d+)" class="(?:error|warning|note)"><b>\w+</b> '
                             r'<code>(.*?)</code> (.*?)(?:<small>|</li>)', page)
        self.assertEqual(len(entries), int(verdict[1]))
        here = {entry[0]: entry[2] for entry in entries if entry[1] == f"0x{place:x}"}
        pin, = [pin for pin in re.findall(
            r'<svg class="pin \w+" x="([\d.]+)%"[^>]*><line [^>]*/><a href="#finding-(\d+)">'
            r'<path[^>]*><title>(.*?)</title>', page) if pin[1] in here]
        self.assertAlmostEqual(float(pin[0]), 100 * place / len(content), 1)
        for sentence in here.values():
            self.assertIn(sentence, pin[2])

    def test_a_file_in_which_nothing_was_found(self):
        page = self.draw((SAMPLES / "mpeg4-mp3.avi").read_bytes(), "map.html")
        self.assertIn('<p class="good">opens</p>', page)
        self.assertNotIn('class="pin', page)
        self.assertNotIn("<li id", page)

    def test_a_refused_file_is_drawn_with_the_reason(self):
        content = riff(b"AVI ", lst(b"hdrl", chunk(b"JUNK", b"abcd"), AVIH), MOVI)
        page = self.draw(content, "map.html")
        self.assertRegex(page, r'<p class="wrong">refused at 0x18: the header list begins with '
                               r"'JUNK', not 'avih'")
        self.assertRegex(page, r'<svg class="pin refusal" x="%.2f%%' % (100 * 24 / len(content)))
        self.assertEqual(self.drawn(content).lanes()[0][0],
                         "Stream 0, not described: 1 chunk, 24 bytes")

    # ---- safe anywhere

    def test_any_bytes_make_a_well_formed_picture(self):
        for content in (b"", b"x", bytes(100_000), filler(50_000), film(filler(30_000)),
                        film(chunk(b"<&\">", b"four")), film((b"LIST" + bytes(4)) * 5000)):
            svg = self.draw(content)
            ElementTree.fromstring(svg)
            self.assertLess(len(svg), 2_000_000)

    def test_clocks_that_run_for_ages(self):
        slow = b"vids" + bytes(4) + struct.pack("<I2H8I4H", 0, 0, 0, 0, 0xFFFFFFFF, 1, *[0] * 9)
        content = riff(b"AVI ", headers(lst(b"strl", chunk(b"strh", slow), *[video()[12 + 64:]])),
                       lst(b"movi", *[FRAME] * 1000))
        svg = self.draw(content)
        self.assertNotRegex(svg, "nan|inf[^o]")
        self.assertLess(len(svg), 500_000)
        slow = slow[:44] + struct.pack("<I", 1) + slow[48:]  # as long for each byte
        content = riff(b"AVI ", headers(lst(b"strl", chunk(b"strh", slow), *[video()[12 + 64:]])),
                       lst(b"movi", chunk(b"00dc", bytes(30_000_000))))
        self.assertTrue(self.drawn(content).labels("lane")[0].endswith(" 277777777777:46:40.00"))

    def test_the_same_file_gives_the_same_picture(self):
        content = pictures(30, late=2)
        self.assertEqual(self.draw(content, "map.html"), self.draw(content, "map.html"))

    def test_names_cannot_become_markup(self):
        name = b"<script>alert(1)</script>&\""
        page = self.draw(riff(b"AVI ", lst(b"hdrl", AVIH, video(strn(name))), MOVI), "map.html",
                         "<b>&.avi")
        self.assertNotIn("<script>alert", page)
        self.assertNotIn("<b>&", page)
        self.assertIn("&lt;script&gt;alert(1)&lt;/script&gt;&amp;&quot;", page)
        self.assertIn("&lt;b&gt;&amp;.avi", page)

    def test_path_that_is_not_utf8(self):
        path = os.path.join(os.fsencode(self.folder), b"\xff\xc3.avi")
        shutil.copy(SAMPLES / "audio-only.avi", path)
        output = self.folder / "map.svg"
        self.assert_agrees(run("map", path, "-o", output))
        ElementTree.fromstring(output.read_text("utf-8"))

    def test_nothing_comes_from_elsewhere(self):
        for name in ("map.svg", "map.html"):
            page = self.draw((SAMPLES / "extensions.avi").read_bytes(), name)
            page = page.replace('xmlns="http://www.w3.org/2000/svg"', "")
            self.assertNotRegex(page, r"https?:|src=|@import|url\(")

    def test_wrong_outputs(self):
        path = self.file(film(FRAME))
        self.assert_fails(run("map", path, "-o", self.folder / "map.png"), USAGE, ".html or .svg")
        self.assert_fails(run("map", path), USAGE, "--help")
        same = self.file(film(FRAME), "film.html")
        self.assert_fails(run("map", same, "-o", same), USAGE, "the file that is read")
        self.assertEqual(same.read_bytes(), film(FRAME))
        self.assert_fails(run("map", self.folder / "none", "-o", self.folder / "a.svg"), UNREADABLE)

    def test_an_output_that_cannot_be_written_says_why(self):
        path = self.file(film(FRAME))
        self.assert_fails(run("map", path, "-o", self.folder / "none/map.svg"), 1,
                          "cannot be written: No such file or directory")
        self.assert_fails(run("map", path, "-o", path / "map.svg"), 1,
                          "cannot be written: Not a directory")
        (self.folder / "maps").write_text("")
        self.assert_fails(run("map", path, path, "-o", self.folder / "maps"), USAGE, "another")
        self.assert_fails(run("map", path, "-o", f"{self.folder}/maps/"), 1, "Not a directory")
        self.assert_fails(run("map", path, "-o", self.folder / "map.svg", preexec_fn=limit_files), 1,
                          "cannot be written: File too large")
        self.assertEqual(sorted(os.listdir(self.folder)), ["film.avi", "maps"])


class Browser(LookTest):
    """The picture in a real browser, when there is one."""

    def setUp(self):
        super().setUp()
        self.browser = shutil.which("chromium") or shutil.which("chromium-browser")
        if self.browser is None:
            self.skipTest("chromium is missing")

    def load(self, *options, page):
        profile = tempfile.TemporaryDirectory()
        self.addCleanup(profile.cleanup)
        done = subprocess.run(
            [self.browser, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
             "--no-first-run", "--disable-background-networking", "--disable-component-update",
             "--disable-sync", "--enable-logging=stderr", f"--user-data-dir={profile.name}",
             *options, page.as_uri()], capture_output=True, timeout=LONGEST)
        self.assertEqual(done.returncode, 0, done.stderr.decode(errors="replace"))
        console = [line for line in done.stderr.decode(errors="replace").splitlines()
                   if "CONSOLE" in line]
        return done.stdout.decode(), console

    def page(self, script="", name="map.html", path=SAMPLES / "extensions.avi"):
        output = self.folder / name
        self.assert_agrees(run("map", path, "-o", output))
        if script:
            text = output.read_text()
            output.write_text(text.replace("</body>", f"<script>{script}</script></body>"))
        return output

    def test_loads_without_an_error_and_shows_what_the_file_holds(self):
        for name in ("map.html", "map.svg"):
            with self.subTest(name):
                dom, console = self.load("--dump-dom", page=self.page(name=name))
                self.assertEqual(console, [])
                for kind, count in (("file", 1), ("clock", 1), ("lead", 1), ("lane", 5),
                                    ("bitrate", 2)):
                    self.assertEqual(dom.count(f'class="{kind}"'), count, kind)
                for text in ("extensions.avi", "LIST movi", "Stream 4: chapter", "Main film"):
                    self.assertIn(text, dom)

    def test_an_error_would_be_seen(self):
        _, console = self.load("--dump-dom", page=self.page("nothing.here();"))
        self.assertEqual(len(console), 1, console)

    def test_pointing_at_a_mark_tells_what_it_is(self):
        script = """const mark = document.querySelector(".lane .marks rect");
            mark.dispatchEvent(new PointerEvent("pointerover", {bubbles: true}));"""
        dom, console = self.load("--dump-dom", page=self.page(script))
        self.assertEqual(console, [])
        self.assertRegex(dom, r'<p id="pointed">0x3ec to 0x4bc: 1 chunk, 200 bytes, 0:00.00 to ')

    def test_marks_are_drawn_and_labels_fit_on_wide_screens_and_narrow(self):
        script = """
            const box = element => element.getBoundingClientRect();
            const shown = [...document.querySelectorAll("svg text")].filter(t =>
                getComputedStyle(t).display !== "none");
            const labels = shown.filter(t => t.classList.contains("faint"));
            const wide = document.documentElement.clientWidth;
            const out = shown.filter(t => box(t).left < -1 || box(t).right > wide + 1);
            const meet = labels.filter(a => labels.some(b => a !== b &&
                Math.abs(box(a).top - box(b).top) < 3 && box(a).left < box(b).left &&
                box(a).right > box(b).left));
            const marks = [...document.querySelectorAll(".lane .marks rect")].map(box);
            document.title = JSON.stringify([wide, shown.length > 20, out.length, meet.length,
                document.documentElement.scrollWidth, marks.length,
                marks.every(b => b.width > 0.9 && b.height > 1)]);"""
        # A position in bytes has the longest words that an axis can have.
        bytes_wide = self.file(film(*[FRAME] * 24))
        self.assertEqual(len(bytes_wide.read_bytes()) // 10, 99)
        for film_path, marks in ((SAMPLES / "extensions.avi", 9), (bytes_wide, 24)):
            page = self.page(script, path=film_path)
            for width in (400, 1200):
                dom, _ = self.load("--dump-dom", f"--window-size={width},900", page=page)
                told = json.loads(re.search(r"<title>(\[.*?\])</title>", dom)[1])
                self.assertLess(told[0], 501 if width == 400 else 1201)
                self.assertEqual(told[1:], [True, 0, 0, told[0], marks, True], (film_path, width))

    def test_prints_on_paper(self):
        output = self.folder / "map.pdf"
        self.load(f"--print-to-pdf={output}", page=self.page())
        self.assertEqual(output.read_bytes()[:5], b"%PDF-")

    def test_light_and_dark(self):
        script = """const style = getComputedStyle(document.body);
            document.title = style.backgroundColor + " " +
                getComputedStyle(document.querySelector("figcaption")).color;"""
        page = self.page(script)
        seen = []
        for scheme in ("1", "0"):
            dom, _ = self.load("--dump-dom", f"--blink-settings=preferredColorScheme={scheme}",
                               page=page)
            seen.append(re.search(r"<title>(.*?)</title>", dom)[1])
        self.assertEqual(seen, ["rgb(255, 255, 255) rgb(27, 33, 48)",
                                "rgb(18, 21, 28) rgb(230, 233, 240)"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
