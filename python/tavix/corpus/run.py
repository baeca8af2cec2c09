# SPDX-License-Identifier: Apache-2.0
"""Plans and segments as tasks of a cluster.

All progress is in the store: a run asks what is missing, and so does the same run after it lost its
scheduler. Tasks are handed out a few for each thread at a time, so that neither the scheduler nor
the memory grows with the number of videos.
"""

from __future__ import annotations

import errno
import time
from collections.abc import Callable, Iterator
from concurrent.futures import CancelledError
from typing import Any

from distributed import Client, Future, KilledWorker, as_completed
from distributed.comm.core import CommClosedError

from tavix.corpus.plan import BadVideo, Plan, Segment, plan_video, video_key
from tavix.corpus.settings import Settings
from tavix.corpus.store import Store

TASKS_PER_THREAD = 4
_Key = tuple[str, int | None]  # a video, and the number of its segment or None for its plan
_Task = tuple[_Key, Future | None]  # nothing to do where there is no future
_SCHEDULER_LOST = (CancelledError, CommClosedError, OSError, TimeoutError)


class FullDisk(Exception):
    """There is no room for the store."""


class SchedulerLost(Exception):
    """The scheduler went away; what is missing is still known from the store."""


class SegmentFailed(Exception):
    """What went wrong in a worker, as text: not every exception can be sent."""


def _write_segment(store: str, plan: Plan, segment: Segment, settings: Settings) -> None:
    # Workers import the decoder when they get their first task.
    from tavix.corpus.segment import write_segment

    failure: Exception | None = None
    try:
        write_segment(store, plan, segment, settings)
    except Exception as error:
        if isinstance(error, OSError) and error.errno == errno.ENOSPC:
            failure = OSError(error.errno, str(error))
        else:
            failure = SegmentFailed(f"{type(error).__name__}: {error}")
    if failure is not None:
        raise failure


class Run:
    """One run over some videos; plans and errors say what became of them."""

    def __init__(
        self,
        store: Store,
        settings: Settings,
        videos: list[tuple[str, str]],
        progress: Callable[[Run], None] = lambda run: None,
    ) -> None:
        self.store, self.settings, self.videos = store, settings, videos
        self.progress = progress
        self.plans: dict[str, Plan] = {}
        self.errors: dict[str, str] = {}
        self.versions = store.versions()
        # A worker that dies takes the tasks along that waited for it. So those that lost too many
        # workers run once more, each alone: then it is clear which one ends them.
        self.suspects: set[_Key] = set()
        self.alone = False
        self.segments_done = self.segments_failed = 0

    @property
    def segments(self) -> int:
        return sum(len(plan.segments) for plan in self.plans.values())

    def with_client(self, client: Client) -> None:
        """Does all that is missing. Raises SchedulerLost or FullDisk."""
        threads = max(1, sum(client.nthreads().values()))
        try:
            for tasks in (self._plan_tasks, self._segment_tasks):
                self._complete(client, tasks, TASKS_PER_THREAD * threads)
                while self.suspects:
                    self._complete(client, tasks, 1)
                    self.suspects.clear()
                    self._complete(client, tasks, TASKS_PER_THREAD * threads)
        except _SCHEDULER_LOST as error:
            if isinstance(error, OSError) and error.errno == errno.ENOSPC:
                raise FullDisk(str(error)) from None
            raise SchedulerLost(str(error)) from None

    def _plan_tasks(self, client: Client) -> Iterator[_Task]:
        for name, path in self.videos:
            if name in self.plans or name in self.errors or self._held_back((name, None)):
                continue
            known = self.store.plan(video_key(name, path))
            if known is not None:
                self._keep_plan(known)
                yield (name, None), None
            else:
                yield (name, None), client.submit(
                    plan_video, name, path, self.settings, key=f"plan-{name}-{time.time_ns()}",
                    pure=False,
                )  # fmt: skip

    def _segment_tasks(self, client: Client) -> Iterator[_Task]:
        for name, plan in sorted(self.plans.items()):
            for segment in plan.segments:
                key = name, segment.number
                if self.store.has_shard(plan, segment):
                    self.segments_done += 1
                    yield key, None
                elif name in self.errors:
                    self.segments_failed += 1
                    yield key, None
                elif not self._held_back(key):
                    yield key, client.submit(
                        _write_segment, str(self.store.path), plan, segment, self.settings,
                        key=f"segment-{name}-{segment.number}-{time.time_ns()}", pure=False,
                    )  # fmt: skip

    def _held_back(self, key: _Key) -> bool:
        """Whether a task waits until the suspects have run, or is none while they do."""
        if self.alone:
            return key not in self.suspects
        return any(name == key[0] for name, _ in self.suspects)

    def _keep_plan(self, plan: Plan) -> None:
        # Of an earlier file of the same name.
        for key in self.versions.pop(plan.name, set()) - {plan.key}:
            self.store.remove_version(key)
        if self.store.plan(plan.key) is None:
            self.store.write(f"videos/{plan.key}.json", plan.to_json())
        self.plans[plan.name] = plan

    def _complete(
        self, client: Client, make_tasks: Callable[[Client], Iterator[_Task]], most: int
    ) -> None:
        """Keeps at most so many tasks with the scheduler until all are done."""
        self.segments_done = self.segments_failed = 0
        self.alone = most == 1
        tasks = make_tasks(client)
        running: dict[Future, _Key] = {}
        completed = as_completed()
        try:
            while True:
                while len(running) < most and (task := next(tasks, None)) is not None:
                    key, future = task
                    if future is not None:
                        running[future] = key
                        completed.add(future)
                    self.progress(self)
                if not running:
                    return
                future = self._next(client, completed)
                self._take(running.pop(future), future)
                self.progress(self)
        except BaseException:
            for future in running:
                future.cancel()
            raise

    def _next(self, client: Client, completed: Any) -> Future:
        """The next task that ends, while there is a scheduler."""
        while completed.queue.empty():
            if client.status != "running" or client.scheduler_comm is None:
                raise SchedulerLost("the scheduler is gone")
            time.sleep(0.01)
        future: Future = next(completed)
        return future

    def _take(self, key: _Key, future: Future) -> None:
        name = key[0]
        if future.status == "cancelled":
            raise SchedulerLost("the scheduler forgot a task")
        try:
            result = future.result()
        except KilledWorker as error:
            if self.alone:
                self._failed(name, error)
            else:
                self.suspects.add(key)
        except BadVideo as error:
            self._failed(name, error)
        except OSError as error:
            if error.errno == errno.ENOSPC:
                raise
            if isinstance(error, CommClosedError):
                raise
            self._failed(name, error)
        except Exception as error:
            self._failed(name, error)
        else:
            if isinstance(result, Plan):
                self._keep_plan(result)
            else:
                self.segments_done += 1

    def _failed(self, name: str, error: BaseException) -> None:
        if isinstance(error, KilledWorker):
            reason = "it ends every worker that takes it"
        elif isinstance(error, SegmentFailed):
            reason = str(error).splitlines()[0]
        else:
            reason = f"{type(error).__name__}: {error}".splitlines()[0]
        self.errors.setdefault(name, reason)
        self.segments_failed += 1
