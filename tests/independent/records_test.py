#!/usr/bin/env python3
"""Compares what two decoders find in real drives, in rings and in an extract.

usage: records_test.py VMR PRINT_RECORDS DRIVE.gpsd.json...
"""

import os
import subprocess
import sys
import tempfile

import decoder

NO_TICK = 0xFFFFFFFF
EXTRACT_FROM, EXTRACT_TO = "100", "5000"


def expected(stream):
    """A line for each item, as print_records prints them."""
    return [
        f"record {NO_TICK if item.tick is None else item.tick} {item.tag:02x} {item.body.hex()}"
        for packet in decoder.packets(stream)
        for item in decoder.items(packet)
    ]


def found(print_records, path):
    """(lines of records, cut behind the item's bytes; all other kinds of lines)."""
    text = subprocess.run([print_records, path], check=True, capture_output=True, text=True).stdout
    lines = text.splitlines()
    records = [" ".join(line.split(" ")[:4]) for line in lines if line.startswith("record ")]
    return records, {line.split(" ")[0] for line in lines} - {"record", "position"}


def compare(print_records, path, stream):
    records, others = found(print_records, path)
    wanted = expected(stream)
    assert len(wanted) > 100, f"{path}: only {len(wanted)} items"
    assert records == wanted, next(pair for pair in zip(records, wanted) if pair[0] != pair[1])
    assert not others & {"gap", "run"}, f"{path}: {others}"
    print(f"{os.path.basename(path)}: {len(records)} items")


def main():
    vmr, print_records, *drives = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        for number, drive in enumerate(drives):
            base = os.path.join(folder, f"drive{number}")
            subprocess.run([vmr, "record", base, "--replay", "--input", drive], check=True)
            compare(print_records, base, decoder.ring_stream(base))
            extract = base + ".vmd"
            cut = subprocess.run([vmr, "extract", base, extract, "--from", EXTRACT_FROM, "--to",
                                  EXTRACT_TO])
            assert cut.returncode in (0, 3), cut.returncode  # 3: the drive ends before the range
            compare(print_records, extract, decoder.flat_stream(extract))
            os.remove(f"{base}_1.mtd")
            os.remove(f"{base}_2.mtd")


if __name__ == "__main__":
    main()
