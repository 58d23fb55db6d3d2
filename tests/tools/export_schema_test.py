#!/usr/bin/env python3
"""docs/schema/ is what the tables say, and every line and table of an export fits it.

usage: export_schema_test.py VMR VMR_SCHEMA SOURCE_DIR
"""

import csv
import filecmp
import io
import json
import os
import re
import subprocess
import sys
import tempfile

import jsonschema

import export_samples


def check(good, what):
    if not good:
        sys.exit(f"FAILED: {what}")


def run(*arguments, expected=(0,)):
    done = subprocess.run(arguments, capture_output=True)
    check(done.returncode in expected, f"{arguments}: exit {done.returncode}\n"
                                       f"{done.stderr.decode(errors='replace')}")
    return done.stdout


def check_committed(vmr_schema, source, folder):
    made, committed = os.path.join(folder, "made"), os.path.join(source, "docs", "schema")
    os.mkdir(made)
    run(vmr_schema, made)
    names = sorted(name for name in os.listdir(committed) if name.endswith(".schema.json"))
    check(names == sorted(os.listdir(made)), "docs/schema/ has other files than vmr_schema makes")
    _, differing, unread = filecmp.cmpfiles(made, committed, names, shallow=False)
    check(not differing + unread, f"run vmr_schema docs/schema: {differing + unread}")
    return {name.split(".")[0]: json.load(open(os.path.join(made, name), encoding="utf-8"))
            for name in names}


def full_session(vmr, source, folder):
    """A store of every documented event, and what a drive adds."""
    store = os.path.join(folder, "session")
    with open(os.path.join(source, "docs", "events.md"), encoding="utf-8") as file:
        blocks = re.findall(r"^```json\n(.*?)^```", file.read(), re.S | re.M)
    lines = [line for block in blocks for line in block.splitlines()
             if line.startswith(("{\"event\"", "{\"class\""))]
    events = os.path.join(folder, "events.jsonl")
    with open(events, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")
    drive = os.path.join(source, "tests", "data", "drive_short_munich.gpsd.json")
    config = os.path.join(source, "examples", "unit.config.json")
    run(vmr, "record", store, "--replay", "--config", config, "--input", events)
    run(vmr, "record", store, "--replay", "--config", config, "--input", drive)
    return store


def check_lines(vmr, recordings, validators, schemas):
    seen = {}
    out = run(vmr, "export", *recordings, expected=(0, 3)).decode()
    lines = out.split("\n")
    check(lines.pop() == "", "the last line does not end")
    for line in lines:
        found = json.loads(line, object_pairs_hook=no_doubles)
        kind = found["kind"]
        errors = list(validators[kind].iter_errors(found))
        check(not errors, f"{line}: {errors[0].message if errors else ''}")
        names = [name for name in schemas[kind]["properties"] if name in found]
        check(names == list(found), f"{line}: fields that the schema lacks or orders otherwise")
        check(line.isprintable(), f"{line!r}: hidden characters")
        seen.setdefault(kind, found)
    return seen, len(lines)


def no_doubles(pairs):
    check(len(dict(pairs)) == len(pairs), f"a name stands twice: {pairs}")
    return dict(pairs)


def check_refusals(seen, validators):
    """A schema that takes anything would prove nothing."""
    for kind, found in seen.items():
        schema = validators[kind].schema
        for name in schema["required"]:
            without = {key: value for key, value in found.items() if key != name}
            check(not validators[kind].is_valid(without), f"{kind}: taken without {name}")
        for name in found:
            check(not validators[kind].is_valid({**found, name: [1]}), f"{kind}: any {name} taken")


def check_tables(vmr, recordings, schemas, folder):
    """Tables have the columns that the schemas name, and as many rows as there are lines."""
    tables = os.path.join(folder, "tables")
    run(vmr, "export", *recordings, "--format", "csv", "-o", tables, expected=(0, 3))
    check(sorted(os.listdir(tables)) == sorted(f"{kind}.csv" for kind in schemas), "other tables")
    rows = 0
    for kind, schema in schemas.items():
        with open(os.path.join(tables, f"{kind}.csv"), "rb") as file:
            text = file.read().decode()
        check(text.endswith("\r\n") and "\n" not in text.replace("\r\n", ""), f"{kind}: line ends")
        table = list(csv.reader(io.StringIO(text, newline=""), strict=True))
        check(table[0] == ["recording"] + schema["x-csv-columns"], f"{kind}: columns {table[0]}")
        for row in table[1:]:
            check(len(row) == len(table[0]), f"{kind}: {row}")
            check(all(cell.isprintable() for cell in row), f"{kind}: hidden characters in {row}")
            texts = [row[n] for n, name in enumerate(table[0]) if name == "text"]
            check(not any(re.match("[=+@\t\r-]", cell) for cell in texts), f"{kind}: {row}")
        rows += len(table) - 1
    return rows


def main():
    vmr, vmr_schema, source = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        schemas = check_committed(vmr_schema, source, folder)
        validators = {}
        for kind, schema in schemas.items():
            jsonschema.Draft202012Validator.check_schema(schema)
            validators[kind] = jsonschema.Draft202012Validator(schema)
        everything = os.path.join(folder, "everything.vmd")
        with open(everything, "wb") as file:
            file.write(export_samples.everything())
        recordings = [full_session(vmr, source, folder), everything]
        alone, _ = check_lines(vmr, [everything], validators, schemas)
        missing = set(schemas) - set(alone)
        check(not missing, f"no record of: {sorted(missing)}")
        check_refusals(alone, validators)
        seen, lines = check_lines(vmr, recordings, validators, schemas)
        check(all("recording" in found for found in seen.values()), "lines do not tell which")
        rows = check_tables(vmr, recordings, schemas, folder)
        check(rows == lines, f"{rows} rows, {lines} lines")
        print(f"{len(schemas)} schemas, {lines} lines and rows")


main()
