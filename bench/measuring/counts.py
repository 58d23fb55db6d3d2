"""What no neighbour disturbs: system calls by strace, instructions by callgrind."""
import pathlib
import re
import subprocess
import sys

from .system import Failed, folder_in, run

LINE = re.compile(r"^\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", re.M)
# A line of the test of counts: "   550.2 of   605 append".
PATH = re.compile(r"^ *([\d.]+) of +\d+ (.+?)(?:  <-- too many)?$", re.M)
COUNTS_TEST = pathlib.Path(__file__).parents[2] / "tests" / "counts" / "counts_test.py"


def calls(command, folder):
    """System calls by name, of the command and its threads."""
    out = folder / "calls"
    run(["strace", "-f", "-c", "-o", out, *command])
    return {name: int(count) for count, name in LINE.findall(out.read_text())
            if name != "total"}


def calls_of_appends(programs, folder, packets):
    """Of each variant, what `packets` appends have more than none."""
    program = programs / "durable_append"
    found = {}
    for name in run([program, "--list"]).split():
        if name == "raw_again":
            continue
        command = [program, "--dir", folder, "--only", name, "--packets"]
        none, some = calls([*command, 0], folder), calls([*command, packets], folder)
        more = {call: count - none.get(call, 0) for call, count in some.items()}
        found[name] = {call: count for call, count in more.items() if count > 0}
    return {"packets": packets, "calls": found}


def instructions(command, folder):
    """All that a command takes."""
    out = folder / "callgrind.out"
    run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", *command])
    return int(re.search(r"^(?:totals|summary): (\d+)", out.read_text(), re.M)[1])


def busy_tick(programs, folder):
    """Instructions of one tick of the busy drive: reports, packet, ring, up to the calls."""
    few, many = 500, 2500
    took = []
    for packets in (few, many):
        took.append(instructions([programs / "durable_append", "--dir", folder, "--only", "ring",
                                  "--packets", packets], folder))
    return round((took[1] - took[0]) / (many - few), 1)


def paths(build):
    """Instructions a step of each path that the program vmr_paths goes, by the test that holds
    them; None without it."""
    program = build / "tests" / "counts" / "vmr_paths"
    if not program.exists():
        return None
    # It fails where a limit is passed, which is for the tests to say.
    counted = subprocess.run([sys.executable, str(COUNTS_TEST), str(program)], check=False,
                             stdout=subprocess.PIPE, text=True)
    found = {name: float(count) for count, name in PATH.findall(counted.stdout)}
    if not found:
        raise Failed("vmr_paths: nothing was counted")
    return found


def build_paths(build):
    """The program is made where the sources have it."""
    subprocess.run(["cmake", "--build", str(build), "--target", "vmr_paths"], check=False,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def measure(programs, build, memory, size, say):
    with folder_in(memory) as folder:
        say("system calls of appends")
        result = {"appends": calls_of_appends(programs, folder, size.call_packets)}
        say("instructions")
        result["busy_tick"] = busy_tick(programs, folder)
        result["paths"] = paths(pathlib.Path(build))
    return result
