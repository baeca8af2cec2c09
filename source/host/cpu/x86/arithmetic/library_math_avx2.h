// SPDX-License-Identifier: Apache-2.0
// expf and logf of whole rows, with the C library's very bits for every input.
#pragma once

#include <cstdint>

namespace tavix::module {

// y[i] = expf(x[i]) for i below n. x and y do not overlap.
void expf_row_avx2(const float *x, float *y, int32_t n);

// y[i] = logf(x[i]) for i below n. x and y do not overlap.
void logf_row_avx2(const float *x, float *y, int32_t n);

}  // namespace tavix::module
