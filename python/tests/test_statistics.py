# SPDX-License-Identifier: Apache-2.0
"""Statistics beside NumPy."""

import numpy as np
import pytest
from hypothesis import given
from pictures import channels_of, pictures, random_picture

import tavix


@given(src=pictures())
def test_statistics(src):
    pixels = src.reshape(-1, channels_of(src)).astype(np.float64)
    np.testing.assert_allclose(tavix.sum(src), pixels.sum(0), rtol=1e-12, atol=1e-10)
    np.testing.assert_allclose(tavix.mean(src), pixels.mean(0), rtol=1e-12, atol=1e-12)
    np.testing.assert_allclose(tavix.std(src), pixels.std(0), rtol=1e-6, atol=1e-7)
    np.testing.assert_array_equal(tavix.max(src), pixels.max(0))
    np.testing.assert_array_equal(tavix.min(src), pixels.min(0))


def test_out():
    src = random_picture(5, 7)
    out = np.zeros(3)
    assert tavix.mean(src, out=out) is out
    np.testing.assert_allclose(out, src.reshape(-1, 3).mean(0))
    for wrong in (np.zeros(4), np.zeros(3, np.float32), np.zeros((1, 3)), np.zeros(6)[::2]):
        with pytest.raises(ValueError, match="float64"):
            tavix.mean(src, out=wrong)
    with pytest.raises(TypeError):
        tavix.mean(src, out=[0, 0, 0])


def test_empty_pictures():
    empty = np.zeros((0, 5, 3), np.uint8)
    np.testing.assert_array_equal(tavix.sum(empty), [0, 0, 0])
    assert np.isnan(tavix.mean(empty)).all()
