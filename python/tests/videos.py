# SPDX-License-Identifier: Apache-2.0
"""Clips that FFmpeg makes."""

import subprocess


def make_clip(path, seconds=4, size="160x120", rate=25, options=(), source="testsrc2"):
    subprocess.run(
        ["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
         f"{source}=duration={seconds}:size={size}:rate={rate}", "-pix_fmt", "yuv420p",
         "-c:v", "libx264", "-preset", "veryfast", "-threads", "1", "-g", "25", *options, path],
        check=True,
    )  # fmt: skip
    return path


def damage(path, start, count):
    """Overwrites bytes in the middle of a file."""
    data = bytearray(path.read_bytes())
    data[start : start + count] = b"\xa5" * len(data[start : start + count])
    path.write_bytes(data)
