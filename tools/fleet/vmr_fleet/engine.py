"""Hands recordings to Dask's workers and takes back what came of them."""
import contextlib
import itertools
import logging
import os
import queue
import shutil
import tempfile
import time
import uuid

# Read when Dask is imported, here and in the workers that are started here. What its log says
# of workers that come and go is told by what came of the recordings.
os.environ.setdefault("DASK_LOGGING__DISTRIBUTED", "critical")
import cloudpickle  # noqa: E402
import dask  # noqa: E402
import distributed  # noqa: E402

from . import exporter  # noqa: E402

LOST_WORKERS = 3  # that one recording may take along before it is given up
SWEEP_S = 30
AHEAD = 4  # recordings that wait at the scheduler for each thread


class Unusable(Exception):
    """What the user has to change, in words."""


class SchedulerGone(Exception):
    """In the middle of a run."""


@contextlib.contextmanager
def local_cluster(workers, interrupts):
    """Processes of this machine that listen at 127.0.0.1 alone, started anew when they die."""
    interrupts.to_undo = True
    folder = tempfile.mkdtemp(prefix="vmr-fleet-")
    try:
        with distributed.LocalCluster(
                n_workers=workers, threads_per_worker=1, processes=True, host="127.0.0.1",
                dashboard_address="127.0.0.1:0", worker_dashboard_address="127.0.0.1:0",
                memory_limit=0,
                silence_logs=50, local_directory=folder) as cluster, \
                distributed.Client(cluster, set_as_default=False) as client:
            yield client
    finally:
        shutil.rmtree(folder, ignore_errors=True)


@contextlib.contextmanager
def remote_cluster(address, wait_s, interrupts):
    """A scheduler that runs elsewhere; its workers stay as they are, less what is ours."""
    if address.startswith("tls://") and not has_certificate():
        raise Unusable(f"{address}: Dask is not told of a certificate; set "
                       "DASK_DISTRIBUTED__COMM__TLS__CA_FILE, ...CLIENT__CERT and ...CLIENT__KEY "
                       "(docs/fleet.md)")
    try:
        client = distributed.Client(address, timeout=wait_s, set_as_default=False)
    except (OSError, ValueError, TypeError, RuntimeError) as error:
        raise Unusable(f"{address}: no scheduler answers there within {wait_s:g} s "
                       f"({type(error).__name__}: {error}); is the address right, and may this "
                       "machine reach it?") from error
    with client:
        try:
            client.wait_for_workers(1, timeout=wait_s)
        except (TimeoutError, distributed.TimeoutError) as error:
            raise Unusable(f"{address}: the scheduler has no workers within {wait_s:g} s; start "
                           "some, with `dask-worker`") from error
        interrupts.to_undo = True
        yield client


def has_certificate():
    try:
        arguments = distributed.Security().get_connection_args("client")
    except OSError as error:
        raise Unusable(f"the certificate that Dask is told of cannot be used: {error}") from error
    return arguments.get("ssl_context") is not None


class Run:
    """One conversion.

    Owns     the plugin in the workers, from `with` to its end
    Threads  for one; results come in the thread that calls convert()
    """

    def __init__(self, client, vmr, lake, digest, timeout_s):
        self.client, self.vmr, self.lake = client, vmr, lake
        self.name = f"vmr-fleet-{uuid.uuid4().hex}"
        cloudpickle.register_pickle_by_value(exporter)
        self.plugin = exporter.ExporterPlugin(self.name, vmr, lake, digest, timeout_s)

    def __enter__(self):
        self.client.register_worker_plugin(self.plugin, name=self.name)
        return self

    def __exit__(self, *_):
        # What a vmr that was killed has left in the lake goes when another begins.
        with contextlib.suppress(Exception):
            if self.lost():
                self.client.submit(exporter.sweep, self.name,
                                   key=f"{self.name}-sweep").result(timeout=SWEEP_S)
        # Its scheduler may be gone; then its workers have ended their children by now, or will.
        with contextlib.suppress(Exception):
            self.client.unregister_worker_plugin(self.name)

    def lost(self):
        """Whether there is something in the lake's scratch folder: of processes that were
        killed, or that are at work."""
        return bool(os.listdir(os.path.join(self.lake, "_vmr", "tmp")))

    def threads(self):
        return max(1, sum(self.client.nthreads().values()))

    def check_workers(self, sample):
        """Raises Unusable when a worker cannot work; `sample` is one of the recordings."""
        token = os.path.join("_vmr", self.name)
        path = os.path.join(self.lake, token)
        with open(path, "xb"):
            pass
        try:
            found = self.client.run(exporter.look, self.vmr, self.lake, token, os.fsencode(sample))
        finally:
            os.unlink(path)
        wrong = {worker: why for worker, why in found.items() if why}
        if wrong:
            worker, why = sorted(wrong.items())[0]
            more = f" (and {len(wrong) - 1} more of {len(found)} workers)" if len(wrong) > 1 else ""
            raise Unusable(f"worker {worker}{more}: {why}")

    def convert(self, paths, interrupted):
        """Yields (path, what came of it) as they come, until all have, or `interrupted` is
        set. Raises SchedulerGone."""
        results, waiting, left = queue.SimpleQueue(), {}, iter(paths)
        numbers = itertools.count()
        room = AHEAD * self.threads() + 8

        def submit_more():
            while len(waiting) < room:
                path = next(left, None)
                if path is None:
                    return
                future = self.client.submit(exporter.convert, self.name, os.fsencode(path),
                                            key=f"{self.name}-{next(numbers)}")
                waiting[future.key] = (path, future)
                future.add_done_callback(results.put)

        submit_more()
        while waiting and not interrupted.is_set():
            try:
                future = results.get(timeout=0.2)
            except queue.Empty:
                continue
            path, _ = waiting.pop(future.key)
            if future.cancelled() or self.client.status != "running":
                raise SchedulerGone
            yield path, came_of(future)
            submit_more()
        if waiting:
            self.client.cancel([future for _, future in waiting.values()])


def came_of(future):
    try:
        return future.result(timeout=60)
    except distributed.KilledWorker:
        return {"failed": f"{LOST_WORKERS} workers were lost that had this recording"}
    # Whatever happened to this one, the others go on.
    except Exception as error:
        return {"failed": f"{type(error).__name__}: {error}"}


def configure():
    logging.getLogger("distributed.client").setLevel(logging.CRITICAL)
    dask.config.set({
        "distributed.scheduler.allowed-failures": LOST_WORKERS - 1,
        # A worker that is gone is noticed by its connection; this is for machines that vanish.
        "distributed.comm.timeouts.connect": "10s",
    })


def stopwatch():
    started = time.monotonic()
    return lambda: time.monotonic() - started
