"""What the recorder is to reach, as a table: text, what was measured, limit.

A value is a number, or None where it could not be measured. A ratio is ours against the
peer's; "faster" says how many times faster ours is.
"""
import dataclasses
import typing

from .ratios import median, median_ratio


@dataclasses.dataclass(frozen=True)
class Target:
    id: str
    text: str
    value: typing.Callable
    limit: float
    at_least: bool = False  # else at most
    unit: str = ""


def rounds_of(results, place, kind):
    return results["durable"][place].get(kind, {}).get("rounds")


def faster_append(place, peer):
    def value(results):
        rounds = rounds_of(results, place, "back_to_back")
        if not rounds or peer not in rounds[0]:
            return None
        return median_ratio(rounds, peer, "ring")
    return value


def spaced(place, field):
    def value(results):
        rounds = rounds_of(results, place, "spaced")
        return median_ratio(rounds, "ring", "raw", field) if rounds else None
    return value


def creation(place):
    def value(results):
        rounds = rounds_of(results, place, "creation")
        return median_ratio(rounds, "ring", "loop") if rounds else None
    return value


# Of the process that measures: its memory, for which it draws a number, too.
OF_THE_MEASURING = {"brk", "mmap", "munmap", "mprotect", "madvise", "getrandom"}


def calls_of_ring(results):
    return results["counts"]["appends"]["calls"]["ring"]


def syncs_a_cluster(results):
    """Those of closed clusters, each of which has one: its last packet is brought to the
    file that did not have the turn."""
    packets = results["counts"]["appends"]["packets"]
    packet_bytes = results["durable"]["disk"]["back_to_back"]["packet_bytes"]
    clusters = packets * packet_bytes / (4096 - 7)
    return (calls_of_ring(results)["fsync"] - packets) / clusters


def other_calls(results):
    known = OF_THE_MEASURING | {"fsync", "write", "pwrite64", "lseek"}
    return sum(count for name, count in calls_of_ring(results).items() if name not in known)


def seeks_a_write(results):
    calls = calls_of_ring(results)
    return calls.get("lseek", 0) / (calls.get("write", 0) + calls.get("pwrite64", 0))


def instructions(path):
    return lambda results: (results["counts"]["paths"] or {}).get(path)


def dearest_unchanged(results):
    paths = results["counts"]["paths"] or {}
    return max((paths[name] for name in paths if name.startswith("unchanged ")), default=None)


def faster_item(way, ring, peer):
    def value(results):
        rounds = results["processor"]["items"]["rounds"]
        names = (f"{way}/{ring}/{peer}", f"{way}/{ring}/ours")
        return median_ratio(rounds, *names) if names[0] in rounds[0] else None
    return value


def extraction(name, field):
    return lambda results: results["processor"]["extraction"][name][field]


def calls_a_packet(results):
    return max(b["calls"] for n, b in results["processor"]["extraction"].items() if "calls" in b)


def clusters_of(what):
    return lambda results: max(b["clusters"] for n, b in results["processor"]["extraction"].items()
                               if n.startswith(what))


def ten_times_the_range(results):
    of = results["processor"]["extraction"]
    long, short = (of[f"extract packets at percent/{n}/50"] for n in (72000, 7200))
    return long["cpu_ms"] / short["cpu_ms"]


def dearest_spot(ring, how):
    def value(results):
        rounds = results["tools"]["extract"][ring][how]
        return max(median_ratio(rounds, spot, "50", "processor_s") for spot in ("5", "95"))
    return value


def listing(ring):
    return lambda results: median_ratio(results["tools"]["listing"][ring]["rounds"], "fprintf",
                                        "vmr", "processor_s")


def near_end(results):
    return max(median(of["rounds"], "vmr", "wall_s")
               for of in results["tools"]["near_end"].values())


def calls_a_line(results):
    of = results["tools"]["listing_calls"]
    return of["other"] / of["lines"]


def against(part, ours, peer, field):
    return lambda results: median_ratio(results["tools"][part]["rounds"], ours, peer, field)


def replayed(results):
    of = results["tools"]["replay"]
    return of["lines"] / of["seconds"] if of["seconds"] > 0 else None


def memory_growth(results):
    kib = results["tools"]["memory_kib"]
    return max(kib["busy"][name] / kib["small"][name] for name in kib["small"])


def most_memory(results):
    return max(max(of.values()) for of in results["tools"]["memory_kib"].values()) / 1024


