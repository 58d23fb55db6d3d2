"""Lakes that earlier versions wrote, read with the DDL of today.

    released_test.py [TEST...]
"""

import pathlib
import re
import shutil
import tempfile
import unittest

import lake

RELEASED = lake.HERE / "released"
VERSIONS = sorted(int(folder.name) for folder in RELEASED.iterdir() if folder.is_dir())
# Of the schema that today's DDL has.
TODAY = int(re.search(r"schema version (\d+)", (lake.DDL / "duckdb.sql").read_text())[1])

SPEEDS = "SELECT unit, tick, speed FROM speed WHERE packet_crc IS NULL ORDER BY unit, tick"
# CAR2 and CAR5 of fleet.py; without the packet of tick 60, whose CRC is wrong.
TOLD_SPEEDS = [("CAR2", 40, 90), ("CAR2", 60, 70), ("CAR2", 62, 60), ("CAR2", 64, 55),
               ("CAR2", 130, 40),
               ("CAR5", 36, 80), ("CAR5", 40, 60), ("CAR5", 80, 95), ("CAR5", 100, 50),
               ("CAR5", 102, 40)]


def values(rows):
    return [tuple(row.values()) for row in rows]


class ReleasedTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_there_is_one_of_each_version_that_has_lakes(self):
        self.assertEqual(VERSIONS, list(range(2, TODAY + 1)))

    def test_each_says_what_it_said_then(self):
        for version in VERSIONS:
            where = RELEASED / str(version)
            speeds, about, place, gaps, siren = lake.asked(
                where, self.folder, SPEEDS,
                "SELECT unit, schema_version, records, wrong_crc, status, first_time "
                "FROM recordings ORDER BY unit",
                "SELECT unit, latitude, longitude, latitude_tts, date FROM position",
                "SELECT unit, reason, from_tick, to_tick FROM gaps",
                'SELECT tick, "on" FROM input WHERE unit = \'CAR2\' ORDER BY tick')
            self.assertEqual(values(speeds), TOLD_SPEEDS)
            self.assertEqual(values(about), [
                ("CAR2", version, 104, 0, "ok", "2026-03-05 23:59:05"),
                ("CAR5", version, 106, 1, "damaged", "2026-03-05 14:00:05")])
            self.assertEqual(values(place),
                             [("CAR2", -33.8688, 151.2093, -33.8688 * 600000, "2026-03-05")])
            self.assertEqual(values(gaps), [("CAR5", "wrong packet CRC", 40, 80)])
            self.assertEqual(values(siren), [(150, True), (170, False)])

    # In front of the old files, and behind them, by its name: which one DuckDB opens first decides
    # whose columns it goes by.
    def test_a_column_that_came_later_stands_beside_rows_without_it(self):
        for name in ("AAA", "ZZZ"):
            where = self.folder / name
            shutil.copytree(RELEASED / "2", where)
            later = [
                f"COPY (SELECT '{name}' AS unit, 'r' AS recording, 3 AS schema_version, 'ok' AS "
                f"status) TO '{where}/recordings/{name}.parquet'",
                f"COPY (SELECT '{name}' AS unit, 'r' AS recording, 7::BIGINT AS tick, 33::BIGINT AS "
                f"speed, 5 AS accuracy) TO '{where}/kind=speed/date=2026-03-05/{name}.parquet'"]
            lake.asked(where, self.folder, *later)
            both, accuracy = lake.asked(where, self.folder, SPEEDS,
                                        "SELECT accuracy, count(*) FROM speed GROUP BY ALL "
                                        "ORDER BY ALL NULLS LAST")
            self.assertEqual(sorted(values(both)), sorted(TOLD_SPEEDS + [(name, 7, 33)]))
            self.assertEqual(values(accuracy), [(5, 1), (None, len(TOLD_SPEEDS) + 1)])


if __name__ == "__main__":
    lake.skip_if_it_cannot_run()
    unittest.main()
