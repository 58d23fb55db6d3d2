#!/usr/bin/env python3
"""passphrase_test.py VMR: a passphrase is typed at a terminal, which does not show it."""
import os
import pty
import select
import sys
import tempfile
import time

VMR = os.path.abspath(sys.argv[1])
PATIENCE_S = 60


def talk(arguments, *answers):
    """Types each answer at the next prompt. The exit code, and all that the terminal showed."""
    process, terminal = pty.fork()
    if process == 0:
        os.execv(VMR, ["vmr", *arguments])
    shown, answers, end = b"", list(answers), time.monotonic() + PATIENCE_S
    prompts = 0
    while time.monotonic() < end:
        if not select.select([terminal], [], [], 1)[0]:
            continue
        try:
            piece = os.read(terminal, 4096)
        except OSError:  # the other side is closed
            break
        shown += piece
        if answers and shown.count(b": ") > prompts:
            prompts = shown.count(b": ")
            os.write(terminal, answers.pop(0))
    else:
        os.kill(process, 9)
    return os.waitstatus_to_exitcode(os.waitpid(process, 0)[1]), shown.decode()


def expect(name, found, code, words):
    if found[0] != code or words not in found[1] or "sesame" in found[1].lower():
        sys.exit(f"{name}: ended with {found[0]} and showed {found[1]!r}")


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        new = ("key", "new", "jane", "--passphrase")
        expect("two of them", talk(new, b"sesame\n", b"Sesame\n"), 1, "are not the same")
        expect("an empty one", talk(new, b"\n"), 1, "an empty passphrase protects nothing")
        expect("given up", talk(new, b"sesame\x03"), 1, "no passphrase was typed")
        if os.listdir("."):
            sys.exit(f"a key that was not made left {os.listdir('.')}")
        expect("twice the same", talk(new, b"sesame\n", b"sesame\n"), 0, "fingerprint: ")
        show = ("key", "show", "jane")
        expect("the right one", talk(show, b"sesame\n"), 0, "BEGIN PUBLIC KEY")
        expect("a wrong one", talk(show, b"open sesame\n"), 1, "cannot be opened by this passphrase")
        os.chdir("/")
    print("typed six times, and shown never")


if __name__ == "__main__":
    main()
