# SPDX-License-Identifier: Apache-2.0
"""Calls the package tavix with arguments that lie or make no sense, each call in turn in this process.

    hostile_objects.py PROGRESS SEED FIRST END [FAULT]

The number of the call is written to the file PROGRESS before it is made, so that whoever started this
knows which one ended or stopped the process. A call must return, or raise an exception of a documented
type with a sentence, and must leave the bytes around its pictures alone. Calls that do not are told on
stdout, one line for each. FAULT plants one: crash, hang, exception, silence, overrun or memory.
"""

import array
import ctypes
import io
import mmap
import os
import random
import signal
import sys
import time
import warnings

import numpy as np
import tavix

DOCUMENTED = (tavix.TavixError, TypeError, ValueError, MemoryError)
INT_LIMITS = (-1, 0, 1, 2**31 - 1, 2**31, -(2**31), 2**63 - 1, 2**63, 10**400)
EXTENTS = (-(2**63), -1, 0, 1, 2, 2**16, 2**31 - 1, 2**31, 2**40, 2**62, 2**63 - 1)
FORMATS = [f.name.lower() for f in tavix.PixelFormat]


class ItsOwn(Exception):
    """What an argument's own code raises, which the package hands on."""


# What no argument is.


class Raises:
    """Raises from wherever it is asked for something."""

    def _raise(self, *_):
        raise ItsOwn("an argument that refuses to answer")

    __len__ = __getitem__ = __iter__ = __float__ = __index__ = __int__ = __array__ = _raise
    __array_interface__ = property(_raise)


class LongList(list):
    """Says that it has more items than it has."""

    def __len__(self):
        return 2**40


class Shrinks:
    """A sequence of which nothing is left once somebody has asked for its length."""

    def __len__(self):
        return 4

    def __getitem__(self, n):
        raise IndexError(n)


def circle():
    items = []
    items.append(items)
    return items


RUBBISH = [lambda: None, lambda: 3, lambda: -1.5, lambda: float("nan"), lambda: 10**400, lambda: "text", lambda: "a\0b",
           lambda: "\ud800", lambda: b"", object, lambda: object, dict, list, tuple, lambda: [[1, 2], [3]], circle,
           Raises, LongList, Shrinks, lambda: True, lambda: 1j, lambda: slice(1), lambda: (i for i in (1, 2)),
           lambda: range(4), lambda: {1, 2}, lambda: np.float32(3), lambda: np.array(3), lambda: np.array("x"),
           lambda: np.datetime64("NaT"), lambda: Ellipsis, lambda: NotImplemented, lambda: sys, lambda: tavix.add]

# Memory that is there, described wrongly.


class Interface:
    """An object whose __array_interface__ says anything. What it says of its size, its memory has."""

    def __init__(self, chooser):
        self.chooser, self.memory = chooser, bytearray(1 << 12)
        where = (ctypes.addressof(ctypes.c_char.from_buffer(self.memory)), chooser.random() < 0.3)
        self.said = {"version": 3, "typestr": "|u1", "shape": (6, 8, 3), "data": where}
        lies = {
            "version": (None, 2, 10**9, "3"),
            "typestr": ("|u2", "<u1", ">f4", "|O", "|V3", "x", "", None, "<f4", "|S0", "|u99999999999"),
            "shape": ((6, 8, 3, -1), (-6, -8, 3), (2**62, 2**62, 3), (2**40, 0), (0, 2**40, 3), "68", None, (), (1,) * 33,
                      (6.5, 8), (2**70, 1), 6),
            "strides": ((0, 0, 0), (24, 3), "x", (1, 1, 1), (3, 24, 1), (8, 1, 48), (2**63, 1, 1), ()),
            "data": ((0, False), (2**64, False), (None, False), (where[0],), "x", None, bytes(5), bytearray(),
                     memoryview(bytes(7)), (where[0], 0, 0), mmap.mmap(-1, 50)),
            "offset": (-1, 2**62, 2**70, 4000, 5000, "x"),
            "descr": ([("a", "|u1")], "x", [], None),
            "mask": (np.zeros(3), 5),
        }
        for key in chooser.sample(sorted(lies), chooser.choice((1, 1, 2))):
            self.said[key] = chooser.choice(lies[key])
        if "data" not in self.said or chooser.random() < 0.2:
            # A buffer, whose size is known: NumPy does not ask for it.
            self.said["data"] = bytearray(chooser.choice((0, 1, 143, 144, 145)))
        if chooser.random() < 0.1:
            del self.said[chooser.choice(sorted(self.said))]

    @property
    def __array_interface__(self):
        return self.said


