"""The tables of docs/performance.md, each between <!-- bench: NAME --> and <!-- end -->."""
import re

from .ratios import CONTROL_FROM, CONTROL_TO, control_holds, median, median_ratio
from .targets import OF_THE_MEASURING, REASONS, TARGETS, met

MARKED = re.compile(r"(<!-- bench: (\w+) -->\n).*?(<!-- end -->)", re.S)
CLOCK_MHZ = 400
BUSY_EVENTS = 13.5  # in a tick of bench/drive.h: the speed changes at every other one
LABELS = {
    "ring": "**the ring**", "raw": "raw: `pwrite` of 4096 bytes, `fsync`",
    "raw_again": "raw again (control)", "appended_file": "a file appended to, `fdatasync`",
    "sqlite_wal": "SQLite, WAL, FULL", "sqlite_rollback": "SQLite, rollback journal, FULL",
    "leveldb": "LevelDB, synced", "rocksdb": "RocksDB, synced", "lmdb": "LMDB, synced",
    "loop": "plain loop", "loop_again": "plain loop again (control)",
}
PLACES = {"loop": "loop device over memory", "disk": "disk"}


def number(value):
    """Three digits that count, no fewer before the point."""
    if value is None:
        return "–"
    if value == int(value) or abs(value) >= 100:
        return f"{value:,.0f}"
    return f"{value:.3g}"


def table(head, rows):
    left = ["---"] + ["--:"] * (len(head) - 1)
    return "".join("| " + " | ".join(str(cell) for cell in row) + " |\n"
                   for row in (head, left, *rows)) + "\n"


def control_of(result, what="control"):
    """What a run is worth, in words."""
    if result.get("control") is None:
        return ""
    text = f"{what} {result['control']:.3f}"
    tries = len(result["controls"])
    if tries > 1:
        others = ", ".join("–" if c is None else f"{c:.3f}" for c in result["controls"])
        text += f", the best of {tries} runs ({others})"
    if not control_holds(result["control"]):
        text += (f": outside {CONTROL_FROM} to {CONTROL_TO}, so this machine was too busy "
                 "for these figures")
    return text


# ---- Sections ------------------------------------------------------------------


def machine(results):
    of = results["machine"]
    kind = "quick run" if results["quick"] else "full run"
    where = "in memory" if results["rings_in_memory"] else "on the disk"
    return (f"{results['date']}, {kind} of {results['minutes']:.0f} minutes: {of['cores']} cores "
            f"({of['machine']}), {of['memory_gib']} GiB, Linux {of['kernel']}, disk with "
            f"{of['file_system']}; 1-minute load {of['load_at_start']} at the start. Rings to be "
            f"read lay {where}.\n")


def targets(results):
    rows, notes = [], []
    for target in TARGETS:
        value = target.value(results)
        unit = f" {target.unit}" if target.unit else ""
        verdict = {None: "not measured", True: "met", False: "**missed**"}[met(target, value)]
        limit = f"{'≥' if target.at_least else '≤'} {number(target.limit)}{unit}"
        rows.append((target.text, limit, f"{number(value)}{unit if value is not None else ''}",
                     verdict))
        if verdict != "met":
            notes.append(f"- {target.text}: {reason(target, value)}\n")
    text = table(("what", "target", "measured", ""), rows)
    return text + ("Missed or not measured:\n\n" + "".join(notes) if notes else "")


def reason(target, value):
    if value is not None:
        return REASONS.get(target.id, "the reason is not known yet")
    if target.id.startswith(("loop_", "creation_loop")):
        return "there was no loop device"
    if target.id.startswith(("append", "item", "unchanged", "within", "parse_instr")):
        return "the sources have no program `vmr_paths` that goes this way"
    return "the peer's library was not there"


