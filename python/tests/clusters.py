# SPDX-License-Identifier: Apache-2.0
"""Real schedulers and workers on the loopback interface, and the command that uses them."""

import contextlib
import pathlib
import signal
import socket
import subprocess
import sys
import time

PROGRAM = pathlib.Path(__file__).parents[1] / "tavix-corpus"
PYTHON = [sys.executable, "-B", "-m"]


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Cluster:
    """Processes of dask-scheduler and dask-worker; every one can be killed by itself."""

    def __init__(self, folder, preload=None, nanny=False):
        self.folder, self.preload, self.nanny = pathlib.Path(folder), preload, nanny
        self.port = free_port()
        self.address = f"tcp://127.0.0.1:{self.port}"
        self.scheduler, self.workers = None, []

    def start(self, module, *arguments):
        log = open(self.folder / f"{module}-{time.time_ns()}.log", "w")
        return subprocess.Popen(
            [*PYTHON, f"distributed.cli.{module}", *arguments],
            stdout=log, stderr=log, cwd=self.folder,
        )  # fmt: skip

    def start_scheduler(self):
        self.scheduler = self.start(
            "dask_scheduler", "--host", "127.0.0.1", "--port", str(self.port), "--no-dashboard",
            "--dashboard-address", ":0",
        )  # fmt: skip

    def add_worker(self):
        extra = [] if self.preload is None else ["--preload", str(self.preload)]
        self.workers.append(
            self.start(
                "dask_worker", self.address, "--nthreads", "1", "--memory-limit", "1GiB",
                "--no-dashboard", "--nanny" if self.nanny else "--no-nanny", *extra,
                "--local-directory", str(self.folder), "--death-timeout", "60",
            )  # fmt: skip
        )

    def stop(self):
        for process in [*self.workers, self.scheduler]:
            with contextlib.suppress(ProcessLookupError):
                process.send_signal(signal.SIGTERM)
        for process in [*self.workers, self.scheduler]:
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


@contextlib.contextmanager
def cluster(folder, workers, **options):
    made = Cluster(folder, **options)
    made.start_scheduler()
    for _ in range(workers):
        made.add_worker()
    try:
        yield made
    finally:
        made.stop()


def corpus_command(*arguments):
    return [sys.executable, "-P", PROGRAM, "--quiet", *map(str, arguments)]


def run_corpus(*arguments, timeout=300):
    return subprocess.run(
        corpus_command(*arguments), capture_output=True, text=True, timeout=timeout
    )


def start_corpus(*arguments):
    return subprocess.Popen(
        corpus_command(*arguments), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
    )


def wait_for_shards(store, count, process, timeout=120):
    """Until there are so many shards, while the run goes on."""
    end = time.monotonic() + timeout
    while len(list(pathlib.Path(store).glob("shards/*/*"))) < count:
        assert process.poll() is None, process.communicate()
        assert time.monotonic() < end, "no shards"
        time.sleep(0.02)


def contents(store):
    """Every file of a store but the report of the run."""
    root = pathlib.Path(store)
    return {
        str(path.relative_to(root)): path.read_bytes()
        for path in sorted(root.rglob("*"))
        if path.is_file() and path.name != "report.json"
    }
