"""Verbs in which cases.py writes recordings down. Bytes are hexadecimal, CRCs are added."""

import struct
from collections import namedtuple

CLUSTER, CLUSTERS = 4096, 32768
NEVER_WRITTEN = 0xFFFFFFFF
MAGIC = b"f]S1"

Flat = namedtuple("Flat", "data")
# `files`: of "1" and "2" those that are there: by cluster a block. `lap`: None for a ring in its
# first lap; else (newest cluster, first tick of the oldest one), and every cluster that is not
# named is a filler.
Ring = namedtuple("Ring", "files lap")
Case = namedtuple("Case", "name what content")


def crc_of_byte(crc):
    for _ in range(8):
        crc = (crc << 1 ^ 0x07) & 0xFF if crc & 0x80 else crc << 1
    return crc


CRCS = [crc_of_byte(byte) for byte in range(256)]


def crc8(data):
    crc = 0xFF
    for byte in data:
        crc = CRCS[crc ^ byte]
    return crc


def raw(text):
    return bytes.fromhex(text)


def with_crc(data, covered=None, wrong=False):
    return data + bytes([crc8(data[:covered]) ^ (1 if wrong else 0)])


def hdr1(tick, items="", wrong=False):
    items = raw(items) if isinstance(items, str) else items
    return with_crc(b"\x80" + struct.pack("<IB", tick, len(items)) + items, None, wrong)


def hdr2(low, items="", wrong=False):
    items = raw(items) if isinstance(items, str) else items
    return with_crc(bytes([0x81, low, len(items)]) + items, None, wrong)


def cont(items="", wrong=False):
    items = raw(items) if isinstance(items, str) else items
    return with_crc(bytes([0x82, len(items)]) + items, len(items), wrong)


def text(tag, value):
    value = value.encode() if isinstance(value, str) else value
    return bytes([tag, len(value)]) + value


def flat(*packets):
    return Flat(MAGIC + b"".join(packets))


def cluster(first_tick, *packets):
    """A cluster's 4096 bytes."""
    payload = b"".join(packets)
    used = struct.pack("<IH", first_tick, 7 + len(payload)) + payload
    return (bytes([crc8(used)]) + used).ljust(CLUSTER, b"\0")


def spoilt(block, at=20):
    """The same with a flipped bit: its CRC is wrong."""
    return block[:at] + bytes([block[at] ^ 0x10]) + block[at + 1 :]


def filler(tick):
    """A cluster that tells its tick, and nothing that has happened."""
    return cluster(tick, hdr1(tick))


def mirrored(clusters, lap=None):
    """A ring whose two files are the same: by number, a block, or a pair of them."""
    pairs = {n: block if isinstance(block, tuple) else (block, block)
             for n, block in clusters.items()}
    return Ring({"1": {n: pair[0] for n, pair in pairs.items()},
                 "2": {n: pair[1] for n, pair in pairs.items()}}, lap)
