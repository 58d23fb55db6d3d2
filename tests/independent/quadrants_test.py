#!/usr/bin/env python3
"""What is exported of a drive is what was driven: in all four quadrants and across 0 and 180
degrees, from a store and from extracts of it, around a lost cluster, and after the ring has gone
round.

usage: quadrants_test.py VMR DRIVE.gpsd.json [MOVES]

MOVES: so many of the places alone, from the one across 180 degrees on.
"""

import datetime
import itertools
import json
import os
import random
import subprocess
import sys
import tempfile

import decoder
import rings

MPH = 0.44704  # metres per second
TTS_PER_DEGREE = 600000  # ten-thousandths of a minute
PAST_END = 20  # ticks that an extract goes on past its range


def check(good, what):
    if not good:
        sys.exit(f"FAILED: {what}")


def run(*arguments, expected=(0,)):
    done = subprocess.run(arguments, capture_output=True, text=True)
    check(done.returncode in expected,
          f"{' '.join(arguments)}: exit {done.returncode}\n{done.stderr}")
    return done.stdout


# ---- Drives --------------------------------------------------------------------------

def wrapped(longitude):
    return (longitude + 180) % 360 - 180


MOVES = ("over_180", "south_west", "south_east", "north_east", "north_west", "over_zero",
         "over_180_back")


def moves(latitude, longitude):
    """Ways to move a drive that goes by this place in its middle."""
    return {
        "north_east": lambda lat, lon: (abs(latitude) + lat - latitude, 93 + lon - longitude),
        "north_west": lambda lat, lon: (abs(latitude) + lat - latitude, -93 + lon - longitude),
        "south_east": lambda lat, lon: (-37 + lat - latitude, 145 + lon - longitude),
        "south_west": lambda lat, lon: (-33 - lat + latitude, -70 - lon + longitude),
        "over_zero": lambda lat, lon: (lat - latitude, lon - longitude),
        "over_180": lambda lat, lon: (lat - latitude, wrapped(180 + lon - longitude)),
        "over_180_back": lambda lat, lon: (latitude - lat, wrapped(180 - lon + longitude)),
    }


def fixes_of(path):
    with open(path, encoding="utf-8") as lines:
        return [report for report in map(json.loads, lines) if report.get("class") == "TPV"]


def moved(reports, change):
    return [{**report, **dict(zip(("lat", "lon"), change(report["lat"], report["lon"])))}
            if "lat" in report else report for report in reports]


# ---- What was exported -----------------------------------------------------------------

def seconds(text):
    return datetime.datetime.fromisoformat(text.replace("Z", "+00:00")).timestamp()


def export(vmr, name, *options, expected=(0,)):
    return [json.loads(line)
            for line in run(vmr, "export", name, *options, expected=expected).splitlines()]


class Input:
    """The fixes of a drive by the second."""

    def __init__(self, reports):
        self.by_second = {}
        for report in reports:
            if "time" in report and "lat" in report:
                self.by_second.setdefault(int(seconds(report["time"])), []).append(report)

    def near(self, time):
        return [report for second in range(int(time) - 2, int(time) + 4)
                for report in self.by_second.get(second, [])
                if abs(seconds(report["time"]) - time) <= 2]

    def check(self, name, lines):
        """How many of the lines state a sure position or speed; each as it was driven."""
        positions = speeds = 0
        for line in lines:
            if line["kind"] == "position" and line.get("latitude") is not None:
                if "position" in line:
                    check(line["position"] == "unverified", f"{name}: {line}")
                    continue
                self.check_position(name, line)
                positions += 1
            elif line["kind"] == "speed" and line["device"] == 1 and "time" in line:
                speeds += self.check_speed(name, line)
        return positions, speeds

    def check_position(self, name, line):
        within = 1 / TTS_PER_DEGREE
        check(line.get("repeats") or any(
            abs(report["lat"] - line["latitude"]) <= within
            and abs(wrapped(report["lon"] - line["longitude"])) <= within
            for report in self.near(seconds(line["time"]))), f"{name}: nobody was there: {line}")

    def check_speed(self, name, line):
        told = [report["speed"] / MPH for report in self.near(seconds(line["time"]))
                if "speed" in report]
        # 1 and 2 miles an hour after 0 are taken for noise.
        good = not told or line["repeats"] or any(
            abs(line["speed"] - mph) <= 1 or (line["speed"] == 0 and mph < 2.5) for mph in told)
        check(good, f"{name}: driven with {told}: {line}")
        return bool(told)


PLACES = ("file", "cluster", "offset")


def plain(line):
    return {key: value for key, value in line.items() if key not in PLACES}


def without_gaps(lines):
    return [line for line in lines if line["kind"] not in ("gap", "clock_step")]


# ---- Tests -------------------------------------------------------------------------------

