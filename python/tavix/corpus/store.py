# SPDX-License-Identifier: Apache-2.0
"""The folder of a corpus. Whatever is in it is whole: files and shards are made aside and moved.

    settings.json       what it was made with
    videos/KEY.json     the plan of each video
    shards/KEY/NUMBER   a Zarr array of one segment's pictures, its attributes describe the rows
    index.sqlite        one row for each picture, made from the shards
    report.json         the fate of each video in the last run
    lock                held by the run that writes
    unfinished/         what a run is writing; what a killed one left is removed by the next
"""

from __future__ import annotations

import contextlib
import fcntl
import json
import os
import pathlib
import shutil
import uuid
from collections.abc import Iterator

from tavix.corpus.plan import Plan, Segment
from tavix.corpus.settings import Settings


class OtherSettings(Exception):
    """The store was made with other settings."""


class BusyStore(Exception):
    """Another run writes to the store."""


class Store:
    def __init__(self, path: str) -> None:
        self.path = pathlib.Path(path).resolve()

    def create(self, settings: Settings) -> None:
        """Makes the folders, or finds them as an earlier run with the same settings left them."""
        for folder in ("videos", "shards", "unfinished"):
            (self.path / folder).mkdir(parents=True, exist_ok=True)
        written = self.path / "settings.json"
        if not written.exists():
            self.write("settings.json", settings.to_json())
        elif written.read_text() != settings.to_json():
            raise OtherSettings(f"{self.path} was made with other settings: see {written}")

    @contextlib.contextmanager
    def locked(self) -> Iterator[None]:
        """Raises BusyStore while another run on this machine writes to the store."""
        with open(self.path / "lock", "w") as file:
            try:
                fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except BlockingIOError:
                raise BusyStore(f"another run writes to {self.path}") from None
            yield

    def remove_unfinished(self) -> None:
        """To be called while nobody writes."""
        for left in (self.path / "unfinished").glob("*"):
            shutil.rmtree(left) if left.is_dir() else left.unlink()

    def aside(self, name: str) -> pathlib.Path:
        """A new name to write to before publish."""
        return self.path / "unfinished" / f"{name.replace('/', '-')}-{uuid.uuid4().hex}"

    def publish(self, made: pathlib.Path, name: str) -> None:
        """Moves what was made aside to its place, where it appears whole."""
        target = self.path / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if made.is_dir():
            for file in made.rglob("*"):
                if file.is_file():
                    _flush(file)
            _flush(made)
            try:
                made.rename(target)
            except OSError:
                if not target.is_dir():
                    raise
                shutil.rmtree(made)  # a task that ran twice: the first shard stays
        else:
            _flush(made)
            made.replace(target)
        _flush(target.parent)

    def write(self, name: str, text: str) -> None:
        made = self.aside(name)
        try:
            made.write_text(text)
            self.publish(made, name)
        finally:
            made.unlink(missing_ok=True)

    def shard_name(self, plan: Plan, segment: Segment) -> str:
        return f"shards/{plan.key}/{segment.number:06d}"

    def has_shard(self, plan: Plan, segment: Segment) -> bool:
        return (self.path / self.shard_name(plan, segment)).is_dir()

    def plan(self, key: str) -> Plan | None:
        written = self.path / "videos" / f"{key}.json"
        return Plan.from_json(written.read_text()) if written.exists() else None

    def versions(self) -> dict[str, set[str]]:
        """The keys that the store holds for each name."""
        found: dict[str, set[str]] = {}
        for written in (self.path / "videos").glob("*.json"):
            name = Plan.from_json(written.read_text()).name
            found.setdefault(name, set()).add(written.stem)
        return found

    def remove_version(self, key: str) -> None:
        """Removes a plan and its shards."""
        shutil.rmtree(self.path / "shards" / key, ignore_errors=True)
        (self.path / "videos" / f"{key}.json").unlink(missing_ok=True)

    def samples_in(self, plan: Plan, segment: Segment) -> int:
        """Pictures in the shard of a segment."""
        attributes = self.path / self.shard_name(plan, segment) / ".zattrs"
        return len(json.loads(attributes.read_text())["samples"])

    def shards(self) -> Iterator[pathlib.Path]:
        """In the order of their names."""
        return iter(sorted((self.path / "shards").glob("*/*")))


def _flush(path: pathlib.Path) -> None:
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)
