#!/usr/bin/env python3
"""What a redacted extract says of a drive is what may be said: in all four quadrants and across 0
and 180 degrees, from a store that is sound and from one that has lost a cluster. Cells are reckoned
here by docs/redaction.md alone.

usage: redaction_test.py VMR DRIVE.gpsd.json
"""

import bisect
import math
import os
import sys
import tempfile

import reading
import rings
from quadrants_test import Drive, check, export, fixes_of, moved, moves, run

WHOLE, HALF, QUARTER = 216000000, 108000000, 54000000
TTS_PER_DEGREE = 600000
IDENTITY = {0x02, 0x05, 0x06, 0x07, 0x08, 0x09, 0x10, 0xB0}
NAMES = {0x50: 1, 0x58: 3, 0x60: 2, 0x70: 2, 0xE0: 1}  # bytes in front of a name's length
GPS = {0x04, 0x11, 0x90, 0x92, 0x93, 0x94, *range(0x71, 0x7F)}
OWN = (b"Range ", b"State completed by vmr, then redacted", b"vmr: redacted: ", b"vmr: gap, ticks ")


def cell(latitude, longitude, size):
    """Row and column of a place, and the middle of that cell."""
    height = size / 1842.9 * 10000
    rows = int(HALF / height)
    row = min((latitude + QUARTER) * rows // HALF, rows - 1)
    edge = max(abs(row * HALF / rows - QUARTER), abs((row + 1) * HALF / rows - QUARTER))
    columns = max(1, int(WHOLE * math.cos(math.radians(edge / TTS_PER_DEGREE)) / height))
    column = min((longitude + HALF) % WHOLE * columns // WHOLE, columns - 1)
    return (row, column), ((2 * row + 1) * HALF // (2 * rows) - QUARTER,
                           (2 * column + 1) * WHOLE // (2 * columns) - HALF)


def tts(degrees):
    return round(degrees * TTS_PER_DEGREE)


class Driven:
    """Where the store says the vehicle was, by ticks."""

    def __init__(self, lines):
        told = [line for line in lines
                if line["kind"] == "position" and line.get("latitude") is not None]
        self.ticks = [line["tick"] for line in told]
        self.places = [(tts(line["latitude"]), tts(line["longitude"])) for line in told]

    def at(self, tick):
        return self.places[bisect.bisect_right(self.ticks, tick) - 1]


def check_items(what, records):
    for record in records:
        check(record.crc_right, f"{what}: a packet with a wrong CRC")
        check(record.tag not in IDENTITY | GPS, f"{what}: {record.tag:#x} is left")
        check(record.tag != 0x20 or record.body[1:].startswith(OWN), f"{what}: {record.body}")
        if record.tag in NAMES:
            check(record.body[NAMES[record.tag]:] == b"\0", f"{what}: a name: {record.body}")


def check_positions(what, records, driven, size, has_gaps):
    every = size // 10 * 2
    told = [record for record in records if record.tag == 0x91]
    before = None
    for record in told:
        latitude, longitude, quality = record.position
        check(quality == reading.KNOWN, f"{what}: {record}")
        where, middle = cell(latitude, longitude, size)
        check(middle == (latitude, longitude), f"{what}: no middle: {record}, but {middle}")
        check(record.tick % every == 0 or record is told[0], f"{what}: at tick {record.tick}")
        truly, _ = cell(*driven.at(record.tick), size)
        check(where == truly, f"{what}: {record} is in {where}, driven in {truly}")
        check(where != before or has_gaps, f"{what}: told again: {record}")
        before = where
    return len(told)


def check_redacted(drive, lines, size, expected):
    what = f"{drive.name}, {size} m"
    out = drive.base + ".vmd"
    last = max(line["tick"] for line in lines if line.get("tick") is not None)
    run(drive.vmr, "extract", drive.base, out, "--force", "--from", "0", "--to", str(last),
        "--redact", f"identity,gps={size}m", expected=expected)
    records, gaps = reading.read(reading.flat_stretches(out), True)
    check(bool(gaps) == (expected == (3,)), f"{what}: {len(gaps)} gaps")
    check_items(what, records)
    return check_positions(what, records, Driven(lines), size, bool(gaps))


def main():
    vmr, path = os.path.abspath(sys.argv[1]), sys.argv[2]
    reports = fixes_of(path)
    placed = [report for report in reports if "lat" in report]
    middle = placed[len(placed) // 2]
    told = 0
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        for name, change in moves(middle["lat"], middle["lon"]).items():
            drive = Drive(vmr, os.path.join(folder, name), moved(reports, change))
            lines = export(vmr, drive.base)
            for size in (100, 1000, 20000):
                least = {100: 30, 1000: 8, 20000: 1}[size]
                count = check_redacted(drive, lines, size, (0,))
                check(count >= least, f"{name}, {size} m: only {count} positions")
                told += count
            rings.lose_cluster(drive.base, 2)
            told += check_redacted(drive, export(vmr, drive.base, expected=(3,)), 100, (3,))
            rings.remove_ring(drive.base)
    print(f"{told} positions told, each the middle of the cell that was driven in")


main()
