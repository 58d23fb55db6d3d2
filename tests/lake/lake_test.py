"""lake_test.py VMR: what `vmr export --layout lake` makes of recordings."""

import hashlib
import json
import os
import select
import shutil
import subprocess

import lakes
from lakes import ask, samples, serial

packet = samples.packet
SYDNEY = samples.place(-20314071, 90729178)
DAY_END = 1709251199  # 2024-02-29T23:59:59Z


class Tables(lakes.LakeTest):
    def sample(self):
        return self.put("trip.vmd",
                        packet(4294967000, samples.time(DAY_END) + serial("A-7") + SYDNEY),
                        packet(4294967001, samples.text(0x20, "=1+1, \"q\"") + b"\x36"),
                        packet(4294967002, samples.text(0x20, "") + samples.speed(54)),
                        packet(4294967003, samples.text(0x20, b"\xe9\x07"), wrong=True))

    def test_a_recording_has_its_files_by_kind_and_utc_date(self):
        [said] = self.export(self.sample(), exit_code=3)
        name = said["recording"]
        self.assertRegex(name, r"^A-7-4294967000-20240229T235959Z-[0-9a-f]{8}$")
        self.assertEqual(list(self.files()), [
            f"gaps/{name}.parquet",
            f"kind=input/date=2024-02-29/{name}.parquet",
            f"kind=log/date=2024-02-29/{name}.parquet",
            f"kind=log/date=2024-03-01/{name}.parquet",
            f"kind=position/date=2024-02-29/{name}.parquet",
            f"kind=serial_number/date=2024-02-29/{name}.parquet",
            f"kind=speed/date=2024-03-01/{name}.parquet",
            f"kind=time/date=2024-02-29/{name}.parquet",
            f"recordings/{name}.parquet",
        ])
        self.assertEqual((said["status"], said["exit"], said["records"], said["written"]),
                         ("damaged", 3, 8, 9))
        self.assert_no_scratch()

    def test_values_are_typed_and_unknown_is_null(self):
        self.export(self.sample(), exit_code=3)
        log, position, speed, kinds = ask(
            f"SELECT unit, tick, CAST(time AS VARCHAR), time_quality, repeats, text, text_bytes,"
            f" packet_crc, adjusted_by, run, file, cluster, \"offset\""
            f" FROM '{self.lake}/kind=log/*/*.parquet' ORDER BY tick",
            f"SELECT latitude, latitude_tts, longitude, longitude_tts, absolute, position"
            f" FROM '{self.lake}/kind=position/*/*.parquet'",
            f"SELECT speed, speed_status, speed + 1 FROM '{self.lake}/kind=speed/*/*.parquet'",
            f"SELECT column_name, column_type FROM"
            f" (DESCRIBE SELECT * FROM '{self.lake}/kind=position/*/*.parquet')")
        self.assertEqual(log, [
            ["A-7", "4294967001", "2024-02-29 23:59:59.5", "exact", False, "=1+1, \"q\"", None,
             None, 0, 0, None, None, "37"],
            ["A-7", "4294967002", "2024-03-01 00:00:00", "exact", False, "", None,
             None, 0, 0, None, None, "56"],
            ["A-7", "4294967003", "2024-03-01 00:00:00.5", "estimated", False, "\u00e9\\u0007",
             "e907", "wrong", 0, 0, None, None, "67"],
        ])
        self.assertEqual(position, [["-33.8567850", -20314071, "151.2152967", 90729178, True, None]])
        self.assertEqual(speed, [["54", None, "55"]])
        self.assertEqual(dict(kinds), {
            "unit": "VARCHAR", "recording": "VARCHAR", "tick": "BIGINT", "time": "TIMESTAMP",
            "time_quality": "VARCHAR", "repeats": "BOOLEAN", "latitude": "DECIMAL(10,7)",
            "latitude_tts": "INTEGER", "longitude": "DECIMAL(10,7)", "longitude_tts": "INTEGER",
            "absolute": "BOOLEAN", "position": "VARCHAR", "packet_crc": "VARCHAR",
            "adjusted_by": "INTEGER", "run": "INTEGER", "file": "INTEGER", "cluster": "INTEGER",
            "offset": "BIGINT", "kind": "VARCHAR", "date": "DATE"})

    def test_the_row_of_a_recording_says_what_it_is_like(self):
        path = self.sample()
        self.export(path, "--digest", exit_code=3)
        [[row], [gap]] = ask(
            f"SELECT unit, source, serial_number, mac, status, findings, first_tick, last_tick,"
            f" CAST(first_time AS VARCHAR), CAST(last_time AS VARCHAR), records, packets_bytes,"
            f" wrong_crc, gaps, runs, overwritten, clusters, file_1,"
            f" packets_sha256, file_1_sha256, schema_version"
            f" FROM '{self.lake}/recordings/*.parquet'",
            f"SELECT reason, from_tick, \"offset\" FROM '{self.lake}/gaps/*.parquet'")
        packets = path.read_bytes()[4:]
        self.assertEqual(row[:18], [
            "A-7", path.name, "A-7", None, "damaged", "1 gap: 1 wrong packet CRC", "4294967000",
            "4294967002", "2024-02-29 23:59:59", "2024-03-01 00:00:00", "8", str(len(packets)),
            "1", "1", "1", False, None, None])
        sha256 = hashlib.sha256
        self.assertEqual(row[18:], [sha256(packets).hexdigest(),
                                    sha256(path.read_bytes()).hexdigest(), 2])
        self.assertEqual(gap, ["wrong packet CRC", "4294967002", "61"])

    def test_every_kind_with_hostile_texts_holds_what_lines_of_json_do(self):
        path = self.folder / "all.vmd"
        path.write_bytes(samples.everything())
        self.export(path, exit_code=3)
        lines = {}
        done = self.run_vmr("export", path)
        for line in map(json.loads, done.stdout.splitlines()):
            lines.setdefault(line["kind"], []).append(line)
        kinds = sorted(set(lines) - {"gap", "clock_step"})
        self.assertGreater(len(kinds), 30)
        found = ask(*(f"SELECT * FROM read_parquet('{self.lake}/kind={kind}/*/*.parquet',"
                      f" hive_partitioning = false) ORDER BY \"offset\"" for kind in kinds))
        columns = ask(*(f"SELECT column_name FROM (DESCRIBE SELECT * FROM read_parquet("
                        f"'{self.lake}/kind={kind}/*/*.parquet', hive_partitioning = false))"
                        for kind in kinds))
        for kind, rows, names in zip(kinds, found, columns):
            names = [name for [name] in names]
            rows = [dict(zip(names, row)) for row in rows]
            self.assertEqual(len(rows), len(lines[kind]), kind)
            for row, line in zip(rows, lines[kind]):
                self.assert_same(kind, row, line)

    def assert_same(self, kind, row, line):
        for name, value in line.items():
            if name in ("kind", "position"):
                continue
            told = row[name]
            if isinstance(value, bool) or value is None:
                self.assertEqual(told, value, (kind, name))
            elif isinstance(value, (int, float)):
                self.assertEqual(float(told), value, (kind, name))
            elif isinstance(told, str) and value.endswith("Z") and "T" in value:
                self.assertEqual(told.ljust(23, "0") if "." in told else told + ".000",
                                 value[:-1].replace("T", " "), (kind, name))
            else:
                # Lines have escapes where this has their text.
                self.assertEqual(told.encode("ascii", "backslashreplace").lower(),
                                 escaped(value).lower(), (kind, name))

    def test_times_before_1970_and_behind_2037_have_their_dates(self):
        path = self.put("t.vmd", packet(0, b"\x36"), packet(10, samples.time(3)),
                        packet(30, samples.time(2145916800)))
        self.export(path)
        inputs, times = ask(
            f"SELECT CAST(time AS VARCHAR), CAST(date AS VARCHAR), time_quality"
            f" FROM '{self.lake}/kind=input/*/*.parquet'",
            f"SELECT CAST(clock AS VARCHAR), CAST(date AS VARCHAR)"
            f" FROM '{self.lake}/kind=time/*/*.parquet' ORDER BY tick")
        self.assertEqual(inputs, [["1969-12-31 23:59:58", "1969-12-31", "estimated"]])
        self.assertEqual(times, [["1970-01-01 00:00:03", "1970-01-01"],
                                 ["2038-01-01 00:00:00", "2038-01-01"]])

    def test_rows_without_a_time_have_the_partition_that_readers_take_for_null(self):
        [said] = self.export(self.put("n.vmd", packet(5, b"\x36")))
        self.assertIn(f"kind=input/date=__HIVE_DEFAULT_PARTITION__/{said['recording']}.parquet",
                      self.files())
        self.assertIn("-notime-", said["recording"])

    def test_a_store_is_told_with_its_clusters_and_the_health_of_its_files(self):
        drive = lakes.SOURCE / "examples/drive_long_iowa.gpsd.json"
        self.run_vmr("record", self.folder / "car", "--input", drive, "--replay", "--no-sync")
        [said] = self.export(self.folder / "car")
        self.assertEqual((said["status"], said["findings"]), ("ok", ""))
        with open(self.folder / "car_2.mtd", "r+b") as second:
            second.seek(4096 + 20)
            second.write(b"\xff" * 50)
        [said] = self.export(self.folder / "car")
        self.assertEqual((said["status"], said["findings"], said["written"]),
                         ("ok", "file 2: 1 cluster bad", 1))
        [rows] = ask(f"SELECT file_1, file_2, clusters > 3 FROM '{self.lake}/recordings/*.parquet'")
        self.assertEqual(rows, [["sound", "1 cluster bad", True]])

    def test_a_file_that_no_recorder_opens_is_not_sound(self):
        self.run_vmr("record", self.folder / "car", "--input", lakes.SOURCE /
                     "tests/data/drive_short_munich.gpsd.json", "--replay", "--no-sync")
        os.truncate(self.folder / "car_2.mtd", 134217728 - 1)
        [said] = self.export(self.folder / "car")
        self.assertEqual((said["status"], said["findings"]),
                         ("ok", "file 2: of a wrong size, no recorder opens it"))
        [rows] = ask(f"SELECT source, file_1, file_2 FROM '{self.lake}/recordings/*.parquet'")
        self.assertEqual(rows, [["car", "sound", "of a wrong size, no recorder opens it"]])


