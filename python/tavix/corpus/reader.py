# SPDX-License-Identifier: Apache-2.0
"""A corpus as a sequence of pictures."""

from __future__ import annotations

import dataclasses
import functools
import pathlib
import sqlite3
from typing import Any

import numpy as np
import numpy.typing as npt
import zarr


@dataclasses.dataclass(frozen=True)
class Entry:
    """Where a picture of the corpus comes from."""

    video: str
    frame: int
    seconds: float


class Corpus:
    """The pictures of a store of tavix-corpus, each of shape (3, size, size).

    It works as a map-style dataset of PyTorch: corpus[n] and len(corpus).
    """

    def __init__(self, path: str) -> None:
        self.path = pathlib.Path(path)
        database = sqlite3.connect(f"file:{self.path / 'index.sqlite'}?mode=ro", uri=True)
        self._rows = database.execute(
            "SELECT video, frame, seconds, shard, row FROM pictures ORDER BY video, frame"
        ).fetchall()
        database.close()
        self._shard = functools.lru_cache(maxsize=64)(self._open)

    def _open(self, name: str) -> zarr.Array:
        return zarr.open_array(str(self.path / name), mode="r")

    def __len__(self) -> int:
        return len(self._rows)

    def __getitem__(self, n: int) -> npt.NDArray[Any]:
        _, _, _, shard, row = self._rows[n]
        return np.asarray(self._shard(shard)[row])

    def entry(self, n: int) -> Entry:
        return Entry(*self._rows[n][:3])

    def __reduce__(self) -> tuple[Any, ...]:
        return Corpus, (str(self.path),)
