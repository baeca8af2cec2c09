// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"
#include "operations.h"
#include "overlap.h"
#include "tavix/video_common_cpu.h"

namespace tavix::python {

namespace {

// The size of a result: the one asked for, else that of out, else that of src.
PixelSize result_size(py::handle size, py::handle out, const Picture &src) {
  if (!size.is_none()) return pixel_size_argument(size, "size");
  const TavixVideoInfo &video =
      out.is_none() ? src.record().video : Picture::target(out, "out").record().video;
  return {video.width, video.height};
}

py::object resize(py::handle src, py::handle size, py::handle scale, py::handle interpolation,
                  py::handle out) {
  const Picture picture = Picture::source(src, "src");
  const int32_t mode = code_of(kInterpolations, interpolation);
  if (!scale.is_none()) {
    if (!size.is_none() || !out.is_none()) {
      throw py::type_error("scale makes a new picture: it goes with neither size nor out");
    }
    const Size factors = size_argument(scale, "scale");
    TavixFrameV2 *frame =
        frame_of_call("TavixFrameResizeByScaleByCPU", {&picture}, [&](TavixFrameV2 **made) {
          return TavixFrameResizeByScaleByCPU(&picture.record(), made, double(factors.width),
                                              double(factors.height), mode);
        });
    return Picture::adopt(picture, frame).object();
  }
  if (size.is_none() && out.is_none()) throw py::type_error("size, scale or out is needed");
  const auto [width, height] = result_size(size, out, picture);
  Picture result = Picture::result(picture, out, width, height);
  require_no_overlap(picture, result, InPlace::kRefused);
  call("TavixFrameResizeByCPU", {&picture, &result}, [&, w = width, h = height] {
    return TavixFrameResizeByCPU(&picture.record(), &result.record(), w, h, mode);
  });
  return result.object();
}

using Warp = int32_t (*)(TavixFrameV2 *, const TavixFrameV2 *, const float *, int32_t, int32_t,
                         double);

py::object warp(const char *function, Warp operation, py::ssize_t rows, py::handle src,
                py::handle matrix, py::handle size, py::handle interpolation, py::handle border,
                double border_value, py::handle out) {
  const Picture picture = Picture::source(src, "src");
  const auto coefficients = matrix_argument(matrix, rows);
  const int32_t mode = code_of(kInterpolations, interpolation);
  const int32_t edge = code_of(kBorders, border);
  const auto [width, height] = result_size(size, out, picture);
  Picture result = Picture::result(picture, out, width, height);
  require_no_overlap(picture, result, InPlace::kRefused);
  const float *numbers = coefficients.data();
  call(function, {&picture, &result}, [&] {
    return operation(&result.record(), &picture.record(), numbers, mode, edge, border_value);
  });
  return result.object();
}

py::object warp_affine(py::handle src, py::handle matrix, py::handle size, py::handle interpolation,
                       py::handle border, double border_value, py::handle out) {
  return warp("TavixFrameWarpAffineByCPU", TavixFrameWarpAffineByCPU, 2, src, matrix, size,
              interpolation, border, border_value, out);
}

py::object warp_perspective(py::handle src, py::handle matrix, py::handle size,
                            py::handle interpolation, py::handle border, double border_value,
                            py::handle out) {
  return warp("TavixFrameWarpPerspectiveByCPU", TavixFrameWarpPerspectiveByCPU, 3, src, matrix,
              size, interpolation, border, border_value, out);
}

py::object copy_region(py::handle src, py::handle out, py::handle src_rect, py::handle dst_rect) {
  Picture picture = Picture::source(src, "src"), result = Picture::target(out, "out");
  result.take_order_of(picture);
  picture.take_order_of(result);
  const TavixRect from = rect_argument(src_rect, "src_rect");
  const TavixRect to = rect_argument(dst_rect, "dst_rect");
  if (picture.record().video.format != result.record().video.format) {
    throw py::value_error("out: " + result.describe() + " has not the format of " +
                          picture.describe());
  }
  require_no_overlap(picture, result, InPlace::kRefused);
  call("TavixFrameRoiByCPU", {&picture, &result},
       [&] { return TavixFrameRoiByCPU(&picture.record(), &result.record(), from, to); });
  return result.object();
}

py::object copy_make_border(py::handle src, int32_t top, int32_t bottom, int32_t left,
                            int32_t right, py::handle border, double border_value, py::handle out) {
  const Picture picture = Picture::source(src, "src");
  const TavixVideoInfo &video = picture.record().video;
  const int64_t width = int64_t(video.width) + left + right;
  const int64_t height = int64_t(video.height) + top + bottom;
  if (top < 0 || bottom < 0 || left < 0 || right < 0 || width > INT32_MAX || height > INT32_MAX) {
    throw py::value_error("sides of a border cannot be negative, nor larger than a picture");
  }
  const int32_t edge = code_of(kBorders, border);
  Picture result = Picture::result(picture, out, int32_t(width), int32_t(height));
  require_no_overlap(picture, result, InPlace::kRefused);
  call("TavixFrameCopyMakeBorderByCPU", {&picture, &result}, [&] {
    return TavixFrameCopyMakeBorderByCPU(&picture.record(), &result.record(), top, bottom, left,
                                         right, edge, border_value);
  });
  return result.object();
}

}  // namespace

void define_geometry(py::module_ &module) {
  module.def("resize", &resize, py::arg("src"), py::arg("size") = py::none(), py::kw_only(),
             py::arg("scale") = py::none(), py::arg("interpolation") = 1,
             py::arg("out") = py::none(),
             R"(resize(src, size=None, *, scale=None, interpolation='linear', out=None)
--

A picture of another size.

src: a packed picture, uint8 or float32.
size: (width, height) in pixels. scale: in its place, a factor or (fx, fy); the sides are taken to
    the nearest integers, halves to the even one. Without both, out has the size.
interpolation: an Interpolation, or its name.
out: a picture of that size and of src's type to write into.

Raises TavixError for 4:2:0 frames and empty pictures, ValueError where out does not fit.

>>> import numpy, tavix
>>> tavix.resize(numpy.array([[0, 100]], numpy.uint8), (4, 1))
array([[  0,  25,  75, 100]], dtype=uint8)
>>> tavix.resize(numpy.zeros((5, 7, 3), numpy.uint8), scale=0.5).shape
(2, 4, 3)
)");
  constexpr char kWarpDoc[] = R"(
src: a packed picture, uint8 or float32.
size: (width, height) of the result; else that of out, else that of src.
interpolation: an Interpolation, or its name; 'inverse_map' says that the matrix maps the result to
    src, pixel by pixel.
border: a Border, or its name: what is outside of src. border_value: of a constant border.
out: a picture of that size and of src's type to write into; it cannot be src.
)";
  module.def(
      "warp_affine", &warp_affine, py::arg("src"), py::arg("matrix"), py::arg("size") = py::none(),
      py::kw_only(), py::arg("interpolation") = 1, py::arg("border") = 0,
      py::arg("border_value") = 0.0, py::arg("out") = py::none(),
      (std::string(
           R"(warp_affine(src, matrix, size=None, *, interpolation='linear', border='constant', border_value=0.0, out=None)
--

A picture moved, turned and stretched by a matrix of 2 rows of 3 that maps src to the result.
)") + kWarpDoc +
       R"(
Raises TavixError for 4:2:0 frames, ValueError for another shape of the matrix.

>>> import numpy, tavix
>>> tavix.warp_affine(numpy.array([[1, 2, 3]], numpy.uint8), [[1, 0, 1], [0, 1, 0]])
array([[0, 1, 2]], dtype=uint8)
)")
          .c_str());
  module.def(
      "warp_perspective", &warp_perspective, py::arg("src"), py::arg("matrix"),
      py::arg("size") = py::none(), py::kw_only(), py::arg("interpolation") = 1,
      py::arg("border") = 0, py::arg("border_value") = 0.0, py::arg("out") = py::none(),
      (std::string(
           R"(warp_perspective(src, matrix, size=None, *, interpolation='linear', border='constant', border_value=0.0, out=None)
--

A picture seen from elsewhere: a matrix of 3 rows of 3 maps src to the result.
)") + kWarpDoc +
       R"(
Raises TavixError for 4:2:0 frames, ValueError for another shape of the matrix.

>>> import numpy, tavix
>>> tavix.warp_perspective(numpy.array([[1, 2, 3]], numpy.uint8), numpy.eye(3))
array([[1, 2, 3]], dtype=uint8)
)")
          .c_str());
  module.def("copy_region", &copy_region, py::arg("src"), py::arg("out"), py::arg("src_rect"),
             py::arg("dst_rect"),
             R"(copy_region(src, out, src_rect, dst_rect)
--

Copies a rectangle of src over a rectangle of out; returns out.

src_rect, dst_rect: (x, y, width, height) in pixels, of one size, within their pictures.

Raises TavixError where a rectangle leaves its picture or the sizes differ.

>>> import numpy, tavix
>>> out = numpy.zeros((1, 4), numpy.uint8)
>>> tavix.copy_region(numpy.array([[5, 6, 7]], numpy.uint8), out, (1, 0, 2, 1), (0, 0, 2, 1))
array([[6, 7, 0, 0]], dtype=uint8)
)");
  module.def(
      "copy_make_border", &copy_make_border, py::arg("src"), py::arg("top"), py::arg("bottom"),
      py::arg("left"), py::arg("right"), py::kw_only(), py::arg("border") = 0,
      py::arg("border_value") = 0.0, py::arg("out") = py::none(),
      R"(copy_make_border(src, top, bottom, left, right, *, border='constant', border_value=0.0, out=None)
--

A picture with a border around it.

src: a packed picture. top, bottom, left, right: pixels of the border.
border: a Border, or its name. border_value: of a constant border, for every channel.
out: a picture of the larger size and of src's type to write into.

Raises ValueError for negative sides, TavixError for a border that repeats an empty picture.

>>> import numpy, tavix
>>> tavix.copy_make_border(numpy.array([[1, 2]], numpy.uint8), 0, 0, 1, 2, border='replicate')
array([[1, 1, 2, 2, 2]], dtype=uint8)
)");
}

}  // namespace tavix::python
