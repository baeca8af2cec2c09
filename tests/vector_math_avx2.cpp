// SPDX-License-Identifier: Apache-2.0
#include "vector_math_avx2.h"

#include <algorithm>

#include "cpu/x86/arithmetic/exp_avx2.h"
#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::test {

void exp_row_avx2(const float *x, float *y, int32_t n) {
  for (int32_t i = 0; i < n; i += 8) {
    const int32_t count = std::min(n - i, 8);
    float lanes[8] = {};
    std::copy_n(x + i, count, lanes);
    _mm256_storeu_ps(lanes, module::exp8_avx2(_mm256_loadu_ps(lanes)));
    std::copy_n(lanes, count, y + i);
  }
}

}  // namespace tavix::test

TAVIX_AVX2_END