def escaped(text):
    hidden = lambda c: ord(c) < 32 or 127 <= ord(c) < 160  # noqa: E731
    return "".join(f"\\u{ord(c):04x}" if hidden(c) or c in "\u202e\u202c\u2066\u2069\u200f\u061c"
                   else c for c in text).encode("ascii", "backslashreplace")


class Again(lakes.LakeTest):
    FIRST = [packet(100 + i, samples.time(DAY_END - 10 + i) + samples.text(0x20, f"entry {i}"))
             for i in range(30)]

    def test_a_second_run_changes_nothing(self):
        path = self.put("a.vmd", *self.FIRST)
        [first] = self.export(path)
        stamps = self.stamps()
        [second] = self.export(path)
        self.assertEqual(self.stamps(), stamps)
        self.assertEqual((second["written"], second["unchanged"]), (0, first["written"]))
        self.assert_no_scratch()

    def test_two_lakes_of_the_same_are_the_same_bytes(self):
        path = self.put("a.vmd", *self.FIRST)
        self.export(path)
        self.export(path, lake=self.folder / "other")
        self.assertEqual(self.files(), self.files(self.folder / "other"))

    def test_a_recording_that_has_grown_replaces_its_own_files_alone(self):
        other = self.put("b.vmd", packet(7, samples.time(DAY_END) + serial("B")))
        self.export(other, self.put("a.vmd", *self.FIRST[:3]))
        before = self.files()
        theirs = {name for name in before if "/B-" in name}
        stamps = {k: v for k, v in self.stamps().items() if "/B-" in k}
        [said] = self.export(self.put("a.vmd", *self.FIRST))
        self.assertGreater(said["written"], 0)
        self.assertEqual({k: v for k, v in self.stamps().items() if "/B-" in k}, stamps)
        self.export(other, self.folder / "a.vmd", lake=self.folder / "fresh")
        self.assertEqual(self.files(), self.files(self.folder / "fresh"))
        self.assertEqual(len(theirs), 3)

    def test_of_two_copies_the_one_with_more_stays(self):
        self.export(self.put("a.vmd", *self.FIRST))
        stamps = self.stamps()
        [said] = self.export(self.put("copy.vmd", *self.FIRST[:20]))
        self.assertEqual(self.stamps(), stamps)
        self.assertEqual((said["exit"], said["written"]), (0, 0))
        self.assertIn("with more in it; nothing was changed", said["findings"])

    def test_several_that_load_one_recording_at_once_leave_it_whole(self):
        path = self.put("a.vmd", *self.FIRST)
        self.export(path, lake=self.folder / "alone")
        command = [lakes.VMR, "export", "--layout", "lake", "--root", self.lake, path, path]
        processes = [subprocess.Popen(command, stdout=subprocess.DEVNULL) for _ in range(4)]
        self.assertEqual([process.wait(60) for process in processes], [0] * 4)
        self.assertEqual(self.files(), self.files(self.folder / "alone"))
        self.assert_no_scratch()

    def test_files_that_are_no_longer_part_of_a_recording_go(self):
        path = self.put("a.vmd", *self.FIRST[:3])
        [said] = self.export(path)
        stray = self.lake / "kind=speed/date=2020-01-01" / f"{said['recording']}.parquet"
        stray.parent.mkdir(parents=True)
        shutil.copy(next(self.lake.glob("kind=log/*/*.parquet")), stray)
        # As if an earlier run had made it: the lake's own list has it, or there is no list.
        (self.lake / "_vmr/contents" / f"{said['recording']}.json").unlink()
        [said] = self.export(path)
        self.assertEqual((said["removed"], stray.exists()), (1, False))

    def test_recordings_that_begin_alike_and_differ_do_not_replace_each_other(self):
        a = self.put("a.vmd", *self.FIRST)
        b = self.put("b.vmd", *self.FIRST[:20], packet(900, samples.text(0x20, "x" * 200)),
                     packet(901, samples.text(0x20, "y" * 200)),
                     packet(902, samples.text(0x20, "z" * 200)))
        [of_a] = self.export(a)
        before = self.files()
        [of_b] = self.export(b)
        self.assertTrue(of_b["recording"].startswith(of_a["recording"] + "-"))
        self.assertIn("begins so but goes on otherwise", of_b["findings"])
        self.assertEqual({k: v for k, v in self.files().items() if k in before}, before)

    def test_two_unknown_units_do_not_replace_each_other(self):
        [one] = self.export(self.put("a.vmd", packet(1, samples.time(DAY_END) + b"\x36")))
        [other] = self.export(self.put("b.vmd", packet(1, samples.time(DAY_END) + b"\x34")))
        self.assertTrue(one["recording"].startswith("unknown-0000000001-20240229T235959Z-"))
        self.assertNotEqual(one["recording"], other["recording"])


