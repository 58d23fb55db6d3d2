#!/usr/bin/python3
"""fleet_test.py VMR SOURCE_FOLDER TEST...: vmr-fleet and examples/make-fleet as a user runs them.

Recordings are made by make-fleet in a fresh folder; schedulers, workers and what is killed are
real processes. 77: Dask, Node or Node's part of the lake is not installed here.
"""
import collections
import contextlib
import hashlib
import importlib.util
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import uuid

VMR, ROOT = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2]).resolve()
FLEET = ROOT / "tools" / "fleet" / "vmr-fleet"
FAILING_VMR = ROOT / "tests" / "fleet" / "failing_vmr"
PATIENCE_S = 60
FLEETS = {}  # by how many recordings
SERIAL_LAKES = {}  # by fleet
sys.path.insert(0, str(FLEET.parent))


def wait_until(what, holds):
    """What `holds` gives, once it is true."""
    until = time.monotonic() + PATIENCE_S
    while time.monotonic() < until:
        if found := holds():
            return found
        time.sleep(0.05)
    raise AssertionError(f"not within {PATIENCE_S} s: {what}")


def digest(path):
    """Of the file's size and its blocks that are not all zero, where they stand: a ring's
    holes are not read."""
    held, block, at = hashlib.sha256(str(path.stat().st_size).encode()), 4096, 0
    with open(path, "rb", buffering=0) as file:
        while True:
            try:
                at = os.lseek(file.fileno(), at, os.SEEK_DATA) // block * block
            except OSError:
                return held.hexdigest()  # behind the last data
            data = os.pread(file.fileno(), block, at)
            if data.strip(b"\0"):
                held.update(at.to_bytes(8, "big") + data)
            at += block


def digests(folder):
    """Of every file, by its name in the folder."""
    return {str(path.relative_to(folder)): digest(path)
            for path in sorted(pathlib.Path(folder).rglob("*")) if path.is_file()}


def times(folder):
    return {str(path): path.stat().st_mtime_ns for path in pathlib.Path(folder).rglob("*.parquet")}


