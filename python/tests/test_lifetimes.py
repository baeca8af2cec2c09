# SPDX-License-Identifier: Apache-2.0
"""References and memory: whatever is exported lives as long as it is used, and no longer."""

import gc
import logging
import sys
import weakref

import numpy as np
import pytest
import torch
from pictures import padded, random_picture

import tavix


def resident_bytes():
    with open("/proc/self/statm") as status:
        return int(status.read().split()[1]) * 4096


def calls():
    u8, f32 = random_picture(8, 8), random_picture(8, 8, dtype=np.float32)
    blob, frame = tavix.to_blob(u8), tavix.Frame(u8, "bgr24")
    nv12 = tavix.Frame.zeros("nv12", 8, 8)
    tensor = torch.zeros(8, 8, 3, dtype=torch.uint8)
    out = np.zeros_like(u8)

    def refused():
        with pytest.raises(tavix.TavixError):
            tavix.split(u8, "a")

    def refused_with_exception():
        with pytest.raises(tavix.TavixError):
            tavix.copy_region(u8, out, (9, 9, 9, 9), (0, 0, 1, 1))

    def refused_arguments():
        with pytest.raises(ValueError):
            tavix.mean(u8[::-1])

    return {
        "add": lambda: tavix.add(u8, u8),
        "add into out": lambda: tavix.add(u8, u8, alpha=(1, 2, 3), out=out),
        "exp": lambda: tavix.exp(f32, [1, 2, 3]),
        "mean": lambda: tavix.mean(u8),
        "softmax": lambda: tavix.softmax(blob),
        "convert": lambda: tavix.convert(u8, "nv12", color_space="bt709"),
        "convert a frame": lambda: tavix.convert(nv12, "rgb24").array,
        "to_blob": lambda: tavix.to_blob([u8, u8], dtype=np.uint8),
        "from_blob": lambda: tavix.from_blob(blob),
        "normalize": lambda: tavix.normalize(u8, (1, 2, 3)),
        "resize": lambda: tavix.resize(u8, (4, 4), interpolation="area"),
        "resize by scale": lambda: tavix.resize(frame, scale=2),
        "warp": lambda: tavix.warp_affine(u8, [[1, 0, 0], [0, 1, 0]]),
        "border": lambda: tavix.copy_make_border(u8, 1, 1, 1, 1),
        "filter2d": lambda: tavix.filter2d(f32, f32[:3, :3, 0].copy()),
        "split": lambda: tavix.split(u8, "bgr"),
        "add_mask": lambda: tavix.add_mask(u8, u8[..., 0].copy()),
        "product": lambda: tavix.product(u8, u8),
        "frame": lambda: tavix.Frame(u8, "rgb24").region(1, 1, 4, 4).planes,
        "frame of planes": lambda: tavix.Frame(nv12.planes, "nv12"),
        "zeros": lambda: tavix.Frame.zeros("i420", 8, 8).planes,
        "tensor": lambda: tavix.mean(tensor),
        "dlpack": lambda: torch.from_dlpack(frame),
        "buffer": lambda: memoryview(frame).nbytes,
        "png": lambda: frame._repr_png_(),
        "refused": refused,
        "refused with an exception": refused_with_exception,
        "refused arguments": refused_arguments,
    }


SLOW = ("png", "dlpack", "tensor", "refused", "refused with an exception", "refused arguments")


@pytest.mark.parametrize("name", calls())
def test_memory_does_not_grow(name, monkeypatch):
    # pytest keeps every line that is logged.
    monkeypatch.setattr(logging.getLogger("tavix"), "propagate", False)
    call = calls()[name]
    count = 10_000 if name in SLOW else 100_000
    for _ in range(count // 10):
        call()
    gc.collect()
    before, blocks = resident_bytes(), sys.getallocatedblocks()
    for _ in range(count):
        call()
    gc.collect()
    assert resident_bytes() - before < 1 << 20
    assert sys.getallocatedblocks() - blocks < 500


def test_references_are_those_of_before():
    src, out = random_picture(5, 6), np.zeros((5, 6, 3), np.uint8)
    scale = [1.0, 2.0, 3.0]
    before = [sys.getrefcount(thing) for thing in (src, out, scale, None)]
    for _ in range(100):
        tavix.multiply_add(src, scale, out=out)
        tavix.fill(out, 1)
        tavix.mean(src)
    after = [sys.getrefcount(thing) for thing in (src, out, scale, None)]
    assert np.abs(np.subtract(before, after)).max() <= 5


def test_planes_keep_the_memory_of_their_frame():
    frame = tavix.Frame.zeros("nv12", 640, 480)
    luma, chroma = frame.planes
    luma[...], chroma[...] = 3, 4
    del frame, luma
    gc.collect()
    assert (chroma == 4).all()
    part = chroma[100:, 50:]
    del chroma
    gc.collect()
    assert (part == 4).all()


def test_frames_keep_the_memory_of_their_arrays():
    array = padded(random_picture(5, 6))
    gone = weakref.ref(array)
    frame = tavix.Frame(array, "rgb24")
    expected = array.copy()
    part = frame.region(1, 1, 3, 3)
    del array, frame
    gc.collect()
    np.testing.assert_array_equal(part.array, expected[1:4, 1:4])
    del part
    gc.collect()
    assert gone() is None


def test_views_of_frames_keep_them_alive():
    for export in (memoryview, np.asarray, torch.from_dlpack):
        frame = tavix.fill(tavix.Frame.zeros("rgb24", 64, 48), 9)
        view = export(frame)
        del frame
        gc.collect()
        assert (np.asarray(view) == 9).all()


def test_tensors_die_with_their_arrays():
    deleted = []

    class Tensor:
        def __init__(self):
            self.inner = np.zeros((2, 3), np.uint8)

        def __dlpack_device__(self):
            return (1, 0)

        def __dlpack__(self):
            return self.inner.__dlpack__()

    tensor = Tensor()
    weakref.finalize(tensor.inner, deleted.append, 1)
    seen = tavix.from_dlpack(tensor)
    del tensor
    gc.collect()
    assert not deleted and not seen.any()
    del seen
    gc.collect()
    assert deleted == [1]


def test_new_frames_are_freed():
    before = resident_bytes()
    for _ in range(200):
        tavix.resize(tavix.Frame.zeros("rgb24", 640, 480), scale=2)  # 3.7 MB each
    assert resident_bytes() - before < 32 << 20