def durable(results):
    text = ""
    for place, name in PLACES.items():
        of = results["durable"][place]
        if "impossible" in of:
            text += f"No {name} was to be had: {of['impossible']}.\n\n"
            continue
        back, spaced = of["back_to_back"], of["spaced"]
        rows = [(LABELS[v], number(median(back["rounds"], v) / back["packets"] * 1e6),
                 number(median_ratio(back["rounds"], v, "ring")),
                 number(median(spaced["rounds"], v, "median_us")),
                 number(median(spaced["rounds"], v, "bytes") / spaced["packets"]))
                for v in by_time(back["rounds"])]
        whose = "device's counters" if spaced["bytes_of"] == "device" else "process's"
        text += (f"{name[0].upper()}{name[1:]}, packets of {back['packet_bytes']} bytes: "
                 f"back to back, {control_of(back)}; spaced, {control_of(spaced)}.\n\n")
        text += table(("", "µs a packet", "the ring is so many times as fast", "µs, spaced",
                       f"bytes a packet, spaced ({whose})"), rows)
    return text


def by_time(rounds):
    return sorted(rounds[0], key=lambda variant: median(rounds, variant))


def creation(results):
    rows, notes = [], []
    for place, name in PLACES.items():
        of = results["durable"][place].get("creation")
        if of is None:
            rows.append((name, "–", "–", "–"))
            continue
        rows.append((name, number(median(of["rounds"], "ring")),
                     number(median(of["rounds"], "loop")),
                     number(median_ratio(of["rounds"], "ring", "loop"))))
        notes.append(f"{name}: {control_of(of)}")
    return (table(("a new ring", "seconds", "plain loop, seconds", "ratio"), rows)
            + "; ".join(notes) + ".\n")


