#!/usr/bin/env python3
"""How scripts/prove reads figures, writes its page, and notices that the page is out of date."""
import contextlib
import importlib.machinery
import importlib.util
import io
import json
import pathlib
import re
import string
import sys
import unittest
from unittest import mock

ROOT = pathlib.Path(__file__).resolve().parents[2]
loader = importlib.machinery.SourceFileLoader("prove", str(ROOT / "scripts" / "prove"))
prove = importlib.util.module_from_spec(importlib.util.spec_from_loader("prove", loader))
sys.modules["prove"] = prove
loader.exec_module(prove)

KEPT = json.loads(prove.FIGURES.read_text())
PRINTED = """\
fuzzed: differential, build/fuzz-fast/bin/differential_fuzzer: 12345 inputs, 678 a second and process
fuzzed: differential, afl++: 23 inputs, 4 a second and process
fuzzed: differential, build/fuzz/bin/differential_fuzzer: 56 inputs, 7 a second and process
"""


def claim(name):
    return next(claim for claim in prove.CLAIMS if claim.name == name)


class Figures(unittest.TestCase):
    def test_are_those_that_a_pattern_names(self):
        figures = {"fast": 12345, "fast_rate": 678, "afl": 23, "afl_rate": 4, "memory": 56,
                   "memory_rate": 7}
        self.assertEqual(prove.found(claim("fuzzing").pattern, PRINTED), figures)

    def test_are_in_any_order_of_the_two_that_run_at_once(self):
        lines = PRINTED.splitlines(keepends=True)
        swapped = lines[0] + lines[2] + lines[1]
        pattern = claim("fuzzing").pattern
        self.assertEqual(prove.found(pattern, PRINTED), prove.found(pattern, swapped))

    def test_are_none_when_something_is_missing(self):
        pattern = claim("enumeration").pattern
        done = "enumerated: 5 of 5 inputs, 0 differences"
        self.assertEqual(prove.found(pattern, done), {"files": 5})
        self.assertIsNone(prove.found(pattern, done.replace("5 of", "4 of")))
        self.assertIsNone(prove.found(pattern, done.replace("0 diff", "and they diff")))


class Page(unittest.TestCase):
    def test_has_every_figure_of_every_claim(self):
        for one in prove.CLAIMS:
            wanted = {field for _, field, _, _ in string.Formatter().parse(one.text) if field}
            found = set(re.findall(r"\?P<(\w+)>", one.pattern))
            self.assertEqual(wanted, found, one.name)

    def test_is_what_the_figures_say(self):
        self.assertEqual(prove.PAGE.read_text(), prove.page(KEPT))

    def quick(self, kept, printed):
        with mock.patch.object(prove, "run", lambda command: printed.get(command, "")), \
                contextlib.redirect_stderr(io.StringIO()):
            prove.quick(kept)

    def test_is_out_of_date_when_what_is_counted_changes(self):
        one = claim("enumeration")
        files = KEPT[one.name]["figures"]["files"]
        self.quick(KEPT, {one.countable: f"{files}  in all"})
        with self.assertRaises(SystemExit):
            self.quick(KEPT, {one.countable: f"{files + 1}  in all"})


if __name__ == "__main__":
    unittest.main()
