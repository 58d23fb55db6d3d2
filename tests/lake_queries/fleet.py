"""A small fleet: eight recordings of six units, made by the program out of lines of events.

What it holds is written down here and nowhere else; the tests' expectations are worked out from
these lines by hand. Ticks are half seconds, and tick 0 is the `start` of a recording.

    fleet.py VMR FOLDER makes it, and a lake of it as FOLDER/lake
"""

import datetime
import json
import pathlib
import shutil
import subprocess
import sys

import lake

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tools"))
from export_samples import crc8  # noqa: E402 (the folder beside)

CLUSTER_BYTES = 4096
MICROPHONES = ["wireless 1", "wireless 2", "cabin", "auxiliary"]


def lights(on):
    return {"event": "input", "name": "emergency lights", "on": on}


def siren(on):
    return {"event": "input", "name": "siren", "on": on}


def speed(mph):
    return {"event": "speed", "device": "gps", "speed": mph}


def place(latitude, longitude):
    return {"class": "TPV", "mode": 3, "lat": latitude, "lon": longitude}


def radar(target, lock):
    return {"event": "radar", "target": target, "fastest": 80, "lock": lock,
            "direction": "approaching"}


def officer(name, badge):
    return {"event": "officer", "name": name, "badge_id": badge}


def log(text):
    return {"event": "log", "text": text}


def lead(event):
    """How many ticks a line comes before the tick that its record bears: a packet bears the tick
    that follows, and what can wait for company, waits a tick longer."""
    starts = event.get("on") is True
    urgent = "class" in event or event["event"] in ("speed", "radar")
    return 1 if starts or urgent else 2


class Recording:
    def __init__(self, name, unit, start, events, microphones=MICROPHONES, driver=("", ""),
                 settings=None, versions=(), clock=()):
        self.name, self.unit, self.start, self.events = name, unit, start, events
        self.microphones, self.driver = microphones, driver
        self.settings, self.versions, self.clock = settings or {}, versions, clock

    def configuration(self):
        info = {"radar_type": "dual antenna", "pre_event_time": 30,
                "record_speed_in_metadata": True}
        return {"officer": {"name": self.driver[0], "badge_id": self.driver[1]},
                "serial_number": self.unit, "mac": f"02:00:5E:10:00:0{self.unit[-1]}",
                "versions": [{"component": c, "text": t} for c, t in self.versions],
                "system_info": {**info, **self.settings}}

    def lines(self):
        """The first line, at tick 10, tells the time. Others go by ticks; those of `clock` tell
        another time, as a clock that is set does."""
        begin = datetime.datetime.fromisoformat(self.start) + datetime.timedelta(seconds=5)
        stamped = [(tick - lead(event), {**event, "tick": tick - lead(event)})
                   for tick, event in self.events]
        stamped += [(tick, {**log("clock set"), "tick": tick, "time": told})
                    for tick, told in self.clock]
        stamped += [(12, {"event": "microphone", "microphone": name, "present": True, "tick": 12})
                    for name in self.microphones]
        first = {**log("begin"), "tick": 10, "time": begin.strftime("%Y-%m-%dT%H:%M:%SZ")}
        return [first] + [line for _, line in sorted(stamped, key=lambda pair: pair[0])]

    def make(self, vmr, folder):
        configuration = folder / f"{self.name}.json"
        configuration.write_text(json.dumps(self.configuration()))
        lines = folder / f"{self.name}.jsonl"
        lines.write_text("".join(json.dumps(line) + "\n" for line in self.lines()))
        store = folder / self.name
        subprocess.run([vmr, "record", store, "--replay", "--no-sync", "--config", configuration,
                        "--input", lines], check=True, capture_output=True)
        configuration.unlink()
        lines.unlink()
        return store


# Berg, relieved by Costa in the middle of a siren's use.
CAR1_FIRST_DAY = Recording(
    "car1-a", "CAR1", "2026-03-05T10:00:00", driver=("A. Berg", "17"), events=[
        (18, lights(True)),
        (20, speed(60)),
        (22, place(41.5, -93.5)),
        (32, lights(False)),
        (40, speed(80)),
        (70, speed(85)),
        (90, siren(True)),
        (100, lights(True)),
        (130, siren(False)),
        (134, place(41.501, -93.5)),
        (138, speed(84)),
        (140, speed(50)),
        (160, lights(False)),
        (190, siren(True)),
        (200, officer("B. Costa", "23")),
        (230, siren(False)),
        (250, siren(True)),
        (270, siren(False)),
        (280, speed(76)),
        (290, speed(75)),
        (300, log("end")),
    ])

# An hour and more, so that a full state repeats a siren that is on and a radar's lock.
CAR1_SECOND_DAY = Recording(
    "car1-b", "CAR1", "2026-03-06T08:00:00", driver=("B. Costa", "23"),
    versions=[("mainboard", "rev C"), ("front panel", "1.4.2")], events=[
        (100, radar(50, 0)),
        (110, radar(50, 61)),
        (114, radar(52, 61)),
        (120, radar(52, 0)),
        (130, radar(52, 70)),
        (7190, siren(True)),
        (7230, siren(False)),
        (7300, log("end")),
    ])

