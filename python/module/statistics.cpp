// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "operations.h"
#include "picture.h"
#include "tavix/video_common_cpu.h"

namespace tavix::python {

namespace {

py::array statistic(int32_t op, py::handle src, py::handle out) {
  const Picture picture = Picture::source(src, "src");
  const py::ssize_t shape[] = {picture.channels()};
  if (!out.is_none() && !is_array(out)) throw py::type_error("out must be an array");
  py::array result =
      out.is_none() ? new_array(float64_type(), shape) : py::reinterpret_borrow<py::array>(out);
  if (result.dtype().num() != float64_type().type_number || result.ndim() != 1 ||
      result.shape(0) != shape[0] || (result.flags() & py::array::c_style) == 0) {
    throw py::value_error("out must be an array of " + std::to_string(shape[0]) +
                          " float64 elements, not " + describe_array(result));
  }
  require_writeable(result, "out");

  TavixArrayElement elements[4] = {};
  TavixArray array = {4, elements}, *results = &array;
  call("TavixFrameStatisticalFunctionByCPU", {&picture},
       [&] { return TavixFrameStatisticalFunctionByCPU(&picture.record(), op, &results); });
  auto *values = static_cast<double *>(const_cast<void *>(result.data()));
  for (int32_t c = 0; c < array.count; ++c) values[c] = elements[c].value;
  return result;
}

constexpr struct {
  int32_t op;
  Member member;
} kRows[] = {
    {TAVIX_STAT_OP_MEAN, {"mean", "The mean", ">>> tavix.mean(a)\narray([ 2.5, 20. ,  0. ])"}},
    {TAVIX_STAT_OP_STDDEV,
     {"std", "The population standard deviation", ">>> tavix.std(a)\narray([ 1.5, 10. ,  0. ])"}},
    {TAVIX_STAT_OP_SUM, {"sum", "The sum", ">>> tavix.sum(a)\narray([ 5., 40.,  0.])"}},
    {TAVIX_STAT_OP_MAX, {"max", "The largest element", ">>> tavix.max(a)\narray([ 4., 30.,  0.])"}},
    {TAVIX_STAT_OP_MIN,
     {"min", "The smallest element", ">>> tavix.min(a)\narray([ 1., 10.,  0.])"}},
};
constexpr char kDoc[] = R"( of each channel over all pixels, as float64 of shape (channels,).

src: a picture of 1, 3 or 4 channels, uint8 or float32.
out: an array of that shape and type to write into.

Sums of 8-bit pictures are exact. Raises TavixError for 4:2:0 frames.

>>> import numpy, tavix
>>> a = numpy.array([[[1, 10, 0], [4, 30, 0]]], numpy.uint8)
)";

}  // namespace

void define_statistics(py::module_ &module) {
  for (const auto &[op, member] : kRows) {
    module.def(
        member.name, [op = op](py::handle src, py::handle out) { return statistic(op, src, out); },
        py::arg("src"), py::kw_only(), py::arg("out") = py::none(),
        docstring(member, "src, *, out=None", kDoc).c_str());
  }
}

}  // namespace tavix::python
