// SPDX-License-Identifier: Apache-2.0
// The exponential of the contiguous softmax: single precision throughout, at most one unit in the
// last place from the C library's expf for every float; infinities and NaN as there.
//
// exp(x) = 2^k * 2^(j/8) * e^r with x = (8k + j) * ln2/8 + r, |r| <= ln2/16. The factors 2^(j/8)
// are a table of eight floats; e^r is a cubic with a relative error below 1.9e-8, the least one.
#pragma once

#include <cstdint>

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN
namespace tavix::module {

// What both exponentials below share.
template <int vectors>
struct ExpParts {
  __m256 r_exp[vectors];   // e^r - 1, and what the table entry lost to rounding
  __m256i steps[vectors];  // 8k + j in the low bits, j in the lowest three
  __m256i table[vectors];  // bits of 2^(j/8), less j << 20
};

// x from -104 to 104.
template <int vectors>
TAVIX_INLINE ExpParts<vectors> exp_parts_avx2(const __m256 (&x)[vectors]) {
  // The bits of 2^(j/8) less j << 20: steps << 20 adds that and k to the exponent.
  const __m256i table = _mm256_setr_epi32(0x3f800000, 0x3f7b95c2, 0x3f7837f0, 0x3f75fed7,
                                          0x3f7504f3, 0x3f75672a, 0x3f7744fd, 0x3f7ac0c7);
  // 2^(j/8) * c0 over the entry, less 1; c0 = 1 - 1.83e-8 is the constant term of the cubic.
  const __m256 rest =
      _mm256_setr_ps(-0x1.3b1470p-26f, -0x1.048d40p-25f, 0x1.d31726p-27f, -0x1.a7bf88p-25f,
                     -0x1.50f140p-30f, -0x1.c257fcp-27f, -0x1.1bfafap-25f, -0x1.a45cd0p-26f);
  const __m256 c2 = _mm256_set1_ps(0x1.000a40p-1f), c3 = _mm256_set1_ps(0x1.554d22p-3f);
  // Adding 1.5 * 2^23 rounds to an integer, which then stands in the low bits. ln2/8 in two parts:
  // 13 bits, so that up to 1200 of them are exact, and what follows.
  const __m256 round = _mm256_set1_ps(0x1.8p23f), per_step = _mm256_set1_ps(0x1.715476p+3f);
  const __m256 step_high = _mm256_set1_ps(0x1.62ep-4f), step_low = _mm256_set1_ps(0x1.0bfbe8p-18f);

  ExpParts<vectors> e;
  __m256 rounded[vectors], n[vectors], r[vectors], u[vectors];
  TAVIX_EACH(vectors) rounded[i] = _mm256_add_ps(_mm256_mul_ps(x[i], per_step), round);
  TAVIX_EACH(vectors) n[i] = _mm256_sub_ps(rounded[i], round);
  TAVIX_EACH(vectors) r[i] = _mm256_sub_ps(x[i], _mm256_mul_ps(n[i], step_high));
  TAVIX_EACH(vectors) r[i] = _mm256_sub_ps(r[i], _mm256_mul_ps(n[i], step_low));
  TAVIX_EACH(vectors) e.steps[i] = _mm256_castps_si256(rounded[i]);
  TAVIX_EACH(vectors) e.table[i] = _mm256_permutevar8x32_epi32(table, e.steps[i]);
  TAVIX_EACH(vectors) u[i] = _mm256_add_ps(_mm256_mul_ps(c3, r[i]), c2);
  TAVIX_EACH(vectors) u[i] = _mm256_mul_ps(r[i], _mm256_mul_ps(r[i], u[i]));
  TAVIX_EACH(vectors)
  e.r_exp[i] = _mm256_add_ps(_mm256_add_ps(r[i], u[i]), _mm256_permutevar8x32_ps(rest, e.steps[i]));
  return e;
}

// x = e^x from -80 to 88, where the result and what it is made of are normal numbers, and for NaN.
template <int vectors>
TAVIX_INLINE void softmax_exp_normal_avx2(__m256 (&x)[vectors]) {
  const ExpParts<vectors> e = exp_parts_avx2(x);
  __m256 scale[vectors];
  TAVIX_EACH(vectors)
  scale[i] = _mm256_castsi256_ps(_mm256_add_epi32(e.table[i], _mm256_slli_epi32(e.steps[i], 20)));
  TAVIX_EACH(vectors) x[i] = _mm256_add_ps(scale[i], _mm256_mul_ps(scale[i], e.r_exp[i]));
}

// x = e^x for any x; the same bits as softmax_exp_normal_avx2 in its range. The power of two is
// applied in halves, so that results may leave the normal numbers; they do so well within the
// bounds, where NaN stays.
template <int vectors>
TAVIX_INLINE void softmax_exp_avx2(__m256 (&x)[vectors]) {
  TAVIX_EACH(vectors)
  x[i] = _mm256_min_ps(_mm256_set1_ps(104.0f), _mm256_max_ps(_mm256_set1_ps(-104.0f), x[i]));
  const ExpParts<vectors> e = exp_parts_avx2(x);
  TAVIX_EACH(vectors) {
    // steps << 20 has k in its upper 9 bits and j below them.
    const __m256i k = _mm256_srai_epi32(_mm256_slli_epi32(e.steps[i], 20), 23);
    const __m256i j = _mm256_slli_epi32(_mm256_and_si256(e.steps[i], _mm256_set1_epi32(7)), 20);
    const __m256i half = _mm256_srai_epi32(k, 1);
    const __m256 scale = _mm256_castsi256_ps(
        _mm256_add_epi32(_mm256_add_epi32(e.table[i], j), _mm256_slli_epi32(half, 23)));
    const __m256i other = _mm256_add_epi32(_mm256_sub_epi32(k, half), _mm256_set1_epi32(127));
    x[i] = _mm256_mul_ps(_mm256_add_ps(scale, _mm256_mul_ps(scale, e.r_exp[i])),
                         _mm256_castsi256_ps(_mm256_slli_epi32(other, 23)));
  }
}

}  // namespace tavix::module
TAVIX_AVX2_END
