"""Tests of what is at hand in every command: folders, several files, choices and colours. Run like
tool_test.py."""

import json
import os
import re
import shutil
import signal
import subprocess
import unittest

from look_test import FRAME, LookTest, parts_written_to
from tool_test import (EMULATOR, INTERRUPTED, LONGEST, SAMPLES, TOOL, UNREADABLE, USAGE, chunk, film,
                       filler, lst, riff, run)

REFUSED_FILE = riff(b"WAVE", chunk(b"fmt ", bytes(16)))


class GivenTest(LookTest):
    def shelf(self):
        """A folder with films at several depths, and with what is none."""
        shelf = self.folder / "shelf"
        for name in ("b.avi", "A.AVI", "sub/deep/c.avi", "sub/a.Avi", "notes.txt", "sub/avi"):
            path = shelf / name
            path.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(SAMPLES / "audio-only.avi", path)
        (shelf / "sub/deep/up").symlink_to("../..")
        (shelf / "linked.avi").symlink_to("b.avi")
        (shelf / "folder.avi").mkdir()
        return shelf

    FILMS = ["A.AVI", "b.avi", "linked.avi", "sub/a.Avi", "sub/deep/c.avi"]


class Folders(GivenTest):
    def test_every_command_takes_the_films_in_a_folder(self):
        shelf = self.shelf()
        wanted = [str(shelf / name) for name in self.FILMS]
        for command in ("play", "info", "check"):
            with self.subTest(command):
                result = run(command, "--json", shelf)
                self.assert_agrees(result)
                self.assertEqual([line["file"] for line in self.lines(result)], wanted)
        result = run("tree", "--json", "--depth", "1", shelf)
        self.assert_agrees(result)
        self.assertEqual([line["file"] for line in self.lines(result) if "file" in line], wanted)
        result = run("play", shelf, self.folder / "shelf/notes.txt")
        self.assertEqual(re.findall(r"^(\S+): [\d.]+ KiB", result.out, re.M),
                         [*wanted, str(shelf / "notes.txt")])

    def test_a_page_for_each_film(self):
        shelf = self.shelf()
        output = self.folder / "maps"
        self.assert_agrees(run("map", shelf, "-o", output))
        pages = sorted(str(page.relative_to(output)) for page in output.rglob("*.*") if page.is_file())
        self.assertEqual(pages, [name + ".html" for name in self.FILMS])
        for page in output.rglob("*.html"):
            self.assertIn("<title>Map of " + page.name.removesuffix(".html"), page.read_text())

    def test_pictures_are_never_written_over_each_other(self):
        shelf = self.shelf()
        output = self.folder / "maps"
        result = run("map", shelf / "b.avi", self.file(film(FRAME), "b.avi"), "-o", output)
        self.assert_fails(result, USAGE, "b.avi.html, as another file's")
        self.assertFalse(output.exists())
        self.assert_agrees(run("map", shelf / "b.avi", "-o", f"{output}/"))
        self.assertEqual([page.name for page in output.iterdir()], ["b.avi.html"])

    def test_a_folder_without_films_or_rights(self):
        empty = self.folder / "empty"
        empty.mkdir()
        for command in ("play", "check", "tree"):
            self.assert_fails(run(command, empty), UNREADABLE, str(empty), "no file in it ends in .avi")
        result = run("info", "--json", empty)
        self.assert_fails(result, 1, "ends in .avi")
        self.assertEqual(self.lines(result), [{"file": str(empty), "opened": False}])
        self.assert_fails(run("check", empty, SAMPLES / "audio-only.avi"), 1, "ends in .avi")
        if os.geteuid() != 0:
            empty.chmod(0)
            self.assert_fails(run("check", empty), UNREADABLE, "Permission denied")
            empty.chmod(0o700)

    def test_what_is_wrong_with_one_does_not_keep_from_the_others(self):
        good, bad = self.file(film(FRAME)), self.file(REFUSED_FILE, "bad.avi")
        for command in ("play", "tree"):
            result = run(command, "--json", bad, self.folder / "none", good)
            self.assertEqual([line["file"] for line in self.lines(result) if "file" in line][-1],
                             str(good))
            self.assertEqual(result.status, 1)
            self.assertIn("No such file", result.err)
        self.assertEqual(run("play", bad, bad).status, 3)
        output = self.folder / "maps"
        result = run("map", self.folder / "none", good, "-o", output)
        self.assert_fails(result, 1, "No such file")
        self.assertTrue((output / "film.avi.html").exists())


