#!/usr/bin/env python3
"""mark_calls.py finds every call on a recording's files, and nothing else."""
import pathlib
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent / "mark_calls.py"
FILE_IO = """\
#include "x.h"
int CloseFile(int fd) {
  return FileOps::Current().Close(fd);
}
int CloseTwice(int fd) {
  return CloseFile(fd) + CloseFile(fd);
}
void Forget(int fd) {
  FileOps::Current().Close(fd);
}
int Sum(int a, int b) { return a + b; }
"""


def at(number, call):
    return f"::vmr::crash::At({number}, [&] {{ return {call}; }})"


class MarkCalls(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.out = self.folder / "out"
        self.out.mkdir()

    def run_on(self, **texts):
        paths = []
        for name, text in {"file_io": FILE_IO, **texts}.items():
            paths.append(self.folder / f"{name}.cc")
            paths[-1].write_text(text)
        return subprocess.run([SCRIPT, self.out, *paths], capture_output=True, text=True, check=False)

    def body(self, text):
        """The marked text of one source beside file_io.cc, whose sites are 0 to 3."""
        result = self.run_on(store=text)
        self.assertEqual(result.returncode, 0, result.stderr)
        copy = (self.out / "store.cc").read_text()
        return copy[copy.index("#line 1 "):].split("\n", 1)[1]

    def table(self):
        return (self.out / "call_sites_table.cc").read_text()

    def test_direct_calls_are_marked(self):
        self.assertEqual(
            self.body("int A() {\n  return FileOps::Current().Stat(p(1), q);\n}\n"),
            "int A() {\n  return " + at(4, "FileOps::Current().Stat(p(1), q)") + ";\n}\n")

    def test_a_call_over_two_lines_is_one(self):
        call = "FileOps::Current()\n      .Stat(p,\n q)"
        self.assertEqual(self.body(f"int A() {{\n  return {call};\n}}\n"),
                         f"int A() {{\n  return {at(4, call)};\n}}\n")

    def test_calls_of_what_leads_to_one_are_marked(self):
        self.assertEqual(
            self.body("int A() {\n  if (CloseFile(1)) CloseTwice(2);\n}\n"),
            f"int A() {{\n  if ({at(4, 'CloseFile(1)')}) {at(5, 'CloseTwice(2)')};\n}}\n")

    def test_others_are_not(self):
        text = "int A() {\n  Forget(1);  // CloseFile(2)\n  x.CloseFile(Sum(1, 2));\n}\n"
        self.assertEqual(self.body(text), text)

    def test_the_list_names_function_operation_and_place(self):
        self.body("int S::A() {\n  CloseFile(1);\n  return CloseFile(2);\n}\n")
        for row in ('"CloseFile.Close", ', '"S::A.CloseFile", ', '"S::A.CloseFile.2", ',
                    '"CloseTwice.CloseFile.2", ', '"Forget.Close", ', "/store.cc:3\"}"):
            self.assertIn(row, self.table())
        self.assertEqual(self.table().count('    {"'), 6)

    def test_file_ops_that_are_kept_are_refused(self):
        result = self.run_on(store="int A() {\n  FileOps& ops = FileOps::Current();\n}\n")
        self.assertEqual(result.returncode, 1)
        self.assertIn("kept instead of called at once", result.stderr)

    def test_nothing_to_mark_is_refused(self):
        result = self.run_on(file_io="int CloseFile(int fd) { return 0; }\n")
        self.assertEqual(result.returncode, 1)
        self.assertIn("no source file_io.cc with calls", result.stderr)


if __name__ == "__main__":
    unittest.main()
