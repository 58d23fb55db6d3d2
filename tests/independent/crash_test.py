#!/usr/bin/env python3
"""Kills the recorder with SIGKILL at random moments of a paced replay.

Each time, every packet that a file had taken before the kill must be read back
in order, and recording must go on.

usage: crash_test.py VMR [KILLS [SEED]]
"""

import json
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time

WRITING = re.compile(r"writing into data store (\d+) bytes at sysTick (\d+)$")
WROTE = re.compile(r"wrote currBuffer to file #\d cluster #\d+$")
HEADER_LINE = re.compile(r"\(hdr([12]|CONT)\) +(\d+) \(\S+ \S+\) \((\d+)\) ")
HEAD_BYTES = {"1": 7, "2": 4, "CONT": 3}
LOG_EACH_ITEM = "135"


def tick_lines(rng, tick):
    """The events of one tick: up to two packets' worth."""
    yield {"event": "temperature", "sensor": "cpu", "degrees": rng.randrange(100), "tick": tick}
    yield {"event": "button", "button": rng.randrange(3), "action": rng.randrange(3)}
    for _ in range(rng.randrange(400)):
        yield {"event": "bookmark"}


def read_acknowledged(stream, acknowledged):
    """Collects (tick, bytes) of every packet whose write had returned."""
    pending = None
    for raw in stream:
        line = raw.decode("latin-1").rstrip("\n")
        if not raw.endswith(b"\n"):
            return
        if found := WRITING.search(line):
            pending = (int(found[2]), int(found[1]))
        elif WROTE.search(line) and pending:
            acknowledged.append(pending)
            pending = None


def feed(pipe, rng, first_tick):
    """Ticks at a pace, for longer than any round lasts."""
    try:
        for n in range(100000):
            lines = (json.dumps(event) + "\n" for event in tick_lines(rng, first_tick + 2 * n))
            pipe.write("".join(lines).encode())
            pipe.flush()
            time.sleep(rng.random() * 0.002)
    except BrokenPipeError:
        pass


def record_until_killed(vmr, base, rng, first_tick):
    recorder = subprocess.Popen([vmr, "record", base, "--replay", "--input", "-"],
                                stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                                env={**os.environ, "VMR_LOG": LOG_EACH_ITEM})
    acknowledged = []
    reader = threading.Thread(target=read_acknowledged, args=(recorder.stderr, acknowledged))
    feeder = threading.Thread(target=feed, args=(recorder.stdin, random.Random(rng.random()),
                                                 first_tick))
    reader.start()
    feeder.start()
    while not acknowledged and recorder.poll() is None:
        time.sleep(0.001)
    time.sleep(rng.random() * 0.3)
    recorder.send_signal(signal.SIGKILL)
    recorder.wait()
    reader.join()
    feeder.join()
    if recorder.returncode != -signal.SIGKILL:
        sys.exit(f"FAILED: the recorder ended by itself with {recorder.returncode}")
    return acknowledged


def read_back(vmr, base):
    """(tick, bytes) of every packet in the view. A header line shows the tick
    before it, so the next line tells a packet's own."""
    text = subprocess.run([vmr, "view", "--listing", base], capture_output=True, check=True).stdout
    lines = HEADER_LINE.findall(text.decode("latin-1"))
    return [(int(after[1]), int(items) + HEAD_BYTES[kind])
            for (kind, _, items), after in zip(lines, lines[1:])]


def check_in_order(packets, rounds):
    """Every round's packets in order; between rounds at most the packet that was
    on its way when the kill came."""
    at = 0
    for number, acknowledged in enumerate(rounds):
        extra = 0
        for packet in acknowledged:
            while at < len(packets) and not same(packets[at], packet):
                at += 1
                extra += 1
            if at == len(packets) and (number, packet) != (len(rounds) - 1, acknowledged[-1]):
                sys.exit(f"FAILED: round {number}: packet {packet} is missing")
            at += 1
        if extra > 1:
            sys.exit(f"FAILED: round {number}: {extra} packets that nobody acknowledged")


def same(packet, acknowledged):
    tick, size = acknowledged
    return packet[1] == size and (tick == 0xFFFFFFFE or packet[0] == tick)


def main():
    vmr = sys.argv[1]
    kills = int(sys.argv[2]) if len(sys.argv) > 2 else 50
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.SystemRandom().randrange(1 << 32)
    print(f"seed {seed}", flush=True)
    rng = random.Random(seed)
    with tempfile.TemporaryDirectory() as folder:
        base = os.path.join(folder, "ring")
        rounds = []
        for number in range(kills):
            last_tick = max((p[0] for r in rounds for p in r if p[0] != 0xFFFFFFFE), default=0)
            rounds.append(record_until_killed(vmr, base, rng, last_tick + 100))
            check_in_order(read_back(vmr, base), rounds)
        total = sum(len(r) for r in rounds)
        if total < 10 * kills:
            sys.exit(f"FAILED: only {total} packets in {kills} rounds test little")
        print(f"{kills} kills, {total} acknowledged packets, all read back in order")


if __name__ == "__main__":
    main()
