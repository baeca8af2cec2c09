// SPDX-License-Identifier: Apache-2.0
#include "dlpack.h"

#include <dlpack/dlpack.h>

#include <vector>

#include "arrays.h"

namespace tavix::python {

namespace {

constexpr char kName[] = "dltensor", kUsedName[] = "used_dltensor";

// By kind and bits, which is how a tensor says its type.
const char *type_name(const DLDataType &type) {
  if (type.lanes != 1) return nullptr;
  switch (type.code * 256 + type.bits) {
    case kDLFloat * 256 + 32:
      return "float32";
    case kDLInt * 256 + 8:
      return "int8";
    case kDLInt * 256 + 16:
      return "int16";
    case kDLInt * 256 + 32:
      return "int32";
    case kDLInt * 256 + 64:
      return "int64";
    case kDLUInt * 256 + 8:
      return "uint8";
    case kDLUInt * 256 + 16:
      return "uint16";
    case kDLUInt * 256 + 32:
      return "uint32";
    default:
      return nullptr;
  }
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
  const char *name = type_name(tensor.dtype);
  if (name == nullptr) throw py::type_error("the tensor's elements have an unsupported type");

  const ElementType &type = required_element_type(py::str(name));
  std::vector<py::ssize_t> shape(tensor.shape, tensor.shape + tensor.ndim), strides(shape.size());
  py::ssize_t packed = type.bytes;
  for (size_t d = shape.size(); d-- > 0;) {
    strides[d] = tensor.strides == nullptr ? packed : tensor.strides[d] * type.bytes;
    packed *= shape[d];
  }
  // From here on the array owns the tensor.
  if (PyCapsule_SetName(capsule.ptr(), kUsedName) != 0) throw py::error_already_set();
  const py::capsule owner(managed, [](void *owned) {
    auto *tensor_owned = static_cast<DLManagedTensor *>(owned);
    if (tensor_owned->deleter != nullptr) tensor_owned->deleter(tensor_owned);
  });
  return view_array(type, shape, strides, static_cast<uint8_t *>(tensor.data) + tensor.byte_offset,
                    owner);
}

}  // namespace

void define_dlpack(py::module_ &module) {
  module.def("_array_of_dlpack", &array_of, py::arg("capsule"));
}

}  // namespace tavix::python
