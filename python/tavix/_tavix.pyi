# SPDX-License-Identifier: Apache-2.0
# The types of the compiled module. Pictures in give pictures of the same kind out.
import enum
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Protocol, SupportsFloat, TypeAlias, TypeVar, overload

import numpy as np
import numpy.typing as npt

if TYPE_CHECKING:
    import av

_Array: TypeAlias = npt.NDArray[Any]
# Arrays and frames; av.VideoFrame, tensors and buffers come as Any.
_P = TypeVar("_P", _Array, Frame)
_Picture: TypeAlias = _Array | Frame | av.VideoFrame | Any
_Numbers: TypeAlias = SupportsFloat | Sequence[float] | npt.NDArray[Any]
_Float64s: TypeAlias = npt.NDArray[np.float64]
_Size: TypeAlias = float | Sequence[float]
_Rect: TypeAlias = Sequence[float]
_PixelFormat: TypeAlias = PixelFormat | str | int
_ColorSpace: TypeAlias = ColorSpace | str | int
_ColorRange: TypeAlias = ColorRange | str | int
_Interpolation: TypeAlias = Interpolation | str | int
_Border: TypeAlias = Border | str | int
_ThresholdType: TypeAlias = ThresholdType | str | int
_Layout: TypeAlias = Layout | str | int

class BinaryOp(enum.IntEnum):
    ADD = 0
    SUB = 1
    MUL = 2
    DIV = 3
    MIN = 4
    MAX = 5
    ABSDIFF = 6
    OR = 7
    AND = 8
    XOR = 9

class Border(enum.IntEnum):
    CONSTANT = 0
    REPLICATE = 1
    REFLECT = 2
    WRAP = 3
    REFLECT_101 = 4
    TRANSPARENT = 5
    ISOLATED = 16

class ColorRange(enum.IntEnum):
    UNSPECIFIED = 0
    LIMITED = 1
    FULL = 2

class ColorSpace(enum.IntEnum):
    UNSPECIFIED = 0
    BT709 = 1
    BT470BG = 2
    SMPTE170M = 3
    BT601 = 4
    BT2020_NCL = 7
    BT2020_CL = 8

class Interpolation(enum.IntEnum):
    NEAREST = 0
    LINEAR = 1
    CUBIC = 2
    AREA = 3
    LANCZOS = 4
    LINEAR_EXACT = 5
    INVERSE_MAP = 16

class Layout(enum.IntEnum):
    NCHW = 0
    NHWC = 1

class PixelFormat(enum.IntEnum):
    RGB24 = 0
    BGR24 = 1
    GRAY8 = 2
    BGRA32 = 4
    RGBA32 = 5
    NV12 = 7
    NV21 = 8
    YV12 = 9
    I420 = 10
    RGBF32 = 11
    BGRF32 = 12
    RGBAF32 = 13
    BGRAF32 = 14
    GRAYF32 = 15

class Statistic(enum.IntEnum):
    MEAN = 0
    STD = 1
    SUM = 2
    MAX = 3
    MIN = 4

class Status(enum.IntEnum):
    OK = 0
    MEMORY = 3
    UNSUPPORTED = 4
    INVALID_PARAM = 7
    INVALID_DATA = 13

class ThresholdType(enum.IntEnum):
    BINARY = 0
    BINARY_INVERSE = 1
    TRUNCATE = 2
    TO_ZERO = 3
    TO_ZERO_INVERSE = 4
    OTSU = 8
    TRIANGLE = 16

class UnaryOp(enum.IntEnum):
    MUL_ADD = 0
    SQRT = 1
    EXP = 2
    LOG = 3

class Frame:
    def __init__(
        self,
        data: Any,
        format: _PixelFormat,
        *,
        width: int | None = ...,
        height: int | None = ...,
        color_space: _ColorSpace = ...,
        color_range: _ColorRange = ...,
    ) -> None: ...
    @staticmethod
    def zeros(
        format: _PixelFormat,
        width: int,
        height: int,
        *,
        alignment: int = ...,
        color_space: _ColorSpace = ...,
        color_range: _ColorRange = ...,
    ) -> Frame: ...
    @property
    def format(self) -> PixelFormat: ...
    @property
    def width(self) -> int: ...
    @property
    def height(self) -> int: ...
    @property
    def channels(self) -> int: ...
    color_space: ColorSpace
    color_range: ColorRange
    pts: int
    duration: int
    @property
    def planes(self) -> tuple[_Array, ...]: ...
    @property
    def array(self) -> _Array: ...
    @property
    def writeable(self) -> bool: ...
    def region(self, x: int, y: int, width: int, height: int) -> Frame: ...
    def __array__(self, dtype: Any = ...) -> _Array: ...
    @property
    def __array_interface__(self) -> dict[str, Any]: ...
    def __dlpack__(self, *, stream: Any = ...) -> Any: ...
    def __dlpack_device__(self) -> tuple[int, int]: ...
    def _repr_png_(self) -> bytes: ...

