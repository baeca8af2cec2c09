// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "operations.h"
#include "overlap.h"
#include "tavix/video_common_cpu.h"

namespace tavix::python {

namespace {

// Formats whose pixels keep their size can be converted where they lie.
bool keeps_pixels(const TavixVideoInfo &from, const TavixVideoInfo &to) {
  return from.channels == to.channels && is_float(from.format) == is_float(to.format);
}

bool has_padding(const TavixFrameV2 &frame, int plane) {
  const core::Plane &shape = required_layout(frame.video.format).planes[plane];
  return shape.pixel_bytes > 0 &&
         frame.linesize[plane] != core::plane_row_bytes(shape, frame.video.width);
}

// Chroma from grey is filled to the ends of its strides, and luma to grey is copied in whole
// strides where they are equal. Padding may be somebody else's pixels, or not there in the last
// row.
void require_safe_padding(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  const bool fills_chroma =
      src.video.format == TAVIX_PIX_FMT_GRAY8 && is_planar(required_layout(dst.video.format));
  const bool copies_strides = is_planar(required_layout(src.video.format)) &&
                              dst.video.format == TAVIX_PIX_FMT_GRAY8 &&
                              src.linesize[0] == dst.linesize[0];
  if (fills_chroma && (has_padding(dst, 1) || has_padding(dst, 2))) {
    throw py::value_error("out: from grey, chroma rows must have no padding");
  }
  if (copies_strides && has_padding(dst, 0)) {
    throw py::value_error("out: from 4:2:0, rows must have no padding or another stride than src");
  }
}

py::object convert(py::handle src, py::handle to, py::handle source, py::handle color_space,
                   py::handle color_range, py::handle out) {
  Picture picture = Picture::source(src, "src", source);
  const int32_t format = code_of(kPixelFormats, to);
  required_layout(format);
  Picture result = out.is_none() ? Picture::zeroed(picture, format) : Picture::target(out, "out");
  if (!out.is_none()) result.take_format(format, "out");

  TavixVideoInfo &from = picture.record().video, &made = result.record().video;
  if (made.width != from.width || made.height != from.height) {
    throw py::value_error("out: " + result.describe() + " has not the size of " +
                          picture.describe());
  }
  require_no_overlap(picture, result,
                     picture.is_packed() && result.is_packed() && keeps_pixels(from, made)
                         ? InPlace::kAllowed
                         : InPlace::kRefused);
  require_safe_padding(picture.record(), result.record());
  if (!color_space.is_none()) {
    from.color_space = made.color_space = code_of(kColorSpaces, color_space);
  }
  if (!color_range.is_none()) {
    from.color_range = made.color_range = code_of(kColorRanges, color_range);
  }
  call("TavixFrameConvertColorByCPU", {&picture, &result},
       [&] { return TavixFrameConvertColorByCPU(&picture.record(), &result.record()); });
  result.keep_colors();
  return result.object();
}

py::object copy(py::handle src, py::handle out) {
  const Picture picture = Picture::source(src, "src");
  Picture result = Picture::result(picture, out);
  require_no_overlap(picture, result, InPlace::kAllowed);
  call("TavixFrameCopyV2", {&picture, &result},
       [&] { return TavixFrameCopyV2(&result.record(), &picture.record(), 0, 0); });
  result.keep_colors();
  return result.object();
}

}  // namespace

void define_color(py::module_ &module) {
  module.def("convert", &convert, py::arg("src"), py::arg("to"), py::kw_only(),
             py::arg("source") = py::none(), py::arg("color_space") = py::none(),
             py::arg("color_range") = py::none(), py::arg("out") = py::none(),
             R"(convert(src, to, *, source=None, color_space=None, color_range=None, out=None)
--

A picture in another pixel format.

src: a picture; arrays count as RGB24, RGBA32, GRAY8 or their float forms unless source names
    another format.
to: a PixelFormat, or its name. Packed formats give an array where src is one, 4:2:0 formats a
    Frame.
color_space, color_range: choose the matrix in place of those of the frames: into 4:2:0 those of
    the result count, out of it the colour space of src, which is read as limited range.
out: a picture of that format and of src's size to write into. It may be src where pixels keep
    their size.

8-bit 0..255 is float 0..1. Odd sizes of 4:2:0 leave some pixels as they were, in a new frame 0.
Raises TavixError for a conversion that does not exist, ValueError where sizes differ.

>>> import numpy, tavix
>>> rgb = numpy.array([[[255, 0, 0], [0, 0, 255]]], numpy.uint8)
>>> tavix.convert(rgb, 'bgr24')
array([[[  0,   0, 255],
        [255,   0,   0]]], dtype=uint8)
>>> tavix.convert(rgb, 'gray8')
array([[77, 29]], dtype=uint8)
>>> tavix.convert(numpy.zeros((4, 6, 3), numpy.uint8), 'nv12', color_space='bt709')
<tavix.Frame NV12 6x4 BT709 UNSPECIFIED>
)");
  module.def("copy", &copy, py::arg("src"), py::arg("out") = py::none(),
             R"(copy(src, out=None)
--

A copy of all planes, with colour space, colour range and times.

src: a picture of any format. out: a picture like it to write into.

Raises ValueError where size or format differ.

>>> import tavix
>>> tavix.copy(tavix.Frame.zeros('yv12', 6, 4))
<tavix.Frame YV12 6x4 UNSPECIFIED UNSPECIFIED>
)");
}

}  // namespace tavix::python
