// SPDX-License-Identifier: Apache-2.0
#include "tensor.h"

#include <new>

namespace tavix::python {

namespace {

struct Bytes {
  const uint8_t *start;
  int64_t count;
};

Bytes bytes_of(const Tensor &tensor) {
  return {static_cast<const uint8_t *>(tensor.array().data()), tensor.array().nbytes()};
}

bool bytes_meet(const Bytes &a, const Bytes &b) {
  return a.count > 0 && b.count > 0 && a.start < b.start + b.count && b.start < a.start + a.count;
}

}  // namespace

Tensor::Tensor(const py::array &array, int32_t layout, const char *name) : array_(array) {
  const std::string what(name);
  const ElementType *type = element_type(array.dtype());
  if (type == nullptr) {
    throw py::type_error(what + ": elements of " + describe_array(array) + " are not supported");
  }
  if ((array.flags() & py::array::c_style) == 0) {
    throw py::value_error(what + " must be C-contiguous, not " + describe_array(array));
  }
  if (array.ndim() > TAVIX_BLOB_MAX_DIMS) {
    throw py::value_error(what + " has more than 8 dimensions");
  }
  // Offsets within a tensor are products of 32 bits.
  if (array.nbytes() > INT32_MAX) throw py::value_error(what + " must be smaller than 2 GiB");
  blob_.data_type = uint32_t(type->code);
  blob_.data_format = uint32_t(layout);
  blob_.dims_size = int32_t(array.ndim());
  for (py::ssize_t d = 0; d < array.ndim(); ++d) {
    if (array.shape(d) > INT32_MAX) throw py::value_error(what + " is too large");
    blob_.dims[d] = int32_t(array.shape(d));
  }
  blob_.buffer = TavixBufferWrap(const_cast<void *>(array.data()), nullptr, nullptr);
  if (blob_.buffer == nullptr) throw std::bad_alloc();
}

Tensor::~Tensor() {
  TavixBufferRelease(blob_.buffer);
}

void require_same_or_apart(const Tensor &src, const Tensor &dst) {
  if (src.array().data() != dst.array().data() && bytes_meet(bytes_of(src), bytes_of(dst))) {
    throw py::value_error("out overlaps x without being the same memory");
  }
}

void require_apart(const Picture &picture, const Tensor &tensor) {
  const TavixFrameV2 &record = picture.record();
  const core::Plane &plane = required_layout(record.video.format).planes[0];
  const int64_t bytes = int64_t(record.linesize[0]) * (record.video.height - 1) +
                        core::plane_row_bytes(plane, record.video.width);
  if (bytes_meet({record.data[0], bytes}, bytes_of(tensor))) {
    throw py::value_error("the picture and the tensor share memory");
  }
}

}  // namespace tavix::python