class OddInterface(Interface):
    @property
    def __array_interface__(self):
        return self.chooser.choice(([self.said], 5, None, self, {}, {1: 2}))


class DLDataType(ctypes.Structure):
    _fields_ = [("code", ctypes.c_uint8), ("bits", ctypes.c_uint8), ("lanes", ctypes.c_uint16)]


class DLTensor(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("device_type", ctypes.c_int32), ("device_id", ctypes.c_int32),
                ("ndim", ctypes.c_int32), ("dtype", DLDataType), ("shape", ctypes.POINTER(ctypes.c_int64)),
                ("strides", ctypes.POINTER(ctypes.c_int64)), ("byte_offset", ctypes.c_uint64)]


class DLManagedTensor(ctypes.Structure):
    pass


Deleter = ctypes.CFUNCTYPE(None, ctypes.POINTER(DLManagedTensor))
DLManagedTensor._fields_ = [("tensor", DLTensor), ("context", ctypes.c_void_p), ("deleter", Deleter)]

new_capsule = ctypes.pythonapi.PyCapsule_New
new_capsule.restype = ctypes.py_object
new_capsule.argtypes = (ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p)


class Tensor:
    """An object whose __dlpack__ says anything but where it claims memory that it does not have."""

    def __init__(self, chooser):
        self.chooser = chooser
        self.memory = (ctypes.c_char * (1 << 12))()
        self.deleted = 0
        self.device = chooser.choice([(1, 0)] * 12 + [(2, 0), (1,), None, "cpu", (None, 0), 5, (2**70, 0), ("1", "0")])
        self.managed = self.made()
        self.name = chooser.choice([b"dltensor"] * 12 + [b"used_dltensor", b"x", None])

    def made(self):
        chooser = self.chooser
        shape, strides = [6, 8, 3], None
        dtype = chooser.choice([(1, 8, 1)] * 4 + [(2, 32, 1), (1, 8, 0), (1, 8, 4), (2, 8, 1), (1, 0, 1), (7, 255, 65535), (2, 64, 1)])
        lie = chooser.choice(("none", "data", "shape", "ndim", "no shape", "strides", "offset", "device", "negative"))
        size = 4 if dtype[:2] == (2, 32) else 1
        if lie == "shape":
            # What is negative, too large for any memory, or empty: all else is a matter of trust.
            shape = chooser.choice(([2**62, 2**62, 3], [-6, 8, 3], [6, -8, 3], [0, 2**40, 3], [2**40, 0], [-(2**63)] * 3, [0], []))
        elif lie == "strides":
            # Rows that lie on top of each other, or backwards. They all stay within the memory.
            strides = chooser.choice(([0, 0, 0], [1, 1, 1], [24, 3, 0], [3, 24, 1], [8, 1, 48], [2**61, 2**61, 2**61], [-(2**62), 3, 1]))
        elif lie == "negative":
            strides = [-24, 3, 1]
        self.shape = (ctypes.c_int64 * len(shape))(*shape)
        self.strides = (ctypes.c_int64 * len(strides))(*strides) if strides else None
        start = ctypes.addressof(self.memory) + (24 * 5 * size if lie == "negative" else 0)
        tensor = DLTensor(None if lie == "data" else start, chooser.choice((2, 0, -1)) if lie == "device" else 1, 0,
                          chooser.choice((-1, 33, -(2**31))) if lie == "ndim" else len(shape), DLDataType(*dtype),
                          None if lie == "no shape" else self.shape, self.strides,
                          chooser.choice((0, 1, 2, 100)) if lie == "offset" else 0)
        self.deleter = Deleter(self.delete)
        return DLManagedTensor(tensor, None, self.deleter if chooser.random() < 0.9 else Deleter())

    def delete(self, _):
        self.deleted += 1

    def __dlpack_device__(self):
        return self.device

    def __dlpack__(self, **_):
        if self.chooser.random() < 0.05:
            return self.chooser.choice((None, 5, b"dltensor", self))
        KEPT.append(self)
        return new_capsule(ctypes.addressof(self.managed), self.name, None)


