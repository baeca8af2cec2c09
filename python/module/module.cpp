// SPDX-License-Identifier: Apache-2.0
// tavix._tavix: the public C interface for Python. It converts arguments and computes nothing.
#include "call.h"
#include "codes.h"
#include "dlpack.h"
#include "frame.h"
#include "operations.h"

PYBIND11_MODULE(_tavix, module) {
  using namespace tavix::python;
  py::options options;
  options.disable_function_signatures();  // the docstrings begin with those that Python reads

  define_logging(module);
  define_codes(module);
  define_dlpack(module);
  define_frame(module);
  define_arithmetic(module);
  define_blob(module);
  define_channels(module);
  define_color(module);
  define_filters(module);
  define_geometry(module);
  define_softmax(module);
  define_statistics(module);
}
