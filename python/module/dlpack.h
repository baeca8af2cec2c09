// SPDX-License-Identifier: Apache-2.0
// Arrays over tensors of other programs.
#pragma once

#include <pybind11/pybind11.h>

namespace tavix::python {

void define_dlpack(pybind11::module_ &module);

}  // namespace tavix::python
