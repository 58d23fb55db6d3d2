#!/usr/bin/env python3
"""The program and the reader of the conformance cases read random flat files the same, line by
line: adjusted ticks, times that jump, ways, wrong CRCs, unknown items, bytes between packets, marks
of gaps, new runs, ends that are cut off.

usage: random_test.py VMR [FILES [SEED]]
"""

import collections
import pathlib
import random
import sys
import tempfile

import compare
import reader
import recipes
import run

FIRST_TIME = 1700000000
KINDS_SEEN = {"gap", "clock_step", "position", "time", "tick_adjust"}


class Drive:
    def __init__(self, seed):
        self.rng = random.Random(seed)
        self.tick = self.rng.choice([1, 200, 100000, 500000, 0xFFFFFFF0])
        self.zero = 2 * FIRST_TIME - self.tick

    def some(self, *choices):
        return self.rng.choice(choices)

    def byte(self, most=255):
        return self.rng.randint(0, most)

    def time(self):
        adjust = self.some(0, 0, 3, 10)
        seconds = (self.zero + self.tick - adjust) // 2 + self.some(0, 0, 0, 0, 0, 1, -1, 5, -100)
        item = b"\x03" + (seconds & 0x7FFFFFFF).to_bytes(4, "little")
        return bytes([0x21, adjust]) + item if adjust else item

    def place(self):
        return bytes([0x91, self.some(0, 1, 2, 3, 4), self.byte(95), self.byte(61), self.byte(),
                      self.byte(0x28), self.byte(181), self.byte(59), 1, 2])

    def item(self):
        makers = [(4, self.time), (3, lambda: bytes([0x92, self.byte(), self.byte()])),
                  (2, self.place), (2, lambda: bytes([0x21, self.byte(12)])),
                  (1, lambda: b"\xFF"), (1, lambda: b"\x20\x05ab"),
                  (2, lambda: bytes([0x71, self.byte()])),
                  (5, lambda: bytes([self.some(0x34, 0x35, 0x36, 0x56)]))]
        weights, makers = zip(*makers)
        return self.rng.choices(makers, weights)[0]()

    def packet(self):
        self.tick = self.tick + self.some(0, 1, 1, 2, 5, 40, 300) & 0xFFFFFFFF
        if self.rng.random() < 0.02:
            self.tick = self.rng.randrange(1, 1000)
        items = b"".join(self.item() for _ in range(self.byte(4)))
        wrong = self.rng.random() < 0.06
        kind = self.rng.choices(["whole", "short", "continued"], [3, 5, 2])[0]
        if kind == "continued":
            return recipes.cont(items, wrong)
        if kind == "short":
            return recipes.hdr2(self.tick & 0xFF, items, wrong)
        return recipes.hdr1(self.tick, items, wrong)

    def file(self):
        packets = []
        for _ in range(self.rng.randrange(3, 25)):
            packets.append(self.packet())
            if self.rng.random() < 0.04:
                packets.append(bytes(self.byte() for _ in range(self.rng.randrange(1, 9))))
            if self.rng.random() < 0.04:
                packets.append(b"\x82\x00\xFF")
        data = recipes.MAGIC + b"".join(packets)
        return data[: -self.rng.randrange(1, 6)] if self.rng.random() < 0.3 else data


def main():
    vmr = sys.argv[1]
    files, first = (int(number) for number in sys.argv[2:4] + ["150", "1"][len(sys.argv[2:4]):])
    kinds, qualities = collections.Counter(), collections.Counter()
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "random.vmd"
        for seed in range(first, first + files):
            path.write_bytes(Drive(seed).file())
            ours = reader.read(str(path))
            theirs, problem = run.found_by([vmr, "export", "{}", "--format", "jsonl"], path)
            problem = problem or compare.difference(ours, theirs)
            if problem is not None:
                sys.exit(f"FAILED: the program, in file {seed}: {problem}\n"
                         f"again: {sys.argv[0]} {vmr} 1 {seed}")
            kinds.update(line["kind"] for line in ours)
            qualities.update(line.get("time_quality") for line in ours)
    if files > 100 and (KINDS_SEEN - set(kinds) or qualities["estimated"] < 100):
        sys.exit(f"FAILED: too little was looked at: {kinds}, {qualities}")
    print(f"{files} files, {sum(kinds.values())} lines, {kinds['gap']} gaps, "
          f"{kinds['clock_step']} steps, {qualities['estimated']} estimated times")


if __name__ == "__main__":
    main()
