// SPDX-License-Identifier: Apache-2.0
// expf and logf of whole rows, with the C library's very bits for every input.
#pragma once

#include <cstdint>

namespace tavix::module {

// A function of a C library. known: whether it is the one that the rows below compute in vectors;
// one that is not is called for every element.
struct LibraryFunction {
  float (*call)(float);
  bool known;
};

// Told by the results of a thousand arguments.
LibraryFunction examined_expf(float (*call)(float));
LibraryFunction examined_logf(float (*call)(float));

// Those of the library at hand, examined once.
const LibraryFunction &library_expf();
const LibraryFunction &library_logf();

// y = library(x) for those lanes whose bits are set.
void ask_library(float (*library)(float), const float *x, float *y, uint64_t lanes);

// The rows of one instruction set.
struct LibraryRows {
  // y[i] = expf(x[i]), logf(x[i]) for i below n. x and y do not overlap.
  using Row = void(const float *x, float *y, int32_t n, const LibraryFunction &function);

  Row *expf, *logf;
};
extern const LibraryRows kLibraryRowsAvx2, kLibraryRowsAvx512;

}  // namespace tavix::module
