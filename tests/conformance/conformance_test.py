#!/usr/bin/env python3
"""The program and a reader of its own read every conformance case as it is written down, and the
comparison notices each value that is another.

usage: conformance_test.py VMR SOURCE_DIR
"""

import json
import pathlib
import sys
import tempfile

import jsonschema

import cases
import compare
import reader
import recipes
import run
import unpack

MOST_BYTES = 300 * 1024  # of this folder
LEAST_CASES = 65


def check(good, what):
    if not good:
        sys.exit(f"FAILED: {what}")


def check_names():
    names = [case.name for case in cases.CASES]
    check(len(set(names)) == len(names) >= LEAST_CASES, f"{len(names)} cases, some twice")
    files = {path.stem for path in (unpack.HERE / "expected").glob("*.jsonl")}
    check(files == set(names), f"cases and expectations differ: {files ^ set(names)}")
    size = sum(path.stat().st_size for path in unpack.HERE.rglob("*")
               if path.is_file() and "__pycache__" not in path.parts)
    check(size < MOST_BYTES, f"the cases take {size} bytes")
    readme = (unpack.HERE / "README.md").read_text()
    check(all(f"`{name}`" in readme for name in names), "README.md does not name every case: "
          + ", ".join(name for name in names if f"`{name}`" not in readme))


def check_schema(source, case):
    """Every line is one that docs/schema describes."""
    for line in compare.lines_of(unpack.expected_of(case)):
        path = source / "docs" / "schema" / f"{line['kind']}.schema.json"
        if "cluster" in line:
            line["file"] = 1  # left out: either may be told
        jsonschema.validate(line, json.loads(path.read_text()))


def changed(value):
    """Another value of a field, by the least that counts."""
    if isinstance(value, bool):
        return not value
    if isinstance(value, int):
        return value + 1
    if isinstance(value, float):
        return value + 1 / 600000
    return "other" if value is None else value + "x"


def check_comparison(case):
    """Each single value of a case that is another, missing or too much is noticed."""
    expected = compare.lines_of(unpack.expected_of(case))
    check(compare.difference(expected, expected) is None, f"{case.name} differs from itself")
    for at, line in enumerate(expected):
        variants = [{**line, name: changed(value)} for name, value in line.items()]
        variants += [{name: line[name] for name in line if name != left_out} for left_out in line]
        for variant in variants + [{**line, "more": 1}]:
            found = expected[:at] + [variant] + expected[at + 1 :]
            check(compare.difference(expected, found) is not None,
                  f"{case.name}: {variant} for {line} goes unnoticed")
    check(not expected or compare.difference(expected, expected[:-1]) is not None,
          f"{case.name}: a line less goes unnoticed")


def check_readers(vmr, case):
    expected = compare.lines_of(unpack.expected_of(case))
    with tempfile.TemporaryDirectory() as folder:
        path = unpack.unpack(case, folder)
        lines, problem = run.found_by([vmr, "export", "{}", "--format", "jsonl"], path)
        check(problem is None, f"{case.name}: the program: {problem}")
        for name, found in (("program", lines), ("reader", reader.read(str(path)))):
            problem = compare.difference(expected, found)
            check(problem is None, f"{case.name}: the {name}: {problem}")


def check_flipped(vmr):
    """A bit of a recording that is another shows in both readers, and in the comparison."""
    case = next(case for case in cases.CASES if case.name == "flat_quadrants")
    data = bytearray(case.content.data)
    data[13] ^= 1  # of a fraction of a minute
    flipped = case._replace(content=recipes.Flat(bytes(data)))
    expected = compare.lines_of(unpack.expected_of(case))
    with tempfile.TemporaryDirectory() as folder:
        path = unpack.unpack(flipped, folder)
        lines, _ = run.found_by([vmr, "export", "{}", "--format", "jsonl"], path)
        check(lines is not None and compare.difference(expected, lines) is not None,
              "a flipped bit does not show in the program's lines")
        check(compare.difference(expected, reader.read(str(path))) is not None,
              "a flipped bit does not show in the reader's lines")


def main():
    vmr, source = sys.argv[1], pathlib.Path(sys.argv[2])
    check_names()
    check_flipped(vmr)
    for case in cases.CASES:
        check_schema(source, case)
        check_comparison(case)
        check_readers(vmr, case)
    print(f"{len(cases.CASES)} cases, read by the program and by a reader of its own")


if __name__ == "__main__":
    main()
