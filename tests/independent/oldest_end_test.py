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
import reading
import rings
import sessions

TICKS = 40000  # of the recording that the oldest end is of
OLDEST_TICKS = 2 * 60 * 60 * 2
PAST_END = 20
NO_STATE = {0x03, 0x1A, 0x20, 0x21, 0x56, 0xC0, 0xF1}  # framing and events
RADAR = range(0x61, 0x6F)
COVERT_ON = 0x3A


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


def known_at(records, tick):
    """By what it is of, what the records tell last in front of a tick."""
    known = {}
    for record in records:
        if record.tick is not None and record.tick >= tick:
            break
        if record.tag in NO_STATE or record.tag in RADAR:
            continue
        key, value = reading.key_and_value(record.tag, record.body, record.position)
        if record.position is not None and record.position[2] != reading.KNOWN:
            known.pop(key, None)
        elif record.tag == reading.LIVE_STREAM and record.repeats:
            known.setdefault(key, value)  # a full state may lag behind the reports
        else:
            known[key] = value
    return known


def split(path):
    """(records of an extract's state, the others)"""
    stretches = reading.flat_stretches(path)
    records, gaps = reading.read(stretches, True)
    check(gaps == 0, f"{gaps} gaps in an extract")
    packets = list(decoder.packets(stretches[0].payload))
    heads = [n for n, packet in enumerate(packets) if packet.kind != 0x82]
    state_packets = packets[: heads[1] if len(heads) > 1 else len(packets)]
    count = sum(len(list(decoder.items(packet))) for packet in state_packets)
    return records[:count], records[count:]


def as_told(records):
    return [(r.tick, r.event_tick, r.tag, r.body, r.position and r.position[2],
             r.position and r.position[2] and r.position[:2]) for r in records]


def check_extract(vmr, base, records, start, end):
    """How many states it begins with."""
    out = base + ".vmd"
    done = subprocess.run([vmr, "extract", base, out, "--force", "--from", str(start), "--to",
                           str(end)], capture_output=True, text=True)
    what = f"extract {start} to {end}"
    check(done.returncode == 0, f"{what} ends with {done.returncode}: {done.stdout}{done.stderr}")
    state, copied = split(out)
    wanted = [r for r in records if r.tick is not None and start <= r.tick <= end + PAST_END]
    for ours, theirs in zip(as_told(copied), as_told(wanted)):
        check(ours == theirs, f"{what}: it says {ours}, the store {theirs}")
    check(len(copied) == len(wanted), f"{what}: {len(copied)} records, the store has {len(wanted)}")
    stated, known = known_at(state, start + 1), known_at(records, start)
    check(stated == known, f"{what}: stated and not recorded {sorted_difference(stated, known)}, "
                           f"recorded and not stated {sorted_difference(known, stated)}")
    return len(stated)


def sorted_difference(some, others):
    return sorted((str(key), value) for key, value in some.items()
                  if key not in others or others[key] != value)


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
