# SPDX-License-Identifier: Apache-2.0
"""Pictures of other programs, seen without a copy."""

from __future__ import annotations

import sys
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from tavix._tavix import Frame, PixelFormat, _array_of_dlpack, copy

if TYPE_CHECKING:
    import av

# Names of FFmpeg's pixel formats that have the same planes.
_AV_FORMATS = {
    "rgb24": PixelFormat.RGB24,
    "bgr24": PixelFormat.BGR24,
    "gray": PixelFormat.GRAY8,
    "bgra": PixelFormat.BGRA32,
    "rgba": PixelFormat.RGBA32,
    "nv12": PixelFormat.NV12,
    "nv21": PixelFormat.NV21,
    "yuv420p": PixelFormat.I420,
    "yuvj420p": PixelFormat.I420,
    "grayf32le": PixelFormat.GRAYF32,
}
_FULL_RANGE_FORMATS = ("yuvj420p",)

# FFmpeg's names of colour spaces and ranges, and their numbers.
_AV_COLOR_SPACES = {
    "unknown": "unspecified", "unspecified": "unspecified", 2: "unspecified",
    "bt709": "bt709", 1: "bt709",
    "bt470bg": "bt470bg", 5: "bt470bg",
    "smpte170m": "smpte170m", 6: "smpte170m",
    "bt2020nc": "bt2020_ncl", 9: "bt2020_ncl",
    "bt2020c": "bt2020_cl", 10: "bt2020_cl",
}  # fmt: skip
_AV_COLOR_RANGES = {
    "unknown": "unspecified", "unspecified": "unspecified", 0: "unspecified",
    "tv": "limited", "mpeg": "limited", 1: "limited",
    "pc": "full", "jpeg": "full", 2: "full",
}  # fmt: skip


def from_dlpack(tensor: Any) -> npt.NDArray[Any]:
    """A writeable array over a tensor that exports itself with __dlpack__, such as PyTorch's.

    The tensor stays alive as long as the array. Raises ValueError for a tensor that is not in host
    memory or cannot be shared, TypeError for what is no tensor.

    >>> import numpy, tavix
    >>> a = numpy.zeros((2, 3), numpy.float32)
    >>> numpy.shares_memory(tavix.from_dlpack(a), a)
    True
    """
    if not hasattr(tensor, "__dlpack_device__") or not hasattr(tensor, "__dlpack__"):
        raise TypeError(f"{type(tensor).__name__} does not export itself with __dlpack__")
    device, _ = tensor.__dlpack_device__()
    if int(device) != 1:
        raise ValueError("the tensor is not in host memory")
    try:
        capsule = tensor.__dlpack__()
    except BufferError as error:
        raise ValueError(f"the tensor cannot be shared: {error}") from None
    return _array_of_dlpack(capsule)


def from_av(
    frame: av.VideoFrame,
    *,
    color_space: str | int | None = None,
    color_range: str | int | None = None,
) -> Frame:
    """A Frame over the planes of an av.VideoFrame; it is read-only, for decoders keep theirs.

    color_space, color_range: as FFmpeg names or numbers them ('bt709', 'tv'), where the frame does
    not carry them itself; 'yuvj420p' is full range. Raises ValueError for other pixel formats.

    >>> import av, tavix
    >>> tavix.from_av(av.VideoFrame(6, 4, 'yuv420p'), color_space='bt709', color_range='tv')
    <tavix.Frame I420 6x4 BT709 LIMITED>
    """
    if not _is_av(frame):
        raise TypeError(f"frame must be an av.VideoFrame, not {type(frame).__name__}")
    name = frame.format.name
    if name not in _AV_FORMATS:
        raise ValueError(f"pixel format {name} has no counterpart; reformat it to yuv420p first")
    code = _AV_FORMATS[name]
    if color_space is None:
        color_space = getattr(frame, "colorspace", "unspecified")
    if color_range is None:
        default = "pc" if name in _FULL_RANGE_FORMATS else "unspecified"
        color_range = getattr(frame, "color_range", default)
    planes = [_plane(plane, code, index) for index, plane in enumerate(frame.planes)]
    seen = Frame(
        planes if len(planes) > 1 else planes[0],
        code,
        color_space=_AV_COLOR_SPACES.get(color_space, "unspecified"),
        color_range=_AV_COLOR_RANGES.get(color_range, "unspecified"),
    )
    seen.pts = frame.pts or 0
    return seen


