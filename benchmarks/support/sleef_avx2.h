// SPDX-License-Identifier: Apache-2.0
// Float rows through SLEEF's AVX2 routines of one unit in the last place, with a scale before and
// an offset after them.
#pragma once

#include <cstdint>

namespace tavix::benchmarks {

// n floats of whole pixels; the parameters are one for each channel.
using SleefRow = void(const uint8_t *src, uint8_t *dst, int64_t n, const double (&scale)[4],
                      const double (&offset)[4], int32_t channels);

SleefRow sleef_exp_row_avx2, sleef_log_row_avx2;

}  // namespace tavix::benchmarks
