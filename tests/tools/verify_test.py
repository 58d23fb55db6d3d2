#!/usr/bin/env python3
"""verify_test.py VMR VERIFY_PY|- DRIVE: bags that somebody tampered with, told by both verifiers.

Makes a signed and stamped bag of a recorded drive and, of that, one bag for each thing that
can be done to it. `vmr verify` has to say what was done; examples/verify.py, which shares
nothing with it, has to end with the same code; "-": it is not asked.
"""
import io
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import warnings
import zipfile

VMR, DRIVE = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[3])
VERIFY_PY = None if sys.argv[2] == "-" else os.path.abspath(sys.argv[2])
BASE = "evidence/"
TAG = BASE + "tagmanifest-sha256.txt"
warnings.simplefilter("ignore")  # zipfile warns of names that are there twice
failures = []
count = 0


def run(*command, code=0):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != code:
        sys.exit(f"{command}: ended with {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def make_authority():
    """Of time stamps, as openssl makes one."""
    run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
        "-nodes", "-keyout", "tsa.key", "-out", "tsa.pem", "-days", "30", "-subj", "/CN=tsa",
        "-addext", "extendedKeyUsage=critical,timeStamping")
    pathlib.Path("serial").write_text("01\n")
    pathlib.Path("tsa.cnf").write_text(
        "[tsa]\ndefault_tsa=t\n[t]\nserial=./serial\nsigner_digest=sha256\n"
        "default_policy=1.2.3.4\ndigests=sha256\n")


def stamp(query, reply):
    run("openssl", "ts", "-reply", "-config", "tsa.cnf", "-queryfile", query, "-signer", "tsa.pem",
        "-inkey", "tsa.key", "-out", reply)


def package(out, *more):
    run(VMR, "package", "s", out, "--from", "2082", "--to", "2120", "--at", "2026-11-22T18:00:00Z",
        *more)


def contents(path):
    with zipfile.ZipFile(path) as archive:
        return {info.filename: archive.read(info) for info in archive.infolist()}


def write(files, path="t.zip", method=zipfile.ZIP_STORED):
    """`files`: names and bytes, or ZipInfo and bytes, in order."""
    with zipfile.ZipFile(path, "w", method) as archive:
        for name, content in files.items() if isinstance(files, dict) else files:
            archive.writestr(name, content)


def manifest_of(files, payload):
    import hashlib
    lines = []
    for name, content in sorted(files.items()):
        inner = name[len(BASE):]
        if inner.startswith("data/") == payload and not inner.startswith("tagmanifest"):
            lines.append(f"{hashlib.sha256(content).hexdigest()}  {inner}\n")
    return "".join(lines).encode()


def expect(name, code, words, *options, bag="t.zip"):
    global count
    count += 1
    before = sorted(os.listdir("."))
    done = subprocess.run([VMR, "verify", bag, *options], capture_output=True, text=True,
                          check=False)
    said = done.stdout + done.stderr
    if done.returncode != code or words not in said:
        failures.append(f"{name}: {done.returncode}, not {code}, or nothing of {words!r}:\n{said}")
    if VERIFY_PY is not None:
        ask_the_other(name, code, bag, *options)
    if sorted(os.listdir(".")) != before:
        failures.append(f"{name}: something was written")


def ask_the_other(name, code, *arguments):
    other = subprocess.run([sys.executable, VERIFY_PY, *arguments], capture_output=True, text=True,
                           check=False)
    if other.returncode != code:
        failures.append(f"{name}: verify.py ends with {other.returncode}, not {code}:\n"
                        f"{other.stdout}{other.stderr}")


def check_sound(good):
    key = ("--key", "jane.pub")
    expect("as made", 0, "byte for byte as it was made", *key, bag="good.zip")
    expect("without a key", 0, "whose key that is, the bag cannot tell", bag="good.zip")
    expect("stamped", 0, "time stamp: is of this tag manifest", *key, bag="stamped.zip")
    expect("unsigned", 0, "signature: there is none; nothing keeps", bag="unsigned.zip")
    write(good, method=zipfile.ZIP_DEFLATED)
    expect("packed anew", 0, "archive: packed anew", *key)
    write(dict(reversed(list(good.items()))))
    expect("another order", 0, "they stand in another order", *key)
    write({name[len(BASE):]: content for name, content in good.items()})
    expect("without its folder", 0, "archive: packed anew", *key)
    with zipfile.ZipFile("good.zip") as archive:
        archive.extractall("folder")
    expect("unpacked", 0, "none changed, missing or added", *key, bag="folder/evidence")


