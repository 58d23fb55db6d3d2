"""Adds up what came of the recordings, and tells it."""
import collections
import sys

from .sources import shown

MOST_REMARKS = 10  # of each status; the recordings table has all
STATUSES = ("ok", "damaged", "empty", "mixed", "unreadable", "missing", "failed")


class Summary:
    """Of one run.

    Units  seconds; bytes are those of the recordings' packets
    """

    def __init__(self, remark):
        self.remark = remark
        self.statuses = collections.Counter()
        self.sums = collections.Counter()
        self.exits = collections.Counter()
        self.names = {}
        self.doubles = 0
        self.source_errors = 0
        self.elapsed_s, self.workers, self.interrupted = 0.0, 0, False

    def note_source_error(self, text):
        self.source_errors += 1
        self.remark(text)

    def note(self, path, said):
        """One recording's line of JSON, or why there is none."""
        self.sums["wall_ms"] += said.get("wall_ms", 0)
        if "failed" in said:
            self._count("failed", f"{shown(path)}: not converted: {shown(said['failed'])}")
            return
        status = said["status"]
        self.exits[said["exit"]] += 1
        for key in ("records", "bytes", "written", "unchanged", "removed", "decode_ms",
                    "parquet_ms"):
            self.sums[key] += said.get(key) or 0
        findings = (said.get("findings") or "").removeprefix(f"{said.get('path')}: ")
        if status == "missing":
            findings += "; it was there when it was looked for: do the workers see it?"
        self._count(status, f"{shown(path)}: {status}{': ' if findings else ''}{shown(findings)}")
        if status != "missing":
            self._note_name(path, said.get("recording"))

    def _count(self, status, text):
        self.statuses[status] += 1
        if status != "ok" and self.statuses[status] <= MOST_REMARKS:
            self.remark(text)

    def _note_name(self, path, name):
        if not name:
            return
        other = self.names.setdefault(name, path)
        if other == path:
            return
        self.doubles += 1
        if self.doubles <= MOST_REMARKS:
            self.remark(f"{shown(path)}: is recording {shown(name)}, as {shown(other)} is; the lake "
                        "keeps the copy that holds more")

    def conclude(self):
        for status, count in self.statuses.items():
            if status != "ok" and count > MOST_REMARKS:
                self.remark(f"{count - MOST_REMARKS} more are {status}; the recordings table has "
                            "them" if status != "failed" else
                            f"{count - MOST_REMARKS} more were not converted")

    def exit_code(self):
        if self.interrupted:
            return 130
        if self.source_errors or self.statuses["failed"] or self.exits[1]:
            return 1
        return 3 if self.exits[3] or self.doubles else 0

    def figures(self):
        recordings = sum(self.statuses.values())
        minutes = max(self.elapsed_s, 1e-3) / 60
        decode, parquet = self.sums["decode_ms"] / 1000, self.sums["parquet_ms"] / 1000
        busy = self.sums["wall_ms"] / 1000
        return {
            "recordings": recordings,
            "status": {status: self.statuses[status] for status in STATUSES
                       if self.statuses[status]},
            "doubles": self.doubles, "source_errors": self.source_errors,
            "rows": self.sums["records"], "bytes": self.sums["bytes"],
            "files": {key: self.sums[key] for key in ("written", "unchanged", "removed")},
            "elapsed_s": round(self.elapsed_s, 3), "workers": self.workers,
            "recordings_per_minute": round(recordings / minutes, 1),
            "gigabytes_per_minute": round(self.sums["bytes"] / 1e9 / minutes, 6),
            "seconds": {"decode": round(decode, 3), "parquet": round(parquet, 3),
                        "rest": round(max(0.0, busy - decode - parquet), 3),
                        "engine": round(max(0.0, self.elapsed_s * self.workers - busy), 3)},
            "interrupted": self.interrupted,
        }

    def text(self):
        made = self.figures()
        seconds, files = made["seconds"], made["files"]
        statuses = ", ".join(f"{count} {status}" for status, count in made["status"].items())
        lines = [
            f"recordings  {made['recordings']:,}: {statuses or 'none'}",
            f"rows        {made['rows']:,} of {made['bytes']:,} bytes of packets",
            f"files       {files['written']:,} written, {files['unchanged']:,} unchanged, "
            f"{files['removed']:,} removed",
            f"time        {made['elapsed_s']:.1f} s with {made['workers']} workers: "
            f"{made['recordings_per_minute']:,.0f} recordings and "
            f"{made['gigabytes_per_minute']:.3g} GB of packets a minute",
            f"of workers  {seconds['decode']:.1f} s decoding, {seconds['parquet']:.1f} s writing "
            f"Parquet, {seconds['rest']:.1f} s the rest of it, {seconds['engine']:.1f} s waiting",
        ]
        if not made["recordings"]:
            lines = lines[:1]
        if self.interrupted:
            lines.append("interrupted: what is in the lake is whole, and more is missing; the same "
                         "command goes on")
        return "\n".join(lines)


class Progress:
    """A line on a terminal that is rewritten, with what is said above it."""

    WIDTH = 30

    def __init__(self, stream=None):
        self.stream = stream or sys.stderr
        self.on = self.stream.isatty()
        self.shown = ""

    def remark(self, text):
        self._clear()
        print(f"vmr-fleet: {text}", file=self.stream, flush=True)
        self._draw()

    def show(self, done, count, elapsed_s):
        if not self.on:
            return
        full = self.WIDTH * done // max(count, 1)
        rate = done / elapsed_s if elapsed_s > 0 else 0
        left = f", {(count - done) / rate:.0f} s left" if rate and done < count else ""
        self._clear()
        self.shown = (f"[{'#' * full}{'.' * (self.WIDTH - full)}] {done:,} of {count:,} recordings, "
                      f"{rate * 60:,.0f} a minute{left}")
        self._draw()

    def end(self):
        self._clear()
        self.shown = ""

    def _clear(self):
        if self.shown:
            print("\r\x1b[K", end="", file=self.stream, flush=True)

    def _draw(self):
        if self.shown:
            print(self.shown, end="", file=self.stream, flush=True)
