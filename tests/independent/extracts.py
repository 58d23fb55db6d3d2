"""What an extract holds, beside what its source does."""

import decoder
import reading

PAST_END = 20  # ticks that an extract goes on past its range
NO_STATE = {0x03, 0x1A, 0x20, 0x21, 0x56, 0xC0, 0xF1}  # framing and events
RADAR = range(0x61, 0x6F)  # a target alone and a whole reading are of one thing
GAP_LOG = b"vmr: gap, "


def known_at(records, gaps, tick):
    """By what it is of, what the records tell last in front of a tick and behind every gap. What no
    tick is told of right in front of it may belong behind it: that is copied, and not stated."""
    known, in_front = {}, None
    for number, record in enumerate(records):
        if number in gaps:
            known, in_front = {}, None
        if record.tick is None:
            in_front = dict(known) if in_front is None else in_front
        elif record.tick >= tick:
            break
        else:
            in_front = None
        if record.tag in NO_STATE or record.tag in RADAR:
            continue
        key, value = reading.key_and_value(record.tag, record.body, record.position)
        if record.position is not None and record.position[2] != reading.KNOWN:
            known.pop(key, None)
        elif record.tag == reading.LIVE_STREAM and record.repeats:
            known.setdefault(key, value)  # a full state may lag behind the reports
        else:
            known[key] = value
    return known if in_front is None else in_front


def split(path):
    """(records of an extract's state, the others, gaps)"""
    stretches = reading.flat_stretches(path)
    records, gaps = reading.read(stretches, True)
    payload, count = stretches[0].payload, 0
    for number, (at, head, size) in enumerate(reading.packet_places(payload)):
        raw = payload[at : at + size]
        if number > 0 and raw[0] != 0x82 or raw == reading.GAP_MARK:
            break
        count += len(list(decoder.items(decoder.Packet(0, raw[0], raw[head:-1], raw))))
    return records[:count], records[count:], gaps


def as_told(records):
    return [(r.tick, r.event_tick, r.tag, r.body, r.position and r.position[2],
             r.position and r.position[2] and r.position[:2]) for r in records]


def compare(path, records, gaps, start, end):
    """(number of states at the start, what is wrong or None), given what the source holds."""
    state, copied, _ = split(path)
    # What no tick is told of, behind a gap, is copied; where it belongs is not looked at.
    copied = [r for r in copied if r.tick is not None
              and not (r.tag == 0x20 and r.body[1:].startswith(GAP_LOG))]
    wanted = [r for r in records if r.tick is not None and start <= r.tick <= end + PAST_END]
    for ours, theirs in zip(as_told(copied), as_told(wanted)):
        if ours != theirs:
            return 0, f"it says {ours}, the store {theirs}"
    if len(copied) != len(wanted):
        return 0, f"{len(copied)} records, the store has {len(wanted)}"
    stated, known = known_at(state, [], start + 1), known_at(records, gaps, start)
    if stated == known:
        return len(stated), None
    return 0, (f"stated and not recorded {difference(stated, known)}, "
               f"recorded and not stated {difference(known, stated)}")


def difference(some, others):
    return sorted((str(key), value) for key, value in some.items()
                  if key not in others or others[key] != value)