class Jobs(GivenTest):
    def test_the_order_and_the_words_are_the_same(self):
        for i in range(40):
            content = [film(FRAME * (1 + 3000 * (i % 3 == 0))), REFUSED_FILE, b""][i % 5 % 3]
            self.file(content, f"{i:02}.avi")
        (self.folder / "gone.avi").symlink_to("nowhere")
        files = sorted(self.folder.iterdir())
        for option in ("--json", "--sarif", "--no-progress"):
            one = run("check", option, *files)
            many = run("check", option, "--jobs", "7", *files)
            self.assertEqual((many.status, many.out, many.err), (one.status, one.out, one.err))
            self.assertEqual(one.status, 1)
        self.assertEqual(len(self.lines(run("check", "-j256", "--json", *files))), 41)

    def test_pictures_are_the_same(self):
        shelf = self.shelf()
        for jobs, name in (("1", "one"), ("4", "four")):
            self.assert_agrees(run("map", "-j", jobs, shelf, "-o", self.folder / name))
        for page in (self.folder / "one").rglob("*.html"):
            other = self.folder / "four" / page.relative_to(self.folder / "one")
            self.assertEqual(page.read_bytes(), other.read_bytes())

    def test_stops_at_ctrl_c(self):
        path = self.folder / "long.avi"
        with open(path, "wb") as file:
            file.write(film(FRAME, movi_size=0xFFFFFFF0, riff_size=0xFFFFFFF8))
            file.write(b"00dc\0\0\0\0" * 3_000_000)
        first = self.file(film(FRAME))
        process = subprocess.Popen([*EMULATOR, TOOL, "check", "-j2", first, *[path] * 20],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdout.readline()  # of the first file: the others are at work
        process.send_signal(signal.SIGINT)
        _, err = process.communicate(timeout=LONGEST)
        self.assertEqual(process.returncode, INTERRUPTED)
        self.assertRegex(err.decode(), r"\Asorn-tool: .*: interrupted\n\Z")

    def test_numbers_that_are_none(self):
        for jobs in ("0", "257", "-1", "many"):
            self.assert_fails(run("check", f"--jobs={jobs}", SAMPLES / "audio-only.avi"), USAGE,
                              "--jobs")


class Choices(GivenTest):
    def shown(self, *options, content=None):
        path = self.file(content) if content else SAMPLES / "extensions.avi"
        result = run("tree", "--json", *options, path)
        self.assert_agrees(result)
        return [(line["id"], line["type"], line["offset"]) for line in self.lines(result)[1:]]

    def test_depth(self):
        everything = run("tree", "--json", SAMPLES / "extensions.avi")
        for depth in (1, 2, 3, 99):
            wanted = [(line["id"], line["type"], line["offset"]) for line in self.lines(everything)[1:]
                      if line["depth"] < depth]
            self.assertEqual(self.shown("--depth", str(depth)), wanted)
        self.assertEqual([kind for _, kind, _ in self.shown("--depth=1")], ["AVI ", "AVIX", "MENU"])
        self.assert_fails(run("tree", "--depth=0", SAMPLES / "extensions.avi"), USAGE, "--depth")

    def test_id(self):
        data = (SAMPLES / "extensions.avi").read_bytes()
        places = [match.start() for match in re.finditer(b"strf", data)]
        self.assertEqual(self.shown("--id", "strf"), [("strf", None, place) for place in places])
        self.assertEqual([kind for _, kind, _ in self.shown("--id=movi")], ["movi", "movi"])
        content = film(lst(b"rec ", FRAME), chunk(b"\x00dc\\", bytes(4)))
        self.assertEqual(len(self.shown("--id=rec", content=content)), 1)
        self.assertEqual(self.shown(r"--id=\x00dc\x5c", content=content)[0][0], r"\x00dc\x5c")
        for wrong in ("", "toolong", r"\x0", r"\xgg"):
            self.assert_fails(run("tree", "--id", wrong, SAMPLES / "extensions.avi"), USAGE, "--id")

    def test_ids_are_told_one_by_one(self):
        result = run("tree", "--id=00dc", self.file(film(*[FRAME] * 50)))
        self.assertEqual(result.out.count("00dc  24 bytes  compressed video"), 50)
        self.assertEqual(len(result.out.splitlines()), 51)

    def test_at(self):
        content = film(FRAME, chunk(b"01wb", bytes(10))) + b"junk"
        place = content.index(b"01wb")
        around = [("RIFF", "AVI ", 0), ("LIST", "movi", content.index(b"movi") - 8)]
        for offset in (place, f"0x{place:x}", place + 17):
            self.assertEqual(self.shown("--at", str(offset), content=content),
                             [*around, ("01wb", None, place)])
        self.assertEqual(self.shown("--at", str(place - 1), content=content)[-1][0], "00dc")
        self.assertEqual(self.shown("--at=0x4", content=content), around[:1])
        self.assertEqual(self.shown(f"--at={len(content) - 1}", content=content),
                         [(None, None, len(content) - 4)])
        path = self.folder / "film.avi"
        self.assert_fails(run("tree", f"--at={len(content)}", path), USAGE,
                          f"ends at 0x{len(content):x}")
        for wrong in ("0x", "-1", "12z", "99999999999999999999"):
            self.assert_fails(run("tree", f"--at={wrong}", path), USAGE, "--at")

    def test_choices_are_all_to_hold(self):
        place = (SAMPLES / "extensions.avi").read_bytes().index(b"avih")
        self.assertEqual(self.shown("--at", str(place), "--id=hdrl", "--depth=2"),
                         [("LIST", "hdrl", 12)])
        self.assertEqual(self.shown("--at", str(place), "--id=idx1"), [])


class Words(GivenTest):
    def test_colours(self):
        path = SAMPLES / "extensions.avi"
        plain = run("tree", path).out
        self.assertNotIn("\033", plain)
        self.assertEqual(run("tree", "--color=never", path).out, plain)
        coloured = run("tree", "--color=always", path, env={"NO_COLOR": "1"}).out
        self.assertEqual(re.sub("\033\\[\\d*m", "", coloured), plain)
        self.assertIn("\033[1m", coloured)
        self.assert_fails(run("tree", "--color=red", path), USAGE, "--color red", "auto")
        for option, seen in (("auto", True), ("never", False)):
            master, slave = self.open_terminal()
            environment = {key: value for key, value in os.environ.items() if key != "NO_COLOR"}
            process = subprocess.Popen([*EMULATOR, TOOL, "tree", f"--color={option}", path],
                                       stdout=slave, env=environment)
            os.close(slave)
            written = b"".join(parts_written_to(master))
            os.close(master)
            self.assertEqual(process.wait(timeout=LONGEST), 0)
            self.assertEqual(b"\033" in written, seen)

    def test_quiet(self):
        good, bad = SAMPLES / "audio-only.avi", self.file(REFUSED_FILE, "bad.avi")
        flawed = self.file(film(FRAME) + b"junkjunk")
        for option in ("-q", "--quiet"):
            result = run("check", option, good, bad, flawed)
            self.assertEqual(result.status, 1)
            self.assertNotIn(str(good), result.out)
            self.assertIn(f"{bad}: refused", result.out)
            self.assertIn(f"{flawed}: opens", result.out)
            self.assertEqual(run("check", option, good).out, "")
            result = run("play", option, good)
            self.assert_agrees(result)
            self.assertEqual(result.out, "")
        result = run("play", "-q", bad)
        self.assertEqual(result.out, "")
        self.assert_fails(result, 3, "bad.avi")

    def test_play_as_json(self):
        line, = self.lines(run("play", "--json", "--verify", SAMPLES / "mpeg4-mp3.avi"))
        self.assertEqual(list(line), ["format_version", "file", "outcome", "sentence", "file_size",
                                      "forms", "streams", "other", "recognised", "delivered",
                                      "verified", "disagreements"])
        self.assertEqual((line["outcome"], line["forms"], line["verified"], line["disagreements"]),
                         ("agreed", 1, True, 0))
        video, sound = line["streams"]
        self.assertEqual((video["kind"], video["format"], video["chunks"], video["seconds"]),
                         ("video", "FMP4 320x240, 25 fps", 51, 2.04))
        text = run("play", SAMPLES / "mpeg4-mp3.avi").out
        self.assertIn(f"{video['bytes']:,}", text)
        self.assertIn(f"Delivered   {line['delivered']:,} bytes", text)
        self.assertEqual(line["recognised"]["video"], 51)
        self.assertEqual(line["recognised"]["audio"], sound["chunks"])

    def test_play_as_json_when_it_goes_wrong(self):
        cut = self.file((SAMPLES / "mpeg4-mp3.avi").read_bytes()[:60_000], "cut.avi")
        refused = self.file(REFUSED_FILE, "refused.avi")
        none = self.folder / "none.avi"
        result = run("play", "--json", cut, refused, none)
        self.assertEqual(result.status, 1)
        self.assertEqual([(line["file"], line["outcome"]) for line in self.lines(result)],
                         [(str(cut), "cut_short"), (str(refused), "refused"),
                          (str(none), "unreadable")])
        other, = self.lines(run("play", "--json", self.file(film(chunk(b"05wb", filler(6))))))
        self.assertEqual([stream["chunks"] for stream in other["streams"]], [0, 1])
        self.assertEqual(other["streams"][1]["kind"], None)

    def test_unknown_words_are_named(self):
        path = SAMPLES / "audio-only.avi"
        for arguments, words in ((["chek", path], ["chek is no command"]),
                                 (["--quite"], ["--quite is no option"]),
                                 (["check", "--quite", path], ["--quite"]),
                                 (["tree", path, "--dept", "2"], ["--dept"]),
                                 (["map", "--colour=never", path, "-o", "a.svg"], ["--colour"]),
                                 ([], ["name a command"])):
            with self.subTest(arguments):
                self.assert_fails(run(*arguments), USAGE, *words, "--help")

    def test_paths_that_are_not_utf8_stay_apart(self):
        names = [b"a\xff.avi", b"a\xfe.avi", b"a\\xff.avi", b"a\xc3.avi", "a\u00ff.avi".encode(),
                 b"a\xed\xa0\x80.avi", b"a\xc0\x80.avi", "a\U0001f3ac\ufffd.avi".encode()]
        folder = os.fsencode(self.folder)
        for name in names:
            shutil.copy(SAMPLES / "audio-only.avi", os.path.join(folder, name))

        def original(path):
            return re.sub(b"\0(..)", lambda escape: bytes.fromhex(escape[1].decode()), path.encode())

        for command in (["play", "--json"], ["info", "--json"], ["check", "--json"],
                        ["check", "--json", "-j4"], ["tree", "--json", "--depth=1"]):
            with self.subTest(command):
                paths = [os.path.join(folder, name) for name in names]
                lines = [line["file"] for line in self.lines(run(*command, *paths)) if "file" in line]
                self.assertEqual([original(line) for line in lines], paths)
                self.assertEqual(len(set(lines)), len(names))
        line, = self.lines(run("info", "--json", self.folder / "a\u00ff.avi"))
        self.assertEqual(line["file"], str(self.folder / "a\u00ff.avi"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
