#!/usr/bin/env python3
"""events_dictionary.py SCHEMA FILE [--write]: compares FILE, which helps a fuzzer to
write events, with the words of the schema; with --write it makes the file."""
import json
import pathlib
import sys

SYNTAX = ["{", "}", "[", "]", ":", ",", "true", "false", "null", "\\u0041", "1e308", "-1", "0.5",
          "9007199254740993", '"2019-06-19T21:33:57Z"', '"192.168.1.1"', '"02:00:00:00:00:01"']


def words(schema):
    """Names of fields and the constants of a schema, with what stands around them."""
    if isinstance(schema, list):
        for part in schema:
            yield from words(part)
    if not isinstance(schema, dict):
        return
    for name in schema.get("properties", {}):
        yield json.dumps(name) + ":"
    if "const" in schema:
        yield json.dumps(schema["const"])
    for value in schema.values():
        yield from words(value)


def dictionary(schema):
    lines = ["# Made by events_dictionary.py --write from docs/events.schema.json; a test compares."]
    for word in sorted(set(words(schema))) + SYNTAX:
        escaped = word.replace("\\", "\\\\").replace('"', '\\"')
        lines.append(f'"{escaped}"')
    return "\n".join(lines) + "\n"


def main(schema, file, write=""):
    text = dictionary(json.loads(pathlib.Path(schema).read_text(encoding="utf-8")))
    if write == "--write":
        pathlib.Path(file).write_text(text, encoding="utf-8")
    elif pathlib.Path(file).read_text(encoding="utf-8") != text:
        sys.exit(f"{file}: is not what the schema says; make it anew with --write")


if __name__ == "__main__":
    main(*sys.argv[1:])
