# SPDX-License-Identifier: Apache-2.0
"""tavix-corpus: videos into an array store, on this machine or on a cluster."""

from __future__ import annotations

import argparse
import contextlib
import importlib.util
import logging
import os
import signal
import sys
import time
from collections.abc import Callable, Iterator

import dask
from distributed import Client, LocalCluster

from tavix.corpus.index import write_index
from tavix.corpus.plan import find_videos
from tavix.corpus.report import Fate, fates_of, to_json, to_text
from tavix.corpus.run import FullDisk, Run, SchedulerLost
from tavix.corpus.settings import Settings
from tavix.corpus.store import BusyStore, OtherSettings, Store

EXIT_DONE, EXIT_FAILED, EXIT_USAGE, EXIT_FULL, EXIT_LOST, EXIT_INTERRUPTED = 0, 1, 2, 3, 4, 130


def seconds(text: str) -> float:
    value = float(text.removesuffix("s"))
    if not value > 0:
        raise ValueError(text)
    return value


def three_numbers(text: str) -> tuple[float, float, float]:
    values = [float(part) for part in text.split(",")]
    if len(values) == 1:
        values *= 3
    if len(values) != 3:
        raise ValueError(text)
    return values[0], values[1], values[2]


def positive(text: str) -> int:
    value = int(text)
    if value < 1:
        raise ValueError(text)
    return value


# fmt: off
OPTIONS: list[tuple[str, Callable[[str], object], object, str, str]] = [
    ("--size", positive, 224, "N", "side of the pictures in pixels (default: 224)"),
    ("--every", seconds, 0.5, "SECONDS", "time between two samples (default: 0.5s)"),
    ("--mean", three_numbers, (0.0, 0.0, 0.0), "R,G,B",
     "means of the channels, in the range 0 to 255 (default: 0)"),
    ("--scale", three_numbers, (1.0, 1.0, 1.0), "R,G,B",
     "factors of the channels, after the means are subtracted (default: 1)"),
    ("--chunk", positive, 64, "N",
     "pictures in a chunk, which a worker holds in memory (default: 64)"),
    ("--scheduler", str, None, "ADDRESS",
     "a Dask scheduler, such as tcp://host:8786 (default: start a cluster on this machine)"),
    ("--workers", positive, len(os.sched_getaffinity(0)), "N",
     "processes of the cluster on this machine (default: one for each processor)"),
    ("--reconnect", seconds, 60.0, "SECONDS",
     "how long to wait for a scheduler that went away (default: 60s)"),
]
# fmt: on


def parser() -> argparse.ArgumentParser:
    made = argparse.ArgumentParser(
        prog="tavix-corpus",
        description="Samples videos at equal times, cuts the square in the middle, resizes,"
        " normalises and packs it, and writes an array store with an index. A second run does"
        " what is missing.",
        epilog="Exit status: 0 all done, 1 some videos failed or are damaged, 2 wrong usage,"
        " 3 disk full, 4 scheduler lost, 130 interrupted.",
    )
    made.add_argument(
        "videos", nargs="+", metavar="VIDEO_OR_FOLDER", help="videos, and folders that hold videos"
    )
    made.add_argument(
        "--output", required=True, metavar="STORE", help="the store; created if it does not exist"
    )
    for name, kind, default, metavar, meaning in OPTIONS:
        made.add_argument(name, type=kind, default=default, metavar=metavar, help=meaning)
    made.add_argument(
        "--dtype", choices=("float32", "uint8"), default="float32",
        help="type of the elements (default: float32)",
    )  # fmt: skip
    made.add_argument(
        "--quiet", action="store_true",
        help="print neither a progress bar nor the address of the dashboard",
    )  # fmt: skip
    return made