class Units(lakes.LakeTest):
    NAMES = {
        "../x": "~2E.~2Fx",
        "_hidden": "~5Fhidden",
        "-rf": "~2Drf",
        "VMR-000123": "VMR-000123",
        "'; DROP TABLE t; --": "~27~3B~20DROP~20TABLE~20t~3B~20--",
        "=1+1": "~3D1~2B1",
        "a\"b": "a~22b",
        "\u00e9": "~C3~A9",
        "Plain.Unit_7": "Plain.Unit_7",
    }

    def test_odd_serial_numbers_are_fit_for_names_and_told_as_they_are(self):
        for n, (text, name) in enumerate(self.NAMES.items()):
            with self.subTest(text):
                lake = self.folder / f"lake{n}"
                [said] = self.export(self.put("u.vmd", packet(1, serial(text))), lake=lake)
                self.assertTrue(said["recording"].startswith(name + "-0000000001-notime-"),
                                said["recording"])
                [rows] = ask(f"SELECT unit, serial_number FROM '{lake}/recordings/*.parquet'")
                self.assertEqual(rows, [[name, text]])
        self.assertEqual({path.name for path in self.folder.iterdir()},
                         {"u.vmd"} | {f"lake{n}" for n in range(len(self.NAMES))})

    def test_long_ones_keep_apart(self):
        names = set()
        for text in ("\"" * 200 + "1", "\"" * 200 + "2"):
            [said] = self.export(self.put("u.vmd", packet(1, serial(text))))
            names.add(said["recording"].split("-")[0])
        self.assertEqual(len(names), 2)
        self.assertTrue(all(len(name) < 65 for name in names), names)

    def test_a_mac_names_a_unit_without_a_serial_number_unless_it_is_zeros(self):
        [said] = self.export(self.put("m.vmd", packet(1, bytes.fromhex("020002005e100001"))))
        self.assertTrue(said["recording"].startswith("02005e100001-"))
        [said] = self.export(self.put("z.vmd", packet(1, b"\x02" + bytes(7))))
        self.assertTrue(said["recording"].startswith("unknown-"))


