// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"

namespace tavix::python {

namespace {

using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;

Floats floats_of(py::handle object) {
  try {
    return Floats(py::reinterpret_borrow<py::object>(object));
  } catch (const py::error_already_set &error) {
    if (!error.matches(PyExc_OverflowError)) throw;
    throw py::value_error("the matrix holds a number that is too large");
  }
}

template <class T, size_t n>
void read_numbers(py::handle object, const char *name, const char *form, T (&numbers)[n]) {
  const py::object items = items_of(object, name, form);
  if (PySequence_Fast_GET_SIZE(items.ptr()) != py::ssize_t(n)) {
    throw py::value_error(std::string(name) + " must be " + form);
  }
  for (size_t i = 0; i < n; ++i) {
    numbers[i] = number_of<T>(PySequence_Fast_GET_ITEM(items.ptr(), py::ssize_t(i)), name, form);
  }
}

}  // namespace

Size size_argument(py::handle object, const char *name) {
  constexpr char kForm[] = "a number or (width, height)";
  if (!PySequence_Check(object.ptr())) {
    const float side = number_of<float>(object, name, kForm);
    return {side, side};
  }
  float sides[2];
  read_numbers(object, name, kForm, sides);
  return {sides[0], sides[1]};
}

PixelSize pixel_size_argument(py::handle object, const char *name) {
  int32_t sides[2];
  read_numbers(object, name, "(width, height)", sides);
  if (sides[0] < 0 || sides[1] < 0) throw py::value_error(std::string(name) + " is negative");
  return {sides[0], sides[1]};
}

TavixRect rect_argument(py::handle object, const char *name) {
  float numbers[4];
  read_numbers(object, name, "(x, y, width, height)", numbers);
  return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

py::array_t<float, py::array::c_style | py::array::forcecast> matrix_argument(py::handle object,
                                                                              py::ssize_t rows) {
  Floats matrix = floats_of(object);
  if (matrix.ndim() != 2 || matrix.shape(0) != rows || matrix.shape(1) != 3) {
    throw py::value_error("the matrix must have " + std::to_string(rows) + " rows of 3, not " +
                          describe_array(matrix));
  }
  return matrix;
}

Kernel kernel_argument(py::handle object) {
  const py::array array = as_array(object, "kernel");
  const ElementType *type = element_type(array.dtype());
  if (type == nullptr || array.ndim() != 2) {
    throw py::value_error("the kernel must have two dimensions, not " + describe_array(array));
  }
  constexpr py::ssize_t kMostSide = (1 << 15) - 1;
  if (array.shape(0) > kMostSide || array.shape(1) > kMostSide) {
    throw py::value_error("the kernel is too large: " + describe_array(array));
  }
  const py::array packed = (array.flags() & py::array::c_style) != 0
                               ? array
                               : py::array(array.attr("copy")(py::arg("order") = "C"));
  return {packed,
          {float(packed.shape(1)), float(packed.shape(0)), type->code,
           const_cast<void *>(packed.data())}};
}

}  // namespace tavix::python
