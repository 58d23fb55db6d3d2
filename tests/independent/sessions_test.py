#!/usr/bin/env python3
"""Compares what two decoders find in random sessions, and in what damage leaves of them.

usage: sessions_test.py VMR PRINT_RECORDS [SESSIONS [SEED [STEP...]]]
"""

import collections
import json
import os
import random
import subprocess
import sys
import tempfile

import decoder
import extracts
import reading
import sessions

NO_TICK = 0xFFFFFFFF
CLUSTER = decoder.CLUSTER
KINDS_OF_GAPS = {"lost": "lost clusters", "cut": "cut short"}


class Disagreement(Exception):
    pass


def check(good, what):
    if not good:
        raise Disagreement(what)


def as_tick(tick):
    return NO_TICK if tick is None else tick


class Bench:
    def __init__(self, vmr, print_records, folder):
        self.vmr, self.print_records = vmr, print_records
        self.base = os.path.join(folder, "ring")
        self.input = os.path.join(folder, "input")
        self.flat = os.path.join(folder, "flat.vmd")
        self.counts = collections.Counter()

    # ---- Recording -------------------------------------------------------------------

    def record(self, rng):
        for _ in range(rng.choice([1, 1, 2])):
            with open(self.input, "w", encoding="utf-8") as file:
                file.write(sessions.text_of(sessions.session(rng)))
            done = subprocess.run([self.vmr, "record", self.base, "--replay", "--input",
                                   self.input], capture_output=True, text=True)
            check(done.returncode == 0, f"record ends with {done.returncode}: {done.stderr}")
            check(", 0 lines skipped" in done.stderr, f"record: {done.stderr}")
        return reading.first_lap(self.base)

    def write(self, pairs):
        for file in (0, 1):
            with open(f"{self.base}_{file + 1}.mtd", "r+b") as ring:
                ring.write(b"".join(copies[file] for copies in pairs))

    # ---- Comparison ------------------------------------------------------------------

    def printed(self, path):
        """What the program finds: [line's words of a record, words of its position], gaps."""
        done = subprocess.run([self.print_records, path], capture_output=True, text=True)
        text = done.stdout
        check(done.returncode == 0, f"not read at all: {text}{done.stderr}")
        records, gaps = [], []
        for line in text.splitlines():
            words = line.split(" ")
            if words[0] == "record":
                records.append([words, None])
            elif words[0] == "position":
                records[-1][1] = words
            elif words[0] in ("gap", "run"):
                gaps.append(line)
        return records, gaps

    def compare(self, path, stretches, is_flat=False):
        """Every record of the two decoders; the records and the program's gaps."""
        wanted, wanted_gaps = reading.read(stretches, is_flat)
        found, gaps = self.printed(path)
        for number, (ours, theirs) in enumerate(zip(wanted, found)):
            check(agree(ours, *theirs, self.counts), f"record {number}: {ours} and {theirs}")
        check(len(wanted) == len(found), f"{len(wanted)} records and {len(found)}")
        check(bool(wanted_gaps) == bool(gaps), f"{wanted_gaps} gaps and {gaps}")
        check(not any(line.startswith("run") for line in gaps), f"{gaps}")
        self.counts["records"] += len(wanted)
        self.counts["gaps"] += len(gaps)
        return wanted, gaps

    def compare_export(self, wanted, expected_exit=0):
        """The lines of an export have the same ticks, places and marks."""
        done = subprocess.run([self.vmr, "export", self.base], capture_output=True, text=True)
        check(done.returncode == expected_exit and (done.stderr == "") == (expected_exit == 0),
              f"export ends with {done.returncode}: {done.stderr}")
        lines = [line for line in map(json.loads, done.stdout.splitlines())
                 if line["kind"] not in ("clock_step", "gap")]
        check(len(lines) == len(wanted), f"{len(wanted)} records and {len(lines)} lines")
        for ours, line in zip(wanted, lines):
            check(agrees_with_line(ours, line), f"{ours} and {line}")

    # ---- Whole -----------------------------------------------------------------------

    def healthy(self, pairs):
        records, gaps = self.compare(self.base, reading.ring_stretches(pairs))
        check(not gaps, f"gaps in a healthy store: {gaps}")
        check(all(record.crc_right and record.tick is not None for record in records),
              "a healthy store has a doubtful record")
        stream = decoder.ring_stream(self.base) if self.counts["sessions"] % 20 == 0 else None
        check(stream in (None, b"".join(s.payload for s in reading.ring_stretches(pairs))),
              "this reader's two ways differ")
        self.compare_export(records)
        return records

    # ---- Damage ----------------------------------------------------------------------

    def broken_in_one(self, rng, pairs, healthy):
        """Each cluster in one file or in none; the newest may lose its last packet."""
        broken = [list(copies) for copies in pairs]
        for copies in broken:
            if rng.random() < 0.6:
                spoil(rng, copies, [rng.randrange(2)])
        self.write(broken)
        found, gaps = self.compare(self.base, reading.ring_stretches(broken))
        check(not gaps, f"gaps though each cluster is whole in a file: {gaps}")
        self.check_lost_at_most_last_packet(pairs, healthy, found)

    def check_lost_at_most_last_packet(self, pairs, healthy, found):
        payload = reading.ring_stretches(pairs)[-1].payload
        at, head, size = reading.packet_places(payload)[-1]
        packet = decoder.Packet(0, payload[at], payload[at + head : at + size - 1], b"")
        last = len(list(decoder.items(packet)))
        check(len(found) in (len(healthy), len(healthy) - last)
              and bytes_of(found) == bytes_of(healthy[: len(found)]),
              f"{len(healthy) - len(found)} records are lost, {last} in the last packet")
        self.counts["last packets lost"] += len(found) < len(healthy)

    def broken_in_both(self, rng, pairs, _):
        """Some clusters in both files: a gap for each run of them, and nothing else lost."""
        if len(pairs) < 2:
            return  # nothing would be left; how often not is required below
        some = rng.sample(range(len(pairs)), rng.randint(1, len(pairs) - 1))
        broken, kept, lost = lose(rng, pairs, some)
        self.write(broken)
        found, gaps = self.compare(self.base, reading.ring_stretches(broken))
        runs = sum(n + 1 not in lost for n in lost)
        check(len(gaps) == runs and all(KINDS_OF_GAPS["lost"] in gap for gap in gaps),
              f"{runs} runs of lost clusters, {gaps}")
        self.check_kept(kept, found)
        self.compare_export(found, 3)
        self.counts["stores with lost clusters"] += 1

    def recovered(self, rng, pairs, _):
        """A store that no recorder could search is read all the same, and recovered with marks."""
        newest = len(pairs) - 1
        # Bad in one file and never written in the other is an unfinished tail, and no loss.
        written = {n for n, copies in enumerate(pairs) if reading.NEVER not in copies}
        amid = looked_at(newest) - {0, newest}
        chosen = sorted(written & (amid or {0, newest}))
        if not chosen:
            return  # how often not is required below
        broken, kept, _ = lose(rng, pairs, [rng.choice(chosen)])
        self.write(broken)
        self.check_read_and_recovered(broken, kept)

    def cut_around_gaps(self, rng, pairs, _):
        """Extracts whose start or range is behind, in front of or around a lost cluster."""
        if len(pairs) < 2:
            return  # nothing would be left; how often not is required below
        broken, _, _ = lose(rng, pairs, [rng.randrange(len(pairs))])
        self.write(broken)
        records, gaps = reading.read(reading.ring_stretches(broken), False)
        ticks = [record.tick for record in records if record.tick is not None]
        for _ in range(5):
            start = rng.choice(ticks) - rng.randrange(2)
            end = max(start, min(start + rng.choice([10, 1000, 30000]), ticks[-1]))
            done = subprocess.run([self.vmr, "extract", self.base, self.flat, "--force", "--from",
                                   str(start), "--to", str(end)], capture_output=True, text=True)
            what = f"extract {start} to {end}"
            check(done.returncode in (0, 3), f"{what} ends with {done.returncode}: {done.stderr}")
            _, problem = extracts.compare(self.flat, records, gaps, start, end)
            around = [ticks_of(records, gap) for gap in gaps]
            check(problem is None, f"{what}: {problem}, gaps {around}")
            self.counts["cuts around gaps"] += 1

    def check_kept(self, kept, found):
        ours, theirs = ([record[1:] for record in bytes_of(all_)] for all_ in (found, kept))
        check(ours == theirs,
              f"{len(found)} records, {len(kept)} in whole clusters")

    def check_read_and_recovered(self, broken, kept):
        done = subprocess.run([self.vmr, "export", self.base], capture_output=True, text=True)
        check(done.returncode == (3 if kept else 1) and "vmr recover" in done.stderr,
              f"export ends with {done.returncode}: {done.stderr}")
        if kept:
            self.compare(self.base, reading.ring_stretches(broken))
        out = self.base + "-recovered"
        done = subprocess.run([self.vmr, "recover", self.base, out], capture_output=True, text=True)
        check(done.returncode == (3 if kept else 1),
              f"recover ends with {done.returncode}: {done.stderr}")
        if not kept:
            return
        try:
            found, gaps = self.compare(out, reading.ring_stretches(reading.first_lap(out)))
            self.check_kept(kept, found)
            told = reading.read(reading.ring_stretches(broken), False)[0]
            check([r.position for r in told] == [r.position for r in found],
                  f"positions of the recovered store are others than before, {gaps}")
        finally:
            for number in (1, 2):
                os.remove(f"{out}_{number}.mtd")
        self.counts["stores recovered"] += 1

    def flipped(self, rng, pairs, healthy):
        """Bits of items, ticks and packet CRCs, under a right cluster CRC."""
        self.flip(rng, pairs, in_framing=False)
        pairs = reading.first_lap(self.base)
        found, gaps = self.compare(self.base, reading.ring_stretches(pairs))
        # The last two bytes of a continuation are in no packet's CRC.
        check(gaps or all(record.crc_right for record in found), "a mark without a gap")
        self.compare_export(found, 3 if gaps else 0)
        self.counts["marked"] += sum(not record.crc_right for record in found)

    def flipped_framing(self, rng, pairs, healthy):
        """Bits of packet kinds and lengths: nothing is made up without a mark, and little lost."""
        count = self.flip(rng, pairs, in_framing=True)
        found, gaps = self.printed(self.base)
        sure = [words for words, _ in found if "!" not in words[4]]
        whole = iter((f"{as_tick(r.tick)}", f"{r.tag:02x}", r.body.hex()) for r in healthy)
        ticks_lost = 0
        for words in sure:
            for tick, tag, body in whole:
                if words[1] in (tick, f"{NO_TICK}") and words[2:4] == [tag, body]:
                    ticks_lost += words[1] != tick
                    break
            else:
                raise Disagreement(f"no such record was written: {words}, {count} flips")
        check(gaps, "no gap shows flipped framing")
        self.counts["framing flips"] += count
        self.counts["records lost by them"] += len(healthy) - len(sure)
        self.counts["records without tick by them"] += ticks_lost

    def flip(self, rng, pairs, in_framing):
        copies = [[best_copy(pair)] * 2 for pair in pairs]
        count = 0
        for n in range(len(copies)):
            block = bytearray(copies[n][0])
            size = int.from_bytes(block[5:7], "little")
            places = reading.packet_places(bytes(block[decoder.HEADER : size]))
            for at, head, bytes_ in rng.sample(places, min(len(places), rng.choice([0, 1, 3]))):
                framing = {0, head - 1}
                within = [i for i in range(bytes_) if (i in framing) == in_framing]
                place, bit = decoder.HEADER + at + rng.choice(within), 1 << rng.randrange(8)
                block[place] ^= bit
                # One in 256 has a right CRC by chance: no reader can tell.
                if in_framing and reading.is_sound_packet(block[decoder.HEADER + at : size]):
                    block[place] ^= bit
                else:
                    count += 1
            if n == 0 and count == 0:
                block[decoder.HEADER + (0 if in_framing else 1)] ^= 2
                count += 1
            block[0] = decoder.crc8(block[1:size])
            copies[n] = [bytes(block)] * 2
        self.write(copies)
        return count

    def one_file(self, rng, pairs, healthy):
        """One file is gone, or too short to be one."""
        gone = rng.randrange(2)
        path = f"{self.base}_{gone + 1}.mtd"
        os.rename(path, path + ".away")
        try:
            found, gaps = self.compare(self.base, reading.ring_stretches(
                [[copies[1 - gone]] for copies in pairs if copies[1 - gone] != reading.NEVER]))
            check(not gaps, f"gaps with one file: {gaps}")
            self.check_lost_at_most_last_packet(pairs, healthy, found)
            self.counts["stores with one file"] += 1
        finally:
            os.rename(path + ".away", path)

    def cut_flat(self, rng, _, healthy):
        """An extract, as the program and as a unit makes it, whole and with its tail cut off."""
        first, last = healthy[0].tick, healthy[-1].tick
        start = rng.randint(first, last)
        for options in ([], ["--as-unit"]):
            done = subprocess.run(
                [self.vmr, "extract", self.base, self.flat, "--force", *options, "--from",
                 str(start), "--to", str(rng.randint(start, last))], capture_output=True, text=True)
            check(done.returncode in (0, 3), f"extract ends with {done.returncode}: {done.stderr}")
            stretches = reading.flat_stretches(self.flat)
            found, gaps = self.compare(self.flat, stretches, is_flat=True)
            check(not gaps, f"gaps in an extract of a healthy store: {gaps}")
            self.counts["unverified"] += sum(record.position is not None and record.position[2]
                                             == reading.UNVERIFIED for record in found)
            cut = rng.randrange(decoder.HEADER + 143, 4 + len(stretches[0].payload))
            with open(self.flat, "r+b") as file:
                file.truncate(cut)
            _, gaps = self.compare(self.flat, reading.flat_stretches(self.flat), is_flat=True)
            check(len(gaps) <= 1 and all(KINDS_OF_GAPS["cut"] in gap for gap in gaps), f"{gaps}")
            self.counts["tails cut"] += len(gaps)


