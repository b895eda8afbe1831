"""Tests of `repair`: each kind of mend, what cannot be mended, and how the new file is written. Run
like tool_test.py."""

import json
import os
import shutil
import signal
import struct
import subprocess
import sys
import unittest

from findings_test import headers, opendml, schema
from look_test import FRAME, audio, strh, strn, text, video
from tool_test import (EMULATOR, FAULTY, INTERRUPTED, LONGEST, NO_PLUGIN, PLUGIN, REFUSED, SAMPLES, SOURCE, TOOL,
                       UNREADABLE, USAGE, ToolTest, chunk, filler, limit_files, lst, riff, run)

sys.path.insert(0, str(SOURCE / "scripts"))
import damage_films  # noqa: E402
import score_repairs  # noqa: E402

FRAMES = [chunk(b"00dc", filler(24, seed)) for seed in range(4)]


def index(places, sizes=(24,) * 4, ids=(b"00dc",) * 4, flags=0x10):
    return chunk(b"idx1", b"".join(struct.pack("<4s3I", ids[i], flags, place, sizes[i])
                                   for i, place in enumerate(places)))


INDEX = index((4, 36, 68, 100))


def film(*after, streams=None, media=FRAMES, before=(), head=None, movi_size=None, size=None):
    """A sound one without any of the arguments."""
    if streams is None:
        streams = [stream()]
    if head is None:
        head = headers(*streams, frames=4)
    return riff(b"AVI ", head, *before, lst(b"movi", *media, size=movi_size), *(after or [INDEX]),
                size=size)


def strh_of(length, kind=b"vids"):
    header = bytearray(strh(kind))
    struct.pack_into("<I", header, 8 + 32, length)
    return bytes(header)


def strf(own=40, size=None, more=b""):
    return chunk(b"strf", struct.pack("<3I2H", own, 320, 240, 1, 24) + b"FMP4" + bytes(20) + more, size)


def stream(*after, header=None, form=None):
    return lst(b"strl", header or strh_of(4), form or strf(), *after)


def put(content, pos, new):
    return content[:pos] + new + content[pos + len(new) :]


def put_word(content, pos, value):
    return put(content, pos, struct.pack("<I", value))


class RepairTest(ToolTest):
    def repaired(self, path, *options, **more):
        self.new = self.folder / "new.avi"
        return run("repair", path, "-o", self.new, *options, **more)

    def mend(self, content, *rules, changes=None):
        """Repairs a film; what comes of it, and what is said of it. The rules are all that it was
        mended of."""
        result = self.repaired(self.file(content), "--json")
        self.assert_agrees(result)
        said = json.loads(result.out)
        self.assertEqual((said["outcome"], set(said["mended"])), ("mended", set(rules)), said)
        if changes is not None:
            self.assertEqual([(change["offset"], change["old"], change["new"])
                              for change in said["changes"]], changes)
        self.hold_changes(said, content, self.new.read_bytes())
        self.assertEqual(run("play", "--verify", "--quiet", self.new).status, 0)
        again = run("repair", "--dry-run", "--json", self.new)
        self.assertEqual(json.loads(again.out)["changes"], [])
        return self.new.read_bytes()

    def hold_changes(self, said, content, new):
        """The changes, made by hand, make the new file."""
        for change in reversed(said["changes"]):
            old, added = bytes.fromhex(change["old"]), bytes.fromhex(change["new"])
            at, end = change["offset"], change["offset"] + change["removed"]
            self.assertEqual(content[at:end][:4096], old)
            self.assertEqual(len(added), min(change["added"], 4096))
            content = content[:at] + added + content[end:]
        self.assertEqual(content, new)

    def cannot(self, content, *words):
        result = self.repaired(self.file(content))
        self.assert_fails(result, REFUSED, "cannot be mended: ", *words)
        self.assertEqual(result.out, "")
        self.assertEqual(os.listdir(self.folder), ["film.avi"])


