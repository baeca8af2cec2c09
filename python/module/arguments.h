// SPDX-License-Identifier: Apache-2.0
// Small arguments of image operations: sizes, rectangles, matrices and kernels.
#pragma once

#include "arrays.h"
#include "tavix/core.h"

namespace tavix::python {

// (width, height), or one number for both.
struct Size {
  float width, height;
};
Size size_argument(py::handle object, const char *name);

// (width, height) in whole pixels.
struct PixelSize {
  int32_t width, height;
};
PixelSize pixel_size_argument(py::handle object, const char *name);

// (x, y, width, height) in pixels.
TavixRect rect_argument(py::handle object, const char *name);

// rows x 3 floats in one block, converted from anything that NumPy reads.
py::array_t<float, py::array::c_style | py::array::forcecast> matrix_argument(py::handle object,
                                                                              py::ssize_t rows);

// A kernel of two dimensions with its record. It keeps a packed copy where the array is not packed.
struct Kernel {
  py::array array;
  TavixKernel record;
};
Kernel kernel_argument(py::handle object);

}  // namespace tavix::python