def agree(ours, words, position, counts):
    marks = words[4]
    if words[1:4] != [str(as_tick(ours.tick)), f"{ours.tag:02x}", ours.body.hex()]:
        return False
    if ours.crc_right == marks.startswith("!"):
        return False
    if ours.repeats is not None:
        counts["repeats" if ours.repeats else "no repeats"] += 1
        if ours.repeats != marks.lstrip("!").startswith("r"):
            return False
    if (ours.position is None) != (position is None):
        return False
    if position is None:
        return True
    *place, quality = ours.position
    counts[("positions unknown", "positions unverified", "positions known")[quality]] += 1
    return (position[1] == str(as_tick(ours.event_tick)) and int(position[4]) == quality
            and (quality == reading.UNKNOWN or [int(w) for w in position[2:4]] == place))


def lose(rng, pairs, lost):
    """(the clusters with some spoilt in both files, the records of the others, which are lost)"""
    broken = [list(copies) for copies in pairs]
    for n in lost:
        spoil(rng, broken[n], [0, 1])
    kept = [record for n, stretch in enumerate(reading.ring_stretches(pairs)) if n not in lost
            for record in reading.read([stretch], False)[0]]
    return broken, kept, set(lost)


def looked_at(newest):
    """The clusters that a bisection for the newest one looks at, as far as they were written."""
    low, high, seen = 0, decoder.CLUSTERS - 1, {0}
    while high - low > 1:
        middle = (low + high) // 2
        if middle > newest:
            high = middle
        else:
            low = middle
            seen.add(middle)
    return seen


