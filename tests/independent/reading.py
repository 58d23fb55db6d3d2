"""What a recording says, record by record, and what is not known of it any more where
something is lost or wrong. Like decoder.py it is written from docs/format.md alone.

Three rules go beyond the bytes: what was known before a gap, or before a packet with a wrong
CRC, does not hold behind it; a tick that such a packet tells holds for itself alone; the first
state of an extract as a unit cuts it is not to be relied on for positions.
"""

import re
import struct
from collections import namedtuple

import decoder

# `tick` is the packet's, None when nothing tells it; `event_tick` is the same less a tick adjust.
# `position` is (latitude, longitude, quality) of a position, in ten-thousandths of a minute.
# `repeats` is None where this reader does not know.
Record = namedtuple("Record", "tick event_tick tag body crc_right position repeats")
# Bytes that stand together; `gap`: something is missing in front of them.
Stretch = namedtuple("Stretch", "first_tick payload gap")

UNKNOWN, UNVERIFIED, KNOWN = range(3)
NO_FIRST_TICK = (0xFFFFFFFF, 0xFFFFFFFE)
HALF_CIRCLE = 180 * 60 * 10000
EVENTS = {0x20, 0xF1, 0x56, 0xC0}
FRAMING = {0x03, 0x1A, 0x21, 0xF0}
INPUTS = [*range(0x34, 0x48, 2), 0x4A]
LIVE_STREAM = 0xB0
END_OF_CONFIGURATION = 0x1A
ADJUST = 0x21
GAP_MARK = b"\x82\x00\xFF"  # what an extract, or a recovered store, has in the place of what was lost


