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

// The rows of one instruction set, whose vectors have so many lanes.
template <int lanes>
struct LibraryRows {
  static constexpr int kPeriod = 3 * lanes;  // of parameters

  // y[i] = expf(x[i]), logf(x[i]) for i below n. x and y do not overlap.
  using Row = void(const float *x, float *y, int32_t n, const LibraryFunction &function);

  // The logarithm of floats at any address, with a scale and an offset for each element of a
  // period: dst[i] = logf(max(src[i] * scale[i % kPeriod], least)) + offset[i % kPeriod], NaN kept.
  // dst may be src.
  using ScaledRow = void(const uint8_t *src, uint8_t *dst, int32_t n, float least,
                         const float (&scale)[kPeriod], const float (&offset)[kPeriod],
                         const LibraryFunction &logf);

  Row *expf, *logf;
  ScaledRow *scaled_logf;
};
extern const LibraryRows<8> kLibraryRowsAvx2;
extern const LibraryRows<16> kLibraryRowsAvx512;

}  // namespace tavix::module
