"""tools/lake/query.mjs: what it prints, what it refuses, and with which exit code.

    query_tool_test.py FOLDER [TEST...]
"""

import csv
import io
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import lake

FOLDER = pathlib.Path(sys.argv.pop(1))
LAKE = FOLDER / "lake"
CLOCKS = lake.QUERIES / "03-clock-jumps.sql"
VERSIONS = lake.QUERIES / "09-versions-in-the-field.sql"


class QueryToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def file(self, name, text):
        path = pathlib.Path(self.folder.name) / name
        path.write_text(text)
        return path

    def ask(self, sql, *words, where=LAKE):
        return lake.query(where, self.file("asked.sql", sql), *words)

    def expect_failure(self, done, code, *lines):
        self.assertEqual((done.returncode, done.stdout), (code, ""))
        self.assertEqual(done.stderr, "".join(f"query: {line}\n" for line in lines))

    def test_a_table_is_for_people(self):
        done = lake.query(LAKE, CLOCKS)
        self.assertEqual(done.stderr, "")
        self.assertEqual(done.stdout, """\
== 03-clock-jumps
unit  recordings  steps  furthest_forward_s  furthest_back_s  last_told
----  ----------  -----  ------------------  ---------------  -------------------
CAR3           1      2                  90            -3600  2026-03-05 12:02:21
(1 row)
""")

    def test_every_query_that_ships_runs_and_each_has_its_heading(self):
        files = sorted(lake.QUERIES.glob("*.sql"))
        self.assertEqual(len(files), 10)
        done = lake.query(LAKE, *files)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        headings = [line[3:] for line in done.stdout.splitlines() if line.startswith("== ")]
        self.assertEqual(headings, [file.stem for file in files])

    def test_csv_tells_null_from_an_empty_text_and_spares_spreadsheets(self):
        sql = "SELECT NULL AS n, '' AS e, 'a\"b,c' AS q, '=1+1' AS f, -5 AS m"
        done = self.ask(sql, "--format", "csv")
        self.assertEqual(done.stdout, 'n,e,q,f,m\n,"","a""b,c",\'=1+1,-5\n')
        done = lake.query(LAKE, VERSIONS, "--format", "csv")
        self.assertEqual(list(csv.reader(io.StringIO(done.stdout)))[2],
                         ["Front Panel", "", "4", "CAR2, CAR3, CAR5, CAR6"])

    def test_json_has_a_line_for_each_query_and_all_digits(self):
        numbers = self.file("numbers.sql", "SELECT 9007199254740993 AS n, 1.50::DECIMAL(9,2) AS d, "
                                           "'7' AS t, NULL AS u, true AS b")
        done = lake.query(LAKE, numbers, CLOCKS, "--format", "json")
        first, second = done.stdout.splitlines()
        self.assertEqual(first, '{"query":"numbers","rows":[{"n":9007199254740993,"d":1.50,'
                                '"t":"7","u":null,"b":true}]}')
        self.assertEqual(json.loads(second)["query"], "03-clock-jumps")

    def test_recorded_text_does_nothing_to_a_terminal(self):
        done = self.ask("SELECT chr(27) || '[2J' || chr(8238) || chr(155) || chr(10) AS t")
        self.assertEqual(done.stdout.splitlines()[3], r"\u001b[2J\u202e\u009b\u000a")
        done = self.ask("SELECT 1 AS \"a" + chr(27) + "b\"")
        self.assertEqual(done.stdout.splitlines()[1], r"a\u001bb")

    def test_a_variable_is_set_as_text_and_never_run(self):
        done = self.ask("SELECT getvariable('v') AS v", "--format", "csv", "--set",
                        "v='; DROP VIEW position; --")
        self.assertEqual(done.stdout, "v\n'; DROP VIEW position; --\n")

    def test_an_empty_lake_has_every_view_and_no_rows(self):
        empty = pathlib.Path(self.folder.name) / "empty"
        (empty / "_vmr").mkdir(parents=True)
        done = lake.query(empty, *sorted(lake.QUERIES.glob("*.sql")), "--format", "json")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        for line in done.stdout.splitlines():
            self.assertEqual(json.loads(line)["rows"], [])
        done = self.ask("SELECT column_name AS name, column_type AS type FROM (DESCRIBE position)",
                        "--format", "json", where=empty)
        types = {row["name"]: row["type"] for row in json.loads(done.stdout)["rows"]}
        self.assertEqual(types["latitude"], "DECIMAL(10,7)")
        self.assertEqual(types["tick"], "BIGINT")
        self.assertEqual(types["time"], "TIMESTAMP")
        self.assertEqual(types["date"], "DATE")

    def test_a_lake_may_lie_in_any_folder(self):
        odd = pathlib.Path(self.folder.name) / "it's [a] *lake?"
        shutil.copytree(LAKE, odd)
        self.assertEqual(lake.rows(odd, CLOCKS), lake.rows(LAKE, CLOCKS))

    def test_no_lake_there(self):
        self.expect_failure(lake.query("/nowhere", CLOCKS), 1, "/nowhere: no such folder")
        self.expect_failure(lake.query(CLOCKS, CLOCKS), 1, f"{CLOCKS}: is no folder")
        self.expect_failure(
            lake.query(self.folder.name, CLOCKS), 1,
            f"{self.folder.name}: holds no lake (no recordings, gaps or kind=...); make one with "
            f"`vmr export --layout lake --root {self.folder.name} PATH...`")

    def test_a_bad_query_is_named_and_does_not_stop_the_others(self):
        bad = self.file("bad.sql", "SELECT nothing FROM position;")
        needy = self.file("needy.sql", "-- needs none.sql\nSELECT 1")
        empty = self.file("empty.sql", "-- nothing\n")
        done = lake.query(LAKE, bad, "/nowhere.sql", self.folder.name, needy, empty, CLOCKS)
        self.assertEqual(done.returncode, 1)
        self.assertIn("CAR3", done.stdout)
        errors = [line for line in done.stderr.splitlines() if line.startswith("query: ")]
        self.assertTrue(errors[0].startswith(
            f'query: {bad}: Binder Error: Referenced column "nothing" not found'), errors[0])
        self.assertEqual(errors[1:], [
            "query: /nowhere.sql: no such file", f"query: {self.folder.name}: is a folder",
            f"query: {self.folder.name}/none.sql: no such file",
            f"query: {empty}: has no statement"])

    def test_wrong_usage(self):
        more = "`node query.mjs --help` tells more"
        needed = "a LAKE and at least one QUERY.sql are needed"
        self.expect_failure(lake.query(LAKE), 2, needed, more)
        self.expect_failure(lake.node(lake.QUERY), 2, needed, more)
        self.expect_failure(lake.query(LAKE, CLOCKS, "--format", "xml"), 2,
                            "--format xml: it is table, csv or json", more)
        self.expect_failure(lake.query(LAKE, CLOCKS, VERSIONS, "--format", "csv"), 2,
                            "--format csv takes one query: tables of several would run into one "
                            "another", more)
        self.expect_failure(lake.query(LAKE, CLOCKS, "--set", "1=2"), 2,
                            "--set 1=2: it is NAME=VALUE", more)
        self.expect_failure(lake.query(LAKE, CLOCKS, "--set", "least_step=2"), 2,
                            "--set least_step: no query given reads it; they read least_step_s",
                            more)
        self.expect_failure(lake.query(LAKE, CLOCKS, "--what"), 2, "Unknown option '--what'", more)

    def test_a_damaged_file_is_told_with_what_mends_it(self):
        copy = pathlib.Path(self.folder.name) / "lake"
        shutil.copytree(LAKE, copy)
        damaged = sorted(copy.glob("kind=clock_step/*/*.parquet"))[0]
        damaged.write_bytes(damaged.read_bytes()[:-100])
        done = lake.query(copy, CLOCKS)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertTrue(done.stderr.endswith("if a file of the lake is damaged: exporting the "
                                             "recordings once more replaces it\n"), done.stderr)

    def test_help(self):
        done = lake.node(lake.QUERY, "--help")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("Usage: node query.mjs LAKE QUERY.sql...", done.stdout)

    def test_a_reader_that_has_seen_enough_is_no_error(self):
        many = self.file("many.sql", "SELECT * FROM range(200000)")
        command = f"node '{lake.QUERY}' '{LAKE}' '{many}' | head -1; echo ${{PIPESTATUS[0]}}"
        done = subprocess.run(["bash", "-c", command], capture_output=True, text=True)
        self.assertEqual((done.stdout, done.stderr), ("== many\n0\n", ""))

    def test_output_that_cannot_be_written_is_an_error(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run(["node", lake.QUERY, LAKE, CLOCKS], stdout=full)
        self.assertEqual(done.returncode, 1)


if __name__ == "__main__":
    lake.skip_if_it_cannot_run()
    unittest.main()
