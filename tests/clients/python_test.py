#!/usr/bin/env python3
"""Reads files through sorn.py and through Python's own file objects, side by side."""

import argparse
import errno
import io
import os
import random
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
import long_film  # noqa: E402

SOURCE = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "clients/python"))
import sorn  # noqa: E402

SAMPLE = SOURCE / "samples/mjpeg-pcm-titles.avi"
library = None


def open_both(path):
    return sorn.SornFile(library, path), open(path, "rb", buffering=0)


class Reading(unittest.TestCase):
    def assert_same(self, do, files):
        self.assertEqual(*[do(file) for file in files])

    def test_is_a_raw_file(self):
        with sorn.SornFile(library, SAMPLE) as file:
            self.assertIsInstance(file, io.RawIOBase)
            self.assertTrue(file.readable() and file.seekable())
            self.assertFalse(file.writable())
            self.assertEqual(file.name, SAMPLE)

    def test_reads_to_the_end(self):
        for start in (0, 1000):
            files = open_both(SAMPLE)
            for file in files:
                file.seek(start)
            self.assert_same(lambda file: file.read(-1), files)
            self.assert_same(lambda file: file.read(10), files)
            for file in files:
                file.close()

    def test_buffered_reader_reads_the_same(self):
        with io.BufferedReader(sorn.SornFile(library, SAMPLE)) as file:
            self.assertEqual(file.peek(4)[:4], b"RIFF")
            self.assertEqual(file.read(), SAMPLE.read_bytes())
            file.seek(-7, os.SEEK_END)
            self.assertEqual(file.read(100), SAMPLE.read_bytes()[-7:])

    def test_any_order_of_steps_gives_what_a_file_gives(self):
        chance = random.Random(1)
        files = open_both(SAMPLE)
        size = SAMPLE.stat().st_size
        for _ in range(2000):
            position, length = chance.randrange(size + 50), chance.randrange(5000)
            self.assert_same(lambda file: (file.seek(position), file.read(length), file.tell()),
                             files)
            self.assert_same(lambda file: (file.seek(1, os.SEEK_CUR), file.read(8)), files)
            self.assert_same(lambda file: (file.seek(-position, os.SEEK_END) if position <= size
                                           else None, file.read(3)), files)
        for file in files:
            file.close()

    def test_readinto_fills_what_it_is_given(self):
        with sorn.SornFile(library, SAMPLE) as file:
            buffer = bytearray(b"x" * 16)
            self.assertEqual(file.readinto(memoryview(buffer)[4:12]), 8)
            self.assertEqual(bytes(buffer), b"xxxx" + SAMPLE.read_bytes()[:8] + b"xxxx")
            self.assertEqual(file.readinto(bytearray()), 0)

    def test_impossible_seeks_raise_and_move_nothing(self):
        with sorn.SornFile(library, SAMPLE) as file:
            file.seek(100)
            for offset, whence in ((-1, os.SEEK_SET), (-101, os.SEEK_CUR), (0, 7)):
                self.assertRaises(ValueError, file.seek, offset, whence)
            self.assertEqual(file.tell(), 100)

    def test_closed_file(self):
        file = sorn.SornFile(library, SAMPLE)
        file.close()
        file.close()
        for call in (file.tell, file.readable, lambda: file.seek(0), lambda: file.read(1)):
            self.assertRaises(ValueError, call)


class Refusals(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_no_such_file(self):
        with self.assertRaises(FileNotFoundError) as raised:
            sorn.SornFile(library, self.folder / "none.avi")
        self.assertEqual(raised.exception.filename, str(self.folder / "none.avi"))

    def test_refused_file(self):
        path = self.folder / "broken.avi"
        path.write_bytes(SAMPLE.read_bytes()[:1000])
        with self.assertRaisesRegex(OSError, "Refused by libdrm-sorn") as raised:
            sorn.SornFile(library, path)
        self.assertEqual(raised.exception.errno, errno.EINVAL)

    def test_file_that_is_cut_short_while_open(self):
        path = self.folder / "film.avi"
        path.write_bytes(SAMPLE.read_bytes())
        with sorn.SornFile(library, path) as file:
            os.truncate(path, 20000)
            file.seek(50000)
            with self.assertRaises(OSError) as raised:
                file.read(10)
            self.assertEqual(raised.exception.errno, errno.EIO)
            path.write_bytes(SAMPLE.read_bytes())
            self.assertEqual(file.tell(), 50000)
            self.assertEqual(file.read(10), SAMPLE.read_bytes()[50000:50010])


class LongFilm(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.path = Path(folder.name) / "film.avi"
        long_film.write_long_film(SAMPLE, cls.path)

    def test_both_sides_of_what_32_bits_can_name(self):
        mine, other = open_both(self.path)
        size = self.path.stat().st_size
        self.assertGreater(size, 5 << 30)
        for border in (0, 1 << 31, 1 << 32, 5 << 30, size):
            for position in (border + 3, border, max(border - 5000, 0)):
                self.assertEqual(mine.seek(position), position)
                other.seek(position)
                self.assertEqual(mine.read(7000), other.read(7000), position)
                self.assertEqual(mine.tell(), other.tell())
        self.assertEqual(mine.seek(-1, os.SEEK_END), size - 1)
        mine.close()
        other.close()


def main():
    global library
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--plug-in", required=True)
    parser.add_argument("--debug-message", required=True)
    options, rest = parser.parse_known_args()
    library = sorn.load(options.plug_in, options.debug_message)
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == "__main__":
    main()
