#!/usr/bin/env python3
"""Checks a bag of `vmr package` without vmr: Python's standard library and openssl.

verify.py BAG [--key PUBLIC_KEY.pem]    BAG: an archive, or the folder it was unpacked into

Exit codes, as of `vmr verify`: 0 all holds, 1 it cannot be told, 3 something fails.
Nothing is written but the small files that openssl is handed, in a temporary folder.
Whether an archive was packed anew is not looked at.
"""
import argparse
import base64
import hashlib
import os
import re
import struct
import subprocess
import sys
import tempfile
import zipfile
import zlib

TAG = "tagmanifest-sha256.txt"
BEHIND = {TAG, TAG + ".sig", TAG + ".minisig", TAG + ".tsr"}  # what no manifest can list
MARKS = ("bagit.txt", "manifest-sha256.txt", TAG)
KEPT = BEHIND.union(MARKS, ("bag-info.txt", "signer-public-key.pem"))  # in memory, too
MOST_FILES, SMALL, MOST_BYTES = 1000, 16 << 20, 64 << 30


class CannotTell(Exception):
    """The bag is none, or none to be trusted with."""


def check_names(names):
    """Refuses what could stand elsewhere than in the bag's folder, or over each other."""
    if len(names) > MOST_FILES:
        raise CannotTell(f"holds {len(names)} files")
    seen = {}
    for name in names:
        parts = name.rstrip("/").split("/") if name != "/" else [""]
        if any(part in ("", ".", "..") for part in parts) or name.endswith("//") or \
                len(name) > 255 or not all(" " <= c <= "~" and c not in "\\:" for c in name):
            raise CannotTell(f"{name!r} is no name of a file in a bag")
        key = "/".join(parts).lower()
        if key in seen:
            raise CannotTell(f"{name} and {seen[key]} are one file on some systems")
        seen[key] = name
    for key, name in seen.items():
        above = key
        while "/" in above:
            above = above.rpartition("/")[0]
            if above in seen and seen[above] != name[:len(above)] + "/":
                raise CannotTell(f"{name} stands in a file, or differs by case alone")


