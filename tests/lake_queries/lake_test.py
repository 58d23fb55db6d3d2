"""A lake as others see it: readers, filters on days, compaction, and the schemas of lines.

    lake_test.py VMR FOLDER [TEST...]
"""

import datetime
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import lake

sys.path.insert(0, str(lake.HERE.parent / "tools"))
import export_samples  # noqa: E402 (of the folder beside)

VMR = sys.argv.pop(1)
FOLDER = pathlib.Path(sys.argv.pop(1))
LAKE = FOLDER / "lake"
SCHEMAS = lake.SOURCE / "docs/schema"


def parquet_files(folder):
    return sorted(folder.rglob("*.parquet"))


def views():
    kinds = sorted(json.loads(file.read_text())["title"] for file in SCHEMAS.glob("*.schema.json"))
    return [kind for kind in kinds if kind != "gap"] + ["gaps", "recordings"]


def micros(text):
    told = datetime.datetime.fromisoformat(text).replace(tzinfo=datetime.timezone.utc)
    return str((told - datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc))
               // datetime.timedelta(microseconds=1))


class Scratch(unittest.TestCase):
    maxDiff = 2000

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def ask(self, where, *sql, **parsing):
        answers = lake.asked(where, self.folder, *sql, **parsing)
        return answers if len(sql) > 1 else answers[0]

    def columns(self, where):
        """Of each view its columns and their types."""
        described = self.ask(where, *[f'DESCRIBE "{view}"' for view in views()])
        return {view: {row["column_name"]: row["column_type"] for row in rows}
                for view, rows in zip(views(), described)}


class ReadersTest(Scratch):
    def by_others(self, files):
        done = lake.node(lake.HERE / "readers.mjs", *files)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return [json.loads(line) for line in done.stdout.splitlines()]

    def by_duckdb(self, files):
        """Of each file its types and rows, cells written as readers.mjs does."""
        queries = []
        for file in files:
            source = f"read_parquet('{file}', hive_partitioning = false)"
            queries += [f"DESCRIBE FROM {source}", f"FROM {source}"]
        answers = self.ask(LAKE, *queries, parse_int=str, parse_float=str)
        return [self.as_text(types, rows) for types, rows in zip(answers[::2], answers[1::2])]

    @staticmethod
    def as_text(types, rows):
        def cell(value, kind):
            if kind == "TIMESTAMP" and value is not None:
                return micros(value)
            return {True: "true", False: "false"}[value] if isinstance(value, bool) else value

        names = [row["column_name"] for row in types]
        kinds = {row["column_name"]: row["column_type"] for row in types}
        return names, [[cell(row[name], kinds[name]) for name in names] for row in rows]

    def test_two_other_readers_find_what_duckdb_finds_in_every_file(self):
        files = parquet_files(LAKE)
        self.assertGreater(len(files), 100)
        others = self.by_others(files)
        counted = 0
        for i, (names, rows) in enumerate(self.by_duckdb(files)):
            for other in others[2 * i:2 * i + 2]:
                self.assertEqual(other["columns"], names, (files[i], other["reader"]))
                self.assertEqual(other["rows"], rows, (files[i], other["reader"]))
            counted += len(rows)
        told = self.ask(LAKE, "SELECT sum(records) AS n, sum(gaps) AS g, sum(clock_steps) AS s, "
                              "count(*) AS r FROM recordings")[0]
        self.assertEqual(counted, told["n"] + told["g"] + told["s"] + told["r"])

    def test_a_place_in_the_south_and_east_is_the_one_recorded(self):
        file, = LAKE.glob("kind=position/date=2026-03-05/CAR2-*.parquet")
        for other in self.by_others([file]):
            row = dict(zip(other["columns"], other["rows"][0]))
            # -33.8688 and 151.2093 degrees; 2026-03-05T23:59:19Z is tick 38.
            self.assertEqual((row["latitude"], row["longitude"], row["tick"], row["time"]),
                             ("-33.8688000", "151.2093000", "38", "1772755159000000"))
            # In 1/600000 degree.
            self.assertEqual((row["latitude_tts"], row["longitude_tts"]),
                             (str(-338688 * 60), str(1512093 * 60)))


class PartitionTest(Scratch):
    """Files that must not be opened are made unreadable, which no figure of an engine can be."""

    def spoiled(self, keep):
        copy = self.folder / "lake"
        shutil.copytree(LAKE, copy)
        for file in parquet_files(copy):
            if not keep(file.relative_to(copy)):
                file.write_bytes(b"no Parquet")
        return copy

    def test_a_day_opens_its_own_files_and_the_first_for_the_columns(self):
        first_ones = [parquet_files(kind)[0].relative_to(LAKE) for kind in LAKE.glob("kind=*")]
        copy = self.spoiled(lambda file: file.parts[0] in ("recordings", "gaps") or
                            file in first_ones or
                            file.parts[:2] == ("kind=log", "date=2026-03-07"))
        # CAR4's second recording, the only one of that day.
        self.assertEqual(self.ask(copy, "SELECT unit, tick, text FROM log "
                                        "WHERE date = DATE '2026-03-07' ORDER BY tick"),
                         [{"unit": "CAR4", "tick": 12, "text": "begin"},
                          {"unit": "CAR4", "tick": 100, "text": "end"}])
        with self.assertRaises(AssertionError) as failed:
            self.ask(copy, "SELECT count(*) FROM log")
        self.assertIn("date=2026-03-05", str(failed.exception))

    def test_rows_lie_in_the_folder_of_their_own_day(self):
        # CAR2 drove over midnight, at tick 120: four speeds before, one behind it.
        self.assertEqual(
            self.ask(LAKE, "SELECT date, count(*) AS n FROM speed WHERE unit = 'CAR2' "
                           "GROUP BY date ORDER BY date"),
            [{"date": "2026-03-05", "n": 4}, {"date": "2026-03-06", "n": 1}])


