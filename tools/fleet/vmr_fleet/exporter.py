"""What runs in the workers: keeps `vmr export` alive there and hands it one recording after
the other. Sent to the workers by value, so that they need no more than Dask and `vmr`;
imports nothing of the other parts.
"""
import collections
import json
import os
import selectors
import shutil
import signal
import subprocess
import threading
import time

from distributed import get_worker
from distributed.diagnostics.plugin import WorkerPlugin

IDLE_S = 60  # after which a child with nothing to do is ended: nobody may be left to do it
GRACE_S = 10  # for what a child has begun when it is asked to end


class ChildFailed(Exception):
    """`vmr export` ended, did not answer in time, or could not convert; why, in words."""


def answer_of(line, path):
    """The line of JSON about the recording at `path`, parsed."""
    try:
        said = json.loads(line)
        status, code = said["status"], said["exit"]
    except (ValueError, KeyError, TypeError) as error:
        raise ChildFailed(f"vmr export answered {line[:200]!r}") from error
    # What cannot be read stays so. Else exit 1 is about the lake or the writer: a full disk,
    # a process that was killed.
    if status == "failed" or code == 1 and status not in ("missing", "unreadable"):
        why = (said.get("findings") or "").removeprefix(f"{os.fsdecode(path)}: ")
        raise ChildFailed(why or f"vmr export answered {line[:200]!r}")
    return said


class Child:
    """One `vmr export --paths-from -`, and whatever it starts, in a session of its own: a
    signal from the terminal is not meant for it. It ends when its input does, so that it
    outlives a worker that is killed by no more than the recording it has begun.

    Threads  one at a time.
    """

    def __init__(self, command):
        self.process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            start_new_session=True, bufsize=0)
        self.held = b""
        self.said = collections.deque(maxlen=20)
        self.listener = threading.Thread(target=self._listen, daemon=True)
        self.listener.start()

    def _listen(self):
        for line in self.process.stderr:
            self.said.append(line.decode("utf-8", "replace").rstrip("\n"))

    def ask(self, path, timeout_s):
        """The line of JSON about the recording at `path`, parsed."""
        try:
            self.process.stdin.write(path + b"\n")
        except OSError as error:
            raise ChildFailed(self._why_ended()) from error
        return answer_of(self._line(time.monotonic() + timeout_s, timeout_s), path)

    def _line(self, deadline, timeout_s):
        with selectors.DefaultSelector() as selector:
            selector.register(self.process.stdout, selectors.EVENT_READ)
            while b"\n" not in self.held:
                left = deadline - time.monotonic()
                if left <= 0 or not selector.select(left):
                    raise ChildFailed(f"vmr export did not answer for {timeout_s:g} s")
                more = os.read(self.process.stdout.fileno(), 1 << 16)
                if not more:
                    raise ChildFailed(self._why_ended())
                self.held += more
        line, _, self.held = self.held.partition(b"\n")
        return line

    def _why_ended(self):
        try:
            code = self.process.wait(GRACE_S)
        except subprocess.TimeoutExpired:
            return "vmr export closed its output"
        self.listener.join(1)
        why = (f"vmr export was killed by signal {-code}" if code < 0
               else f"vmr export ended with exit code {code}")
        return f"{why}: {self.said[-1]}" if self.said else why

    def end(self):
        """Lets it end what it has begun; kills what is left."""
        try:
            self.process.stdin.close()
            self.process.wait(GRACE_S)
        except (OSError, subprocess.TimeoutExpired):
            pass
        self.kill()

    def kill(self):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        # Whatever has these open is gone now, or no business of ours.
        for pipe in (self.process.stdin, self.process.stdout):
            try:
                pipe.close()
            except OSError:
                pass


