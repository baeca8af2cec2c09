// SPDX-License-Identifier: Apache-2.0
#include "softmax_exp.h"

#if defined(__x86_64__)

#include "cpu/x86/vectors_avx2.h"

#include "cpu/x86/arithmetic/softmax_exp.inc"

TAVIX_AVX2_BEGIN
namespace tavix::test {

namespace {

// The floats of eight consecutive bit patterns.
TAVIX_INLINE __m256 floats_from(uint32_t first) {
  return _mm256_castsi256_ps(_mm256_add_epi32(_mm256_set1_epi32(int32_t(first)),
                                              _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
}

TAVIX_INLINE __m256 exp_any(__m256 x) {
  __m256 e[1] = {x};
  module::avx2::softmax_exp<false>(e);
  return e[0];
}
TAVIX_INLINE __m256 exp_normal(__m256 x) {
  __m256 e[1] = {x};
  module::avx2::softmax_exp<true>(e);
  return e[0];
}

// How many of the first lanes have bits that differ.
TAVIX_INLINE uint64_t count_differing(__m256 a, __m256 b, uint32_t lanes) {
  const __m256i same = _mm256_cmpeq_epi32(_mm256_castps_si256(a), _mm256_castps_si256(b));
  const int different = ~_mm256_movemask_ps(_mm256_castsi256_ps(same));
  return uint64_t(__builtin_popcount(unsigned(different) & ((1u << lanes) - 1)));
}

}  // namespace

void softmax_exp8(const float *x, float *y) {
  _mm256_storeu_ps(y, exp_any(_mm256_loadu_ps(x)));
}

float softmax_exp(float x) {
  return _mm256_cvtss_f32(exp_any(_mm256_set1_ps(x)));
}

uint64_t softmax_exp_count_other(uint32_t first, uint32_t count, float value) {
  uint64_t other = 0;
  for (uint32_t i = 0; i < count; i += 8)
    other += count_differing(exp_any(floats_from(first + i)), _mm256_set1_ps(value),
                             count - i < 8 ? count - i : 8);
  return other;
}

uint64_t softmax_exp_count_forms_differ(uint32_t first, uint32_t count, uint32_t step) {
  uint64_t differ = 0;
  for (uint64_t i = 0; i < count; i += 8 * uint64_t(step)) {
    const __m256 x = floats_from(first + uint32_t(i));
    differ += count_differing(exp_any(x), exp_normal(x), count - i < 8 ? uint32_t(count - i) : 8);
  }
  return differ;
}

}  // namespace tavix::test
TAVIX_AVX2_END

#else

#include <cstdlib>

namespace tavix::test {

float softmax_exp(float) {
  std::abort();
}
void softmax_exp8(const float *, float *) {
  std::abort();
}
uint64_t softmax_exp_count_other(uint32_t, uint32_t, float) {
  std::abort();
}
uint64_t softmax_exp_count_forms_differ(uint32_t, uint32_t, uint32_t) {
  std::abort();
}

}  // namespace tavix::test

#endif
