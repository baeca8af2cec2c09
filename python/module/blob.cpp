// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include "operations.h"
#include "overlap.h"
#include "tavix/video_common_cpu.h"
#include "tensor.h"

namespace tavix::python {

namespace {

// One picture, or several in a list or tuple.
std::vector<Picture> pictures_of(py::handle src) {
  std::vector<Picture> pictures;
  if (!PyList_Check(src.ptr()) && !PyTuple_Check(src.ptr())) {
    pictures.push_back(Picture::source(src, "src"));
  } else {
    // A list may say that it is longer than it is; a tuple cannot.
    for (const py::handle item : py::tuple(py::reinterpret_borrow<py::object>(src))) {
      pictures.push_back(Picture::source(item, "src"));
    }
  }
  if (pictures.empty()) throw py::value_error("at least one picture is needed");
  return pictures;
}

py::array new_tensor(const Picture &first, py::ssize_t count, const ElementType &type,
                     int32_t layout) {
  const TavixVideoInfo &video = first.record().video;
  const py::ssize_t height = video.height, width = video.width, channels = video.channels;
  if (layout == TAVIX_DATA_FORMAT_NHWC) return new_array(type, {{count, height, width, channels}});
  return new_array(type, {{count, channels, height, width}});
}

// Image n of a tensor, as a tensor of its own.
py::array image_of(const py::array &tensor, py::ssize_t n) {
  return tensor.attr("__getitem__")(py::slice(n, n + 1, 1));
}

py::object to_blob(py::handle src, py::handle dtype, py::handle layout, py::handle out) {
  const std::vector<Picture> pictures = pictures_of(src);
  const int32_t format = code_of(kLayouts, layout);
  const py::ssize_t count = py::ssize_t(pictures.size());
  const py::array result =
      out.is_none()
          ? new_tensor(pictures[0], count,
                       dtype.is_none() ? float32_type() : required_element_type(dtype), format)
          : as_array(out, "out");
  require_writeable(result, "out");
  if (!out.is_none() && !dtype.is_none() &&
      element_type(result.dtype()) != &required_element_type(dtype)) {
    throw py::value_error("out is " + describe_array(result) + ", not of the dtype asked for");
  }
  if (result.ndim() < 1 || result.shape(0) != count) {
    throw py::value_error("out: " + describe_array(result) + " has not one image for each of " +
                          std::to_string(count) + " pictures");
  }
  for (py::ssize_t n = 0; n < count; ++n) {
    const Picture &picture = pictures[size_t(n)];
    Tensor image(count == 1 ? result : image_of(result, n), format, "out");
    require_apart(picture, image);
    call("TavixFrameToBlobByCPU", {&picture, &image},
         [&] { return TavixFrameToBlobByCPU(&picture.record(), &image.blob()); });
  }
  return out.is_none() ? py::object(result) : py::reinterpret_borrow<py::object>(out);
}

py::object from_blob(py::handle blob, py::handle dtype, py::handle layout, py::handle out) {
  const py::array values = as_array(blob, "blob");
  const int32_t format = code_of(kLayouts, layout);
  const Tensor image(values, format, "blob");
  if (values.ndim() != 4 || values.shape(0) != 1) {
    throw py::value_error("blob: " + image.describe() +
                          " is not one image of four dimensions; take blob[n:n + 1]");
  }
  const auto made = [&] {
    const ElementType &type = !dtype.is_none() ? required_element_type(dtype)
                              : image.blob().data_type == TAVIX_DATA_TYPE_FLOAT32 ? float32_type()
                                                                                  : uint8_type();
    const bool first = format == TAVIX_DATA_FORMAT_NCHW;
    const py::ssize_t shape[] = {values.shape(first ? 2 : 1), values.shape(first ? 3 : 2),
                                 values.shape(first ? 1 : 3)};
    return Picture::target(new_array(type, {shape, size_t(shape[2] == 1 ? 2 : 3)}), "out");
  };
  Picture result = out.is_none() ? made() : Picture::target(out, "out");
  require_apart(result, image);
  call("TavixBlobToFrameByCPU", {&image, &result},
       [&] { return TavixBlobToFrameByCPU(&image.blob(), &result.record()); });
  return result.object();
}

py::object normalize(py::handle src, py::handle mean, py::handle scale, py::handle dtype,
                     py::handle out) {
  const Picture picture = Picture::source(src, "src");
  const ChannelValues means = channel_values(mean, picture.channels(), "mean");
  const ChannelValues scales = channel_values(scale, picture.channels(), "scale");
  float values[8];
  std::copy_n(means.values, 4, values);
  std::copy_n(scales.values, 4, values + 4);
  const ElementType &type = required_element_type(dtype);
  if (&type != &float32_type() && &type != &uint8_type()) {
    throw py::type_error("dtype must be float32 or uint8");
  }
  TavixFrameV2 *frame = frame_of_call("TavixFrameDataTypeConvertNormalizationFuseByCPU", {&picture},
                                      [&](TavixFrameV2 **made) {
                                        return TavixFrameDataTypeConvertNormalizationFuseByCPU(
                                            &picture.record(), made, type.code, values);
                                      });
  return Picture::adopt_into(picture, frame, out).object();
}

}  // namespace

void define_blob(py::module_ &module) {
  module.def("to_blob", &to_blob, py::arg("src"), py::kw_only(), py::arg("dtype") = py::none(),
             py::arg("layout") = 0, py::arg("out") = py::none(),
             R"(to_blob(src, *, dtype='float32', layout='nchw', out=None)
--

A picture, or a list of them, as a tensor of shape (pictures, channels, height, width).

src: packed pictures; the elements are cast, floats truncated towards zero.
dtype: float32, int8, uint8, int16, uint16, int32, uint32 or int64; that of out where it is given.
layout: a Layout, or its name: 'nchw' or 'nhwc'.
out: a C-contiguous tensor of one image for each picture to write into; images may be smaller than
    the pictures, whose upper left parts and first channels they take.

Raises TavixError where an image is larger than its picture.

>>> import numpy, tavix
>>> tavix.to_blob(numpy.array([[[1, 2, 3], [4, 5, 6]]], numpy.uint8))
array([[[[1., 4.]],
<BLANKLINE>
        [[2., 5.]],
<BLANKLINE>
        [[3., 6.]]]], dtype=float32)
)");
  module.def("from_blob", &from_blob, py::arg("blob"), py::kw_only(), py::arg("dtype") = py::none(),
             py::arg("layout") = 0, py::arg("out") = py::none(),
             R"(from_blob(blob, *, dtype=None, layout='nchw', out=None)
--

A tensor of one image as a picture.

blob: a C-contiguous array of shape (1, channels, height, width), or as layout says.
dtype: uint8 or float32; without it float32 from float32, uint8 from other types.
out: a picture to write into; it may be larger, the rest keeps its pixels.

Integers keep their lowest byte in 8-bit pictures, floats are truncated towards zero first.
Raises TavixError where the image is larger than out.

>>> import numpy, tavix
>>> tavix.from_blob(numpy.array([[[[1, 4]], [[2, 5]], [[3, 6]]]], numpy.int32))
array([[[1, 2, 3],
        [4, 5, 6]]], dtype=uint8)
)");
  module.def("normalize", &normalize, py::arg("src"), py::arg("mean") = 0.0, py::arg("scale") = 1.0,
             py::kw_only(), py::arg("dtype") = "float32", py::arg("out") = py::none(),
             R"(normalize(src, mean=0, scale=1, *, dtype='float32', out=None)
--

(src - mean) * scale in single precision, as floats or bytes.

src: a packed picture, uint8 or float32.
mean, scale: a number, or one for each channel.
dtype: float32, or uint8: clamped to 0..255 and rounded, halves up.
out: a picture of that type to copy the result into.

Raises TavixError for 4:2:0 frames.

>>> import numpy, tavix
>>> tavix.normalize(numpy.array([[0, 100]], numpy.uint8), 50, 0.02)
array([[-1.,  1.]], dtype=float32)
)");
}

}  // namespace tavix::python
