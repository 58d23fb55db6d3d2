"""Random drives of a random unit, as lines for `vmr record`."""

import datetime
import json

# Far from the poles, near and across 0 and 180 degrees.
STARTS = [(41.6, -93.5), (48.2, 11.6), (-37.8, 144.9), (-33.4, -70.6), (0.0, 0.0), (0.001, 179.999),
          (-0.001, -179.999), (67.2, 0.0)]
INPUTS = ["emergency lights", "siren", "brake", "auxiliary input", "door", "system power",
          "accident detect", "ignition", "recording", "covert", "docked"]
CAMERAS = ["front", "rear", "left", "right", "cabin", "cargo", "aux 1", "aux 2", "side rear"]
POLICIES = ["start_on_siren", "start_on_crash", "auto_power_off", "record_brake", "record_gps",
            "force_cabin_mic_on", "policy_70", "policy_71", "display_disc_usage"]
FIRST_TIME = 1700000000
LONGEST_TEXT = 253


class Drive:
    def __init__(self, rng):
        self.rng = rng
        self.latitude, self.longitude = rng.choice(STARTS)
        self.makers = [
            (6, self.input), (2, self.button), (2, self.bookmark), (4, self.temperature),
            (6, self.speed), (6, self.radar), (1, self.radar_state), (1, self.gps_state),
            (4, self.camera), (4, self.stream), (3, self.live_stream), (1, self.stream_quality),
            (4, self.microphone), (2, self.identity), (2, self.system_info), (1, self.settings),
            (1, self.configuration), (2, self.log), (20, self.fix), (1, self.loss)]

    def event(self):
        weights, makers = zip(*self.makers)
        return self.rng.choices(makers, weights)[0]()

    def text(self, longest=LONGEST_TEXT):
        size = self.rng.choice([0, 1, 8, 20, longest])
        return "".join(self.rng.choice("abcxyz$019 -") for _ in range(size))

    def flag(self):
        return self.rng.random() < 0.5

    def input(self):
        return {"event": "input", "name": self.rng.choice(INPUTS), "on": self.flag()}

    def button(self):
        return {"event": "button", "button": self.rng.randrange(3), "action": self.rng.randrange(3)}

    def bookmark(self):
        return {"event": "bookmark"}

    def temperature(self):
        return {"event": "temperature", "sensor": self.rng.randrange(4),
                "degrees": self.rng.randint(-130, 130)}

    def speed(self):
        return {"event": "speed", "device": self.rng.choice(["gps", "radar"]),
                "speed": self.rng.choice([0, 1, 2, 3, 54, 127, 128, 255, 300, 29296])}

    def radar(self):
        return {"event": "radar", "target": self.rng.choice([0, 61, 62, 250, 251, 252, 1023]),
                "fastest": self.rng.choice([0, 300]), "lock": self.rng.choice([0, 0, 511]),
                "direction": self.rng.randrange(2)}

    def radar_state(self):
        return {"event": "radar_state", "connected": self.flag()}

    def gps_state(self):
        return {"event": "gps_state", "available": self.flag()}

    def camera(self):
        return {"event": "camera", "camera": self.rng.choice(CAMERAS),
                "state": self.rng.randrange(4)}

    def stream(self):
        return {"event": "stream", "stream": self.rng.randrange(4), "state": self.rng.randrange(4)}

    def live_stream(self):
        return {"event": "live_stream", "stream": self.rng.randrange(6),
                "camera": self.rng.randrange(9), "quality": self.rng.choice(["low", "high"]),
                "enabled": self.flag(), "address": f"10.0.0.{self.rng.randrange(256)}",
                "port": self.rng.randrange(65536)}

    def stream_quality(self):
        return {"event": "stream_quality",
                "streams": [{"format": self.rng.randrange(16), "split": self.flag(),
                             "camera_port": self.rng.randrange(10)} for _ in range(4)]}

    def microphone(self):
        return {"event": "microphone", "microphone": self.rng.randrange(4), "present": self.flag(),
                "on": self.flag()}

    def identity(self):
        return self.rng.choice([
            {"event": "officer", "name": self.text(), "badge_id": self.text(64)},
            {"event": "vehicle", "vehicle_id": self.text(64)},
            {"event": "department", "department_name": self.text()},
            {"event": "serial_number", "serial_number": self.text(64)},
            {"event": "mac", "mac": f"02:00:5E:10:00:{self.rng.randrange(256):02X}"},
            {"event": "version", "component": self.rng.randrange(10), "text": self.text(64)}])

    def system_info(self):
        return self.rng.choice([
            {"event": "system_info", self.rng.choice(POLICIES): self.flag()},
            {"event": "system_info", "record_speed_in_metadata": True,
             "radar_type": self.rng.randrange(4)},
            {"event": "system_info", "time_zone_index": "America/Chicago",
             "time_zone_name": self.text(64)}])

    def settings(self):
        return {"event": "recording_settings", "split_screen_mode": self.flag(),
                "maximum_recording_size_gb": self.rng.randrange(256)}

    def configuration(self):
        return {"event": "configuration"}

    def log(self):
        return {"event": self.rng.choice(["log", "test"]), "text": self.text()}

    def fix(self):
        reach = self.rng.choice([0.00001, 0.0002, 0.0002, 0.004, 0.2])
        self.latitude += self.rng.uniform(-reach, reach)
        self.longitude = (self.longitude + self.rng.uniform(-reach, reach) + 180) % 360 - 180
        return {"class": "TPV", "mode": 3, "lat": round(self.latitude, 7),
                "lon": round(self.longitude, 7), "speed": self.rng.uniform(0, 60)}

    def loss(self):
        return {"class": "TPV", "mode": 1}


def session(rng):
    """The events of one run of the recorder, each with its tick, and some times."""
    drive = Drive(rng)
    tick = rng.choice([1, 200, 250, 100000, (1 << 24) - 20])
    lines = [{"event": "bookmark", "tick": tick, "time": stamp(FIRST_TIME)}]
    for _ in range(rng.choice([60, 250, 700, 1500])):
        tick += rng.choice([0, 0, 0, 1, 1, 2, 4, 9, 40])
        if rng.random() < 0.003:
            tick += 7300
        event = {**drive.event(), "tick": tick}
        if rng.random() < 0.005:
            event["time"] = stamp(FIRST_TIME + tick // 2 + rng.choice([0, 3, 7200, -100000]))
        lines.append(event)
    return lines


def stamp(seconds):
    return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).isoformat()


def text_of(lines):
    return "".join(json.dumps(line) + "\n" for line in lines)