# Capsules may be freed later than the objects that gave them.
KEPT = []


class LyingArray(np.ndarray):
    """An array whose attributes say something else than its record."""

    shape = property(lambda self: (2**40, "x"))
    strides = property(lambda self: None)
    dtype = property(lambda self: np.dtype("u1"))
    flags = property(lambda self: None)

    def __getitem__(self, item):
        return "text"

    def copy(self, order="C"):
        return b"copied"


class Plane:
    """A plane of a decoder that says more than it has."""

    def __init__(self, chooser):
        self.width, self.height = chooser.choice(((8, 6), (-1, 6), (2**40, 2**40), ("x", None), (8, 6000)))
        self.line_size = chooser.choice((8, 16, 0, -8, 2**40, None))


def av_like(chooser):
    class VideoFrame:
        __module__ = "av.video.frame"
        pts, colorspace, color_range = chooser.choice((None, 5, 2**70, "x")), chooser.choice((1, None, [])), "tv"

    made = VideoFrame()
    if chooser.random() < 0.8:
        made.format = type("Format", (), {"name": chooser.choice(("yuv420p", "rgb24", "nv12", "pal8", None, []))})()
        made.planes = [Plane(chooser) for _ in range(chooser.randrange(4))]
    return made


def buffer(chooser):
    size = chooser.choice((0, 1, 144, 4096))
    data = bytearray(size)
    view = memoryview(data)
    kind = chooser.randrange(12)
    if kind == 0:
        view.release()
        return view
    if kind == 1:
        closed = mmap.mmap(-1, 4096)
        closed.close()
        return closed
    if kind == 2:
        return (ctypes.c_ubyte * 3 * 8 * 6)()
    if kind == 3:
        return type("Record", (ctypes.Structure,), {"_fields_": [("a", ctypes.c_int), ("b", ctypes.c_float)]})()
    if kind == 4:
        return memoryview(bytes(144)).cast("B", (6, 8, 3))
    if kind == 5:
        return memoryview(bytearray(576)).cast("f", (6, 8, 3))
    if kind == 6:
        return memoryview(bytearray(144)).cast("B", (6, 8, 3))[::-1]
    if kind == 7:
        return view[:: chooser.choice((-1, 2))]
    if kind == 8:
        return array.array(chooser.choice("bBhHiIqQfdu"), [])
    if kind == 9:
        return view.cast(chooser.choice("bBc?")) if size else view
    if kind == 10:
        return (ctypes.c_float * 0 * 5)()
    return chooser.choice((bytes(data), data, view, memoryview(data).toreadonly()))


def odd_array(chooser):
    """An array that is right about its memory, and is no picture, or an odd one."""
    base = np.zeros((12, 16, 4), chooser.choice((np.uint8, np.float32)))
    step = np.lib.stride_tricks.as_strided
    views = [
        lambda: base[::-1], lambda: base[:, ::-1, :3], lambda: base[..., ::-1], lambda: base[:, ::2, :3],
        lambda: base.transpose(chooser.sample(range(3), 3)), lambda: base[:0], lambda: base[:, :0], lambda: base[..., :0],
        lambda: base[:6, :8, :3], lambda: np.broadcast_to(base[:1, :1, :3], (2**30, 2**20, 3)),
        lambda: np.broadcast_to(base[:1, :1, :1], (6, 8, 3)), lambda: np.broadcast_to(base[0, 0, 0], (2**31, 1)),
        lambda: np.zeros((0, 2**40, 3), base.dtype), lambda: np.zeros((2**40, 0), base.dtype),
        lambda: np.zeros((2**31 + 6, 0, 3), base.dtype), lambda: np.zeros((1,) * chooser.randrange(33), base.dtype),
        lambda: np.zeros((6, 8), chooser.choice(("?", "O", "S3", "U2", "M8[s]", "V5", ">f4", "c8", "f2", "g", "i1", "u8", "i4,f4"))),
        lambda: base[:6, :8, :3].view(LyingArray),
        lambda: np.ma.masked_array(base[:6, :8, :3], True), lambda: np.matrix(base[:, :, 0]),
        lambda: step(base, (6, 8, 3), (4, 4, 1)), lambda: step(base, (6, 8, 3), (0, 4, 1)), lambda: step(base, (1, 8, 3), (2**40, 3, 1)),
        lambda: step(base, (2**31, 1, 1), (0, 0, 0)), lambda: step(base, (6, 1, 3), (2**31, 3, 1))[:0],
        lambda: np.zeros(577, np.uint8)[1:].view(np.float32).reshape(6, 8, 3), lambda: np.rec.array([(1, 2.0)]),
    ]
    return chooser.choice(views)()


