# SPDX-License-Identifier: Apache-2.0
"""What a refused call raises."""

from __future__ import annotations


class TavixError(Exception):
    """An operation refused its arguments, ran out of memory, or let an exception of OpenCV out.

    function: the C function. status: its TavixStatus, None for an exception. status_name: its name.
    message: what the library logged, or the exception's text. shapes: the pictures and tensors.

    >>> import numpy, tavix
    >>> try:
    ...     tavix.mean(tavix.Frame.zeros('nv12', 4, 2))
    ... except tavix.TavixError as error:
    ...     print(error.function, error.status_name, error.shapes)
    TavixFrameStatisticalFunctionByCPU TAVIX_ERROR_UNSUPPORTED ('Frame NV12 4x2',)
    """

    def __init__(
        self, function: str, status: int | None, message: str, shapes: tuple[str, ...] = ()
    ) -> None:
        super().__init__(function, status, message, shapes)
        from tavix._tavix import _status_name

        self.function = function
        self.status = status
        self.status_name = "exception" if status is None else _status_name(status)
        self.message = message.strip()
        self.shapes = shapes

    def __str__(self) -> str:
        text = f"{self.function}: {self.status_name}"
        if self.message:
            text += f": {self.message}"
        if self.shapes:
            text += f" [{', '.join(self.shapes)}]"
        return text
