#!/usr/bin/env python3
"""Writes the conformance cases out as files."""

import argparse
import pathlib
import shutil
import sys

import cases
import recipes

DESCRIPTION = __doc__ + """

Each case becomes FOLDER/CASE with

  recording.vmd                           a flat file, or
  recording_1.mtd, recording_2.mtd        a ring, 134 MB a file
  expected.jsonl                          what it says: lines as docs/schema describes them
  about.txt                               what it tests"""
EPILOG = "Exit code: 0 all written, 1 a file cannot be written, 2 wrong usage."
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


def case_named(name):
    """For argparse."""
    for case in cases.CASES:
        if case.name == name:
            return case
    raise argparse.ArgumentTypeError(f"no such case: {name}; unpack.py --list names them")


def options_of(arguments):
    parser = argparse.ArgumentParser(
        usage="unpack.py FOLDER [CASE...]\n       unpack.py --list", description=DESCRIPTION,
        epilog=EPILOG, allow_abbrev=False,
        formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--list", action="store_true", help="name the cases, and write nothing")
    parser.add_argument("folder", nargs="?", metavar="FOLDER", help="to write into, made if need be")
    parser.add_argument("cases", nargs="*", metavar="CASE", type=case_named,
                        help="which ones; usually all: 5 GB, most of it rings")
    options = parser.parse_args(arguments)
    if options.list and options.folder is not None:
        parser.error("--list stands alone")
    if not options.list and options.folder is None:
        parser.error("FOLDER is missing")
    if options.folder in {case.name for case in cases.CASES}:
        parser.error(f"{options.folder}: is a case; the folder to write into comes in front of it")
    return options


def main():
    options = options_of(sys.argv[1:])
    if options.list:
        print("\n".join(f"{case.name}: {case.what}" for case in cases.CASES))
        return
    for case in options.cases or cases.CASES:
        try:
            unpack(case, options.folder)
        except OSError as error:
            print(f"unpack.py: {error.filename or options.folder}: {error.strerror}",
                  file=sys.stderr)
            sys.exit(1)


if __name__ == "__main__":
    main()
