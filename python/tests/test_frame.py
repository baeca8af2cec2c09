# SPDX-License-Identifier: Apache-2.0
"""Frames: their planes are views of the caller's memory, whatever it looks like."""

import struct
import zlib

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from pictures import padded, random_picture

import tavix

FORMATS = list(tavix.PixelFormat)
PLANAR = [f for f in FORMATS if f.name in ("NV12", "NV21", "YV12", "I420")]
PACKED = [f for f in FORMATS if f not in PLANAR]


def chroma_shapes(code, width, height):
    half = ((height + 1) // 2, (width + 1) // 2)
    return [(*half, 2)] if code.name.startswith("NV") else [half, half]


@pytest.mark.parametrize("code", FORMATS)
@given(width=st.integers(1, 20), height=st.integers(1, 20), alignment=st.sampled_from([1, 16, 64]))
def test_zeros(code, width, height, alignment):
    frame = tavix.Frame.zeros(code, width, height, alignment=alignment)
    assert (frame.format, frame.width, frame.height) == (code, width, height)
    assert frame.planes[0].shape[:2] == (height, width)
    for plane in frame.planes:
        assert not plane.any() and plane.strides[0] % alignment == 0
        plane += 1  # all of it is there
    if code in PLANAR:
        assert [p.shape for p in frame.planes[1:]] == chroma_shapes(code, width, height)
    assert frame.channels == (frame.planes[0].shape[2] if frame.planes[0].ndim == 3 else 1)


@pytest.mark.parametrize("code", PLANAR)
@given(width=st.integers(1, 20), height=st.integers(1, 20))
def test_planes_of_the_caller(code, width, height):
    planes = [padded(random_picture(height, width, 0))] + [
        padded(random_picture(*shape)) if len(shape) == 3 else padded(random_picture(*shape, 0))
        for shape in chroma_shapes(code, width, height)
    ]
    frame = tavix.Frame(planes, code)
    for plane, given_plane in zip(frame.planes, planes, strict=True):
        assert np.shares_memory(plane, given_plane)
        np.testing.assert_array_equal(plane, given_plane)


@pytest.mark.parametrize("code", PLANAR)
@given(width=st.integers(1, 10), height=st.integers(1, 10), flat=st.booleans())
def test_one_buffer(code, width, height, flat):
    if flat:
        shapes = [(height, width), *chroma_shapes(code, width, height)]
        buffer = np.arange(sum(int(np.prod(s)) for s in shapes)).astype(np.uint8)
        frame = tavix.Frame(buffer, code, width=width, height=height)
    else:
        width, height = 2 * width, 2 * height
        buffer = np.arange(height * 3 // 2 * width).astype(np.uint8).reshape(-1, width)
        frame = tavix.Frame(buffer, code)
    assert (frame.width, frame.height) == (width, height)
    parts = [plane.reshape(-1) for plane in frame.planes]
    np.testing.assert_array_equal(np.concatenate(parts), buffer.reshape(-1))
    assert all(np.shares_memory(plane, buffer) for plane in frame.planes)


def test_rows_of_nv12_may_be_padded_in_one_buffer():
    around = np.zeros((6, 32), np.uint8)
    frame = tavix.Frame(around[:, :8], "nv12")
    assert [p.strides[0] for p in frame.planes] == [32, 32]
    assert np.shares_memory(frame.planes[1], around)


def test_joined_chroma_is_split_without_a_copy():
    chroma = np.arange(16, dtype=np.uint8).reshape(2, 8)
    frame = tavix.Frame([np.zeros((4, 8), np.uint8), chroma], "nv12")
    np.testing.assert_array_equal(frame.planes[1][..., 1], chroma[:, 1::2])
    assert np.shares_memory(frame.planes[1], chroma)
    chroma.flags.writeable = False
    frozen = tavix.Frame([np.zeros((4, 8), np.uint8), chroma], "nv12")
    assert not frozen.writeable and not frozen.planes[1].flags.writeable


@pytest.mark.parametrize("code", PACKED)
def test_packed_frames_are_arrays(code):
    dtype = np.float32 if code.name.endswith("F32") else np.uint8
    channels = {"GRA": 0, "RGB": 3, "BGR": 3}[code.name[:3]] + code.name.startswith(("RGBA", "BGRA"))
    array = padded(random_picture(5, 7, channels, dtype))
    frame = tavix.Frame(array, code)
    assert frame.array is array
    assert np.shares_memory(np.asarray(frame), array)
    assert np.shares_memory(np.asarray(memoryview(frame)), array)
    view = np.array(frame, copy=False)
    assert view.strides == array.strides and view.dtype == dtype
    assert frame.__array_interface__["data"] == array.__array_interface__["data"]


def test_planar_frames_are_no_arrays():
    frame = tavix.Frame.zeros("nv12", 4, 4)
    with pytest.raises(BufferError):
        memoryview(frame)
    for use in (np.asarray, lambda f: f.array, lambda f: f.__array_interface__,
                lambda f: f.__dlpack__()):  # fmt: skip
        with pytest.raises(TypeError, match="planes"):
            use(frame)


def test_a_frame_that_was_never_initialised_is_empty():
    frame = tavix.Frame.__new__(tavix.Frame)
    assert frame.planes == () and frame.width == 0
    for use in (memoryview, np.asarray, tavix.mean, tavix.copy, lambda f: tavix.fill(f, 1),
                lambda f: f.region(0, 0, 1, 1)):  # fmt: skip
        with pytest.raises((BufferError, TypeError, ValueError, tavix.TavixError)):
            use(frame)


@given(data=st.data(), code=st.sampled_from(FORMATS))
def test_regions(data, code):
    frame = tavix.Frame.zeros(code, 16, 12, alignment=32)
    step = 2 if code in PLANAR else 1
    x, y = data.draw(st.integers(0, 7)) * step, data.draw(st.integers(0, 5)) * step
    width, height = data.draw(st.integers(1, 16 - x)), data.draw(st.integers(1, 12 - y))
    part = frame.region(x, y, width, height)
    assert (part.width, part.height, part.format) == (width, height, code)
    for plane in part.planes:
        plane += 1
    expected = np.zeros((12, 16))
    expected[y : y + height, x : x + width] = 1
    luma = frame.planes[0]
    np.testing.assert_array_equal(luma if luma.ndim == 2 else luma[..., 0], expected)
    # What the library reads is what the arrays show.
    copied = tavix.copy(part)
    for made, seen in zip(copied.planes, part.planes, strict=True):
        np.testing.assert_array_equal(made, seen)


def test_attributes():
    frame = tavix.Frame.zeros("i420", 4, 4, color_space="bt709", color_range="full")
    frame.pts, frame.duration = 90, 3
    assert frame.color_space is tavix.ColorSpace.BT709
    frame.color_space, frame.color_range = 9, "limited"
    assert frame.color_space == 9 and frame.color_range is tavix.ColorRange.LIMITED
    made = tavix.convert(frame, "bgr24")
    assert (made.pts, made.duration) == (90, 3)
    with pytest.raises(AttributeError):
        frame.width = 3
    with pytest.raises(ValueError):
        frame.color_space = "bt123"


def test_frames_give_frames_of_their_format():
    frame = tavix.Frame(random_picture(4, 6), "bgr24", color_space="bt709")
    for made in (
        tavix.add(frame, frame),
        tavix.blur(frame, 3),
        tavix.resize(frame, (3, 2)),
        tavix.resize(frame, scale=2),
        tavix.copy_make_border(frame, 1, 1, 1, 1),
        tavix.multiply_add(frame, 2),
    ):
        assert made.format == tavix.PixelFormat.BGR24
        assert made.color_space is tavix.ColorSpace.BT709
    assert tavix.normalize(frame).format == tavix.PixelFormat.BGRF32
    # An array beside a frame has the frame's order.
    assert tavix.add(frame, random_picture(4, 6)).format == tavix.PixelFormat.BGR24
    assert isinstance(tavix.add(random_picture(4, 6), frame), np.ndarray)
    with pytest.raises(tavix.TavixError):
        tavix.add(frame, tavix.Frame(random_picture(4, 6), "rgb24"))


@pytest.mark.parametrize(
    ("data", "code", "extra"),
    [
        (np.zeros((4, 6), np.uint8), "rgb24", {}),
        (np.zeros((4, 6, 3), np.float32), "rgb24", {}),
        (np.zeros((4, 6, 3), np.uint8), "nv12", {}),
        (np.zeros((7, 6), np.uint8), "nv12", {}),
        (np.zeros((6, 5), np.uint8), "nv12", {}),
        (np.zeros((12, 16), np.uint8)[:, :8], "i420", {}),
        (np.zeros(23, np.uint8), "i420", {"width": 4, "height": 4}),
        (np.zeros(24, np.uint8), "i420", {}),
        (np.zeros((6, 4), np.uint8), "i420", {"width": 5}),
        ([np.zeros((4, 4), np.uint8)], "nv12", {}),
        ([np.zeros((4, 4), np.uint8), np.zeros((2, 3, 2), np.uint8)], "nv12", {}),
        ([np.zeros((4, 4), np.uint8), np.zeros((2, 2, 2), np.int8)], "nv12", {}),
        ([np.zeros((4, 4), np.uint8), np.zeros((4, 2, 2), np.uint8)[::-2]], "nv12", {}),
        ([np.zeros((4, 4), np.uint8)] + [np.zeros((2, 2), np.uint8)] * 3, "i420", {}),
        ([np.zeros((4, 4), np.uint8), np.zeros((2, 2), np.uint8), np.zeros((2, 4), np.uint8)[:, :2]],
         "i420", {}),
        ([np.zeros((0, 4), np.uint8), np.zeros((0, 2, 2), np.uint8)], "nv12", {}),
        (np.zeros((0, 4, 3), np.uint8), "rgb24", {}),
        (np.zeros((4, 6, 3), np.uint8), "nosuch", {}),
        (np.zeros((4, 6, 3), np.uint8), 6, {}),
    ],
)  # fmt: skip
def test_refusals(data, code, extra):
    with pytest.raises(ValueError):
        tavix.Frame(data, code, **extra)


def test_regions_that_leave_the_frame():
    frame = tavix.Frame.zeros("nv12", 8, 6)
    for region in ((0, 0, 9, 6), (8, 0, 1, 1), (-2, 0, 4, 4), (0, 0, 0, 1), (1, 0, 2, 2),
                   (0, 0, 2**31 - 1, 2)):  # fmt: skip
        with pytest.raises(ValueError):
            frame.region(*region)


def test_impossible_sizes():
    for width, height in ((0, 4), (4, -1), (2**31 - 1, 2**31 - 1)):
        with pytest.raises(tavix.TavixError):
            tavix.Frame.zeros("rgb24", width, height)
    with pytest.raises(tavix.TavixError):
        tavix.Frame.zeros("rgb24", 4, 4, alignment=3)


def decode_png(data):
    """The pixels of a PNG without filters, as _repr_png_ writes them."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    chunks, at = {}, 8
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at : at + 8])
        body = data[at + 8 : at + 8 + length]
        (checksum,) = struct.unpack(">I", data[at + 8 + length : at + 12 + length])
        assert checksum == zlib.crc32(kind + body)
        chunks[kind], at = body, at + 12 + length
    width, height, depth, kind = struct.unpack(">IIBB", chunks[b"IHDR"][:10])
    assert depth == 8
    channels = {0: 1, 2: 3, 6: 4}[kind]
    rows = np.frombuffer(zlib.decompress(chunks[b"IDAT"]), np.uint8).reshape(height, -1)
    assert not rows[:, 0].any()
    return rows[:, 1:].reshape(height, width, channels)


@pytest.mark.parametrize("code", FORMATS)
def test_display(code):
    import cv2

    source = random_picture(6, 8, 3)
    float_format = code.name.endswith("F32")
    if code.name == "GRAYF32":
        frame = tavix.Frame(source[..., 0].astype(np.float32) / 255, code)
    else:
        frame = tavix.convert(source, code)
        frame = frame if isinstance(frame, tavix.Frame) else tavix.Frame(frame, code)
    shown = decode_png(frame._repr_png_())
    assert shown.shape[:2] == (6, 8)
    read = cv2.imdecode(np.frombuffer(frame._repr_png_(), np.uint8), cv2.IMREAD_UNCHANGED)
    assert read.shape[:2] == (6, 8)
    if code in PACKED and not code.name.startswith("GRAY"):
        np.testing.assert_array_equal(shown[..., :3], source)
        assert shown.shape[2] == (4 if frame.channels == 4 else 3)
    elif code.name.startswith("GRAY"):
        expected = source[..., 0] if float_format else frame.array
        np.testing.assert_array_equal(shown[..., 0], expected)