class Exporter:
    """The children of one worker process: one for each of its threads that is at work.

    Threads  any number.
    """

    def __init__(self, vmr, lake, digest, timeout_s):
        self.command = [vmr, "export", "--layout", "lake", "--root", lake]
        if digest:
            self.command.append("--digest")
        self.timeout_s = timeout_s
        self.lock, self.idle, self.reaper, self.closed = threading.Lock(), [], None, False

    def convert(self, path):
        """What `vmr` says of the recording, with "wall_ms"; else "failed" says why not. A
        recording whose child dies, or cannot convert it, is tried once more, in a new one."""
        started = time.monotonic()
        why = ""
        for _ in range(2):
            try:
                said = self._ask(path)
                break
            except (ChildFailed, OSError) as error:
                why = str(error)
        else:
            said = {"failed": why}
        said["wall_ms"] = (time.monotonic() - started) * 1000
        return said

    def _ask(self, path):
        if b"\n" in path:
            return self._ask_alone(path)
        child = self._take()
        try:
            said = child.ask(path, self.timeout_s)
        except BaseException:
            child.kill()
            raise
        self._give_back(child)
        return said

    def _ask_alone(self, path):
        """A name that is no line goes as an argument."""
        process = subprocess.Popen(self.command + [path], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   start_new_session=True)
        try:
            out, err = process.communicate(timeout=self.timeout_s)
        except subprocess.TimeoutExpired as error:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            raise ChildFailed(f"vmr export did not answer for {self.timeout_s:g} s") from error
        if not out.endswith(b"\n"):
            said = err.decode("utf-8", "replace").strip().splitlines()
            raise ChildFailed(f"vmr export ended with exit code {process.returncode}"
                              + (f": {said[-1]}" if said else ""))
        return answer_of(out, path)

    def _take(self):
        with self.lock:
            if self.idle:
                return self.idle.pop()
        return Child(self.command + ["--paths-from", "-"])

    def _give_back(self, child):
        with self.lock:
            if not self.closed:
                self.idle.append(child)
                self._reap_later()
                return
        child.end()

    def _reap_later(self):
        if self.reaper is not None:
            self.reaper.cancel()
        self.reaper = threading.Timer(IDLE_S, self._reap)
        self.reaper.daemon = True
        self.reaper.start()

    def _reap(self):
        with self.lock:
            children, self.idle = self.idle, []
        for child in children:
            child.end()

    def close(self):
        with self.lock:
            self.closed = True
            if self.reaper is not None:
                self.reaper.cancel()
        self._reap()


class ExporterPlugin(WorkerPlugin):
    """Gives each worker its Exporter, those that come later, too."""

    def __init__(self, name, *arguments):
        self.name, self.arguments, self.exporter = name, arguments, None

    def setup(self, worker):
        self.exporter = Exporter(*self.arguments)

    def teardown(self, worker):
        self.exporter.close()


def convert(name, path):
    """The task of one recording."""
    worker = get_worker()
    said = worker.plugins[name].exporter.convert(path)
    said["worker"] = worker.address
    return said


def sweep(name):
    """Lets a vmr begin and end, which removes what killed ones have left in the lake."""
    command = get_worker().plugins[name].exporter.command
    subprocess.run(command + ["--paths-from", "-"], stdin=subprocess.DEVNULL,
                   capture_output=True, timeout=GRACE_S, check=False)


def look(vmr, lake, token, sample):
    """What keeps this worker from working: a text, or nothing."""
    if shutil.which(vmr) is None:
        return f"there is no program {vmr}; name it as it is there with --vmr"
    try:
        done = subprocess.run([vmr, "export", "--help"], stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=60, check=False)
    except (OSError, subprocess.TimeoutExpired) as error:
        return f"{vmr}: {error}"
    if b"--layout" not in done.stdout:
        return f"{vmr} is not a vmr that knows export --layout lake"
    if not os.path.exists(os.path.join(lake, token)):
        return f"does not see the folder {lake} that is seen here; it must be one they share"
    if not os.access(lake, os.W_OK | os.X_OK):
        return f"may not write into {lake}"
    if not any(os.path.lexists(sample + ending) for ending in (b"", b"_1.mtd", b"_2.mtd")):
        return (f"does not see {os.fsdecode(sample)!r} that is seen here; recordings must lie "
                "where all see them under the same name")
    return None
