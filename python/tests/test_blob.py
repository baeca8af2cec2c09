# SPDX-License-Identifier: Apache-2.0
"""Tensors and normalisation beside NumPy."""

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from pictures import channels_of, padded, pictures, random_picture, surroundings_untouched

import tavix

DTYPES = ["float32", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64"]


def as_nchw(picture):
    return picture.reshape(*picture.shape[:2], -1).transpose(2, 0, 1)[None]


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("layout", ["nchw", "nhwc", tavix.Layout.NHWC])
@given(src=pictures(dtypes=[np.uint8]))
def test_bytes_to_blob(dtype, layout, src):
    made = tavix.to_blob(src, dtype=dtype, layout=layout)
    expected = as_nchw(src).astype(dtype)
    if layout != "nchw":
        expected = expected.transpose(0, 2, 3, 1)
    assert made.dtype == np.dtype(dtype) and made.flags.c_contiguous
    np.testing.assert_array_equal(made, expected)


@pytest.mark.parametrize("dtype", DTYPES)
@given(src=pictures(dtypes=[np.float32]))
def test_floats_to_blob(dtype, src):
    src *= 50
    made = tavix.to_blob(src, dtype=dtype)
    kept = src if dtype == "float32" else np.trunc(src).astype(np.int64)
    np.testing.assert_array_equal(made, as_nchw(kept).astype(dtype))


@pytest.mark.parametrize("dtype", ["float32", "uint8", "int64"])
@pytest.mark.parametrize("layout", ["nchw", "nhwc"])
@given(src=pictures(dtypes=[np.uint8], channels=(0, 3, 4)))
def test_there_and_back(dtype, layout, src):
    blob = tavix.to_blob(src, dtype=dtype, layout=layout)
    back = tavix.from_blob(blob, dtype="uint8", layout=layout)
    np.testing.assert_array_equal(back, src)


def test_several_pictures_and_smaller_images():
    src = [padded(random_picture(6, 8, seed=n)) for n in range(4)]
    made = tavix.to_blob(src)
    np.testing.assert_array_equal(made, np.concatenate([as_nchw(s) for s in src]))
    store = np.zeros((10, 3, 6, 8), np.uint8)
    assert tavix.to_blob(src, out=store[3:7]) is not None
    np.testing.assert_array_equal(store[3:7], made)
    assert not store[:3].any() and not store[7:].any()
    small = np.zeros((1, 2, 3, 4), np.float32)
    assert tavix.to_blob(src[0], out=small) is small
    np.testing.assert_array_equal(small, made[:1, :2, :3, :4])


def test_from_blob_into_a_part():
    out = padded(random_picture(6, 8), 2, 3)
    before = out.copy()
    blob = np.full((1, 3, 2, 5), 9, np.float32)
    assert tavix.from_blob(blob, out=out) is out
    assert (out[:2, :5] == 9).all() and surroundings_untouched(out)
    np.testing.assert_array_equal(out[2:], before[2:])


@given(src=pictures(), seed=st.integers(0, 999))
def test_normalize(src, seed):
    generator = np.random.default_rng(seed)
    mean, scale = generator.uniform(-1, 2, (2, channels_of(src))).astype(np.float32)
    expected = (src.astype(np.float32) - mean) * scale
    np.testing.assert_array_equal(
        tavix.normalize(src, mean.tolist(), scale.tolist()), expected
    )
    made = tavix.normalize(src, mean, scale, dtype=np.uint8)
    np.testing.assert_array_equal(made, np.floor(np.clip(expected, 0, 255) + np.float32(0.5)))
    out = padded(np.zeros(src.shape, np.float32))
    assert tavix.normalize(src, mean, scale, out=out) is out
    np.testing.assert_array_equal(out, expected)
    assert surroundings_untouched(out)


def test_refusals():
    src = random_picture(4, 6)
    with pytest.raises(tavix.TavixError, match="INVALID"):
        tavix.to_blob(src, out=np.zeros((1, 3, 5, 6), np.float32))
    with pytest.raises(tavix.TavixError):
        tavix.to_blob(src, out=np.zeros((1, 3, 4), np.float32))
    with pytest.raises(tavix.TavixError, match="UNSUPPORTED"):
        tavix.to_blob(src, layout=4, out=np.zeros((1, 3, 4, 6), np.float32))
    with pytest.raises(ValueError, match="contiguous"):
        tavix.to_blob(src, out=np.zeros((1, 3, 4, 12), np.float32)[..., ::2])
    with pytest.raises(ValueError):
        tavix.to_blob([src, src], out=np.zeros((3, 3, 4, 6), np.float32))
    with pytest.raises(ValueError):
        tavix.to_blob([])
    with pytest.raises(ValueError, match="share memory"):
        tavix.to_blob(src, out=src.reshape(1, 4, 6, 3), layout="nhwc")
    with pytest.raises(TypeError):
        tavix.to_blob(src, dtype="float64")
    with pytest.raises(ValueError):
        tavix.from_blob(np.zeros((2, 3, 4, 6), np.float32))
    with pytest.raises(ValueError):
        tavix.from_blob(np.zeros((3, 4, 6), np.float32))
    with pytest.raises(tavix.TavixError):
        tavix.from_blob(np.zeros((1, 3, 9, 6), np.float32), out=src)
    with pytest.raises(TypeError):
        tavix.normalize(src, dtype="int16")
    with pytest.raises(ValueError):
        tavix.normalize(src, out=np.zeros((4, 6, 3), np.uint8))
    with pytest.raises(tavix.TavixError):
        tavix.normalize(tavix.Frame.zeros("nv12", 4, 4))
