// SPDX-License-Identifier: Apache-2.0
#include "dlpack.h"

#include <dlpack/dlpack.h>

#include <string>
#include <vector>

#include "arrays.h"

namespace tavix::python {

namespace {

constexpr char kName[] = "dltensor", kUsedName[] = "used_dltensor";

// What NumPy calls the kinds of elements; the bits follow.
constexpr struct {
  DLDataTypeCode kind;
  const char *prefix;
} kKinds[] = {{kDLFloat, "float"}, {kDLInt, "int"}, {kDLUInt, "uint"}};

const ElementType *element_type_of(const DLDataType &type) {
  for (const auto &[kind, prefix] : kKinds) {
    if (type.code == kind && type.lanes == 1)
      return element_type(prefix + std::to_string(type.bits));
  }
  return nullptr;
}

// The bytes from one element to the next in each dimension. Raises ValueError for what no tensor
// is; whether the memory is as large as the tensor says cannot be known.
std::vector<py::ssize_t> strides_of(const DLTensor &tensor, py::ssize_t element_bytes) {
  constexpr int32_t kMostDimensions = 32;  // of NumPy
  if (tensor.ndim < 0 || tensor.ndim > kMostDimensions) {
    throw py::value_error("the tensor has " + std::to_string(tensor.ndim) + " dimensions");
  }
  if (tensor.ndim > 0 && tensor.shape == nullptr) throw py::value_error("the tensor has no shape");
  std::vector<py::ssize_t> strides(size_t(tensor.ndim));
  int64_t packed = element_bytes;
  bool too_large = false;
  for (size_t d = strides.size(); d-- > 0;) {
    if (tensor.shape[d] < 0) throw py::value_error("the tensor has a negative size");
    strides[d] = packed;
    if (tensor.strides != nullptr)
      too_large |= __builtin_mul_overflow(tensor.strides[d], element_bytes, &strides[d]);
    too_large |= __builtin_mul_overflow(packed, tensor.shape[d], &packed);
  }
  if (too_large) throw py::value_error("the tensor is larger than any memory");
  if (packed > 0 && tensor.data == nullptr) throw py::value_error("the tensor has no memory");
  return strides;
}

// A writeable array over the tensor, which it keeps alive. NumPy's own from_dlpack gives
// read-only arrays.
py::array array_of(const py::capsule &capsule) {
  if (!PyCapsule_IsValid(capsule.ptr(), kName)) {
    throw py::type_error("a capsule of a tensor that nobody has taken yet is needed");
  }
  auto *managed = static_cast<DLManagedTensor *>(PyCapsule_GetPointer(capsule.ptr(), kName));
  const DLTensor &tensor = managed->dl_tensor;
  if (tensor.device.device_type != kDLCPU)
    throw py::value_error("the tensor is not in host memory");
  const ElementType *type = element_type_of(tensor.dtype);
  if (type == nullptr) throw py::type_error("the tensor's elements have an unsupported type");

  const std::vector<py::ssize_t> strides = strides_of(tensor, type->bytes);
  const std::vector<py::ssize_t> shape(tensor.shape, tensor.shape + tensor.ndim);
  // From here on the array owns the tensor.
  if (PyCapsule_SetName(capsule.ptr(), kUsedName) != 0) throw py::error_already_set();
  const py::capsule owner(managed, [](void *owned) {
    auto *tensor_owned = static_cast<DLManagedTensor *>(owned);
    if (tensor_owned->deleter != nullptr) tensor_owned->deleter(tensor_owned);
  });
  return view_array(*type, shape, strides, static_cast<uint8_t *>(tensor.data) + tensor.byte_offset,
                    owner);
}

}  // namespace

void define_dlpack(py::module_ &module) {
  module.def("_array_of_dlpack", &array_of, py::arg("capsule"));
}

}  // namespace tavix::python