def check_changes(good):
    """Each alone; the tag manifest or the signature tells."""
    key = ("--key", "jane.pub")

    def changed(name, code, words, change, *options):
        files = dict(good)
        change(files)
        write(files)
        expect(name, code, words, *(options or key))

    def put(name, content):
        return lambda files: files.__setitem__(BASE + name, content)

    def remove(name):
        return lambda files: files.pop(BASE + name)

    for name in [name[len(BASE):] for name in good]:
        changed(f"removed {name}", 3, "missing", remove(name))
    for name, content in good.items():
        inner = name[len(BASE):]
        flipped = bytes([content[0] ^ 1]) + content[1:] if content else b"x"
        changed(f"changed {inner}", 3, "FAILS", put(inner, flipped))
    changed("added payload", 3, "data/more: was added", put("data/more", b"x"))
    changed("added tag file", 3, "more.txt: was added", put("more.txt", b"x"))
    changed("added md5 manifest", 3, "manifest-md5.txt: was added", put("manifest-md5.txt", b""))
    changed("added a fetch", 3, "fetch.txt: tells of files", put("fetch.txt", b""))
    changed("an empty file appended", 3, "data/empty: was added", put("data/empty", b""))
    changed("beside the bag", 3, "stands beside the bag",
            lambda files: files.__setitem__("beside.txt", b"x"))

    def rename(files):
        files[BASE + "data/another.gpx"] = files.pop(BASE + "data/way.gpx")
    changed("renamed", 3, "data/way.gpx: was renamed, it is there as data/another.gpx", rename)

    def swap(files):
        a, b = BASE + "data/extract.vmd", BASE + "data/extract-as-unit.vmd"
        files[a], files[b] = files[b], files[a]
    changed("swapped", 3, "data/extract.vmd: is not what", swap)

    def reorder(files):
        name = BASE + "manifest-sha256.txt"
        files[name] = b"".join(sorted(files[name].splitlines(True), reverse=True))
    changed("reordered manifest", 3, "manifest-sha256.txt: is not what", reorder)

    def forge(files):
        """All digests right, as somebody does who has read the manual."""
        files[BASE + "data/export.jsonl"] = b"{}\n"
        files[BASE + "bag-info.txt"] = files[BASE + "bag-info.txt"].replace(
            b"Payload-Oxum", b"Payload-Oxum-Was")
        files[BASE + "manifest-sha256.txt"] = manifest_of(files, True)
        files[TAG] = manifest_of(files, False)
    changed("manifests made anew", 3, "signature: is not of this tag manifest", forge)

    def forge_unsigned(files):
        forge(files)
        for name in (TAG + ".sig", TAG + ".minisig", BASE + "signer-public-key.pem"):
            files.pop(name)
        files[BASE + "bag-info.txt"] = files[BASE + "bag-info.txt"].replace(b"Signer-", b"No-")
        files[TAG] = manifest_of(files, False)
    changed("made anew without a signature", 3, "signature: there is none", forge_unsigned)
    # What nobody can tell who does not know that it was signed.
    files = dict(good)
    forge_unsigned(files)
    write(files)
    expect("the same, and no key to ask for", 0, "nothing keeps a bag like this")

    # Whoever looks at a bag is asked for nothing.
    sealed = subprocess.run(["openssl", "genpkey", "-algorithm", "ed25519", "-aes256", "-pass",
                             "pass:sesame"], capture_output=True, check=True).stdout
    changed("a sealed key for the public one", 3, "is no public key",
            put("signer-public-key.pem", sealed), "--key", "jane.pub")
    other = contents("other.zip")
    changed("signed by another key", 3, "signature: by another key than was given",
            lambda files: (files.clear(), files.update(other)))
    changed("another's signature", 3, "signature: is not of this tag manifest",
            put("tagmanifest-sha256.txt.sig", other[TAG + ".sig"]))
    changed("a short signature", 3, "signature: is not of this",
            put("tagmanifest-sha256.txt.sig", good[TAG + ".sig"][:63]))
    changed("another's signature for minisign", 3, ".minisig: is not this signature",
            put("tagmanifest-sha256.txt.minisig", other[TAG + ".minisig"]))
    for at in range(0, len(good[TAG + ".minisig"]), 7):
        turned = bytearray(good[TAG + ".minisig"])
        turned[at] ^= 1
        changed(f"minisign's form, byte {at}", 3, ".minisig: is not this signature",
                put("tagmanifest-sha256.txt.minisig", bytes(turned)))
    changed("another's manifest", 3, "manifest-sha256.txt: is not what",
            put("manifest-sha256.txt", contents("later.zip")[BASE + "manifest-sha256.txt"]))
    changed("another's stamp", 3, "time stamp: is of something else",
            put("tagmanifest-sha256.txt.tsr", pathlib.Path("other.tsr").read_bytes()))
    changed("no stamp at all", 3, "time stamp: is no reply",
            put("tagmanifest-sha256.txt.tsr", b"later"))
    write(contents("unsigned.zip"))
    expect("unsigned and a key given", 3, "signature: there is none", *key)


