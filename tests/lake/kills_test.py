"""kills_test.py VMR [SEED]: whoever is killed while a lake is written, nothing half is seen.

Twenty times a recording that has grown is put into a lake that has what it was before, and the
program, its writer or both are ended at a random moment.
"""

import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import time

import lakes
from lakes import samples

KILLS = 20
SEED = int(sys.argv.pop(2)) if len(sys.argv) > 2 else random.SystemRandom().randrange(10**6)
DAY = 86400


def drive(days):
    """Some kinds of record on each of so many days; the clock is set at each midnight."""
    packets, tick = [], 0
    for day in range(days):
        for second in range(20):
            tick += 2
            items = samples.time(1700000000 + day * DAY + second)
            items += samples.speed(second) + samples.text(0x20, f"day {day} second {second}")
            if second == 0:
                items += samples.place(1000 * day, -2000 * day) + lakes.serial("K1")
            packets.append(samples.packet(tick, items))
    return packets


def text_of(path):
    try:
        return pathlib.Path(path).read_text(encoding="utf-8", errors="replace")
    except OSError:
        return ""


# The children that run another program. One of the same is no writer: with a leak sanitizer the
# program has such a child at its end, and waits for it forever when it is killed.
def writers_of(pid):
    children = text_of(f"/proc/{pid}/task/{pid}/children").split()
    commands = {child: text_of(f"/proc/{child}/cmdline") for child in children}
    own = text_of(f"/proc/{pid}/cmdline")
    return [int(child) for child, command in commands.items() if command not in ("", own)]


def send(pid, number):
    try:
        os.kill(pid, number)
    except ProcessLookupError:
        pass


class Kills(lakes.LakeTest):
    def lake_of(self, name, recording):
        self.export(recording, lake=self.folder / name)
        return self.files(self.folder / name)

    def start(self):
        return subprocess.Popen([lakes.VMR, "export", "--layout", "lake", "--root", self.lake,
                                 self.new], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def end(self, process, who):
        writers = writers_of(process.pid)
        if who in ("program", "both"):
            process.kill()
        if who == "asked":
            process.send_signal(signal.SIGTERM)
        if who in ("writer", "both"):
            for writer in writers:
                send(writer, signal.SIGKILL)
        return process.wait(60)

    def assert_nothing_half(self):
        seen = self.files()
        for name, content in seen.items():
            self.assertIn(content, (self.before.get(name), self.after.get(name)), name)
        if any(name.startswith("recordings/") for name in seen):
            self.assertIn(seen, (self.before, self.after), "a row, and not all of its files")

    def test_what_is_seen_is_whole_and_the_next_run_completes_it(self):
        print("seed", SEED)
        rng = random.Random(SEED)
        old, self.new = self.put("old.vmd", *drive(2)), self.put("new.vmd", *drive(5))
        self.before, self.after = self.lake_of("before", old), self.lake_of("after", self.new)
        self.assertGreater(len(self.after), len(self.before))
        began = time.monotonic()
        shutil.copytree(self.folder / "before", self.lake)
        self.start().wait()
        whole = time.monotonic() - began
        ended_early = 0
        for number in range(4 * KILLS):
            if ended_early == KILLS:
                break
            who = ("program", "writer", "both", "asked")[number % 4]
            with self.subTest(seed=SEED, number=number, who=who):
                shutil.rmtree(self.lake)
                shutil.copytree(self.folder / "before", self.lake)
                process = self.start()
                time.sleep(rng.uniform(0.3, 1) * whole)
                if self.end(process, who) != 0:
                    ended_early += 1
                else:
                    whole *= 0.9  # it takes less time than the first one did
                self.assert_nothing_half()
                self.export(self.new)
                self.assertEqual(self.files(), self.after)
                self.assert_no_scratch()
        self.assertEqual(ended_early, KILLS, "so many had something to disturb")


class Steps(lakes.LakeTest):
    """Each step of putting files in place, in turn, is the last one."""

    def test_at_each_call_that_changes_the_lake(self):
        if shutil.which("strace") is None:
            self.skipTest("needs strace")
        old, new = self.put("old.vmd", *drive(1)), self.put("new.vmd", *drive(3))
        for name, recording in (("before", old), ("after", new)):
            self.export(recording, lake=self.folder / name)
        before, after = self.files(self.folder / "before"), self.files(self.folder / "after")
        for call in ("rename", "fsync", "unlink"):
            for count in range(1, 60, {"rename": 4, "fsync": 12, "unlink": 9}[call]):
                shutil.rmtree(self.lake, ignore_errors=True)
                shutil.copytree(self.folder / "before", self.lake)
                done = subprocess.run(
                    ["strace", "-o", "/dev/null", "-e", f"trace={call}", "-e",
                     f"inject={call}:signal=KILL:when={count}", lakes.VMR, "export", "--layout",
                     "lake", "--root", self.lake, new], capture_output=True, check=False)
                if done.returncode == 0:
                    break
                with self.subTest(call=call, count=count):
                    seen = self.files()
                    for name, content in seen.items():
                        self.assertIn(content, (before.get(name), after.get(name)), name)
                    if any(name.startswith("recordings/") for name in seen):
                        self.assertIn(seen, (before, after))
                    self.export(new)
                    self.assertEqual(self.files(), after)
                    self.assert_no_scratch()


if __name__ == "__main__":
    lakes.main()
