# SPDX-License-Identifier: Apache-2.0
"""Colour conversion beside OpenCV, and what is refused."""

import cv2
import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from pictures import padded, random_picture, surroundings_untouched

import tavix

PACKED = {"rgb24": 3, "bgr24": 3, "rgba32": 4, "bgra32": 4}
FLOATS = {"rgbf32": 3, "bgrf32": 3, "rgbaf32": 4, "bgraf32": 4}
PLANAR = ("nv12", "nv21", "i420", "yv12")


def order(name):
    return [name.upper().replace("F32", "").rstrip("0123456789").index(c) for c in "RGB"]


@pytest.mark.parametrize("to", PACKED)
@pytest.mark.parametrize("source", PACKED)
@given(height=st.integers(1, 20), width=st.integers(1, 40), seed=st.integers(0, 99))
def test_packed(source, to, height, width, seed):
    src = padded(random_picture(height, width, PACKED[source], seed=seed))
    made = tavix.convert(src, to, source=source)
    np.testing.assert_array_equal(made[..., order(to)], src[..., order(source)])
    if PACKED[to] == 4:
        alpha = src[..., 3] if PACKED[source] == 4 else 255
        np.testing.assert_array_equal(made[..., 3], np.broadcast_to(alpha, made.shape[:2]))


@pytest.mark.parametrize("to", FLOATS)
@pytest.mark.parametrize("source", PACKED)
def test_bytes_and_floats(source, to):
    src = padded(random_picture(7, 33, PACKED[source]))
    floats = tavix.convert(src, to, source=source)
    np.testing.assert_allclose(floats[..., order(to)], src[..., order(source)] / 255, rtol=1e-6)
    back = tavix.convert(floats, source, source=to)
    np.testing.assert_array_equal(back[..., :3], src[..., :3])


@pytest.mark.parametrize("source", ["rgb24", "bgr24"])
def test_grey_is_that_of_opencv(source):
    src = padded(random_picture(40, 60))
    code = cv2.COLOR_RGB2GRAY if source == "rgb24" else cv2.COLOR_BGR2GRAY
    difference = cv2.absdiff(tavix.convert(src, "gray8", source=source), cv2.cvtColor(src, code))
    assert difference.max() <= 1


CV_FROM_PLANAR = {
    "nv12": cv2.COLOR_YUV2RGB_NV12,
    "nv21": cv2.COLOR_YUV2RGB_NV21,
    "i420": cv2.COLOR_YUV2RGB_I420,
    "yv12": cv2.COLOR_YUV2RGB_YV12,
}


@pytest.mark.parametrize("source", PLANAR)
def test_colour_from_420_is_that_of_opencv(source):
    buffer = np.random.default_rng(1).integers(16, 236, (48, 64), np.uint8)
    frame = tavix.Frame(buffer, source, color_space="bt601")
    made = tavix.convert(frame, "rgb24")
    expected = cv2.cvtColor(buffer, CV_FROM_PLANAR[source])
    assert isinstance(made, tavix.Frame) and made.format == tavix.PixelFormat.RGB24
    difference = cv2.absdiff(made.array, expected)
    assert difference.max() <= 3 and difference.mean() < 1


@pytest.mark.parametrize("to", ["i420", "yv12"])
def test_420_from_colour_is_that_of_opencv(to):
    # Smooth: OpenCV takes one pixel's chroma for a block, the library the mean of four.
    y, x = np.mgrid[0:32, 0:64]
    src = np.stack([x * 4, y * 8, (x + y) * 2], -1).astype(np.uint8)
    frame = tavix.convert(src, to, color_space="bt601", color_range="limited")
    code = cv2.COLOR_RGB2YUV_I420 if to == "i420" else cv2.COLOR_RGB2YUV_YV12
    expected = tavix.Frame(cv2.cvtColor(src, code), to)
    for made, other in zip(frame.planes, expected.planes, strict=True):
        assert cv2.absdiff(made, np.ascontiguousarray(other)).max() <= 3


