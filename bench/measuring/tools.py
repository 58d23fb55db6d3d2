"""The program vmr against what any program would need for the same files."""
import json
import re
import shutil
import subprocess

from . import counts, ratios
from .system import Launcher, folder_in, run

RINGS = {"busy": 32768, "sparse": 32768, "small": 64}
RANGE_TICKS = 7200
# How far a start lies behind a full state that the search finds decides what the way back
# costs, and on a busy ring that is up to a day: starts all over a day stand for a place of it.
STARTS = range(-12 * RANGE_TICKS, 12 * RANGE_TICKS, 3 * RANGE_TICKS)
SPOTS = ("5", "50", "95")
READ = (0, 3)  # 3: something of what was asked for is outside the recording


class Bench:
    def __init__(self, programs, vmr, memory, disk, size):
        self.programs, self.vmr, self.memory, self.disk = programs, vmr, memory, disk
        self.size, self.launcher = size, Launcher(programs / "run_measured", memory)
        self.rings = {}

    def make_rings(self):
        for name, clusters in RINGS.items():
            kind = "busy" if name == "small" else name
            self.rings[name] = json.loads(
                run([self.programs / "make_ring", kind, clusters, self.memory / name]))

    def files(self, ring):
        return [self.memory / f"{ring}_{n}.mtd" for n in (1, 2)]

    def tool(self, *arguments, codes=(0,)):
        return self.launcher.take([self.vmr, *arguments], codes)

    def turns(self, control, variants, rounds, field="processor_s"):
        """Repeated until the control, which is one of the variants run twice, holds."""
        variants = {**variants, "again": variants[control]}
        result = ratios.repeated(
            lambda: {"rounds": ratios.interleaved(variants, rounds)},
            lambda r: ratios.median_ratio(r["rounds"], "again", control, field), self.size.tries)
        return {**result, "field": field}

    # ---- What is measured ------------------------------------------------------

    def listing(self, ring):
        """Up to the share of the ring that there is time for."""
        share, about = self.size.listing_percent, self.rings[ring]
        to = ["--to", about["tick_at"][str(share)]] if share < 100 else []
        items = about["items"] * share // 100
        return {**self.turns("fprintf", {
            "vmr": lambda: self.tool("view", "--listing", self.memory / ring, *to, codes=READ),
            "fprintf": lambda: self.launcher.take([self.programs / "print_items", ring, items]),
        }, self.size.tool_rounds), "items": items}

    def listing_near_end(self, ring):
        start = self.rings[ring]["last_tick"] - 100
        return {"rounds": ratios.interleaved({
            "vmr": lambda: self.tool("view", "--listing", self.memory / ring, "--from", start,
                                     codes=READ)}, 5)}

    def listing_calls(self):
        """System calls of a small listing, without those that write it, and its lines."""
        command = [self.vmr, "view", "--listing", self.memory / "small"]
        lines = run(command, stderr=subprocess.DEVNULL).count("\n")
        found = counts.calls(command, self.memory)
        return {"lines": lines, "other": sum(found.values()) - found.get("write", 0)}

    def extraction(self, ring):
        def extract(spot, *how, behind=RANGE_TICKS // 2):
            start = self.rings[ring]["tick_at"][spot] + behind
            return self.tool("extract", self.memory / ring, self.memory / "out.vmd", "--force",
                             "--from", start, "--to", start + RANGE_TICKS, *how, codes=READ)

        def extract_as_unit(spot):
            taken = [extract(spot, "--as-unit", behind=start) for start in STARTS]
            return {name: sum(of[name] for of in taken) / len(taken)
                    for name in ("processor_s", "wall_s")}

        extract("95", "--as-unit")
        shutil.copy(self.memory / "out.vmd", self.memory / "to_copy")
        variants = {spot: lambda spot=spot: extract(spot) for spot in SPOTS}
        variants["cp"] = lambda: self.launcher.take(
            ["cp", self.memory / "to_copy", self.memory / "copied"])
        as_unit = {spot: lambda spot=spot: extract_as_unit(spot) for spot in SPOTS}
        return {"rounds": ratios.interleaved(variants, self.size.tool_rounds),
                "as_unit": ratios.interleaved(as_unit, self.size.tool_rounds)}

    def looking_over(self):
        both = self.files("busy")
        return self.turns("sha256sum", {
            "check": lambda: self.tool("check", self.memory / "busy"),
            "scrub": lambda: self.tool("scrub", self.memory / "busy"),
            "sha256sum": lambda: self.launcher.take(["sha256sum", *both]),
            "cat": lambda: self.launcher.take(["cat", *both]),
        }, self.size.tool_rounds)

    def recovery(self):
        new = [self.disk / f"new_{n}.mtd" for n in (1, 2)]

        def fresh(command):
            for path in new:
                path.unlink(missing_ok=True)
            run(["sync", "--file-system", self.disk])
            return command()

        copy = 'cp "$1" "$3" && cp "$2" "$4" && sync "$3" "$4"'
        variants = {
            "recover": lambda: self.tool("recover", self.memory / "busy", self.disk / "new"),
            "cp_sync": lambda: self.launcher.take(
                ["sh", "-c", copy, "sh", *self.files("busy"), *new]),
        }
        return self.turns("cp_sync", {name: lambda run=run: fresh(run)
                                      for name, run in variants.items()},
                          self.size.tool_rounds + 1, field="wall_s")

    def help(self):
        return self.turns("sqlite3", {
            "vmr": lambda: self.tool("--help"),
            "sqlite3": lambda: self.launcher.take(["sqlite3", "--version"]),
        }, self.size.start_rounds, field="wall_s")

    def most_memory(self, drive):
        """KiB, of a small ring and of a full one; the recorder goes on in either."""
        share, kib = self.size.listing_percent, {}
        for ring in ("small", "busy"):
            about, base = self.rings[ring], self.memory / ring
            up_to = about["tick_at"][str(share)] if share < 100 else about["last_tick"]
            middle = about["tick_at"]["50"]
            commands = {
                "view": ["view", base, "--to", up_to],
                "listing": ["view", "--listing", base, "--to", up_to],
                "extract": ["extract", base, self.memory / "out.vmd", "--force",
                            "--from", middle, "--to", middle + RANGE_TICKS],
                "check": ["check", base],
                "export": ["export", base, "--to", up_to],
                "record": ["record", base, "--replay", "--input", drive],
            }
            kib[ring] = {name: self.tool(*command, codes=READ)["most_kib"]
                         for name, command in commands.items()}
        return kib

    def replay(self, drive):
        """Processor seconds of a short and a long input into new stores in memory; what
        the long one has more is that of its lines, without making the store."""
        lines = drive.read_text().splitlines(keepends=True)
        head, fixes = lines[:4], [line for line in lines if '"class":"TPV"' in line]
        counts = {"short": 1, "long": self.size.replay_copies}
        inputs = {}
        for name, copies in counts.items():
            inputs[name] = self.memory / f"{name}.gpsd.json"
            with open(inputs[name], "w", encoding="ascii") as file:
                file.writelines(head)
                for n in range(copies):
                    file.writelines(later(line, n) for line in fixes)

        def record(name):
            for path in self.files("replayed"):
                path.unlink(missing_ok=True)
            return self.tool("record", self.memory / "replayed", "--replay", "--input",
                             inputs[name])

        rounds = ratios.interleaved({n: lambda n=n: record(n) for n in inputs},
                                    self.size.tool_rounds)
        took = [r["long"]["processor_s"] - r["short"]["processor_s"] for r in rounds]
        return {"lines": (counts["long"] - counts["short"]) * len(fixes),
                "seconds": sorted(took)[len(took) // 2]}


def later(line, hours):
    """The line of a drive, so many hours later; the drive takes less than one."""
    def move(found):
        days, hour = divmod(int(found[2]) + hours, 24)
        return f'"time":"2019-06-{int(found[1]) + days:02}T{hour:02}:'

    return re.sub(r'"time":"2019-06-(\d\d)T(\d\d):', move, line)


def measure(programs, vmr, memory, disk, drive, size, say):
    with folder_in(memory) as in_memory, folder_in(disk) as on_disk:
        bench = Bench(programs, vmr, in_memory, on_disk, size)
        say("rings to read")
        bench.make_rings()
        result = {"rings": bench.rings, "listing": {}, "near_end": {}, "extract": {}}
        for ring in ("busy", "sparse"):
            say(f"vmr on a full ring: {ring}")
            result["listing"][ring] = bench.listing(ring)
            result["near_end"][ring] = bench.listing_near_end(ring)
            result["extract"][ring] = bench.extraction(ring)
        result["listing_calls"] = bench.listing_calls()
        say("check, scrub, recover")
        result["looking_over"] = bench.looking_over()
        result["recovery"] = bench.recovery()
        say("start, memory, replay")
        result["help"] = bench.help()
        result["memory_kib"] = bench.most_memory(drive)
        result["replay"] = bench.replay(drive)
    return result
