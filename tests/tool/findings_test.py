"""Tests of what `check` finds: that it is true, that it points at damage, and its forms. Run like
tool_test.py."""

import json
import os
import re
import struct
import subprocess
import sys
import unittest

from look_test import FRAME, audio, strh, strn, video
from tool_test import (EMULATOR, NAMES, REFUSED, SAMPLES, SOURCE, TOOL, USAGE, ToolTest, chunk,
                       filler, lst, riff, run)

sys.path.insert(0, str(SOURCE / "scripts"))
import damage_films  # noqa: E402
import score_findings  # noqa: E402

SOUND = [name for name in NAMES if name != "extensions.avi"]  # whose indexes lead nowhere on purpose


def checked(files):
    """The verdict on each file."""
    answers = []
    for start in range(0, len(files), 500):
        result = run("check", "--json", "--no-progress", *files[start : start + 500])
        assert "sorn-tool:" not in result.err, result.err
        answers += [json.loads(line) for line in result.out.splitlines()]
    assert len(answers) == len(files)
    return answers


def number(text):
    return int(text.replace(",", ""))


class Numbers(ToolTest):
    """Every number in every sentence is held against the file."""

    def hold(self, files):
        for path, answer in zip(files, checked(files)):
            data = path.read_bytes()
            places = [answer["offset"]] + [finding["offset"] for finding in answer["findings"]]
            sentences = [answer["sentence"]] + [finding["sentence"] for finding in answer["findings"]]
            for place in places:
                self.assertTrue(place is None or 0 <= place <= len(data), (path, place))
            for sentence in set(sentences):
                with self.subTest(file=path.name, sentence=sentence):
                    self.hold_sentence(sentence, data)

    def hold_sentence(self, sentence, data):
        size = len(data)
        for place in re.findall(r"(?<!of )\b0x([0-9a-f]+)", sentence):  # not of 320x240, or of 0x320
            self.assertLessEqual(int(place, 16), size)
        for end in re.findall(r"file ends at 0x([0-9a-f]+)", sentence):
            self.assertEqual(int(end, 16), size)
        declared = r"at 0x([0-9a-f]+) declares ([\d,]+) bytes?\b(?! of stream data)"
        for place, count in re.findall(declared, sentence):
            self.assertEqual(struct.unpack_from("<I", data.ljust(size + 8, b"\0"), int(place, 16) + 4),
                             (number(count),))
        for place, count in re.findall(r"at 0x([0-9a-f]+) declares ([\d,]+) bytes? of stream data", sentence):
            self.assertEqual(struct.unpack_from("<I", data, int(place, 16) + 12), (number(count),))
        for place, after in re.findall(r"at 0x([0-9a-f]+) declares [^:]*: the file ends after ([\d,]+)", sentence):
            self.assertEqual(int(place, 16) + 8 + number(after), size)
        for name, place in re.findall(r"(?<!names a )'(\w{4})' chunk at 0x([0-9a-f]+)", sentence):
            there = data[int(place, 16) : int(place, 16) + 4]
            self.assertTrue(name.encode().upper().startswith(there.upper()) and there, there)
        for lost, place in re.findall(r"^([\d,]+) bytes? at 0x([0-9a-f]+), at the end of the file", sentence):
            self.assertEqual(int(place, 16) + number(lost), size)
        if "more than the file holds" in sentence:
            self.fail("says nothing of the two numbers")

    def test_a_file_cut_at_every_byte(self):
        data = (SAMPLES / "extensions.avi").read_bytes()
        files = []
        for length in range(0, len(data) + 1, 7 if EMULATOR else 1):
            files.append(self.file(data[:length], f"cut-{length}.avi"))
        self.hold(files)

    def test_the_fuzzers_corpora(self):
        inputs = sorted(path for path in (SOURCE / "fuzz").glob("[cr]*/*/*") if path.is_file())
        self.assertGreater(len(inputs), 100)
        files = []
        for path in inputs[:: 7 if EMULATOR else 1]:
            data = path.read_bytes()  # a file behind as many steering bytes as the first one says
            files.append(self.file(data[1 + data[0]:], f"{path.name}.avi"))
        self.hold(files)

    def test_damaged_films(self):
        film = damage_films.Film(SAMPLES / "mpeg4-mp3.avi")
        self.hold([self.file(data, f"{name}.avi") for name, _, data, *_ in damage_films.damaged(film)])