def check_local_header(file, info):
    """The archive tells of each file twice: refuses one whose two tales differ."""
    file.seek(info.header_offset)
    head = struct.unpack("<4sHHHHHIIIHH", file.read(30))
    large = 0xFFFFFFFF if head[7:9] == (0xFFFFFFFF,) * 2 else 0  # told in an extra field
    packed = (info.CRC, large or info.compress_size, large or info.file_size)
    year, month, day, hour, minute, second = info.date_time
    time = (hour << 11 | minute << 5 | second // 2, (year - 1980) << 9 | month << 5 | day)
    behind = head[2] & 8 and head[6:9] == (0, 0, 0)  # told behind the file
    if head[0] != b"PK\3\4" or head[1] != info.extract_version or \
            head[3] != info.compress_type or head[4:6] != time or \
            (head[6:9] != packed and not behind) or \
            file.read(head[9]) != info.orig_filename.encode("cp437", "replace"):
        raise CannotTell(f"{info.filename}: the archive contradicts itself")


def check_ends(archive, count):
    """Nothing stands in front of the first file or behind the archive's own end."""
    file, comment = archive.fp, len(archive.comment)
    file.seek(0)
    starts = file.read(4)
    file.seek(-22 - comment, os.SEEK_END)
    at = file.tell()
    end = struct.unpack("<4s4H2IH", file.read(22))
    if starts != b"PK\3\4" or end[:5] != (b"PK\5\6", 0, 0, count, count) or \
            end[5] + end[6] > at or end[7] != comment:
        raise CannotTell("is an archive with something in front of it or behind it")


def extra_ids(extra):
    while len(extra) >= 4:
        number, size = struct.unpack("<HH", extra[:4])
        yield number  # 0x7075 is a second name, which some unpack by
        extra = extra[4 + size:]


def open_archive(path):
    """Names in the bag, and what gives the bytes of one of them."""
    try:
        archive = zipfile.ZipFile(path)
        infos = archive.infolist()
        check_ends(archive, len(infos))
        check_names([info.orig_filename for info in infos])
        for info in infos:
            kind = info.external_attr >> 28
            if kind not in (0, 4, 8):
                raise CannotTell(f"{info.filename} is a link or a device")
            if info.flag_bits & 1 or info.compress_type not in (0, 8):
                raise CannotTell(f"{info.filename} is packed in a way that is not read here")
            if info.is_dir() and info.file_size:
                raise CannotTell(f"{info.filename} is a folder and holds bytes")
            if info.file_size > SMALL and info.file_size // 200 > info.compress_size:
                raise CannotTell(f"{info.filename} unpacks to more than can be meant")
            check_local_header(archive.fp, info)
        if sum(info.file_size for info in infos) > MOST_BYTES or \
                sum(info.compress_size for info in infos) > os.path.getsize(path):
            raise CannotTell("unpacks to more than can be meant")
    except (zipfile.BadZipFile, struct.error, ValueError, NotImplementedError) as error:
        raise CannotTell(f"is no ZIP archive that can be read ({error})") from error
    names = [info.filename for info in infos if not info.is_dir()]
    bases = {name[:-len(mark)] for name in names for mark in MARKS if name.endswith(mark)}
    bases = {base for base in bases if not base or base.find("/") == len(base) - 1}
    if len(bases) != 1:
        raise CannotTell("holds no bag, or several")
    base = bases.pop()
    inside = {name[len(base):]: name for name in names if name.startswith(base)}
    beside = [info.filename for info in infos if not info.filename.startswith(base)]
    beside += [info.filename for info in infos if 0x7075 in extra_ids(info.extra)]
    return inside, lambda name: archive.open(inside[name]), beside


def open_folder(path):
    def refuse(error):
        raise error

    names = {}
    for folder, folders, files in os.walk(path, onerror=refuse):
        for name in folders + files:
            whole = os.path.join(folder, name)
            if os.path.islink(whole) or (name in files and not os.path.isfile(whole)):
                raise CannotTell(f"{whole} is a link or a device")
            if name in files:
                names[os.path.relpath(whole, path)] = whole
    check_names(list(names))
    if not any(mark in names for mark in MARKS):
        raise CannotTell("is no bag")
    return names, lambda name: open(names[name], "rb"), []


def digest_of(name, opened):
    """The SHA-256, what a file that is looked into holds, and the number of bytes."""
    digest, kept, size = hashlib.sha256(), b"", 0
    try:
        with opened(name) as file:
            for piece in iter(lambda: file.read(1 << 16), b""):
                digest.update(piece)
                size += len(piece)
                kept += piece if name in KEPT else b""
                if len(kept) > SMALL:
                    raise CannotTell(f"{name} is longer than any file of its kind")
    except (zipfile.BadZipFile, zlib.error, EOFError):
        return "damaged", b"", size
    return digest.hexdigest(), kept, size


def check_manifest(manifest, files, payload):
    if manifest not in files:
        return [f"{manifest}: is missing"]
    lines = files[manifest][1].replace(b"\r\n", b"\n").removesuffix(b"\n").split(b"\n")
    listed, failures = {}, []
    for line in lines if files[manifest][1] else []:
        match = re.fullmatch(rb"([0-9a-f]{64})  (\S(?:.*\S)?)", line)
        if not match:
            return [f"{manifest}: holds a line that is no digest and name"]
        name = match[2].decode("latin-1")
        if name in listed or name.startswith("data/") != payload or name in BEHIND:
            failures.append(f"{manifest}: should not list {name}, or not twice")
        listed[name] = match[1].decode()
    about = {n for n in files if n.startswith("data/") == payload and n not in BEHIND}
    failures += [f"{name}: is missing" for name in listed if name not in files]
    failures += [f"{name}: was added" for name in sorted(about - set(listed))]
    return failures + [f"{name}: is not what {manifest} says" for name in listed
                       if name in files and files[name][0] != listed[name]]


def run_openssl(folder, contents, *arguments):
    for name, content in contents.items():
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content)
    return subprocess.run(["openssl", *arguments], cwd=folder, capture_output=True, check=False)


