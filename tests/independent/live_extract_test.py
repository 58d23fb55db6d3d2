#!/usr/bin/env python3
"""Extracts from a ring, again and again, while a recorder writes into it.

Every extract must be whole: every packet with its CRC, in order, and of the
numbered events none missing between its first and its last.

usage: live_extract_test.py VMR [SECONDS]
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import threading
import time

import decoder

PACKETS_A_SECOND = 50
TICKS_BETWEEN = 3  # more than an item waits, so that each event is a packet of its own
LOG_TAG = 0x20
DICTIONARY_END = 147


def feed(pipe, stop, fed):
    """Numbered texts, at a pace, each some ticks after the one before it."""
    begun = time.monotonic()
    while not stop.is_set():
        number = len(fed)
        event = {"event": "log", "text": f"number {number}", "tick": 10 + number * TICKS_BETWEEN}
        pipe.write((json.dumps(event) + "\n").encode())
        pipe.flush()
        fed.append(number)
        delay = begun + (number + 1) / PACKETS_A_SECOND - time.monotonic()
        if delay > 0:
            time.sleep(delay)


def numbers_in(path):
    """The numbered texts of an extract in its order; raises Damaged."""
    stream = open(path, "rb").read()
    if stream[:4] != b"f]S1":
        raise decoder.Damaged("no magic")
    numbers, last_tick = [], None
    for packet in decoder.packets(stream[DICTIONARY_END:]):
        if last_tick is not None and packet.tick < last_tick:
            raise decoder.Damaged(f"tick {packet.tick} behind tick {last_tick}")
        last_tick = packet.tick
        for item in decoder.items(packet):
            if item.tag == LOG_TAG:
                text = item.body[1:].decode()
                if found := re.fullmatch(r"number (\d+)", text):
                    numbers.append(int(found[1]))
    return numbers


def extract_once(vmr, folder, first_tick):
    """One extraction to the end of the recording; the numbers it holds."""
    out = os.path.join(folder, "cut")
    run = subprocess.run(
        [vmr, "extract", os.path.join(folder, "s"), out, "--force", "--from", str(first_tick),
         "--to", "4294967295"], capture_output=True, text=True, check=False)
    if run.returncode not in (0, 3):
        raise decoder.Damaged(f"exit {run.returncode}: {run.stderr}")
    return numbers_in(out)


def wait_for_store(folder, recorder):
    for _ in range(1200):
        if recorder.poll() is not None:
            sys.exit(f"FAILED: the recorder ended with {recorder.returncode}")
        if os.path.exists(os.path.join(folder, "s_2.mtd")):
            return
        time.sleep(0.1)
    sys.exit("FAILED: the recorder did not start")


def main():
    vmr = sys.argv[1]
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 30
    with tempfile.TemporaryDirectory() as folder:
        recorder = subprocess.Popen(
            [vmr, "record", os.path.join(folder, "s"), "--replay", "--input", "-"],
            stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
        fed, stop = [], threading.Event()
        feeder = threading.Thread(target=feed, args=(recorder.stdin, stop, fed))
        feeder.start()
        extracts, longest, newest = 0, 0, -1
        try:
            wait_for_store(folder, recorder)
            end = time.monotonic() + seconds
            while time.monotonic() < end or extracts < 3:
                # Now from the beginning, now from some way in.
                first = 0 if extracts % 2 else max(0, newest - 300)
                numbers = extract_once(vmr, folder, 9 + first * TICKS_BETWEEN)
                expected = list(range(numbers[0], numbers[-1] + 1)) if numbers else []
                if numbers != expected:
                    missing = sorted(set(expected) - set(numbers))
                    sys.exit(f"FAILED: extract {extracts}: order or packets lost: {missing[:10]}")
                if numbers and numbers[0] > first + 1:
                    sys.exit(f"FAILED: extract {extracts} begins at {numbers[0]}, not at {first}")
                if numbers and numbers[-1] < newest:
                    sys.exit(f"FAILED: extract {extracts} ends before an earlier one")
                newest = max(newest, numbers[-1] if numbers else -1)
                longest = max(longest, len(numbers))
                extracts += 1
        finally:
            stop.set()
            feeder.join()
            recorder.stdin.close()
            recorder.wait()
        everything = extract_once(vmr, folder, 0)
        if everything != list(range(len(fed))):
            sys.exit(f"FAILED: {len(fed)} fed, {len(everything)} in the last extract")
    if newest < 1:
        sys.exit("FAILED: nothing was extracted while the recorder ran")
    print(f"{extracts} extracts while {len(fed)} packets were recorded, the longest of {longest} "
          f"packets; every one whole")


if __name__ == "__main__":
    try:
        main()
    except decoder.Damaged as damage:
        sys.exit(f"FAILED: {damage}")