class Mends(RepairTest):
    def test_a_sound_film_is_copied(self):
        path = self.file(film())
        result = self.repaired(path)
        self.assert_agrees(result)
        self.assertEqual(result.out, f"{path}: needs nothing; copied to {self.new}\n")
        self.assertEqual(self.new.read_bytes(), path.read_bytes())
        result = run("repair", path, "--dry-run")
        self.assertEqual(result.out, f"{path}: needs nothing\n")

    def test_a_recording_that_was_never_finished(self):
        content = film(movi_size=0, size=0)
        new = self.mend(content, "no_movi", "never_finished")
        self.assertEqual(new, film())

    def test_sizes_that_claim_too_much_or_too_little(self):
        right = film()
        movi, hdrl = right.index(b"movi") - 8, right.index(b"hdrl") - 8
        strl, avih = right.index(b"strl") - 8, right.index(b"avih")
        for place, more, rules in ((0, 5000, ["claims_too_much"]), (movi, 5000, ["claims_too_much"]),
                                   (movi, -64, ["wrong_size"]), (hdrl, 700, ["form_cut_short", "claims_too_much"]),
                                   (strl, 20, ["wrong_size"]), (avih, 20, ["wrong_size"])):
            with self.subTest(place=place, more=more):
                size = struct.unpack_from("<I", right, place + 4)[0]
                wrong = put_word(right, place + 4, size + more)
                path = self.file(wrong)
                said = json.loads(self.repaired(path, "--json").out)
                self.assertEqual(self.new.read_bytes(), right)
                self.assertEqual([c["offset"] for c in said["changes"]], [place + 4])
        del rules

    def test_the_index_tells_the_size_of_a_media_chunk(self):
        odd = [chunk(b"00dc", filler(23)), *FRAMES[1:]]
        right = film(index((4, 36, 68, 100), sizes=(23, 24, 24, 24)), media=odd)
        at = right.index(b"00dc")
        for size in (13, 4000, 0xFFFFFFF0):
            new = self.mend(put_word(right, at + 4, size), "wrong_size", "index_wrong_size")
            self.assertEqual(new, right)

    def test_a_chunk_takes_nothing_in_that_may_not_be_its_own(self):
        noise = b"\xb1\x07\xf3\x90" + filler(60)
        content = film(chunk(b"JUNK", bytes(8)), media=[FRAMES[0], noise, *FRAMES[1:]])
        self.repaired(self.file(content))
        self.assertIn(FRAMES[0] + noise, self.new.read_bytes())

    def test_a_film_that_was_cut(self):
        right = film()
        cut = right[: right.index(INDEX) - 10]
        new = self.mend(cut, "claims_too_much", "no_index")
        at = cut.index(FRAMES[3][:12])
        media = cut.index(b"movi")
        self.assertEqual(new[media : at + 4], cut[media : at + 4])
        self.assertEqual(new[at + 8 : len(cut)], cut[at + 8 :])
        self.assertEqual(new[-16:], struct.pack("<4s3I", b"00dc", 0, 100, 14))
        inside = right[: right.index(FRAMES[3]) + 5]
        new = self.mend(inside, "claims_too_much", "lost_bytes", "no_index", "frames_differ", "length_differs")
        self.assertEqual(new.count(b"00dc"), 6)

    def test_bytes_outside_the_forms(self):
        right = film()
        end = len(right)
        self.assertEqual(self.mend(right + b"end", "top_level_cut_short", "lost_bytes",
                                   changes=[(end, b"end".hex(), "")]), right)
        self.assertEqual(self.mend(right + bytes(4096), "behind_last_form"), right)
        self.assertEqual(self.mend(right + b"downloaded from the net", "behind_last_form", "claims_too_much"),
                         right)
        front = b"HTTP/1.1 200 OK\r\n\r\n"
        self.assertEqual(self.mend(front + right, *self.also(front + right)), right)
        later = riff(b"AVIX", lst(b"movi", FRAME))
        new = self.mend(right + bytes(4) + later, "wrong_size", "behind_last_form",
                        *self.refusals(right + bytes(4) + later))
        self.assertEqual(new, right + later)

    def refusals(self, content):
        line = json.loads(run("check", "--json", self.file(content)).out)
        return [line["reason"]] if line["reason"] else []

    def test_an_index_outside_its_form(self):
        right = film()
        wrong = put_word(right, 4, right.index(INDEX) - 8)
        self.assertEqual(self.mend(wrong, "behind_last_form"), right)

    def test_forms_of_odd_size(self):
        odd = film(INDEX, b"odd \3\0\0\0odd")
        later = riff(b"AVIX", lst(b"movi", FRAME))
        wrong = odd + b"\0" + later
        new = self.mend(wrong, "odd_form", *self.refusals(wrong))
        self.assertEqual(new, put_word(wrong, 4, len(odd) - 8 + 1))
        self.mend(odd + b"\0", "lost_bytes", "top_level_cut_short", changes=[
            (4, struct.pack("<I", len(odd) - 8).hex(), struct.pack("<I", len(odd) - 7).hex())])

    def test_pads_that_are_missing_or_too_many(self):
        right = film(before=[chunk(b"JUNK", b"odd")])
        at = right.index(b"odd\0") + 3
        size = len(right) - 8
        missing = put_word(right[:at] + right[at + 1 :], 4, size - 1)
        self.assertEqual(self.mend(missing, "no_movi"), right)
        many = film(before=[chunk(b"JUNK", b"even") + b"\0"])
        right = film(before=[chunk(b"JUNK", b"even")])
        self.assertEqual(self.mend(many, "wrong_size", *self.refusals(many)), right)

    def test_the_pads_of_a_menu_form(self):
        def menu(pad):
            return riff(b"MENU", b"LIST" + struct.pack("<I", 4 + 23 + len(pad)) + b"QMNU" + b"MENU\3\0\0\0odd" +
                        pad + chunk(b"MENU", b"four"))
        self.assertEqual(self.mend(film() + menu(b"\0"), "menu_form_padded"), film() + menu(b""))

    def test_names_of_headers(self):
        right = film()
        for name, wrong, rules in ((b"avih", b"a\0ih", ["no_main_header"]),
                                   (b"strh", b"\1\2\3\4", ["bad_stream_header"]),
                                   (b"movi", b"mowi", ["no_movi", "misspelt_type"]),
                                   (b"idx1", b"idx2", ["misspelt_type", "no_index"]),
                                   (b"vids", b"vidz", ["misspelt_type"])):
            with self.subTest(name):
                content = right.replace(name, wrong, 1)
                result = json.loads(self.repaired(self.file(content), "--json").out)
                self.assertEqual(self.new.read_bytes(), right)
                self.assertEqual(len(result["changes"]), 1)
                self.assertIn(rules[0], [*result["mended"], result["changes"][0]["rule"]])

    def test_headers_out_of_order(self):
        junk = chunk(b"JUNK", bytes(8))
        head = headers(stream(), frames=4)
        avih = head[12 : 12 + 64]
        wrong = film(head=lst(b"hdrl", junk, stream(), avih))
        self.assertEqual(self.mend(wrong, "no_main_header"), film(head=lst(b"hdrl", avih, junk, stream())))
        data, name = chunk(b"strd", struct.pack("<2I", 7, 4) + b"data"), strn(b"name")
        wrong = film(streams=[stream(name, junk, data)])
        self.assertEqual(self.mend(wrong, "stream_chunk_order"),
                         film(streams=[stream(data, name, junk)]))
        wrong = film(streams=[lst(b"strl", strf(), strh_of(4), name)])
        self.assertEqual(self.mend(wrong, "bad_stream_header", *self.also(wrong)), film(streams=[stream(name)]))

    def also(self, content):
        """What else is found in a film whose stream header is not seen."""
        line = json.loads(run("check", "--json", self.file(content)).out)
        return [finding["rule"] for finding in line["findings"] if "repair" in finding["remedy"]]

    def test_video_formats(self):
        palette = bytes(range(64))
        wrong = film(streams=[stream(form=strf(more=palette))])
        new = self.mend(wrong, "bad_video_format")
        self.assertEqual(new, film(streams=[stream(form=strf(104, more=palette))]))
        odd = b"odd codec data!"
        wrong = film(streams=[stream(form=strf(55, more=odd + b"\0"))])
        new = self.mend(wrong, "bad_video_format")
        self.assertEqual(new, film(streams=[stream(form=strf(55, more=odd))]))
        self.assertEqual(self.mend(film(streams=[stream(form=strf(400))]), "bad_video_format"), film())

    def test_an_odd_name_before_a_super_index(self):
        super_index = chunk(b"indx", struct.pack("<H2BI4s12x", 4, 0, 0, 0, b"00dc"))
        wrong = film(streams=[stream(strn(b"odd") + b"\0", super_index)])
        new = self.mend(wrong, "odd_stream_chunk")
        self.assertEqual(new, film(streams=[stream(strn(b"odd\0"), super_index)]))

    def test_ids_of_media_by_the_index(self):
        right = film(streams=[stream()])
        at = right.index(FRAMES[2])
        for wrong, rule in ((b"\xb1\7\xf3\x90", "unknown_media_id"), (b"57dc", "undescribed_media"),
                            (b"00wb", "wrong_media_kind")):
            with self.subTest(wrong):
                path = self.file(put(right, at, wrong))
                said = json.loads(self.repaired(path, "--json").out)
                self.assertIn(rule, said["mended"])
                self.assertEqual(self.new.read_bytes(), right)

    def test_a_hole_becomes_a_filler(self):
        right = film()
        at = right.index(FRAMES[1])
        new = self.repaired(self.file(put(right, at, bytes(64))), "--json")
        said = json.loads(new.out)
        self.assertIn("zero_hole", said["mended"])
        self.assertEqual(self.new.read_bytes()[at : at + 8], b"JUNK\x38\0\0\0")

    def test_an_index_that_is_lost_or_wrong(self):
        right = film()
        lost = film(chunk(b"JUNK", bytes(8)))
        new = self.mend(lost, "no_index")
        self.assertEqual(new[-len(INDEX) :][:24], INDEX[:24])
        movi = right.index(b"movi")
        for wrong, rule in ((bytes(64), "index_wrong_origin"),
                            (INDEX[8:40] + bytes(16) + INDEX[56:], "index_zeroed"),
                            (index((5, 37, 69, 101))[8:], "index_wrong_origin"),
                            (index((4, 36, 68, 9000))[8:], "index_wrong_place"),
                            (index((4, 36, 68, 100), sizes=(24, 24, 9, 24))[8:], "index_wrong_size"),
                            (index((4, 36, 68, 100), ids=(b"00db", *[b"00dc"] * 3))[8:], "index_wrong_id"),
                            (index((4, 68, 36, 100))[8:], "index_out_of_order")):
            with self.subTest(rule):
                content = put(right, right.index(INDEX) + 8, wrong)
                said = json.loads(self.repaired(self.file(content), "--json").out)
                self.assertIn(rule, said["mended"])
                new = self.new.read_bytes()
                places = [struct.unpack_from("<I", new, new.index(b"idx1") + 16 + 16 * i)[0] for i in range(4)]
                self.assertEqual(places, [4, 36, 68, 100])
        for places, flags in (((4, 36), (16, 16, 0, 0)), ((4, 36, 68, 68, 100), (16, 16, 16, 16))):
            with self.subTest(places=places):
                content = film(index(places, sizes=[24] * 5, ids=[b"00dc"] * 5))
                self.repaired(self.file(content), "--json")
                made = b"".join(struct.pack("<4s3I", b"00dc", flag, 4 + 32 * i, 24) for i, flag in enumerate(flags))
                self.assertEqual(self.new.read_bytes(), film(chunk(b"idx1", made)))
        # Counted from the start of the file, it goes on to be.
        content = film(index([movi + place for place in (4, 36, 68, 101)]))
        self.repaired(self.file(content))
        self.assertEqual(self.new.read_bytes(), film(index([movi + place for place in (4, 36, 68, 100)])))
        cut = right[: right.index(INDEX) + 30]
        self.repaired(self.file(cut))
        self.assertEqual(len(self.new.read_bytes()), len(right))

    def test_flags_of_entries_stay_and_key_frames_are_found(self):
        def picture(kind, seed):
            return chunk(b"00dc", b"\0\0\1\xb6" + bytes([kind << 6]) + filler(19, seed))
        media = [picture(kind, seed) for seed, kind in enumerate((0, 1, 1, 0))]
        lost = film(chunk(b"JUNK", bytes(8)), media=media)
        new = self.mend(lost, "no_index")
        self.assertEqual([struct.unpack_from("<I", new, new.index(b"idx1") + 12 + 16 * i)[0] for i in range(4)],
                         [0x10, 0, 0, 0x10])
        content = film(index((4, 36, 68, 9000), flags=0x77), media=media)
        new = self.mend(content, "index_wrong_place")
        self.assertEqual([struct.unpack_from("<I", new, new.index(b"idx1") + 12 + 16 * i)[0] for i in range(4)],
                         [0x77] * 4)
        content = film(index((4, 36, 100), flags=0x77), media=media)
        new = self.mend(content, "index_misses_chunks")
        self.assertEqual([struct.unpack_from("<I", new, new.index(b"idx1") + 12 + 16 * i)[0] for i in range(4)],
                         [0x77, 0x77, 0, 0x77])

    def test_super_and_standard_indexes_that_lie(self):
        right, ix, indx = opendml()
        for wrong, rule in ((opendml(entry_at=2)[0], "index_wrong_place"),
                            (opendml(super_at=6)[0], "super_index_wrong_place"),
                            (opendml(super_size=100)[0], "super_index_wrong_size")):
            with self.subTest(rule):
                said = json.loads(self.repaired(self.file(wrong), "--json").out)
                self.assertIn(rule, said["mended"], said)
                new = self.new.read_bytes()
                fixed = json.loads(self.repaired(self.file(right), "--json").out)
                self.assertEqual(new, self.new.read_bytes(), fixed)

    def test_positions_move_along_with_what_is_put_in(self):
        right, ix, indx = opendml()
        said = json.loads(self.repaired(self.file(b"junk!" + right), "--json").out)
        self.assertEqual(said["outcome"], "mended")
        unpadded = right.replace(b"LIST", b"JUNK\1\0\0\0jLIST", 1)
        unpadded = put_word(unpadded, 4, len(unpadded) - 8)
        self.repaired(self.file(unpadded))
        found = {f["rule"] for f in json.loads(run("check", "--json", self.new).out)["findings"]}
        self.assertEqual({rule for rule in found if "index" in rule}, set())

    def test_counts_of_the_headers(self):
        right = film()
        avih, header = right.index(b"avih") + 8, right.index(b"strh") + 8
        for pos, rule in ((avih + 16, "frames_differ"), (avih + 24, "stream_count_differs"),
                          (header + 32, "length_differs"), (header + 36, "buffer_too_small")):
            with self.subTest(rule):
                wrong = put_word(right, pos, 7)
                new = self.mend(wrong, rule)
                if rule != "buffer_too_small":
                    self.assertEqual(new, right)

    def test_check_names_repair_where_it_helps(self):
        path = self.file(film(movi_size=0))
        self.assertTrue(run("check", path).out.endswith("  'sorn-tool repair' mends movi_too_short, "
                                                        "never_finished\n"))
        line = json.loads(run("check", "--json", path).out)
        for finding in line["findings"]:
            self.assertTrue(finding["remedy"].endswith("'sorn-tool repair' mends it."), finding)
        beyond = self.file(film(movi_size=0, streams=[stream()] * 20))
        self.assertNotIn("repair", run("check", beyond).out)
        self.assertNotIn("repair", run("check", "--json", beyond).out)
        self.assertNotIn("repair", run("check", self.file(film())).out)


