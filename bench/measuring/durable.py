"""Durable appends and creation, on a disk and on a loop device over memory."""
import json

from . import ratios
from .system import Failed, loop_disk, run, why_no_loop

SPACED_MS = 5


def appended(programs, folder, stat, rounds, packets, spaced_ms, tries):
    def measure():
        command = [programs / "durable_append", "--dir", folder, "--rounds", rounds,
                   "--packets", packets, "--spaced-ms", spaced_ms]
        return json.loads(run(command + (["--device-stat", stat] if stat else [])))

    field = "median_us" if spaced_ms else "seconds"
    return ratios.repeated(
        measure, lambda r: ratios.median_ratio(r["rounds"], "raw_again", "raw", field), tries)


def created(programs, folder, rounds, tries):
    return ratios.repeated(
        lambda: json.loads(run([programs / "creation", folder, rounds])),
        lambda r: ratios.median_ratio(r["rounds"], "loop_again", "loop"), tries)


def at_place(programs, folder, stat, size):
    return {
        "back_to_back": appended(programs, folder, stat, size.append_rounds,
                                 size.append_packets, 0, size.tries),
        "spaced": appended(programs, folder, stat, size.spaced_rounds, size.spaced_packets,
                           SPACED_MS, size.tries),
        "creation": created(programs, folder, size.creation_rounds, size.tries),
    }


def measure(programs, folder, size, say):
    """By place. One that is not to be had has its reason instead."""
    places = {}
    reason = why_no_loop()
    if reason is None:
        try:
            with loop_disk() as (mounted, stat):
                say("durable appends on a loop device over memory")
                places["loop"] = at_place(programs, mounted, stat, size)
        except Failed as failed:
            reason = str(failed)
    if reason is not None:
        say(f"no loop device over memory: {reason}")
        places["loop"] = {"impossible": reason}
    say("durable appends on the disk")
    places["disk"] = at_place(programs, folder, None, size)
    return places
