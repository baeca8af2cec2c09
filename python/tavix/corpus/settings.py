# SPDX-License-Identifier: Apache-2.0
"""What a corpus is made with. A store keeps it: runs that differ cannot share a store."""

from __future__ import annotations

import dataclasses
import json


@dataclasses.dataclass(frozen=True)
class Settings:
    """size: side of the square pictures. every: seconds between samples. mean, scale: of R, G, B,
    applied to 0..255. dtype: float32 or uint8. chunk: pictures in a chunk of the store, which is
    what a worker holds in memory."""

    size: int = 224
    every: float = 0.5
    mean: tuple[float, float, float] = (0.0, 0.0, 0.0)
    scale: tuple[float, float, float] = (1.0, 1.0, 1.0)
    dtype: str = "float32"
    chunk: int = 64

    def to_json(self) -> str:
        return json.dumps(dataclasses.asdict(self), indent=2, sort_keys=True) + "\n"
