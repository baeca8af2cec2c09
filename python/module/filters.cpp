// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"
#include "operations.h"
#include "overlap.h"
#include "tavix/video_common_cpu.h"

namespace tavix::python {

namespace {

// What every filter does: a picture, a result like it, and one call.
template <class Operation>
py::object filtered(const char *function, py::handle src, py::handle out, InPlace in_place,
                    Operation &&operation) {
  const Picture picture = Picture::source(src, "src");
  Picture result = Picture::result(picture, out);
  require_no_overlap(picture, result, in_place);
  call(function, {&picture, &result},
       [&] { return operation(&picture.record(), &result.record()); });
  return result.object();
}

py::object threshold(py::handle src, double level, double max_value, py::handle type,
                     py::handle out) {
  const int32_t code = code_of(kThresholdTypes, type);
  return filtered("TavixFrameThresholdBinaryByCPU", src, out, InPlace::kAllowed,
                  [&](auto *from, auto *to) {
                    return TavixFrameThresholdBinaryByCPU(from, to, level, max_value, code);
                  });
}

py::object min_max_normalize(py::handle src, int32_t alpha, int32_t beta, py::handle out) {
  return filtered(
      "TavixFrameMinMaxNormByCPU", src, out, InPlace::kAllowed,
      [&](auto *from, auto *to) { return TavixFrameMinMaxNormByCPU(from, to, alpha, beta); });
}

// An operation takes the frames and a third argument.
template <class Operation>
struct Row {
  const char *function;
  Operation operation;
  Member member;
};

// A size is the sides of a rectangle.
using SizeFilter = int32_t (*)(const TavixFrameV2 *, TavixFrameV2 *, TavixSize);
constexpr Row<SizeFilter> kSizeFilters[] = {
    {"TavixFrameBlurByCPU",
     TavixFrameBlurByCPU,
     {"blur", "The mean over a rectangle; the border is reflected without its edge.",
      ">>> tavix.blur(numpy.array([[0, 30, 60]], numpy.uint8), (3, 1))\n"
      "array([[20, 30, 40]], dtype=uint8)"}},
    {"TavixFrameBoxFilterByCPU",
     [](const TavixFrameV2 *from, TavixFrameV2 *to, TavixSize sides) {
       return TavixFrameBoxFilterByCPU(from, to, &sides);
     },
     {"box_filter", "The sum over a rectangle, saturated; pixels of the edge are repeated.",
      ">>> tavix.box_filter(numpy.array([[0, 30, 60]], numpy.uint8), (3, 1))\n"
      "array([[ 30,  90, 150]], dtype=uint8)"}},
};
constexpr char kSizeDoc[] = R"(

src: a packed picture. size: (width, height) of the rectangle, or a number for both.
out: a picture like src to write into; it cannot be src.

Raises TavixError for an empty rectangle.

>>> import numpy, tavix
)";

using KernelFilter = int32_t (*)(const TavixFrameV2 *, TavixFrameV2 *, const TavixKernel *);
constexpr Row<KernelFilter> kKernelFilters[] = {
    {"TavixFrameFilter2DByCPU",
     TavixFrameFilter2DByCPU,
     {"filter2d",
      "Correlation with a kernel, anchored at its centre; pixels of the edge are repeated.",
      ">>> kernel = numpy.array([[-1, 0, 1]], numpy.float32)\n"
      ">>> tavix.filter2d(numpy.array([[1, 2, 4]], numpy.float32), kernel)\n"
      "array([[1., 3., 2.]], dtype=float32)"}},
    {"TavixFrameDilateBorderByCPU",
     TavixFrameDilateBorderByCPU,
     {"dilate",
      "The maximum under a structuring element; pixels outside of the picture do not count.",
      ">>> tavix.dilate(numpy.array([[0, 9, 0, 0]], numpy.uint8), numpy.ones((1, 3), "
      "numpy.uint8))\n"
      "array([[9, 9, 9, 0]], dtype=uint8)"}},
    {"TavixFrameErodeBorderByCPU",
     TavixFrameErodeBorderByCPU,
     {"erode",
      "The minimum under a structuring element; pixels outside of the picture do not count.",
      ">>> tavix.erode(numpy.array([[9, 9, 9, 0]], numpy.uint8), numpy.ones((1, 3), numpy.uint8))\n"
      "array([[9, 9, 0, 0]], dtype=uint8)"}},
};
constexpr char kKernelDoc[] = R"(

src: a packed picture.
kernel: an array of two dimensions: float32 for filter2d, uint8 for dilate and erode, where elements
    other than 0 count.
out: a picture like src to write into; it cannot be src.

Raises TavixError for a kernel of other elements; filter2d also for an empty one.

>>> import numpy, tavix
)";

}  // namespace

void define_filters(py::module_ &module) {
  for (const auto &row : kSizeFilters) {
    module.def(
        row.member.name,
        [&row](py::handle src, py::handle size, py::handle out) {
          const Size sides = size_argument(size, "size");
          return filtered(row.function, src, out, InPlace::kRefused, [&](auto *from, auto *to) {
            return row.operation(from, to, {sides.width, sides.height});
          });
        },
        py::arg("src"), py::arg("size"), py::kw_only(), py::arg("out") = py::none(),
        docstring(row.member, "src, size, *, out=None", kSizeDoc).c_str());
  }
  for (const auto &row : kKernelFilters) {
    module.def(
        row.member.name,
        [&row](py::handle src, py::handle kernel, py::handle out) {
          const Kernel elements = kernel_argument(kernel);
          return filtered(row.function, src, out, InPlace::kRefused, [&](auto *from, auto *to) {
            return row.operation(from, to, &elements.record);
          });
        },
        py::arg("src"), py::arg("kernel"), py::kw_only(), py::arg("out") = py::none(),
        docstring(row.member, "src, kernel, *, out=None", kKernelDoc).c_str());
  }
  module.def("threshold", &threshold, py::arg("src"), py::arg("threshold"),
             py::arg("max_value") = 255.0, py::kw_only(), py::arg("type") = 0,
             py::arg("out") = py::none(),
             R"(threshold(src, threshold, max_value=255.0, *, type='binary', out=None)
--

Compares every element with a threshold.

src: a packed picture. max_value: what elements above the threshold become, else 0.
type: a ThresholdType, or its name.
out: a picture like src to write into; it may be src.

Raises TavixError for a type that the elements do not have.

>>> import numpy, tavix
>>> tavix.threshold(numpy.array([[3, 7, 200]], numpy.uint8), 5)
array([[  0, 255, 255]], dtype=uint8)
)");
  module.def("min_max_normalize", &min_max_normalize, py::arg("src"), py::arg("alpha") = 0,
             py::arg("beta") = 255, py::kw_only(), py::arg("out") = py::none(),
             R"(min_max_normalize(src, alpha=0, beta=255, *, out=None)
--

Maps the smallest element of all channels to alpha and the largest to beta, linearly between.

src: a packed picture. alpha, beta: ints.
out: a picture like src to write into; it may be src.

Raises TavixError for empty pictures.

>>> import numpy, tavix
>>> tavix.min_max_normalize(numpy.array([[10, 20, 30]], numpy.uint8), 0, 100)
array([[  0,  50, 100]], dtype=uint8)
)");
}

}  // namespace tavix::python
