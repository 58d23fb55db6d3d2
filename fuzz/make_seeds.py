#!/usr/bin/env python3
"""make_seeds.py VMR CORPUS: makes the seeds of the fuzz targets from recorded drives.

The inputs are small: a few packets and lines each, in the states that power cuts
and damage leave of a ring. What is in CORPUS under other names stays.
"""
import base64
import hashlib
import io
import json
import pathlib
import struct
import subprocess
import sys
import tempfile
import zipfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent
DRIVES = {
    "iowa": ("examples/drive_long_iowa.gpsd.json", "examples/drive_long_iowa.events.jsonl"),
    "munich": ("tests/data/drive_short_munich.gpsd.json",),
    "regensburg": ("tests/data/fixloss_regensburg.gpsd.json",),
}
CLUSTER_BYTES = 4096
HEAD_BYTES = {0x80: 6, 0x81: 3, 0x82: 2}
MAGIC = bytes([0x66, 0x5D, 0x53, 0x31])


def record(vmr, inputs, folder):
    """The packets of a drive, each as it stands in the ring."""
    store = pathlib.Path(folder) / "s"
    command = [vmr, "record", store, "--replay", "--config", SOURCE / "examples/unit.config.json"]
    for path in inputs:
        command += ["--input", SOURCE / path]
    subprocess.run(command, check=True, capture_output=True)
    packets = []
    with open(f"{store}_1.mtd", "rb") as file:
        while True:
            image = file.read(CLUSTER_BYTES)
            size = struct.unpack_from("<H", image, 5)[0]
            if size == 7:
                return packets
            packets += split(image[7:size])


def split(payload):
    packets, at = [], 0
    while at < len(payload):
        head = HEAD_BYTES[payload[at]]
        end = at + head + payload[at + head - 1] + 1
        packets.append(payload[at:end])
        at = end
    return packets


def tick_of(packet, before):
    if packet[0] == 0x80:
        return struct.unpack_from("<I", packet, 1)[0]
    return before & ~0xFF | packet[1] if packet[0] == 0x81 else before


# ---- Rings: what fuzz/ring_input.h reads ---------------------------------------------

CRCS, READ_ONLY, AROUND_END, DISK_FULL, OWN_32, OWN_64, OWN_128 = 1, 4, 8, 16, 32, 64, 128
FIRST, SECOND, LESS, GIVEN, NONE, GAP, DAMAGED, FIRST_ONLY = 1, 2, 3, 4, 8, 16, 32, 128


def cluster(packets, control=0, more=b""):
    payload = b"".join(packets)
    return bytes([control]) + more + struct.pack("<H", len(payload)) + payload


def ring(clusters, ticks, flags=CRCS, files=0):
    return bytes([flags, files]) + struct.pack("<II", *ticks) + b"".join(clusters)


