// SPDX-License-Identifier: Apache-2.0
// The operations of the C interface: each file defines those of one of its headers.
#pragma once

#include <pybind11/pybind11.h>

namespace tavix::python {

void define_arithmetic(pybind11::module_ &module);
void define_blob(pybind11::module_ &module);
void define_channels(pybind11::module_ &module);
void define_color(pybind11::module_ &module);
void define_filters(pybind11::module_ &module);
void define_geometry(pybind11::module_ &module);
void define_softmax(pybind11::module_ &module);
void define_statistics(pybind11::module_ &module);

}  // namespace tavix::python
