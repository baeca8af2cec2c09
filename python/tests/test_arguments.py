# SPDX-License-Identifier: Apache-2.0
"""What counts as a picture, what is refused, and that nothing is copied on the way."""

import numpy as np
import pytest
from pictures import random_picture

import tavix


@pytest.mark.parametrize(
    "made",
    [
        pytest.param(lambda a: a[::-1], id="upside down"),
        pytest.param(lambda a: a[:, ::-1], id="mirrored"),
        pytest.param(lambda a: a[:, :, ::-1], id="channels reversed"),
        pytest.param(lambda a: a[:, ::2], id="every other column"),
        pytest.param(lambda a: a[:, :, :1].repeat(2, 2)[:, :, ::2], id="a gap between samples"),
        pytest.param(lambda a: np.broadcast_to(a[:1], a.shape), id="one row for all"),
        pytest.param(lambda a: a.transpose(1, 0, 2), id="transposed"),
        pytest.param(lambda a: np.asfortranarray(a), id="columns first"),
        pytest.param(lambda a: a[:, :, :3], id="three of four channels"),
    ],
)
def test_strides_that_no_picture_has(made):
    picture = made(random_picture(6, 8, 4))
    if picture.shape[2] == 1:
        picture = np.lib.stride_tricks.as_strided(picture, (6, 4), (16, 2))
    with pytest.raises(ValueError, match="packed rows|channels"):
        tavix.mean(picture)
    with pytest.raises(ValueError, match="packed rows|channels|read-only"):
        tavix.fill(picture, 1)


@pytest.mark.parametrize(
    "dtype", [np.int8, np.uint16, np.float64, np.bool_, np.complex64, ">f4", object, "S1"]
)
def test_types_that_no_picture_has(dtype):
    with pytest.raises(TypeError, match="uint8 or float32"):
        tavix.mean(np.zeros((2, 3), dtype))


@pytest.mark.parametrize("shape", [(), (4,), (2, 3, 2), (2, 3, 5), (2, 3, 0), (1, 2, 3, 3)])
def test_shapes_that_no_picture_has(shape):
    with pytest.raises(ValueError):
        tavix.mean(np.zeros(shape, np.uint8))


@pytest.mark.parametrize("thing", [None, 3, [[1, 2]], "text", object(), {}])
def test_things_without_memory_are_not_copied(thing):
    with pytest.raises(TypeError, match="no memory to share"):
        tavix.mean(thing)


def test_rows_may_be_any_distance_apart():
    around = random_picture(20, 30, 3)
    for region in (around[::2], around[::3, 4:9], around[5:6], around[:, :1], around[7:, 29:]):
        np.testing.assert_allclose(
            tavix.sum(region), region.reshape(-1, 3).sum(0, dtype=np.float64)
        )
        assert np.shares_memory(region, around)


def test_unaligned_floats():
    raw = np.zeros(4 * 6 * 4 + 1, np.uint8)
    src = raw[1:].view(np.float32).reshape(4, 6)
    src[...] = random_picture(4, 6, 0, np.float32)
    np.testing.assert_allclose(tavix.multiply_add(src, 2), src * 2, rtol=1e-6)


def test_pictures_of_two_gigabytes_are_refused():
    # Nothing of it is ever touched.
    tall = np.lib.stride_tricks.as_strided(np.zeros(3, np.uint8), (2**21, 1, 3), (1024, 3, 1))
    with pytest.raises(ValueError, match="2 GiB"):
        tavix.mean(tall)


def test_read_only_arrays_are_read_and_not_written():
    src = random_picture(3, 4)
    src.flags.writeable = False
    tavix.mean(src)
    for call in (
        lambda: tavix.add(src, src, out=src),
        lambda: tavix.fill(src, 1),
        lambda: tavix.resize(src, out=src),
        lambda: tavix.copy_region(random_picture(3, 4), src, (0, 0, 1, 1), (0, 0, 1, 1)),
        lambda: tavix.mean(src, out=np.broadcast_to(np.zeros(1), (3,))),
    ):
        with pytest.raises(ValueError, match="read-only|float64"):
            call()


def test_out_of_another_size_or_type():
    src = random_picture(4, 6)
    for out in (
        np.zeros((4, 5, 3), np.uint8),
        np.zeros((5, 6, 3), np.uint8),
        np.zeros((4, 6, 4), np.uint8),
        np.zeros((4, 6), np.uint8),
        np.zeros((4, 6, 3), np.float32),
    ):
        for call in (
            lambda: tavix.add(src, src, out=out),
            lambda: tavix.multiply_add(src, out=out),
            lambda: tavix.blur(src, 3, out=out),
            lambda: tavix.threshold(src, 3, out=out),
            lambda: tavix.resize(src, (6, 4), out=out),
            lambda: tavix.copy(src, out=out),
            lambda: tavix.copy_make_border(src, 0, 0, 0, 0, out=out),
            lambda: tavix.warp_affine(src, np.eye(2, 3), (6, 4), out=out),
        ):
            with pytest.raises(ValueError, match="out"):
                call()


def test_sources_that_differ():
    a, b = random_picture(4, 6), random_picture(4, 5)
    with pytest.raises(tavix.TavixError):
        tavix.add(a, b)
    with pytest.raises(tavix.TavixError):
        tavix.add(a, a.astype(np.float32))
    with pytest.raises(ValueError):
        tavix.product(a, b)


