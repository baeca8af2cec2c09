# SPDX-License-Identifier: Apache-2.0
"""Videos made for tests, and their pixels."""
import subprocess


def ffmpeg(*arguments, input=b""):
    return subprocess.run(["ffmpeg", "-loglevel", "error", "-y", *map(str, arguments)],
                          input=input, check=True, capture_output=True).stdout


H264 = ("-c:v", "libx264", "-pix_fmt", "yuv420p")
LOSSLESS = ("-c:v", "ffv1", "-pix_fmt", "bgr0")


def make_video(path, *encoding, size="64x48", frames=10):
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size=320x240:rate=10,format=bgr0,scale={size}",
           "-frames:v", frames, *(encoding or H264), path)
    return path


def pixels(path):
    """Every picture of a file as one run of R, G, B bytes."""
    return ffmpeg("-i", path, "-f", "rawvideo", "-pix_fmt", "rgb24", "-")