# South of the equator and east of Greenwich, over midnight, driven by a text that a terminal
# would obey. Nothing says whether its lights are on.
CAR2 = Recording(
    "car2", "CAR2", "2026-03-05T23:59:00", driver=("D.\x1b[2J Eve", "=1+1"),
    settings={"start_on_siren": True}, events=[
        (38, place(-33.8688, 151.2093)),
        (40, speed(90)),
        (60, speed(70)),
        (62, speed(60)),
        (64, speed(55)),
        (130, speed(40)),
        (150, siren(True)),
        (170, siren(False)),
        (200, log("end")),
    ])

# Its clock is set forward by a minute and a half at tick 100 (it would be 12:00:50), and back by an
# hour at tick 300 (it would be 12:04:00).
CAR3 = Recording(
    "car3", "CAR3", "2026-03-05T12:00:00",
    clock=[(100, "2026-03-05T12:02:20Z"), (300, "2026-03-05T11:04:00Z")],
    events=[(20, speed(30)), (400, log("end"))])

# One microphone is said to be absent by the hour's full state, another is never heard of before it.
CAR4 = Recording(
    "car4", "CAR4", "2026-03-06T09:00:00", microphones=["wireless 1", "cabin"],
    settings={"pre_event_time": 60}, versions=[("mainboard", "rev B"), ("front panel", "1.4.2")],
    events=[(100, radar(50, 55)), (200, radar(50, 0)), (7300, log("end"))])
CAR4_SHORT = Recording(
    "car4-short", "CAR4", "2026-03-07T09:00:00", microphones=["wireless 1", "cabin"],
    settings={"pre_event_time": 60}, events=[(100, log("end"))])

# Loses the packet of tick 60 to a wrong CRC, in both files: nobody knows what else it said.
CAR5 = Recording(
    "car5", "CAR5", "2026-03-05T14:00:00", driver=("A. Berg", "17"), events=[
        (18, lights(True)),
        (32, lights(False)),
        (34, siren(True)),
        (36, speed(80)),
        (40, speed(60)),
        (60, speed(99)),
        (80, speed(95)),
        (100, speed(50)),
        (102, speed(40)),
        (120, siren(False)),
        (200, log("end")),
    ])

# Loses one of its two files.
CAR6 = Recording("car6", "CAR6", "2026-03-05T15:00:00",
                 events=[(20, speed(30)), (100, log("end"))])

RECORDINGS = [CAR1_FIRST_DAY, CAR1_SECOND_DAY, CAR2, CAR3, CAR4, CAR4_SHORT, CAR5, CAR6]


def records(vmr, store):
    done = subprocess.run([vmr, "export", "--format", "jsonl", store], capture_output=True)
    return [json.loads(line) for line in done.stdout.splitlines()]


def rewrite_cluster(path, number, change):
    """Lets `change` work on a cluster's bytes, and makes the cluster's own CRC right again."""
    with open(path, "r+b") as file:
        file.seek(number * CLUSTER_BYTES)
        cluster = bytearray(file.read(CLUSTER_BYTES))
        change(cluster)
        size = int.from_bytes(cluster[5:7], "little")
        cluster[0] = crc8(cluster[1:size])
        file.seek(number * CLUSTER_BYTES)
        file.write(cluster)


def spoil_packet(vmr, store, mph):
    """Makes the packet that tells this speed one with a wrong CRC, in each of the store's files:
    what a unit's failing memory leaves, as the cluster around it is sound."""
    row = next(r for r in records(vmr, store) if r["kind"] == "speed" and r["speed"] == mph)
    place = row["offset"] % CLUSTER_BYTES + 1  # behind the tag

    def change(cluster):
        assert cluster[place] == mph, (store, row, cluster[place])
        cluster[place] ^= 0x02

    for half in (1, 2):
        rewrite_cluster(f"{store}_{half}.mtd", row["cluster"], change)


def lose_cluster(store, number):
    for half in (1, 2):
        with open(f"{store}_{half}.mtd", "r+b") as file:
            file.seek(number * CLUSTER_BYTES)
            file.write(b"\xee" * CLUSTER_BYTES)


def make(vmr, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True)
    stores = [recording.make(vmr, folder) for recording in RECORDINGS]
    spoil_packet(vmr, folder / "car5", 99)
    (folder / "car6_1.mtd").unlink()
    return stores


def make_lake(vmr, folder, stores):
    """Exits with 3 where something is lost, as it is in CAR5."""
    done = subprocess.run([vmr, "export", "--layout", "lake", "--root", folder, *stores],
                          capture_output=True, text=True)
    assert done.returncode == 3, done
    return [json.loads(line) for line in done.stdout.splitlines()]


if __name__ == "__main__":
    lake.skip_if_it_cannot_run()
    program, root = sys.argv[1], pathlib.Path(sys.argv[2])
    shutil.rmtree(root, ignore_errors=True)
    make_lake(program, root / "lake", make(program, root / "fleet"))
    shutil.rmtree(root / "fleet")  # two gigabytes that nobody looks at again
