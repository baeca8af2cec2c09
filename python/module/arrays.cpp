// SPDX-License-Identifier: Apache-2.0
#include "arrays.h"

#include <algorithm>
#include <iterator>

#include "tavix/core/codes.h"

namespace tavix::python {

namespace {

using Api = py::detail::npy_api;

constexpr ElementType kElementTypes[] = {
    {"float32", TAVIX_DATA_TYPE_FLOAT32, Api::NPY_FLOAT_, 4},
    {"uint8", TAVIX_DATA_TYPE_UINT8, Api::NPY_UBYTE_, 1},
    {"int8", TAVIX_DATA_TYPE_INT8, Api::NPY_BYTE_, 1},
    {"int16", TAVIX_DATA_TYPE_INT16, Api::NPY_SHORT_, 2},
    {"uint16", TAVIX_DATA_TYPE_UINT16, Api::NPY_USHORT_, 2},
    {"int32", TAVIX_DATA_TYPE_INT32, Api::NPY_INT_, 4},
    {"uint32", TAVIX_DATA_TYPE_UINT32, Api::NPY_UINT_, 4},
    {"int64", TAVIX_DATA_TYPE_INT64, Api::NPY_LONG_, 8},
};
constexpr ElementType kFloat64 = {"float64", -1, Api::NPY_DOUBLE_, 8};

bool is_native(const py::dtype &dtype) {
  return dtype.byteorder() == '=' || dtype.byteorder() == '|';
}

// The shape, the strides and the memory of an array in one call of NumPy.
py::array make_array(const ElementType &type, std::span<const py::ssize_t> shape,
                     const py::ssize_t *strides, void *data, int flags) {
  const Api &api = Api::get();
  PyObject *dtype = api.PyArray_DescrFromType_(type.type_number);
  PyObject *array = api.PyArray_NewFromDescr_(api.PyArray_Type_, dtype, int(shape.size()),
                                              reinterpret_cast<const Py_intptr_t *>(shape.data()),
                                              reinterpret_cast<const Py_intptr_t *>(strides), data,
                                              flags, nullptr);
  if (array == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::array>(array);
}

}  // namespace

const ElementType *element_type(const py::dtype &dtype) {
  const auto found = std::ranges::find(kElementTypes, dtype.num(), &ElementType::type_number);
  return found == std::end(kElementTypes) || !is_native(dtype) ? nullptr : found;
}

const ElementType *element_type(std::string_view name) {
  const auto found = std::ranges::find(kElementTypes, name, &ElementType::name);
  return found == std::end(kElementTypes) ? nullptr : found;
}

const ElementType &required_element_type(py::handle dtype_like) {
  const py::dtype dtype = py::dtype::from_args(py::reinterpret_borrow<py::object>(dtype_like));
  const ElementType *type = element_type(dtype);
  if (type == nullptr) {
    throw py::type_error("elements of type " + text_of(dtype) + " are not supported");
  }
  return *type;
}

const ElementType &float32_type() {
  return kElementTypes[0];
}
const ElementType &uint8_type() {
  return kElementTypes[1];
}
const ElementType &float64_type() {
  return kFloat64;
}

py::array new_array(const ElementType &type, std::span<const py::ssize_t> shape) {
  return make_array(type, shape, nullptr, nullptr, 0);
}

py::array view_array(const ElementType &type, std::span<const py::ssize_t> shape,
                     std::span<const py::ssize_t> strides, void *data, py::handle owner) {
  py::array array = make_array(type, shape, strides.data(), data, Api::NPY_ARRAY_WRITEABLE_);
  if (Api::get().PyArray_SetBaseObject_(array.ptr(), owner.inc_ref().ptr()) != 0) {
    throw py::error_already_set();
  }
  return array;
}

std::string text_of(py::handle object) {
  return py::str(object).cast<std::string>();
}

std::string describe_array(const py::array &array) {
  std::string text = text_of(array.dtype()) + ' ' + text_of(array.attr("shape"));
  if ((array.flags() & py::array::c_style) == 0) {
    text += " strides " + text_of(array.attr("strides"));
  }
  return text;
}

py::array as_array(py::handle object, const char *name) {
  if (is_array(object)) return py::reinterpret_borrow<py::array>(object);
  return py::module_::import("tavix._interop").attr("as_array")(object, name).cast<py::array>();
}

void require_writeable(const py::array &array, const char *name) {
  if (!array.writeable()) throw py::value_error(std::string(name) + " is read-only");
}

py::object items_of(py::handle object, const char *name, const char *form) {
  if (PyList_CheckExact(object.ptr()) || PyTuple_CheckExact(object.ptr()))
    return py::reinterpret_borrow<py::object>(object);
  const auto refused = [&] { return std::string(name) + " must be " + form; };
  // Its size says how many items are asked for: a range may have more of them than memory holds,
  // and what only behaves like a sequence may never end.
  constexpr py::ssize_t kMost = 64;
  const py::ssize_t size = PySequence_Size(object.ptr());
  if (size > kMost) throw py::value_error(refused());
  py::list items;
  for (py::ssize_t i = 0; i < size; ++i) {
    const auto item = py::reinterpret_steal<py::object>(PySequence_GetItem(object.ptr(), i));
    if (!item) break;
    items.append(item);
  }
  if (PyErr_Occurred() == nullptr) return items;
  py::error_already_set error;
  if (error.matches(PyExc_IndexError)) throw py::value_error(refused());
  // A memoryview with several dimensions has no items yet.
  if (error.matches(PyExc_TypeError) || error.matches(PyExc_NotImplementedError))
    throw py::type_error(refused());
  error.restore();
  throw py::error_already_set();
}

ChannelValues channel_values(py::handle object, int32_t channels, const char *name) {
  constexpr char kForm[] = "a number, or one for each channel";
  ChannelValues result = {};
  if (!PySequence_Check(object.ptr())) {
    std::ranges::fill(result.values, number_of<double>(object, name, kForm));
    return result;
  }
  const py::object items = items_of(object, name, kForm);
  const py::ssize_t count = PySequence_Fast_GET_SIZE(items.ptr());
  if (count != channels) {
    throw py::value_error(std::string(name) + " has " + std::to_string(count) + " values for " +
                          std::to_string(channels) + " channels");
  }
  for (py::ssize_t i = 0; i < count; ++i) {
    result.values[i] = number_of<double>(PySequence_Fast_GET_ITEM(items.ptr(), i), name, kForm);
  }
  return result;
}

}  // namespace tavix::python