def holds_by(folder, key, text, signature):
    return run_openssl(folder, {"key": key, "text": text, "sig": signature},
                       "pkeyutl", "-verify", "-pubin", "-inkey", "key", "-passin", "pass:",
                       "-rawin", "-in", "text", "-sigfile", "sig").returncode == 0


def check_signature(folder, files, info, key):
    if TAG + ".sig" not in files:
        told = {"signer-public-key.pem", TAG + ".minisig"}.intersection(files) or \
            b"\nSigner-Key-SHA256:" in b"\n" + info
        return ["signature: is missing"] if told or key else []
    own = files.get("signer-public-key.pem", (0, None))[1]
    if own is None and key is None:
        return ["signature: there is no key to check it by"]
    key, signature = key or own, files[TAG + ".sig"][1]
    if not holds_by(folder, key, files.get(TAG, (0, b""))[1], signature):
        return ["signature: does not hold by this key"]
    # The same signature as minisign has it, and one of its comment.
    raw = run_openssl(folder, {"key": key}, "pkey", "-pubin", "-in", "key", "-passin",
                      "pass:", "-outform", "DER").stdout[-32:]
    form = b"untrusted comment: signature of %s\n%s\ntrusted comment: %s\n" % (
        TAG.encode(), base64.b64encode(b"Ed" + raw[:8] + signature), TAG.encode())
    told = files.get(TAG + ".minisig", (0, b""))[1]
    try:
        of_comment = base64.b64decode(told[len(form):-1])
    except ValueError:
        of_comment = b""
    holds = told == form + base64.b64encode(of_comment) + b"\n" and \
        holds_by(folder, key, signature + TAG.encode(), of_comment)
    return [] if holds else [f"{TAG}.minisig: is missing or not this signature"]


def check_stamp(folder, files):
    if TAG + ".tsr" not in files or TAG not in files:
        return []
    text = run_openssl(folder, {"tsr": files[TAG + ".tsr"][1]},
                       "ts", "-reply", "-in", "tsr", "-text").stdout.decode("latin-1")
    imprint = text.partition("Message data:")[2].partition("Serial")[0]
    digits = "".join(re.findall(r"^ +[0-9a-f]{4} - ((?:[0-9a-f]{2}[ -])+)", imprint, re.M))
    holds = "Status: Granted" in text and re.sub("[ -]", "", digits) == files[TAG][0]
    return [] if holds else ["time stamp: is not of this tag manifest"]


def check(path, key):
    names, opened, beside = open_folder(path) if os.path.isdir(path) else open_archive(path)
    files = {name: digest_of(name, opened) for name in names}
    failures = [f"{name}: stands beside the bag" for name in beside]
    if not files.get("bagit.txt", ("", b""))[1].startswith(b"BagIt-Version: 1.0"):
        failures.append("bagit.txt: is missing or of another version")
    if "fetch.txt" in files:
        failures.append("fetch.txt: tells of files that are elsewhere")
    failures += check_manifest(TAG, files, False) + check_manifest("manifest-sha256.txt", files, True)
    info = files.get("bag-info.txt", (0, b""))[1]
    sizes = [size for name, (_, _, size) in files.items() if name.startswith("data/")]
    told = re.search(rb"^Payload-Oxum:[ \t]*(.*?)[ \t]*\r?$", info, re.M)
    if told and told[1].decode("latin-1") != f"{sum(sizes)}.{len(sizes)}":
        failures.append("bag-info.txt: tells of another number of bytes or files")
    with tempfile.TemporaryDirectory() as folder:
        return failures + check_signature(folder, files, info, key) + check_stamp(folder, files)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("bag")
    parser.add_argument("--key", help="the signer's public key")
    arguments = parser.parse_args()
    try:
        key = open(arguments.key, "rb").read() if arguments.key else None
        if key is not None and b"-----BEGIN PUBLIC KEY-----" not in key:
            raise CannotTell(f"{arguments.key} is no public key")
        failures = check(arguments.bag, key)
    except (CannotTell, OSError) as error:
        print(f"{arguments.bag}: {error}", file=sys.stderr)
        return 1
    for failure in failures:
        print("FAILS ", failure.encode("ascii", "backslashreplace").decode())
    print("all holds" if not failures else f"{len(failures)} failures")
    return 3 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
