#!/usr/bin/env python3
"""Writes the conformance cases out as files.

usage: unpack.py [--list] FOLDER [CASE...]

Each case becomes FOLDER/CASE with

  recording.vmd                           a flat file, or
  recording_1.mtd, recording_2.mtd        a ring, 134 MB a file
  expected.jsonl                          what it says: lines as docs/schema describes them
  about.txt                               what it tests

Needs Python 3.9 and nothing else. Without CASE all of them: 5 GB, most of it rings.
"""

import pathlib
import shutil
import sys

import cases
import recipes

HERE = pathlib.Path(__file__).resolve().parent
STEP = 1024  # clusters that are written at a time


def expected_of(case):
    return HERE / "expected" / f"{case.name}.jsonl"


def write_file(path, special, lap):
    never = recipes.cluster(recipes.NEVER_WRITTEN)
    with open(path, "wb") as file:
        for first in range(0, recipes.CLUSTERS, STEP):
            numbers = range(first, first + STEP)
            if lap is None:
                blocks = [never] * STEP
            else:
                newest, oldest_tick = lap
                blocks = [recipes.filler(oldest_tick + (n - newest - 1) % recipes.CLUSTERS)
                          if n not in special else never for n in numbers]
            for n in numbers:
                if n in special:
                    blocks[n - first] = special[n]
            file.write(b"".join(blocks))


def unpack(case, folder):
    """The path that a reader is to be given: a flat file, or a ring's base."""
    target = pathlib.Path(folder) / case.name
    target.mkdir(parents=True, exist_ok=True)
    (target / "about.txt").write_text(case.what + "\n")
    if expected_of(case).exists():
        shutil.copy(expected_of(case), target / "expected.jsonl")
    if isinstance(case.content, recipes.Flat):
        (target / "recording.vmd").write_bytes(case.content.data)
        return target / "recording.vmd"
    fresh = None
    for number, special in case.content.files.items():
        path = target / f"recording_{number}.mtd"
        same = fresh is not None and special == fresh[1]
        shutil.copy(fresh[0], path) if same else write_file(path, special, case.content.lap)
        fresh = (path, special)
    return target / "recording"


def main():
    arguments = sys.argv[1:]
    if arguments[:1] == ["--list"]:
        for case in cases.CASES:
            print(f"{case.name}: {case.what}")
        return
    if arguments == ["--help"]:
        print(__doc__, end="")
        return
    if not arguments or arguments[0].startswith("-"):
        sys.exit(__doc__)
    folder, *names = arguments
    known = {case.name for case in cases.CASES}
    if folder in known:
        sys.exit(f"unpack.py: {folder}: is a case; the folder to write into comes in front of it")
    unknown = set(names) - known
    if unknown:
        sys.exit(f"unpack.py: no such case: {', '.join(sorted(unknown))}; --list names them")
    for case in cases.CASES:
        if names and case.name not in names:
            continue
        try:
            unpack(case, folder)
        except OSError as error:
            sys.exit(f"unpack.py: {error.filename or folder}: {error.strerror}")


if __name__ == "__main__":
    main()
