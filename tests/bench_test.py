#!/usr/bin/env python3
"""What scripts/bench makes of what it measured, on made-up numbers. No time is looked at.

usage: bench_test.py SOURCE_FOLDER
"""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCES = pathlib.Path(sys.argv.pop(1))
sys.path.insert(0, str(SOURCES / "bench"))
sys.dont_write_bytecode = True
from measuring import counts, ratios, system, tables, targets, tools  # noqa: E402


def rounds(**variants):
    """Rounds out of the seconds of each variant."""
    return [{name: {"seconds": s} for name, s in zip(variants, of_round)}
            for of_round in zip(*variants.values())]


class Ratios(unittest.TestCase):
    def test_the_median_is_that_of_the_ratios_and_not_of_the_times(self):
        # A busy second round slows both; the medians' ratio would be 1.
        taken = rounds(ours=[2, 20, 4], peer=[1, 10, 4])
        self.assertEqual(ratios.ratios(taken, "ours", "peer"), [2, 2, 1])
        self.assertEqual(ratios.median_ratio(taken, "ours", "peer"), 2)

    def test_of_an_even_number_of_rounds_the_median_is_between_the_middle_two(self):
        taken = rounds(ours=[1, 2, 3, 10], peer=[1, 1, 1, 1])
        self.assertEqual(ratios.median_ratio(taken, "ours", "peer"), 2.5)

    def test_a_round_in_which_the_peer_took_nothing_has_no_ratio(self):
        self.assertEqual(ratios.ratios(rounds(ours=[3, 3], peer=[0, 1]), "ours", "peer"), [3])
        self.assertIsNone(ratios.median_ratio(rounds(ours=[3], peer=[0]), "ours", "peer"))

    def test_a_control_holds_from_0_97_to_1_03(self):
        for control, holds in ((0.97, True), (1.03, True), (1, True), (0.969, False),
                               (1.031, False), (None, False)):
            self.assertEqual(ratios.control_holds(control), holds, control)

    def test_variants_take_turns_there_and_back(self):
        order = []
        variants = {name: lambda name=name: order.append(name) or {"seconds": len(order)}
                    for name in "abc"}
        taken = ratios.interleaved(variants, 3)
        self.assertEqual("".join(order), "abccbaabc")
        self.assertEqual(taken[1], {"c": {"seconds": 4}, "b": {"seconds": 5},
                                    "a": {"seconds": 6}})


class Repeating(unittest.TestCase):
    def run_with(self, controls, tries):
        runs = iter(controls)
        return ratios.repeated(lambda: {"measured": next(runs)}, lambda r: r["measured"], tries)

    def test_a_run_whose_control_holds_is_not_repeated(self):
        self.assertEqual(self.run_with([1.01, 1.0], 3),
                         {"measured": 1.01, "control": 1.01, "controls": [1.01]})

    def test_one_whose_control_does_not_is_repeated_until_it_does(self):
        self.assertEqual(self.run_with([1.2, 0.9, 0.98, 1.0], 5),
                         {"measured": 0.98, "control": 0.98, "controls": [1.2, 0.9, 0.98]})

    def test_when_none_holds_the_nearest_to_1_is_kept_and_all_are_told(self):
        kept = self.run_with([1.2, 0.95, 1.3, 1.0], 3)
        self.assertEqual(kept, {"measured": 0.95, "control": 0.95, "controls": [1.2, 0.95, 1.3]})
        said = tables.control_of(kept)
        self.assertIn("control 0.950, the best of 3 runs (1.200, 0.950, 1.300)", said)
        self.assertIn("outside 0.97 to 1.03", said)

    def test_a_run_without_a_control_is_the_worst(self):
        self.assertEqual(self.run_with([None, 1.5], 2)["control"], 1.5)


