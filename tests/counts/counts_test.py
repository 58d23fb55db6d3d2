#!/usr/bin/env python3
"""The paths that a unit goes along all day take no more instructions than they did.

usage: counts_test.py VMR_PATHS

Runs the program under callgrind and compares what each path takes a step with its limit,
a tenth above what was reached; instructions of this machine's processor, release build.
They depend on the compiler, not on what else the machine does. What the program itself
does to go along a path is left out. 77, as for a skipped test, without valgrind.
"""
import collections
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77

# Instructions for one step: an append without the device's part, an item from its report
# to a packet in memory, a report that changes nothing, an item parsed into a store.
LIMITS = {
    "append": 576,
    "item": 219,
    "item alone in its packet": 552,
    "unchanged GPS fix": 53,
    "GPS fix within 20 feet": 53,
    "unchanged GPS state": 24,
    "unchanged speed": 40,
    "unchanged radar reading": 50,
    "unchanged radar state": 29,
    "unchanged input": 35,
    "unchanged temperature": 30,
    "unchanged camera": 28,
    "unchanged video stream": 28,
    "unchanged live stream": 50,
    "unchanged microphone": 25,
    "parsed item, four in a packet": 142,
    "parsed item, one in a packet": 400,
}

# The program's own functions, of which the library's are called.
HARNESS = re.compile(r"\bvmr::test::")


def count_stretches(program):
    """What the program printed, and the instructions of each stretch between two calls of
    VmrCountHere()."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder, "out")
        printed = subprocess.run(
            ["valgrind", "--quiet", "--tool=callgrind", "--compress-strings=no",
             "--compress-pos=no", "--dump-before=VmrCountHere",
             f"--callgrind-out-file={out}", program],
            check=True, stdout=subprocess.PIPE, text=True).stdout
        parts = sorted(out.parent.glob("out.*"), key=lambda path: int(path.suffix[1:]))
        return printed.splitlines(), [library_instructions(part) for part in parts]


def library_instructions(path):
    """Of all functions but the harness, without those that they call."""
    own = collections.Counter()
    function, is_callee = None, False
    for line in path.read_text().splitlines():
        if line.startswith("fn="):
            function = line[3:]
        elif line.startswith("calls="):
            is_callee = True  # the next line is what was spent behind the call
        elif re.match(r"\d+ \d+$", line):
            if not is_callee:
                own[function] += int(line.split()[1])
            is_callee = False
    return sum(count for function, count in own.items() if not HARNESS.search(function))


def main():
    if shutil.which("valgrind") is None:
        print("counts_test: NOT checked: valgrind is not installed", file=sys.stderr)
        return SKIPPED
    lines, stretches = count_stretches(sys.argv[1])
    # Before the first call of each path, between its first two, between its last two.
    if len(stretches) < 3 * len(lines):
        sys.exit(f"counts_test: {len(stretches)} stretches were counted for {len(lines)} paths")
    measured = {}
    for n, line in enumerate(lines):
        steps, name = line.split(" ", 1)
        once, twice = stretches[3 * n + 1], stretches[3 * n + 2]
        measured[name] = (twice - once) / int(steps)
    if measured.keys() != LIMITS.keys():
        sys.exit(f"counts_test: other paths than expected: {measured.keys() ^ LIMITS.keys()}")
    missed = 0
    for name, count in measured.items():
        over = count > LIMITS[name]
        missed += over
        print(f"{count:8.1f} of {LIMITS[name]:5} {name}{'  <-- too many' if over else ''}")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
