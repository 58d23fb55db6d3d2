"""What the queries of docs/queries/ answer over the fleet of fleet.py, worked out by hand.

    answers_test.py FOLDER [TEST...]
"""

import json
import pathlib
import shutil
import sys
import tempfile
import unittest

import lake

FOLDER = pathlib.Path(sys.argv.pop(1))

# Each recording begins at tick 10, five seconds behind its `start`. Its name goes on with a digest.
CAR1_A = "0000000010-20260305T100005Z"
CAR1_B = "0000000010-20260306T080005Z"
CAR2 = "0000000010-20260305T235905Z"
CAR5 = "0000000010-20260305T140005Z"
CAR6 = "0000000010-20260305T150005Z"
UNITS = {CAR1_A: "CAR1", CAR1_B: "CAR1", CAR2: "CAR2", CAR5: "CAR5", CAR6: "CAR6"}


def answers(name, *words):
    file, = lake.QUERIES.glob(f"{name}-*.sql")
    rows = lake.rows(FOLDER / "lake", file, *words)
    for row in rows:
        if "recording" in row:
            row["recording"] = row["recording"][:len(CAR1_A)]
    return rows


class AnswersTest(unittest.TestCase):
    maxDiff = None

    def test_01_speeding_counts_only_where_lights_are_known_to_be_off(self):
        def stretch(recording, begin, quality, seconds, top, lights, officer):
            return {"unit": UNITS[recording], "recording": recording, "begin": begin,
                    "time_quality": quality, "seconds": seconds, "top_mph": top, "lights": lights,
                    "officer": officer}

        self.assertEqual(answers("01"), [
            # 80 at tick 40, 85 at 70, and lights on at 100: sixty ticks. The 85 of ticks 100 to 138
            # were driven with lights on.
            stretch(CAR1_A, "2026-03-05 10:00:20", "exact", 30, 85, "off", "A. Berg"),
            # 76 at tick 280, 75 at 290: the limit itself is not above it.
            stretch(CAR1_A, "2026-03-05 10:02:20", "exact", 5, 76, "off", "B. Costa"),
            # 90 from tick 40 to 60; nothing ever tells of the lights.
            stretch(CAR2, "2026-03-05 23:59:20", "exact", 10, 90, "unknown",
                    "D.\\u001b[2J Eve"),
            # 80 from tick 36 to 40.
            stretch(CAR5, "2026-03-05 14:00:18", "exact", 2, 80, "off", "A. Berg"),
            # 95 from tick 80 to 100. The packet in front of it is damaged: it may have said that
            # lights went on, or who drives. Its own 99 (97, as it now reads) counts for nothing.
            stretch(CAR5, "2026-03-05 14:00:40", "estimated", 10, 95, "unknown", None),
        ])

    def test_01_takes_another_limit(self):
        # Above 84: CAR1's 85 from tick 70 to 100, CAR2's 90, CAR5's 95.
        self.assertEqual([(row["unit"], row["seconds"], row["top_mph"])
                          for row in answers("01", "--set", "speed_limit_mph=84")],
                         [("CAR1", 15, 85), ("CAR2", 10, 90), ("CAR5", 10, 95)])

    def test_02_a_relief_splits_the_seconds_and_not_the_use(self):
        def used(officer, badge, uses, seconds, units=1):
            return {"officer": officer, "badge": badge, "units": units, "uses": uses,
                    "seconds": seconds}

        self.assertEqual(answers("02"), [
            # Ticks 200 to 230 of the use that Berg began, and 250 to 270; next day 7190 to 7230,
            # in the middle of which a full state says that the siren is on: no use of its own.
            used("B. Costa", "23", 2, 15 + 10 + 20),
            # Ticks 90 to 130 and 190 to 200; CAR5 from 34 to 40, behind which a packet is damaged.
            # It went off at tick 120, and whether it was on until then, or who drove, is lost.
            used("A. Berg", "17", 3, 20 + 5 + 3, units=2),
            # Ticks 150 to 170.
            used("D.\\u001b[2J Eve", "=1+1", 1, 10),
        ])

    def test_03_both_ways_a_clock_was_set(self):
        self.assertEqual(answers("03"), [
            {"unit": "CAR3", "recordings": 1, "steps": 2, "furthest_forward_s": 90,
             "furthest_back_s": -3600, "last_told": "2026-03-05 12:02:21"}])
        self.assertEqual(answers("03", "--set", "least_step_s=91")[0]["steps"], 1)

    def test_04_a_microphone_that_was_present_once_is_not_silent(self):
        # CAR4's first recording lasts an hour, and its full state says of both that they are
        # absent and off. All other microphones of the fleet are told to be present.
        def silent(number, name):
            return {"unit": "CAR4", "stream_number": number, "name": name, "recordings": 2,
                    "told": "absent or off", "gaps": 0}

        self.assertEqual(answers("04"), [silent(2, "$$Wireless 2"), silent(3, "$$Auxiliary")])

    def test_05_a_drop_counts_where_it_is_known_how_long_it_took(self):
        def braked(recording, time, quality, speeds, rate, place, age):
            return {"unit": UNITS[recording], "recording": recording, "time": time,
                    "time_quality": quality, "from_mph": speeds[0], "to_mph": speeds[1],
                    "mph_per_s": rate, "latitude": place[0], "longitude": place[1], "age_s": age}

        nowhere = (None, None)
        self.assertEqual(answers("05"), [
            # Ticks 138 and 140; the position is of tick 134.
            braked(CAR1_A, "2026-03-05 10:01:10", "exact", (84, 50), 34, (41.501, -93.5), 3),
            # Ticks 60 and 62, the position of tick 38. From 90 to 70 took up to ten seconds, and
            # from 60 to 55 is five in a second.
            braked(CAR2, "2026-03-05 23:59:31", "exact", (70, 60), 10, (-33.8688, 151.2093), 12),
            # Ticks 36 and 40: twenty in two seconds. CAR5 tells no position.
            braked(CAR5, "2026-03-05 14:00:20", "exact", (80, 60), 10, nowhere, None),
            # Ticks 100 and 102. What was between 60 and 95 is lost, and 95 to 50 took up to ten.
            braked(CAR5, "2026-03-05 14:00:51", "estimated", (50, 40), 10, nowhere, None),
        ])

    def test_06_a_lock_is_counted_once_and_only_when_it_is_known_to_be_new(self):
        # Ticks 10 to 300 and 10 to 7300: 7580 half seconds. Locked at ticks 110 and 130; at 114
        # only the target changed, and the full state of the hour repeats the lock.
        hours = {"CAR1": (290 + 7290) / 7200, "CAR2": 190 / 7200, "CAR3": 390 / 7200,
                 "CAR4": (7290 + 90) / 7200,
                 # Less the gap from tick 40 to 80.
                 "CAR5": (190 - 40) / 7200, "CAR6": 90 / 7200}
        expected = [{"unit": unit, "locks": 0, "unsure": 0, "hours": round(h, 3),
                     "locks_per_hour": 0} for unit, h in hours.items()]
        expected[0].update(locks=2, locks_per_hour=1.9)  # 2 / 1.0528
        expected[3].update(unsure=1)  # locked in its first reading: since when, nobody knows
        self.assertEqual(answers("06"), expected)

    def test_07_what_lies_in_a_gap_is_lost_and_not_covered(self):
        def coverage(unit, recordings, covered_h, earliest, latest, lost_h=0, gaps=0):
            return {"unit": unit, "recordings": recordings, "covered_h": covered_h,
                    "lost_h": lost_h, "gaps": gaps, "wrong_crc": gaps,
                    "gaps_of_unknown_length": 0, "earliest": earliest, "latest": latest}

        self.assertEqual(answers("07"), [
            coverage("CAR1", 2, 1.053, "2026-03-05 10:00:05", "2026-03-06 09:00:50"),
            coverage("CAR2", 1, 0.026, "2026-03-05 23:59:05", "2026-03-06 00:00:40"),
            # 390 ticks, whatever its clock told: it was set back to 11:04:01 at tick 302.
            coverage("CAR3", 1, 0.054, "2026-03-05 11:04:01", "2026-03-05 12:04:01"),
            coverage("CAR4", 2, 1.025, "2026-03-06 09:00:05", "2026-03-07 09:00:50"),
            # The gap is 40 ticks long: 20 seconds.
            coverage("CAR5", 1, 0.021, "2026-03-05 14:00:05", "2026-03-05 14:01:40", 0.006, 1),
            coverage("CAR6", 1, 0.013, "2026-03-05 15:00:05", "2026-03-05 15:00:50"),
        ])

    def test_08_a_setting_that_differs_from_most(self):
        def differs(unit, policy, value, usual):
            return {"unit": unit, "policy": policy, "value": value, "usual": usual,
                    "units_with_usual": 5, "units": 6}

        self.assertEqual(answers("08"), [differs("CAR4", "pre event time", 60, 30),
                                         differs("CAR2", "start on siren", 1, 0)])

    def test_09_units_that_told_no_version_are_counted_as_such(self):
        def version(component, text, *units):
            return {"component": component, "version": text, "units": len(units),
                    "which": ", ".join(units)}

        # Versions are told once an hour, and two recordings last that long.
        silent = ("CAR2", "CAR3", "CAR5", "CAR6")
        self.assertEqual(answers("09"), [
            version("Front Panel", "1.4.2", "CAR1", "CAR4"), version("Front Panel", None, *silent),
            version("Mainboard", "rev B", "CAR4"), version("Mainboard", "rev C", "CAR1"),
            version("Mainboard", None, *silent)])

    def test_10_the_stores_that_need_a_look(self):
        found = answers("10")
        self.assertEqual([(row["unit"], row["source"]) for row in found],
                         [("CAR5", "car5"), ("CAR6", "car6")])
        damaged, halved = found
        # One packet of tick 60, whose neighbours are at 40 and 80.
        self.assertEqual((damaged["recording"], damaged["status"], damaged["wrong_crc"],
                          damaged["gaps"], damaged["lost_clusters"], damaged["lost_s"]),
                         (CAR5, "damaged", 1, 1, 0, 20))
        self.assertIn("1 wrong packet CRC", damaged["findings"])
        # Its first file is missing, and nothing is lost.
        self.assertEqual((halved["recording"], halved["status"], halved["wrong_crc"],
                          halved["gaps"], halved["lost_s"]), (CAR6, "ok", 0, 0, 0))
        self.assertEqual(halved["findings"], "file 1: cannot be read: No such file or directory")

    def test_a_recording_that_is_being_replaced_is_left_out_whole(self):
        # It has no row meanwhile, and of its files some are those of before.
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder) / "lake"
            shutil.copytree(FOLDER / "lake", copy)
            for file in (copy / "recordings").iterdir():
                if not file.name.startswith("CAR6"):
                    file.unlink()
            files = sorted(lake.QUERIES.glob("*.sql"))
            done = lake.query(copy, *files, "--format", "json")
            units = {row.get("unit", row.get("which")) for line in done.stdout.splitlines()
                     for row in json.loads(line)["rows"]}
        self.assertEqual(units, {"CAR6"})


if __name__ == "__main__":
    lake.skip_if_it_cannot_run()
    unittest.main()