def damaged_npy(chooser):
    """What NumPy makes of a damaged file."""
    file = io.BytesIO()
    np.save(file, chooser.choice((np.zeros((6, 8, 3), "u1"), np.zeros((1, 3, 6, 8), "f4"), np.zeros((6, 8), ">f4"),
                                  np.asfortranarray(np.zeros((6, 8, 3), "u1")), np.zeros(0))))
    data = bytearray(file.getvalue())
    for _ in range(chooser.choice((0, 1, 1, 3))):
        at = chooser.randrange(min(len(data), 128))
        data[at : at + 1] = chooser.choice((b"", b"0", b"9", b"-", b"(", bytes([chooser.randrange(256)])))
    del data[chooser.choice((len(data), len(data), chooser.randrange(len(data)))) :]
    try:
        return np.load(io.BytesIO(bytes(data)), allow_pickle=False)
    except MemoryError:
        raise
    except Exception as error:  # NumPy's own answer
        return error


def odd_frame(chooser, kind):
    if kind == 0:
        return tavix.Frame.__new__(tavix.Frame)
    if kind == 1:
        frame = tavix.Frame(np.zeros((6, 8), np.uint8), "gray8")
        frame.color_space, frame.color_range = chooser.choice((-1, 5, 2**31 - 1)), 77
        return frame
    return tavix.Frame.zeros(chooser.choice(FORMATS), chooser.choice((1, 7, 8)), chooser.choice((1, 5, 6)), alignment=chooser.choice((1, 64)))


class Unmade(tavix.Frame):
    def __init__(self):
        pass


def frame_like(chooser):
    kind = chooser.randrange(6)
    if kind < 4:
        return odd_frame(chooser, kind)
    if kind == 4:
        planes = odd_frame(chooser, 3).planes
        return chooser.choice((planes, list(planes[::-1])))
    try:
        return Unmade()
    except TypeError as error:  # a constructor that was not called
        return error


def hostile(chooser):
    kinds = (odd_array, Interface, OddInterface, Tensor, buffer, av_like, damaged_npy, frame_like)
    if chooser.random() < 0.2:
        return chooser.choice(RUBBISH)()
    return chooser.choice(kinds)(chooser)


# Arguments by kind: a good one, and one that is not.

MARGIN, PATTERN = 64, 0xA5
guarded = []


def picture(chooser, shape, dtype):
    """A good picture within a pattern that calls must leave alone."""
    size = int(np.prod(shape)) * np.dtype(dtype).itemsize
    memory = np.full(size + 2 * MARGIN, PATTERN, np.uint8)
    guarded.append(memory)
    made = memory[MARGIN : MARGIN + size].view(dtype).reshape(shape)
    made[...] = np.frombuffer(chooser.randbytes(int(np.prod(shape))), np.uint8).reshape(shape)
    return made


def number(chooser, bad):
    if not bad:
        return chooser.choice((0, 1, 2.5, -1))
    return chooser.choice((float("nan"), float("inf"), -float("inf"), 1e308, 5e-324, *INT_LIMITS, "1", None, 1j, [1], Raises(), np.float64(1e308)))