def key_and_value(tag, body, position):
    """What an item is about, and what it says of it; (None, None) when that takes more."""
    if tag in (0x91, 0x92, 0x93):
        return "position", position[:2]
    if 0x34 <= tag <= 0x4B:
        return ("input", tag // 2), tag % 2
    if tag in (0x51, 0x54, 0x55, LIVE_STREAM):
        return (tag, body[0] >> 4), body
    if tag in (0x09, 0x18, 0x50, 0x58, 0x60, 0x70, 0x90, 0xE0):
        return (tag, body[0]), body
    if tag == 0x59:
        return (tag, body[:2]), body
    if tag == 0x6F:
        return (tag, body[0] & 31), body
    if 0x71 <= tag <= 0x7E:
        return ("speed", (tag - 1) % 7), int.from_bytes(body, "little")
    if 0x61 <= tag <= 0x6E:
        return None, None  # a target alone and a whole reading are of one thing
    return tag, body


class Follower:
    """What is known from item to item."""

    def __init__(self):
        self.position = (0, 0, UNKNOWN)
        self.known = {}

    def forget(self):
        self.position = (*self.position[:2], UNKNOWN)
        self.known = {}

    def move(self, item, from_replay):
        tag, body = item.tag, item.body
        if tag == 0x91:
            self.position = whole_position(body, from_replay)
            return
        latitude, longitude, quality = self.position
        north, west = struct.unpack("<bb" if tag == 0x92 else "<hh", body)
        if quality == UNKNOWN:
            return
        latitude, longitude = latitude + north, longitude - west
        if abs(longitude) > HALF_CIRCLE:
            longitude -= 2 * HALF_CIRCLE if longitude > 0 else -2 * HALF_CIRCLE
        self.position = latitude, longitude, UNKNOWN if 2 * abs(latitude) > HALF_CIRCLE else quality

    def take(self, tick, item, adjusted, crc_right, group):
        before = self.position
        is_position = item.tag in (0x91, 0x92, 0x93)
        if is_position:
            self.move(item, group.is_replayed)
        repeats = self.repeats(item, before, group)
        key, value = key_and_value(item.tag, item.body, self.position)
        if key is not None:
            self.known[key] = value
        return Record(tick, None if tick is None else (tick - adjusted) & 0xFFFFFFFF, item.tag,
                      item.body, crc_right, self.position if is_position else None, repeats)

    def repeats(self, item, before, group):
        if not group.is_clean:
            return None
        if not group.is_full_state or item.tag in EVENTS:
            return False
        if group.is_label or item.tag in FRAMING or item.tag == LIVE_STREAM:
            return True
        if item.tag in (0x91, 0x92, 0x93):
            return before[2] == UNKNOWN or before[:2] == self.position[:2]
        key, value = key_and_value(item.tag, item.body, self.position)
        return None if key is None else self.known.get(key, value) == value


def whole_position(body, from_replay):
    quadrant, *axes = struct.unpack("<BBBHBBH", body)
    degrees, minutes, fractions = axes[::3], axes[1::3], axes[2::3]
    latitude, longitude = ((d * 60 + m) * 10000 + f for d, m, f in zip(degrees, minutes, fractions))
    is_place = (quadrant < 4 and max(minutes) < 60 and max(fractions) < 10000
                and 2 * latitude <= HALF_CIRCLE and longitude <= HALF_CIRCLE)
    return (-latitude if quadrant & 2 else latitude, -longitude if quadrant & 1 else longitude,
            UNKNOWN if not is_place else UNVERIFIED if from_replay else KNOWN)


class Group:
    """The packets of a tick."""

    def __init__(self, tick, has_header):
        self.tick = tick
        self.packets = []  # (items, their CRC is right, they are all)
        self.is_clean = has_header
        self.is_label = self.is_replayed = self.is_full_state = False

    def see(self, is_first, is_flat):
        tags = {item.tag for items, _, _ in self.packets for item in items}
        size = sum(len(raw) for _, raw, _ in self.packets)
        items, raw, right = self.packets[0]
        texts = [item.body[1:] if item.tag == 0x20 else b"" for item in items[:2]] + [b"", b""]
        if is_first and is_flat and right and self.is_clean:
            self.is_label = re.fullmatch(rb"Range \d+ to \d+", texts[0]) is not None
            self.is_replayed = self.is_label and not texts[1].startswith(b"State completed by vmr")
        elif is_first and is_flat and not right:
            self.is_replayed = True
        self.is_full_state = self.is_label or (
            size >= 100 and END_OF_CONFIGURATION in tags
            and all(on in tags or on + 1 in tags for on in INPUTS))


def lenient_items(packet):
    """The items of a packet up to the first that is none, and whether that was all."""
    found = []
    try:
        for item in decoder.read_items(packet):
            found.append(item)
    except (decoder.Damaged, IndexError):
        return found, False
    return found, True


class Reader:
    def __init__(self, is_flat):
        self.is_flat = is_flat
        self.follower = Follower()
        self.records = []
        self.gaps = []  # how many records stand in front of each
        self.tick, self.has_upper, self.has_header = None, False, False
        self.headers = 0
        self.group = None
        self.group_is_first = True

    def finish_group(self):
        group, self.group = self.group, None
        if group is None:
            return
        group.see(self.group_is_first, self.is_flat)
        for items, _, right in group.packets:
            adjusted = 0
            for item in items:
                self.records.append(
                    self.follower.take(group.tick, item, adjusted if item.tag != ADJUST else 0,
                                       right, group))
                adjusted = item.body[0] if item.tag == ADJUST else 0

    def begin_gap(self):
        self.finish_group()
        self.gaps.append(len(self.records))
        self.follower.forget()

    def lose_tick(self):
        self.has_upper = self.has_header = False

    def take_header(self, kind, head, right):
        self.finish_group()
        self.group_is_first = self.headers == 0
        self.headers += 1
        if kind == 0x80:
            self.tick, self.has_upper = struct.unpack_from("<I", head, 1)[0], right
        elif self.has_upper:
            self.tick = self.tick & ~0xFF | head[1]
        else:
            self.tick = None
        if self.tick == 0xFFFFFFFF:
            self.tick = None
        self.has_header = True

    def take_packet(self, raw, head_size):
        kind = raw[0]
        covered = raw[1] if kind == 0x82 else len(raw) - 1
        right = decoder.crc8(raw[:covered]) == raw[-1]
        if kind != 0x82:
            self.take_header(kind, raw, right)
        if self.group is None:
            self.group = Group(self.tick if self.has_header else None, self.has_header)
        packet = decoder.Packet(self.group.tick, kind, raw[head_size:-1], raw)
        items, whole = lenient_items(packet)
        self.group.packets.append((items, raw, right))
        if right and whole:
            return
        self.group.is_clean = False
        self.begin_gap()
        if not right and kind != 0x82:
            self.has_header = False
            self.has_upper = self.has_upper and kind == 0x81
        if not right and not whole:  # its length may be wrong: it may have swallowed a header
            self.lose_tick()

    def take_stretch(self, stretch):
        if stretch.gap:
            self.begin_gap()
            self.lose_tick()
        if not self.has_upper and stretch.first_tick is not None:
            self.tick, self.has_upper = stretch.first_tick, True
        payload, at = stretch.payload, 0
        while at < len(payload):
            kind = payload[at]
            head = {0x80: 6, 0x81: 3, 0x82: 2}.get(kind)
            if kind == 0x84:
                at += 1
                continue
            if kind == 0x83:
                self.finish_group()
                at += 2 * payload[at + 1] + 3
                continue
            if head is None:
                raise decoder.Damaged(f"byte {at}: {kind:#x} begins no packet")
            size = head + payload[at + head - 1] + 1 if at + head <= len(payload) else 1 << 16
            if at + size > len(payload):
                self.begin_gap()  # cut short
                return
            if payload[at : at + size] == GAP_MARK:
                self.begin_gap()
                self.lose_tick()
            else:
                self.take_packet(payload[at : at + size], head)
            at += size


def read(stretches, is_flat):
    """(records, how many of them stand in front of each gap)"""
    reader = Reader(is_flat)
    for stretch in stretches:
        reader.take_stretch(stretch)
    reader.finish_group()
    return reader.records, reader.gaps


def never_written():
    block = b"\xFF\xFF\xFF\xFF\x07\x00"
    return (bytes([decoder.crc8(block)]) + block).ljust(decoder.CLUSTER, b"\0")


NEVER = never_written()


def first_lap(base, files=(1, 2)):
    """The copies of each cluster of a ring that has not wrapped: a list of pairs."""
    opened = [open(f"{base}_{n}.mtd", "rb") for n in files]
    pairs = []
    try:
        while len(pairs) < decoder.CLUSTERS:
            copies = [file.read(decoder.CLUSTER) for file in opened]
            if all(copy == NEVER for copy in copies):
                break
            pairs.append(copies)
    finally:
        for file in opened:
            file.close()
    return pairs


def ring_stretches(pairs):
    """Of each cluster the fuller sound copy; a gap in front of what follows a lost one. The torn
    first write of a cluster, which only one file has, is an unfinished tail and no gap."""
    stretches, gap = [], False
    for copies in pairs:
        sound = [copy for copy in map(sound_copy, copies) if copy is not None]
        if not sound:
            gap = gap or NEVER not in copies
            continue
        first_tick, payload = max(sound, key=lambda copy: (len(copy[1]), -copy[0]))
        stretches.append(Stretch(None if first_tick in NO_FIRST_TICK else first_tick, payload, gap))
        gap = False
    return stretches + ([Stretch(None, b"", True)] if gap else [])


def sound_copy(block):
    copy = decoder.cluster_payload(block)
    return None if copy is None or copy[0] == decoder.NEVER_WRITTEN else copy


def flat_stretches(path):
    return [Stretch(None, decoder.flat_stream(path), False)]


def is_sound_packet(data):
    """Whether a packet of items with a right CRC stands at the beginning."""
    head = {0x80: 6, 0x81: 3, 0x82: 2}.get(data[0])
    if head is None or len(data) < head:
        return False
    size = head + data[head - 1]
    covered = data[1] if head == 2 else size
    return size < len(data) and decoder.crc8(data[:covered]) == data[size]


def packet_places(payload):
    """(offset, head bytes, bytes) of each packet of items."""
    at, found = 0, []
    while at < len(payload):
        head = {0x80: 6, 0x81: 3, 0x82: 2}.get(payload[at])
        if head is None:
            at += 1 if payload[at] == 0x84 else 2 * payload[at + 1] + 3
            continue
        size = head + payload[at + head - 1] + 1
        found.append((at, head, size))
        at += size
    return found