SILENT = film(index((4,), ids=[b"00wb"]), media=[chunk(b"00wb", bytes(24))],
              head=headers(lst(b"strl", strh_of(1, b"auds"), chunk(b"strf", bytes(18))), frames=0))


class Beyond(RepairTest):
    """What cannot be mended is said, with the reason."""

    def test_reasons(self):
        right = film()
        for content, words in (
                (b"", "the file is empty"),
                (b"no film at all", "begins with 'no f'"),
                (riff(b"WAVE", chunk(b"data", b"four")), "of type 'WAVE'"),
                (right[: right.index(b"strf") + 20], "video format"),
                (film(streams=[stream()] * 20), "13th video stream"),
                (film(streams=[stream(header=strh_of(4)[:52])]), "strh"),
                (film(streams=[lst(b"strl", strh_of(4), strf()[:38].replace(b"strf\x28", b"strf\x1e"))]), "video format"),
                (film(streams=[lst(b"strl", strh(b"auds"), chunk(b"strf", bytes(18)), strn(bytes(40_000)))]),
                 "negative"),
                (film(media=[]), "takes it for ended"),
                (riff(b"AVI ", headers(stream()), chunk(b"JUNK", bytes(50))), "no 'movi' list in the first form"),
                (SILENT, "0 channels"),
        ):
            with self.subTest(words):
                self.cannot(content, words)

    def test_as_json(self):
        result = self.repaired(self.file(film(streams=[stream()] * 20)), "--json")
        self.assertEqual(result.status, REFUSED)
        said = json.loads(result.out)
        self.assertEqual((said["outcome"], said["new"], said["changes"], said["mended"]), ("beyond", None, [], []))
        self.assertIn("too_many_video_streams", [finding["rule"] for finding in said["left"]])

    def test_what_is_left_is_told(self):
        content = film(movi_size=0, streams=[stream(form=strf(own=40)).replace(b"\1\0\x18\0", b"\1\0\x4d\0")])
        result = self.repaired(self.file(content))
        self.assert_agrees(result)
        self.assertIn("  left: error: stream 0 has 1 plane of 77 bits", result.out)

    def test_a_film_longer_than_a_size_can_tell(self):
        path = self.folder / "film.avi"
        with open(path, "wb") as file:
            file.write(film(movi_size=0, size=0xFFFFFF00)[: -len(INDEX)])
            for _ in range(3):
                file.write(b"00dc" + struct.pack("<I", 0x56000000))
                file.seek(0x56000000, os.SEEK_CUR)
            file.write(FRAME)
        self.assert_fails(self.repaired(path), REFUSED, "cannot be mended")
        self.assertEqual(os.listdir(self.folder), ["film.avi"])


