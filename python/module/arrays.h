// SPDX-License-Identifier: Apache-2.0
// NumPy arrays: what they hold, and new ones, with as little between as possible.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "call.h"

namespace tavix::python {

namespace py = pybind11;

// Element types of the library with their dtypes.
struct ElementType {
  const char *name;  // as NumPy says it
  int32_t code;      // TavixDataType
  int type_number;   // NPY_TYPES
  py::ssize_t bytes;
};

// The row of the dtype, or null: other types, and foreign byte orders.
const ElementType *element_type(const py::dtype &dtype);

// The row of that name, or null.
const ElementType *element_type(std::string_view name);

// The row of anything that NumPy takes for a dtype. Raises TypeError for types without a row.
const ElementType &required_element_type(py::handle dtype_like);

inline bool is_array(py::handle object) {
  return py::detail::npy_api::get().PyArray_Check_(object.ptr());
}

// A new array, uninitialised, C-contiguous.
py::array new_array(const ElementType &type, std::span<const py::ssize_t> shape);
const ElementType &uint8_type();
const ElementType &float32_type();
const ElementType &float64_type();

// An array over memory that owner keeps alive.
py::array view_array(const ElementType &type, std::span<const py::ssize_t> shape,
                     std::span<const py::ssize_t> strides, void *data, py::handle owner);

// str(object)
std::string text_of(py::handle object);

// "float32 (3, 4)", with the strides where rows are not packed.
std::string describe_array(const py::array &array);

// An array as it is, or anything that exports its memory as one: buffers, __array_interface__ and
// DLPack. Raises TypeError for anything else: nothing is ever copied.
py::array as_array(py::handle object, const char *name);

void require_writeable(const py::array &array, const char *name);

// A number. Raises TypeError, which says that name must be of that form, for anything else.
template <class T>
T number_of(py::handle object, const char *name, const char *form) {
  py::detail::make_caster<T> caster;
  if (!caster.load(object, true)) throw py::type_error(std::string(name) + " must be " + form);
  return py::detail::cast_op<T>(caster);
}

// The items of a sequence: a list or a tuple as it is, anything else as a list of as many items as
// it says it has. Raises TypeError, which says that name must be of that form, for what has no size
// or no items, and ValueError, with the same words, for what has more than 64 items or fewer than
// it says. What else its methods raise goes through.
py::object items_of(py::handle object, const char *name, const char *form);

// Numbers of a scalar or a sequence: one for each channel.
struct ChannelValues {
  double values[4];
};
ChannelValues channel_values(py::handle object, int32_t channels, const char *name);

}  // namespace tavix::python