def agrees_with_line(ours, line):
    if (line["tick"], "packet_crc" not in line) != (ours.event_tick, ours.crc_right):
        return False
    if ours.repeats not in (None, line["repeats"]):
        return False
    if ours.position is None:
        return True
    shown = line.get("latitude"), line.get("longitude")
    if ours.position[2] == reading.UNKNOWN:
        return shown == (None, None)
    told = [value / 600000 for value in ours.position[:2]]
    return all(abs(a - b) < 1e-7 for a, b in zip(shown, told)) and "position" not in line


def ticks_of(records, number):
    return [record.tick for record in records[max(0, number - 1) : number + 1]]


def bytes_of(records):
    return [(record.tick, record.tag, record.body) for record in records]


def best_copy(pair):
    return max((copy for copy in pair if reading.sound_copy(copy)),
               key=lambda copy: int.from_bytes(copy[5:7], "little"))


def spoil(rng, copies, files):
    for file in files:
        block = copies[file]
        while reading.sound_copy(block):  # a CRC of 8 bits is right now and then
            block = spoilt(rng, copies[file])
        copies[file] = block


def spoilt(rng, block):
    size = int.from_bytes(block[5:7], "little")
    way = rng.randrange(3)
    if way == 0:
        bit = 1 << rng.randrange(8 * size)
        return (int.from_bytes(block, "little") ^ bit).to_bytes(CLUSTER, "little")
    return bytes(CLUSTER) if way == 1 else rng.randbytes(CLUSTER)


