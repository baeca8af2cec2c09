# SPDX-License-Identifier: Apache-2.0
"""What a corpus takes on more machines than one has: a table, from a simulation on a fake clock.

    python3 -m tavix.corpus.simulate [--decoded 267] [--sampled 0.0045] [--hours 10000] ...

Workers ask one scheduler for segments, which it hands out one after the other; workers decode, and
write to a store whose bandwidth they share. Network and disks of the videos are not simulated.
"""

from __future__ import annotations

import argparse
import dataclasses
import heapq
import random


@dataclasses.dataclass(frozen=True)
class Site:
    """decoded: pictures a core decodes in a second. sampled: seconds a sample costs besides.
    every, rate: seconds between samples and pictures in a second of video. chunk: samples in a
    segment. bytes: of a sample. dispatch: seconds of the scheduler for a task. store: bytes the
    store takes in a second."""

    decoded: float = 267
    sampled: float = 0.0045
    every: float = 0.5
    rate: float = 25
    chunk: int = 64
    bytes: float = 602_485
    dispatch: float = 0.0005
    store: float = 2e9

    @property
    def segment_seconds(self) -> float:
        """Time of a core for a whole segment."""
        return self.chunk * (self.every * self.rate / self.decoded + self.sampled)

    @property
    def segment_bytes(self) -> float:
        return self.chunk * self.bytes


@dataclasses.dataclass(frozen=True)
class Outcome:
    seconds: float
    tasks_per_second: float
    bytes_per_second: float
    efficiency: float  # of the workers: time in segments of all their time


def simulate(site: Site, workers: int, segments: int, seed: int = 1) -> Outcome:
    """Segments differ by half of their time, evenly. The clock is that of events alone: a worker
    asks, or it writes. Both the scheduler and the store serve one after the other."""
    generator = random.Random(seed)
    events = [(0.0, worker, True) for worker in range(workers)]  # time, worker, whether it asks
    scheduler = store = busy = 0.0
    left = segments
    while events:
        now, worker, asks = heapq.heappop(events)
        if not asks:
            store = max(store, now) + site.segment_bytes / site.store
            heapq.heappush(events, (store, worker, True))
        elif left > 0:
            left -= 1
            scheduler = max(scheduler, now) + site.dispatch
            work = site.segment_seconds * generator.uniform(0.75, 1.25)
            busy += work
            heapq.heappush(events, (scheduler + work, worker, False))
    return Outcome(
        store, segments / store, segments * site.segment_bytes / store, busy / (store * workers)
    )


def with_fewer_tasks(site: Site, workers: int, most: float = 1000) -> Site:
    """Segments long enough that all workers together ask less than so often in a second."""
    while workers / site.segment_seconds >= most:
        site = dataclasses.replace(site, chunk=2 * site.chunk)
    return site


def table(site: Site, cores: int, hours: float, machines: tuple[int, ...]) -> str:
    lines = [
        "| machines | cores | samples in a segment | MB for a worker | hours | tasks per second"
        " | store, MB/s | busy |",
        "|---|---|---|---|---|---|---|---|",
    ]
    for count in machines:
        workers = count * cores
        sized = with_fewer_tasks(site, workers)
        segments = max(1, round(hours * 3600 / (sized.every * sized.chunk)))
        made = simulate(sized, workers, segments)
        lines.append(
            f"| {count} | {workers} | {sized.chunk} | {sized.segment_bytes / 1e6:.0f}"
            f" | {made.seconds / 3600:.2f} | {made.tasks_per_second:.0f}"
            f" | {made.bytes_per_second / 1e6:.0f} | {100 * made.efficiency:.0f} % |"
        )
    return "\n".join(lines)


def main(arguments: list[str] | None = None) -> None:
    parser = argparse.ArgumentParser(prog="tavix.corpus.simulate", description=__doc__)
    for field in dataclasses.fields(Site):
        parser.add_argument(f"--{field.name}", type=float, default=field.default)
    parser.add_argument("--cores", type=int, default=16)
    parser.add_argument("--hours", type=float, default=2_000)
    options = vars(parser.parse_args(arguments))
    cores, hours = options.pop("cores"), options.pop("hours")
    options["chunk"] = int(options["chunk"])
    print(table(Site(**options), cores, hours, (1, 10, 100, 1000)))


if __name__ == "__main__":
    main()