class AnyRecordingTest(Scratch):
    """Every kind of record, hostile texts, extreme values, times that are not known."""

    def setUp(self):
        super().setUp()
        flat = self.folder / "flat.vmd"
        flat.write_bytes(export_samples.everything())
        subprocess.run([VMR, "export", "--layout", "lake", "--root", self.folder / "lake", flat],
                       capture_output=True)
        exported = subprocess.run([VMR, "export", "--format", "jsonl", flat], capture_output=True)
        self.lines = [json.loads(line) for line in exported.stdout.splitlines()]

    def test_every_query_has_an_answer(self):
        done = lake.query(self.folder / "lake", *sorted(lake.QUERIES.glob("*.sql")),
                          "--format", "json")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(len(done.stdout.splitlines()), 10)

    def test_as_many_rows_of_each_kind_as_lines_and_no_day_where_there_is_no_time(self):
        told = [line for line in self.lines if line["kind"] not in ("gap", "clock_step")]
        untimed = sorted(line["kind"] for line in told if line["time"] is None)
        self.assertEqual(untimed, ["end_of_stream", "input"])  # the ticks that begin anew
        counts, dateless = self.ask(
            self.folder / "lake", "SELECT kind, count(*) AS n FROM records GROUP BY kind",
            "SELECT kind, time FROM records WHERE date IS NULL ORDER BY kind")
        kinds = [line["kind"] for line in told]
        self.assertEqual({row["kind"]: row["n"] for row in counts},
                         {kind: kinds.count(kind) for kind in set(kinds)})
        self.assertEqual(dateless, [{"kind": kind, "time": None} for kind in untimed])

    def test_every_text_is_there_byte_for_byte_and_without_a_hidden_character(self):
        officers = self.ask(self.folder / "lake", "SELECT text, text_bytes FROM officer ORDER BY tick")
        recorded = [text if isinstance(text, bytes) else text.encode()
                    for text in export_samples.HOSTILE]
        self.assertEqual([bytes.fromhex(row["text_bytes"]) if row["text_bytes"] is not None
                          else row["text"].encode() for row in officers], recorded)
        self.assertEqual([row["text"] for row in officers if not row["text"].isprintable()], [])
        self.assertIn({"text": r"\u001b[2Jred\u0007", "text_bytes": "1b5b324a72656407"}, officers)


class CompactionTest(Scratch):
    def test_a_compacted_lake_says_the_same_in_one_file_a_day(self):
        small = self.folder / "small"
        small.mkdir()
        done = lake.query(LAKE, lake.DDL / "compact.sql", "--set", f"compacted={small}")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        everything = [f'FROM "{view}" ORDER BY ALL' for view in views()]
        for view, there, here in zip(views(), self.ask(small, *everything),
                                     self.ask(LAKE, *everything)):
            self.assertEqual(there, here, view)
        self.assertEqual(self.columns(small), self.columns(LAKE))
        for day in small.glob("kind=*/date=*"):
            self.assertEqual(len(parquet_files(day)), 1, day)
        self.assertLess(len(parquet_files(small)), len(parquet_files(LAKE)) / 2)

    def test_it_is_not_written_over_another(self):
        done = lake.query(LAKE, lake.DDL / "compact.sql", "--set", f"compacted={LAKE}")
        self.assertEqual(done.returncode, 1)
        self.assertIn("is not empty", done.stderr)


# What a property of a line's schema is in a lake.
TYPES = {"boolean": {"BOOLEAN"}, "integer": {"BIGINT", "INTEGER"}, "number": {"DECIMAL(10,7)"},
         "string": {"VARCHAR", "TIMESTAMP"}}


class LinesTest(Scratch):
    """`vmr export` and `vmr follow --format jsonl` write lines of these schemas."""

    def types_of(self, schema):
        if "anyOf" in schema or "enum" in schema or "const" in schema:
            return {"VARCHAR"}
        kind = schema["type"]
        kind = kind if isinstance(kind, str) else next(k for k in kind if k != "null")
        if "pattern" in schema and "T[0-9]" in schema["pattern"]:
            return {"TIMESTAMP"}
        return TYPES[kind]

    def test_every_name_of_a_line_is_a_column_of_its_type(self):
        checked, views_columns = 0, self.columns(LAKE)
        for file in sorted(SCHEMAS.glob("*.schema.json")):
            schema = json.loads(file.read_text())
            view = "gaps" if schema["title"] == "gap" else schema["title"]
            columns = views_columns[view]
            for name, part in schema["properties"].items():
                if name == "kind" and view == "gaps":
                    continue  # a folder of its own
                self.assertIn(columns[name], self.types_of(part), (view, name))
                checked += 1
        self.assertGreater(checked, 400)

    def test_a_column_that_no_line_has_is_one_of_the_lake_itself(self):
        views_columns = self.columns(LAKE)
        for file in sorted(SCHEMAS.glob("*.schema.json")):
            schema = json.loads(file.read_text())
            view = "gaps" if schema["title"] == "gap" else schema["title"]
            more = set(views_columns[view]) - set(schema["properties"])
            own = {"unit", "date"} if view != "gaps" else {"unit"}
            if view == "position":
                own |= {"latitude_tts", "longitude_tts"}
            self.assertEqual(more, own, view)


if __name__ == "__main__":
    lake.skip_if_it_cannot_run()
    unittest.main()
