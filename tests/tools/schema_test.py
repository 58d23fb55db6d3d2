#!/usr/bin/env python3
"""docs/events.schema.json says what the program takes: every example of the
documentation fits it and is taken, and what it refuses the program refuses too.

usage: schema_test.py VMR SOURCE_DIR [EVERY]

EVERY: of the changed lines and configurations the program is given each EVERYth alone.
"""

import copy
import glob
import json
import os
import re
import subprocess
import sys
import tempfile

import jsonschema

LEAST_MUTATIONS = 15  # of every documented line, that the schema refuses
TOLD_OF_AN_INPUT = 10
LINES_OF_A_RUN = 3000

# What stands in for every value, in turn.
STRANGE = [None, True, -1, 0.5, 4294967296, 1e300, "no such word", "", [], {}, "\u0000",
           "x" * 254, "é" * 127, ["x"], [{}] * 12, {"x": 1}]
MISSING = object()


def examples_of(path):
    """The lines of JSON in a Markdown file's blocks, or of a file of lines."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if path.endswith(".md"):
        text = "\n".join(re.findall(r"^```json\n(.*?)^```", text, re.S | re.M))
    return [json.loads(line) for line in text.splitlines() if line.strip()]


def variants(value):
    """Every document that differs from `value` in one place."""
    yield from (copy.deepcopy(strange) for strange in STRANGE)
    if isinstance(value, dict):
        for name in value:
            yield {k: v for k, v in value.items() if k != name}
            for changed in variants(value[name]):
                yield {**value, name: changed}
        yield {**value, "no_such_field": 1}
    elif isinstance(value, list):
        for n in range(len(value)):
            yield value[:n] + value[n + 1:]
            for changed in variants(value[n]):
                yield value[:n] + [changed] + value[n + 1:]
        yield value + value


def refused_lines(vmr, folder, lines):
    """The numbers, from 0, of the lines that the program skips, and why."""
    refused = {}
    for start in range(0, len(lines), LINES_OF_A_RUN):
        refused.update(refused_in_a_run(vmr, folder, lines[start:start + LINES_OF_A_RUN], start))
    return refused


def refused_in_a_run(vmr, folder, lines, start):
    """Of each input the program tells ten lines, so each has no more."""
    arguments = [vmr, "record", os.path.join(folder, "s"), "--replay"]
    for first in range(0, len(lines), TOLD_OF_AN_INPUT):
        path = os.path.join(folder, f"lines{start + first}")
        with open(path, "w", encoding="utf-8") as file:
            file.writelines(json.dumps(line) + "\n" for line in lines[first:first + TOLD_OF_AN_INPUT])
        arguments += ["--input", path]
    done = subprocess.run(arguments, capture_output=True, text=True,
                          env={**os.environ, "VMR_LOG": "1"})
    none_used = "lines could be used" in done.stderr  # of one of the inputs
    if done.returncode != (1 if none_used else 0):
        sys.exit(f"FAILED: exit {done.returncode}\n{done.stderr}")
    told = re.findall(r"lines(\d+):(\d+): (.*)", done.stderr)
    return {int(first) + int(number) - 1: why for first, number, why in told
            if not why.endswith("; ignored")}


def check_examples(vmr, folder, validator, lines):
    for line in lines:
        for error in validator.iter_errors(line):
            sys.exit(f"FAILED: the schema refuses {line}: {error.message}")
    for number, why in refused_lines(vmr, folder, lines).items():
        sys.exit(f"FAILED: the program refuses {lines[number]}: {why}")


def check_every_kind_is_shown(schema, lines):
    shown = {line.get("event") for line in lines}
    for name in schema["$defs"]:
        if name.startswith("event-") and name[len("event-"):] not in shown:
            sys.exit(f"FAILED: docs/events.md has no example of {name}")


def check_mutations(vmr, folder, validator, lines, every):
    made = [(line, m) for line in lines for m in variants(line) if isinstance(m, dict)]
    bad = [m for _, m in made if not validator.is_valid(m)][::every]
    refused = refused_lines(vmr, folder, bad)
    for number, line in enumerate(bad):
        if number not in refused:
            sys.exit(f"FAILED: the schema refuses {line}, the program takes it")
        if '"' not in refused[number]:
            sys.exit(f"FAILED: {line}: the message names no field: {refused[number]}")
    for line in lines:
        count = sum(origin is line and not validator.is_valid(m) for origin, m in made)
        if count < LEAST_MUTATIONS:
            sys.exit(f"FAILED: only {count} mutations of {line} were refused")
    good = [m for _, m in made if validator.is_valid(m)][::every]
    for number, why in refused_lines(vmr, folder, good).items():
        if "bytes" not in why:  # the schema can count characters only
            sys.exit(f"FAILED: the schema takes {good[number]}, the program says: {why}")
    return len(bad), len(good)


def check_configuration(vmr, folder, validator, example, every):
    """The program must refuse what the schema does before it touches a store."""
    for error in validator.iter_errors(example):
        sys.exit(f"FAILED: the schema refuses the example: {error.message}")
    bad = [m for m in variants(example) if not validator.is_valid(m)][::every]
    path = os.path.join(folder, "unit.json")
    for configuration in [example] + bad:
        with open(path, "w", encoding="utf-8") as file:
            json.dump(configuration, file)
        done = subprocess.run([vmr, "record", os.path.join(folder, "c"), "--replay", "--input",
                               "/dev/null", "--config", path], capture_output=True, text=True)
        wanted = 0 if configuration is example else 1
        if done.returncode != wanted or (wanted and not done.stderr.startswith(f"vmr: {path}: ")):
            sys.exit(f"FAILED: {configuration}: exit {done.returncode}, {done.stderr}")
        for name in glob.glob(os.path.join(folder, "c_?.mtd")):
            if wanted:
                sys.exit(f"FAILED: {name} was made in spite of {configuration}")
            os.remove(name)
    return len(bad)


def main():
    vmr, root = sys.argv[1:3]
    every = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    with open(os.path.join(root, "docs/events.schema.json"), encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    documented = examples_of(os.path.join(root, "docs/events.md"))
    files = sorted(glob.glob(os.path.join(root, "examples/*.jsonl")))
    if not files:
        sys.exit("FAILED: examples/ has no *.jsonl")
    lines = documented + [line for path in files for line in examples_of(path)]
    check_every_kind_is_shown(schema, documented)
    configurations = jsonschema.Draft202012Validator(
        {"$ref": "#/$defs/configuration", "$defs": schema["$defs"]})
    with open(os.path.join(root, "examples/unit.config.json"), encoding="utf-8") as file:
        example = json.load(file)
    with tempfile.TemporaryDirectory() as folder:
        check_examples(vmr, folder, validator, lines)
        refused, taken = check_mutations(vmr, folder, validator, documented, every)
        configured = check_configuration(vmr, folder, configurations, example, every)
    print(f"{len(lines)} examples taken; of their mutations {refused} refused and {taken} taken, "
          f"as the schema says; {configured} configurations refused")


if __name__ == "__main__":
    main()
