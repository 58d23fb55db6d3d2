"""docs/lake/ddl/ is what the table of columns gives, and SQL to parsers that others wrote.

    ddl_test.py VMR_SCHEMA [TEST...]
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import lake

SCHEMA = sys.argv.pop(1)
# In docs/schema: 36 kinds of records, clock_step and gap; and the table of recordings.
TABLES = len(list((lake.SOURCE / "docs/schema").glob("*.schema.json"))) + 1


class DdlTest(unittest.TestCase):
    def test_the_committed_files_are_what_the_program_writes(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([SCHEMA, "--ddl", folder], check=True)
            self.assertEqual(sorted(p.name for p in pathlib.Path(folder).iterdir()),
                             sorted(p.name for p in lake.DDL.iterdir()))
            for file in pathlib.Path(folder).iterdir():
                self.assertEqual((lake.DDL / file.name).read_text(), file.read_text(),
                                 f"{file.name}: run vmr_schema --ddl docs/lake/ddl")

    def test_a_folder_that_is_not_there_is_told(self):
        done = subprocess.run([SCHEMA, "--ddl", "/nowhere/at/all"], capture_output=True, text=True)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, "vmr_schema: /nowhere/at/all: cannot be written\n")

    # Each table is made, and the days of a partitioned one are looked for: all but gaps and
    # recordings. One statement makes the database.
    def test_the_parser_of_each_engine_takes_every_statement(self):
        with_days = TABLES - 2
        statements = {"spark": 1 + TABLES + with_days, "trino": 1 + TABLES + with_days,
                      "athena": 1 + TABLES + with_days, "bigquery": 1 + TABLES}
        for engine, count in statements.items():
            done = lake.node(lake.HERE / "parse_ddl.mjs", engine, lake.DDL / f"{engine}.sql")
            self.assertEqual((done.returncode, done.stderr), (0, ""), engine)
            self.assertEqual(int(done.stdout), count, engine)

    def test_these_parsers_see_a_mistake(self):
        for engine in ("spark", "trino", "athena", "bigquery"):
            with tempfile.NamedTemporaryFile("w", suffix=".sql") as file:
                first_table = (lake.DDL / f"{engine}.sql").read_text().split("\n\n-- ")[1]
                file.write("-- " + first_table.replace(" (\n", " (,\n", 1))
                file.flush()
                done = lake.node(lake.HERE / "parse_ddl.mjs", engine, file.name)
                self.assertEqual(done.returncode, 1, engine)


if __name__ == "__main__":
    lake.skip_if_it_cannot_run()
    unittest.main()
