# SPDX-License-Identifier: Apache-2.0
"""Filters beside OpenCV and SciPy."""

import cv2
import numpy as np
import pytest
import scipy.ndimage
from hypothesis import given
from hypothesis import strategies as st
from pictures import padded, pictures, random_picture, surroundings_untouched

import tavix

FLAT = (0, 3, 4)
SIDES = st.tuples(st.integers(1, 5), st.integers(1, 5))


def check(made, expected, tolerance=0):
    assert made.dtype == expected.dtype
    if tolerance:
        np.testing.assert_allclose(made, expected, rtol=tolerance, atol=tolerance)
    else:
        np.testing.assert_array_equal(made, expected)


def check_out(operation, src, *arguments, expected):
    """The same result in a region of a larger array, and nothing beside it."""
    out = padded(np.zeros_like(expected))
    assert operation(src, *arguments, out=out) is out
    np.testing.assert_array_equal(out, expected)
    assert surroundings_untouched(out)


# OpenCV looks beyond a region into the array around it, the library never: its pictures have no
# surroundings. So OpenCV gets a copy.
@given(src=pictures(channels=FLAT), size=SIDES)
def test_blur(src, size):
    made = tavix.blur(src, size)
    check(made, cv2.blur(src.copy(), size), 1e-5 if src.dtype == np.float32 else 0)
    check_out(tavix.blur, src, size, expected=made)


@given(src=pictures(channels=FLAT), size=SIDES)
def test_box_filter(src, size):
    expected = cv2.boxFilter(
        src.copy(), -1, size, normalize=False, borderType=cv2.BORDER_REPLICATE
    )
    made = tavix.box_filter(src, size)
    check(made, expected, 1e-4 if src.dtype == np.float32 else 0)
    check_out(tavix.box_filter, src, size, expected=made)


@given(src=pictures(channels=FLAT), size=SIDES, seed=st.integers(0, 99))
def test_filter2d(src, size, seed):
    kernel = np.random.default_rng(seed).uniform(-1, 1, size).astype(np.float32)
    expected = cv2.filter2D(src.copy(), -1, kernel, borderType=cv2.BORDER_REPLICATE)
    made = tavix.filter2d(src, kernel)
    check(made, expected, 1e-4 if src.dtype == np.float32 else 0)
    check_out(tavix.filter2d, src, kernel, expected=made)


@pytest.mark.parametrize("name", ["dilate", "erode"])
@given(src=pictures(channels=(0,)), size=SIDES, seed=st.integers(0, 99))
def test_morphology(name, src, size, seed):
    kernel = np.random.default_rng(seed).integers(0, 2, (size[0] | 1, size[1] | 1), np.uint8)
    kernel[kernel.shape[0] // 2, kernel.shape[1] // 2] = 1
    outside = np.finfo(np.float32).max if src.dtype == np.float32 else 255
    if name == "dilate":
        expected = scipy.ndimage.maximum_filter(
            src, footprint=kernel, mode="constant", cval=-outside if src.dtype == np.float32 else 0
        )
    else:
        expected = scipy.ndimage.minimum_filter(
            src, footprint=kernel, mode="constant", cval=outside
        )
    made = getattr(tavix, name)(src, kernel)
    check(made, expected)
    check_out(getattr(tavix, name), src, kernel, expected=made)


@given(src=pictures(), level=st.integers(-2, 260), most=st.integers(0, 255))
def test_threshold(src, level, most):
    made = tavix.threshold(src, level, most)
    check(made, np.where(src > level, most, 0).astype(src.dtype))
    inverse = tavix.threshold(src, level, most, type="binary_inverse")
    check(inverse, np.where(src > level, 0, most).astype(src.dtype))
    check_out(tavix.threshold, src, level, most, expected=made)
    assert tavix.threshold(src, level, most, out=src) is src
    check(src, made)
    assert surroundings_untouched(src)


@given(src=pictures(channels=FLAT))
def test_min_max_normalize(src):
    expected = cv2.normalize(src, None, 3, 200, cv2.NORM_MINMAX)
    made = tavix.min_max_normalize(src, 3, 200)
    check(made, expected, 1e-4 if src.dtype == np.float32 else 0)
    assert tavix.min_max_normalize(src, 3, 200, out=src) is src
    check(src, made)


def test_kernels_need_not_be_packed():
    src = random_picture(9, 9, 0, np.float32)
    kernel = random_picture(6, 6, 0, np.float32)[::2, 1::2]
    np.testing.assert_array_equal(
        tavix.filter2d(src, kernel), tavix.filter2d(src, kernel.copy())
    )


def test_refusals():
    src = random_picture(4, 6)
    for call in (
        lambda: tavix.blur(src, 0),
        lambda: tavix.blur(src, -3),
        lambda: tavix.blur(src, float("nan")),
        lambda: tavix.box_filter(src, (0, 3)),
        lambda: tavix.filter2d(src, np.ones((3, 3), np.uint8)),
        lambda: tavix.dilate(src, np.ones((3, 3), np.float32)),
        lambda: tavix.threshold(src, 3, type="triangle"),
        lambda: tavix.blur(tavix.Frame.zeros("nv12", 4, 4), 3),
    ):
        with pytest.raises(tavix.TavixError):
            call()
    for call in (
        lambda: tavix.blur(src, (3,)),
        lambda: tavix.filter2d(src, np.ones(3, np.float32)),
        lambda: tavix.filter2d(src, np.ones((1, 40000), np.float32)),
        lambda: tavix.blur(src, 3, out=src),
        lambda: tavix.dilate(src, np.ones((3, 3), np.uint8), out=src),
    ):
        with pytest.raises(ValueError):
            call()