class ProgressBar:
    """One line on a terminal, rewritten at most ten times a second."""

    def __init__(self, quiet: bool) -> None:
        self.shown = not quiet and sys.stderr.isatty()
        self.last = 0.0

    def __call__(self, run: Run) -> None:
        now = time.monotonic()
        if not self.shown or now - self.last < 0.1:
            return
        self.last = now
        done, total = run.segments_done + run.segments_failed, max(1, run.segments)
        bar = "#" * (30 * done // total)
        failed = f", {len(run.errors)} videos failed" if run.errors else ""
        print(f"\r[{bar:<30}] {done}/{run.segments} segments{failed} ", end="", file=sys.stderr)

    def clear(self) -> None:
        if self.shown:
            print("\r\x1b[K", end="", file=sys.stderr)


@contextlib.contextmanager
def connected(options: argparse.Namespace) -> Iterator[Client]:
    """A client of the scheduler asked for, or of a cluster on this machine."""
    if options.scheduler is not None:
        with Client(options.scheduler, timeout=options.reconnect) as client:
            yield client
    else:
        with LocalCluster(
            n_workers=options.workers,
            threads_per_worker=1,
            dashboard_address=":0",
            silence_logs=logging.CRITICAL,
        ) as cluster, Client(cluster) as client:
            yield client


def run_until_done(run: Run, options: argparse.Namespace) -> None:
    """Connects anew while a scheduler comes back in time."""
    deadline = None
    while True:
        try:
            with connected(options) as client:
                client.wait_for_workers(1, timeout=options.reconnect)
                if not options.quiet and importlib.util.find_spec("bokeh") is not None:
                    print(f"dashboard: {client.dashboard_link}", file=sys.stderr)
                return run.with_client(client)
        except (SchedulerLost, OSError, TimeoutError) as error:
            now = time.monotonic()
            deadline = deadline or now + options.reconnect
            if options.scheduler is None or now > deadline:
                raise SchedulerLost(str(error)) from None
            time.sleep(0.5)


def interrupted(number: int, frame: object) -> None:
    raise KeyboardInterrupt


def main(arguments: list[str] | None = None) -> int:
    options = parser().parse_args(arguments)
    if options.dtype == "uint8" and (any(options.mean) or set(options.scale) != {1.0}):
        parser().error("--mean and --scale are for float32")
    settings = Settings(
        options.size, options.every, options.mean, options.scale, options.dtype, options.chunk
    )
    store = Store(options.output)
    try:
        videos = find_videos(options.videos)
        store.create(settings)
    except (FileNotFoundError, ValueError, OtherSettings) as error:
        parser().error(str(error))
    signal.signal(signal.SIGTERM, interrupted)
    logging.getLogger("distributed").setLevel(logging.CRITICAL)
    # A task that runs again finds what it needs in the store; a video that ends its worker is not
    # given to many.
    dask.config.set({"distributed.scheduler.allowed-failures": 2})
    try:
        with store.locked():
            return finish(store, settings, videos, options)
    except BusyStore as error:
        parser().error(str(error))


def finish(
    store: Store, settings: Settings, videos: list[tuple[str, str]], options: argparse.Namespace
) -> int:
    """The run, its index and its report, whatever stops it."""
    bar = ProgressBar(options.quiet)
    run = Run(store, settings, videos, bar)
    status = EXIT_DONE
    try:
        store.remove_unfinished()
        run_until_done(run, options)
    except KeyboardInterrupt:
        status = EXIT_INTERRUPTED
        message = "interrupted"
    except FullDisk as error:
        status, message = EXIT_FULL, f"the disk is full: {error}"
    except SchedulerLost as error:
        status, message = EXIT_LOST, f"the scheduler is lost: {error}"
    bar.clear()
    fates = fates_of(store, [name for name, _ in videos], run.plans, run.errors)
    if status != EXIT_DONE:
        print(f"tavix-corpus: {message}", file=sys.stderr)
    elif any(fate.state != "done" for fate in fates):
        status = EXIT_FAILED
    print(to_text(fates))
    return publish(store, fates) or status


def publish(store: Store, fates: list[Fate]) -> int:
    """Index and report; a full disk keeps those of the last run."""
    try:
        store.remove_unfinished()
        write_index(store)
        store.write("report.json", to_json(fates))
    except OSError as error:
        print(f"tavix-corpus: no index: {error}", file=sys.stderr)
        return EXIT_FULL
    return 0


if __name__ == "__main__":
    sys.exit(main())
