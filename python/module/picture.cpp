// SPDX-License-Identifier: Apache-2.0
#include "picture.h"

#include <cstring>
#include <limits>

#include "frame.h"

namespace tavix::python {

namespace {

constexpr int64_t kMost = std::numeric_limits<int32_t>::max();

[[noreturn]] void refuse(const char *name, const std::string &reason) {
  throw py::value_error(std::string(name) + ": " + reason);
}

// The format of an array by its element type and channels.
int32_t array_format(bool is_float, py::ssize_t channels, const char *name) {
  switch (channels) {
    case 1:
      return is_float ? TAVIX_PIX_FMT_GRAYF32 : TAVIX_PIX_FMT_GRAY8;
    case 3:
      return is_float ? TAVIX_PIX_FMT_RGBF32 : TAVIX_PIX_FMT_RGB24;
    case 4:
      return is_float ? TAVIX_PIX_FMT_RGBAF32 : TAVIX_PIX_FMT_RGBA32;
    default:
      refuse(name, std::to_string(channels) + " channels are not 1, 3 or 4");
  }
}

bool same_pixels(int32_t format, int32_t other) {
  const core::PlaneLayout &a = required_layout(format), &b = required_layout(other);
  return !is_planar(a) && !is_planar(b) && a.channels == b.channels &&
         is_float(format) == is_float(other);
}

const ElementType &sample_type(int32_t format) {
  return is_float(format) ? float32_type() : uint8_type();
}

py::array new_pixels(int32_t format, int32_t width, int32_t height, bool flat) {
  const py::ssize_t shape[] = {height, width, required_layout(format).channels};
  return new_array(sample_type(format), {shape, size_t(flat ? 2 : 3)});
}

TavixFrameV2 *allocated(int32_t format, int32_t width, int32_t height) {
  TavixFrameV2 *frame = nullptr;
  call("TavixVideoFrameAllocV2", {}, [&] {
    frame = TavixVideoFrameAllocV2(format, TAVIX_MEMORY_HOST, width, height, 0, 1);
    return frame == nullptr ? TAVIX_ERROR_MEMORY : TAVIX_OK;
  });
  return frame;
}

void copy_times(TavixFrameV2 &to, const TavixFrameV2 &from) {
  to.video.color_space = from.video.color_space;
  to.video.color_range = from.video.color_range;
  to.pts = from.pts;
  to.dts = from.dts;
  to.duration = from.duration;
  to.flags = from.flags;
}

}  // namespace

const core::PlaneLayout &required_layout(int32_t format) {
  const core::PlaneLayout *layout = core::plane_layout(format);
  if (layout == nullptr) throw py::value_error(std::to_string(format) + " is no pixel format");
  return *layout;
}

py::capsule own(TavixFrameV2 *frame) {
  const auto free = [](void *owned) { TavixFrameFreeV2(static_cast<TavixFrameV2 *>(owned)); };
  try {
    return py::capsule(frame, free);
  } catch (...) {
    free(frame);
    throw;
  }
}

void Picture::see_array(const py::array &array, const char *name) {
  const ElementType *type = element_type(array.dtype());
  const bool is_uint8 = type == &uint8_type();
  if (!is_uint8 && type != &float32_type()) {
    throw py::type_error(std::string(name) + ": elements must be uint8 or float32, not " +
                         text_of(array.dtype()));
  }
  const py::ssize_t dimensions = array.ndim();
  if (dimensions != 2 && dimensions != 3) {
    refuse(name, "a picture has the shape (height, width) or (height, width, channels), not " +
                     text_of(array.attr("shape")));
  }
  const py::ssize_t height = array.shape(0), width = array.shape(1);
  const py::ssize_t channels = dimensions == 3 ? array.shape(2) : 1;
  record_.video.format = array_format(!is_uint8, channels, name);

  const py::ssize_t pixel_bytes = channels * type->bytes;
  const bool samples_packed = channels == 1 || array.strides(2) == type->bytes;
  const bool pixels_packed = width <= 1 || array.strides(1) == pixel_bytes;
  // NumPy keeps any stride where there is one row alone.
  const py::ssize_t row_bytes = width * pixel_bytes;
  const py::ssize_t stride = height <= 1 ? row_bytes : array.strides(0);
  const bool empty = height == 0 || width == 0;
  if (!empty && (!samples_packed || !pixels_packed || stride < row_bytes)) {
    refuse(name, "strides " + text_of(array.attr("strides")) +
                     " are not those of packed rows from top to bottom; numpy.ascontiguousarray"
                     " makes a copy that is");
  }
  if (height > kMost || width > kMost ||
      (!empty && (row_bytes > kMost || stride > kMost / height))) {
    refuse(name, "a picture must be smaller than 2 GiB");
  }
  record_.memory = TAVIX_MEMORY_HOST;
  record_.video.channels = int32_t(channels);
  record_.video.width = int32_t(width);
  record_.video.height = int32_t(height);
  record_.data[0] = static_cast<uint8_t *>(const_cast<void *>(array.data()));
  record_.linesize[0] = int32_t(empty ? 0 : stride);
  is_flat_ = dimensions == 2;
}

Picture Picture::seen(py::handle object, const char *name) {
  Picture picture;
  picture.object_ = py::reinterpret_borrow<py::object>(object);
  if (is_array(object) || frame_of(object) != nullptr) {
    picture.memory_ = picture.object_;
  } else {
    picture.memory_ = py::module_::import("tavix._interop").attr("as_picture")(object, name);
  }
  if (const Frame *frame = frame_of(picture.memory_)) {
    picture.record_ = frame->record;
    picture.is_frame_ = true;
  } else {
    picture.see_array(py::reinterpret_borrow<py::array>(picture.memory_), name);
  }
  return picture;
}

Picture Picture::source(py::handle object, const char *name, py::handle source_format) {
  Picture picture = seen(object, name);
  if (source_format && !source_format.is_none()) {
    const int32_t format = code_of(kPixelFormats, source_format);
    picture.take_format(format, name);
  }
  return picture;
}

Picture Picture::target(py::handle object, const char *name) {
  Picture picture = seen(object, name);
  if (const Frame *frame = frame_of(picture.memory_)) {
    if (!frame->is_writeable()) throw py::value_error(std::string(name) + " is read-only");
  } else {
    require_writeable(py::reinterpret_borrow<py::array>(picture.memory_), name);
  }
  return picture;
}

Picture Picture::result(const Picture &like, py::handle out) {
  return result(like, out, like.record_.video.width, like.record_.video.height);
}

Picture Picture::result(const Picture &like, py::handle out, int32_t width, int32_t height) {
  const TavixVideoInfo &video = like.record_.video;
  if (out.is_none()) {
    if (like.is_frame_) {
      Picture picture = seen(make_frame(allocated(video.format, width, height)), "out");
      copy_times(picture.record_, like.record_);
      copy_times(py::cast<Frame &>(picture.memory_).record, like.record_);
      return picture;
    }
    Picture picture = seen(new_pixels(video.format, width, height, like.is_flat_), "out");
    picture.record_.video.format = video.format;
    return picture;
  }
  Picture picture = target(out, "out");
  picture.take_order_of(like);
  const TavixVideoInfo &made = picture.record_.video;
  if (made.format != video.format || made.width != width || made.height != height) {
    refuse("out", picture.describe() + " is not " + name_of(kPixelFormats, video.format) + ' ' +
                      std::to_string(width) + 'x' + std::to_string(height));
  }
  return picture;
}

Picture Picture::zeroed(const Picture &like, int32_t format) {
  const TavixVideoInfo &video = like.record_.video;
  return adopt(like, allocated(format, video.width, video.height));
}

Picture Picture::adopt(const Picture &like, TavixFrameV2 *frame) {
  const core::PlaneLayout &layout = required_layout(frame->video.format);
  if (like.is_frame_ || is_planar(layout)) {
    copy_times(*frame, like.record_);
    return seen(make_frame(frame), "out");
  }
  const ElementType &type = sample_type(frame->video.format);
  const py::ssize_t channels = layout.channels;
  const py::ssize_t shape[] = {frame->video.height, frame->video.width, channels};
  const py::ssize_t strides[] = {frame->linesize[0], channels * type.bytes, type.bytes};
  const size_t dimensions = channels == 1 && (like.is_flat_ || like.channels() > 1) ? 2 : 3;
  const int32_t format = frame->video.format;
  void *data = frame->data[0];
  Picture picture =
      seen(view_array(type, {shape, dimensions}, {strides, dimensions}, data, own(frame)), "out");
  picture.record_.video.format = format;
  return picture;
}

Picture Picture::adopt_into(const Picture &like, TavixFrameV2 *frame, py::handle out) {
  Picture made = adopt(like, frame);
  if (out.is_none()) return made;
  Picture result = Picture::result(made, out);
  call("TavixFrameCopyV2", {&made, &result},
       [&] { return TavixFrameCopyV2(&result.record_, &made.record_, 0, 0); });
  return result;
}

std::string Picture::describe() const {
  if (!is_frame_) return describe_array(py::reinterpret_borrow<py::array>(memory_));
  const TavixVideoInfo &video = record_.video;
  return "Frame " + std::string(name_of(kPixelFormats, video.format)) + ' ' +
         std::to_string(video.width) + 'x' + std::to_string(video.height);
}

bool Picture::is_packed() const {
  return !is_planar(required_layout(record_.video.format));
}

void Picture::take_order_of(const Picture &other) {
  if (!is_frame_ && same_pixels(record_.video.format, other.record_.video.format)) {
    record_.video.format = other.record_.video.format;
  }
}

void Picture::take_format(int32_t format, const char *name) {
  const int32_t own_format = record_.video.format;
  if (is_frame_ ? format != own_format : !same_pixels(format, own_format)) {
    refuse(name, describe() + " is not " + name_of(kPixelFormats, format));
  }
  record_.video.format = format;
}

void Picture::keep_colors() {
  if (is_frame_) copy_times(py::cast<Frame &>(memory_).record, record_);
}

void Picture::require_like(const Picture &other, const char *name) const {
  const TavixVideoInfo &a = record_.video, &b = other.record_.video;
  if (a.format != b.format || a.width != b.width || a.height != b.height) {
    refuse(name, describe() + " is not like " + other.describe());
  }
}

}  // namespace tavix::python
