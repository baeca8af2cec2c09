// SPDX-License-Identifier: Apache-2.0
// expf and logf of whole rows, with the C library's very bits for every input.
#pragma once

#include <cstdint>

namespace tavix::module {

// y[i] = expf(x[i]) for i below n. x and y do not overlap.
void expf_row_avx2(const float *x, float *y, int32_t n);

// Whether a C library's logf is the function that the rows below compute in vectors, and whether
// the one at hand is, found out once.
bool is_known_logf(float (*library)(float));
bool logf_is_known();

// y[i] = logf(x[i]) for i below n. x and y do not overlap. A library that is not known is called for
// every element.
void logf_row_avx2(const float *x, float *y, int32_t n, bool known = logf_is_known());

// The same of floats at any address, with a scale and an offset for each of 24 elements: dst[i] =
// logf(max(src[i] * scale[i % 24], least)) + offset[i % 24], NaN kept. dst may be src.
void scaled_logf_row_avx2(const uint8_t *src, uint8_t *dst, int32_t n, float least,
                          const float (&scale)[24], const float (&offset)[24]);

}  // namespace tavix::module
