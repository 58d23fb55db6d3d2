#!/usr/bin/env python3
"""Runs a reader over the conformance cases, and compares what it finds with what they say."""

import argparse
import math
import os
import signal
import subprocess
import sys
import tempfile

import cases
import compare
import unpack

EXIT_CODES = (0, 3)
USUAL_TIMEOUT_S = 60
DESCRIPTION = __doc__ + """

COMMAND is called once for each case, with the recording's path in the place of {}: a flat file,
or the base path of a ring, which has _1.mtd and _2.mtd added. To standard output it writes lines
of JSON as docs/schema describes them. Its exit code is 0, or 3 where something is lost or damaged.

  run.py vmr export {} --format jsonl
  run.py --case flat_radar --case ring_wrapped ./my-reader {}
  run.py --records --without time,time_quality ./my-reader {}

Options of run.py stand in front of COMMAND; all behind it is COMMAND's. A case that differs is
told with the first line that does. A ring takes 270 MB while it is looked at."""
EPILOG = "Exit code: 0 all cases agree, 1 some differ, 2 wrong usage, or COMMAND cannot be run."


class CannotRun(Exception):
    pass


def run_command(command, timeout_s):
    """(exit code, standard output, standard error); the exit code is None if it was ended."""
    try:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, start_new_session=True)
    except OSError as error:
        raise CannotRun(f"{command[0]}: cannot be run: {error.strerror}") from None
    try:
        out, err = process.communicate(timeout=timeout_s)
        return process.returncode, out, err
    except subprocess.TimeoutExpired:
        return None, b"", b""
    finally:
        end(process)


def end(process):
    """With what it has started, which would hold its output open."""
    if process.returncode is None:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()


def found_by(command, path, timeout_s=USUAL_TIMEOUT_S):
    """The lines that a command prints; None, and why, when it fails."""
    code, out, err = run_command([part.replace("{}", str(path)) for part in command], timeout_s)
    if code is None:
        return None, f"the reader hangs: it was ended after {timeout_s:g} seconds"
    if code not in EXIT_CODES:
        how = f"was ended by signal {-code}" if code < 0 else f"has exit code {code}"
        last_words = err.decode(errors="replace").strip()[-300:]
        return None, f"the reader {how}" + (f": {last_words}" if last_words else "")
    try:
        return compare.lines_in(out), None
    except ValueError as error:
        return None, f"its output: {error}"


def problem_of(case, options):
    """What differs first; None: nothing."""
    with tempfile.TemporaryDirectory() as folder:
        try:
            path = unpack.unpack(case, folder)
        except OSError as error:
            raise CannotRun(f"cannot be written to {folder}: {error.strerror}") from None
        lines, problem = found_by(options.command, path, options.timeout)
    if problem is not None:
        return problem
    expected = compare.lines_of(unpack.expected_of(case))
    return compare.difference(expected, lines, options.records, options.without)


def seconds(text):
    number = float(text)
    if not 0 < number < math.inf:
        raise ValueError
    return number


def options_of(arguments):
    parser = argparse.ArgumentParser(
        usage="run.py [OPTION]... COMMAND ARGUMENT...", description=DESCRIPTION, epilog=EPILOG,
        allow_abbrev=False, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--case", action="append", metavar="NAME", type=unpack.case_named,
                        help="run this one; may be given several times (unpack.py --list names "
                        "them; usually all)")
    parser.add_argument("--timeout", type=seconds, default=USUAL_TIMEOUT_S, metavar="SECONDS",
                        help="for one case; a reader that takes longer hangs, and is ended "
                        "(usually %(default)s)")
    compare.add_options(parser)
    parser.add_argument("command", nargs=argparse.REMAINDER, metavar="COMMAND ARGUMENT...",
                        help="the reader; {} is the recording's path")
    options = parser.parse_args(arguments)
    if options.command[:1] == ["--"]:
        del options.command[0]
    if not options.command:
        parser.error("COMMAND, the reader to run, is missing")
    if not any("{}" in part for part in options.command):
        parser.error(f"{' '.join(options.command)}: has no {{}}, the place of the recording's path")
    return options


def main():
    options = options_of(sys.argv[1:])
    chosen = [case for case in cases.CASES if options.case is None or case in options.case]
    failed = 0
    for case in chosen:
        try:
            problem = problem_of(case, options)
        except CannotRun as error:
            print(f"run.py: {case.name}: {error}", file=sys.stderr)
            sys.exit(2)
        failed += problem is not None
        print(f"{'same   ' if problem is None else 'DIFFERS'} {case.name}", flush=True)
        if problem is not None:
            print(f"        it tests: {case.what}\n        {problem}", flush=True)
    print(f"{len(chosen) - failed} of {len(chosen)} cases are read as they should be")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