class Unreadable(lakes.LakeTest):
    def store(self, name="s"):
        self.run_vmr("record", self.folder / name, "--input",
                     lakes.SOURCE / "examples/drive_long_iowa.gpsd.json", "--replay", "--no-sync")
        return self.folder / name

    def rows(self):
        [rows] = ask(f"SELECT unit, status, findings, records FROM"
                     f" '{self.lake}/recordings/*.parquet'")
        return rows

    def test_a_store_of_rubbish_has_a_row_that_goes_once_it_can_be_read(self):
        store = self.folder / "s"
        for n in (1, 2):
            (self.folder / f"s_{n}.mtd").write_bytes(b"\xa5" * 8192)
        [said] = self.export(store, exit_code=3)
        self.assertEqual(said["status"], "damaged")
        self.assertEqual(self.rows(), [["unknown", "damaged", "nothing of it can be read", "0"]])
        stamps = self.stamps()
        self.export(store, exit_code=3)
        self.assertEqual(self.stamps(), stamps)
        for n in (1, 2):
            (self.folder / f"s_{n}.mtd").unlink()
        self.store()
        self.export(store)
        self.assertEqual([row[1] for row in self.rows()], ["ok"])

    def test_an_empty_recording_is_told_so(self):
        [said] = self.export(self.put("e.vmd"), exit_code=3)
        self.assertEqual((said["status"], said["exit"]), ("empty", 3))
        self.assertEqual(self.rows(), [["unknown", "empty", "nothing is recorded in it", "0"]])

    def test_two_recordings_in_a_store_are_told_so(self):
        one, two = self.store("one"), self.folder / "two"
        self.run_vmr("record", two, "--input",
                     lakes.SOURCE / "tests/data/drive_short_munich.gpsd.json", "--replay",
                     "--no-sync")
        shutil.copy(f"{two}_2.mtd", f"{one}_2.mtd")
        [said] = self.export(one, exit_code=3)
        self.assertEqual((said["status"], said["exit"]), ("mixed", 3))
        self.assertEqual(self.rows(),
                         [["unknown", "mixed", "its files are of two recordings", "0"]])

    def test_what_is_no_recording_is_unreadable_and_has_a_row(self):
        (self.folder / "x").write_text("hello")
        [said] = self.export(self.folder / "x", exit_code=1)
        self.assertEqual((said["status"], said["exit"]), ("unreadable", 1))
        self.assertEqual(self.rows()[0][:2], ["unknown", "unreadable"])

    def test_what_is_not_there_has_none(self):
        good = self.put("g.vmd", packet(1, b"\x36"))
        missing, said = self.export(self.folder / "nothing", good, exit_code=1)
        self.assertEqual((missing["status"], missing["recording"]), ("missing", ""))
        self.assertEqual(said["status"], "ok")
        self.assertEqual(len(list((self.lake / "recordings").iterdir())), 1)

    def test_a_recording_that_lost_something_is_damaged_and_has_its_rows(self):
        path = self.put("d.vmd", packet(1, samples.time(DAY_END)), b"garbage", packet(9, b"\x36"))
        [said] = self.export(path, exit_code=3)
        self.assertEqual((said["status"], said["findings"], said["records"]),
                         ("damaged", "1 gap: 1 no packets", 2))


