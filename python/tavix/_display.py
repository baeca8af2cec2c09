# SPDX-License-Identifier: Apache-2.0
"""A Frame as a PNG, for IPython and notebooks."""

from __future__ import annotations

import struct
import zlib

import numpy as np

from tavix._tavix import Frame, PixelFormat, convert

_GREY = (PixelFormat.GRAY8, PixelFormat.GRAYF32)
_WITH_ALPHA = (
    PixelFormat.RGBA32,
    PixelFormat.BGRA32,
    PixelFormat.RGBAF32,
    PixelFormat.BGRAF32,
)
_COLOR_TYPES = {1: 0, 3: 2, 4: 6}  # by channels, as PNG numbers them


def png(frame: Frame) -> bytes:
    """The picture as a PNG of 8 bits."""
    if frame.format == PixelFormat.GRAYF32:
        shown = np.clip(frame.array * 255 + 0.5, 0, 255).astype(np.uint8)
    elif frame.format in _GREY:
        shown = frame.array
    else:
        target = "rgba32" if frame.format in _WITH_ALPHA else "rgb24"
        shown = convert(frame, target).array
    rows = shown.reshape(frame.height, -1)
    # Each row begins with the number of its filter: none.
    raw = np.zeros((frame.height, rows.shape[1] + 1), np.uint8)
    raw[:, 1:] = rows
    channels = rows.shape[1] // frame.width
    header = struct.pack(
        ">IIBBBBB", frame.width, frame.height, 8, _COLOR_TYPES[channels], 0, 0, 0
    )
    return (
        b"\x89PNG\r\n\x1a\n"
        + _chunk(b"IHDR", header)
        + _chunk(b"IDAT", zlib.compress(raw.tobytes(), 6))
        + _chunk(b"IEND", b"")
    )


def _chunk(kind: bytes, data: bytes) -> bytes:
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
