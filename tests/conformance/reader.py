#!/usr/bin/env python3
"""A reader of recordings for the conformance cases, written from docs/format.md and the rules
in README.md: it shares no code with the program. Prints what `vmr export --format jsonl` prints,
without `file`.

usage: reader.py RECORDING      a flat file, or a store's base path

It takes its time: no index, no search, every cluster of both files is looked at. It does not
tell a store of two recordings, nor one that is written while it reads.
"""

import datetime
import json
import os
import pathlib
import re
import struct
import sys
from collections import namedtuple

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "independent"))
import decoder  # the CRC, and the table of lengths
import fields

CLUSTER, CLUSTERS, HEAD = 4096, 32768, 7
NEVER, NO_TICK_YET = 0xFFFFFFFF, 0xFFFFFFFE
HEADS = {0x80: 6, 0x81: 3, 0x82: 2}
MARK = b"\x82\x00\xFF"
HALF_CIRCLE = 180 * 60 * 10000
A_DAY = 24 * 60 * 60 * 2
LOSSES = {"unknown item": 0, "wrong packet CRC": 1, "no packets": 2, "cut short at the end": 2,
          "lost before it was copied": 2, "lost clusters": 3, "overwritten": 3}
EVENTS = {"button", "bookmark", "log", "test"}
FRAMING = {"time", "configuration_end", "tick_adjust", "end_of_stream"}
# The fields that say what a record is of.
KEYS = {"version": 1, "policy": 1, "input": 1, "speed": 1, "speed_device": 1, "radar": 1,
        "radar_device": 1, "radar_state": 1, "microphone": 3, "microphone_name": 2, "camera": 1,
        "camera_name": 1, "stream": 1, "stream_format": 1, "live_stream": 1, "temperature": 1,
        "temperature_sensor": 1}
ALL_INPUTS = [*range(0x34, 0x48, 2), 0x4A]

# Bytes that stand together; `gap`: (reason, clusters, cluster) of what is missing before them.
Stretch = namedtuple("Stretch", "cluster offset payload first_tick gap")
Packet = namedtuple("Packet", "raw head at right")


def utc(ms):
    moment = datetime.datetime(1970, 1, 1) + datetime.timedelta(milliseconds=ms)
    return f"{moment:%Y-%m-%dT%H:%M:%S}.{ms % 1000:03d}Z"


# ---- Files ---------------------------------------------------------------------------


def whole_size(data, at):
    """Bytes of the packet there; 0 when none stands there or it does not end."""
    kind = data[at]
    if kind == 0x83:
        size = 2 * data[at + 1] + 3 if at + 1 < len(data) else 0
    elif kind in HEADS:
        count = at + HEADS[kind] - 1
        size = HEADS[kind] + data[count] + 1 if count < len(data) else 0
    else:
        return 0
    return size if at + size <= len(data) else 0


def ends_right(raw):
    if raw[0] == 0x83:
        return raw[-1] == 0
    covered = raw[1] if raw[0] == 0x82 else len(raw) - 1
    return decoder.crc8(raw[:covered]) == raw[-1]


def sound_copy(block):
    """(first tick, payload) of a cluster's copy; None when its CRC is wrong."""
    first_tick, size = struct.unpack_from("<IH", block, 1)
    if not HEAD <= size <= CLUSTER or decoder.crc8(block[1:size]) != block[0]:
        return None
    return first_tick, block[HEAD:size]


def better(copies):
    """The copy of a cluster that counts. Of two that are as good it is the first file's."""
    sound = [copy for copy in copies if copy is not None]
    held = [copy for copy in sound if copy[1]]
    if len(held) < 2:
        return (held or sound or [None])[0]
    a, b = held
    if a[1].startswith(b[1]) or b[1].startswith(a[1]):
        return max(held, key=lambda copy: (len(copy[1]), has_right_first_tick(copy)))
    return max(held, key=lambda copy: (packets_are_right(copy[1]), copy[0] if told(copy) else -1))


def has_right_first_tick(copy):
    """As far as its first packet tells."""
    tick, payload = copy
    low = {0x80: struct.pack("<I", tick), 0x81: bytes([tick & 0xFF])}.get(payload[0], b"")
    return told(copy) and payload[1:].startswith(low)


def packets_are_right(payload):
    at = 0
    while at < len(payload):
        size = whole_size(payload, at)
        if size == 0 or not ends_right(payload[at : at + size]):
            return False
        at += size
    return True


