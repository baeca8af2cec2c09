#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""What "tavix tensors" does, by FFmpeg and NumPy: FFmpeg decodes a video, resizes it to 224 x 224
pixels and pipes them here; (sample - mean) * scale is written as planes of floats, red first.

  by_numpy.py VIDEO OUTPUT SCALE RED,GREEN,BLUE
"""

import subprocess
import sys

import numpy as np

SIDE = 224

video, target, scale, mean = sys.argv[1:]
means = np.array(mean.split(","), np.float32).reshape(3, 1, 1)
factor = np.float32(scale)
command = ["ffmpeg", "-nostdin", "-v", "error", "-i", video, "-vf", f"scale={SIDE}:{SIDE}:flags=bilinear,format=rgb24",
           "-f", "rawvideo", "-"]  # fmt: skip
tensor = np.empty((3, SIDE, SIDE), np.float32)
with subprocess.Popen(command, stdout=subprocess.PIPE) as ffmpeg, open(target, "wb", buffering=0) as output:
    while pixels := ffmpeg.stdout.read(SIDE * SIDE * 3):
        np.subtract(np.frombuffer(pixels, np.uint8).reshape(SIDE, SIDE, 3).transpose(2, 0, 1), means, out=tensor)
        np.multiply(tensor, factor, out=tensor)
        output.write(tensor)
sys.exit(ffmpeg.returncode)
