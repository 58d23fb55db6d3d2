#!/usr/bin/env python3
"""Cuts extracts out of the oldest two hours of a ring that has gone round, where what was known
when they began has been written over: they hold what the ring holds there, and their state tells
what the ring tells in front of them, neither more nor less.

usage: oldest_end_test.py VMR [EXTRACTS [SEED]]
"""

import os
import random
import subprocess
import sys
import tempfile

import decoder
import extracts
import reading
import rings
import sessions

TICKS = 40000  # of the recording that the oldest end is of
OLDEST_TICKS = 2 * 60 * 60 * 2


def check(good, what):
    if not good:
        sys.exit(f"FAILED: {what}")


def long_drive(rng):
    drive = sessions.Drive(rng)
    drive.makers += [(40, drive.fix), (30, drive.input)]
    lines, tick = [{"event": "bookmark", "tick": 1, "time": sessions.stamp(1700000000)}], 1
    while tick < TICKS:
        tick += rng.choice([0, 1, 2, 4, 9, 30])
        lines.append({**drive.event(), "tick": tick})
    return lines


def make_ring(vmr, base, rng):
    """A full ring; the clusters of its oldest end, from the oldest on."""
    with open(base + ".json", "w", encoding="utf-8") as file:
        file.write(sessions.text_of(long_drive(rng)))
    subprocess.run([vmr, "record", base, "--replay", "--input", base + ".json"], check=True,
                   capture_output=True)
    clusters = [max(pair, key=lambda copy: int.from_bytes(copy[5:7], "little"))
                for pair in reading.first_lap(base)]
    check(len(clusters) > 12, f"only {len(clusters)} clusters")
    kept = clusters[rng.randint(2, 6):]
    oldest = rng.randrange(decoder.CLUSTERS)

    def cluster_of(number):
        place = (number - oldest) % decoder.CLUSTERS
        return kept[place] if place < len(kept) else rings.filler(TICKS + 1000 + place)

    rings.write_ring(base, cluster_of)
    return kept


def check_extract(vmr, base, records, start, end):
    """How many states it begins with."""
    out = base + ".vmd"
    done = subprocess.run([vmr, "extract", base, out, "--force", "--from", str(start), "--to",
                           str(end)], capture_output=True, text=True)
    what = f"extract {start} to {end}"
    check(done.returncode == 0, f"{what} ends with {done.returncode}: {done.stdout}{done.stderr}")
    stated, problem = extracts.compare(out, records, [], start, end)
    check(problem is None, f"{what}: {problem}")
    return stated


def main():
    vmr = os.path.abspath(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 100
    rng = random.Random(int(sys.argv[3]) if len(sys.argv) > 3 else 1)
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        base = os.path.join(folder, "ring")
        kept = make_ring(vmr, base, rng)
        stretches = reading.ring_stretches([[cluster] for cluster in kept])
        records, _ = reading.read([stretches[0]._replace(gap=True), *stretches[1:]], False)
        oldest = next(record.tick for record in records if record.tick is not None)
        fewest, most = 1000, 0
        for number in range(count):
            # Some right at the end, where next to nothing is known.
            reach = OLDEST_TICKS if number % 4 else 300
            start = oldest + 1 + rng.randrange(reach)
            stated = check_extract(vmr, base, records, start, start + rng.randint(50, 3000))
            fewest, most = min(fewest, stated), max(most, stated)
    check(fewest < 30 < most, f"states of {fewest} to {most} values test little")
    print(f"{count} extracts, which begin with {fewest} to {most} states")


if __name__ == "__main__":
    main()