def copies_of(paths):
    """By cluster: the copies of each file that is one."""
    never, files = {}, []
    for path in paths:
        if os.path.exists(path) and os.path.getsize(path) == CLUSTER * CLUSTERS:
            files.append(path)
    if not files:
        raise SystemExit(f"{paths[0]}: no ring")
    found = [[] for _ in range(CLUSTERS)]
    for path in files:
        with open(path, "rb") as file:
            for copies in found:
                block = file.read(CLUSTER)
                if block not in never:
                    copy = sound_copy(block)
                    if copy is not None and copy[0] == NEVER:
                        never[block] = copy
                else:
                    copy = never[block]
                copies.append(copy)
    return found


def ring_stretches(base):
    all_copies = copies_of([f"{base}_1.mtd", f"{base}_2.mtd"])
    best = [better(copies) for copies in all_copies]
    order, has_wrapped = order_of(best)
    return [*stretches_of(best, order, has_wrapped)]


def told(copy):
    return copy is not None and copy[0] < NO_TICK_YET


def order_of(best):
    """(the clusters from the oldest to the newest, whether older ones were written over)"""
    written = [n for n, copy in enumerate(best) if copy is not None and copy[0] != NEVER]
    if not written:
        return [], False
    if any(copy is not None and copy[0] == NEVER for copy in best):
        return list(range(max(written) + 1)), False
    ticks = [(n, best[n][0]) for n in written if told(best[n])]
    drops = [(before - tick, n) for (n, before), (_, tick) in zip(ticks, ticks[1:])
             if tick < before]
    newest = max(drops)[1] if drops else written[-1]
    while newest + 1 < CLUSTERS and best[newest + 1] is not None and \
            best[newest + 1][0] == NO_TICK_YET:
        newest += 1
    return [(newest + 1 + n) % CLUSTERS for n in range(CLUSTERS)], True


def stretches_of(best, order, has_wrapped):
    gap = ("overwritten", 0, order[0]) if has_wrapped else None
    last = None
    for at, n in enumerate(order):
        copy = best[n]
        # Both files have missed it, and hold what was recorded a lap before.
        behind = next((best[m][0] for m in order[at + 1 : at + 9] if told(best[m])), -1)
        if has_wrapped and last is not None and told(copy) and copy[0] < last <= behind:
            copy = None
        if copy is None or not copy[1]:
            reason, lost, first = gap or ("lost clusters", 0, n)
            gap = reason, lost + 1, first
            continue
        last = copy[0] if told(copy) else last
        yield Stretch(n, n * CLUSTER + HEAD, copy[1], copy[0] if told(copy) else None, gap)
        gap = None
    if gap is not None:
        yield Stretch(None, 0, b"", None, gap)


def stretches(path):
    if os.path.isfile(path):
        with open(path, "rb") as file:
            data = file.read()
        if data[:4] != b"f]S1":
            raise SystemExit(f"{path}: no flat file")
        return [Stretch(None, 4, data[4:], None, None)], True
    return ring_stretches(path), False


# ---- Packets ---------------------------------------------------------------------------


