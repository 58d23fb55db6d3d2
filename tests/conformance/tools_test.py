#!/usr/bin/env python3
"""What run.py, compare.py and unpack.py say of readers that agree, differ, hang or are none, and
of wrong usage.

usage: tools_test.py
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
# unpack.py puts what a case says beside its recording.
KNOWS_ALL = ["sh", "-c", 'cat "$(dirname "$0")/expected.jsonl"', "{}"]


def shell(script):
    return ["sh", "-c", script, "{}"]


class Tools(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def call(self, tool, *arguments):
        """(exit code, standard output, standard error); none of them may be a traceback."""
        done = subprocess.run([sys.executable, HERE / tool, *map(str, arguments)], check=False,
                              capture_output=True, text=True, timeout=60, cwd=self.folder)
        self.assertNotIn("Traceback", done.stderr)
        return done.returncode, done.stdout, done.stderr

    def run_cases(self, reader, *options, names=("flat_no_tick",)):
        chosen = [part for name in names for part in ("--case", name)]
        return self.call("run.py", *chosen, *options, *reader)

    def assert_usage(self, tool, what, *arguments):
        code, said, errors = self.call(tool, *arguments)
        self.assertEqual((code, said), (2, ""), arguments)
        self.assertIn(what, errors)

    def assert_differs(self, reader, what, *options):
        code, said, errors = self.run_cases(reader, *options)
        self.assertEqual((code, errors), (1, ""))
        self.assertTrue(said.startswith("DIFFERS flat_no_tick\n        it tests: what nothing"),
                        said)
        self.assertIn(what, said)
        self.assertTrue(said.endswith("\n0 of 1 cases are read as they should be\n"), said)


class Run(Tools):
    def test_a_reader_that_agrees_with_the_chosen_cases_ends_with_0(self):
        self.assertEqual(self.run_cases(KNOWS_ALL, names=("flat_speeds", "flat_empty")), (
            0, "same    flat_empty\nsame    flat_speeds\n"
               "2 of 2 cases are read as they should be\n", ""))

    def test_a_case_that_differs_is_told_and_the_others_are_run(self):
        code, said, errors = self.run_cases(["true", "{}"], names=("flat_no_tick", "flat_empty"))
        self.assertEqual((code, errors), (1, ""))
        self.assertIn("same    flat_empty\nDIFFERS flat_no_tick\n", said)
        self.assertIn("        0 lines, and there should be 6: missing is {'kind': 'input',", said)
        self.assertTrue(said.endswith("\n1 of 2 cases are read as they should be\n"), said)

    def test_options_behind_the_command_are_its_own(self):
        reader = [*KNOWS_ALL, "--records", "--case", "--help"]
        self.assertEqual(self.run_cases(reader)[0], 0)
        self.assertEqual(self.run_cases(["--", *reader])[0], 0)

    def test_fields_and_gaps_may_be_left_out(self):
        names = ("flat_wrong_crc",)
        reader = shell('grep -v -e \'"kind": "gap"\' -e clock_step "$(dirname "$0")/expected.jsonl"'
                       ' | sed \'s/"time": [^,]*, //\'')
        self.assertEqual(self.run_cases(reader, "--records", "--without", "time", names=names)[0],
                         0)
        self.assertEqual(self.run_cases(reader, "--without", "time", names=names)[0], 1)
        self.assertEqual(self.run_cases(reader, "--records", names=names)[0], 1)

    def test_a_reader_that_hangs_is_ended_with_what_it_has_started(self):
        began = time.monotonic()
        code, said, _ = self.run_cases(shell('case "$0" in *no_tick*) sleep 50; true; esac'),
                                       "--timeout", "2", names=("flat_no_tick", "flat_empty"))
        self.assertLess(time.monotonic() - began, 25)
        self.assertEqual(code, 1)
        self.assertIn("        the reader hangs: it was ended after 2 seconds\n", said)
        self.assertIn("same    flat_empty\n", said)

    def test_a_reader_that_waits_for_input_gets_none(self):
        self.assertEqual(self.run_cases(["cat", "-", "{}"], names=("flat_empty",))[0], 1)

    def test_one_that_cannot_be_run_is_named_with_the_case(self):
        (self.folder / "plain").write_text("no program")
        for reader, why in (("./none", "No such file or directory"), ("./plain", "Permission denied"),
                            (str(self.folder), "Permission denied")):
            self.assertEqual(self.run_cases([reader, "{}"]), (
                2, "", f"run.py: flat_no_tick: {reader}: cannot be run: {why}\n"))

    def test_one_that_fails_is_told_with_its_last_words(self):
        self.assert_differs(shell("echo oh dear >&2; exit 4"),
                            "        the reader has exit code 4: oh dear\n")
        self.assert_differs(shell("exit 1"), "        the reader has exit code 1\n")
        self.assert_differs(shell("kill -9 $$"), "        the reader was ended by signal 9\n")

    def test_output_that_is_no_lines_of_objects_is_told_with_the_line(self):
        for printed, what in ((b"\n{}\nnonsense\n", "its output: line 3 is no JSON: "),
                              (b"[1]\n", "its output: line 1 is no JSON object: b'[1]'"),
                              (b"7\n", "its output: line 1 is no JSON object: b'7'"),
                              (b'{"kind":"\xff"}\n', "its output: line 1 is no JSON: "),
                              (b'{"kind":', "its output: line 1 is no JSON: "),
                              (b"[" * 100000, "its output: line 1 is no JSON"),
                              (b"{}\n", "line 1: no kind, which is 'input'")):
            (self.folder / "printed").write_bytes(printed)
            self.assert_differs(shell("cat printed"), "        " + what)
        self.assert_differs(shell("cat printed"), "        line 1: no kind", "--records")

    def test_exit_code_3_is_that_of_a_damaged_recording(self):
        reader = shell('cat "$(dirname "$0")/expected.jsonl"; exit 3')
        self.assertEqual(self.run_cases(reader)[0], 0)

    def test_wrong_usage_is_told(self):
        for what, arguments in (
                ("COMMAND, the reader to run, is missing", []),
                ("COMMAND, the reader to run, is missing", ["--case", "flat_empty"]),
                ("./x y: has no {}", ["./x", "y"]),
                ("no such case: nocase; unpack.py --list", ["--case", "nocase", "./x", "{}"]),
                ("no line has a field 'tme'", ["--without", "time,tme", "./x", "{}"]),
                ("--timeout", ["--timeout", "0", "./x", "{}"]),
                ("--timeout", ["--timeout", "inf", "./x", "{}"]),
                ("--timeout", ["--timeout", "soon", "./x", "{}"]),
                ("--record", ["--record", "./x", "{}"])):
            self.assert_usage("run.py", what, *arguments)

    def test_help_tells_every_option_and_ends_with_0(self):
        code, said, errors = self.call("run.py", "--help")
        self.assertEqual((code, errors), (0, ""))
        for part in ("--case NAME", "--timeout SECONDS", "--records", "--without NAME,...", "{}",
                     "Exit code: 0", "run.py vmr export {} --format jsonl"):
            self.assertIn(part, said)


class Compare(Tools):
    def put(self, name, text):
        (self.folder / name).write_text(text)
        return name

    def test_the_exit_code_is_0_of_the_same_and_1_of_what_differs(self):
        a, b = self.put("a", '{"kind": "log", "tick": 1}\n'), self.put("b", '{"tick":1,"kind":"log"}')
        c = self.put("c", '{"kind": "log", "tick": 2}\n')
        self.assertEqual(self.call("compare.py", a, b), (0, "", ""))
        self.assertEqual(self.call("compare.py", a, c), (
            1, "", "compare.py: c: line 1: tick is 2, and should be 1, in {'kind': 'log', 'tick': 2}"
                   "\n"))
        self.assertEqual(self.call("compare.py", "--without", "tick", a, c)[0], 0)

    def test_what_is_not_there_or_no_json_is_told_with_its_name(self):
        good, bad = self.put("good", "{}\n"), self.put("bad", "{}\n\n[\n")
        self.assert_usage("compare.py", "compare.py: none: No such file", good, "none")
        self.assert_usage("compare.py", "compare.py: none: No such file", "none", good)
        self.assert_usage("compare.py", ": Is a directory", good, self.folder)
        self.assert_usage("compare.py", "compare.py: bad: line 3 is no JSON", bad, good)
        code, _, errors = self.call("compare.py", good, bad)
        self.assertEqual(code, 1)
        self.assertIn("compare.py: bad: line 3 is no JSON", errors)

    def test_wrong_usage_is_told(self):
        self.assert_usage("compare.py", "EXPECTED.jsonl", )
        self.assert_usage("compare.py", "FOUND.jsonl", "a")
        self.assert_usage("compare.py", "c", "a", "b", "c")
        self.assert_usage("compare.py", "no line has a field ''", "--without", "time,", "a", "b")
        self.assertEqual(self.call("compare.py", "--help")[0], 0)


class Document(unittest.TestCase):
    def test_every_kind_of_record_stands_in_its_table(self):
        docs = HERE.parent.parent / "docs"
        kinds = {path.name.split(".")[0] for path in (docs / "schema").glob("*.schema.json")}
        text = (docs / "format.md").read_text()
        table = text[text.index("### Kinds of records"):text.index("### Rings")]
        self.assertEqual(kinds - {"gap", "clock_step"},
                         {word.strip("`") for row in table.splitlines() if row.startswith("| 0x")
                          for word in row.split("|")[2].replace(",", " ").split()})


class Unpack(Tools):
    def test_a_case_is_written_with_what_it_says(self):
        self.assertEqual(self.call("unpack.py", "out", "flat_radar"), (0, "", ""))
        self.assertEqual(sorted(os.listdir(self.folder / "out" / "flat_radar")),
                         ["about.txt", "expected.jsonl", "recording.vmd"])
        self.assertEqual(os.listdir(self.folder / "out"), ["flat_radar"])

    def test_the_list_names_every_case_and_writes_none(self):
        code, said, _ = self.call("unpack.py", "--list")
        names = [line.split(":")[0] for line in said.splitlines()]
        self.assertEqual(code, 0)
        self.assertEqual(sorted(names), sorted(path.stem for path in
                                               (HERE / "expected").glob("*.jsonl")))
        self.assertEqual(os.listdir(self.folder), [])

    def test_wrong_usage_is_told_and_writes_nothing(self):
        for what, arguments in (("FOLDER is missing", []),
                                ("flat_radar: is a case", ["flat_radar"]),
                                ("no such case: radar", ["out", "radar"]),
                                ("--list stands alone", ["out", "--list"])):
            self.assert_usage("unpack.py", what, *arguments)
        self.assertEqual(os.listdir(self.folder), [])
        self.assertEqual(self.call("unpack.py", "--help")[0], 0)

    def test_a_folder_that_cannot_be_made_is_told(self):
        (self.folder / "file").write_text("")
        code, said, errors = self.call("unpack.py", "file", "flat_empty")
        self.assertEqual((code, said), (1, ""))
        self.assertEqual(errors, "unpack.py: file/flat_empty: Not a directory\n")


if __name__ == "__main__":
    unittest.main()