def numbers(chooser, bad):
    if not bad:
        return chooser.choice((1, 0.5, [1, 2, 3], (0, 0, 1)))
    return chooser.choice((hostile(chooser), number(chooser, True), [number(chooser, True) for _ in range(chooser.choice((0, 2, 3, 4, 9)))], np.zeros(3, "S1")))


def integer(chooser, bad):
    return chooser.choice((*INT_LIMITS, 2.5, "3", None, np.int64(5), True)) if bad else chooser.choice((0, 1, 2, 5))


def size(chooser, bad):
    if not bad:
        return chooser.choice(((8, 6), (5, 3), (1, 1)))
    sides = (-1, 0, 1, 2**31 - 1, 2**31, 65536, float("nan"), float("inf"), 0.5, 1e9, "8", None, True)
    return chooser.choice(((chooser.choice(sides), chooser.choice(sides)), (chooser.choice(sides),), chooser.choice(sides), "86", hostile(chooser)))


def rect(chooser, bad):
    if not bad:
        return (0, 0, 3, 3)
    return chooser.choice((tuple(number(chooser, chooser.random() < 0.5) for _ in range(4)), (1, 2, 3), hostile(chooser)))


def matrix(chooser, bad):
    if not bad:
        return chooser.choice((np.eye(2, 3), np.eye(3), [[1, 0, 1], [0, 1, 1]]))
    values = (float("nan"), float("inf"), 1e308, 1e30, 0, 1, -1)
    rows = chooser.choice((2, 3))
    return chooser.choice((np.array([[chooser.choice(values) for _ in range(3)] for _ in range(rows)]), np.zeros((rows, 3)), odd_array(chooser), chooser.choice(RUBBISH)()))


def kernel(chooser, bad):
    if not bad:
        return np.ones((3, 3), chooser.choice(("u1", "f4")))
    shapes = ((0, 0), (0, 3), (1, 99), (99, 1), (100, 100), (2, 2), (3,), (1, 32767), (1, 32768))
    made = np.full(chooser.choice(shapes), chooser.choice((0, 1, float("nan"), 1e38)), "f4").astype(chooser.choice(("f4", "u1", "i8", "f8")))
    return chooser.choice((made, made.T, made[::-1], np.broadcast_to(np.ones((1, 1), "u1"), (2**31, 2**31)), hostile(chooser)))


def code(*names):
    def choose(chooser, bad):
        return chooser.choice((*INT_LIMITS, "none", "", "a\0", "\ud800", 1.0, None, b"rgb24", -5, 17, 255)) if bad else chooser.choice(names)

    return choose


def dtype(chooser, bad):
    return chooser.choice(("x", None, 5, "O", ">f4", np.float64, "i4,i4", "\ud800", Raises(), [], "f4" * 5000)) if bad else chooser.choice(("u1", "f4", np.uint8))


def text(chooser, bad):
    return chooser.choice(("", "rr", "x", "rgba" * 99, "\0", "\ud800", None, 5, b"r", "ä")) if bad else chooser.choice(("rgb", "b", "rgba"))


interpolation = code("nearest", "linear", "area", 2, 16)
border = code("constant", "replicate", "wrap", 5)
pixel_format = code(*FORMATS)
layout = code("nchw", "nhwc")
color = code("bt709", "bt601", 0)
color_range = code("full", "limited", 0)

PICTURE, TENSOR, PICTURES = "a picture", "a tensor", "one or more pictures"
BINARY = ({"src1": PICTURE, "src2": PICTURE}, {"alpha": numbers, "beta": numbers, "gamma": numbers, "out": PICTURE})
UNARY = ({"src": PICTURE}, {"scale": numbers, "offset": numbers, "out": PICTURE})
STATISTIC = ({"src": PICTURE}, {"out": PICTURE})
WARP = ({"src": PICTURE, "matrix": matrix},
        {"size": size, "interpolation": interpolation, "border": border, "border_value": number, "out": PICTURE})
KERNEL = ({"src": PICTURE, "kernel": kernel}, {"out": PICTURE})
BLUR = ({"src": PICTURE, "size": size}, {"out": PICTURE})