class Framer:
    """Hands packets to a Teller: those of one tick together, and where something is missing."""

    def __init__(self, teller):
        self.teller = teller
        self.bits = NEVER  # of the tick at hand; all set: it is none
        self.last_tick, self.upper, self.header = None, False, False
        self.group, self.group_tick, self.run = [], None, 0

    @property
    def tick(self):
        return None if self.bits == NEVER else self.bits

    def place(self, stretch, at):
        place = {"offset": stretch.offset + at}
        return place if stretch.cluster is None else {"cluster": stretch.cluster, **place}

    def flush(self):
        if self.group:
            self.teller.take_group(self.group, self.group_tick, self.last_tick)
        self.group = []

    def lose_tick(self):
        self.upper = self.header = False

    def gap(self, reason, place, size=0, clusters=0):
        self.teller.begin_gap(reason, place, self.last_tick, size, clusters)

    def take(self, stretch):
        if stretch.gap is not None:
            reason, clusters, n = stretch.gap
            self.flush()
            self.gap(reason, {"cluster": n, "offset": n * CLUSTER}, 0, clusters)
            self.lose_tick()
        if not self.upper and stretch.first_tick is not None:
            self.bits, self.upper = stretch.first_tick, True
        data, at = stretch.payload, 0
        while at < len(data):
            at += self.step(stretch, data, at)

    def step(self, stretch, data, at):
        size = whole_size(data, at)
        if data[at] == 0x84:
            return 1
        raw = data[at : at + size]
        if size == 0:
            return self.damage(stretch, data, at)
        if raw == MARK:
            self.flush()
            self.gap("lost before it was copied", self.place(stretch, at))
            self.lose_tick()
            return size
        right = ends_right(raw)
        goes_on = at + size == len(data) or 0x80 <= data[at + size] <= 0x84
        if not right and (raw[0] == 0x83 or not goes_on):
            return self.damage(stretch, data, at)
        self.add(Packet(raw, HEADS.get(raw[0]), self.place(stretch, at), right))
        return size

    def damage(self, stretch, data, at):
        """Up to the next packet whose CRC is right."""
        self.flush()
        end = at + 1
        while end < len(data) and not is_sound(data, end):
            end += 1
        is_cut = end == len(data) and 0x80 <= data[at] <= 0x84
        self.gap("cut short at the end" if is_cut else "no packets", self.place(stretch, at),
                 end - at)
        self.lose_tick()
        return end - at

    def add(self, packet):
        if packet.raw[0] == 0x83:
            self.flush()
            return
        if packet.raw[0] != 0x82:
            self.flush()
            self.teller.meet_header()
            self.set_tick(packet)
            self.header = True
        if not self.group:
            self.group_tick = self.tick if self.header else None
        self.group.append(packet)
        if packet.right:
            return
        self.flush()
        self.gap("wrong packet CRC", packet.at, len(packet.raw))
        _, rest = items_of(packet)
        if rest:  # its length may be what is wrong
            self.lose_tick()
            return
        self.upper = self.upper and packet.raw[0] != 0x80
        self.header = self.header and packet.raw[0] == 0x82

    def set_tick(self, packet):
        if packet.raw[0] == 0x80:
            self.bits, self.upper = struct.unpack_from("<I", packet.raw, 1)[0], packet.right
        else:
            self.bits = self.bits & ~0xFF | packet.raw[1] if self.upper else NEVER
        if self.tick is None or not packet.right:
            return
        last = self.last_tick
        if last is not None and self.tick < last and (self.tick - last) & 0xFFFFFFFF > A_DAY:
            self.run += 1
            self.teller.begin_run(self.run)
        self.last_tick = self.tick

    def finish(self):
        self.flush()
        self.teller.end_gap(None)


def is_sound(data, at):
    size = whole_size(data, at) if data[at] != 0x83 else 0
    return size > 0 and ends_right(data[at : at + size])


def items_of(packet):
    """([(offset in the packet, tag, body)], bytes left behind the last item of a known kind)"""
    found, at, end = [], packet.head, len(packet.raw) - 1
    while at < end:
        size, has_text = decoder.ITEMS.get(packet.raw[at], (0, False))
        if has_text and at + size <= end:
            size += packet.raw[at + size - 1]
        if size == 0 or at + size > end:
            break
        found.append((at, packet.raw[at], packet.raw[at + 1 : at + size]))
        at += size
    return found, end - at


# ---- Records ---------------------------------------------------------------------------


