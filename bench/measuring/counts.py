"""What no neighbour disturbs: system calls by strace, instructions by callgrind."""
import pathlib
import re
import subprocess

from .system import Failed, folder_in, run

LINE = re.compile(r"^\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", re.M)


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
    """In all, and those of each stretch between calls of vmr_count_here."""
    for old in folder.glob("callgrind.*"):
        old.unlink()
    output = run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/callgrind.out",
                  "--dump-before=vmr_count_here*", *command])
    parts = {}
    for path in folder.glob("callgrind.out*"):
        totals = re.search(r"^(?:totals|summary): (\d+)", path.read_text(), re.M)
        number = path.suffix[1:]
        if totals and number.isdigit():
            parts[int(number)] = int(totals[1])
        elif totals:
            parts[0] = int(totals[1])
    return output, parts


def busy_tick(programs, folder):
    """Instructions of one tick of the busy drive: reports, packet, ring, up to the calls."""
    few, many = 500, 2500
    took = []
    for packets in (few, many):
        _, parts = instructions([programs / "durable_append", "--dir", folder, "--only", "ring",
                                 "--packets", packets], folder)
        took.append(sum(parts.values()))
    return round((took[1] - took[0]) / (many - few), 1)


def paths(build, folder):
    """Instructions a step of each path that the program vmr_paths goes; None without it.
    It goes on for so many steps, then for twice as many, and calls vmr_count_here before,
    between and behind."""
    program = build / "tests" / "counts" / "vmr_paths"
    if not program.exists():
        return None
    output, parts = instructions([program], folder)
    found = {}
    for number, line in enumerate(output.splitlines()):
        steps, name = line.split(" ", 1)
        once, twice = (parts.get(3 * number + n) for n in (2, 3))
        if once is None or twice is None:
            raise Failed(f"vmr_paths: {name}: callgrind did not see where the counting begins")
        found[name] = round((twice - once) / int(steps), 1)
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
        result["paths"] = paths(pathlib.Path(build), folder)
    return result
