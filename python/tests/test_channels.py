# SPDX-License-Identifier: Apache-2.0
"""Channels, masks, products and fills beside NumPy."""

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from pictures import channels_of, padded, pictures, random_picture, surroundings_untouched

import tavix


@given(data=st.data(), src=pictures(channels=(3, 4)))
def test_split(data, src):
    letters = "rgba"[: channels_of(src)]
    asked = "".join(data.draw(st.permutations(letters)))[: data.draw(st.integers(0, len(letters)))]
    made = tavix.split(src, asked)
    assert len(made) == len(asked)
    for letter, channel in zip(asked, made, strict=True):
        np.testing.assert_array_equal(channel, src[..., "rgba".index(letter)])


def test_split_knows_the_order_of_frames():
    src = random_picture(4, 6)
    made = tavix.split(tavix.Frame(src, "bgr24"), "rb")
    np.testing.assert_array_equal(made[0].array, src[..., 2])
    np.testing.assert_array_equal(made[1].array, src[..., 0])
    assert made[0].format == tavix.PixelFormat.GRAY8


@given(src=pictures(channels=(0, 3)), seed=st.integers(0, 99))
def test_add_mask(src, seed):
    mask = padded(random_picture(*src.shape[:2], 0, seed=seed))
    made = tavix.add_mask(src, mask)
    colours = src if src.ndim == 3 else src[..., None].repeat(3, 2)
    np.testing.assert_array_equal(made[..., :3], colours)
    np.testing.assert_array_equal(made[..., 3], mask)
    out = padded(np.zeros(made.shape, made.dtype))
    if src.ndim == 3:
        assert tavix.add_mask(src, mask, out=out) is out
        np.testing.assert_array_equal(out, made)
        assert surroundings_untouched(out)


@given(pair=pictures(count=2))
def test_product(pair):
    a, b = pair
    if a.dtype == np.uint8:
        expected = np.minimum(a.astype(int) * b, 255).astype(np.uint8)
    else:
        expected = a * b
    made = tavix.product(a, b)
    np.testing.assert_array_equal(made.reshape(a.shape), expected)
    assert tavix.product(a, b, out=b) is b
    np.testing.assert_array_equal(b, expected)
    assert surroundings_untouched(b)


@given(out=pictures(), value=st.floats(-10, 300, width=32))
def test_fill(out, value):
    assert tavix.fill(out, value) is out
    if out.dtype == np.uint8:
        value = int(min(max(value, 0), 255))
    assert (out == value).all() and surroundings_untouched(out)


def test_refusals():
    src = random_picture(4, 6)
    with pytest.raises(tavix.TavixError, match="Split ALPHA requires 4 channels"):
        tavix.split(src, "rgba")
    with pytest.raises(tavix.TavixError):
        tavix.add_mask(src, src)
    with pytest.raises(tavix.TavixError):
        tavix.fill(tavix.Frame.zeros("nv12", 4, 4), 1)
    for call in (
        lambda: tavix.split(src, "x"),
        lambda: tavix.split(src, "rr"),
        lambda: tavix.product(src, random_picture(4, 5)),
        lambda: tavix.product(src, src.copy(), out=src),
        lambda: tavix.product(src, src[:, :, :1].copy()),
        lambda: tavix.add_mask(src, src[..., 0].copy(), out=src),
    ):
        with pytest.raises(ValueError):
            call()