class PathsFrom(lakes.LakeTest):
    def test_each_path_is_answered_before_the_next_is_asked_for(self):
        good = self.put("g.vmd", packet(1, b"\x36"))
        with subprocess.Popen([lakes.VMR, "export", "--layout", "lake", "--root", self.lake,
                               "--paths-from", "-"], stdin=subprocess.PIPE, bufsize=0,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as worker:
            for path, status in ((good, "ok"), (self.folder / "none", "missing"),
                                 ("", "missing"), (self.folder, "unreadable"), (good, "ok")):
                worker.stdin.write(os.fsencode(path) + b"\n")
                self.assertTrue(select.select([worker.stdout], [], [], 60)[0], "no answer")
                said = json.loads(worker.stdout.readline())
                self.assertEqual((said["path"], said["status"]), (str(path), status))
            worker.stdin.close()
            self.assertEqual(worker.wait(60), 1)
        self.assert_no_scratch()

    def test_a_file_of_paths_may_lack_the_last_line_feed(self):
        good = self.put("g.vmd", packet(1, b"\x36"))
        (self.folder / "list").write_text(f"{good}\n{good}")
        self.assertEqual(len(self.export("--paths-from", self.folder / "list")), 2)

    def asked_for(self, *lines):
        (self.folder / "list").write_bytes(b"".join(lines))
        done = self.run_vmr("export", "--layout", "lake", "--root", self.lake, "--paths-from",
                            self.folder / "list", cwd=self.folder)
        return [(os.path.basename(said["path"]), said["status"])
                for said in map(json.loads, done.stdout.splitlines())]

    def rubbish_store(self, name):
        (self.folder / f"{name}_2.mtd").write_bytes(b"\xa5" * 8192)
        return os.fsencode(self.folder / name)

    def test_a_list_of_another_system_may_end_lines_with_cr_lf_and_begin_with_a_mark(self):
        good, other = (os.fsencode(self.put(name, packet(1, b"\x36"))) for name in ("g", "o.vmd"))
        store = self.rubbish_store("s")
        self.assertEqual(
            self.asked_for(b"\xef\xbb\xbf" + good + b"\r\n", other + b"\r\n", store + b"\r\n",
                           b"\r\n", good + b"\r\r\n", good + b"\r"),
            [("g", "ok"), ("o.vmd", "ok"), ("s", "damaged"), ("", "missing"), ("g\r", "missing"),
             ("g", "ok")])

    def test_a_carriage_return_or_a_mark_that_a_name_has_is_part_of_it(self):
        marked = "\ufeffr"
        for name in ("g", "g\r", "r", marked, marked + "\r"):
            self.put(name, packet(len(os.fsencode(name)), b"\x36"))
        self.rubbish_store("s\r")
        self.assertEqual(self.asked_for(marked.encode() + b"\n", b"g\r\n", b"s\r\n"),
                         [(marked, "ok"), ("g\r", "ok"), ("s\r", "damaged")])
        self.assertEqual(self.asked_for(marked.encode() + b"\r\n"), [(marked + "\r", "ok")])


class NobodyReads(lakes.LakeTest):
    """What reads standard output or standard error has gone."""

    def gone(self):
        reader, writer = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, writer)
        return writer

    def run_into(self, *paths, **outputs):
        return subprocess.run([lakes.VMR, "export", "--layout", "lake", "--root", self.lake, *paths],
                              check=False, timeout=120, **outputs)

    def test_the_answers_the_recording_at_hand_is_placed_and_none_behind_it(self):
        first = self.put("a.vmd", packet(1, samples.time(DAY_END)), packet(9, b"\x36"))
        second = self.put("b.vmd", packet(2, b"\x36"))
        self.export(first, lake=self.folder / "whole")
        done = self.run_into(first, second, stdout=self.gone(), stderr=subprocess.PIPE)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(self.files(), self.files(self.folder / "whole"))
        self.assert_no_scratch()

    def test_the_answers_and_what_was_found_until_then_is_told_by_the_exit_code(self):
        damaged = self.put("d.vmd", packet(1, b"\x36"), b"garbage")
        self.assertEqual(self.run_into(damaged, stdout=self.gone()).returncode, 3)

    def test_the_messages_and_every_recording_is_placed_and_answered(self):
        rubbish, good = self.folder / "r.vmd", self.put("g.vmd", packet(1, b"\x36"))
        rubbish.write_bytes(b"rubbish")
        done = self.run_into(rubbish, good, stdout=subprocess.PIPE, stderr=self.gone())
        self.assertEqual([json.loads(line)["status"] for line in done.stdout.splitlines()],
                         ["unreadable", "ok"])
        self.assertEqual(done.returncode, 1)
        self.assert_no_scratch()


