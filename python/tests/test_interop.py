# SPDX-License-Identifier: Apache-2.0
"""Memory of other programs: PyTorch, PyAV, buffers. Nothing is copied unless a name says so."""

import array
import ctypes
import subprocess

import av
import numpy as np
import pytest
import torch
from pictures import random_picture

import tavix


def test_tensors_of_torch_are_pictures():
    tensor = torch.arange(60, dtype=torch.uint8).reshape(4, 5, 3)
    np.testing.assert_array_equal(tavix.sum(tensor), tensor.numpy().reshape(-1, 3).sum(0))
    assert tavix.fill(tensor, 7) is tensor
    assert (tensor == 7).all()
    out = torch.zeros(4, 5, 3)
    assert tavix.normalize(tensor, 1, 2, out=out) is out and (out == 12).all()
    part = torch.zeros(6, 8, 3, dtype=torch.uint8)[1:5, 2:7]
    assert tavix.copy(tensor, part) is part and (part == 7).all()
    with pytest.raises(ValueError, match="packed rows"):
        tavix.mean(torch.zeros(3, 4, 5, dtype=torch.uint8).permute(1, 2, 0))


def test_from_dlpack_shares_and_writes():
    tensor = torch.zeros(2, 3, dtype=torch.int16)
    seen = tavix.from_dlpack(tensor)
    seen[1, 2] = 5
    assert tensor[1, 2] == 5 and seen.flags.writeable and seen.dtype == np.int16
    address = tensor.data_ptr()
    del tensor
    assert seen.ctypes.data == address and seen[1, 2] == 5
    for dtype in (torch.float64, torch.float16, torch.bool, torch.complex64):
        with pytest.raises((TypeError, ValueError, RuntimeError, BufferError)):
            tavix.from_dlpack(torch.zeros(2, dtype=dtype))
    with pytest.raises(TypeError, match="capsule"):
        used = torch.utils.dlpack.to_dlpack(torch.zeros(2))
        torch.utils.dlpack.from_dlpack(used)
        tavix._tavix._array_of_dlpack(used)
    with pytest.raises((RuntimeError, BufferError)):
        tavix.from_dlpack(torch.zeros(2, requires_grad=True))


def test_tensors_that_are_elsewhere():
    class Elsewhere:
        def __dlpack_device__(self):
            return (2, 0)

        def __dlpack__(self):
            raise AssertionError("nobody asks")

    with pytest.raises(ValueError, match="host memory"):
        tavix.mean(Elsewhere())


def test_torch_takes_frames_and_arrays():
    frame = tavix.Frame.zeros("rgbf32", 5, 4)
    tensor = torch.from_dlpack(frame)
    tensor += 2
    assert (frame.array == 2).all() and tuple(tensor.shape) == (4, 5, 3)
    array_of_frame = frame.array
    del frame
    tensor += 1
    assert (array_of_frame == 3).all()
    blob = torch.from_dlpack(tavix.to_blob(random_picture(4, 5)))
    assert tuple(blob.shape) == (1, 3, 4, 5) and blob.is_contiguous()
    frozen = random_picture(4, 5)
    frozen.flags.writeable = False
    with pytest.raises((BufferError, TypeError)):
        torch.from_dlpack(tavix.Frame(frozen, "rgb24"))


def test_tensors_in_and_out_of_blobs():
    store = torch.zeros(3, 3, 4, 5)
    src = random_picture(4, 5)
    tavix.to_blob(src, out=store[1:2])
    np.testing.assert_array_equal(store[1].numpy(), src.transpose(2, 0, 1))
    assert not store[0].any() and not store[2].any()
    logits = torch.randn(4, 9)
    expected = torch.softmax(logits, -1)
    assert tavix.softmax(logits, out=logits) is logits
    torch.testing.assert_close(logits, expected, rtol=1e-5, atol=1e-7)


def test_buffers_are_pictures():
    rows = memoryview(bytearray(range(24))).cast("B", (2, 4, 3))
    assert tavix.sum(rows).sum() == sum(range(24))
    tavix.fill(rows, 9)
    assert bytes(rows) == b"\x09" * 24
    floats = memoryview(array.array("f", range(6))).cast("B").cast("f", (2, 3))
    assert tavix.max(floats) == [5]
    with pytest.raises(ValueError, match="read-only"):
        tavix.fill(memoryview(bytes(6)).cast("B", (2, 3)), 1)
    with pytest.raises(ValueError):
        tavix.mean(b"no shape")