def opendml(entry_at=0, super_at=0, super_size=0, missing=0):
    """A film with a standard and a super index, and where they lie. The arguments are what is added
    to one entry's place, to the super index entry's place and size, and taken from the entries."""
    frames = [chunk(b"00dc", filler(24)) for _ in range(3)]

    def build(super_entry, base, entries):
        indx = chunk(b"indx", struct.pack("<H2BI4s12xQ2I", 4, 0, 0, 1, b"00dc", *super_entry))
        listed = b"".join(struct.pack("<2I", offset, 24) for offset in entries)
        ix = chunk(b"ix00", struct.pack("<H2BI4sQI", 2, 0, 1, len(entries), b"00dc", base, 0) + listed)
        head = headers(video(indx), frames=3)
        content = riff(b"AVI ", head, lst(b"movi", *frames, ix))
        return content, content.index(b"movi") + 4, content.index(b"ix00"), content.index(b"indx")

    count = 3 - missing
    _, media, ix_at, _ = build((0, 0, 0), 0, [0] * count)
    entries = [8 + i * 32 for i in range(count)]
    entries[-1] += entry_at
    size = 24 + 8 * count
    content, _, ix_at, indx_at = build((ix_at + super_at, size + 8 + super_size, count), media, entries)
    return content, ix_at, indx_at


def headers(*streams, frames=1):
    avih = struct.pack("<14I", 40_000, 0, 0, 0x10, frames, 0, len(streams), 0, 320, 240, *[0] * 4)
    return lst(b"hdrl", chunk(b"avih", avih), *streams)


