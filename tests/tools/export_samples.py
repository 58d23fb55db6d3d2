"""Recordings for the tests of exports: flat files put together from items."""

import struct

MAGIC = bytes.fromhex("665d5331")
LIGHTS_ON, SIREN_ON, SIREN_OFF = b"\x34", b"\x36", b"\x37"


def crc8(data):
    crc = 0xFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = (crc << 1 ^ 0x07) & 0xFF if crc & 0x80 else crc << 1
    return crc


def packet(tick, items, wrong=False):
    """A HEADER_1 packet."""
    body = b"\x80" + struct.pack("<IB", tick, len(items)) + items
    return body + bytes([crc8(body) ^ (1 if wrong else 0)])


def text(tag, value):
    value = value.encode() if isinstance(value, str) else value
    return bytes([tag, len(value)]) + value


def time(seconds):
    return b"\x03" + struct.pack("<i", seconds)


def place(latitude_tts, longitude_tts):
    """GpsAbs of ten-thousandths of a minute, north and east positive."""
    quadrant = (2 if latitude_tts < 0 else 0) | (1 if longitude_tts < 0 else 0)

    def axis(tts):
        return struct.pack("<BBH", abs(tts) // 600000, abs(tts) // 10000 % 60, abs(tts) % 10000)

    return b"\x91" + bytes([quadrant]) + axis(latitude_tts) + axis(longitude_tts)


def way(north_tts, east_tts):
    """GpsRel16, which counts north and west positive."""
    return b"\x93" + struct.pack("<hh", north_tts, -east_tts)


def speed(mph):
    return bytes([0x71, mph])


def flat(*packets):
    return MAGIC + b"".join(packets)


HOSTILE = ["=cmd|' /C calc'!A0", "+1", "-1", "@SUM(1)", "\t=1", "\r=1", "Smith, \"Jo\"",
           "line\nbreak\r\n", "\x1b[2Jred\x07", "caf\u00e9 \u202egnol\u202c \u2066x\u2069",
           "<b>&amp;</b> --> ]]>", "\u0085next \u200f\u061c", b"\xe9\xff latin", b"\x80\x9f", ""]


def everything():
    """Every kind of record, with hostile texts, extreme values and a wrong CRC."""
    packets = [packet(100, time(1700000000) + place(-22700000, 87000000) + speed(27))]
    tick = 100
    for value in HOSTILE:
        for tag in (0x05, 0x08, 0x06, 0x07, 0x10, 0x11, 0x04, 0x20, 0xF1):
            tick += 1
            packets.append(packet(tick, text(tag, value)))
    fixed = ["02 00 01 02 03 04 05 06", "1A", "21 05 36", "4A", "4B", "56", "58 02 00 00 01 01 41",
             "58 09 00 00 00 00", "59 01 01 01", "59 07 02 00", "60 01 61 01 78", "60 07 FF 00",
             "61 FF FF FF FF", "61 00 FC FC FC", "67 00 01 02 03", "68 3D", "6E FD", "6F 21", "6F 47",
             "70 02 61 02 01 41", "70 01 41 01 00", "71 3D", "72 FE", "77 01", "78 FC 00", "7E FF FF",
             "90 01 01 47", "92 7F 81", "94 00", "94 01", "92 01 01", "93 FF 7F 01 80",
             "B0 1F 13 88 C0 A8 00 0A 03", "B0 F0 00 00 00 00 00 00 FF", "C0 00 00", "C0 09 09",
             "D1 64", "E0 02 01 41", "E1 80", "E4 7F", "18 62 01", "18 FF FF", "19 00 34 12",
             "09 02 01 41", "09 FF 00", "50 00 01 46", "51 01", "51 F7", "54 10 30", "54 FF FF",
             "55 00", "55 3F", "91 00 5A 00 00 00 B4 00 00 00", "91 04 01 02 03 04 05 06 07 08",
             "03 00 00 00 80", "03 00 00 00 7F"]
    for item in fixed:
        tick += 1
        packets.append(packet(tick, bytes.fromhex(item.replace(" ", ""))))
    packets.append(packet(tick + 1, SIREN_ON + place(1, -1), wrong=True))
    packets.append(packet(tick + 2, SIREN_OFF + time(1700003600)))
    packets.append(b"garbage" * 3)
    packets.append(packet(tick + 3, time(1700003602) + place(0, 1)))
    packets.append(packet(7, LIGHTS_ON))  # ticks begin anew
    packets.append(packet(9, b"\xf0"))
    return flat(*packets)