class Exporter:
    def __init__(self, array):
        self.array = array

    @property
    def __array_interface__(self):
        return self.array.__array_interface__


def test_array_interface():
    src = random_picture(4, 5)
    tavix.fill(Exporter(src), 3)
    assert (src == 3).all()


class Said:
    """Exports what it is told to, over memory of its own."""

    def __init__(self, **said):
        self.memory = np.zeros(144, np.uint8)
        interface = self.memory.__array_interface__
        self.__array_interface__ = {**interface, "shape": (6, 8, 3), "strides": None, **said}


@pytest.mark.parametrize(
    "said",
    [
        pytest.param({"data": (0, False)}, id="a null address"),
        pytest.param({"data": bytearray(143)}, id="a buffer that is too small"),
        pytest.param({"data": bytearray(150), "offset": 7}, id="an offset that is too large"),
        pytest.param({"data": bytearray(150), "strides": (24, 3, 2)}, id="strides that leave it"),
        pytest.param({"shape": (2**70, 1)}, id="a size that no number holds"),
        pytest.param({"shape": (-6, 8, 3)}, id="a negative size"),
    ],
)
def test_interfaces_that_lie(said):
    with pytest.raises((TypeError, ValueError), match="memory|buffer|strides|negative|large|coerce"):
        tavix.mean(Said(**said))


def test_an_interface_without_a_shape():
    thing = Said(data=bytearray(144))
    del thing.__array_interface__["shape"]
    with pytest.raises(ValueError, match="__array_interface__"):
        tavix.mean(thing)


def test_an_interface_over_a_buffer():
    thing = Said(data=bytearray(150), offset=6)
    tavix.fill(thing, 3)
    assert thing.__array_interface__["data"] == bytes(6) + b"\x03" * 144


class Capsule:
    """A tensor of 6 x 8 bytes with a record that is changed before it is handed over."""

    def __init__(self, offset, value):
        self.memory = np.zeros((6, 10), np.uint8)[:, :8]
        self.offset, self.value = offset, value

    def __dlpack_device__(self):
        return (1, 0)

    def __dlpack__(self):
        capsule = self.memory.__dlpack__()
        pointer_of = ctypes.pythonapi.PyCapsule_GetPointer
        pointer_of.restype, pointer_of.argtypes = ctypes.c_void_p, (ctypes.py_object, ctypes.c_char_p)
        address = pointer_of(capsule, b"dltensor")
        if self.offset == "shape":
            address, self.offset = ctypes.c_void_p.from_address(address + 24).value, 0
        if self.offset == "strides":
            address, self.offset = ctypes.c_void_p.from_address(address + 32).value, 0
        ctypes.memmove(address + self.offset, self.value, len(self.value))
        return capsule


@pytest.mark.parametrize(
    ("offset", "value", "sentence"),
    [
        pytest.param(0, bytes(8), "no memory", id="null data"),
        pytest.param(24, bytes(8), "no shape", id="a null shape"),
        pytest.param(16, b"\xff" * 4, "-1 dimensions", id="fewer than no dimensions"),
        pytest.param(16, b"\x21\0\0\0", "33 dimensions", id="too many dimensions"),
        pytest.param("shape", b"\xff" * 8, "negative", id="a negative size"),
        pytest.param("shape", b"\xff" * 7 + b"\x7f", "larger than any", id="a huge size"),
        pytest.param("strides", b"\xff" * 8, "packed rows", id="a negative stride"),
    ],
)
def test_capsules_that_lie(offset, value, sentence):
    with pytest.raises(ValueError, match=sentence):
        tavix.mean(Capsule(offset, value))


def test_what_is_no_tensor_and_no_frame():
    read_only = np.zeros((2, 2), np.uint8)
    read_only.flags.writeable = False
    with pytest.raises(ValueError, match="cannot be shared"):
        tavix.from_dlpack(read_only)
    for call in (tavix.from_dlpack, tavix.from_av, tavix.to_av):
        with pytest.raises(TypeError, match="object"):
            call(object())
    lookalike = type("VideoFrame", (), {"__module__": "av.video.frame"})()
    with pytest.raises(TypeError, match="no memory to share"):
        tavix.mean(lookalike)
    with pytest.raises(ValueError, match="no stream"):
        tavix.Frame.zeros("rgb24", 2, 2).__dlpack__(stream=3)


