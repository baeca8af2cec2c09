# SPDX-License-Identifier: Apache-2.0
"""Cuts a video into segments at its key frames, from its packets alone: nothing is decoded.

Which pictures are samples is decided here, from the times of all pictures. So the same video gives
the same samples however many workers share it.
"""

from __future__ import annotations

import dataclasses
import hashlib
import json
import os
import pathlib
import subprocess
from collections.abc import Iterable
from fractions import Fraction
from typing import Any

import av

from tavix.corpus.settings import Settings

SUFFIXES = {".avi", ".m4v", ".mkv", ".mov", ".mp4", ".mpg", ".ts", ".webm", ".y4m"}


class BadVideo(Exception):
    """A file that holds no video that can be sampled."""


@dataclasses.dataclass(frozen=True)
class Sample:
    """frame: number of the picture in the order of time. pts: in the stream's time base."""

    frame: int
    pts: int
    seconds: float


@dataclasses.dataclass(frozen=True)
class Segment:
    """Whole groups of pictures from one key frame on; start is its pts, end the pts after."""

    number: int
    start: int
    end: int | None
    samples: tuple[Sample, ...]


@dataclasses.dataclass(frozen=True)
class Plan:
    """A video and its segments. name: as the index calls it. key: its folder in the store."""

    name: str
    path: str
    key: str
    color_space: str
    color_range: str
    segments: tuple[Segment, ...]

    def to_json(self) -> str:
        return json.dumps(dataclasses.asdict(self), indent=1, sort_keys=True) + "\n"

    @staticmethod
    def from_json(text: str) -> Plan:
        read: dict[str, Any] = json.loads(text)
        for segment in read["segments"]:
            segment["samples"] = tuple(Sample(**sample) for sample in segment["samples"])
        read["segments"] = tuple(Segment(**segment) for segment in read["segments"])
        return Plan(**read)


def find_videos(arguments: Iterable[str]) -> list[tuple[str, str]]:
    """(name, path) of every video named, or within a folder named; names are relative to it."""
    found: dict[str, str] = {}
    for argument in arguments:
        root = pathlib.Path(argument)
        if not root.exists():
            raise FileNotFoundError(f"there is no {argument}")
        paths = [root]
        if root.is_dir():
            paths = [p for p in root.rglob("*") if p.is_file() and p.suffix.lower() in SUFFIXES]
        for path in paths:
            name = str(path.relative_to(root)) if root.is_dir() else path.name
            if found.setdefault(name, str(path)) != str(path):
                raise ValueError(f"two videos are called {name}: {found[name]} and {path}")
    return sorted(found.items())


def video_key(name: str, path: str) -> str:
    """A folder's name for this content under this name: it changes when the file does."""
    size = os.path.getsize(path)
    digest = hashlib.sha256(f"{name}\0{size}\0".encode())
    with open(path, "rb") as file:
        digest.update(file.read(1 << 20))
        file.seek(max(0, size - (1 << 20)))
        digest.update(file.read())
    stem = "".join(c if c.isalnum() or c in "-_." else "_" for c in pathlib.Path(name).stem)
    return f"{stem[:40]}-{digest.hexdigest()[:16]}"


def plan_video(name: str, path: str, settings: Settings) -> Plan:
    """Reads all packets of a video. Raises BadVideo where there is nothing to sample."""
    color_space, color_range = _colors(path)
    try:
        with av.open(path) as container:
            if not container.streams.video:
                raise BadVideo("no video stream")
            stream = container.streams.video[0]
            packets = [
                (packet.pts, bool(packet.is_keyframe))
                for packet in container.demux(stream)
                if packet.pts is not None
            ]
            time_base = Fraction(stream.time_base)
    except av.AVError as error:
        raise BadVideo(f"cannot be read: {error}") from None
    if not any(is_key for _, is_key in packets):
        raise BadVideo("no key frame with a time")
    segments = _segments(packets, time_base, settings)
    return Plan(name, path, video_key(name, path), color_space, color_range, segments)


def _samples(times: list[int], time_base: Fraction, every: float) -> list[Sample]:
    """The first picture at or after each multiple of every seconds."""
    step = Fraction(every).limit_denominator(1_000_000)
    samples, last = [], -1
    for frame, pts in enumerate(times):
        seconds = (pts - times[0]) * time_base
        if seconds // step > last:
            last = seconds // step
            samples.append(Sample(frame, pts, float(seconds)))
    return samples


def _segments(
    packets: list[tuple[int, bool]], time_base: Fraction, settings: Settings
) -> tuple[Segment, ...]:
    """Groups of pictures are joined as long as their samples fill no more than a chunk."""
    times = sorted({pts for pts, _ in packets})
    keys = sorted({pts for pts, is_key in packets if is_key})
    # Pictures before the first key frame cannot be decoded.
    times = [pts for pts in times if pts >= keys[0]]
    samples = _samples(times, time_base, settings.every)
    groups: list[tuple[int, list[Sample]]] = []
    position = 0
    for index, key in enumerate(keys):
        end = keys[index + 1] if index + 1 < len(keys) else None
        first = position
        while position < len(samples) and (end is None or samples[position].pts < end):
            position += 1
        taken = samples[first:position]
        if groups and len(groups[-1][1]) + len(taken) <= settings.chunk:
            groups[-1][1].extend(taken)
        else:
            groups.append((key, list(taken)))
    starts = [start for start, _ in groups] + [None]
    return tuple(
        Segment(number, start, starts[number + 1], tuple(taken))
        for number, (start, taken) in enumerate(groups)
    )


def _colors(path: str) -> tuple[str, str]:
    """Colour space and range as ffprobe names them; PyAV does not tell."""
    command = [
        "ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
        "stream=color_space,color_range", "-of", "json", path,
    ]  # fmt: skip
    try:
        done = subprocess.run(command, capture_output=True, text=True, timeout=60, check=True)
        streams = json.loads(done.stdout).get("streams", [])
    except (OSError, subprocess.SubprocessError, ValueError):
        streams = []
    stream = streams[0] if streams else {}
    return stream.get("color_space", "unknown"), stream.get("color_range", "unknown")