def ring_states(packets):
    """Name, flags, odd files and clusters of what may be left of a recording."""
    tick, ticks = 0, []
    for packet in packets:
        tick = tick_of(packet, tick)
        ticks.append(tick)
    groups = [packets[i:i + 3] for i in range(0, len(packets), 3)]
    starts = [ticks[i] for i in range(0, len(packets), 3)]
    whole = [cluster(g, GIVEN, struct.pack("<I", t)) for g, t in zip(groups, starts)]

    def last(control, more=b""):
        return whole[:-1] + [cluster(groups[-1], control | GIVEN, more)]

    given = struct.pack("<I", starts[-1])
    states = [
        ("whole", 0, 0, whole),
        ("around", AROUND_END, 0, whole),
        ("cut1", 0, 0, last(FIRST, given)),
        ("cut2", 0, 0, last(SECOND, given)),
        ("lessin2", 0, 0, last(LESS, bytes([len(groups[-1][-1])]) + given)),
        ("torn1", 0, 0, last(DAMAGED | FIRST_ONLY, given + b"\x41")),
        ("torn2", 0, 0, last(DAMAGED | SECOND, given + b"\x41")),
        ("tornboth", 0, 0, last(DAMAGED, given + b"\x41")),
        ("unreadable1", 0, 0, last(DAMAGED | FIRST_ONLY, given + b"\0")),
        ("continued", 0, 0, whole[:2] + [cluster([b"\x82\x01\x56\0"] + groups[-1], NONE)]),
        ("secondlap", 0, 0, [cluster(groups[-1], GIVEN, struct.pack("<I", 0x10000))] + whole[1:]),
        ("missing1", 0, 1, whole),
        ("missing2", 0, 16, whole),
        ("short2", 0, 32, whole),
        ("longer1", 0, 3, whole),
        ("full", DISK_FULL, 0, last(FIRST, given)),
        ("empty2", 0, 0, [bytes([c[0] | FIRST]) + c[1:] for c in whole]),
        ("empty", 0, 0, []),
        ("badfirst", 0, 0, [cluster(groups[0], DAMAGED | GIVEN, struct.pack("<I", starts[0]) + b"\x09")] + whole[1:]),
        ("wrongcrcs", CRCS, 0, whole),
    ]
    for name, flags, files, clusters in states:
        yield name, flags ^ CRCS, files, clusters, ticks


def write(corpus, target, name, data):
    folder = corpus / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / f"seed-{name}").write_bytes(data)


