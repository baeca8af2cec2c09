# SPDX-License-Identifier: Apache-2.0
"""The picture of the examples: a house in a landscape, computed."""

import numpy as np

WIDTH, HEIGHT = 320, 200


def blend(picture, mask, colour):
    """Draws colour where mask, from 0 to 1, covers the picture."""
    picture += mask[..., None] * (np.asarray(colour, float) - picture)


def inside(distance):
    """Smooth edges: 1 inside, 0 outside, one pixel between."""
    return np.clip(0.5 - distance, 0, 1)


def box(x, y, left, top, right, bottom):
    return inside(np.maximum(np.maximum(left - x, x - right), np.maximum(top - y, y - bottom)))


def landscape():
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH].astype(float)
    picture = np.empty((HEIGHT, WIDTH, 3))
    picture[:] = np.array([70, 130, 200]) + (y / HEIGHT)[..., None] * np.array([150, 90, 30])

    sun = np.hypot(x - 245, y - 48)
    blend(picture, np.clip(1 - sun / 110, 0, 1) ** 2 * 0.8, (255, 235, 170))
    blend(picture, inside(sun - 22), (255, 244, 200))
    for left, top, size in ((40, 38, 16), (62, 32, 22), (88, 40, 15), (150, 62, 10), (166, 58, 13)):
        blend(picture, inside(np.hypot((x - left) / 1.6, y - top) - size) * 0.85, (250, 250, 252))

    for base, height, length, shift, colour in ((118, 20, 47, 0.5, (110, 140, 150)), (135, 14, 33, 2.2, (86, 136, 92)),
                                                (158, 8, 25, 4.0, (62, 118, 58))):
        ridge = base - height * np.sin(x / length + shift) - 4 * np.sin(x / 9 + 3 * shift)
        blend(picture, inside(ridge - y), colour)
    texture = np.sin(x * 1.7 + 3 * np.sin(y * 0.9)) * np.sin(y * 2.3 + x * 0.4)
    picture += (texture * 9 * np.clip((y - 140) / 30, 0, 1))[..., None]

    blend(picture, box(x, y, 92, 112, 152, 164), (214, 196, 170))
    blend(picture, inside(np.abs(x - 122) * 0.75 + 84 - y) * inside(y - 112), (158, 58, 46))
    for left in (100, 132):
        blend(picture, box(x, y, left, 122, left + 13, 137), (70, 84, 110))
        blend(picture, box(x, y, left + 6, 122, left + 7, 137), (235, 235, 225))
    blend(picture, box(x, y, 116, 140, 129, 164), (104, 66, 42))
    blend(picture, box(x, y, 222, 118, 229, 172), (92, 64, 44))
    for left, top, size in ((225, 104, 21), (211, 116, 14), (240, 115, 15)):
        blend(picture, inside(np.hypot(x - left, y - top) - size), (44, 92, 44))
    return np.clip(picture, 0, 255).round().astype(np.uint8)


def write(file):
    file.write_bytes(b"P6 %d %d 255\n" % (WIDTH, HEIGHT) + landscape().tobytes())
