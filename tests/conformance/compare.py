#!/usr/bin/env python3
"""Compares what a reader has found with what a case says.

usage: compare.py [--records] [--without NAME,...] EXPECTED.jsonl FOUND.jsonl

--records  leaves out gaps and steps of the clock, for a reader that tells records alone
--without  leaves out fields, for a reader that does not tell them: time,time_quality

Lines have to be the same in the same order; the order of their fields means nothing, nor does
`file`: of two copies that are the same a reader may take either. Degrees may differ by less than
half a ten-thousandth of a minute, the last place that is recorded.

Exit code 0 same, 1 not, 2 wrong usage.
"""

import json
import sys

HALF_A_TT = 0.5 / 600000
NO_RECORDS = ("gap", "clock_step")


def lines_of(path):
    with open(path, encoding="utf-8") as file:
        return [json.loads(line) for line in file if line.strip()]


def looked_at(lines, records_only, without):
    return [{name: value for name, value in line.items() if name not in without and name != "file"}
            for line in lines if not records_only or line["kind"] not in NO_RECORDS]


def same_value(a, b):
    if isinstance(a, float) or isinstance(b, float):
        numbers = all(isinstance(x, (int, float)) and not isinstance(x, bool) for x in (a, b))
        return numbers and abs(a - b) < HALF_A_TT
    return type(a) is type(b) and a == b


def difference(expected, found, records_only=False, without=()):
    """What differs first, in words; None: nothing."""
    expected = looked_at(expected, records_only, without)
    found = looked_at(found, records_only, without)
    for number, (wanted, line) in enumerate(zip(expected, found), 1):
        for name in {**wanted, **line}:
            if name not in line:
                return f"line {number}: no {name}, which is {wanted[name]!r}, in {line}"
            if name not in wanted:
                return f"line {number}: {name} is {line[name]!r}, and should not be there"
            if not same_value(wanted[name], line[name]):
                return (f"line {number}: {name} is {line[name]!r}, and should be {wanted[name]!r}, "
                        f"in {line}")
    if len(expected) != len(found):
        longer = max(expected, found, key=len)
        return (f"{len(found)} lines, and there should be {len(expected)}: "
                f"{longer[min(len(expected), len(found))]}")
    return None


def options(arguments):
    """(records_only, without, the other arguments)"""
    records_only, without = False, ()
    while arguments and arguments[0].startswith("--"):
        option, *arguments = arguments
        if option == "--records":
            records_only = True
        elif option == "--without" and arguments:
            without, arguments = arguments[0].split(","), arguments[1:]
        elif option == "--":
            break
        else:
            sys.exit(__doc__) if option == "--help" else usage(option)
    return records_only, without, arguments


def usage(option):
    print(f"{sys.argv[0]}: {option} is not understood; --help", file=sys.stderr)
    sys.exit(2)


def main():
    records_only, without, paths = options(sys.argv[1:])
    if len(paths) != 2:
        usage(" ".join(paths))
    found = difference(lines_of(paths[0]), lines_of(paths[1]), records_only, without)
    if found is not None:
        sys.exit(f"compare.py: {paths[1]}: {found}")


if __name__ == "__main__":
    main()
