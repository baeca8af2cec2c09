// SPDX-License-Identifier: Apache-2.0
#include "operations.h"
#include "tavix/video_common_cpu.h"
#include "tensor.h"

namespace tavix::python {

namespace {

py::object softmax(py::handle x, int32_t axis, py::handle out) {
  const py::array values = as_array(x, "x");
  const Tensor src(values, TAVIX_DATA_FORMAT_NCHW, "x");
  if (src.blob().data_type != TAVIX_DATA_TYPE_FLOAT32) {
    throw py::type_error("x must be float32, not " + src.describe());
  }
  const py::array result = out.is_none()
                               ? new_array(float32_type(), {values.shape(), size_t(values.ndim())})
                               : as_array(out, "out");
  require_writeable(result, "out");
  Tensor dst(result, TAVIX_DATA_FORMAT_NCHW, "out");
  require_same_or_apart(src, dst);
  call("TavixBlobSoftmaxByCPU", {&src, &dst},
       [&] { return TavixBlobSoftmaxByCPU(&src.blob(), axis, &dst.blob()); });
  return out.is_none() ? py::object(result) : py::reinterpret_borrow<py::object>(out);
}

}  // namespace

void define_softmax(py::module_ &module) {
  module.def("softmax", &softmax, py::arg("x"), py::arg("axis") = -1, py::kw_only(),
             py::arg("out") = py::none(),
             R"(softmax(x, axis=-1, *, out=None)
--

exp(x - max) / sum(exp(x - max)) along an axis.

x: a C-contiguous float32 array of 1 to 8 dimensions.
axis: counts from the end where it is negative.
out: an array of the same shape to write into; it may be x.

Raises TavixError where there is no such axis or the shapes differ.

>>> import numpy, tavix
>>> tavix.softmax(numpy.array([[1, 1, 1, 1]], numpy.float32))
array([[0.25, 0.25, 0.25, 0.25]], dtype=float32)
)");
}

}  // namespace tavix::python
