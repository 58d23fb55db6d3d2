"""A second reader of recordings, written from docs/format.md alone.

It shares no code with the library: a mistake that writer and reader made
together shows up here as a disagreement.
"""

import struct
from collections import namedtuple

CLUSTER = 4096
CLUSTERS = 32768
HEADER = 7
NEVER_WRITTEN = 0xFFFFFFFF

Packet = namedtuple("Packet", "tick kind items raw")
Item = namedtuple("Item", "tick tag body")


class Damaged(Exception):
    """The bytes are no recording; the message says where."""


def crc8(data, crc=0xFF):
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = ((crc << 1) ^ 0x07) & 0xFF if crc & 0x80 else crc << 1
    return crc


def packets(stream):
    """The packets of a stream, every CRC checked."""
    at, tick = 0, None
    while at < len(stream):
        kind = stream[at]
        if kind == 0x80:
            tick = struct.unpack_from("<I", stream, at + 1)[0]
            head, count = 6, stream[at + 5]
        elif kind == 0x81:
            if tick is not None:
                tick = tick & ~0xFF | stream[at + 1]
            head, count = 3, stream[at + 2]
        elif kind == 0x82:
            head, count = 2, stream[at + 1]
        elif kind == 0x83:
            at += 2 * stream[at + 1] + 3
            continue
        else:
            raise Damaged(f"byte {at}: {kind:#x} begins no packet")
        end = at + head + count
        covered = count if kind == 0x82 else head + count
        if crc8(stream[at : at + covered]) != stream[end]:
            raise Damaged(f"byte {at}: wrong packet CRC")
        yield Packet(tick, kind, stream[at + head : end], stream[at : end + 1])
        at = end + 1


FIXED = {0x02: 8, 0x03: 5, 0x18: 3, 0x1A: 1, 0x21: 2, 0x51: 2, 0x54: 3, 0x55: 2, 0x56: 1,
         0x59: 4, 0x6F: 2, 0x91: 10, 0x92: 3, 0x93: 5, 0x94: 2, 0xB0: 9, 0xC0: 3, 0xD1: 2,
         0xF0: 1}
FIXED.update({tag: 1 for tag in [*range(0x34, 0x48), 0x4A, 0x4B]})
FIXED.update({tag: 5 for tag in range(0x61, 0x68)})
FIXED.update({tag: 2 for tag in [*range(0x68, 0x6F), *range(0x71, 0x78), *range(0xE1, 0xE5)]})
FIXED.update({tag: 3 for tag in range(0x78, 0x7F)})
HEADS = {0x05: 2, 0x06: 2, 0x07: 2, 0x08: 2, 0x10: 2, 0x11: 2, 0x20: 2, 0xF1: 2, 0x04: 2,
         0x09: 3, 0x50: 3, 0x58: 5, 0x60: 4, 0x70: 4, 0x90: 3, 0xE0: 3}


def items(packet):
    at = 0
    while at < len(packet.items):
        tag = packet.items[at]
        if tag in FIXED:
            size = FIXED[tag]
        elif tag in HEADS:
            size = HEADS[tag] + packet.items[at + HEADS[tag] - 1]
        else:
            raise Damaged(f"tick {packet.tick}: illegal tag {tag:#x}")
        if at + size > len(packet.items):
            raise Damaged(f"tick {packet.tick}: tag {tag:#x} reaches past its packet")
        yield Item(packet.tick, tag, packet.items[at + 1 : at + size])
        at += size


def cluster_payload(block):
    """(first tick, payload) of a cluster; None when its CRC is wrong."""
    first_tick, size = struct.unpack_from("<IH", block, 1)
    if not HEADER <= size <= CLUSTER or crc8(block[1:size]) != block[0]:
        return None
    return first_tick, block[HEADER:size]


def ring_stream(base):
    """Everything in a ring, oldest first: of each cluster the fuller copy."""
    never = None
    clusters = {}
    for number in (1, 2):
        with open(f"{base}_{number}.mtd", "rb") as file:
            data = file.read()
        if len(data) != CLUSTER * CLUSTERS:
            raise Damaged(f"{base}_{number}.mtd holds {len(data)} bytes")
        for n in range(CLUSTERS):
            block = data[n * CLUSTER : (n + 1) * CLUSTER]
            if block == never:
                continue
            copy = cluster_payload(block)
            if copy is None:
                continue
            if copy[0] == NEVER_WRITTEN:
                never = block
                continue
            held = clusters.get(n)
            if held is None or newer(copy, held):
                clusters[n] = copy
    order = sorted(clusters, key=lambda n: (clusters[n][0], n))
    return b"".join(clusters[n][1] for n in order)


def newer(copy, held):
    if copy[0] != held[0]:
        return copy[0] > held[0]
    return len(copy[1]) > len(held[1])


def flat_stream(path):
    with open(path, "rb") as file:
        data = file.read()
    if data[:4] != b"f]S1":
        raise Damaged(f"{path}: no flat metadata file")
    return data[4:]
