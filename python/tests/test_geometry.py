# SPDX-License-Identifier: Apache-2.0
"""Geometry beside OpenCV."""

import cv2
import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from pictures import padded, pictures, random_picture, surroundings_untouched

import tavix

# Kept as OpenCV shapes its results: one channel has no third dimension there.
FLAT = (0, 3, 4)


@given(
    src=pictures(channels=FLAT),
    width=st.integers(1, 50),
    height=st.integers(1, 50),
    mode=st.sampled_from(["nearest", "linear", "cubic", "area", "lanczos"]),
)
def test_resize(src, width, height, mode):
    code = {"lanczos": cv2.INTER_LANCZOS4}.get(mode, getattr(cv2, f"INTER_{mode.upper()}", 0))
    expected = cv2.resize(src, (width, height), interpolation=code)
    made = tavix.resize(src, (width, height), interpolation=mode)
    np.testing.assert_array_equal(made, expected)
    out = padded(np.zeros_like(made))
    assert tavix.resize(src, interpolation=mode, out=out) is out
    np.testing.assert_array_equal(out, expected)
    assert surroundings_untouched(out)


@given(src=pictures(channels=FLAT), fx=st.floats(0.3, 3), fy=st.floats(0.3, 3))
def test_resize_by_scale(src, fx, fy):
    fx, fy = float(np.float32(fx)), float(np.float32(fy))
    if round(src.shape[1] * fx) < 1 or round(src.shape[0] * fy) < 1:
        return
    made = tavix.resize(src, scale=(fx, fy))
    np.testing.assert_array_equal(made, cv2.resize(src, None, fx=fx, fy=fy))


def matrices(rows):
    return st.lists(st.floats(-1, 1), min_size=6, max_size=6).map(
        lambda numbers: np.eye(rows, 3, dtype=np.float32)
        + np.pad(np.reshape(numbers, (2, 3)) * [0.3, 0.3, 5], ((0, rows - 2), (0, 0)))
    )


BORDERS = {"constant": cv2.BORDER_CONSTANT, "replicate": cv2.BORDER_REPLICATE,
           "reflect": cv2.BORDER_REFLECT, "wrap": cv2.BORDER_WRAP,
           "reflect_101": cv2.BORDER_REFLECT_101}  # fmt: skip


@pytest.mark.parametrize("rows", [2, 3])
@given(data=st.data(), src=pictures(channels=FLAT), border=st.sampled_from([*BORDERS]))
def test_warps(rows, data, src, border):
    matrix = data.draw(matrices(rows)).astype(np.float32)
    size = (data.draw(st.integers(1, 40)), data.draw(st.integers(1, 40)))
    reference = cv2.warpAffine if rows == 2 else cv2.warpPerspective
    expected = reference(
        src, matrix, size, flags=cv2.INTER_LINEAR, borderMode=BORDERS[border],
        borderValue=(7, 7, 7, 7),
    )  # fmt: skip
    operation = tavix.warp_affine if rows == 2 else tavix.warp_perspective
    made = operation(src, matrix, size, border=border, border_value=7)
    np.testing.assert_array_equal(made, expected)
    out = padded(np.zeros_like(made))
    assert operation(src, matrix.tolist(), border=border, border_value=7, out=out) is out
    np.testing.assert_array_equal(out, expected)
    assert surroundings_untouched(out)


@given(
    src=pictures(channels=FLAT),
    sides=st.lists(st.integers(0, 5), min_size=4, max_size=4),
    border=st.sampled_from(["constant", "replicate", "reflect"]),
)
def test_copy_make_border(src, sides, border):
    expected = cv2.copyMakeBorder(src, *sides, BORDERS[border], value=(9, 9, 9, 9))
    made = tavix.copy_make_border(src, *sides, border=border, border_value=9)
    np.testing.assert_array_equal(made, expected)


@given(data=st.data(), src=pictures())
def test_copy_region(data, src):
    height, width = src.shape[:2]
    w, h = data.draw(st.integers(1, width)), data.draw(st.integers(1, height))
    x, y = data.draw(st.integers(0, width - w)), data.draw(st.integers(0, height - h))
    out = padded(np.zeros_like(src))
    assert tavix.copy_region(src, out, (x, y, w, h), (0, 0, w, h)) is out
    np.testing.assert_array_equal(out[:h, :w], src[y : y + h, x : x + w])
    assert not out[h:].any() and not out[:, w:].any() and surroundings_untouched(out)


def test_one_channel_keeps_its_dimension():
    assert tavix.resize(random_picture(4, 6, 1), (3, 2)).shape == (2, 3, 1)
    assert tavix.resize(random_picture(4, 6, 0), (3, 2)).shape == (2, 3)


def test_refusals():
    src = random_picture(4, 6)
    for call in (
        lambda: tavix.resize(src, (0, 4)),
        lambda: tavix.resize(np.zeros((0, 4, 3), np.uint8), (2, 2)),
        lambda: tavix.resize(src, scale=0),
        lambda: tavix.copy_region(src, src.copy(), (4, 0, 6, 4), (0, 0, 6, 4)),
        lambda: tavix.copy_region(src, src.copy(), (0, 0, 3, 3), (0, 0, 2, 2)),
        lambda: tavix.copy_region(src, src.copy(), (-1, 0, 3, 3), (0, 0, 3, 3)),
        lambda: tavix.copy_make_border(np.zeros((0, 4, 3), np.uint8), 1, 1, 1, 1, border=1),
        lambda: tavix.resize(tavix.Frame.zeros("i420", 4, 4), (2, 2)),
    ):
        with pytest.raises(tavix.TavixError):
            call()
    for call in (
        lambda: tavix.resize(src, (-1, 4)),
        lambda: tavix.resize(src, (4,)),
        lambda: tavix.resize(src, out=src),
        lambda: tavix.warp_affine(src, np.eye(3)),
        lambda: tavix.warp_perspective(src, np.eye(2, 3)),
        lambda: tavix.warp_affine(src, np.eye(2, 3), out=src),
        lambda: tavix.copy_make_border(src, -1, 0, 0, 0),
        lambda: tavix.copy_make_border(src, 2**31 - 1, 1, 0, 0),
        lambda: tavix.copy_region(src, np.zeros((4, 6), np.uint8), (0, 0, 1, 1), (0, 0, 1, 1)),
    ):
        with pytest.raises(ValueError):
            call()
    for call in (
        lambda: tavix.resize(src),
        lambda: tavix.resize(src, 4),
        lambda: tavix.resize(src, (4, 4), scale=2),
    ):
        with pytest.raises(TypeError):
            call()
