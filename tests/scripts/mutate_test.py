#!/usr/bin/env python3
"""What scripts/mutate changes, how it names the changes, and when it is content."""
import dataclasses
import importlib.machinery
import importlib.util
import pathlib
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "mutate"
loader = importlib.machinery.SourceFileLoader("mutate", str(SCRIPT))
mutate = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutate", loader))
sys.modules["mutate"] = mutate
loader.exec_module(mutate)

SOURCE = """\
namespace {

constexpr int kRoom = 8;

int take(int count) {
    if (count > kRoom) return 0;
    return count;
}

}  // namespace
"""

HEADER = """\
inline constexpr int kRows = 12;
inline constexpr int kOther = 3;

struct Table {
    int rows[kRows] = {0};
    int size() const { return count > 0 ? count : 0; }
};
"""


def names(path, text):
    return [change.name for change in mutate.changes_in(path, text)]


class Names(unittest.TestCase):
    def test_are_of_the_function_or_constant_and_of_what_is_changed(self):
        self.assertEqual(names("reader/a.cpp", SOURCE),
                         ["kRoom: 8 -> 0", "kRoom: 8 -> 9", "kRoom: 8 -> 7", "take: > -> >=",
                          "take: > -> <", "take: 0 -> 1", "take: if (true)", "take: if (false)"])

    def test_stay_when_a_file_is_renamed_and_lines_move(self):
        moved = "// One more line.\n" + SOURCE.replace("int take", "\n\nint take")
        self.assertEqual(names("reader/a.cpp", SOURCE), names("other/b.cpp", moved))

    def test_what_the_tests_were_compiled_with_is_left_alone(self):
        self.assertEqual(names("a.h", HEADER),
                         ["kOther: 3 -> 0", "kOther: 3 -> 2", "kOther: 3 -> 4", "size: > -> >=",
                          "size: > -> <", "size: 0 -> 1", "size: 0 -> 1"])


class Sample(unittest.TestCase):
    def changes(self, text):
        return list(mutate.changes_in("a.cpp", text))

    def test_is_the_same_whenever_it_is_drawn(self):
        drawn = [str(change) for change in mutate.sample(self.changes(SOURCE), 3)]
        again = [str(change) for change in mutate.sample(self.changes(SOURCE), 3)]
        self.assertEqual(drawn, again)
        self.assertEqual(len(drawn), 3)

    def test_keeps_what_it_has_when_there_is_more_to_change(self):
        more = SOURCE.replace("}  // namespace", "int more(int a) {\n    return a + 5;\n}\n\n}")
        before = {str(change) for change in self.changes(SOURCE)}
        drawn = {str(change) for change in mutate.sample(self.changes(more), 6)}
        kept = {str(change) for change in mutate.sample(self.changes(SOURCE), 6)}
        self.assertLessEqual(drawn & before, kept)


class Survivors(unittest.TestCase):
    def setUp(self):
        self.changes = {change.name: change for change in mutate.changes_in("a.cpp", SOURCE)}

    def against_list(self, survivors, listed, untried=()):
        results = {change: "survived" if name in survivors else "noticed"
                   for name, change in self.changes.items()}
        unlisted, by_reason, stale = mutate.against_list(results, listed, [*results, *untried])
        return [change.name for change in unlisted], by_reason, stale

    def test_are_listed_below_reasons(self):
        listed = mutate.listed_survivors("# One\n# reason.\n\na: 1 -> 2\na: > -> >= (x3)\n\n# Two.\n"
                                         "b: if (true)\n")
        self.assertEqual(listed, {"a: 1 -> 2": (1, "One reason."),
                                  "a: > -> >=": (3, "One reason."), "b: if (true)": (1, "Two.")})

    def test_have_a_reason_and_stand_there_once(self):
        for text in ("a: 1 -> 2\n", "# One.\na: 1 -> 2\na: 1 -> 2\n"):
            with self.assertRaises(SystemExit):
                mutate.listed_survivors(text)

    def test_that_are_listed_are_right(self):
        found = self.against_list({"take: > -> >="}, {"take: > -> >=": (1, "why")})
        self.assertEqual(found, ([], {"why": 1}, []))

    def test_that_are_not_listed_are_named(self):
        self.assertEqual(self.against_list({"take: > -> >="}, {})[0], ["take: > -> >="])

    def test_that_are_listed_and_gone_are_named(self):
        listed = {"take: > -> >=": (1, "why"), "gone: 1 -> 2": (1, "why")}
        self.assertEqual(self.against_list(set(), listed)[2],
                         [("take: > -> >=", 1, 0), ("gone: 1 -> 2", 1, 0)])

    def test_may_be_among_the_changes_that_were_not_tried(self):
        listed = {"take: > -> >=": (1, "why"), "kRoom: 8 -> 9": (1, "why")}
        of_the_same_name = dataclasses.replace(self.changes["take: > -> >="], number=99)
        self.assertEqual(self.against_list(set(), listed, [of_the_same_name])[2],
                         [("kRoom: 8 -> 9", 1, 0)])


class Entries(unittest.TestCase):
    def test_are_found_again_but_for_what_survived(self):
        first, second, third = list(mutate.changes_in("reader/a.cpp", SOURCE))[:3]
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "ledger"
            ledger = mutate.Ledger(path)
            ledger.enter(first, "noticed")
            ledger.enter(second, "survived")
            again = mutate.Ledger(path)
            self.assertEqual([again.result(one) for one in (first, second, third)],
                             ["noticed", None, None])
            again.library = "another"
            self.assertIsNone(again.result(first))

    def test_are_none_without_a_file(self):
        change = next(mutate.changes_in("reader/a.cpp", SOURCE))
        ledger = mutate.Ledger(None)
        ledger.enter(change, "noticed")
        self.assertIsNone(ledger.result(change))


class Links(unittest.TestCase):
    def test_take_the_changed_objects_before_all_others(self):
        program = mutate.Program(["c++", "-O0", "a_test.o", "-o", "bin/a_test", "x/liblib.a", "-lm"],
                                 ["lib/a.cpp"], ["x/lib.dir/a.cpp.o", "x/liblib.a"])
        self.assertEqual(program.linked_from({"lib/a.cpp": "changed.o"}, "out", {"-lm": "-lc"}),
                         ["c++", "changed.o", "-O0", "a_test.o", "-o", "out", "-lc"])


if __name__ == "__main__":
    unittest.main()
