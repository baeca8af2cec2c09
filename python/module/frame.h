// SPDX-License-Identifier: Apache-2.0
// tavix.Frame: a record of the C interface with the arrays that hold its planes.
#pragma once

#include "picture.h"

namespace tavix::python {

struct Frame {
  TavixFrameV2 record = {};
  py::array planes[3];  // as many as the format has; the others are empty
  int plane_count = 0;

  bool is_writeable() const;

  // Zero-filled: an object that Python made without calling __init__ is an empty frame.
  static void *operator new(size_t bytes);
  static void *operator new(size_t, void *place) { return place; }
  static void operator delete(void *frame);
};

// Null for other objects.
const Frame *frame_of(py::handle object);

// A new Frame around a frame of the core, which it owns.
py::object make_frame(TavixFrameV2 *record);

void define_frame(py::module_ &module);

}  // namespace tavix::python