# Functions that differ in nothing but their name.
class _Binary(Protocol):
    def __call__(
        self,
        src1: _P,
        src2: _Picture,
        *,
        alpha: _Numbers = ...,
        beta: _Numbers = ...,
        gamma: _Numbers = ...,
        out: Any = ...,
    ) -> _P: ...

class _Unary(Protocol):
    def __call__(
        self, src: _P, scale: _Numbers = ..., offset: _Numbers = ..., *, out: Any = ...
    ) -> _P: ...

class _Statistic(Protocol):
    def __call__(self, src: _Picture, *, out: _Float64s | None = ...) -> _Float64s: ...

class _Warp(Protocol):
    def __call__(
        self,
        src: _P,
        matrix: npt.ArrayLike,
        size: Sequence[int] | None = ...,
        *,
        interpolation: _Interpolation = ...,
        border: _Border = ...,
        border_value: float = ...,
        out: Any = ...,
    ) -> _P: ...

class _SizeFilter(Protocol):
    def __call__(self, src: _P, size: _Size, *, out: Any = ...) -> _P: ...

class _KernelFilter(Protocol):
    def __call__(self, src: _P, kernel: Any, *, out: Any = ...) -> _P: ...

add: _Binary
subtract: _Binary
multiply: _Binary
divide: _Binary
minimum: _Binary
maximum: _Binary
absdiff: _Binary
bitwise_or: _Binary
bitwise_and: _Binary
bitwise_xor: _Binary
multiply_add: _Unary
sqrt: _Unary
exp: _Unary
log: _Unary
mean: _Statistic
std: _Statistic
sum: _Statistic
max: _Statistic
min: _Statistic
def resize(
    src: _P,
    size: Sequence[int] | None = ...,
    *,
    scale: _Size | None = ...,
    interpolation: _Interpolation = ...,
    out: Any = ...,
) -> _P: ...
warp_affine: _Warp
warp_perspective: _Warp
def copy_make_border(
    src: _P,
    top: int,
    bottom: int,
    left: int,
    right: int,
    *,
    border: _Border = ...,
    border_value: float = ...,
    out: Any = ...,
) -> _P: ...
def copy(src: _P, out: Any = ...) -> _P: ...
blur: _SizeFilter
box_filter: _SizeFilter
filter2d: _KernelFilter
dilate: _KernelFilter
erode: _KernelFilter
def threshold(
    src: _P,
    threshold: float,
    max_value: float = ...,
    *,
    type: _ThresholdType = ...,
    out: Any = ...,
) -> _P: ...
def min_max_normalize(
    src: _P, alpha: int = ..., beta: int = ..., *, out: Any = ...
) -> _P: ...
def add_mask(
    src: _P, mask: _Picture, *, source: _PixelFormat | None = ..., out: Any = ...
) -> _P: ...
def product(src1: _Picture, src2: _P, *, out: _P | None = ...) -> _P: ...
def normalize(
    src: _P,
    mean: _Numbers = ...,
    scale: _Numbers = ...,
    *,
    dtype: npt.DTypeLike = ...,
    out: Any = ...,
) -> _P: ...
def softmax(x: Any, axis: int = ..., *, out: Any = ...) -> _Array: ...
@overload
def convert(
    src: _Array,
    to: _PixelFormat,
    *,
    source: _PixelFormat | None = ...,
    color_space: _ColorSpace | None = ...,
    color_range: _ColorRange | None = ...,
    out: Any = ...,
) -> Any: ...
@overload
def convert(
    src: Frame | av.VideoFrame,
    to: _PixelFormat,
    *,
    source: _PixelFormat | None = ...,
    color_space: _ColorSpace | None = ...,
    color_range: _ColorRange | None = ...,
    out: None = ...,
) -> Frame: ...
@overload
def convert(
    src: Any,
    to: _PixelFormat,
    *,
    source: _PixelFormat | None = ...,
    color_space: _ColorSpace | None = ...,
    color_range: _ColorRange | None = ...,
    out: _P,
) -> _P: ...
def to_blob(
    src: _Picture | Sequence[_Picture],
    *,
    dtype: npt.DTypeLike = ...,
    layout: _Layout = ...,
    out: Any = ...,
) -> _Array: ...
@overload
def from_blob(
    blob: Any, *, dtype: npt.DTypeLike = ..., layout: _Layout = ..., out: None = ...
) -> _Array: ...
@overload
def from_blob(
    blob: Any, *, dtype: npt.DTypeLike = ..., layout: _Layout = ..., out: _P
) -> _P: ...
def split(src: _P, channels: str = ...) -> tuple[_P, ...]: ...
def fill(out: _P, value: float) -> _P: ...
def copy_region(src: _Picture, out: _P, src_rect: _Rect, dst_rect: _Rect) -> _P: ...
def _array_of_dlpack(capsule: Any) -> _Array: ...
def _set_least_level(level: int) -> None: ...
def _status_name(status: int) -> str: ...
