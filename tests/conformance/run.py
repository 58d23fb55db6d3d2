#!/usr/bin/env python3
"""Runs a reader over the conformance cases, and compares what it finds with what they say.

usage: run.py [--records] [--without NAME,...] COMMAND ARGUMENT...

The command is called once for each case, with the recording's path in the place of {}: a flat
file, or the base path of a ring, which has _1.mtd and _2.mtd added. To standard output it
writes lines as docs/schema describes them. 3 as its exit code means, as it does of vmr, that
something is lost or damaged. The options are those of compare.py. A case needs 270 MB at a time.
"""

import json
import subprocess
import sys
import tempfile

import cases
import compare
import unpack

EXIT_CODES = (0, 3)


def found_by(command, path):
    """The lines that a command prints; None, and why, when it fails."""
    done = subprocess.run([part.replace("{}", str(path)) for part in command], capture_output=True)
    if done.returncode not in EXIT_CODES:
        return None, f"exit code {done.returncode}: {done.stderr.decode(errors='replace')[-300:]}"
    try:
        return [json.loads(line) for line in done.stdout.splitlines() if line.strip()], None
    except ValueError as error:
        return None, f"no JSON: {error}"


def main():
    records_only, without, command = compare.options(sys.argv[1:])
    if not any("{}" in part for part in command):
        compare.usage(" ".join(command) or "no command")
    failed = 0
    for case in cases.CASES:
        with tempfile.TemporaryDirectory() as folder:
            lines, problem = found_by(command, unpack.unpack(case, folder))
        expected = compare.lines_of(unpack.expected_of(case))
        if lines is not None:
            problem = compare.difference(expected, lines, records_only, without)
        failed += problem is not None
        print(f"{'same   ' if problem is None else 'DIFFERS'} {case.name}")
        if problem is not None:
            print(f"        it tests: {case.what}\n        {problem}")
    print(f"{len(cases.CASES) - failed} of {len(cases.CASES)} cases are read as they should be")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
