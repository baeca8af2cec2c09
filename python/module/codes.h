// SPDX-License-Identifier: Apache-2.0
// The codes of the C interface by the names that Python uses: one table for each enumeration.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <span>

namespace tavix::python {

namespace py = pybind11;

struct Code {
  const char *name;
  int32_t value;
};

struct Codes {
  const char *enumeration;
  std::span<const Code> codes;
};

extern const Codes kPixelFormats, kColorSpaces, kColorRanges, kInterpolations, kBorders,
    kThresholdTypes, kLayouts, kBinaryOps, kUnaryOps, kStatistics;

// An int (an enumeration's member is one) as it is, or a name in any case. Raises ValueError for a
// name that the table does not have, TypeError for anything else.
int32_t code_of(const Codes &codes, py::handle value);

// The name that belongs to a code, or "unknown".
const char *name_of(const Codes &codes, int32_t value);

void define_codes(py::module_ &module);

}  // namespace tavix::python