class FleetTest(unittest.TestCase):
    """Has a folder, and processes that are marked as its own."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vmr-fleet-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.mark = f"VMR_FLEET_TEST={uuid.uuid4().hex}"
        self.environment = {**os.environ, "TZ": "UTC", "LC_ALL": "C.UTF-8",
                            "TMPDIR": str(self.folder / "tmp"),
                            self.mark.split("=")[0]: self.mark.split("=")[1]}
        (self.folder / "tmp").mkdir()
        self.lake = self.folder / "lake"

    def processes(self, pattern=""):
        """Of the commands that this test has started, and of what those started: numbers by
        command lines that hold `pattern`."""
        found = {}
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if self.mark.encode() not in (process / "environ").read_bytes().split(b"\0"):
                    continue
                command = (process / "cmdline").read_bytes().replace(b"\0", b" ").decode(
                    "utf-8", "replace")
            except OSError:
                continue
            if command and pattern in command:
                found[int(process.name)] = command
        return found

    def start(self, *command, **options):
        options.setdefault("stderr", subprocess.PIPE)
        process = subprocess.Popen([os.fspath(word) for word in command], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, env=self.environment,
                                   start_new_session=True, cwd=self.folder, **options)
        self.addCleanup(self.stop, process)
        return process

    def stop(self, process):
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
        process.communicate()

    def run_command(self, *command, code=0, given=b""):
        done = subprocess.run([os.fspath(word) for word in command], input=given, cwd=self.folder,
                              env=self.environment, capture_output=True, timeout=300, check=False)
        out, err = (text.decode("utf-8", "replace") for text in (done.stdout, done.stderr))
        self.assertEqual(done.returncode, code, f"{command}\n{out}{err}")
        return out, err

    def make_fleet(self, count=20, *more, name="fleet"):
        self.run_command(ROOT / "examples" / "make-fleet", "--vmr", VMR, "--count", str(count),
                         *more, name)
        return self.folder / name

    def fleet_of(self, count):
        """One that all tests share and leave as it is."""
        if count not in FLEETS:
            FLEETS[count] = pathlib.Path(tempfile.mkdtemp(prefix="vmr-fleet-test-"))
            unittest.addModuleCleanup(shutil.rmtree, FLEETS[count], ignore_errors=True)
            self.make_fleet(count, name=FLEETS[count])
        return FLEETS[count]

    def manifest(self, fleet):
        return [json.loads(line) for line in (fleet / "fleet.jsonl").read_text().splitlines()]

    def convert(self, *words, code=0, given=b"", lake=None, vmr=VMR):
        out, err = self.run_command(FLEET, "convert", *words, "--lake", lake or self.lake, "--json",
                                    "--vmr", vmr, code=code, given=given)
        return json.loads(out) if out else None, err

    def serial_lake(self, fleet):
        """As one `vmr` makes it, without vmr-fleet, in the order of names."""
        if fleet in SERIAL_LAKES:
            return SERIAL_LAKES[fleet]
        paths = sorted(os.fspath(fleet / row["recording"]) + (".vmd" if row["odd"] == "flat" else "")
                       for row in self.manifest(fleet))
        lake = self.folder / "serial"
        lake.mkdir()
        done = subprocess.run([VMR, "export", "--layout", "lake", "--root", lake, "--paths-from", "-"],
                              input="".join(path + "\n" for path in paths).encode(),
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        self.assertEqual(len(done.stdout.splitlines()), len(paths))
        SERIAL_LAKES[fleet] = digests(lake)
        return SERIAL_LAKES[fleet]

    def cluster(self, workers=3):
        """A scheduler and workers of its own; the address, and the workers."""
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        address = f"tcp://127.0.0.1:{port}"
        self.start("dask-scheduler", "--host", "127.0.0.1", "--port", str(port), "--no-dashboard",
                   stderr=subprocess.DEVNULL)
        started = [self.start("dask-worker", address, "--host", "127.0.0.1", "--nthreads", "1",
                              "--no-dashboard", "--local-directory", self.folder / f"worker{i}",
                              stderr=subprocess.DEVNULL) for i in range(workers)]
        return address, started


class Sources(FleetTest):
    def found(self, *words):
        from vmr_fleet.sources import Sources as Subject
        sources = Subject(self.folder / "f" / "lake")
        here = os.getcwd()
        os.chdir(self.folder)
        try:
            for word in words:
                sources.add(word)
        finally:
            os.chdir(here)
        inside = os.fsencode(self.folder) + b"/"
        return [os.fsencode(path).removeprefix(inside) for path in sources.found()], sources.errors

    def touch(self, *names, held=b""):
        for name in names:
            path = os.path.join(os.fsencode(self.folder), name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(held)

    def test_a_folder_has_stores_and_flat_files_at_any_depth_and_nothing_else(self):
        self.touch(b"f/b/c/car_1.mtd", b"f/b/c/car_2.mtd", b"f/half_2.mtd", b"f/old_1.mtd.CORRUPT",
                   b"f/cut.vmd", b"f/notes.txt", b"f/.hidden_1.mtd", b"f/.trash/x_1.mtd",
                   b"f/_1.mtd", b"f/lake/x_1.mtd")
        self.touch(b"f/flat", held=bytes.fromhex("665d5331") + b"more")
        self.assertEqual(self.found("f"), ([b"f/b/c/car", b"f/cut.vmd", b"f/flat", b"f/half",
                                            b"f/old"], []))

    def test_a_store_is_named_by_its_base_or_either_file_and_taken_once(self):
        self.touch(b"f/car_1.mtd", b"f/car_2.mtd")
        self.assertEqual(self.found("f/car", "f/car_1.mtd", "./f/car_2.mtd", "f", "f/c*"),
                         ([b"f/car"], []))

    def test_patterns_find_stores_once_and_flat_files(self):
        self.touch(b"f/u1/a_1.mtd", b"f/u1/a_2.mtd", b"f/u2/b_1.mtd", b"f/u2/x.json", b"f/u3/c.vmd")
        self.assertEqual(self.found("f/u[12]/*"), ([b"f/u1/a", b"f/u2/b"], []))
        self.assertEqual(self.found("f/**/*.vmd"), ([b"f/u3/c.vmd"], []))
        self.assertEqual(self.found("f/u*"), ([b"f/u1/a", b"f/u2/b", b"f/u3/c.vmd"], []))

    def test_lists_are_lines_or_end_in_nul_and_may_name_anything(self):
        names = [b"f/a b", b"f/it's", b'f/"q"', b"f/*", b"f/@at", b"f/\xc3\xbc", b"f/\xff\xfe",
                 b"f/-dash"]
        self.touch(*(name + b"_1.mtd" for name in names))
        self.touch(b"list", held=b"\n".join(names) + b"\n")
        self.assertEqual(self.found("@list"), (sorted(names), []))
        edited = "\r\n".join(["f/a b", "f/ü", "f/cr\r", ""]).encode("utf-8-sig")
        self.touch(b"f/cr\r_1.mtd")
        self.touch(b"list", held=edited)
        self.assertEqual(self.found("@list"), ([b"f/a b", b"f/cr\r", b"f/\xc3\xbc"], []))
        self.touch(b"list", held=b"f/cr\r\n\xef\xbb\xbff/it's\n")
        self.touch(b"\xef\xbb\xbff/it's_1.mtd")
        self.assertEqual(self.found("@list"), ([b"f/cr\r", b"\xef\xbb\xbff/it's"], []))
        self.touch(b"f/two\nlines_1.mtd", b"zeros", held=b"\0".join(names + [b"f/two\nlines"]))
        self.assertEqual(self.found("@zeros"), (sorted(names + [b"f/two\nlines"]), []))

    def test_what_is_not_there_is_said_and_the_rest_is_taken(self):
        self.touch(b"f/car_1.mtd", b"list", held=b"f/gone\nf/car\n")
        (self.folder / "none").mkdir()
        self.assertEqual(self.found("@list", "none", "n*e", "@nolist", "f/\x1b7gone"), ([b"f/car"], [
            "f/gone: neither a file or folder nor a store (f/gone_1.mtd and _2.mtd)",
            "none: neither stores nor flat files in it",
            "n*e: no store or flat file matches",
            "nolist: No such file or directory",
            "f/\\x1b7gone: neither a file or folder nor a store (f/\\x1b7gone_1.mtd and _2.mtd)",
        ]))


class Converts(FleetTest):
    def test_the_lake_of_many_workers_is_that_of_one_vmr_and_a_second_run_changes_nothing(self):
        fleet = self.fleet_of(20)
        summary, _ = self.convert(fleet, "--workers", "2", "--results", "lines", code=3)
        lines = [json.loads(line) for line in (self.folder / "lines").read_text().splitlines()]
        # Those on purpose; "half" and "worn" lose nothing, and a flat file is a recording.
        odd = {str(fleet / row["recording"]): row["odd"] for row in self.manifest(fleet) if row["odd"]}
        status = {line["source"].removesuffix(".vmd"): line["status"] for line in lines}
        self.assertEqual(len(status), 20)
        for path, said in status.items():
            expected = {"damaged": "damaged", "empty": "empty", "mixed": "mixed",
                        "torn": "damaged", "noise": "damaged"}
            self.assertEqual(said, expected.get(odd.get(path), "ok"), path)
        self.assertEqual(summary["recordings"], 20)
        self.assertEqual(summary["status"], dict(collections.Counter(status.values())))
        self.assertEqual(summary["rows"], sum(line["records"] for line in lines))
        made = digests(self.lake)
        self.assertEqual(made, self.serial_lake(fleet))
        before = times(self.lake)
        again, _ = self.convert(fleet, code=3)
        self.assertEqual((again["files"]["written"], again["files"]["removed"]), (0, 0))
        self.assertEqual(again["files"]["unchanged"], len(before))
        self.assertEqual(times(self.lake), before)

    def test_names_of_any_bytes_are_converted(self):
        fleet = self.fleet_of(1)
        first = fleet / self.manifest(fleet)[0]["recording"]
        names = [b"a b", b"it's \"so\"", b"two\nlines", b"\xc3\xbc\xe2\x80\xae", b"\xff\xfe", b"-x", b"@y",
                 b"*", b" blank ", b"\\n", b"r\r"]
        for name in names:
            for number in (b"_1.mtd", b"_2.mtd"):
                os.symlink(os.fsencode(first) + number, os.path.join(os.fsencode(self.folder), name + number))
        listed = b"\0".join(b"./" + name for name in names)
        # The same recording under many names is one, and the summary says so.
        summary, said = self.convert("-", given=listed, code=3)
        self.assertEqual(summary["status"], {"ok": len(names)})
        self.assertEqual(summary["doubles"], len(names) - 1)
        self.assertIn("the lake keeps the copy that holds more", said)
        self.assertIn("two\\nlines", said)
        self.assertIn("\\xff\\xfe", said)
        # `source` is the name that was converted last.
        made, serial = digests(self.lake), self.serial_lake(fleet)
        self.assertEqual({name for name in made if made[name] != serial.get(name)},
                         {name for name in made if "recordings" in str(name)})
        self.assertEqual(set(made), set(serial))

    def test_nothing_of_it_listens_or_connects_but_at_this_machine(self):
        import psutil
        fleet = self.fleet_of(20)
        self.environment.update(FAILING_VMR_REAL=VMR, FAILING_VMR_DELAY_S="0.3")
        run = self.start(FLEET, "convert", fleet, "--lake", self.lake, "--vmr", FAILING_VMR,
                         "--workers", "2")
        wait_until("children at work", lambda: len(self.processes("--paths-from")) >= 4)
        places = set()
        for process in self.processes():
            with contextlib.suppress(psutil.NoSuchProcess):
                places |= {place.ip for connection in psutil.Process(process).connections("inet")
                           for place in (connection.laddr, connection.raddr) if place}
        run.communicate(timeout=PATIENCE_S)
        self.assertEqual(places, {"127.0.0.1"})


class Survives(FleetTest):
    def test_workers_killed_in_the_middle_leave_the_lake_of_a_serial_run(self):
        fleet = self.fleet_of(12)
        self.environment.update(FAILING_VMR_REAL=VMR, FAILING_VMR_DELAY_S="0.1")
        address, workers = self.cluster()
        run = self.start(FLEET, "convert", fleet, "--lake", self.lake, "--scheduler", address,
                         "--vmr", FAILING_VMR, "--json")
        recordings = self.lake / "recordings"
        wait_until("some recordings", lambda: recordings.is_dir() and len(list(recordings.iterdir())) > 2)
        # The process that does the work, and the nanny that would start another.
        victim = workers[1].pid
        os.kill(victim, signal.SIGKILL)
        for process, command in self.processes("spawn_main").items():
            if pathlib.Path(f"/proc/{process}/stat").read_text().split()[3] in (str(victim), "1"):
                os.kill(process, signal.SIGKILL)
        # Of another worker, its vmr and all that this has started, in the middle of something.
        child = next(iter(self.processes("failing_vmr export")))
        os.killpg(child, signal.SIGKILL)
        out, err = run.communicate(timeout=PATIENCE_S)
        summary = json.loads(out)
        self.assertEqual(summary["recordings"], 12, err)
        self.assertNotIn("failed", summary["status"], err)
        self.assertEqual(digests(self.lake), self.serial_lake(fleet))
        wait_until("no vmr left", lambda: not self.processes("--paths-from"))

    def test_a_child_that_dies_is_started_anew_and_one_recording_that_kills_it_fails_alone(self):
        fleet = self.fleet_of(1)
        self.environment.update(FAILING_VMR_REAL=VMR, FAILING_VMR_FOLDER=str(self.folder))
        first = os.fsencode(fleet / self.manifest(fleet)[0]["recording"])
        for name in (b"dies", b"hangs", b"once", b"talks", b"full", b"loses"):
            for number in (b"_1.mtd", b"_2.mtd"):
                os.symlink(first + number, os.fsencode(self.folder) + b"/" + name + number)
        summary, said = self.convert(fleet, "dies", "hangs", "once", "talks", "full", "loses",
                                     "--timeout", "6", code=1, vmr=FAILING_VMR)
        self.assertEqual(summary["status"], {"ok": 3, "failed": 4})
        self.assertIn(f"{self.folder}/full: not converted: lake/x.parquet: No space left on device\n", said)
        self.assertIn(f"{self.folder}/dies: not converted: vmr export was killed by signal 9\n", said)
        self.assertIn(f"{self.folder}/hangs: not converted: vmr export did not answer for 6 s\n", said)
        self.assertIn(f"{self.folder}/talks: not converted: vmr export answered b'so far, so good'\n", said)
        self.assertEqual(self.processes(), {})

    def test_an_interrupted_run_leaves_no_process_and_the_next_one_completes_it(self):
        fleet = self.fleet_of(12)
        self.environment.update(FAILING_VMR_REAL=VMR, FAILING_VMR_DELAY_S="0.4")
        for number, text in ((signal.SIGINT, "interrupted"), (signal.SIGTERM, "interrupted")):
            run = self.start(FLEET, "convert", fleet, "--lake", self.lake, "--vmr", FAILING_VMR)
            wait_until("children at work", lambda: self.processes("--paths-from"))
            time.sleep(0.5)
            # The terminal signals the whole group; kill signals the one process.
            os.kill(-run.pid if number == signal.SIGINT else run.pid, number)
            out, err = run.communicate(timeout=PATIENCE_S)
            self.assertEqual(run.returncode, 130, err)
            self.assertIn(text, out.decode())
            wait_until("no process left", lambda: not self.processes())
            self.assertEqual(list((self.folder / "tmp").iterdir()), [])
        self.convert(fleet, code=3)
        self.assertEqual(digests(self.lake), self.serial_lake(fleet))

    def test_a_run_that_is_killed_leaves_no_process(self):
        fleet = self.fleet_of(12)
        self.environment.update(FAILING_VMR_REAL=VMR, FAILING_VMR_DELAY_S="0.3")
        run = self.start(FLEET, "convert", fleet, "--lake", self.lake, "--vmr", FAILING_VMR)
        wait_until("children at work", lambda: self.processes("--paths-from"))
        os.kill(run.pid, signal.SIGKILL)
        wait_until("no process left", lambda: not self.processes())


class Refuses(FleetTest):
    def refused(self, code, message, *words):
        _, said = self.run_command(FLEET, *words, code=code)
        self.assertIn(message, said)
        self.assertNotIn("Traceback", said)

    def test_wrong_usage_is_2_and_says_what_is_wrong(self):
        self.refused(2, "the following arguments are required: COMMAND")
        self.refused(2, "invalid choice: 'covert'", "covert")
        self.refused(2, "the following arguments are required: --lake", "convert", "fleet")
        self.refused(2, "no SOURCE", "convert", "--lake", "lake")
        self.refused(2, "a SOURCE is empty", "convert", "", "--lake", "lake")
        self.refused(2, "--lake is empty", "convert", "fleet", "--lake", "")
        self.refused(2, "--from-file is empty", "convert", "f", "--lake", "l", "--from-file", "")
        self.refused(2, "is both a SOURCE and --lake", "convert", "..", "--lake", "../")
        self.refused(2, "- was given twice", "convert", "-", "-", "--lake", "lake")
        self.refused(2, "'0' is no whole number", "convert", "f", "--lake", "l", "--workers", "0")
        self.refused(2, "'-1' is no number of seconds", "convert", "f", "--lake", "l", "--wait=-1")
        self.refused(2, "'head:8786' is no tcp://HOST:PORT", "convert", "f", "--lake", "l",
                     "--scheduler", "head:8786")
        self.refused(2, "--workers is for this machine", "convert", "f", "--lake", "l",
                     "--scheduler", "tcp://head:8786", "--workers", "2")
        self.refused(2, "unrecognized arguments: --diges", "convert", "f", "--lake", "l", "--diges")

    def test_what_cannot_be_used_is_1_and_says_what_to_do(self):
        fleet = self.fleet_of(1)
        (self.folder / "file").write_text("")
        self.refused(1, "gone: neither a file or folder nor a store", "convert", "gone", "--lake", "l")
        self.refused(1, "file: ", "convert", fleet, "--lake", "file", "--vmr", VMR)
        self.refused(1, "/proc/lake: ", "convert", fleet, "--lake", "/proc/lake", "--vmr", VMR)
        self.refused(1, "novmr: no such program; build it, or say where with --vmr", "convert",
                     fleet, "--lake", "l", "--vmr", "./novmr")
        self.refused(1, "true is not a vmr that knows export --layout lake", "convert", fleet,
                     "--lake", "l", "--vmr", "true")
        self.refused(1, "no/lines: No such file", "convert", fleet, "--lake", "l", "--vmr", VMR,
                     "--results", "no/lines")

    def test_a_source_that_is_gone_leaves_the_others_converted(self):
        fleet = self.fleet_of(1)
        summary, said = self.convert("gone", fleet, code=1)
        self.assertEqual((summary["status"], summary["source_errors"]), ({"ok": 1}, 1))
        self.assertIn("gone: neither a file or folder nor a store", said)

    def test_a_scheduler_that_does_not_answer_is_waited_for_as_long_as_told(self):
        fleet = self.fleet_of(1)
        with socket.socket() as silent:  # takes connections and says nothing
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            for port in (silent.getsockname()[1], 1):
                started = time.monotonic()
                self.refused(1, "no scheduler answers there within 1 s", "convert", fleet, "--lake",
                             "l", "--vmr", VMR, "--wait", "1", "--scheduler",
                             f"tcp://127.0.0.1:{port}")
                self.assertLess(time.monotonic() - started, 15)

    def test_workers_that_cannot_work_are_named_before_anything_is_converted(self):
        fleet = self.fleet_of(1)
        address, workers = self.cluster(1)
        self.refused(1, "there is no program /opt/novmr", "convert", fleet, "--lake", "l", "--vmr",
                     "/opt/novmr", "--scheduler", address)
        os.kill(workers[0].pid, signal.SIGTERM)
        workers[0].wait()
        self.refused(1, "the scheduler has no workers within 1 s", "convert", fleet, "--lake", "l",
                     "--vmr", VMR, "--scheduler", address, "--wait", "1")
        self.assertEqual(digests(self.folder / "l"), {})
        self.assertTrue(fleet.is_dir())

    def test_without_dask_it_says_how_to_install_it(self):
        (self.folder / "lacking").mkdir()
        (self.folder / "lacking" / "distributed.py").write_text("raise ImportError('not there')\n")
        self.environment["PYTHONPATH"] = str(self.folder / "lacking")
        self.refused(1, "Dask is not installed for", "convert", "fleet", "--lake", "l")
        self.refused(1, "scripts/setup --fleet", "convert", "fleet", "--lake", "l")


class MakeFleet(FleetTest):
    def test_the_same_arguments_make_the_same_bytes_and_another_seed_others(self):
        one = digests(self.make_fleet(20, "--jobs", "1", name="one"))
        self.assertEqual(one, digests(self.make_fleet(20, "--jobs", "3", name="two")))
        self.assertEqual(len(one), 1 + 2 * 20 - 2)  # the manifest; one flat, one half of a store
        other = digests(self.make_fleet(5, "--seed", "2", name="three"))
        five = digests(self.make_fleet(5, name="four"))
        self.assertNotEqual(five["fleet.jsonl"], other["fleet.jsonl"])

    def test_each_oddity_is_there_and_the_rings_are_sparse(self):
        fleet = self.fleet_of(20)
        rows = self.manifest(fleet)
        self.assertEqual(sorted(row["odd"] for row in rows if row["odd"]),
                         ["damaged", "empty", "flat", "half", "mixed", "noise", "torn", "worn"])
        sound = next(row for row in rows if not row["odd"])["recording"]
        ring = os.stat(f"{fleet / sound}_1.mtd")
        self.assertEqual(ring.st_size, 128 << 20)
        self.assertLess(ring.st_blocks * 512, 1 << 20)
        told, _ = self.run_command(VMR, "info", "--format", "json", fleet / sound)
        told = json.loads(told)
        self.assertTrue(all(file["sound"] for file in told["files"]))

    def test_a_folder_that_is_not_empty_is_left_as_it_is(self):
        (self.folder / "full").mkdir()
        (self.folder / "full" / "mine").write_text("mine")
        _, said = self.run_command(ROOT / "examples" / "make-fleet", "--vmr", VMR, "full", code=1)
        self.assertIn("full: is not empty; name a new folder", said)
        self.assertEqual(os.listdir(self.folder / "full"), ["mine"])


def lacking(tests):
    """What these tests need and is not there, in words."""
    names = " ".join(tests)
    if "Sources" in names or "MakeFleet" in names:
        return None
    if importlib.util.find_spec("distributed") is None:
        return f"Dask is not installed for {sys.executable}"
    if shutil.which("dask-scheduler") is None:
        return "dask-scheduler is not installed"
    told = subprocess.run([VMR, "export", "--help"], capture_output=True, text=True, check=False)
    if "--layout" not in told.stdout:
        return "vmr knows no lakes"
    if shutil.which("node") is None or not (ROOT / "tools" / "lake" / "node_modules").is_dir():
        return "Node, or Node's part of the lake, is not installed (scripts/setup --lake)"
    return None


if __name__ == "__main__":
    if why := lacking(sys.argv[3:]):
        print(f"skipped: {why}", file=sys.stderr)
        sys.exit(77)
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
