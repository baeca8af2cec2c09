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

// y[i] = expf(x[i]), logf(x[i]) for i below n. x and y do not overlap.
void expf_row_avx2(const float *x, float *y, int32_t n,
                   const LibraryFunction &expf = library_expf());
void logf_row_avx2(const float *x, float *y, int32_t n,
                   const LibraryFunction &logf = library_logf());

// The same of floats at any address, with a scale and an offset for each of 24 elements: dst[i] =
// logf(max(src[i] * scale[i % 24], least)) + offset[i % 24], NaN kept. dst may be src.
void scaled_logf_row_avx2(const uint8_t *src, uint8_t *dst, int32_t n, float least,
                          const float (&scale)[24], const float (&offset)[24],
                          const LibraryFunction &logf = library_logf());

}  // namespace tavix::module