class Usage(lakes.LakeTest):
    def test_options_that_do_not_go_together_are_refused(self):
        for wrong in (["--layout", "lake", "x"], ["--layout", "lake", "--root", "r"],
                      ["--layout", "lake", "--root", "r", "x", "--paths-from", "-"],
                      ["--layout", "lake", "--root", "r", "x", "-o", "y"],
                      ["--layout", "lake", "--root", "r", "x", "--format", "csv"],
                      ["--layout", "lake", "--root", "r", "x", "--kind", "log"],
                      ["--layout", "lake", "--root", "r", "x", "--from", "5"],
                      ["--layout", "pond", "--root", "r", "x"], ["--root", "r", "x"],
                      ["--digest", "x"], []):
            with self.subTest(wrong):
                done = self.run_vmr("export", *wrong, cwd=self.folder)
                self.assertEqual(done.returncode, 2, done.stderr)
        self.assertEqual(list(self.folder.iterdir()), [])


class Writers(lakes.LakeTest):
    """Writers of Parquet that fail."""

    def failing(self, command):
        path = self.put("g.vmd", packet(1, b"\x36"))
        [said] = self.export(path, exit_code=1, env={"VMR_LAKE_WRITER": command})
        self.assertEqual((said["status"], said["exit"], said["written"]), ("failed", 1, 0))
        self.assertIn("the writer of Parquet files: ", said["findings"])
        self.assertEqual(self.files(), {})
        self.assert_no_scratch()
        self.assertIn("vmr: the writer of Parquet files: ", self.errors)
        return self.errors

    def test_one_that_is_not_there_tells_what_to_do(self):
        self.assertIn("scripts/setup --lake", self.failing("no-such-program-anywhere"))

    def test_one_that_lacks_its_module_tells_what_to_do(self):
        script = self.folder / "alone"
        script.mkdir()
        shutil.copy(lakes.SOURCE / "tools/lake/write_parquet.mjs", script)
        self.assertIn("scripts/setup --lake", self.failing(f"exec node {script}/write_parquet.mjs"))

    def test_one_that_dies_leaves_nothing(self):
        self.assertIn("ended in the middle",
                      self.failing("""echo '{"ready":true}'; read line; exit 0"""))

    def test_one_that_answers_rubbish_leaves_nothing(self):
        self.assertIn("no JSON", self.failing("""echo '{"ready":true}'; read line; echo hello"""))

    def test_one_that_miscounts_rows_leaves_nothing(self):
        self.assertIn("another number of rows",
                      self.failing("""echo '{"ready":true}'; while read line; do """
                                   """echo '{"ok":true,"rows":7}'; done"""))

    def test_one_that_writes_nothing_leaves_nothing(self):
        self.failing("""echo '{"ready":true}'; while read line; do """
                     """echo '{"ok":true,"rows":1}'; done""")

    def test_one_that_is_lost_is_started_anew_for_the_next_recording(self):
        paths = [self.put(f"{n}.vmd", packet(1, serial(n))) for n in "ab"]
        real = lakes.SOURCE / "tools/lake/write_parquet.mjs"
        mark = self.folder / "mark"
        command = (f"if [ -e {mark} ]; then exec node {real}; fi; touch {mark};"
                   """ echo '{"ready":true}'; read line""")
        first, second = self.export(*paths, exit_code=1, env={"VMR_LAKE_WRITER": command})
        self.assertEqual((first["exit"], second["exit"]), (1, 0))
        self.assertEqual((first["status"], second["status"]), ("failed", "ok"))

    def test_its_statements_take_no_text_for_code(self):
        refused = [{"unit": "x' OR 1"}, {"unit": "a", "b\"": "c"}]
        commands = "".join(json.dumps({
            "rows": "r", "parquet": "p", "metadata": {"kind": "k"}, "constants": constants,
            "columns": [{"name": "tick", "type": "long"}]}) + "\n" for constants in refused)
        commands += json.dumps({"rows": "../r", "parquet": "p", "metadata": {}, "constants": {},
                                "columns": []}) + "\n"
        done = subprocess.run(["node", lakes.SOURCE / "tools/lake/write_parquet.mjs"],
                              input=commands, capture_output=True, text=True, check=False)
        answers = [json.loads(line) for line in done.stdout.splitlines()]
        self.assertEqual([answer.get("ok") for answer in answers], [None, False, False, False])
        self.assertRegex(answers[1]["error"], "no fit value")
        self.assertRegex(answers[2]["error"], "no name of a column")
        self.assertRegex(answers[3]["error"], "no plain name of a file")


if __name__ == "__main__":
    lakes.main()
