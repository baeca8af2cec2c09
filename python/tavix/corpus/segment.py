# SPDX-License-Identifier: Apache-2.0
"""The work on one segment: decode, convert, resize, normalise, pack, write a shard."""

from __future__ import annotations

import contextlib
import os
import shutil
from collections.abc import Iterator
from typing import Any

import av
import numpy as np
import numpy.typing as npt
import zarr

from tavix.corpus.plan import Plan, Sample, Segment
from tavix.corpus.settings import Settings
from tavix.corpus.store import Store


@contextlib.contextmanager
def _one_processor() -> Iterator[None]:
    """Within, the process sees one processor: what counts them now uses one thread for ever."""
    allowed = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {min(allowed)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, allowed)


# Segments run side by side, one for each worker: more threads within one would only wait.
with _one_processor():
    import tavix

    tavix.resize(np.zeros((2, 2, 3), np.uint8), (1, 1))  # OpenCV counts at its first call


class Preprocessor:
    """Pictures of one segment into rows of a tensor. All memory is taken once."""

    def __init__(self, plan: Plan, settings: Settings) -> None:
        self.plan, self.settings = plan, settings
        self.rgb: tavix.Frame | None = None
        side = settings.size
        self.small = np.empty((side, side, 3), np.uint8)

    def row(self, picture: av.VideoFrame, out: npt.NDArray[Any]) -> dict[str, list[float]]:
        """Fills one row, of shape (1, 3, side, side); returns mean and std of R, G, B in 0..255."""
        if picture.format.name not in ("yuv420p", "yuvj420p", "nv12", "nv21"):
            picture = picture.reformat(format="rgb24")
        frame = tavix.from_av(
            picture, color_space=self.plan.color_space, color_range=self.plan.color_range
        )
        # The square in the middle: of an even side, at even places, where chroma begins.
        side = max(1, min(frame.width, frame.height) // 2 * 2)
        square = frame.region(
            (frame.width - side) // 4 * 2, (frame.height - side) // 4 * 2, side, side
        )
        if self.rgb is None or self.rgb.width != side:
            self.rgb = tavix.Frame.zeros("rgb24", side, side)
        tavix.convert(square, "rgb24", out=self.rgb)
        tavix.resize(self.rgb.array, interpolation="area", out=self.small)
        if self.settings.dtype == "float32":
            floats = tavix.normalize(self.small, self.settings.mean, self.settings.scale)
            tavix.to_blob(floats, out=out)
        else:
            tavix.to_blob(self.small, out=out)
        return {
            "mean": tavix.mean(self.small).tolist(),
            "std": tavix.std(self.small).tolist(),
        }


def _packets_from(container: Any, stream: Any, start: int) -> Iterator[Any]:
    """Packets from a key frame at or before start. Seeking is not exact in every format: it goes
    back further until it finds one, in the end to the beginning."""
    second = int(1 / stream.time_base)
    for back in (0, second, 8 * second, None):
        if back is None:
            container.seek(0)
        else:
            container.seek(start - back, stream=stream, backward=True)
        packets = container.demux(stream)
        for packet in packets:
            if packet.is_keyframe and packet.pts is not None:
                if packet.pts <= start or back is None:
                    yield packet
                    yield from packets
                    return
                break


def decoded(plan: Plan, segment: Segment) -> Iterator[tuple[Sample, av.VideoFrame]]:
    """The samples of a segment that can be decoded, in the order of time."""
    wanted = {sample.pts: sample for sample in segment.samples}
    if not wanted:
        return
    last = max(wanted)
    with av.open(plan.path) as container:
        stream = container.streams.video[0]
        stream.codec_context.thread_type = "NONE"
        stream.codec_context.thread_count = 1
        for packet in _packets_from(container, stream, segment.start):
            try:
                pictures = packet.decode()
            except av.AVError:
                continue  # a damaged packet costs its pictures
            for picture in pictures:
                if picture.pts is None:
                    continue
                if picture.pts > last:
                    return
                sample = wanted.pop(picture.pts, None)
                if sample is not None and not picture.is_corrupt:
                    yield sample, picture


def write_segment(store_path: str, plan: Plan, segment: Segment, settings: Settings) -> None:
    """Writes the shard of a segment, whole, with the samples that can be decoded."""
    store = Store(store_path)
    if store.has_shard(plan, segment):
        return
    name = store.shard_name(plan, segment)
    made = store.aside(name)
    rows, count = settings.chunk, len(segment.samples)
    side = settings.size
    try:
        array = zarr.open_array(
            zarr.DirectoryStore(str(made)),
            mode="w",
            shape=(count, 3, side, side),
            chunks=(max(1, min(rows, count)), 3, side, side),
            dtype=settings.dtype,
            compressor=None,
        )
        buffer = np.empty((min(rows, count), 3, side, side), settings.dtype)
        preprocessor = Preprocessor(plan, settings)
        described: list[dict[str, Any]] = []
        filled = 0  # rows of the buffer
        for sample, picture in decoded(plan, segment):
            statistics = preprocessor.row(picture, buffer[filled : filled + 1])
            described.append({"frame": sample.frame, "seconds": sample.seconds, **statistics})
            filled += 1
            if filled == rows:
                array[len(described) - filled : len(described)] = buffer
                filled = 0
        if filled:
            array[len(described) - filled : len(described)] = buffer[:filled]
        array.resize(len(described), 3, side, side)
        array.attrs.put({"video": plan.name, "samples": described})
        store.publish(made, name)
    finally:
        shutil.rmtree(made, ignore_errors=True)