# The arguments that each function needs, and those that it may have.
FUNCTIONS = {
    **dict.fromkeys(("add", "subtract", "multiply", "divide", "minimum", "maximum", "absdiff", "bitwise_or", "bitwise_and", "bitwise_xor"), BINARY),
    **dict.fromkeys(("multiply_add", "sqrt", "exp", "log"), UNARY),
    **dict.fromkeys(("mean", "std", "sum", "max", "min"), STATISTIC),
    **dict.fromkeys(("warp_affine", "warp_perspective"), WARP),
    **dict.fromkeys(("filter2d", "dilate", "erode"), KERNEL),
    **dict.fromkeys(("blur", "box_filter"), BLUR),
    "resize": ({"src": PICTURE, "size": size}, {"scale": size, "interpolation": interpolation, "out": PICTURE}),
    "copy_make_border": ({"src": PICTURE, "top": integer, "bottom": integer, "left": integer, "right": integer},
                         {"border": border, "border_value": number, "out": PICTURE}),
    "copy": ({"src": PICTURE}, {"out": PICTURE}),
    "copy_region": ({"src": PICTURE, "out": PICTURE, "src_rect": rect, "dst_rect": rect}, {}),
    "threshold": ({"src": PICTURE, "threshold": number}, {"max_value": number, "type": code("binary", 8, 2), "out": PICTURE}),
    "min_max_normalize": ({"src": PICTURE}, {"alpha": integer, "beta": integer, "out": PICTURE}),
    "add_mask": ({"src": PICTURE, "mask": PICTURE}, {"source": pixel_format, "out": PICTURE}),
    "product": ({"src1": PICTURE, "src2": PICTURE}, {"out": PICTURE}),
    "normalize": ({"src": PICTURE}, {"mean": numbers, "scale": numbers, "dtype": dtype, "out": PICTURE}),
    "softmax": ({"x": TENSOR}, {"axis": integer, "out": TENSOR}),
    "convert": ({"src": PICTURE, "to": pixel_format},
                {"source": pixel_format, "color_space": color, "color_range": color_range, "out": PICTURE}),
    "to_blob": ({"src": PICTURES}, {"dtype": dtype, "layout": layout, "out": TENSOR}),
    "from_blob": ({"blob": TENSOR}, {"dtype": dtype, "layout": layout, "out": PICTURE}),
    "split": ({"src": PICTURE}, {"channels": text}),
    "fill": ({"out": PICTURE, "value": number}, {}),
    "from_dlpack": ({"tensor": PICTURE}, {}),
    "from_av": ({"frame": PICTURE}, {"color_space": color, "color_range": color_range}),
    "to_av": ({"frame": PICTURE}, {}),
    "set_log_level": ({"level": integer}, {}),
    "Frame": ({"data": PICTURES, "format": pixel_format},
              {"width": integer, "height": integer, "color_space": color, "color_range": color_range}),
    "Frame.zeros": ({"format": pixel_format, "width": integer, "height": integer}, {"alignment": integer, "color_space": color}),
    "Frame.region": ({"self": None, "x": integer, "y": integer, "width": integer, "height": integer}, {}),
    "Frame.use": ({"self": None}, {}),
}


def use(self, chooser):
    """Everything that a frame gives away, and what may be set."""
    ways = (lambda: self.planes, lambda: self.array, lambda: memoryview(self).tobytes(), lambda: self._repr_png_(), lambda: repr(self),
            lambda: np.asarray(self), lambda: self.__array__(dtype(chooser, True)), lambda: self.__dlpack__(stream=number(chooser, True)),
            lambda: tavix.from_dlpack(self), lambda: (self.width, self.height, self.channels, self.format, self.writeable, self.pts),
            lambda: setattr(self, "pts", integer(chooser, True)), lambda: setattr(self, "color_space", color(chooser, True)),
            lambda: setattr(self, "duration", number(chooser, True)), lambda: np.asarray(self)[...].fill(3), lambda: tavix.copy(self),
            lambda: self.__init__(hostile(chooser), "gray8"), lambda: tavix.to_av(self))
    try:
        return chooser.choice(ways)()
    except BufferError as error:  # of memoryview alone
        return error


