// SPDX-License-Identifier: Apache-2.0
// The operations of the C interface: each file defines those of one of its headers.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace tavix::python {

using DefineOperations = void(pybind11::module_ &module);
DefineOperations define_arithmetic, define_blob, define_channels, define_color, define_filters,
    define_geometry, define_softmax, define_statistics;

// What sets a function apart from the others of its family.
struct Member {
  const char *name, *what, *example;
};

// The docstring of a member; common is what the family says between what and example.
std::string docstring(const Member &member, const char *parameters, const char *common);

}  // namespace tavix::python
