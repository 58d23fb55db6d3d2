#!/usr/bin/env python3
"""Checks docs/integrating.md against the example it explains.

check_guide.py code          every block of C++ and CMake stands letter for
                             letter in a file of examples/host/
check_guide.py five-minutes HOME VMR
                             runs the block of commands that copies, builds and
                             starts the example, with HOME as the home folder
                             and VMR as the built program, and looks for what it
                             recorded; leaves HOME/recorder/build/recorder
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
GUIDE = ROOT / "docs" / "integrating.md"
EXAMPLE = ROOT / "examples" / "host"


def blocks(*languages):
    text = GUIDE.read_text()
    found = re.findall(r"^```(\w+)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    return [code for language, code in found if language in languages]


def check_code():
    files = [path.read_text() for path in EXAMPLE.iterdir() if path.is_file()]
    shown = blocks("cpp", "cmake")
    for block in shown:
        if not any(block in text for text in files):
            sys.exit(f"in no file of examples/host/ letter for letter:\n{block}")
    if len(shown) < 5:
        sys.exit(f"only {len(shown)} blocks of code were found to compare")
    print(f"{len(shown)} blocks, each as in its file")


def check_five_minutes(home, vmr):
    shutil.rmtree(home, ignore_errors=True)
    os.makedirs(home)
    copies = [block for block in blocks("sh") if block.startswith("cp -r examples/host")]
    if len(copies) != 1:
        sys.exit("the guide has no one block of commands that copies the example")
    built = '"$OLDPWD"/build/release/tools/vmr'
    if built not in copies[0]:
        sys.exit(f"the block does not name {built}")
    commands = "set -e\n" + copies[0].replace(built, f'"{vmr}"')
    run = subprocess.run(["bash", "-c", commands], cwd=ROOT, env={**os.environ, "HOME": home},
                         stdout=subprocess.PIPE, text=True, errors="replace", check=False)
    print(run.stdout)
    if run.returncode != 0:
        sys.exit(f"the commands ended with {run.returncode}")
    for item in ("[Tag=emergency lights, TagNo=0x34, State=on]", "[Tag=GpsAbs,"):
        if item not in run.stdout:
            sys.exit(f"not recorded: {item}")


if __name__ == "__main__":
    if sys.argv[1:] == ["code"]:
        check_code()
    elif len(sys.argv) == 4 and sys.argv[1] == "five-minutes":
        check_five_minutes(*sys.argv[2:])
    else:
        sys.exit(__doc__)
