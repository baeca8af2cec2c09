// SPDX-License-Identifier: Apache-2.0
// A softmax of plain AVX2 loops around SLEEF's exponential of one unit in the last place.
#pragma once

#include <cstdint>

namespace tavix::benchmarks {

// Contiguous lines of length values, one behind the other; length a multiple of 8.
void sleef_softmax_lines_avx2(const float *x, float *y, int32_t length, int32_t lines);

// Lines side by side, their values so many lines apart, in panels that fit the first cache.
void sleef_softmax_columns_avx2(const float *x, float *y, int32_t length, int32_t lines);

}  // namespace tavix::benchmarks