class Teller:
    """Lines, with positions and what is known; times come behind, from what is noted here."""

    def __init__(self, is_flat):
        self.is_flat = is_flat
        self.lines = []  # each with "_run", and what its time is reckoned from
        self.times = []  # (number of the line, run, tick, seconds) of times that count
        self.breaks = []  # numbers of lines in front of which something is missing
        self.position, self.known, self.run = None, {}, 0
        self.pending, self.headers, self.first_group = None, 0, True
        self.is_replayed = self.is_estimated = False

    def meet_header(self):
        self.first_group = self.headers == 0
        self.headers += 1

    def begin_run(self, run):
        self.end_gap(None)
        self.run = run
        self.forget()

    def forget(self):
        self.position, self.known = None, {}

    def begin_gap(self, reason, place, from_tick, size, clusters):
        self.forget()
        self.breaks.append(len(self.lines))
        if self.pending is None:
            self.pending = {"kind": "gap", "reason": reason, "from_tick": from_tick, "bytes": size,
                            "clusters": clusters, **place, "_run": self.run,
                            "_before": len(self.lines)}
            return
        if LOSSES[reason] > LOSSES[self.pending["reason"]]:
            self.pending["reason"] = reason
        self.pending["bytes"] += size
        self.pending["clusters"] += clusters

    def end_gap(self, tick):
        if self.pending is not None:
            self.lines.append({**self.pending, "to_tick": tick})
        self.pending = None

    def label(self, group):
        """Whether the group is the state that an extract begins with."""
        items, _ = items_of(group[0])
        texts = [body[1:] if tag == 0x20 else b"" for _, tag, body in items[:2]] + [b"", b""]
        if not group[0].right:
            self.is_replayed = True
        if not group[0].right or group[0].raw[0] == 0x82:
            return False
        is_label = re.fullmatch(rb"Range [0-9]+ to [0-9]+", texts[0]) is not None
        is_completed = texts[1].startswith(b"State completed by vmr")
        self.is_replayed = is_label and not is_completed
        self.is_estimated = (is_label and is_completed
                             and texts[1].endswith(b"; its time is an estimate"))
        return is_label

    def take_group(self, group, tick, last_tick):
        self.end_gap(tick)
        is_label = self.first_group and self.is_flat and self.label(group)
        tags = {tag for packet in group for _, tag, _ in items_of(packet)[0]}
        is_full = is_label or (sum(len(packet.raw) for packet in group) >= 100 and 0x1A in tags
                               and all(on in tags or on + 1 in tags for on in ALL_INPUTS))
        for packet in group:
            items, rest = items_of(packet)
            adjusted = 0
            for at, tag, body in items:
                self.take_item(packet, tick, at, (tag, body), adjusted, is_full, is_label)
                adjusted = body[0] if tag == 0x21 else 0
            if rest > 0:
                place = {**packet.at, "offset": packet.at["offset"] + len(packet.raw) - 1 - rest}
                self.begin_gap("unknown item", place, last_tick, rest, 0)

    def take_item(self, packet, tick, at, item, adjusted, is_full, is_label):
        tag, body = item
        adjusted = 0 if tag == 0x21 else adjusted
        tick = None if tick is None else (tick - adjusted) & 0xFFFFFFFF
        tick = None if tick == 0xFFFFFFFF else tick
        before = self.position
        if tag in (0x91, 0x92, 0x93):
            kind, told_fields = "position", self.move(tag, body)
        else:
            kind, told_fields = fields.kind_and_fields(tag, body, utc)
        line = {"kind": kind, "tick": tick, **told_fields, **packet.at, "_run": self.run}
        line["offset"] += at
        line["repeats"] = self.repeats(kind, told_fields, body, before, is_full, is_label)
        if not packet.right:
            line["packet_crc"] = "wrong"
        if adjusted:
            line["adjusted_by"] = adjusted
        if self.run:
            line["run"] = self.run
        if tag == 0x03:
            seconds = struct.unpack("<i", body)[0]
            if tick is not None and seconds >= 0 and packet.right:
                sure = not (is_label and self.is_estimated)
                self.times.append((len(self.lines), self.run, tick, seconds * 1000, sure))
        self.lines.append(line)

    def repeats(self, kind, told_fields, body, before, is_full, is_label):
        count = KEYS.get(kind, 0)
        values = list(told_fields.items())
        key = (kind, *(value for _, value in values[:count]))
        held = self.known.get(key)
        agrees = held is None or held == (body, values) or all(
            dict(held[1]).get(name, value) in (value, None) or value is None
            for name, value in values[count:]) and len(held[0]) != len(body)
        found = False
        if is_full and kind not in EVENTS:
            if is_label or kind in FRAMING or kind == "live_stream":
                found = True
            elif kind == "position":
                found = before is None or before[:2] == (self.position or (0, 0))[:2]
            else:
                found = agrees
        if kind not in FRAMING and kind not in EVENTS and kind != "position" and \
                not (found and kind == "live_stream"):
            self.known[key] = (body, values)
        return found

    def move(self, tag, body):
        if tag == 0x91:
            self.position = whole_position(body, self.first_group and self.is_replayed)
        elif self.position is not None:
            north, west = struct.unpack("<bb" if tag == 0x92 else "<hh", body)
            latitude, longitude, doubt = self.position
            latitude, longitude = latitude + north, longitude - west
            if abs(longitude) > HALF_CIRCLE:
                longitude -= 2 * HALF_CIRCLE if longitude > 0 else -2 * HALF_CIRCLE
            self.position = ((latitude, longitude, doubt) if 2 * abs(latitude) <= HALF_CIRCLE
                             else None)
        if self.position is None:
            return {"latitude": None, "longitude": None, "absolute": tag == 0x91}
        latitude, longitude, doubt = self.position
        found = {"latitude": degrees(latitude), "longitude": degrees(longitude),
                 "absolute": tag == 0x91}
        return {**found, "position": "unverified"} if doubt else found


