#!/usr/bin/env python3
"""scripts/proof-counts tells counts that meet their targets from those that do not.

usage: proof_counts_test.py SOURCE_FOLDER
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCES = pathlib.Path(sys.argv.pop(1))
HALF = {"lines": 1000, "lines_run": 980, "branches": 1000, "branches_taken": 950}
MET = [
    ("release/tests/crash", {"kind": "single", "states": 500000, "torn_images": 640,
                             "crc_coincidences": 9, "undocumented_losses": 0}),
    ("release/tests/crash", {"kind": "double", "states": 100000, "torn_images": 0}),
    ("release/tests/crash", {"kind": "damage", "states": 1, "flipped_bits": 200000}),
    ("release/tests/crash", {"kind": "calls", "states": 20000}),
    ("release/tests/crash", {"kind": "files", "states": 6000}),
    ("release/tests/crash/valgrind", {"kind": "single", "states": 4000}),
    ("release/tests/crash/valgrind", {"kind": "calls", "states": 1000}),
    ("release/tests/processes", {"kind": "kills", "kills": 200, "kills_on_disk": 200}),
    ("release/tests/mutants", {"kind": "mutants", "mutants": 60, "caught": 60}),
    ("asan/tests/crash", {"kind": "single", "states": 20000}),
    ("asan/tests/crash", {"kind": "damage", "states": 30000}),
    ("coverage", {"kind": "coverage", "failed": 0, "backends": HALF, "reader": HALF}),
    *[("fuzz/fuzz", {"kind": "fuzz", "target": path.name, "executions": 1000000, "crashes": 0})
      for path in (SOURCES / "fuzz" / "corpus").iterdir() if path.is_dir()],
]


class ProofCounts(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.build = pathlib.Path(folder.name)

    def count(self, lines):
        for place, line in lines:
            path = self.build / place / "counts.jsonl"
            path.parent.mkdir(parents=True, exist_ok=True)
            with path.open("a") as file:
                file.write(json.dumps(line) + "\n")

    def run_script(self, *options):
        return subprocess.run(
            [SOURCES / "scripts" / "proof-counts", "--build", self.build, *options],
            capture_output=True, text=True, check=False)

    def expect_bad(self, name, verdict):
        result = self.run_script()
        self.assertEqual(result.returncode, 1, result.stdout)
        bad = [row for row in result.stdout.splitlines() if row.endswith(("MISSED", "MISSING"))]
        self.assertEqual(len(bad), 1, result.stdout)
        self.assertRegex(bad[0], f"^{name}.*{verdict}$")

    def test_all_targets_met(self):
        self.count(MET)
        result = self.run_script()
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertRegex(result.stdout, r"one cut: states +500,000 +500,000  met\n")

    def test_the_last_run_of_a_kind_counts(self):
        self.count(MET)
        self.count([("release/tests/crash", {"kind": "single", "states": 499999,
                                             "torn_images": 640})])
        self.expect_bad("one cut", "MISSED")

    def test_whatever_was_not_run_is_missing(self):
        self.count(row for row in MET if row[1]["kind"] != "kills")
        self.expect_bad("killed processes", "MISSING")

    def test_a_fuzz_target_that_was_not_run_is_missed(self):
        self.count(MET[:-1])
        self.expect_bad("fuzz: targets", "MISSED")

    def test_one_undocumented_loss_anywhere_is_too_many(self):
        self.count(MET)
        self.count([("asan/tests/crash", {"kind": "calls", "states": 1,
                                          "undocumented_losses": 1})])
        self.expect_bad("undocumented losses", "MISSED")

    def test_every_mutant_is_to_be_caught(self):
        self.count(MET)
        self.count([("release/tests/mutants", {"kind": "mutants", "mutants": 60, "caught": 59})])
        self.expect_bad("mutants", "MISSED")

    def test_too_few_kills_are_missed(self):
        self.count(MET)
        self.count([("release/tests/processes", {"kind": "kills", "kills": 199,
                                                 "kills_on_disk": 199})])
        self.expect_bad("killed processes", "MISSED")

    def test_kills_that_no_disk_took_part_in_are_told(self):
        self.count(MET)
        self.assertNotIn("in memory", self.run_script().stdout)
        self.count([("release/tests/processes", {"kind": "kills", "kills": 200,
                                                 "kills_on_disk": 0})])
        self.assertIn("in memory", self.run_script().stdout)

    def test_a_share_below_its_limit_is_missed(self):
        self.count(MET)
        low = dict(HALF, branches_taken=899)
        self.count([("coverage", {"kind": "coverage", "failed": 0, "backends": HALF,
                                  "reader": low})])
        self.expect_bad("coverage of reader/: branches", "MISSED")

    def test_what_is_forgotten_is_missing(self):
        self.count(MET)
        self.assertEqual(self.run_script("--forget").returncode, 0)
        result = self.run_script()
        self.assertEqual(result.returncode, 1)
        self.assertNotIn(" met", result.stdout)


if __name__ == "__main__":
    unittest.main()
