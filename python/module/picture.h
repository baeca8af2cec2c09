// SPDX-License-Identifier: Apache-2.0
// An argument that is a picture: a NumPy array or a Frame, seen as the record of the C interface.
#pragma once

#include "arrays.h"
#include "call.h"
#include "codes.h"
#include "plane_layout.h"
#include "tavix/core.h"

namespace tavix::python {

class Picture final : public Described {
 public:
  // A picture to read. An array of 3 or 4 channels counts as red, green, blue (and alpha), unless
  // source_format (an int, a name or None) says otherwise. name is what errors call it.
  static Picture source(py::handle object, const char *name, py::handle source_format = {});

  // A picture to write into.
  static Picture target(py::handle object, const char *name);

  // out where there is one, which must have that size and format; else a new picture of the kind
  // that like is, uninitialised if it is an array.
  static Picture result(const Picture &like, py::handle out);
  static Picture result(const Picture &like, py::handle out, int32_t width, int32_t height);

  // A new picture of any format: an array for the packed ones where like is one, else a Frame.
  // Its pixels are zero.
  static Picture zeroed(const Picture &like, int32_t format);

  // A frame of the library becomes the same kind of picture as like; it owns the frame then.
  static Picture adopt(const Picture &like, TavixFrameV2 *frame);

  // The same, or where there is an out, copied into it and freed.
  static Picture adopt_into(const Picture &like, TavixFrameV2 *frame, py::handle out);

  std::string describe() const override;
  const py::object &object() const { return object_; }
  TavixFrameV2 &record() { return record_; }
  const TavixFrameV2 &record() const { return record_; }
  int32_t channels() const { return record_.video.channels; }
  bool is_frame() const { return is_frame_; }
  bool is_packed() const;

  // An array has no channel order of its own: beside a Frame it takes the frame's.
  void take_order_of(const Picture &other);
  // An array counts as the format; raises ValueError where it cannot.
  void take_format(int32_t format, const char *name);
  // A Frame keeps the colour space, range and times that the library wrote into the record.
  void keep_colors();
  void require_like(const Picture &other, const char *name) const;

 private:
  Picture() = default;
  static Picture seen(py::handle object, const char *name);
  void see_array(const py::array &array, const char *name);

  py::object object_;  // as the caller gave it
  py::object memory_;  // the array or Frame behind it
  TavixFrameV2 record_ = {};
  bool is_frame_ = false;
  bool is_flat_ = false;  // an array of two dimensions
};

constexpr bool is_float(int32_t format) {
  return format >= TAVIX_PIX_FMT_RGBF32 && format <= TAVIX_PIX_FMT_GRAYF32;
}

constexpr bool is_planar(const core::PlaneLayout &layout) {
  return layout.planes[1].pixel_bytes > 0;
}

// How the planes of a format lie; raises ValueError for codes without a name.
const core::PlaneLayout &required_layout(int32_t format);

// Owns a frame of the core.
py::capsule own(TavixFrameV2 *frame);

}  // namespace tavix::python
