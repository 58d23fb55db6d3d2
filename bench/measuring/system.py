"""Commands, what they took, folders to work in, and the machine."""
import contextlib
import json
import os
import pathlib
import platform
import shutil
import subprocess
import tempfile


class Failed(Exception):
    """Something that the user is told in one line."""


def run(command, **options):
    """Its standard output; a command that fails ends everything."""
    options.setdefault("stdout", subprocess.PIPE)
    options.setdefault("stderr", subprocess.PIPE)
    command = [str(word) for word in command]
    try:
        done = subprocess.run(command, text=True, check=False, **options)
    except OSError as error:
        raise Failed(f"{command[0]}: {error.strerror}") from error
    if done.returncode != 0:
        said = (done.stderr or done.stdout or "").strip().splitlines()
        raise Failed(f"{' '.join(command)}: exit code {done.returncode}"
                     + (f": {said[-1]}" if said else ""))
    return done.stdout


class Launcher:
    """Runs commands by the small program run_measured, which says what they took."""

    def __init__(self, program, folder):
        self.program, self.out = program, pathlib.Path(folder) / "taken.json"

    def take(self, command, codes=(0,), stdout=subprocess.DEVNULL):
        self.out.unlink(missing_ok=True)
        done = subprocess.run([str(self.program), str(self.out), *map(str, command)],
                              stdout=stdout, stderr=subprocess.PIPE, text=True, check=False,
                              stdin=subprocess.DEVNULL)
        if done.returncode not in codes:
            raise Failed(f"{' '.join(map(str, command))}: exit code {done.returncode}: "
                         + done.stderr.strip()[-300:])
        taken = json.loads(self.out.read_text(encoding="ascii"))
        taken["processor_s"] = taken["user_s"] + taken["system_s"]
        return taken


@contextlib.contextmanager
def folder_in(place):
    try:
        path = tempfile.mkdtemp(prefix="vmr-bench-", dir=place)
    except OSError as error:
        raise Failed(f"{place}: {error.strerror}") from error
    try:
        yield pathlib.Path(path)
    finally:
        shutil.rmtree(path, ignore_errors=True)


MEMORY = pathlib.Path("/dev/shm")
LOOP_BYTES = 3 << 30
ROOM_IN_MEMORY = 4 << 30


def free_bytes(folder):
    return shutil.disk_usage(folder).free


def why_no_loop():
    """What is lacking for a file system on a loop device over memory; None: nothing."""
    if os.geteuid() != 0:
        return "not root"
    if not MEMORY.is_dir() or free_bytes(MEMORY) < ROOM_IN_MEMORY:
        return f"less than {ROOM_IN_MEMORY >> 30} GiB of room in {MEMORY}"
    for program in ("losetup", "mkfs.ext4", "mount", "umount"):
        if shutil.which(program) is None:
            return f"no program {program}"
    return None


@contextlib.contextmanager
def loop_disk():
    """A journaled ext4 on a loop device over a file in memory: its folder, and the file
    with the counters of its device. Raises Failed where that is not permitted."""
    with contextlib.ExitStack() as undo:
        folder = undo.enter_context(folder_in(MEMORY))
        image, mounted = folder / "image", folder / "mounted"
        mounted.mkdir()
        with open(image, "wb") as file:
            file.truncate(LOOP_BYTES)
        device = run(["losetup", "--find", "--show", image]).strip()
        undo.callback(subprocess.run, ["losetup", "--detach", device], check=False)
        run(["mkfs.ext4", "-q", "-F", "-E", "lazy_itable_init=0,lazy_journal_init=0", device])
        run(["mount", device, mounted])
        undo.callback(subprocess.run, ["umount", mounted], check=False)
        yield mounted, pathlib.Path("/sys/block") / pathlib.Path(device).name / "stat"


def file_system_of(folder):
    return run(["findmnt", "--noheadings", "--output", "FSTYPE", "--target", folder]).strip()


def machine(folder):
    """In general words: nothing that tells which machine it is."""
    kernel = ".".join(platform.release().split("-")[0].split(".")[:2])
    pages = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
    busy = os.getloadavg()[0]
    return {"cores": os.cpu_count(), "machine": platform.machine(), "kernel": kernel,
            "memory_gib": round(pages / (1 << 30)), "file_system": file_system_of(folder),
            "load_at_start": round(busy, 1)}
