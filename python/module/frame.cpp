// SPDX-License-Identifier: Apache-2.0
#include "frame.h"

#include <cstdlib>
#include <new>
#include <vector>

namespace tavix::python {

namespace {

PyTypeObject *frame_type = nullptr;

// Rows, columns and samples of a plane, as its array has them: no third dimension for one sample.
struct PlaneArrayShape {
  py::ssize_t sizes[3];
  size_t dimensions;
};

const ElementType &sample_type(int32_t format) {
  return is_float(format) ? float32_type() : uint8_type();
}

PlaneArrayShape plane_array_shape(const core::PlaneLayout &layout, const core::Plane &plane,
                                  int32_t width, int32_t height) {
  const py::ssize_t samples = plane.pixel_bytes / sample_type(layout.format).bytes;
  return {{py::ssize_t(core::plane_rows(plane, height)),
           py::ssize_t(core::plane_row_bytes(plane, width) / plane.pixel_bytes), samples},
          size_t(samples == 1 ? 2 : 3)};
}

// The arrays of all planes over the memory of one owner.
void view_planes(Frame &frame, py::handle owner) {
  const TavixFrameV2 &record = frame.record;
  const core::PlaneLayout &layout = required_layout(record.video.format);
  const ElementType &type = sample_type(layout.format);
  for (int p = 0; p < 3 && layout.planes[p].pixel_bytes > 0; ++p) {
    const auto [sizes, dimensions] =
        plane_array_shape(layout, layout.planes[p], record.video.width, record.video.height);
    const py::ssize_t strides[] = {record.linesize[p], layout.planes[p].pixel_bytes, type.bytes};
    frame.planes[p] =
        view_array(type, {sizes, dimensions}, {strides, dimensions}, record.data[p], owner);
    frame.plane_count = p + 1;
  }
}

// Interleaved chroma of two dimensions as one of three over the same memory.
py::array split_samples(const py::array &array, const py::ssize_t (&sizes)[3], py::ssize_t stride) {
  const py::ssize_t strides[] = {stride, sizes[2], 1};
  py::array split =
      view_array(uint8_type(), sizes, strides, const_cast<void *>(array.data()), array);
  if (!array.writeable()) split.attr("setflags")(py::arg("write") = false);
  return split;
}

// A plane that the caller has: its size must fit, its rows be packed.
void take_plane(Frame &frame, int index, py::handle object) {
  TavixFrameV2 &record = frame.record;
  const core::PlaneLayout &layout = required_layout(record.video.format);
  const core::Plane &plane = layout.planes[index];
  const std::string name = "plane " + std::to_string(index);
  const py::array array = as_array(object, name.c_str());
  const auto [sizes, dimensions] =
      plane_array_shape(layout, plane, record.video.width, record.video.height);
  const py::ssize_t row_samples = sizes[1] * sizes[2];

  const bool exact = array.ndim() == 3 && array.shape(1) == sizes[1] && array.shape(2) == sizes[2];
  const bool joined = array.ndim() == 2 && array.shape(1) == row_samples;
  if (element_type(array.dtype()) != &sample_type(layout.format) || !(exact || joined) ||
      array.shape(0) != sizes[0]) {
    throw py::value_error(name + " of a " + name_of(kPixelFormats, layout.format) + " frame of " +
                          std::to_string(record.video.width) + 'x' +
                          std::to_string(record.video.height) + " cannot be " +
                          describe_array(array));
  }
  const py::ssize_t bytes = array.itemsize(), row_bytes = row_samples * bytes;
  const py::ssize_t stride = sizes[0] <= 1 ? row_bytes : array.strides(0);
  const bool packed = (joined ? sizes[1] <= 1 || array.strides(1) == bytes
                              : (sizes[2] == 1 || array.strides(2) == bytes) &&
                                    (sizes[1] == 1 || array.strides(1) == sizes[2] * bytes));
  if (!packed || stride < row_bytes) {
    throw py::value_error(name +
                          ": rows must be packed, from top to bottom: " + describe_array(array));
  }
  if (stride > INT32_MAX / sizes[0]) throw py::value_error(name + " must be smaller than 2 GiB");
  record.data[index] = static_cast<uint8_t *>(const_cast<void *>(array.data()));
  record.linesize[index] = int32_t(stride);
  frame.planes[index] = joined && sizes[2] > 1 ? split_samples(array, sizes, stride) : array;
  frame.plane_count = index + 1;
}

TavixVideoInfo video_info(int32_t format, py::ssize_t width, py::ssize_t height) {
  if (width < 1 || height < 1 || width > INT32_MAX || height > INT32_MAX) {
    throw py::value_error("a frame has at least one pixel, and fewer than 2^31 rows and columns");
  }
  return {required_layout(format).channels, int32_t(width), int32_t(height), format, 0, 0};
}

// Both chroma planes of the planar formats are addressed with one stride.
void require_one_chroma_stride(const TavixFrameV2 &record) {
  if (record.data[2] != nullptr && record.linesize[1] != record.linesize[2]) {
    throw py::value_error("both chroma planes must have one stride, not " +
                          std::to_string(record.linesize[1]) + " and " +
                          std::to_string(record.linesize[2]));
  }
}

Frame frame_from(py::object data, py::handle format_like, const py::object &width,
                 const py::object &height, py::handle color_space, py::handle color_range) {
  Frame frame;
  const int32_t format = code_of(kPixelFormats, format_like);
  const core::PlaneLayout &layout = required_layout(format);
  if (!is_planar(layout)) {
    if (const Frame *given = frame_of(data)) {
      if (given->plane_count == 0) throw py::type_error("data is a Frame that was never made");
      data = given->planes[0];
    }
    const Picture picture = Picture::source(as_array(data, "data"), "data", format_like);
    const TavixVideoInfo &video = picture.record().video;
    frame.record = picture.record();
    frame.record.video = video_info(format, video.width, video.height);
    frame.planes[0] = as_array(picture.object(), "data");
    frame.plane_count = 1;
  } else {
    if (!PyList_Check(data.ptr()) && !PyTuple_Check(data.ptr())) {
      data = py::module_::import("tavix._interop")
                 .attr("planes_of_buffer")(as_array(data, "data"), layout.planes[2].pixel_bytes > 0,
                                           width, height);
    }
    const py::tuple planes(data);  // of a list that may say that it is longer than it is
    const size_t count = layout.planes[2].pixel_bytes > 0 ? 3 : 2;
    if (planes.size() != count) {
      throw py::value_error(std::string(name_of(kPixelFormats, format)) + " has " +
                            std::to_string(count) + " planes, not " +
                            std::to_string(planes.size()));
    }
    const py::array luma = as_array(py::object(planes[0]), "plane 0");
    if (luma.ndim() != 2) throw py::value_error("plane 0 must have the shape (height, width)");
    frame.record.video = video_info(format, luma.shape(1), luma.shape(0));
    for (size_t p = 0; p < count; ++p) take_plane(frame, int(p), py::object(planes[p]));
    require_one_chroma_stride(frame.record);
  }
  const TavixVideoInfo &video = frame.record.video;
  const auto is_other = [](const py::object &asked, const char *name, int32_t side) {
    return !asked.is_none() && number_of<int64_t>(asked, name, "an integer") != side;
  };
  if (is_other(width, "width", video.width) || is_other(height, "height", video.height)) {
    throw py::value_error("the data is " + std::to_string(video.width) + 'x' +
                          std::to_string(video.height) + " pixels");
  }
  frame.record.memory = TAVIX_MEMORY_HOST;
  frame.record.video.color_space = code_of(kColorSpaces, color_space);
  frame.record.video.color_range = code_of(kColorRanges, color_range);
  return frame;
}

Frame owning(TavixFrameV2 *record) {
  Frame frame;
  frame.record = *record;
  view_planes(frame, own(record));
  return frame;
}

Frame allocate(py::handle format, int32_t width, int32_t height, int32_t alignment,
               py::handle color_space, py::handle color_range) {
  const int32_t code = code_of(kPixelFormats, format);
  TavixFrameV2 *record = nullptr;
  call("Frame.zeros", {}, [&] {
    record = TavixVideoFrameAllocV2(code, TAVIX_MEMORY_HOST, width, height, 0, alignment);
    return record == nullptr ? TAVIX_ERROR_MEMORY : TAVIX_OK;
  });
  Frame frame = owning(record);
  frame.record.video.color_space = code_of(kColorSpaces, color_space);
  frame.record.video.color_range = code_of(kColorRanges, color_range);
  return frame;
}

const py::array &pixels(const Frame &frame) {
  if (frame.plane_count != 1) {
    throw py::type_error(std::string(name_of(kPixelFormats, frame.record.video.format)) +
                         " frames have planes, not one array; use planes or convert");
  }
  return frame.planes[0];
}

py::tuple planes_of(const Frame &frame) {
  py::tuple planes(size_t(frame.plane_count));
  for (int p = 0; p < frame.plane_count; ++p) planes[size_t(p)] = frame.planes[p];
  return planes;
}

Frame region(const Frame &frame, int32_t x, int32_t y, int32_t width, int32_t height) {
  const TavixVideoInfo &video = frame.record.video;
  if (x < 0 || y < 0 || width < 1 || height < 1 || width > video.width - x ||
      height > video.height - y) {
    throw py::value_error("the region leaves the frame of " + std::to_string(video.width) + 'x' +
                          std::to_string(video.height) + " pixels");
  }
  const core::PlaneLayout &layout = required_layout(video.format);
  if (is_planar(layout) && (x % 2 != 0 || y % 2 != 0)) {
    throw py::value_error("a region of a 4:2:0 frame starts at even coordinates");
  }
  Frame part = frame;
  part.record.video.width = width;
  part.record.video.height = height;
  for (int p = 0; p < frame.plane_count; ++p) {
    const core::Plane &plane = layout.planes[p];
    const int half = plane.subsampled ? 2 : 1;
    part.record.data[p] +=
        int64_t(y / half) * frame.record.linesize[p] + int64_t(x / half) * plane.pixel_bytes;
    const py::slice rows(y / half, y / half + py::ssize_t(core::plane_rows(plane, height)), 1);
    const py::ssize_t columns =
        py::ssize_t(core::plane_row_bytes(plane, width) / plane.pixel_bytes);
    const py::slice cut(x / half, x / half + columns, 1);
    part.planes[p] = frame.planes[p].attr("__getitem__")(py::make_tuple(rows, cut));
  }
  return part;
}

std::string repr(const Frame &frame) {
  const TavixVideoInfo &video = frame.record.video;
  return std::string("<tavix.Frame ") + name_of(kPixelFormats, video.format) + ' ' +
         std::to_string(video.width) + 'x' + std::to_string(video.height) + ' ' +
         name_of(kColorSpaces, video.color_space) + ' ' + name_of(kColorRanges, video.color_range) +
         '>';
}

// The buffer protocol is that of the pixels' own array, which keeps the memory alive.
int get_buffer(PyObject *self, Py_buffer *view, int flags) {
  const Frame *frame = frame_of(self);
  if (frame != nullptr && frame->plane_count == 1) {
    return PyObject_GetBuffer(frame->planes[0].ptr(), view, flags);
  }
  view->obj = nullptr;
  PyErr_SetString(PyExc_BufferError, "4:2:0 frames have planes, not one buffer");
  return -1;
}

py::object member_of(const Codes &codes, int32_t value) {
  const py::object enumeration = py::module_::import("tavix._tavix").attr(codes.enumeration);
  try {
    return enumeration(value);
  } catch (const py::error_already_set &) {
    return py::int_(value);  // a code without a name
  }
}

}  // namespace

void *Frame::operator new(size_t bytes) {
  void *frame = std::calloc(1, bytes);
  if (frame == nullptr) throw std::bad_alloc();
  return frame;
}

void Frame::operator delete(void *frame) {
  std::free(frame);
}

bool Frame::is_writeable() const {
  for (int p = 0; p < plane_count; ++p) {
    if (!planes[p].writeable()) return false;
  }
  return true;
}

const Frame *frame_of(py::handle object) {
  if (frame_type == nullptr || !PyObject_TypeCheck(object.ptr(), frame_type)) return nullptr;
  return &py::cast<const Frame &>(object);
}

py::object make_frame(TavixFrameV2 *record) {
  return py::cast(owning(record));
}

void define_frame(py::module_ &module) {
  py::class_<Frame> type(
      module, "Frame", py::custom_type_setup([](PyHeapTypeObject *heap_type) {
        heap_type->as_buffer.bf_getbuffer = get_buffer;
        heap_type->ht_type.tp_as_buffer = &heap_type->as_buffer;
      }),
      R"(Frame(data, format, *, width=None, height=None, color_space='unspecified', color_range='unspecified')
--

A picture with a pixel format, a colour space and a colour range, over the caller's memory.

data: for packed formats an array of shape (height, width) or (height, width, channels). For 4:2:0
    formats a sequence of planes (luma of shape (height, width), then chroma of half the rows and
    columns, odd sizes rounded up), or one array that holds them all: of shape (height * 3 / 2,
    width), or flat, with width and height given. Nothing is copied.
format: a PixelFormat, or its name.

Raises ValueError where shapes, strides and format do not fit each other, TypeError where data has
no memory to share.

>>> import numpy, tavix
>>> nv12 = tavix.Frame(numpy.zeros((6, 8), numpy.uint8), 'nv12', color_space='bt709')
>>> nv12
<tavix.Frame NV12 8x4 BT709 UNSPECIFIED>
>>> [plane.shape for plane in nv12.planes]
[(4, 8), (2, 4, 2)]
)");
  frame_type = reinterpret_cast<PyTypeObject *>(type.ptr());
  type.def(py::init(&frame_from), py::arg("data"), py::arg("format"), py::kw_only(),
           py::arg("width") = py::none(), py::arg("height") = py::none(),
           py::arg("color_space") = 0, py::arg("color_range") = 0);
  type.def_static(
      "zeros", &allocate, py::arg("format"), py::arg("width"), py::arg("height"), py::kw_only(),
      py::arg("alignment") = 1, py::arg("color_space") = 0, py::arg("color_range") = 0,
      R"(zeros(format, width, height, *, alignment=1, color_space='unspecified', color_range='unspecified')
--

A new frame of zeros with memory of its own; rows start at multiples of alignment bytes, a power
of two.

>>> import tavix
>>> tavix.Frame.zeros('bgr24', 5, 3, alignment=64).array.strides
(64, 3, 1)
)");
  type.def_property_readonly(
      "format", [](const Frame &f) { return member_of(kPixelFormats, f.record.video.format); },
      "The PixelFormat.");
  type.def_property_readonly(
      "width", [](const Frame &f) { return f.record.video.width; }, "Pixels in a row.");
  type.def_property_readonly(
      "height", [](const Frame &f) { return f.record.video.height; }, "Rows.");
  type.def_property_readonly(
      "channels", [](const Frame &f) { return f.record.video.channels; },
      "Interleaved channels of the first plane.");
  type.def_property(
      "color_space",
      [](const Frame &f) { return member_of(kColorSpaces, f.record.video.color_space); },
      [](Frame &f, py::handle value) { f.record.video.color_space = code_of(kColorSpaces, value); },
      "The ColorSpace; set it with a member, a name or an int.");
  type.def_property(
      "color_range",
      [](const Frame &f) { return member_of(kColorRanges, f.record.video.color_range); },
      [](Frame &f, py::handle value) { f.record.video.color_range = code_of(kColorRanges, value); },
      "The ColorRange; set it with a member, a name or an int.");
  type.def_property(
      "pts", [](const Frame &f) { return f.record.pts; },
      [](Frame &f, int64_t value) { f.record.pts = value; },
      "Presentation time, in the stream's time base.");
  type.def_property(
      "duration", [](const Frame &f) { return f.record.duration; },
      [](Frame &f, int64_t value) { f.record.duration = value; }, "In the stream's time base.");
  type.def_property_readonly("planes", &planes_of,
                             "The planes as arrays over the frame's own memory.");
  type.def_property_readonly("array", &pixels,
                             "The pixels of a packed format as an array over the frame's memory.");
  type.def_property_readonly("writeable", &Frame::is_writeable,
                             "Whether operations may write into the frame.");
  type.def("region", &region, py::arg("x"), py::arg("y"), py::arg("width"), py::arg("height"),
           R"(region(self, x, y, width, height)
--

A part of the frame over the same memory. x and y are even in 4:2:0 formats.

>>> import tavix
>>> tavix.Frame.zeros('i420', 8, 6).region(2, 2, 4, 2)
<tavix.Frame I420 4x2 UNSPECIFIED UNSPECIFIED>
)");
  type.def("__repr__", &repr);
  type.def(
      "__array__",
      [](const Frame &f, const py::object &dtype) {
        const py::array &array = pixels(f);
        return dtype.is_none() ? py::object(array) : py::object(array.attr("astype")(dtype));
      },
      py::arg("dtype") = py::none(), "__array__(self, dtype=None)\n--\n\nThe pixels, for NumPy.");
  type.def_property_readonly(
      "__array_interface__", [](const Frame &f) { return pixels(f).attr("__array_interface__"); },
      "The pixels, for programs that read NumPy's interface.");
  type.def(
      "__dlpack__",
      [](const Frame &f, const py::object &stream) {
        if (!stream.is_none()) throw py::value_error("host memory has no stream");
        return pixels(f).attr("__dlpack__")();
      },
      py::kw_only(), py::arg("stream") = py::none(),
      "__dlpack__(self, *, stream=None)\n--\n\nThe pixels, for torch.from_dlpack and the like.");
  type.def(
      "__dlpack_device__", [](const Frame &f) { return pixels(f).attr("__dlpack_device__")(); },
      "__dlpack_device__(self)\n--\n\nThe processor: (1, 0).");
  type.def(
      "_repr_png_",
      [](py::handle self) { return py::module_::import("tavix._display").attr("png")(self); },
      "_repr_png_(self)\n--\n\nThe frame as a PNG, which IPython and notebooks show.");
}

}  // namespace tavix::python