class Rules(ToolTest):
    """A file for each rule that the damaged films do not bring about, and the way back: the same file
    without the mistake has no such finding."""

    def found(self, content, rule):
        result = run("check", "--json", self.file(content))
        findings = json.loads(result.out)["findings"]
        return [finding for finding in findings if finding["rule"] == rule]

    def only(self, rule, wrong, right, offset, *words):
        finding, = self.found(wrong, rule)
        self.assertEqual(finding["offset"], offset)
        for word in words:
            self.assertIn(word, finding["sentence"])
        self.assertEqual(self.found(right, rule), [])

    def film(self, *media, before=(), after=(), streams=None, movi_size=None, kinds=b""):
        streams = streams or [video()]
        return riff(b"AVI ", headers(*streams), *before, lst(b"movi", *media), *after)

    def test_an_index_counts_from_the_list_or_from_the_file(self):
        frames = [chunk(b"00dc", filler(24, i)) for i in range(4)]
        plain = self.film(*frames)
        movi = plain.index(b"movi")

        def index(origin, places=range(4), sizes=(24,) * 4, key=0x10, ids=(b"00dc",) * 4):
            return chunk(b"idx1", b"".join(
                struct.pack("<4s3I", ids[i], key, movi + 4 + 32 * place - origin, sizes[i])
                for i, place in enumerate(places)))

        right = self.film(*frames, after=[index(movi)])
        at = right.index(b"idx1")
        for origin in (0, movi):
            content = self.film(*frames, after=[index(origin)])
            for rule in ("index_wrong_origin", "index_wrong_place", "index_wrong_size", "index_misses_chunks"):
                self.assertEqual(self.found(content, rule), [])
        wrong = self.film(*frames, after=[index(movi - 5)])
        self.only("index_wrong_origin", wrong, right, at, "none of the 4 entries")
        wrong = self.film(*frames, after=[index(movi, sizes=(24, 25, 24, 24))])
        self.only("index_wrong_size", wrong, right, at + 24, "of 25 bytes", "declares 24 bytes")
        wrong = self.film(*frames, after=[index(movi, ids=(b"00dc", b"00dc", b"00db", b"00dc"))])
        self.only("index_wrong_id", wrong, right, at + 40, "'00db'", "'00dc' is")
        wrong = self.film(*frames, after=[index(movi, places=(0, 2, 1, 3))])
        self.only("index_out_of_order", wrong, right, at + 40)
        wrong = self.film(*frames, after=[index(movi, places=(0, 1, 2))])
        self.only("index_misses_chunks", wrong, right, at, "3 entries for the 4 media chunks")
        self.only("index_flag_missing", self.film(*frames, after=[index(movi, key=0)]), right, at)

    def test_super_and_standard_indexes(self):
        right, ix, indx = opendml()
        wrong, ix, _ = opendml(entry_at=2)
        self.only("index_wrong_place", wrong, right, ix + 32 + 16, "'00dc'")
        wrong, _, indx = opendml(super_at=6)
        self.only("super_index_wrong_place", wrong, right, indx + 32, "no index of stream 0")
        wrong, _, indx = opendml(super_size=100)
        self.only("super_index_wrong_size", wrong, right, indx + 32)
        wrong, _, indx = opendml(missing=1)
        self.only("super_index_misses_chunks", wrong, right, indx, "2 of the 3 chunks")
        cut, ix, _ = opendml()
        cut = cut[: ix + 12] + struct.pack("<I", 9) + cut[ix + 16 :]
        self.only("index_cut_short", cut, right, ix, "declares 9 entries of 8 bytes")

    def test_a_wrong_size_hides_nothing(self):
        frames = [chunk(b"00dc", filler(24, i)) for i in range(5)]
        right = self.film(*frames)
        self.found(right, "wrong_size")
        count = json.loads(run("check", "--json", self.folder / "film.avi").out)["examined"]["chunks"]
        at = right.index(frames[2])
        for size in (4, 30, 70, 90, 0xFFFFFFF0):
            wrong = right[: at + 4] + struct.pack("<I", size) + right[at + 8 :]
            self.only("wrong_size", wrong, right, at, f"declares {size:,} bytes", "begins after 24 bytes")
            self.found(wrong, "wrong_size")
            answer, = checked([self.folder / "film.avi"])
            self.assertEqual(answer["examined"]["chunks"], count)

    def test_a_hole_hides_no_more_than_it_covers(self):
        frames = [chunk(b"00dc", filler(24, i)) for i in range(6)]
        right = self.film(*frames)
        at = right.index(frames[2])
        wrong = right[:at] + bytes(40) + right[at + 40 :]
        self.only("zero_hole", wrong, right, at, "64 bytes are lost")

    def test_forms(self):
        first = self.film(FRAME, after=[b"odd \3\0\0\0odd"])
        self.assertEqual(len(first) % 2, 1)
        later = riff(b"AVIX", lst(b"movi", FRAME))
        self.only("odd_form", first + b"\0" + later, first + later, 0, f"looks for the next form at 0x{len(first):x}")
        even = self.film(FRAME)
        self.only("unknown_form", even + riff(b"WAVE", lst(b"INFO", FRAME)), even + later, len(even))

    def test_interleaving(self):
        frames, sound = [FRAME] * 200, chunk(b"01wb", bytes(4))
        streams = [video(), audio()]
        far = self.film(*frames, sound, streams=streams)
        near = self.film(*frames[:100], sound, streams=streams)
        self.only("badly_interleaved", far, near, far.index(b"01wb"), "7.96 seconds")
        near = self.film(*frames, streams=streams)
        self.only("stream_without_media", near, far, near.rindex(b"strl") - 8, "stream 1")

    def test_mistakes_of_the_extensions(self):
        right = self.film(FRAME, before=[lst(b"QRDT", chunk(b"MTDA", bytes(4)), chunk(b"JUNK", bytes(8)))])
        wrong = self.film(FRAME, before=[lst(b"QRDT", chunk(b"JUNK", bytes(20)))])
        self.only("extension_list_empty", wrong, right, wrong.index(b"QRDT") - 8)
        wrong = self.film(FRAME, before=[chunk(b"MTDA", bytes(4))])
        self.only("extension_chunk_outside", wrong, right, wrong.index(b"MTDA"))
        wrong = self.film(FRAME, before=[lst(b"QRTD", chunk(b"MTDA", bytes(4)))])
        self.only("misspelt_type", wrong, right, wrong.index(b"QRTD") - 8, "one letter away from 'QRDT'")

        def menu(pad):
            return riff(b"MENU", b"LIST" + struct.pack("<I", 4) + b"QMNU" + b"MENU\3\0\0\0odd" + pad +
                        chunk(b"MENU", b"four") + bytes(4))
        film = self.film(FRAME)
        wrong = film + menu(b"\0")
        self.only("menu_form_padded", wrong, film + menu(b""), wrong.index(b"MENU\3"), "pad byte")

    def test_stream_lists(self):
        name, data = strn(b"name"), chunk(b"strd", struct.pack("<2I", 7, 4) + b"data")
        right = self.film(FRAME, streams=[video(data, name)])
        wrong = self.film(FRAME, streams=[video(name, data)])
        self.only("stream_chunk_order", wrong, right, wrong.index(b"strd"), "behind 'strn'")
        wrong = self.film(FRAME, streams=[video(strn(b"odd") + b"\0", chunk(b"indx", bytes(24)))])
        self.only("odd_stream_chunk", wrong, right, wrong.index(b"strn"), "3 bytes")
        long_format = chunk(b"strf", struct.pack("<3I2H", 44, 320, 240, 1, 24) + b"FMP4" + bytes(24))
        wrong = self.film(FRAME, streams=[lst(b"strl", strh(), long_format, name)])
        self.only("hidden_by_format", wrong, right, wrong.index(b"strn"), "longer than what the reader reads")
        wrong = self.film(FRAME, after=[lst(b"strl", strh())])
        self.only("list_behind_media", wrong, right, wrong.rindex(b"strl") - 8)

    def test_media_that_headers_know_nothing_of(self):
        right = self.film(FRAME)
        wrong = self.film(FRAME, chunk(b"00zz", bytes(24)), FRAME)
        self.only("unknown_media_id", wrong, right, wrong.index(b"00zz"))
        wrong = self.film(FRAME, chunk(b"07wb", bytes(24)), FRAME)
        self.only("undescribed_media", wrong, right, wrong.index(b"07wb"), "stream 7")
        wrong = self.film(FRAME, chunk(b"00wb", bytes(24)), FRAME)
        self.only("wrong_media_kind", wrong, right, wrong.index(b"00wb"))
        wrong = self.film(FRAME, after=[chunk(b"00dc", bytes(24))])
        self.assertEqual(self.found(wrong, "wrong_size")[0]["offset"], wrong.index(b"movi") - 8)