def check_hostile(good):
    """Refused as a whole; nothing of them is said to hold."""
    def with_more(*more):
        write(list(good.items()) + list(more))

    for name in ("../evil", "/etc/evil", BASE + "data/../../evil", BASE + "data//evil",
                 BASE + "./evil", BASE + "data\\..\\evil", "C:evil", BASE + "data/\x01",
                 BASE + "d" * 260):
        with_more((name, b"x"))
        expect(f"name {name[:30]!r}", 1, "t.zip: ")
    with_more((BASE + "data/check.txt", b"x"))
    expect("a name twice", 1, "holds two files of one name")
    with_more((BASE + "data/CHECK.txt", b"x"))
    expect("a name in two cases", 1, "differ by case alone")
    with_more((BASE + "DATA/new.txt", b"x"), (BASE + "data", b"x"))
    expect("a file and a folder", 1, "t.zip: ")
    for kind, what in ((0o120777, "link"), (0o020666, "device"), (0o010666, "pipe")):
        for system in (0, 2, 3, 5, 16, 19, 30):
            info = zipfile.ZipInfo(BASE + "data/odd")
            info.create_system, info.external_attr = system, kind << 16
            with_more((info, b"/etc/passwd"))
            expect(f"{what} of system {system}", 1, "is a link or a device")
    write([(f"{BASE}data/{number}", b"") for number in range(10000)] + list(good.items()))
    expect("10000 files", 1, "holds 10053 files" if len(good) == 53 else "files; more than")
    bomb = io.BytesIO()
    with zipfile.ZipFile(bomb, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in good.items():
            archive.writestr(name, content)
        archive.writestr(BASE + "data/bomb", bytes(64 << 20))
    pathlib.Path("t.zip").write_bytes(bomb.getvalue())
    expect("a bomb", 1, "unpacks to more than can be meant")
    os.symlink("/etc/passwd", "folder/evidence/data/link")
    expect("a link in a folder", 1, "is a link or a device", bag="folder/evidence")
    os.unlink("folder/evidence/data/link")


def check_stamping(good):
    """Only what holds is stamped, and a stamp is not replaced by the way."""
    write(dict(reversed(list(good.items()))))
    done = run(VMR, "package", "t.zip", "--tsa-reply", "good.tsr", code=1)
    if "is packed anew, and is not to be stamped" not in done.stderr:
        failures.append(f"stamped, packed anew: {done.stderr}")
    write({**good, BASE + "data/check.txt": b"sound\n"})
    done = run(VMR, "package", "t.zip", "--tsa-reply", "good.tsr", code=1)
    if "is no bag that holds, and is not to be stamped" not in done.stderr:
        failures.append(f"stamped, changed: {done.stderr}")
    before = pathlib.Path("stamped.zip").read_bytes()
    done = run(VMR, "package", "stamped.zip", "--tsa-reply", "good.tsr", code=1)
    if "has a time stamp; --force replaces it" not in done.stderr:
        failures.append(f"stamped twice: {done.stderr}")
    run(VMR, "package", "stamped.zip", "--tsa-reply", "good.tsr", "--force")
    if pathlib.Path("stamped.zip").read_bytes() != before:
        failures.append("the same stamp once more makes another bag")


def check_bytes():
    """What is no archive, or half of one."""
    whole = pathlib.Path("good.zip").read_bytes()
    bag = pathlib.Path("t.zip")
    for size in (0, 1, 100, len(whole) // 2, len(whole) - 1):
        bag.write_bytes(whole[:size])
        expect(f"cut to {size}", 1, "t.zip: ")
    for name, content in (("in front", b"x" + whole), ("behind", whole + b"x")):
        bag.write_bytes(content)
        expect(f"a byte {name}", 1, "t.zip: ")
    bag.write_bytes(random.Random(1).randbytes(5000))
    expect("noise", 1, "is no ZIP archive")
    shutil.copy("good.zip", "t.zip")
    expect("a private key for the public one", 1, "is no public key", "--key", "jane")
    expect("not there", 1, "No such file", bag="none.zip")
    os.mkdir("empty")
    expect("an empty folder", 1, "is no bag", bag="empty")
    # A bit of what is stored: the archive's own checksum tells, and the file is named.
    at = whole.index(b"SHA-256") + 1
    bag.write_bytes(whole[:at] + bytes([whole[at] ^ 4]) + whole[at + 1:])
    expect("a flipped bit", 3, "is damaged")


def main():
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.path.isdir("/dev/shm") else None) as here:
        os.chdir(here)
        run(VMR, "record", "s", "--replay", "--input", DRIVE)
        run(VMR, "key", "new", "jane")
        run(VMR, "key", "new", "joe")
        make_authority()
        package("good.zip", "--sign", "jane", "--tsa-query", "good.tsq")
        package("other.zip", "--sign", "joe", "--tsa-query", "other.tsq")
        package("later.zip", "--sign", "jane", "--reason", "later", "--time-zone", "America/Chicago")
        package("unsigned.zip")
        stamp("good.tsq", "good.tsr")
        stamp("other.tsq", "other.tsr")
        shutil.copy("good.zip", "stamped.zip")
        run(VMR, "package", "stamped.zip", "--tsa-reply", "good.tsr")
        run(VMR, "package", "good.zip", "--tsa-reply", "other.tsr", code=1)
        good = contents("good.zip")
        check_sound(good)
        check_changes(good)
        check_hostile(good)
        check_stamping(good)
        check_bytes()
        os.chdir("/")
    verifiers = "both verifiers tell" if VERIFY_PY else "the program tells"
    print("\n".join(failures) or f"{verifiers} what was done to each of {count} bags")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