def degrees(tts):
    return round(tts / 600000, 7)


def whole_position(body, is_replayed):
    quadrant, *axes = struct.unpack("<BBBHBBH", body)
    whole, minutes, fractions = axes[::3], axes[1::3], axes[2::3]
    latitude, longitude = ((d * 60 + m) * 10000 + f for d, m, f in zip(whole, minutes, fractions))
    if not (quadrant < 4 and max(minutes) < 60 and max(fractions) < 10000
            and 2 * latitude <= HALF_CIRCLE and longitude <= HALF_CIRCLE):
        return None
    return (-latitude if quadrant & 2 else latitude, -longitude if quadrant & 1 else longitude,
            is_replayed)


# ---- Times -----------------------------------------------------------------------------


def signed(ticks):
    ticks &= 0xFFFFFFFF
    return ticks - (1 << 32) if ticks >> 31 else ticks


class Clock:
    """The time of a tick, from the times that a recording tells."""

    def __init__(self, teller):
        self.times, self.breaks = teller.times, teller.breaks

    def at(self, number, run, tick, is_itself=False):
        """(milliseconds, how well that is known) of a tick of the line with that number."""
        if tick is None:
            return None, "unknown"
        before = [time for time in self.times
                  if time[1] == run and (time[0] < number or is_itself and time[0] == number)]
        behind = [time for time in self.times if time[1] == run and time[0] >= number]
        sure = before and before[-1][4] and not any(before[-1][0] < at <= number
                                                    for at in self.breaks)
        if not before and not behind:
            return None, "unknown"
        # The time of a completed extract's state counts though it is not sure.
        is_state = before and not before[-1][4]
        anchor = before[-1] if sure or is_state or not behind else behind[0]
        return anchor[3] + signed(tick - anchor[2]) * 500, "exact" if sure else "estimated"


def with_times(teller):
    clock, finished = Clock(teller), []
    told_at = {time[0]: time for time in teller.times}
    for number, line in enumerate(teller.lines):
        run = line.pop("_run")
        if line["kind"] == "gap":
            before = line.pop("_before")
            first = {name: line.pop(name) for name in ("kind", "reason", "from_tick", "to_tick")}
            finished.append({
                **first, "from_time": gap_time(clock, before, run, first["from_tick"]),
                "to_time": text_of(clock.at(number, run, first["to_tick"])[0]), **line})
            continue
        ms, quality = clock.at(number, run, line["tick"], True)
        step = step_at(clock, told_at.get(number), number, run, line)
        if step is not None:
            finished.append(step)
            ms, quality = told_at[number][3], "stepped"
        if line.get("packet_crc") and quality == "exact":
            quality = "estimated"
        first = {name: line.pop(name) for name in ("kind", "tick")}
        finished.append({**first, "time": text_of(ms), "time_quality": quality,
                         "repeats": line.pop("repeats"), **line})
    return finished


def gap_time(clock, before, run, tick):
    """Of the last tick in front of a gap, as it is known there."""
    breaks, clock.breaks = clock.breaks, [at for at in clock.breaks if at < before]
    ms, _ = clock.at(before, run, tick)
    clock.breaks = breaks
    return text_of(ms)


def text_of(ms):
    return None if ms is None else utc(ms)


def step_at(clock, told_time, number, run, line):
    """Where a time is more than a second from what the one before predicts."""
    before = [time for time in clock.times if time[1] == run and time[0] < number]
    if told_time is None or not before:
        return None
    expected = before[-1][3] + signed(line["tick"] - before[-1][2]) * 500
    if abs(told_time[3] - expected) <= 1000:
        return None
    place = {name: line[name] for name in ("cluster", "offset") if name in line}
    return {"kind": "clock_step", "tick": line["tick"], "expected": utc(expected),
            "told": utc(told_time[3]), "step_ms": told_time[3] - expected, **place}


def read(path):
    found, is_flat = stretches(path)
    teller = Teller(is_flat)
    framer = Framer(teller)
    for stretch in found:
        framer.take(stretch)
    framer.finish()
    return with_times(teller)


if __name__ == "__main__":
    for one in read(sys.argv[1]):
        print(json.dumps(one))
