"""A second reader of recordings, written from docs/format.md alone, whose table
tells it how long each item is.

It shares no code with the library: a mistake that writer and reader made
together shows up here as a disagreement.
"""

import pathlib
import re
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


def crc_of_byte(crc):
    for _ in range(8):
        crc = ((crc << 1) ^ 0x07) & 0xFF if crc & 0x80 else crc << 1
    return crc


CRC_TABLE = [crc_of_byte(byte) for byte in range(256)]


def crc8(data, crc=0xFF):
    for byte in data:
        crc = CRC_TABLE[crc ^ byte]
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


def documented_items():
    """By tag: the bytes of an item, or of its head, and whether a text follows."""
    row = re.compile(r"\| 0x(..)(?:( \.\.|,) 0x(..))?[^|]*\|[^|]*\| (\d+)( \+ b\d+)? \|")
    found = {}
    for first, between, last, size, text in row.findall(FORMAT.read_text()):
        tags = [int(first, 16), int(last or first, 16)]
        for tag in range(tags[0], tags[1] + 1) if between == " .." else tags:
            found[tag] = int(size), text != ""
    found[0x04] = found[0x11]  # written with the configuration, and no reader's
    return found


FORMAT = pathlib.Path(__file__).resolve().parent.parent.parent / "docs" / "format.md"
ITEMS = documented_items()


RESERVED = 0x19  # no store writes it; a reader skips it


def items(packet):
    """As a store writes them: reserved ones are damage."""
    for item in read_items(packet):
        if item.tag == RESERVED:
            raise Damaged(f"tick {packet.tick}: illegal tag {item.tag:#x}")
        yield item


def read_items(packet):
    at = 0
    while at < len(packet.items):
        tag = packet.items[at]
        if tag not in ITEMS:
            raise Damaged(f"tick {packet.tick}: illegal tag {tag:#x}")
        size, text = ITEMS[tag]
        if text:
            size += packet.items[at + size - 1]
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
