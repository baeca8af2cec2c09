# SPDX-License-Identifier: Apache-2.0
"""Makes a short video for the examples: a disc that crosses a still picture."""

import os

import av
import numpy as np

WIDTH, HEIGHT, RATE = 320, 240, 25


def make_clip(path: str, seconds: float = 2.0, hue: int = 0) -> str:
    """Writes the video where there is none yet; returns its path."""
    if os.path.exists(path):
        return path
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    back = np.stack([x * 200 // WIDTH, y * 200 // HEIGHT, (x + y) // 4 + hue], -1)
    with av.open(path, "w") as container:
        stream = container.add_stream("libx264", rate=RATE)
        stream.width, stream.height, stream.pix_fmt = WIDTH, HEIGHT, "yuv420p"
        stream.options = {"g": "10", "threads": "1"}
        count = int(seconds * RATE)
        for n in range(count):
            picture = back.astype(np.uint8)
            center = 40 + (WIDTH - 80) * n / count
            picture[(x - center) ** 2 + (y - 120) ** 2 < 900] = (250, 240, 120)
            for packet in stream.encode(av.VideoFrame.from_ndarray(picture, "rgb24")):
                container.mux(packet)
        for packet in stream.encode():
            container.mux(packet)
    return path