def calls(results):
    of = results["counts"]["appends"]
    rows = []
    for variant, found in of["calls"].items():
        own = sorted(((c, n) for n, c in found.items() if n not in OF_THE_MEASURING),
                     reverse=True)
        listed = ", ".join(f"{n} {c:,}" for c, n in own if c >= of["packets"] // 1000)
        rows.append((LABELS[variant], number(sum(c for c, _ in own) / of["packets"]), listed))
    return f"{of['packets']:,} packets:\n\n" + table(("", "calls a packet", "which"), rows)


def instructions(results):
    paths = results["counts"]["paths"]
    busy = results["counts"]["busy_tick"]
    rows = [("a busy tick: 13 or 14 reports, a timer tick, its packet in the ring, up to the "
             "system calls", number(busy), number(busy / CLOCK_MHZ)),
            ("of that, each of its events", number(busy / BUSY_EVENTS),
             number(busy / BUSY_EVENTS / CLOCK_MHZ))]
    for name, count in (paths or {}).items():
        rows.append((name, number(count), number(count / CLOCK_MHZ)))
    text = table(("an event", "instructions", f"µs at {CLOCK_MHZ} MHz"), rows)
    return text if paths else text + ("The single paths were not counted: the sources have no "
                                      "program `vmr_paths`.\n")


def items(results):
    of = results["processor"]["items"]
    rounds, rows = of["rounds"], []
    for name in sorted(rounds[0], key=lambda n: (n.rsplit("/", 1)[0], median(rounds, n))):
        way, ring, who = name.split("/", 2)
        rows.append((f"{way}, {ring}", f"**{who}**" if who == "ours" else who,
                     number(median(rounds, name) * 1e9),
                     number(median_ratio(rounds, name, f"{way}/{ring}/ours"))))
    head = ("way, drive", "", "ns an item", "ours is so many times as fast")
    return table(head, rows) + f"Processor time; {control_of(of)}.\n"


def extraction(results):
    rows = [(name, number(of.get("clusters")), number(of.get("calls")), number(of["cpu_ms"]))
            for name, of in results["processor"]["extraction"].items()]
    text = table(("library", "clusters read", "calls a packet", "processor, ms"), rows)
    rows = []
    for ring, of in results["tools"]["extract"].items():
        copied = median(of["rounds"], "cp", "wall_s")
        for how, label in (("as_unit", "--as-unit"), ("rounds", "")):
            for spot in ("5", "50", "95"):
                rows.append((f"{ring} ring, at {spot} %{', `' + label + '`' if label else ''}",
                             number(median(of[how], spot, "processor_s") * 1000),
                             number(median_ratio(of[how], spot, "50", "processor_s")),
                             number(median(of[how], spot, "wall_s") / copied)))
    return text + table(("`vmr extract`, an hour of ticks", "processor, ms", "against the middle",
                         "wall time, `cp` of what comes out = 1"), rows) + (
                        "`--as-unit` goes back to the last full state that its search finds, on the "
                        "busy ring up to a day: its rows are the mean of eight starts in the day "
                        "around that place.\n")


FLOORS = [
    ("listing, busy", ("listing", "busy"), "vmr", "fprintf"),
    ("listing, sparse", ("listing", "sparse"), "vmr", "fprintf"),
    ("check, full ring", ("looking_over",), "check", "sha256sum"),
    ("check, full ring", ("looking_over",), "check", "cat"),
    ("scrub, sound", ("looking_over",), "scrub", "check"),
    ("recover", ("recovery",), "recover", "cp_sync"),
    ("--help", ("help",), "vmr", "sqlite3"),
]
FLOOR_LABELS = {"cp_sync": "`cp` and `sync`", "sqlite3": "`sqlite3 --version`",
                "sha256sum": "`sha256sum`", "cat": "`cat`", "check": "`vmr check`",
                "fprintf": "an `fprintf` an item"}


def floors(results):
    rows, notes = [], []
    for label, where, ours, peer in FLOORS:
        of = results["tools"]
        for part in where:
            of = of[part]
        rounds = of["rounds"]
        rows.append((label, FLOOR_LABELS[peer], number(median(rounds, ours, "processor_s")),
                     number(median(rounds, peer, "processor_s")),
                     number(median_ratio(rounds, ours, peer, "processor_s")),
                     number(median_ratio(rounds, ours, peer, "wall_s"))))
        note = f"{where[-1].replace('_', ' ')}: {control_of(of)}"
        if note not in notes:
            notes.append(note)
    share = results["size"]["listing_percent"]
    text = table(("`vmr`", "floor", "processor, s", "floor's", "ratio", "ratio, wall"), rows)
    text += f"Listings are of {share} % of a full ring. " + "; ".join(notes) + ".\n\n"
    near = results["tools"]["near_end"]
    text += "Listing of the last 100 ticks of a full ring: " + ", ".join(
        f"{number(median(of['rounds'], 'vmr', 'wall_s') * 1000)} ms ({ring})"
        for ring, of in near.items()) + ". "
    of, rate = results["tools"]["replay"], TARGET_OF["replay"].value(results)
    text += (f"Replay into memory: {number(rate)} gpsd lines for each second of the processor "
             f"({of['lines']:,} lines).\n")
    return text


TARGET_OF = {target.id: target for target in TARGETS}


def memory(results):
    kib = results["tools"]["memory_kib"]
    rows = [(name, number(kib["small"][name]), number(kib["busy"][name]),
             number(kib["busy"][name] / kib["small"][name])) for name in kib["small"]]
    return table(("`vmr`", "KiB, ring of 64 clusters", "KiB, full ring", "ratio"), rows)


SECTIONS = {f.__name__: f for f in (machine, targets, durable, creation, calls, instructions,
                                    items, extraction, floors, memory)}


def replaced(document, results):
    """The document with its tables written anew; one that it does not have is left out."""
    def section(found):
        return found[1] + "\n" + SECTIONS[found[2]](results).rstrip() + "\n\n" + found[3]

    return MARKED.sub(section, document)


def summary(results):
    lines = []
    for target in TARGETS:
        value = target.value(results)
        verdict = {None: "not measured", True: "met", False: "MISSED"}[met(target, value)]
        sign = "at least" if target.at_least else "at most"
        lines.append(f"{verdict:13}{number(value):>10}  {target.text} "
                     f"({sign} {number(target.limit)})")
    return "\n".join(lines)