class Damage(ToolTest):
    """The fixed part of what scripts/damage-films does with films of every muxer."""

    def test_the_damage_is_pointed_at(self):
        count = len(damage_films.write(self.folder, [SAMPLES / name for name in SOUND]))
        self.assertGreater(count, 150)
        missed, told = score_findings.missed([*EMULATOR, TOOL], self.folder)
        self.assertEqual(told, count)
        for entry, answer in missed:
            print(entry, score_findings.told(answer), sep="\n", file=sys.stderr)
        self.assertGreaterEqual(1 - len(missed) / count, score_findings.ENOUGH)

    def test_sound_films_have_no_finding(self):
        self.assertEqual(score_findings.flawed([*EMULATOR, TOOL], [SAMPLES / name for name in SOUND]), [])


def schema(name):
    return json.loads((SOURCE / "docs/schemas" / f"{name}.json").read_text())


class Forms(ToolTest):
    """JSON, SARIF, the catalogue, and exit statuses."""

    def validate(self, line, name):
        import jsonschema
        jsonschema.Draft202012Validator(schema(name)).validate(line)

    def lines(self, *arguments):
        return [json.loads(line) for line in run(*arguments).out.splitlines()]

    def films(self):
        film = damage_films.Film(SAMPLES / "mpeg4-mp3.avi")
        broken = [self.file(data, f"{name}.avi") for name, _, data, *_ in damage_films.damaged(film)]
        return [*broken, *(SAMPLES / name for name in NAMES), self.file(b"", "empty.avi"),
                self.folder / "none.avi"]

    def test_check_is_as_its_schema_says(self):
        for line in self.lines("check", "--json", *self.films()):
            self.validate(line, "check")

    def test_info_is_as_its_schema_says(self):
        for line in self.lines("info", "--json", *self.films()):
            self.validate(line, "info")

    def test_tree_is_as_its_schema_says(self):
        for film in self.films()[:-1:9]:
            first, *chunks = self.lines("tree", "--json", film)
            self.validate(first, "tree")
            for line in chunks:
                self.validate(line, "tree")

    def test_a_schema_refuses_what_is_none(self):
        import jsonschema
        line, = self.lines("check", "--json", SAMPLES / "extensions.avi")
        for change in ({"format_version": 2}, {"findings": [{"rule": "movi_too_short"}]}, {"more": 1},
                       {"offset": -1}):
            with self.assertRaises(jsonschema.ValidationError):
                self.validate({**line, **change}, "check")

    def test_each_finding_is_of_a_rule(self):
        rules = {rule["rule"]: rule for rule in self.lines("check", "--rules", "--json")}
        found = {finding["rule"]: finding for line in self.lines("check", "--json", *self.films())
                 for finding in line["findings"]}
        self.assertGreater(len(found), 30)
        for name, finding in found.items():
            self.assertEqual(finding["severity"], rules[name]["severity"])
            named = rules[name]["remedy"] + " 'sorn-tool repair' mends it."
            self.assertIn(finding["remedy"], (rules[name]["remedy"], named))
            if not rules[name]["repair"]:
                self.assertNotIn("repair", finding["remedy"])

    def test_a_rule_is_explained(self):
        for rule in self.lines("check", "--rules", "--json"):
            told = run("check", "--explain", rule["rule"])
            self.assert_agrees(told)
            for key in ("rule", "severity", "meaning", "effect", "remedy"):
                self.assertIn(rule[key], told.out)
        self.assert_fails(run("check", "--explain", "nothing"), USAGE, "nothing is no rule")

    def test_the_document_of_rules_is_current(self):
        rules_document = SOURCE / "scripts/rules_document.py"
        written = subprocess.run([sys.executable, rules_document], capture_output=True,
                                               input=run("check", "--rules", "--json").out.encode())
        self.assertEqual(written.stdout.decode(), (SOURCE / "docs/rules.md").read_text())

    def test_ids_never_go(self):
        """An id that was ever published stays: scripts name it."""
        rules = {rule["rule"] for rule in self.lines("check", "--rules", "--json")}
        published = (SOURCE / "tests/tool/published_rules.txt").read_text().split()
        self.assertLessEqual(set(published), rules)

    def test_sarif(self):
        done = run("check", "--sarif", *self.films()[:12], SAMPLES / "mpeg4-mp3.avi")
        log = json.loads(done.out)
        (one,) = log["runs"]
        rules = one["tool"]["driver"]["rules"]
        self.assertEqual(log["version"], "2.1.0")
        self.assertGreater(len(one["results"]), 12)
        for result in one["results"]:
            self.assertEqual(rules[result["ruleIndex"]]["id"], result["ruleId"])
            self.assertIn(result["level"], ("error", "warning", "note"))
            (location,) = result["locations"]
            place = location["physicalLocation"]
            self.assertTrue(place["artifactLocation"]["uri"].startswith("file:///"))
            self.assertGreaterEqual(place.get("region", {"byteOffset": 0})["byteOffset"], 0)

    def test_exit_statuses(self):
        sound, refused = SAMPLES / "mpeg4-mp3.avi", self.file(b"no film", "refused.avi")
        flawed, none = SAMPLES / "extensions.avi", self.folder / "none.avi"
        for files, status, strict in (([sound], 0, 0), ([flawed], 0, 1), ([sound, flawed], 0, 1),
                                      ([refused, refused], REFUSED, REFUSED), ([none], 6, 6),
                                      ([sound, refused], 1, 1), ([refused, none], 1, 1)):
            self.assertEqual(run("check", *files).status, status, files)
            self.assertEqual(run("check", "--strict", *files).status, strict, files)
        self.assertEqual(run("check", "--json", "--sarif", sound).status, USAGE)
        self.assertEqual(run("check").status, USAGE)

    def test_one_table_of_statuses(self):
        table = run("--help").out.partition("Exit status")[2]
        manual = (SOURCE / "docs/sorn-tool.1").read_text().partition(".SH EXIT STATUS")[2]
        statuses = re.findall(r"^  (\d+)  ", table, re.M)
        self.assertEqual(statuses, re.findall(r"^\.B (\d+)$", manual, re.M))
        for command in ("play", "info", "check", "tree", "map", "repair"):
            self.assertIn(command, table)
            self.assertTrue(run(command, "--help").out.endswith("Exit status" + table))

    def test_outputs_that_cannot_be_written(self):
        for command in (["--help"], ["check", "--help"], ["check", "--rules"], ["info"], ["check"],
                        ["check", "--json"], ["check", "--sarif"], ["tree"], ["tree", "--json"],
                        ["tree", "--all"], ["play"], ["repair", "--dry-run"]):
            files = [] if "--help" in command or "--rules" in command else [SAMPLES / "mpeg4-mp3.avi"]
            with open("/dev/full", "w") as full, self.subTest(command):
                done = subprocess.run([*EMULATOR, TOOL, *command, *files], stdout=full,
                                                    stderr=-1, stdin=-3, timeout=240)
                self.assertEqual(done.returncode, 1)
                self.assertRegex(done.stderr.decode(), r"\Asorn-tool: cannot write [^\n]+ No space left on "
                                 r"device\n\Z")

    def test_a_reader_that_goes_away(self):
        reader, writer = os.pipe()
        os.close(reader)
        with open(writer, "wb") as output:
            done = subprocess.run([*EMULATOR, TOOL, "tree", "--json", SAMPLES / "mpeg4-mp3.avi"],
                                  stdout=output, stderr=-1, stdin=-3, timeout=240)
        self.assertRegex(done.stderr.decode(), r"\Asorn-tool: cannot write [^\n]+ Broken pipe\n\Z")
        self.assertEqual(done.returncode, 1)

    def test_files_without_a_size(self):
        for command in (["check"], ["tree"], ["info"], ["map", "-o", self.folder / "x.svg"]):
            done = run(*command, "/proc/self/mem")
            self.assertIn(done.status, (1, 6))
            self.assert_one_line(done, "/proc/self/mem: ")

    def test_info_and_play_say_what_check_says(self):
        for name in ("form-size-0", "cut-in-headers", "main-id", "video-header-id"):
            film = damage_films.Film(SAMPLES / "mpeg4-mp3.avi")
            data = next(data for other, _, data, *_ in damage_films.damaged(film) if other == name)
            path = self.file(data)
            line, = self.lines("check", "--json", path)
            self.assertIn(line["sentence"], run("info", path).err)
            self.assertIn(line["sentence"], run("play", path).err)


if __name__ == "__main__":
    unittest.main(verbosity=2)
