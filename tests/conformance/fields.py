"""What one item says, as docs/schema calls it, written from docs/format.md alone."""

import pathlib
import re
import struct

FORMAT = pathlib.Path(__file__).resolve().parent.parent.parent / "docs" / "format.md"
POLICIES = {int(id_): name for id_, name in re.findall(
    r"^\| (\d+) \| 0x.. \| [bnw] \| (.*?) \| ", FORMAT.read_text(), re.M) if name != "(unknown)"}
INPUTS = {0x34: "emergency lights", 0x36: "siren", 0x38: "brake", 0x3A: "covert",
          0x3C: "auxiliary input", 0x3E: "door", 0x40: "system power", 0x42: "accident detect",
          0x44: "ignition", 0x46: "recording", 0x4A: "docked"}
COMPONENTS = ["Invalid", "Mainboard", "System Software", "IOP", "System FPGA", "Front Panel",
              "Pendry", "Split Screen FPGA", "Power Board Software", "Power Board Hardware"]
BUTTONS = ["power", "record", "backlight"]
ACTIONS = ["pressed", "long pressed", "released"]
STATES = ["off", "on", "background"]
UNITS = ["none", "km/h", "mph", "as set on radar"]
SENSORS = ["inlet", "outlet", "power", "cpu"]
STATUS = {252: "TST", 253: "ERR", 254: "BLANK", 255: "BAD"}
TEXTS = {0x04: "time_zone_name", 0x05: "officer", 0x06: "department", 0x07: "vehicle",
         0x08: "badge", 0x10: "serial_number", 0x11: "time_zone", 0x20: "log", 0xF1: "test"}
TIME_FORMAT = "{:%Y-%m-%dT%H:%M:%S}.{:03d}Z"


def word(words, number):
    """A number that has no word stands for itself."""
    if isinstance(words, dict):
        return words.get(number, number)
    return words[number] if number < len(words) else number


def text(data):
    """UTF-8; a byte that is none is ISO 8859-1, and the bytes are told, too."""
    found, at, is_utf8 = "", 0, True
    while at < len(data):
        for size in (1, 2, 3, 4):
            try:
                character = data[at : at + size].decode()
            except UnicodeDecodeError:
                continue
            break
        else:
            character, size, is_utf8 = chr(data[at]), 1, False
        found, at = found + character, at + size
    return {"text": found} if is_utf8 else {"text": found, "text_bytes": data.hex()}


def reading(name, number):
    if number in STATUS:
        return {name: None, f"{name}_status": STATUS[number]}
    return {name: None if number == 1023 else number}


def microphone(number):
    return {"stream_number": number, "position": {0: 2, 1: 0, 2: 1, 3: 3}.get(number)}


def radar_data(body):
    bits, low = body[0], {"target": body[3], "lock": body[1], "fastest": body[2]}
    high = {"target": bits >> 1 & 3, "lock": bits >> 5 & 3, "fastest": bits >> 3 & 3}
    found = {}
    for name in low:
        number = high[name] << 8 | low[name]
        found.update({name: None} if number == 1023 else reading(name, number))
    return {**found, "direction": bits >> 7}


def device(body, types):
    return {"units": word(UNITS, body[1] >> 5), "type": word(types, body[1] & 31), **text(body[3:])}


def live_stream(body):
    address = ".".join(str(byte) for byte in body[3:7])
    return {"stream": body[0] >> 4, "camera": body[7], "enabled": body[0] & 3 != 0,
            "quality": "low" if body[0] >> 2 & 3 == 0 else "high", "address": address,
            "port": int.from_bytes(body[1:3], "big")}


def of_a_range(tag, body):
    if 0x34 <= tag <= 0x4B:
        return "input", {"input": INPUTS[tag & ~1], "on": tag % 2 == 0}
    if 0x61 <= tag <= 0x67:
        return "radar", {"radar": tag - 0x60, **radar_data(body)}
    if 0x68 <= tag <= 0x6E:
        return "radar", {"radar": tag - 0x67, **reading("target", body[0]), "lock": None,
                         "fastest": None, "direction": None}
    if 0x71 <= tag <= 0x77:
        return "speed", {"device": tag - 0x70, **speed(body[0])}
    if 0x78 <= tag <= 0x7E:
        return "speed", {"device": tag - 0x77, **speed(int.from_bytes(body, "little"))}
    return "temperature", {"sensor": SENSORS[tag - 0xE1],
                           "temperature": struct.unpack("b", body)[0]}


def speed(number):
    """1023 is a speed here: only a radar's ten bits have it for none."""
    return {"speed": number} if number == 1023 else reading("speed", number)


def kind_and_fields(tag, body, time_text):
    """All but positions, which follow from record to record. Body: the item behind its tag."""
    if tag in TEXTS:
        return TEXTS[tag], text(body[1:])
    single = {
        0x02: lambda: ("mac", {"mac": body[1:].hex(":")}),
        0x03: lambda: ("time", {"clock": time_text(struct.unpack("<i", body)[0] * 1000)}),
        0x09: lambda: ("version", {"component": word(COMPONENTS, body[0]), **text(body[2:])}),
        0x18: lambda: ("policy", {"policy": word(POLICIES, body[0]), "value": body[1]}),
        0x19: lambda: ("policy", {"policy": word(POLICIES, body[0]),
                                  "value": int.from_bytes(body[1:], "little")}),
        0x1A: lambda: ("configuration_end", {}),
        0x21: lambda: ("tick_adjust", {"ticks": body[0]}),
        0x50: lambda: ("camera_name", {"port": body[0], **text(body[2:])}),
        0x51: lambda: ("camera", {"port": body[0] >> 4, "state": word(STATES, body[0] & 15)}),
        0x54: lambda: ("stream_format", {
            "stream": body[0] >> 4,
            "format": word(["none", "D1", "CIF", "QCIF", "720p", "1080p"], body[0] & 15),
            "camera": word(["port 0", "port 1", "port 2", "port 3", "split screen", "none"],
                           body[1] >> 4)}),
        0x55: lambda: ("stream", {"stream": body[0] >> 4, "state": word(STATES, body[0] & 15)}),
        0x56: lambda: ("bookmark", {}),
        0x58: lambda: ("microphone_name", {**microphone(body[0]), **text(body[4:])}),
        0x59: lambda: ("microphone", {**microphone(body[0]),
                                      "what": word({1: "present", 2: "on"}, body[1]),
                                      "value": body[2] != 0}),
        0x60: lambda: ("radar_device", {"radar": body[0],
                                        **device(body, ["disconnected", "generic"])}),
        0x6F: lambda: ("radar_state", {"radar": body[0] & 31, "connected": body[0] >> 5 == 1}),
        0x70: lambda: ("speed_device", {"device": body[0],
                                        **device(body, ["disconnected", "gps", "radar"])}),
        0x90: lambda: ("gps_receiver", text(body[2:])),
        0x94: lambda: ("gps_state", {"available": body[0] == 1}),
        0xB0: lambda: ("live_stream", live_stream(body)),
        0xC0: lambda: ("button", {"button": word(BUTTONS, body[0]),
                                  "action": word(ACTIONS, body[1])}),
        0xD1: lambda: ("voltage", {"percent": body[0]}),
        0xE0: lambda: ("temperature_sensor", {"sensor": word(SENSORS, body[0]), **text(body[2:])}),
        0xF0: lambda: ("end_of_stream", {}),
    }
    return single[tag]() if tag in single else of_a_range(tag, body)
