#!/usr/bin/env python3
"""check_host.py RECORDER VMR: the example service through stops, a power cut and
a lost file, and what `vmr view` shows of it."""
import atexit
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time

TIMEOUT_S = 120  # far more than anything takes, for a loaded machine

EVENTS = ["lights on", "siren on", "fix N 41 39.0150 W 93 29.9638", "no such thing", "bookmark"]
RECORDED = [
    "officer='J. Larsen'",
    "[Tag=emergency lights, TagNo=0x34, State=on]",
    "[Tag=siren, TagNo=0x36, State=on]",
    "[Tag=GpsAbs, TagNo=0x91, Quad=1-NW,",
    "[Tag=Bookmark",
    "[Tag=emergency lights, TagNo=0x35, State=off]",
    "[Tag=siren, TagNo=0x37, State=off]",
]
# What waited in memory when it was saved, too.
SAVED = [
    "[Tag=String, TagNo=0x20, log='Range ",
    "officer='J. Larsen'",
    "[Tag=siren, TagNo=0x36, State=on]",
    "[Tag=GpsAbs, TagNo=0x91, Quad=1-NW,",
    "[Tag=Bookmark",
]


class Service:
    """The recorder with a service manager's socket and a pipe of events."""

    def __init__(self, recorder, folder):
        self.manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.manager.settimeout(TIMEOUT_S)
        path = os.path.join(folder, "notify")
        if os.path.exists(path):
            os.unlink(path)
        self.manager.bind(path)
        started = time.monotonic()
        self.process = subprocess.Popen(
            [recorder, folder], stdin=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env={**os.environ, "NOTIFY_SOCKET": path})
        # It would keep the output open for whoever waits for this script to end.
        atexit.register(self.process.kill)
        self.first_tick = self.tick_after("recording from tick ")
        self.half_seconds_to_open = int(2 * (time.monotonic() - started)) + 1

    def tick_after(self, words):
        """The number behind `words` in the next line of the log that has them."""
        for line in self.process.stderr:
            print(line, end="")
            found = re.search(re.escape(words) + r"(\d+)", line)
            if found:
                return int(found.group(1))
        sys.exit(f"the recorder ended without saying '{words}'")

    def goes_on_behind(self, tick):
        """Its first tick is the next one, but for those that went by while it opened."""
        assert 1 <= self.first_tick - tick <= 1 + self.half_seconds_to_open, (
            self.first_tick, tick, self.half_seconds_to_open)

    def send(self, lines):
        self.process.stdin.write("".join(line + "\n" for line in lines))
        self.process.stdin.flush()

    def wait_for_pets(self, count):
        """So many timer ticks from now on."""
        self.manager.setblocking(False)
        try:
            while self.manager.recv(64):
                pass
        except BlockingIOError:
            self.manager.settimeout(TIMEOUT_S)
        for _ in range(count):
            assert self.manager.recv(64) == b"WATCHDOG=1"

    def end(self, signal_number):
        """The tick at which it stopped, None when it could not say."""
        self.process.send_signal(signal_number)
        stopped = None if signal_number == signal.SIGKILL else self.tick_after("stopped at tick ")
        self.process.communicate(timeout=TIMEOUT_S)
        expected = -signal.SIGKILL if signal_number == signal.SIGKILL else 0
        assert self.process.returncode == expected, self.process.returncode
        self.manager.close()
        return stopped


def drive(recorder, folder):
    """Four runs; ticks go on increasing from each to the next."""
    run = Service(recorder, folder)
    run.goes_on_behind(0)
    run.wait_for_pets(2)
    run.send(EVENTS + ["save"])
    run.tick_after("saved the minute before tick ")
    stopped = run.end(signal.SIGTERM)

    run = Service(recorder, folder)
    run.goes_on_behind(stopped)
    run.send(["door open"])
    run.wait_for_pets(4)
    run.end(signal.SIGKILL)

    cut = run.first_tick
    run = Service(recorder, folder)
    assert run.first_tick > cut + 3, (run.first_tick, cut)
    run.wait_for_pets(1)
    stopped = run.end(signal.SIGINT)

    os.unlink(os.path.join(folder, "ticks"))
    run = Service(recorder, folder)
    assert run.first_tick >= stopped, (run.first_tick, stopped)
    run.end(signal.SIGTERM)


def listing(vmr, path):
    viewed = subprocess.run([vmr, "view", "--listing", path], check=True, stdout=subprocess.PIPE,
                            timeout=TIMEOUT_S)
    return viewed.stdout.decode("latin-1")


def check_saved(text):
    for item in SAVED:
        assert item in text, f"not saved: {item}\n{text}"


def check_listing(text):
    for item in RECORDED + ["[Tag=door, TagNo=0x3E, State=on]"]:
        assert item in text, f"not in the listing: {item}\n{text}"
    shown = re.findall(r"^\(hdr\w+\) +(\d+) ", text, re.MULTILINE)
    ticks = [int(tick) for tick in shown if tick != "4294967295"]
    assert len(ticks) > 10 and ticks == sorted(ticks), ticks


def main(recorder, vmr):
    with tempfile.TemporaryDirectory() as folder:
        drive(recorder, folder)
        check_listing(listing(vmr, os.path.join(folder, "drive")))
        check_saved(listing(vmr, os.path.join(folder, "saved")))


if __name__ == "__main__":
    main(*sys.argv[1:])