class Drive:
    def __init__(self, vmr, base, reports):
        self.vmr, self.base, self.input = vmr, base, Input(reports)
        self.name = os.path.basename(base)
        path = base + ".json"
        with open(path, "w", encoding="utf-8") as file:
            file.writelines(json.dumps(report) + "\n" for report in reports)
        run(vmr, "record", base, "--replay", "--input", path)
        os.remove(path)

    def check_store(self, least, expected=(0,)):
        lines = export(self.vmr, self.base, expected=expected)
        positions, speeds = self.input.check(self.name, lines)
        check(positions >= least and speeds >= least // 4,
              f"{self.name}: {positions} positions, {speeds} speeds")
        return lines

    def check_extract(self, start, end, store, least=1, gaps=0):
        """An extract says what the store says, and is sure of all its positions."""
        what = f"{self.name} {start} to {end}"
        out = self.base + ".vmd"
        run(self.vmr, "extract", self.base, out, "--force", "--from", str(start), "--to", str(end),
            expected=(3,) if gaps or end > store[-1]["tick"] else (0,))
        lines = export(self.vmr, out, expected=(3,) if gaps else (0,))
        state = list(itertools.takewhile(is_of_state, lines))
        check(gaps or all("position" not in line for line in lines if line["kind"] == "position"),
              f"{what}: unsure positions")
        positions, _ = self.input.check(what, lines)
        check(positions >= least, f"{what}: {positions} sure positions, not {least}")
        copied = [plain(line) for line in without_gaps(lines[len(state):])]
        wanted = [plain(line) for line in without_gaps(store)
                  if line.get("tick") is not None and start <= line["tick"] <= end + PAST_END]
        copied = [line for line in copied if not line.get("text", "").startswith("vmr: gap, ")]
        check_same(what, copied, wanted)
        check(sum(line["kind"] == "gap" for line in lines) == gaps, f"{what}: gaps")
        return state, positions


def is_of_state(line):
    """What an extract begins with; logs are its label, and what the program says of it."""
    return line.get("repeats") or line.get("text", "").startswith(("Range ", "State completed "))


def check_same(what, copied, wanted):
    for ours, theirs in zip(copied, wanted):
        check(ours == theirs, f"{what}: the extract says {ours}, the store {theirs}")
    check(len(copied) == len(wanted), f"{what}: {len(copied)} records, {len(wanted)} in the store")


def held_position(store, tick):
    """The position that the store says last, before a tick."""
    held = None
    for line in store:
        if line["kind"] == "gap":
            held = None
        elif line.get("tick") is not None and line["tick"] >= tick:
            break
        elif line["kind"] == "position":
            held = (line["latitude"], line["longitude"]) if "latitude" in line else None
    return held


def check_ranges(drive, store, rng, count, least):
    """Some ranges, each of which begins with the position that was held then."""
    told = [line for line in store if line["kind"] == "position"]
    sure = 0
    for _ in range(count):
        start = rng.randint(told[0]["tick"], told[-1]["tick"] - 400)
        state, positions = drive.check_extract(start, start + 400, store, least)
        stated = [(line["latitude"], line["longitude"]) for line in state
                  if line["kind"] == "position"]
        held = held_position(store, start)
        check(stated == ([held] if held else []),
              f"{drive.name} {start}: state {stated}, held {held}")
        sure += positions
    return sure


def check_move(vmr, folder, name, reports, rng):
    """The drive as it is, and cut out; then the same around a lost cluster."""
    drive = Drive(vmr, os.path.join(folder, name), reports)
    store = drive.check_store(1000)
    sure = check_ranges(drive, store, rng, 4, 40)
    rings.lose_cluster(drive.base, 2)
    damaged = drive.check_store(500, expected=(3,))
    gap = next(line for line in damaged if line["kind"] == "gap")
    check(gap["clusters"] == 1 and len(without_gaps(damaged)) < len(without_gaps(store)),
          f"{name}: {gap}")
    drive.check_extract(gap["from_tick"] - 200, gap["to_tick"] + 200, damaged, 10, gaps=1)
    rings.remove_ring(drive.base)
    return sure


def check_wrapped(vmr, folder, name, reports, rng):
    """The drive goes over the end of the files, onto what was recorded first."""
    base = os.path.join(folder, name + "_wrapped")
    rings.full_ring(base, decoder.CLUSTERS - 4)
    drive = Drive(vmr, base, reports)
    first = decoder.CLUSTERS + 1
    lines = export(vmr, base, "--from", str(first), expected=(0, 3))
    clusters = {line["cluster"] for line in lines if "cluster" in line}
    check({0, decoder.CLUSTERS - 1} <= clusters, f"{name}: not wrapped: {sorted(clusters)}")
    positions, _ = drive.input.check(drive.name, lines)
    check(positions > 1000, f"{drive.name}: {positions} positions")
    sure = check_ranges(drive, lines, rng, 4, 40)
    rings.lose_cluster(base, decoder.CLUSTERS - 2)
    damaged = export(vmr, base, "--from", str(first), expected=(3,))
    gap = next(line for line in damaged if line.get("cluster") == decoder.CLUSTERS - 2)
    check(gap["reason"] == "lost clusters", f"{drive.name}: {gap}")
    drive.input.check(drive.name, damaged)
    drive.check_extract(gap["from_tick"] - 200, gap["to_tick"] + 200, damaged, 10, gaps=1)
    rings.remove_ring(base)
    return sure


def main():
    vmr, path = os.path.abspath(sys.argv[1]), sys.argv[2]
    count = int(sys.argv[3]) if len(sys.argv) > 3 else len(MOVES)
    rng = random.Random(7)
    reports = fixes_of(path)
    placed = [report for report in reports if "lat" in report]
    middle = placed[len(placed) // 2]
    sure = drives = 0
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        changes = moves(middle["lat"], middle["lon"])
        for name in MOVES[:count]:
            here = moved(reports, changes[name])
            drives += 1
            sure += check_move(vmr, folder, name, here, rng)
            if name in ("south_east", "over_180"):
                drives += 1
                sure += check_wrapped(vmr, folder, name, here, rng)
    check(sure > 167 * drives, f"only {sure} sure positions in extracts")
    print(f"{sure} sure positions in extracts")


if __name__ == "__main__":
    main()
