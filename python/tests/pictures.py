# SPDX-License-Identifier: Apache-2.0
"""Pictures of all shapes, types, strides and offsets, each within a larger array."""

import numpy as np
from hypothesis import strategies as st


def random_picture(height, width, channels=3, dtype=np.uint8, seed=0, low=0.0, high=1.0):
    generator = np.random.default_rng(seed)
    shape = (height, width) if channels == 0 else (height, width, channels)
    if dtype == np.uint8:
        return generator.integers(0, 256, shape, np.uint8)
    return generator.uniform(low, high, shape).astype(np.float32)


def padded(picture, left=1, right=2, top=1, bottom=1):
    """The same pixels as a region of a larger array; its surroundings are 77."""
    height, width, *rest = picture.shape
    around = np.full((height + top + bottom, width + left + right, *rest), 77, picture.dtype)
    region = around[top : top + height, left : left + width]
    region[...] = picture
    return region


def surroundings_untouched(region):
    """Whether everything around a region that padded made is as it was."""
    around = region.base.copy()
    start = (region.ctypes.data - region.base.ctypes.data) // region.itemsize
    pixel = int(np.prod(region.shape[2:]))
    top, left = divmod(start // pixel, around.shape[1])
    around[top : top + region.shape[0], left : left + region.shape[1]] = 77
    return bool((around == 77).all())


@st.composite
def shapes(draw, channels=(0, 1, 3, 4), largest=40):
    return (
        draw(st.integers(1, largest)),
        draw(st.integers(1, largest)),
        draw(st.sampled_from(channels)),
    )


@st.composite
def pictures(draw, count=1, channels=(0, 1, 3, 4), dtypes=(np.uint8, np.float32), largest=40):
    """count pictures of one shape and type, each with offsets and padding of its own."""
    height, width, samples = draw(shapes(channels, largest))
    dtype = draw(st.sampled_from(dtypes))
    seed = draw(st.integers(0, 2**32 - 1))
    sides = st.integers(0, 3)
    made = [
        padded(
            random_picture(height, width, samples, dtype, seed + n, -2.0, 2.0),
            draw(sides), draw(sides), draw(sides), draw(sides),
        )
        for n in range(count)
    ]  # fmt: skip
    return made[0] if count == 1 else tuple(made)


def channels_of(picture):
    return picture.shape[2] if picture.ndim == 3 else 1