def write_rings(corpus, drive, packets):
    dump = max(range(len(packets)), key=lambda i: len(packets[i]))
    slice_ = packets[max(0, dump - 2):dump + 8]
    for name, flags, files, clusters, ticks in ring_states(slice_):
        asked = ticks[len(ticks) // 2], ticks[-1]
        for target, own in (("rings", OWN_32), ("extract", 0), ("survey", OWN_128)):
            write(corpus, target, f"{drive}-{name}", ring(clusters, asked, flags | own, files))
        write(corpus, "extract", f"{drive}-{name}-ro", ring(clusters, asked, flags | READ_ONLY, files))
        write(corpus, "rings", f"{drive}-{name}-ro", ring(clusters, asked, flags | READ_ONLY, files))
        write(corpus, "survey", f"{drive}-{name}-mend",
              ring(clusters, asked, flags | OWN_32 | READ_ONLY, files))
    write(corpus, "survey", f"{drive}-aside", ring(clusters, asked, CRCS | OWN_64, 0))


# ---- Streams and texts -----------------------------------------------------------------

def write_streams(corpus, drive, packets):
    by_tags = {}
    for packet in packets:
        by_tags.setdefault((packet[0], packet[HEAD_BYTES[packet[0]]:][:1]), packet)
    for (kind, tag), packet in sorted(by_tags.items()):
        write(corpus, "items", f"{drive}-{kind:02x}{tag.hex()}", packet)
    write(corpus, "flat", drive, MAGIC + b"".join(packets[:12]))
    write(corpus, "flat", f"{drive}-late", MAGIC + b"".join(packets[200:230]))


def parts(packets, lost=()):
    """Packets as clusters of four, each with its first tick, for the program's decoder."""
    data, tick = b"", 0
    for number, at in enumerate(range(0, len(packets), 4)):
        group = packets[at:at + 4]
        tick = tick_of(group[0], tick)
        payload = b"".join(group)
        data += struct.pack("<HI", len(payload) | (0x8000 if number in lost else 0), tick) + payload
        for packet in group:
            tick = tick_of(packet, tick)
    return data


def log(text):
    return bytes([0x20, len(text)]) + text.encode()


def write_redacted(corpus, drive, near_dump, late):
    """Flags and classes as fuzz_redact.cc has them: everything, places on a grid, names."""
    repair, clusters, keep_texts, grid, small = 1, 2, 4, 8, 16
    everything, gps, identity = 0x7FE, 1 << 2, 1 << 1
    whole = b"\x91\x02\x29\x27\x96\0\x5d\x1d\xa6\x25"
    state = log("Range 1 to 900") + log("State completed by vmr: 1 kept") + whole
    extract = struct.pack("<BIB", 0x80, 1, len(state)) + state + b"\0" + b"".join(late[:12])
    gap = b"\x82\0\xff" + late[12]
    for name, flags, classes, data in (
            ("all", repair, everything, b"".join(near_dump)),
            ("grid", repair | grid, gps, extract),
            ("small-grid", repair | grid | small, gps | identity, extract + gap),
            ("texts", repair | keep_texts, identity, extract),
            ("damaged", grid, gps, extract[:-3] + b"\xee" + b"".join(late[12:])),
            ("lost", repair | clusters | grid, gps | identity, parts(late, lost=(2,)))):
        write(corpus, "redact", f"{drive}-{name}", struct.pack("<BH", flags, classes) + data)


def write_decoded(corpus, drive, packets):
    dump = max(range(len(packets)), key=lambda i: len(packets[i]))
    near_dump = packets[max(0, dump - 1):dump + 3]
    middle = max(0, min(200, len(packets) - 24))
    late = packets[middle:middle + 24]
    write(corpus, "decoder", drive, b"\1" + b"".join(near_dump))
    write(corpus, "decoder", f"{drive}-late", b"\0" + b"".join(late))
    write(corpus, "decoder", f"{drive}-mark", b"\0" + late[0] + b"\x82\0\xff" + b"".join(late[1:5]))
    write(corpus, "decoder", f"{drive}-clusters", b"\3" + parts(late))
    write(corpus, "decoder", f"{drive}-lost", b"\3" + parts(late, lost=(1, 2)))
    write_redacted(corpus, drive, near_dump, late)
    first = tick_of(late[0], 0) & ~0xFF
    for name, lost in (("whole", ()), ("lost", (2,)), ("begins-lost", (0, 1))):
        write(corpus, "range_cut", f"{drive}-{name}", struct.pack("<IH", first, 300) + parts(late, lost))


def lines_of(path):
    return (SOURCE / path).read_text().splitlines(keepends=True)


def write_lines(corpus):
    for drive, inputs in DRIVES.items():
        lines = lines_of(inputs[0])
        tpv = [line for line in lines if '"TPV"' in line]
        write(corpus, "events", f"{drive}-start", "".join(lines[:4] + tpv[:2]).encode())
        write(corpus, "events", f"{drive}-tpv", "".join(tpv[100:103]).encode())
    seen = set()
    for line in lines_of("examples/drive_long_iowa.events.jsonl"):
        event = json.loads(line)["event"]
        if event not in seen:
            write(corpus, "events", event, line.encode())
        seen.add(event)
    configuration = json.loads((SOURCE / "examples/unit.config.json").read_text())
    write(corpus, "configuration", "example", json.dumps(configuration).encode())
    for name, value in configuration.items():
        write(corpus, "configuration", name, json.dumps({name: value}).encode())
        event = name if name != "versions" else "configuration"
        write(corpus, "events", f"section-{name}",
              json.dumps({"event": event, **(value if isinstance(value, dict) else {name: value})}).encode())


def write_times(corpus):
    readings = struct.pack("<IiIiIi", 1, 1560980037, 120, 1560980100, 5000, 1560980000)
    for name, text in (("utc", "2019-06-19T21:33:57.250Z"), ("zone", "2019-06-19T23:33:57+02:00"),
                       ("local", "2019-06-19T21:33"), ("tick", "1200"),
                       ("address", "[::1]:2947"), ("none", ""), ("ago", "-1h30min"), ("now", "now"),
                       ("epoch", "@1560980037.25"), ("date", "2019-11-03"),
                       ("twice", "2019-11-03T01:30"), ("never", "2019-03-10T02:30")):
        write(corpus, "times", name, text.encode() + b"\0" + readings)


def sign(files, manifest):
    """By a key that is good for nothing else."""
    seed = bytes(range(32))
    with tempfile.TemporaryDirectory() as folder:
        key, text = pathlib.Path(folder, "key"), pathlib.Path(folder, "text")
        key.write_bytes(bytes.fromhex("302e020100300506032b657004220420") + seed)

        def openssl(*arguments, message=b""):
            text.write_bytes(message)
            return subprocess.run(["openssl", *arguments], capture_output=True, check=True).stdout

        def signature(message):
            return openssl("pkeyutl", "-sign", "-keyform", "DER", "-inkey", key, "-rawin", "-in",
                           text, message=message)

        public = openssl("pkey", "-inform", "DER", "-in", key, "-pubout", "-outform", "DER")[-32:]
        named = b"Ed" + public[:8]
        signed = {**files,
                  "signer-public-key.pem": openssl("pkey", "-inform", "DER", "-in", key, "-pubout"),
                  "signer-public-key.minisign": b"untrusted comment: \n" +
                                                base64.b64encode(named + public) + b"\n"}
        names = [name for name in signed if not name.startswith(("data/", "tagmanifest"))]
        tag = "tagmanifest-sha256.txt"
        signed[tag] = manifest(signed, sorted(names))
        signed[tag + ".sig"] = signature(signed[tag])
        signed[tag + ".minisig"] = b"untrusted comment: signature of %s\n%s\ntrusted comment: %s\n%s\n" % (
            tag.encode(), base64.b64encode(named + signed[tag + ".sig"]), tag.encode(),
            base64.b64encode(signature(signed[tag + ".sig"] + tag.encode())))
    return signed


def write_bags(corpus):
    """As small as a bag can be; zipfile's own archives are ones that were packed anew."""
    def manifest(files, names):
        return "".join(f"{hashlib.sha256(files[name]).hexdigest()}  {name}\n" for name in names).encode()

    files = {"bagit.txt": b"BagIt-Version: 1.0\nTag-File-Character-Encoding: UTF-8\n",
             "bag-info.txt": b"Packaging-Time: 2026-11-22T18:00:00Z\nPayload-Oxum: 7.1\n",
             "README.txt": b"", "data/way.gpx": b"<gpx/>\n"}
    files["manifest-sha256.txt"] = manifest(files, ["data/way.gpx"])
    files["tagmanifest-sha256.txt"] = manifest(files, sorted(set(files) - {"data/way.gpx"}))
    signed = sign(files, manifest)
    forged = {**signed, "tagmanifest-sha256.txt.sig": bytes(64)}
    stamped = {**files, "tagmanifest-sha256.txt.tsr": bytes.fromhex("30053003020102")}
    changed = {**files, "data/way.gpx": b"<gpx>\n\n"}
    for name, bag in (("sound", files), ("signed", signed), ("forged", forged),
                      ("stamped", stamped), ("changed", changed)):
        for method in (zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED):
            packed = io.BytesIO()
            with zipfile.ZipFile(packed, "w", method) as archive:
                for file, content in bag.items():
                    archive.writestr(zipfile.ZipInfo("evidence/" + file, (2026, 11, 22, 18, 0, 0)),
                                     content, method)
            write(corpus, "bag", f"{name}-{'stored' if method == 0 else 'packed'}", packed.getvalue())


def main(vmr, corpus):
    corpus = pathlib.Path(corpus)
    for old in corpus.glob("*/seed-*"):
        old.unlink()
    for drive, inputs in DRIVES.items():
        with tempfile.TemporaryDirectory() as folder:
            packets = record(vmr, inputs, folder)
        write_streams(corpus, drive, packets)
        write_decoded(corpus, drive, packets)
        if drive != "regensburg":
            write_rings(corpus, drive, packets)
    write_lines(corpus)
    write_times(corpus)
    write_bags(corpus)


if __name__ == "__main__":
    main(*sys.argv[1:])