def to_av(frame: Frame) -> av.VideoFrame:
    """An av.VideoFrame with a copy of a Frame, ready for an encoder.

    Raises ValueError for formats that PyAV cannot hold.

    >>> import tavix
    >>> tavix.to_av(tavix.Frame.zeros('nv12', 6, 4)).format.name
    'nv12'
    """
    if not isinstance(frame, Frame):
        raise TypeError(f"frame must be a Frame, not {type(frame).__name__}")
    if not frame.planes:
        raise ValueError("the frame has no pixels")
    import av

    names = [name for name, code in _AV_FORMATS.items() if code == frame.format]
    if not names:
        raise ValueError(f"{frame.format.name} has no counterpart in PyAV")
    made = av.VideoFrame(frame.width, frame.height, names[0])
    planes = [
        _plane(plane, frame.format, index, writeable=True) for index, plane in enumerate(made.planes)
    ]
    copy(frame, Frame(planes if len(planes) > 1 else planes[0], frame.format))
    made.pts = frame.pts
    return made


def _plane(
    plane: Any, code: PixelFormat, index: int, writeable: bool = False
) -> npt.NDArray[Any]:
    dtype = np.float32 if code == PixelFormat.GRAYF32 else np.uint8
    samples = {
        PixelFormat.RGB24: 3,
        PixelFormat.BGR24: 3,
        PixelFormat.RGBA32: 4,
        PixelFormat.BGRA32: 4,
    }.get(code, 1)
    if code in (PixelFormat.NV12, PixelFormat.NV21) and index == 1:
        samples = 2
    item = np.dtype(dtype).itemsize
    array: npt.NDArray[Any] = np.ndarray(
        (plane.height, plane.width, samples),
        dtype,
        buffer=plane,
        strides=(plane.line_size, samples * item, item),
    )
    array.flags.writeable = writeable
    return array if samples > 1 else array[:, :, 0]


def _is_av(thing: Any) -> bool:
    av = sys.modules.get("av")
    return issubclass(type(thing), getattr(av, "VideoFrame", ()))


class _Exporter:
    """What a thing says once of its memory, and the thing, which keeps that alive."""

    def __init__(self, thing: Any) -> None:
        self.thing = thing
        self.__array_interface__ = dict(thing.__array_interface__)


def _of_interface(thing: Any, name: str) -> npt.NDArray[Any]:
    exporter = _Exporter(thing)
    said = exporter.__array_interface__
    data = said.get("data")
    try:
        if isinstance(data, tuple):
            array = np.asarray(exporter)
        else:
            # NumPy would not ask how large that buffer is.
            array = np.ndarray(
                said["shape"],
                np.dtype(said["typestr"]),
                thing if data is None else data,
                said.get("offset", 0),
                said.get("strides"),
            )
    except (KeyError, OverflowError) as error:
        raise ValueError(f"{name}: its __array_interface__ is wrong: {error}") from None
    if array.size > 0 and array.__array_interface__["data"][0] == 0:
        raise ValueError(f"{name} has no memory")
    return array


def as_array(thing: Any, name: str) -> npt.NDArray[Any]:
    """The memory of a thing as an array; TypeError where it has none to share."""
    if hasattr(thing, "__dlpack__") and not isinstance(thing, Frame):
        return from_dlpack(thing)
    if hasattr(thing, "__array_interface__"):
        return _of_interface(thing, name)
    try:
        view = memoryview(thing)
    except TypeError:
        raise TypeError(
            f"{name}: {type(thing).__name__} has no memory to share; numpy.asarray makes an array"
        ) from None
    return np.asarray(view)


def as_picture(thing: Any, name: str) -> npt.NDArray[Any] | Frame:
    """As as_array, and frames of PyAV."""
    if _is_av(thing):
        return from_av(thing)
    return as_array(thing, name)


def planes_of_buffer(
    data: npt.NDArray[Any], planar: bool, width: int | None, height: int | None
) -> list[npt.NDArray[Any]]:
    """The planes of a 4:2:0 picture within one array: luma first, then chroma."""
    if data.ndim == 2:
        rows, width = data.shape
        if rows % 3 or width % 2:
            raise ValueError(f"{data.shape} is not (height * 3 / 2, width) of even sizes")
        height = rows * 2 // 3
        if not planar:
            return [data[:height], data[height:].reshape(height // 2, width // 2, 2)]
    elif data.ndim != 1 or width is None or height is None:
        raise ValueError("a buffer has two dimensions, or one with width and height")
    if not data.flags.c_contiguous:
        raise ValueError("the buffer must be contiguous")
    half_width, half_height = (width + 1) // 2, (height + 1) // 2
    luma, chroma = width * height, half_width * half_height
    flat = data.reshape(-1)
    if flat.size != luma + 2 * chroma:
        raise ValueError(f"{flat.size} samples are not those of {width}x{height} pixels")
    planes = [flat[:luma].reshape(height, width)]
    if planar:
        for start in (luma, luma + chroma):
            planes.append(flat[start : start + chroma].reshape(half_height, half_width))
    else:
        planes.append(flat[luma:].reshape(half_height, half_width, 2))
    return planes
