#!/usr/bin/env python3
"""check_document.py VMR DOCUMENT: runs the commands that a document shows, in a
fresh folder and in their order, and compares what they print with what it shows.

Commands stand in its ```console blocks behind "$ ", and go on behind "> "; the lines
below one are its output, standard error with it. A line "..." stands for any lines,
"..." in a line for any part of it. A command that fails must say so itself
("; echo $?").
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
ANYTHING = "..."


def commands(document):
    """Pairs of a command and the lines of output that it is shown to have."""
    found = []
    for block in re.findall(r"^```console\n(.*?)^```$", document, re.MULTILINE | re.DOTALL):
        for line in block.splitlines():
            if line.startswith("$ "):
                found.append((line[2:], []))
            elif line.startswith("> ") and not found[-1][1]:
                found[-1] = (found[-1][0] + "\n" + line[2:], [])
            else:
                found[-1][1].append(line)
    return found


def line_pattern(line):
    if line == ANYTHING:
        return r"(?:[^\n]*\n)*?"
    return r"[^\n]*".join(re.escape(part) for part in line.split(ANYTHING)) + r"\n"


def matches(shown, printed):
    return re.fullmatch("".join(line_pattern(line) for line in shown), printed) is not None


def make_home(folder, vmr):
    """The examples and the program, where the documents name them."""
    tools = folder / "build" / "release" / "tools"
    tools.mkdir(parents=True)
    (tools / "vmr").symlink_to(pathlib.Path(vmr).resolve())
    (folder / "examples").symlink_to(ROOT / "examples")
    path = str(tools) + os.pathsep + os.environ["PATH"]
    return dict(os.environ, PATH=path, TZ="UTC", LC_ALL="C.UTF-8")


def complaint(command, lines, environment, folder):
    """What is wrong with what the command prints; None: nothing."""
    result = subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=folder,
                            env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    printed = result.stdout.decode(errors="backslashreplace").replace("\r\n", "\n")
    if result.returncode != 0:
        return f"$ {command}\nends with {result.returncode}:\n{printed}"
    if matches(lines, printed):
        return None
    return "\n".join([f"$ {command}", "is shown with:", *lines, "and prints:", printed])


def check(vmr, path):
    shown = commands(pathlib.Path(path).read_text())
    if not shown:
        sys.exit(f"{path} shows no commands")
    with tempfile.TemporaryDirectory() as folder:
        environment = make_home(pathlib.Path(folder), vmr)
        complaints = [complaint(*pair, environment, folder) for pair in shown]
    complaints = [text for text in complaints if text]
    if complaints:
        sys.exit(f"{path}:\n" + "\n".join(complaints))
    print(f"{path}: {len(shown)} commands print what it shows")


if __name__ == "__main__":
    check(sys.argv[1], sys.argv[2])
