#!/usr/bin/env python3
"""What scripts/counters and scripts/bench find worse, better, and not to be compared."""
import copy
import json
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))

import counters  # noqa: E402
import goals  # noqa: E402
import report  # noqa: E402

KEPT = json.loads(counters.KEPT.read_text())


class Comparison(unittest.TestCase):
    def setUp(self):
        self.now = copy.deepcopy(KEPT)

    def compared(self, skipped=()):
        return counters.compare(KEPT, self.now, skipped)

    def test_the_same_counts_are_neither_worse_nor_better(self):
        self.assertEqual(self.compared(), ([], []))

    def test_one_more_instruction_on_arm_is_worse(self):
        for call in self.now["arm"]["calls"].values():
            call["plug_in"] += 1
        worse, better = self.compared()
        self.assertEqual((len(worse), better), (len(KEPT["arm"]["calls"]), []))

    def test_the_c_library_counts_as_well(self):
        self.now["arm"]["calls"]["seek and read at random"]["c_library"] += 1
        self.assertEqual(len(self.compared()[0]), 1)

    def test_instructions_on_this_machine_may_rise_by_two_in_a_hundred(self):
        call = self.now["calls"]["1000-chunks open"]
        for factor, worse in ((1.019, 0), (1.021, 1)):
            total = KEPT["calls"]["1000-chunks open"]
            call["plug_in"] = int((total["plug_in"] + total["c_library"]) * factor)
            call["c_library"] = 0
            self.assertEqual(len(self.compared()[0]), worse, factor)

    def test_system_calls_and_allocations_may_not_rise(self):
        self.now["calls"]["film pass"]["system_calls"]["lseek"] += 1
        self.now["calls"]["film open"]["allocations"] += 1
        self.assertEqual(len(self.compared()[0]), 2)

    def test_a_lower_count_is_better(self):
        self.now["arm"]["calls"]["seek and read at random"]["c_library"] -= 1
        worse, better = self.compared()
        self.assertEqual((worse, len(better)), ([], 1))

    def test_calls_that_come_or_go_are_named(self):
        calls = self.now["arm"]["calls"]
        calls["a new call"] = calls.pop("seek and read backwards")
        worse, _ = self.compared()
        self.assertEqual(len([line for line in worse if "a new call" in line]), 2)
        self.assertEqual(len([line for line in worse if "seek and read backwards" in line]), 2)

    def test_another_compiler_leaves_its_instructions_out_and_no_more(self):
        self.now["arm"]["environment"]["compiler"] = "another"
        skipped = counters.other_environments(KEPT, self.now)
        self.assertEqual(list(skipped), ["arm"])
        self.now["arm"]["calls"]["seek and read at random"]["plug_in"] += 1
        self.assertEqual(self.compared(skipped), ([], []))
        self.now["calls"]["film open"]["plug_in"] *= 2
        self.assertEqual(len(self.compared(skipped)[0]), 1)


class Goals(unittest.TestCase):
    def test_a_goal_is_reached_at_its_own_figure(self):
        goal = goals.Goal(2, "it rained")
        self.assertIsNone(goal.missed(2))
        self.assertEqual(goal.missed(3), "it rained")
        self.assertNotIn("no", goal.verdict(2))
        self.assertIn("no", goal.verdict(3))

    def test_a_ratio_has_the_goal_of_its_group_file_and_rival(self):
        self.assertEqual(goals.of_ratio("pass", "film-1MB", "pread"),
                         goals.RATIOS["pass", "film-1MB", "pread"])
        self.assertEqual(goals.of_ratio("open", "film-1200MB", "walker_stream"),
                         goals.RATIOS["open", "film", "walker_stream"])
        self.assertIsNone(goals.of_ratio("pass", "film-1MB", "fseek_fread"))
        self.assertIsNone(goals.of_ratio("streams", "film-1MB", "pread"))

    def test_the_page_shows_the_counts_that_are_kept(self):
        self.assertIn(goals.counted_table(KEPT), counters.PAGE.read_text())

    def test_the_table_says_why_a_goal_is_missed(self):
        runs = {f"pass/film-1MB/{who}": {"cpu_time": time}
                for who, time in (("ours", 3000.0), ("pread", 1000.0))}
        table = "\n".join(report.tables(runs))
        self.assertIn("| 3 (at most 1.15: **no**) |", table)
        self.assertIn("- film-1MB, pread, 3: ", table)
        runs["pass/film-1MB/ours"]["cpu_time"] = 1000.0
        table = "\n".join(report.tables(runs))
        self.assertIn("| 1 (at most 1.15: yes) |", table)
        self.assertNotIn("- film-1MB", table)


class Pages(unittest.TestCase):
    def test_each_script_writes_between_its_own_marks(self):
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "page.md"
            page.write_text("a\n<!-- written by one -->\nold\n<!-- end of what one writes -->\nb\n"
                            "<!-- written by two -->\nkept\n<!-- end of what two writes -->\n")
            report.write_between_marks(page, "one", "new\n")
            self.assertEqual(page.read_text(),
                             "a\n<!-- written by one -->\nnew\n<!-- end of what one writes -->\nb\n"
                             "<!-- written by two -->\nkept\n<!-- end of what two writes -->\n")


if __name__ == "__main__":
    unittest.main()