TARGETS = [
    Target("syncs", "packets: fsyncs beyond one each, for each cluster closed",
           syncs_a_cluster, 1),
    Target("seeks", "packets: seeks for each write", seeks_a_write, 0),
    Target("other_calls", "packets: any other system call", other_calls, 0),
    Target("loop_raw", "durable append, loop device: of raw's speed",
           faster_append("loop", "raw"), 0.95, True),
    Target("disk_raw", "durable append, disk: of raw's speed", faster_append("disk", "raw"),
           0.98, True),
    *[Target(f"{place}_{peer}", f"durable append, {name}: times as fast as {label}",
             faster_append(place, peer), limit, True)
      for place, name in (("loop", "loop device"), ("disk", "disk"))
      for peer, label, limit in (("sqlite_wal", "SQLite, WAL", 1.5),
                                 ("sqlite_rollback", "SQLite, rollback journal", 4),
                                 ("lmdb", "LMDB", 2), ("leveldb", "LevelDB", 1.1),
                                 ("rocksdb", "RocksDB", 1.1))],
    *[Target(f"{place}_spaced_{field}", f"spaced by 5 ms, {name}: {label} of raw's",
             spaced(place, field), limit)
      for place, name in (("loop", "loop device"), ("disk", "disk"))
      for field, label, limit in (("bytes", "bytes to the device", 1.03),
                                  ("median_us", "latency", 1.1))],
    Target("append", "append of a 61-byte packet without I/O: instructions",
           instructions("append"), 600),
    Target("open", "opening a ring: clusters read", clusters_of("open a ring"), 39),
    Target("search", "search for a tick: clusters read", clusters_of("search for a tick"), 17),
    Target("extract_calls", "extraction: calls for each packet", calls_a_packet, 2.1),
    Target("extract_linear", "extraction: 72,000 packets, times the cost of 7,200",
           ten_times_the_range, 11),
    *[Target(f"extract_{how}_{ring}", f"{label}, {ring} ring: at 5 or 95 % of the ring, the "
             "dearer against the middle", dearest_spot(ring, how), 1.35)
      for how, label in (("as_unit", "vmr extract --as-unit"), ("rounds", "vmr extract"))
      for ring in ("busy", "sparse")],
    Target("listing_busy", "listing, busy ring: items for each that fprintf prints",
           listing("busy"), 3, True),
    Target("listing_sparse", "listing, sparse ring: the same", listing("sparse"), 2, True),
    Target("listing_calls", "listing: system calls for each line, without those that write",
           calls_a_line, 0.1),
    Target("near_end", "listing from a tick near the end of a full ring", near_end, 0.05,
           unit="s"),
    *[Target(f"parse_{ring}_{name}", f"parsing into state, {ring}: times as fast as {peer}",
             faster_item("parse", ring, peer), limit, True)
      for ring in ("busy", "sparse")
      for name, peer, limit in (("protobuf", "protobuf-lite", 1.5),
                                ("sqlite", "SQLite rows", 5))],
    Target("parse_instructions", "parsing an item, four in a packet: instructions",
           instructions("parsed item, four in a packet"), 130),
    Target("item", "an item from its report to memory: instructions", instructions("item"), 250),
    Target("unchanged", "the dearest report of what has not changed: instructions",
           dearest_unchanged, 50),
    Target("within_20_feet", "a fix within 20 feet of the last: instructions",
           instructions("GPS fix within 20 feet"), 50),
    Target("creation_loop", "creation, loop device: of a plain loop's time", creation("loop"),
           1.1),
    Target("creation_disk", "creation, disk: of a plain loop's time", creation("disk"), 1.1),
    Target("memory_growth", "memory: largest growth from a small ring to a full one",
           memory_growth, 1.05),
    Target("memory", "memory: most of any command", most_memory, 16, unit="MiB"),
    Target("check", "check of a full ring: of sha256sum's processor time",
           against("looking_over", "check", "sha256sum", "processor_s"), 1),
    Target("recover", "recover: of the time of cp and sync",
           against("recovery", "recover", "cp_sync", "wall_s"), 1.5),
    Target("scrub", "scrub of a sound store: of check's processor time",
           against("looking_over", "scrub", "check", "processor_s"), 1.1),
    Target("replay", "replay: gpsd lines for each second of the processor", replayed, 500000,
           True),
    Target("help", "vmr --help: of the time of sqlite3 --version",
           against("help", "vmr", "sqlite3", "wall_s"), 1.5),
]

# Why one is missed, where that is known; shown when it is.
_BUSY_PROCESSOR = (
    "where the device costs next to nothing the processor counts: the ring makes its packet of 14 "
    "reports and seals a cluster with a CRC, raw is handed its bytes (the instructions of a busy "
    "tick stand below)")
_SHARED_DISK = (
    "a disk that others write to, too, and whose sync takes most of the time: a few percent "
    "need an idle one, and stores that sync once a packet come out much alike")
_LISTING = (
    "the header of each line tells the local time of its tick, which fprintf is not asked for")
_LOOP = (
    "a sync of the loop device costs every store much the same, and where the control beside the "
    "table is off, a few percent and more are the machine's")
REASONS = {
    "loop_raw": _BUSY_PROCESSOR,
    "loop_spaced_median_us": _BUSY_PROCESSOR,
    **{f"disk_{what}": _SHARED_DISK for what in (
        "raw", "sqlite_wal", "sqlite_rollback", "lmdb", "leveldb", "rocksdb",
        "spaced_median_us")},
    **{f"loop_{what}": _LOOP for what in ("sqlite_rollback", "leveldb", "rocksdb")},
    "loop_sqlite_wal": "in this mode SQLite syncs once a packet, too, into a log that grows no "
                       "further once it is as long as it gets; it does more work, but no more of "
                       "what takes the time",
    "loop_lmdb": "LMDB syncs once a packet, too, and pays the loop device less for it than the "
                 "other stores; twice as fast needs the ring nearer to raw",
    "parse_instructions": "the header, the CRC and the tick of its packet are a third of it",
    "listing_busy": _LISTING,
    "listing_sparse": _LISTING,
    **{f"extract_rounds_{ring}": "`vmr extract` tells the state by all that is recorded before "
       "the range, and looks whether ticks begin anew behind it, so it reads the whole ring; "
       "`--as-unit` goes back to the last full state only" for ring in ("busy", "sparse")},
    **{f"extract_as_unit_{ring}": "it goes back to the last full state whose tick its cluster "
       "tells, and how far that is differs from place to place" for ring in ("busy", "sparse")},
    "recover": "it surveys the whole store before it writes anything, and reads back and compares "
               "all that it has written before it lets it take its name",
    "help": "before its first line runs, shared libraries are loaded: libstdc++ is a quarter of it",
}


def met(target, value):
    if value is None:
        return None
    return value >= target.limit if target.at_least else value <= target.limit