AV_FORMATS = ["rgb24", "bgr24", "gray", "bgra", "rgba", "nv12", "nv21", "yuv420p", "yuvj420p"]


@pytest.mark.parametrize("name", AV_FORMATS)
@pytest.mark.parametrize("size", [(64, 48), (70, 50)])
def test_frames_of_pyav(name, size):
    width, height = size
    picture = av.VideoFrame.from_ndarray(random_picture(height, width), "rgb24")
    source = picture.reformat(format=name)
    frame = tavix.from_av(source, color_space="bt709", color_range="tv")
    assert (frame.width, frame.height) == size and not frame.writeable
    assert frame.color_space is tavix.ColorSpace.BT709
    assert frame.color_range is tavix.ColorRange.LIMITED
    for plane, mine in zip(source.planes, frame.planes, strict=True):
        assert mine.ctypes.data == plane.buffer_ptr
    if name not in ("nv21", "yuvj420p"):
        expected = source.to_ndarray()
        packed = np.concatenate([tavix.copy(frame).planes[i].reshape(-1) for i in
                                 range(len(frame.planes))])  # fmt: skip
        np.testing.assert_array_equal(packed, expected.reshape(-1))


def test_range_of_pyav_without_being_told():
    assert tavix.from_av(av.VideoFrame(4, 4, "yuvj420p")).color_range is tavix.ColorRange.FULL
    assert tavix.from_av(av.VideoFrame(4, 4, "yuv420p")).color_range == 0


AV_SPACES = {
    "bt709": 1, "bt470bg": 2, "smpte170m": 3, "bt2020nc": 7, "bt2020c": 8, "unknown": 0,
    1: 1, 5: 2, 6: 3, 9: 7, 10: 8, 2: 0, "film": 0,
}  # fmt: skip


@pytest.mark.parametrize(("given", "code"), AV_SPACES.items())
@pytest.mark.parametrize(("spread", "range_code"), [("tv", 1), ("pc", 2), (1, 1), (2, 2), (0, 0)])
def test_spaces_and_ranges_of_pyav(given, code, spread, range_code):
    frame = tavix.from_av(av.VideoFrame(4, 4, "yuv420p"), color_space=given, color_range=spread)
    assert (frame.color_space, frame.color_range) == (code, range_code)


def test_frames_of_pyav_are_pictures_and_outlive_it():
    source = av.VideoFrame.from_ndarray(random_picture(48, 64), "rgb24").reformat(format="yuv420p")
    expected = tavix.convert(source, "rgb24").array
    frame = tavix.from_av(source)
    del source
    np.testing.assert_array_equal(tavix.convert(frame, "rgb24").array, expected)
    with pytest.raises(ValueError, match="read-only"):
        tavix.copy(frame, out=frame)
    with pytest.raises(ValueError, match="no counterpart"):
        tavix.from_av(av.VideoFrame(4, 4, "yuv444p"))


@pytest.mark.parametrize("name", ["rgb24", "bgra", "nv12", "yuv420p", "gray"])
def test_to_av(name):
    picture = av.VideoFrame.from_ndarray(random_picture(50, 70), "rgb24").reformat(format=name)
    picture.pts = 12
    frame = tavix.from_av(picture)
    made = tavix.to_av(frame)
    assert made.format.name == name and made.pts == 12
    np.testing.assert_array_equal(made.to_ndarray(), picture.to_ndarray())
    with pytest.raises(ValueError):
        tavix.to_av(tavix.Frame.zeros("rgbf32", 4, 4))


def test_a_decoded_video(tmp_path):
    path = tmp_path / "clip.mp4"
    subprocess.run(
        ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=duration=1:size=70x50:rate=5",
         "-pix_fmt", "yuv420p", "-c:v", "libx264", path],
        check=True,
    )  # fmt: skip
    with av.open(str(path)) as container:
        seen = [
            (source.to_ndarray(), tavix.copy(tavix.from_av(source)), source.pts)
            for source in container.decode(video=0)
        ]
    assert len(seen) == 5
    for expected, frame, pts in seen:
        assert frame.pts == pts
        packed = np.concatenate([plane.reshape(-1) for plane in frame.planes])
        np.testing.assert_array_equal(packed, expected.reshape(-1))