# What each step must have come across, and how often in ten sessions at least.
STEPS = {
    "cut_flat": {"positions unverified": 1, "tails cut": 10},
    "one_file": {"stores with one file": 10},
    "broken_in_one": {"last packets lost": 1},
    "broken_in_both": {"stores with lost clusters": 5, "positions unknown": 1},
    "cut_around_gaps": {"cuts around gaps": 10},
    "flipped": {"marked": 10},
    "flipped_framing": {"framing flips": 10},
    "recovered": {"stores recovered": 5},
}
ALWAYS = {"repeats": 1000, "no repeats": 1000, "positions known": 1000}


def run_session(bench, number, steps):
    """The problem that it found, or None."""
    rng = random.Random(number)
    pairs, step = [], "healthy"
    try:
        pairs = bench.record(rng)
        healthy = bench.healthy(pairs)
        for step in steps:
            bench.write(pairs)
            getattr(bench, step)(random.Random(f"{number} {step}"), pairs, healthy)
        return None
    except (Disagreement, decoder.Damaged) as problem:
        return f"session {number}, {step}: {problem}"
    finally:
        bench.counts["sessions"] += 1
        bench.counts["clusters"] += len(pairs)
        bench.write([[reading.NEVER] * 2] * (len(pairs) or 500))


def main():
    vmr, print_records = sys.argv[1:3]
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 200
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else 1
    steps = sys.argv[5:] or list(STEPS)
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        bench = Bench(vmr, print_records, folder)
        problems = [run_session(bench, number, steps) for number in range(seed, seed + count)]
    problems = [problem for problem in problems if problem]
    for problem in problems:
        print(f"FAILED: {problem}")
    print(", ".join(f"{number} {name}" for name, number in sorted(bench.counts.items())))
    required = dict(ALWAYS)
    for step in steps:
        required.update(STEPS[step])
    for name, often in required.items():
        if bench.counts[name] < often * count // 10:
            sys.exit(f"FAILED: {bench.counts[name]} {name} test little")
    if problems:
        sys.exit(f"FAILED: {len(problems)} of {count} sessions")


if __name__ == "__main__":
    main()