class Call:
    """One call, the same one for the same numbers."""

    def __init__(self, seed, number):
        self.chooser = chooser = random.Random(seed * 1000003 + number)
        self.function = chooser.choice(sorted(FUNCTIONS))
        needed, possible = FUNCTIONS[self.function]
        kinds = needed | {name: kind for name, kind in possible.items() if chooser.random() < 0.35}
        wrong = set(chooser.sample(sorted(kinds), min(len(kinds), chooser.choice((1, 1, 1, 2, 3)))))
        shape = chooser.choice(((6, 8, 3), (6, 8, 3), (6, 8), (1, 1), (5, 7, 4), (6, 8, 1)))
        element = chooser.choice((np.uint8, np.float32))
        self.arguments = {name: self.argument(kind, name in wrong, shape, element) for name, kind in kinds.items()}

    def argument(self, kind, bad, shape, element):
        chooser = self.chooser
        if kind is None:
            return odd_frame(chooser, chooser.randrange(4))
        if kind is TENSOR:
            shape = (1, 3, 6, 8)
        elif callable(kind):
            return kind(chooser, bad)
        if kind is PICTURES and chooser.random() < 0.5:
            return [self.argument(PICTURE, bad, shape, element) for _ in range(chooser.randrange(4))]
        return hostile(chooser) if bad else picture(chooser, shape, element)

    def __str__(self):
        def told(value):
            try:
                text = repr(value)
            except Exception:
                text = "?"
            return f"{type(value).__name__} {text[:60]!r}"

        return f"{self.function}({', '.join(f'{name}: {told(value)}' for name, value in self.arguments.items())})"

    def run(self):
        if self.function == "Frame.use":
            return use(self.arguments["self"], self.chooser)
        function = tavix
        for part in self.function.split("."):
            function = getattr(function, part)
        return function(*self.arguments.values()) if self.function == "Frame.region" else function(**self.arguments)


class Planted(Call):
    """A call with a fault that must be found."""

    def __init__(self, fault):
        self.fault, self.function, self.arguments = fault, f"planted {fault}", {}

    def run(self):
        if self.fault == "crash":
            ctypes.string_at(0)
        elif self.fault == "hang":
            time.sleep(3600)
        elif self.fault == "exception":
            raise KeyError("of no documented type")
        elif self.fault == "silence":
            raise ValueError
        elif self.fault == "overrun":
            memory = picture(random.Random(1), (2, 2), np.uint8)
            ctypes.memset(memory.ctypes.data - 1, 0, 1)
        elif self.fault == "memory":
            try:
                bytearray(1 << 33)
            except MemoryError:
                raise KeyError("memory is bounded") from None


def complaint(call):
    """What is wrong with the call, or nothing, and how it ended."""
    guarded.clear()
    ended, wrong = "returned", None
    try:
        call.run()
    except ItsOwn:
        ended = "the argument's own exception"
    except DOCUMENTED as error:
        ended = type(error).__name__
        if not str(error) and not isinstance(error, MemoryError):
            wrong = f"{ended} without a sentence"
    except BaseException as error:
        ended = type(error).__name__
        wrong = f"{ended}, which no page documents: {error}"
    if any((memory[:MARGIN] != PATTERN).any() or (memory[-MARGIN:] != PATTERN).any() for memory in guarded):
        wrong = "the call wrote beside its pictures"
    KEPT[:] = [tensor for tensor in KEPT if tensor.deleted == 0][-1000:]
    return wrong, ended


def main(progress, seed, first, end, fault=None):
    warnings.simplefilter("ignore")
    os.environ["OPENCV_LOG_LEVEL"] = "SILENT"
    file = os.open(progress, os.O_WRONLY)
    ended = {}
    for number in range(int(first), int(end)):
        os.pwrite(file, b"%-12d" % number, 0)
        try:
            call = Planted(fault) if fault else Call(int(seed), number)
        except MemoryError:  # for the argument alone
            continue
        wrong, how = complaint(call)
        ended[how] = ended.get(how, 0) + 1
        if wrong:
            print(f"wrong {number} {wrong}: {call}".replace("\n", " ").encode("ascii", "backslashreplace").decode(), flush=True)
    for how, count in ended.items():
        print(f"ended {count} {how}", flush=True)


if __name__ == "__main__":
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    main(*sys.argv[1:])
