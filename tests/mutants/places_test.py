#!/usr/bin/env python3
"""A seeded defect goes where its names say, and says why where it cannot."""
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "support"))
import definitions
import mutant as seeded

HEADER = "Defect: d\nCost: c\nSeen by: crash single\n\n"
RING = """\
namespace vmr {

constexpr int kLimits[] = {
    1,
    2,
};

class Ring {
 public:
  int Next() const { return at_ + 1; }
  void Close();

 private:
  int at_ = 0;
};

void Ring::Close() {
  if (at_ < 0 || Next() > 10) return;
  Flush();
  // Once more.
  Flush();
}

bool IsSound(int a,
             int b) {
  return a == b;
}

}  // namespace vmr
"""
FILE = "static bool IsSound() { return true; }\nvoid Flush() { Sync(); }\n"


class Places(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "store").mkdir()
        self.write("ring.cc", RING)
        self.write("file.cc", FILE)

    def write(self, name, text):
        (self.root / "store" / name).write_text(text)

    def mutant(self, changes):
        path = self.root / "a.mutant"
        path.write_text(HEADER + changes)
        return seeded.Mutant(path)

    def placed(self, changes):
        sources = definitions.Sources(self.root, ["store"])
        return seeded.place(sources, self.mutant(changes))

    def expect_ring(self, changes, old, new):
        self.assertEqual(RING.count(old), 1)
        self.assertEqual(self.placed(changes), {"store/ring.cc": RING.replace(old, new)})

    def expect_no_place(self, changes, pattern):
        with self.assertRaisesRegex(seeded.Misplaced, pattern):
            self.placed(changes)

    def expect_malformed(self, changes, pattern):
        with self.assertRaisesRegex(seeded.Malformed, pattern):
            self.mutant(changes)

    def test_goes_into_the_function_it_names(self):
        self.expect_ring("In: Ring::Close\n-at_ < 0\n+at_ <= 0\n", "at_ < 0", "at_ <= 0")

    def test_goes_into_a_function_inside_its_class(self):
        self.expect_ring("In: Ring::Next\n-at_ + 1\n+at_ + 2\n", "at_ + 1", "at_ + 2")

    def test_goes_into_a_table(self):
        self.expect_ring("In: kLimits\n-2\n+3\n", "    2,", "    3,")

    def test_does_not_care_how_lines_are_broken(self):
        self.expect_ring(
            "In: Ring::Close\n-at_ < 0 ||\n-    Next() > 10) return;\n+false) return;\n",
            "at_ < 0 || Next() > 10", "false")

    def test_a_change_without_plus_takes_away(self):
        self.expect_ring("In: Ring::Close\n-|| Next() > 10\n", "|| Next() > 10", "")

    def test_several_changes_of_one_function(self):
        self.expect_ring(
            "In: Ring::Close\n-|| Next() > 10\n\n-return;\n-Flush();\n+return;\n",
            "|| Next() > 10) return;\n  Flush();\n  //", ") return;\n  //")

    def test_new_lines_stand_under_the_first(self):
        self.expect_ring(
            "In: Ring::Close\n-if (at_ < 0\n+Log();\n+if (at_ < 0\n",
            "  if (at_ < 0", "  Log();\n  if (at_ < 0")

    def test_a_path_tells_two_of_one_name_apart(self):
        self.expect_ring("In: store/ring.cc#IsSound\n-a == b\n+a != b\n", "a == b", "a != b")

    def test_two_of_one_name_are_refused(self):
        self.expect_no_place(
            "In: IsSound\n-a == b\n+a != b\n",
            "IsSound is defined in store/file.cc and store/ring.cc: say which")

    def test_a_name_that_is_gone_tells_where_its_text_is(self):
        self.expect_no_place(
            "In: Ring::Shut\n-at_ < 0\n+at_ <= 0\n",
            r"nothing named Ring::Shut is defined in store/.\n.*stands in Ring::Close \(store/ring")

    def test_a_name_that_is_gone_tells_similar_ones(self):
        self.expect_no_place("In: Ring::Closes\n-x\n+y\n", "Similar: Ring::Close")

    def test_a_text_that_is_gone_tells_the_nearest_line(self):
        self.expect_no_place(
            "In: Ring::Close\n-if (at_ <= 0 || Next() > 10) return;\n",
            r"Ring::Close \(store/ring.cc:17\) has no `if \(at_ <= 0 .*\n"
            r".*Nearest there: `if \(at_ < 0 .*`")

    def test_a_text_that_stands_twice_is_refused(self):
        self.expect_no_place(
            "In: Ring::Close\n-Flush();\n", "`Flush\\(\\);` 2 times, in lines 19, 21: give more")

    def test_changes_that_overlap_are_refused(self):
        self.expect_no_place("In: Ring::Close\n-at_ < 0\n\n-< 0\n", "overlap in store/ring.cc:18")

    def test_a_name_is_not_the_end_of_a_longer_one(self):
        self.expect_no_place("In: Close\n-Flush();\n", "nothing named Close is defined")

    def test_a_plus_without_a_minus_is_refused(self):
        self.expect_malformed("In: Ring::Close\n+Flush();\n", "nothing says where it goes")

    def test_a_line_that_is_neither_is_refused(self):
        self.expect_malformed("In: Ring::Close\n Flush();\n", "neither '-', '\\+' nor")

    def test_no_place_at_all_is_refused(self):
        self.expect_malformed("", "no line 'In:'")


if __name__ == "__main__":
    unittest.main()