class Targets(unittest.TestCase):
    def test_limits_are_met_when_reached(self):
        most = targets.Target("a", "a", None, 1.1)
        least = targets.Target("b", "b", None, 1.1, at_least=True)
        self.assertEqual([targets.met(most, v) for v in (1.0, 1.1, 1.2, None)],
                         [True, True, False, None])
        self.assertEqual([targets.met(least, v) for v in (1.0, 1.1, 1.2, None)],
                         [False, True, True, None])

    def test_each_has_a_name_of_its_own_and_reasons_are_those_of_targets(self):
        names = [target.id for target in targets.TARGETS]
        self.assertEqual(len(names), len(set(names)))
        self.assertEqual(set(targets.REASONS) - set(names), set())

    def test_a_missing_peer_is_not_measured(self):
        back = {"rounds": rounds(ring=[1], raw=[1])}
        results = {"durable": {"loop": {"impossible": "not root"},
                               "disk": {"back_to_back": back}}}
        self.assertIsNone(targets.faster_append("loop", "raw")(results))
        self.assertIsNone(targets.faster_append("disk", "lmdb")(results))
        self.assertEqual(targets.faster_append("disk", "raw")(results), 1)


class Tables(unittest.TestCase):
    def test_only_what_is_between_the_marks_is_written_anew(self):
        document = ("before\n<!-- bench: memory -->\nold\n<!-- end -->\nbetween\n"
                    "<!-- bench: memory --><!-- end -->\n")
        results = {"tools": {"memory_kib": {"small": {"check": 2000}, "busy": {"check": 3000}}}}
        written = tables.replaced(document, results)
        self.assertEqual(written,
                         "before\n<!-- bench: memory -->\n\n"
                         "| `vmr` | KiB, ring of 64 clusters | KiB, full ring | ratio |\n"
                         "| --- | --: | --: | --: |\n"
                         "| check | 2,000 | 3,000 | 1.5 |\n\n"
                         "<!-- end -->\nbetween\n<!-- bench: memory --><!-- end -->\n")
        self.assertEqual(tables.replaced(written, results), written)

    def test_the_document_has_every_section_once(self):
        marks = tables.MARKED.findall((SOURCES / "docs" / "performance.md").read_text())
        self.assertEqual(sorted(name for _, name, _ in marks), sorted(tables.SECTIONS))

    def test_numbers_have_three_digits_that_count(self):
        self.assertEqual([tables.number(n) for n in (None, 3, 0.51234, 12.345, 1234.5, 72000)],
                         ["–", "3", "0.512", "12.3", "1,234", "72,000"])


class Inputs(unittest.TestCase):
    def test_a_drive_moves_by_hours_over_midnight(self):
        line = '{"class":"TPV","time":"2019-06-19T21:35:31.000Z","lat":41.6}\n'
        self.assertEqual(tools.later(line, 0), line)
        self.assertIn('"2019-06-20T02:35:31.000Z"', tools.later(line, 5))

    def test_calls_are_read_with_and_without_errors(self):
        listed = ("% time     seconds  usecs/call     calls    errors syscall\n"
                  "------ ----------- ----------- --------- --------- ----------------\n"
                  " 90.00    0.100000         100      1013           fsync\n"
                  " 10.00    0.010000          10        33         2 openat\n"
                  "------ ----------- ----------- --------- --------- ----------------\n"
                  "100.00    0.110000          10      1046         2 total\n")
        self.assertEqual(counts.LINE.findall(listed),
                         [("1013", "fsync"), ("33", "openat"), ("1046", "total")])


class Script(unittest.TestCase):
    def run_script(self, *arguments):
        return subprocess.run([sys.executable, SOURCES / "scripts" / "bench", *arguments],
                              capture_output=True, text=True, check=False)

    def test_help_teaches(self):
        done = self.run_script("--help")
        self.assertEqual(done.returncode, 0)
        for word in ("--quick", "--tables", "--dir", "docs/performance.md", "Exit codes"):
            self.assertIn(word, done.stdout)

    def test_wrong_usage_is_2_and_missing_figures_are_1(self):
        self.assertEqual(self.run_script("--fast").returncode, 2)
        self.assertEqual(self.run_script("--quick", "--tables").returncode, 2)
        with tempfile.TemporaryDirectory() as folder:
            done = self.run_script("--tables", "--json", os.path.join(folder, "none.json"))
        self.assertEqual(done.returncode, 1)
        self.assertIn("run scripts/bench first", done.stderr)

    def test_a_command_that_fails_is_told_in_one_line(self):
        with self.assertRaisesRegex(system.Failed, "^false: exit code 1$"):
            system.run(["false"])
        with self.assertRaisesRegex(system.Failed, "^/no/such/program: "):
            system.run(["/no/such/program"])


if __name__ == "__main__":
    unittest.main()