class Writing(RepairTest):
    """The new file is there whole, or not at all; the old one is never touched."""

    broken = film(movi_size=0, size=0)

    def setUp(self):
        super().setUp()
        self.path = self.file(self.broken)

    def only_the_film_is_there(self):
        self.assertEqual(os.listdir(self.folder), ["film.avi"])
        self.assertEqual(self.path.read_bytes(), self.broken)

    def test_the_new_file_is_never_the_old_one(self):
        (self.folder / "soft").symlink_to("film.avi")
        os.link(self.path, self.folder / "hard")
        for name in ("film.avi", "./film.avi", "soft", "hard"):
            self.assert_fails(run("repair", self.path, "-o", self.folder / name), USAGE, "is the file that is read")
        self.assertEqual(self.path.read_bytes(), self.broken)
        self.assert_fails(run("repair", self.folder / "soft", "-o", self.path), USAGE)

    def test_a_dry_run_writes_nothing(self):
        result = run("repair", "--dry-run", self.path)
        self.assert_agrees(result)
        self.assertIn("2 changes would mend it\n", result.out)
        self.assertIn("  0x4: 00 00 00 00 -> ", result.out)
        self.assertIn("the size of the 'AVI ' form [never_finished]", result.out)
        self.only_the_film_is_there()

    def test_a_full_disk(self):
        disk = self.folder / "disk"
        disk.mkdir()
        large = self.file(film(movi_size=0, size=0, media=[chunk(b"00dc", filler(200_000))]))
        script = """mount -t tmpfs -o size=64k none "$1" && echo old >"$1/new.avi" || exit 77
            "${@:3}" repair "$2" -o "$1/new.avi"; echo "$?"; ls -A "$1"; cat "$1/new.avi" """
        done = subprocess.run(["unshare", "-rm", "bash", "-c", script, "bash", disk, large, *EMULATOR, TOOL],
                              capture_output=True, text=True, timeout=LONGEST)
        if done.returncode != 0:
            self.skipTest("no small disk can be mounted here")
        self.assertEqual(done.stdout, "1\nnew.avi\nold\n")
        self.assertRegex(done.stderr, r"\Asorn-tool: .*new.avi: cannot be written: No space left on device\n\Z")

    def test_a_limit_on_files(self):
        self.path.write_bytes(film(movi_size=0, size=0, media=[chunk(b"00dc", filler(8000))]))
        result = run("repair", self.path, "-o", self.folder / "new.avi", preexec_fn=limit_files)
        self.assert_fails(result, 1, "File too large")
        self.assertEqual(os.listdir(self.folder), ["film.avi"])
        self.assertEqual(run("check", self.path, preexec_fn=limit_files).status, REFUSED)

    def test_folders_that_cannot_be_written(self):
        self.assert_fails(run("repair", self.path, "-o", self.folder / "none/new.avi"), 1, "cannot be written")
        self.assert_fails(run("repair", self.path, "-o", self.folder), 1, "Not a regular file")
        locked = self.folder / "locked"
        locked.mkdir(mode=0o500)
        result = run("repair", self.path, "-o", locked / "new.avi")
        if os.geteuid() != 0:  # who may write everywhere
            self.assert_fails(result, 1, "Permission denied")
            self.assertEqual(os.listdir(locked), [])

    def test_wrong_usage(self):
        self.assert_fails(run("repair", self.path), USAGE, "-o", "--dry-run")
        self.assert_fails(run("repair", "-o", "new.avi"), USAGE, "FILE")
        self.assert_fails(run("repair", self.folder / "none", "-o", self.folder / "new"), UNREADABLE)
        self.assert_fails(run("repair", self.folder, "-o", self.folder / "new"), UNREADABLE)
        self.only_the_film_is_there()

    def test_it_is_proved_through_the_plug_in(self):
        new = self.folder / "new.avi"
        self.assert_fails(run("repair", self.path, "-o", new, "--plugin", self.folder / "none.so"), NO_PLUGIN)
        self.only_the_film_is_there()
        result = run("repair", self.path, "-o", new, "--plugin", FAULTY, env={"FAULT": "bytes", "REAL_PLUGIN": str(PLUGIN)})
        self.assert_fails(result, REFUSED, "cannot be mended")
        self.only_the_film_is_there()

    def test_an_interrupt_leaves_nothing(self):
        path = self.folder / "film.avi"
        with open(path, "wb") as file:
            file.write(film(movi_size=0, size=0)[: -len(INDEX)])
            for _ in range(64):
                file.write(chunk(b"00dc") * (1 << 16))
        master, slave = self.open_terminal()
        process = subprocess.Popen(
            [*EMULATOR, TOOL, "repair", path, "-o", self.folder / "new.avi"], stdout=subprocess.DEVNULL,
            stderr=slave, preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        os.close(slave)
        written = os.read(master, 4096)
        process.send_signal(signal.SIGINT)
        self.assertIn(b" left", written)
        self.assertEqual(process.wait(timeout=LONGEST), INTERRUPTED)
        os.close(master)
        self.assertEqual(os.listdir(self.folder), ["film.avi"])

    def test_the_holes_of_a_sparse_film_stay(self):
        if EMULATOR:
            self.skipTest("takes too long under emulation")
        path, gap = self.folder / "film.avi", 0x55555554
        head = b"00dc" + struct.pack("<I", gap)
        with open(path, "wb") as file:
            file.write(film(size=0)[: -len(INDEX)])
            for _ in range(4):
                size = len(head) + gap + len(FRAME)
                file.write(b"RIFF" + struct.pack("<I", 16 + size) + b"AVIXLIST" + struct.pack("<I", 4 + size) +
                           b"movi" + head)
                file.seek(gap, os.SEEK_CUR)
                file.write(FRAME)
            file.write(b"end")
        if os.stat(path).st_blocks * 512 > 1 << 20:
            self.skipTest("the file system knows no holes")
        result = self.repaired(path)
        self.assertEqual(result.status, 0, result.err)
        self.assertGreater(os.stat(self.new).st_size, 4 * gap)
        self.assertLess(os.stat(self.new).st_blocks * 512, 1 << 20)

    def test_the_same_comes_of_the_same(self):
        first = self.repaired(self.path, "--json").out, self.folder.joinpath("new.avi").read_bytes()
        second = self.repaired(self.path, "--json").out, self.folder.joinpath("new.avi").read_bytes()
        self.assertEqual(first, second)


class Proof(RepairTest):
    """The fixed part of what scripts/damage-films does with films of every muxer."""

    def test_damaged_films_play_again(self):
        import jsonschema
        sound = SAMPLES / "mpeg4-mp3.avi"
        damage_films.write(self.folder, [sound])
        hashes = score_repairs.stream_hashes(sound) if shutil.which("ffmpeg") else None
        validator = jsonschema.Draft202012Validator(schema("repair"))
        whole, again, mended = 0, 0, set()
        for entry in json.loads((self.folder / "manifest.json").read_text()):
            if EMULATOR and entry["kind"].startswith("index"):
                continue
            one = score_repairs.Repaired([*EMULATOR, TOOL], self.folder / entry["file"],
                                         damage_films.Film(sound), hashes)
            with self.subTest(entry["file"]):
                self.assertEqual(one.broken, [])
                validator.validate(one.verdict)
            mended |= set(one.verdict["mended"])
            if one.refused and one.whole:
                whole += 1
                again += one.plays and (one.same or hashes is None)
        self.assertGreater(whole, 10)
        self.assertGreaterEqual(again / whole, score_repairs.ENOUGH)
        self.assertLessEqual(mended, self.published())

    def published(self):
        rules = [json.loads(line) for line in run("check", "--rules", "--json").out.splitlines()]
        return {rule["rule"] for rule in rules if rule["repair"]}


if __name__ == "__main__":
    unittest.main(verbosity=2)
