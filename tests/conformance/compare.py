#!/usr/bin/env python3
"""Compares what a reader has found with what a case says."""

import argparse
import json
import pathlib
import sys

DESCRIPTION = __doc__ + """

Lines have to be the same in the same order; the order of their fields means nothing, nor does
`file`: of two copies that are the same a reader may take either. Degrees may differ by less than
half a ten-thousandth of a minute, the last place that is recorded. The first line that differs
is told."""
EPILOG = "Exit code: 0 same, 1 not, 2 wrong usage, or a file cannot be read."
EXPECTED = pathlib.Path(__file__).resolve().parent / "expected"
HALF_A_TT = 0.5 / 600000
NO_RECORDS = ("gap", "clock_step")


def line_in(text, number):
    try:
        line = json.loads(text)
    except (ValueError, RecursionError) as error:
        raise ValueError(f"line {number} is no JSON: {error}") from None
    if not isinstance(line, dict):
        raise ValueError(f"line {number} is no JSON object: {text[:60]!r}")
    return line


def lines_in(data):
    """Of bytes. ValueError tells which line is none."""
    return [line_in(text, number) for number, text in enumerate(data.split(b"\n"), 1)
            if text.strip()]


def lines_of(path):
    return lines_in(pathlib.Path(path).read_bytes())


def looked_at(lines, records_only, without):
    return [{name: value for name, value in line.items() if name not in without and name != "file"}
            for line in lines if not records_only or line.get("kind") not in NO_RECORDS]


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
        what = "missing is" if longer is expected else "too much is"
        return (f"{len(found)} lines, and there should be {len(expected)}: {what} "
                f"{longer[min(len(expected), len(found))]}")
    return None


def field_names(text):
    """Of a list with commas; each is a field that some line has."""
    known = {"file"}.union(*(line for path in EXPECTED.glob("*.jsonl") for line in lines_of(path)))
    names = text.split(",")
    unknown = ", ".join(repr(name) for name in names if name not in known)
    if unknown:
        raise argparse.ArgumentTypeError(f"no line has a field {unknown}")
    return names


def add_options(parser):
    parser.add_argument("--records", action="store_true",
                        help="leave out gaps and steps of the clock, for a reader that tells "
                        "records alone")
    parser.add_argument("--without", type=field_names, default=(), metavar="NAME,...",
                        help="leave out fields, for a reader that does not tell them: "
                        "time,time_quality")


def read(path):
    try:
        return pathlib.Path(path).read_bytes()
    except OSError as error:
        fail(2, f"{path}: {error.strerror}")


def fail(code, what):
    print(f"compare.py: {what}", file=sys.stderr)
    sys.exit(code)


def main():
    parser = argparse.ArgumentParser(
        description=DESCRIPTION, epilog=EPILOG, allow_abbrev=False,
        formatter_class=argparse.RawDescriptionHelpFormatter)
    add_options(parser)
    parser.add_argument("expected", metavar="EXPECTED.jsonl", help="what a case says")
    parser.add_argument("found", metavar="FOUND.jsonl", help="what the reader has printed")
    options = parser.parse_args()
    expected, found = read(options.expected), read(options.found)
    try:
        expected = lines_in(expected)
    except ValueError as error:
        fail(2, f"{options.expected}: {error}")
    try:
        what = difference(expected, lines_in(found), options.records, options.without)
    except ValueError as error:
        what = error
    if what is not None:
        fail(1, f"{options.found}: {what}")


if __name__ == "__main__":
    main()
