#!/usr/bin/env python3
"""Runs a libFuzzer program for so many executions and says how many there were.

Appends one JSON line of counts to a file. Fails when there were fewer than asked
for or when an input crashed, and then keeps the input and prints the command that
replays it. With VMR_LONG=SECONDS in the environment it goes on for so long, from
another seed each time and from what it found before.
"""
import argparse
import json
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import time


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("--target", required=True)
    parser.add_argument("--corpus", type=pathlib.Path, required=True, help="seeds, which stay")
    parser.add_argument("--work", type=pathlib.Path, required=True, help="folder for what is found")
    parser.add_argument("--dictionary", type=pathlib.Path)
    parser.add_argument("--counts", type=pathlib.Path, required=True)
    parser.add_argument("--runs", type=int, default=1000000)
    parser.add_argument("--max-len", type=int, required=True)
    return parser.parse_args()


def make_folders(arguments, seconds):
    """Of new inputs and of crashes. A run of a fixed length begins with the seeds alone."""
    found = arguments.work / arguments.target
    if not seconds:
        shutil.rmtree(found, ignore_errors=True)
    crashes = arguments.work / "crashes"
    for folder in (found, crashes):
        folder.mkdir(parents=True, exist_ok=True)
    return found, crashes


def command_line(arguments, found, crashes, seconds, seed):
    command = [arguments.program, f"-seed={seed}", f"-max_len={arguments.max_len}",
               "-entropic=0", "-timeout=60", "-print_final_stats=1", "-verbosity=1",
               f"-artifact_prefix={crashes / arguments.target}-"]
    command.append(f"-max_total_time={seconds}" if seconds else f"-runs={arguments.runs}")
    if arguments.dictionary:
        command.append(f"-dict={arguments.dictionary}")
    return command + [found, arguments.corpus]


def number(pattern, text):
    numbers = re.findall(pattern, text)
    return int(numbers[-1]) if numbers else 0


def main():
    arguments = parse_arguments()
    seconds = int(os.environ.get("VMR_LONG", "0"))
    seed = int(time.time()) if seconds else 1
    found, crashes = make_folders(arguments, seconds)
    print(f"{arguments.target}: seed {seed}", flush=True)
    started = time.monotonic()
    run = subprocess.run(command_line(arguments, found, crashes, seconds, seed),
                         stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, text=True,
                         errors="replace", check=False)
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    written = re.findall(r"Test unit written to (\S+)", run.stderr)
    counts = {
        "kind": "fuzz",
        "target": arguments.target,
        "seed": seed,
        "executions": number(r"stat::number_of_executed_units:\s*(\d+)", run.stderr),
        "coverage": number(r"cov: (\d+)", run.stderr),
        "features": number(r"ft: (\d+)", run.stderr),
        "crashes": len(written),
        "seconds": round(time.monotonic() - started, 1),
        "cpu_seconds": round(used.ru_utime + used.ru_stime, 1),
    }
    line = json.dumps(counts, separators=(",", ":"))
    print(line)
    with open(arguments.counts, "a", encoding="ascii") as file:
        file.write(line + "\n")
    if run.returncode != 0 or written:
        print(run.stderr[-8000:])
        for path in written:
            print(f"FAIL {arguments.target}; alone: {arguments.program} {path}")
        return 1
    if not seconds and counts["executions"] < arguments.runs:
        print(f"FAIL {counts['executions']} executions, {arguments.runs} wanted")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