@pytest.mark.parametrize("to", PLANAR)
@pytest.mark.parametrize("source", PLANAR)
def test_420_to_420_moves_samples(source, to):
    frame = tavix.Frame(np.random.default_rng(2).integers(0, 256, (12, 8), np.uint8), source)
    made = tavix.convert(frame, to)

    def samples(picture):
        name = picture.format.name
        luma, *chroma = picture.planes
        if name.startswith("NV"):
            chroma = [chroma[0][..., 0], chroma[0][..., 1]]
        return luma, *(chroma[::-1] if name in ("NV21", "YV12") else chroma)

    for a, b in zip(samples(frame), samples(made), strict=True):
        np.testing.assert_array_equal(a, b)


# Full range BT.709 and BT.2020 have the weights of limited range.
WHITE = {
    ("bt601", "limited"): 235, ("bt601", "full"): 255,
    ("bt709", "limited"): 235, ("bt709", "full"): 219,
    ("bt2020_ncl", "limited"): 233, ("bt2020_ncl", "full"): 217,
    (2, "limited"): 235, (tavix.ColorSpace.BT470BG, tavix.ColorRange.FULL): 255,
}  # fmt: skip


@pytest.mark.parametrize(("space", "color_range"), WHITE)
def test_spaces_and_ranges(space, color_range):
    src = np.full((4, 4, 3), 255, np.uint8)
    frame = tavix.convert(src, "nv12", color_space=space, color_range=color_range)
    assert (frame.planes[0] == WHITE[space, color_range]).all()
    assert (np.abs(frame.planes[1].astype(int) - 128) <= 1).all()
    other = tavix.Frame.zeros("nv12", 4, 4, color_space=space, color_range=color_range)
    assert (frame.color_space, frame.color_range) == (other.color_space, other.color_range)
    # The same from the frame to write into.
    tavix.convert(src, "nv12", out=other)
    np.testing.assert_array_equal(other.planes[0], frame.planes[0])


def test_odd_sizes_leave_zeros_in_a_new_frame():
    made = tavix.convert(tavix.Frame.zeros("i420", 5, 3), "rgb24").array
    assert (made[2] == 0).all() and (made[:, 4] == 0).all()


def test_out_and_in_place():
    src = padded(random_picture(6, 9))
    expected = src[..., ::-1].copy()
    out = padded(np.zeros_like(src))
    assert tavix.convert(src, "bgr24", out=out) is out
    np.testing.assert_array_equal(out, expected)
    assert tavix.convert(src, "bgr24", out=src) is src
    np.testing.assert_array_equal(src, expected)
    assert surroundings_untouched(out) and surroundings_untouched(src)
    grey = np.zeros((6, 9), np.uint8)
    assert tavix.convert(src, "gray8", out=grey) is grey


def test_padding_of_others_is_never_written():
    around = tavix.Frame.zeros("i420", 12, 8, alignment=16)
    part = around.region(0, 0, 8, 4)
    with pytest.raises(ValueError, match="no padding"):
        tavix.convert(np.zeros((4, 8), np.uint8), "i420", out=part)
    with pytest.raises(ValueError, match="no padding"):
        grey = np.zeros((4, 16), np.uint8)[:, :8]
        tavix.convert(part, "gray8", out=grey)
    np.testing.assert_array_equal(tavix.convert(part, "gray8").array, part.planes[0])


def test_refusals():
    src = random_picture(4, 6)
    with pytest.raises(ValueError, match="size"):
        tavix.convert(src, "bgr24", out=np.zeros((4, 5, 3), np.uint8))
    with pytest.raises(ValueError):
        tavix.convert(src, "bgr24", out=np.zeros((4, 6, 4), np.uint8))
    with pytest.raises(ValueError):
        tavix.convert(src, "bgr24", source="rgba32")
    with pytest.raises(ValueError):
        tavix.convert(src, "bgr24", source="nv12")
    with pytest.raises(ValueError):
        tavix.convert(src, "rgb25")
    with pytest.raises(ValueError):
        tavix.convert(src, 6)
    with pytest.raises(tavix.TavixError, match="UNSUPPORTED"):
        tavix.convert(src, "grayf32")
    raw = np.zeros(4 * 6 * 16, np.uint8)
    floats = raw.view(np.float32).reshape(4, 6, 4)
    with pytest.raises(ValueError, match="in place"):
        tavix.convert(raw[: 4 * 6 * 4].reshape(4, 6, 4), "rgbaf32", out=floats)
