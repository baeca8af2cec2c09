# SPDX-License-Identifier: Apache-2.0
"""Arithmetic beside NumPy: every operation, shape, type, stride and kind of parameter."""

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from pictures import channels_of, padded, pictures, random_picture, surroundings_untouched

import tavix

F = np.float32


def bits(operation):
    def run(a, b):
        if a.dtype == F:
            return operation(a.view(np.uint32), b.view(np.uint32)).view(F)
        return operation(a, b)

    return run


BINARY = {
    "add": lambda a, b: a + b,
    "subtract": lambda a, b: a - b,
    "multiply": lambda a, b: a * b,
    "minimum": np.minimum,
    "maximum": np.maximum,
    "absdiff": lambda a, b: np.abs(a - b),
    "bitwise_or": bits(np.bitwise_or),
    "bitwise_and": bits(np.bitwise_and),
    "bitwise_xor": bits(np.bitwise_xor),
}


def clamped(values):
    return np.clip(np.rint(values), 0, 255).astype(np.uint8)


def reference(name, src1, src2, alpha, beta, gamma):
    """Single precision, 8-bit operands and results rounded half to even and clamped."""
    a, b = src1.astype(F) * np.asarray(alpha, F), src2.astype(F) * np.asarray(beta, F)
    if src1.dtype == np.uint8:
        a, b = clamped(a), clamped(b)
        if not name.startswith("bitwise"):
            a, b = a.astype(F), b.astype(F)
        result = clamped(BINARY[name](a, b).astype(F))
        return clamped(result.astype(F) + clamped(np.asarray(gamma, F)))
    with np.errstate(invalid="ignore"):
        return BINARY[name](a, b) + np.asarray(gamma, F)


def assert_close(made, expected):
    assert made.dtype == expected.dtype and made.shape == expected.shape
    if made.dtype == np.uint8:
        np.testing.assert_array_equal(made, expected)
    else:
        np.testing.assert_allclose(made, expected, rtol=1e-5, atol=1e-6)


def parameters(channels):
    number = st.sampled_from([0.25, 0.5, 1, 1.5, 3])
    return st.one_of(number, st.lists(number, min_size=channels, max_size=channels))


@pytest.mark.parametrize("name", BINARY)
@given(data=st.data(), pair=pictures(count=2))
def test_binary(name, data, pair):
    src1, src2 = pair
    alpha, beta, gamma = (data.draw(parameters(channels_of(src1))) for _ in range(3))
    if name.startswith("bitwise") and src1.dtype == F:
        gamma = 0  # a pattern of bits may be NaN or infinite
    expected = reference(name, src1, src2, alpha, beta, gamma)
    made = getattr(tavix, name)(src1, src2, alpha=alpha, beta=beta, gamma=gamma)
    if name.startswith("bitwise") and src1.dtype == F:
        np.testing.assert_array_equal(made.view(np.uint32), expected.view(np.uint32))
    else:
        assert_close(made, expected)


@given(pair=pictures(count=2))
def test_divide(pair):
    src1, src2 = pair
    if src1.dtype == np.uint8:
        src2[src2 == 0] = 1
        expected = clamped(src1.astype(F) / src2.astype(F))
    else:
        src2[np.abs(src2) < 0.01] = 1
        expected = src1 / src2
    assert_close(tavix.divide(src1, src2), expected)


UNARY = {
    "multiply_add": lambda v: v,
    "sqrt": lambda v: np.sqrt(np.maximum(v, 0)),
    "exp": np.exp,
    "log": lambda v: np.log(np.maximum(v, F(2.0**-23))),
}


@pytest.mark.parametrize("name", UNARY)
@given(data=st.data(), src=pictures())
def test_unary(name, data, src):
    scale, offset = (data.draw(parameters(channels_of(src))) for _ in range(2))
    scaled = src.astype(np.float64) * np.asarray(scale, np.float64)
    with np.errstate(over="ignore"):
        exact = UNARY[name](scaled) + np.asarray(offset, np.float64)
    made = getattr(tavix, name)(src, scale, offset)
    if src.dtype == F:
        np.testing.assert_allclose(made, exact, rtol=2e-6, atol=2e-6)
    else:
        # Just beside a half, single precision may round to the other side; e to the 24th and more
        # is 0, for it is beyond 2^31.
        small = exact < 2.0**31 * 0.999
        difference = np.abs(made - np.clip(exact, 0, 255))
        assert (difference[small] <= 0.5 + 1e-3).all()
        assert (made[exact > 2.0**31 * 1.001] == 0).all()


@pytest.mark.parametrize("name", [*BINARY, "divide"])
@pytest.mark.parametrize("dtype", [np.uint8, F])
def test_binary_writes_into_out_and_in_place(name, dtype):
    operation = getattr(tavix, name)
    a = padded(random_picture(9, 17, 3, dtype, 1, 0.5, 2))
    b = padded(random_picture(9, 17, 3, dtype, 2, 0.5, 2), 3, 0)
    expected = operation(a, b)
    out = padded(np.zeros_like(a), 0, 5)
    assert operation(a, b, out=out) is out
    assert out.tobytes() == expected.tobytes() and surroundings_untouched(out)
    for place in (0, 1):
        operands = [padded(a.copy()), padded(b.copy())]
        assert operation(*operands, out=operands[place]) is operands[place]
        assert operands[place].tobytes() == expected.tobytes()
        assert surroundings_untouched(operands[place])


@pytest.mark.parametrize("name", UNARY)
@pytest.mark.parametrize("dtype", [np.uint8, F])
def test_unary_writes_into_out_and_in_place(name, dtype):
    operation = getattr(tavix, name)
    src = padded(random_picture(8, 33, 4, dtype, 3, 0.5, 2))
    expected = operation(src, [1, 2, 3, 0.5], [0, 1, 0, 2])
    out = padded(np.zeros_like(src), 4, 1)
    assert operation(src, [1, 2, 3, 0.5], [0, 1, 0, 2], out=out) is out
    assert out.tobytes() == expected.tobytes() and surroundings_untouched(out)
    assert operation(src, [1, 2, 3, 0.5], [0, 1, 0, 2], out=src) is src
    assert src.tobytes() == expected.tobytes() and surroundings_untouched(src)


def test_parameters_may_be_numbers_of_numpy_and_arrays():
    src = random_picture(3, 4)
    expected = tavix.multiply_add(src, [2.0, 2.0, 2.0], 1.0)
    for scale in (2, np.float32(2), np.int64(2), (2, 2, 2), np.array([2, 2, 2])):
        np.testing.assert_array_equal(tavix.multiply_add(src, scale, 1), expected)


@pytest.mark.parametrize("scale", [[1, 2], [1, 2, 3, 4], [], "abc", None, [1, None, 2], 1j])
def test_parameters_that_do_not_fit(scale):
    with pytest.raises((TypeError, ValueError)):
        tavix.multiply_add(random_picture(3, 4), scale)
