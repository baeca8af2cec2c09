# SPDX-License-Identifier: Apache-2.0
"""Softmax beside SciPy."""

import numpy as np
import pytest
import scipy.special
from hypothesis import given
from hypothesis import strategies as st

import tavix


@given(data=st.data(), shape=st.lists(st.integers(1, 7), min_size=1, max_size=8))
def test_softmax(data, shape):
    axis = data.draw(st.integers(-len(shape), len(shape) - 1))
    x = np.random.default_rng(len(shape)).uniform(-9, 9, shape).astype(np.float32)
    expected = scipy.special.softmax(x.astype(np.float64), axis)
    made = tavix.softmax(x, axis)
    np.testing.assert_allclose(made, expected, rtol=3e-6)
    assert made.dtype == np.float32 and made.shape == x.shape
    out = np.zeros_like(x)
    assert tavix.softmax(x, axis, out=out) is out
    np.testing.assert_array_equal(out, made)
    assert tavix.softmax(x, axis, out=x) is x
    np.testing.assert_array_equal(x, made)


def test_refusals():
    x = np.zeros((3, 4), np.float32)
    with pytest.raises(tavix.TavixError, match="TAVIX_ERROR_INVALID_PARAM"):
        tavix.softmax(x, 2)
    with pytest.raises(tavix.TavixError):
        tavix.softmax(x, out=np.zeros((4, 3), np.float32))
    with pytest.raises(tavix.TavixError):
        tavix.softmax(np.float32(1).reshape(()))
    with pytest.raises(TypeError):
        tavix.softmax(x.astype(np.float64))
    with pytest.raises(TypeError):
        tavix.softmax(x.astype(np.uint8))
    with pytest.raises(ValueError, match="contiguous"):
        tavix.softmax(x.T)
    with pytest.raises(ValueError, match="overlaps"):
        around = np.zeros((4, 4), np.float32)
        tavix.softmax(around[:3], out=around[1:])
    with pytest.raises(ValueError):
        tavix.softmax(np.zeros((1,) * 9, np.float32))
    frozen = x.copy()
    frozen.flags.writeable = False
    with pytest.raises(ValueError, match="read-only"):
        tavix.softmax(x, out=frozen)