def test_overlapping_pictures():
    around = random_picture(10, 20, 3)
    left, right = around[:, :10], around[:, 10:]
    tavix.add(left, left, out=right)  # side by side in one array
    tavix.add(around[:5], around[:5], out=around[5:])
    tavix.add(around[::2], around[::2], out=around[1::2])
    tavix.add(left, right, out=left)
    for src, out in (
        (around[:, :10], around[:, 5:15]),
        (around[:5], around[1:6]),
        (around[1:6, :10], around[:5, 9:19]),
        (around[:, :10], around[:, 9:19]),
        (around[:5], around[::2][:5]),
    ):
        with pytest.raises(ValueError, match="overlaps"):
            tavix.add(src, src, out=out)
        with pytest.raises(ValueError, match="overlaps"):
            tavix.multiply_add(out, out=src)


@pytest.mark.parametrize("seed", range(40))
def test_overlap_is_what_numpy_finds(seed):
    generator = np.random.default_rng(seed)
    around = np.zeros((12, 12, 3), np.uint8)
    height, width = generator.integers(1, 6, 2)
    (y, x), (v, u) = generator.integers(0, 7, (2, 2))
    src, out = around[y : y + height, x : x + width], around[v : v + height, u : u + width]
    shared = np.shares_memory(src, out) and (y, x) != (v, u)
    if shared:
        with pytest.raises(ValueError, match="overlaps"):
            tavix.multiply_add(src, out=out)
    else:
        tavix.multiply_add(src, 1, 5, out=out)
        assert (out == 5).all()


@pytest.mark.parametrize(
    "code", [tavix.Interpolation.NEAREST, 0, "nearest", "NEAREST", np.int64(0)]
)
def test_codes_are_members_names_and_ints(code):
    src = random_picture(4, 6)
    if isinstance(code, np.integer):
        code = int(code)
    made = tavix.resize(src, (12, 8), interpolation=code)
    np.testing.assert_array_equal(made, src.repeat(2, 0).repeat(2, 1))


@pytest.mark.parametrize("code", ["nearst", "", 2**40, -(2**31) - 1, 1.0, None])
def test_codes_that_do_not_exist(code):
    with pytest.raises((TypeError, ValueError)):
        tavix.resize(random_picture(4, 6), (12, 8), interpolation=code)


class Raises:
    def __float__(self):
        raise ZeroDivisionError


@pytest.mark.parametrize("value", ["3", 10**400, 1j, "abc", [10**400] * 3, Raises()])
def test_what_is_no_number(value):
    src = random_picture(4, 6)
    for call in (
        lambda: tavix.multiply_add(src, value),
        lambda: tavix.resize(src, scale=value),
        lambda: tavix.blur(src, value),
        lambda: tavix.copy_region(src, src.copy(), value, (0, 0, 1, 1)),
        lambda: tavix.copy_region(src, src.copy(), [value] * 4, (0, 0, 1, 1)),
        lambda: tavix.Frame(src, "rgb24", width=value),
    ):
        with pytest.raises((TypeError, ValueError)) as caught:
            call()
        assert str(caught.value)


def test_numbers_that_matrices_and_sequences_cannot_hold():
    src = random_picture(4, 6)
    with pytest.raises(ValueError, match="too large"):
        tavix.warp_affine(src, [[10**400, 0, 0], [0, 1, 0]])
    with pytest.raises(TypeError, match="scale must be"):
        tavix.multiply_add(src, memoryview(bytes(6)).cast("B", (2, 3)))
    with pytest.raises(ValueError, match="r, g, b and a"):
        tavix.split(src, "ä")


class Long(list):
    def __len__(self):
        return 3


def test_lists_that_say_they_are_longer():
    with pytest.raises(ValueError, match="plane"):
        tavix.Frame(Long(), "i420")
    with pytest.raises(ValueError, match="at least one"):
        tavix.to_blob(Long())


class Endless:
    def __len__(self):
        return 3

    def __getitem__(self, _):
        return 2.0


def test_sequences_that_never_end():
    src = random_picture(4, 5, 3)
    assert np.array_equal(tavix.multiply_add(src, Endless(), 1), tavix.multiply_add(src, 2, 1))
    with pytest.raises(ValueError, match="scale must be a number"):
        tavix.multiply_add(src, range(2**62), 1)


def test_frames_that_were_never_made():
    frame = tavix.Frame.__new__(tavix.Frame)
    with pytest.raises(TypeError, match="never made"):
        tavix.Frame(frame, "rgb24")
    for call in (
        lambda: tavix.mean(frame),
        lambda: memoryview(frame),
        lambda: tavix.resize(random_picture(2, 2), out=frame),
    ):
        with pytest.raises((TypeError, ValueError, BufferError, tavix.TavixError)):
            call()
    with pytest.raises(ValueError, match="no pixels"):
        tavix.to_av(frame)


def test_enumerations():
    import enum

    for name in tavix.__all__:
        thing = getattr(tavix, name)
        if isinstance(thing, type) and issubclass(thing, enum.Enum):
            assert issubclass(thing, enum.IntEnum) and len(thing) >= 2
            assert thing.__module__ == "tavix"
    assert tavix.PixelFormat.I420 == 10 and tavix.ColorSpace["BT709"] == 1
