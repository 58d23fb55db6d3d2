#!/usr/bin/env python3
"""Records real drives and compares what was written with a separate computation.

usage: drive_test.py VMR DRIVE.gpsd.json...
"""

import json
import math
import os
import re
import struct
import subprocess
import sys
import tempfile

import decoder

EARTH_RADIUS_FT = 20905231.0
CIRCLE = 216000000


def whole_units(degrees):
    """A coordinate's magnitude in ten-thousandths of a minute, to nearest."""
    return math.floor(abs(degrees) * 600000 + 0.5)


def fixes(path):
    """(latitude, longitude) in signed degrees per fix; None for a loss of fix."""
    last_time = object()
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            report = json.loads(line)
            if report.get("class") != "TPV":
                continue
            if report["mode"] < 2:
                yield None
                continue
            if "lat" not in report or "lon" not in report:
                continue
            if "time" in report:
                if report["time"] == last_time:
                    continue
                last_time = report["time"]
            yield report["lat"], report["lon"]


def distance_ft(a, b):
    """Haversine, another formula than the recorder's: a and b in signed units,
    north and east positive."""
    (lat1, lon1), (lat2, lon2) = ([x * 2 * math.pi / CIRCLE for x in p] for p in (a, b))
    h = (math.sin((lat2 - lat1) / 2) ** 2
         + math.cos(lat1) * math.cos(lat2) * math.sin((lon2 - lon1) / 2) ** 2)
    return 2 * EARTH_RADIUS_FT * math.asin(math.sqrt(h))


def expected(path):
    """(written positions in signed units, number of losses, number of fixes)."""
    written, losses, count, held, lost = [], 0, 0, None, False
    for fix in fixes(path):
        if fix is None:
            losses += not lost
            held, lost = None, True
            continue
        lost = False
        count += 1
        here = tuple(int(math.copysign(whole_units(x), x)) for x in fix)
        if held is not None:
            same = all(abs(p) % 600000 == abs(q) % 600000 for p, q in zip(here, held))
            if same or distance_ft(held, here) <= 20.0:
                continue
        held = here
        written.append(here)
    return written, losses, count


def recorded(stream):
    """(positions in signed units, number of unavailable states)."""
    positions, losses, here = [], 0, None
    for packet in decoder.packets(stream):
        for item in decoder.items(packet):
            if item.tag == 0x91:
                quad, latd, latm, latf, lond, lonm, lonf = struct.unpack("<BBBHBBH", item.body)
                here = ((latd * 60 + latm) * 10000 + latf, (lond * 60 + lonm) * 10000 + lonf)
                here = (-here[0] if quad & 2 else here[0], -here[1] if quad & 1 else here[1])
                positions.append(here)
            elif item.tag in (0x92, 0x93):
                lat, west = struct.unpack("<bb" if item.tag == 0x92 else "<hh", item.body)
                here = (here[0] + lat, here[1] - west)
                positions.append(here)
            elif item.tag == 0x94:
                losses += item.body[0] == 0
    return positions, losses


def viewed(text):
    """The same as recorded(), from the expanded view's text."""
    positions, losses, here = [], 0, None
    lines = text.split("\n")
    for n, line in enumerate(lines):
        losses += "[Tag=GpsState, TagNo=0x94, State=0-unavailable]" in line
        if "[Tag=GpsAbs" in line:
            body = bytes.fromhex(lines[n + 1].split("hex:")[1].replace(" ", ""))
            here = recorded(packet_of(body))[0][0]
            positions.append(here)
        delta = re.search(r"\[Tag=GpsRel(?:8|16), TagNo=0x9[23], DeltaLat=(-?\d+), "
                          r"DeltaLon=(-?\d+)", line)
        if delta:
            here = (here[0] + int(delta[1]), here[1] - int(delta[2]))
            positions.append(here)
    return positions, losses


def packet_of(item):
    head = bytes([0x80, 0, 0, 0, 0, len(item)]) + item
    return head + bytes([decoder.crc8(head)])


def check(what, seen, wanted):
    if seen != wanted:
        sys.exit(f"FAILED {what}: {seen!r}, expected {wanted!r}")


def check_positions(what, seen, wanted):
    check(f"{what}: number of positions", len(seen), len(wanted))
    for n, (s, w) in enumerate(zip(seen, wanted)):
        check(f"{what}: position {n}", s, w)


def run(*command):
    done = subprocess.run(command, capture_output=True, env={**os.environ, "TZ": "UTC"})
    if done.returncode != 0:
        sys.exit(f"FAILED {command}: exit {done.returncode}\n{done.stderr.decode()}")
    return done.stdout.decode("latin-1")


def main():
    vmr, drives = sys.argv[1], sys.argv[2:]
    for drive in drives:
        name = os.path.basename(drive)
        with tempfile.TemporaryDirectory() as folder:
            base = os.path.join(folder, "ring")
            run(vmr, "record", base, "--replay", "--input", drive)
            positions, losses, count = expected(drive)
            seen, seen_losses = recorded(decoder.ring_stream(base))
            check_positions(f"{name} recorded", seen, positions)
            check(f"{name} recorded losses", seen_losses, losses)
            text = run(vmr, "view", "--listing", base, "--expanded")
            seen, seen_losses = viewed(text)
            check_positions(f"{name} viewed", seen, positions)
            check(f"{name} viewed losses", seen_losses, losses)
            print(f"{name}: {count} fixes, {len(positions)} written, {losses} losses of fix")


if __name__ == "__main__":
    main()
