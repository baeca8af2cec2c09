// SPDX-License-Identifier: Apache-2.0
// Functions of the C library in eight lanes. The value is computed in double. Rounded to float it is
// what the library returns, unless a midpoint of two floats lies within the margin that separates
// the two computations: those rare lanes, and special values, are not sure and left to the library.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

// Eight doubles as two vectors, lanes 0 to 3 and 4 to 7 unless said otherwise.
struct Double8 {
  __m256d low, high;
};

TAVIX_INLINE Double8 widen_avx2(__m256 x) {
  return {_mm256_cvtps_pd(_mm256_castps256_ps128(x)), _mm256_cvtps_pd(_mm256_extractf128_ps(x, 1))};
}
TAVIX_INLINE Double8 widen_avx2(__m256i x) {
  return {_mm256_cvtepi32_pd(_mm256_castsi256_si128(x)),
          _mm256_cvtepi32_pd(_mm256_extracti128_si256(x, 1))};
}
TAVIX_INLINE __m256 narrow_avx2(Double8 x) {
  return _mm256_set_m128(_mm256_cvtpd_ps(x.high), _mm256_cvtpd_ps(x.low));
}

// The lower or upper 32 bits of each double, in the order that one shuffle gives; what is computed
// from them comes back with in_lane_order_avx2.
TAVIX_INLINE __m256i low_words_avx2(Double8 x) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castpd_ps(x.low), _mm256_castpd_ps(x.high), 0x88));
}
TAVIX_INLINE __m256i high_words_avx2(Double8 x) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castpd_ps(x.low), _mm256_castpd_ps(x.high), 0xDD));
}
TAVIX_INLINE __m256 in_lane_order_avx2(__m256 words) {
  return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(words), 0xD8));
}

// Margins around midpoints: 2^32 is one unit in the last place of a float.
constexpr int32_t ulps(double units) {
  return int32_t(units * 0x1p32);
}

// All ones where a double, judged by its low word, is at least margin away from every midpoint.
TAVIX_INLINE __m256 far_from_midpoint_avx2(__m256i low_words, __m256i margin) {
  const __m256i biased = _mm256_xor_si256(margin, _mm256_set1_epi32(INT32_MIN));
  const __m256i above = _mm256_add_epi32(_mm256_slli_epi32(low_words, 3), biased);
  const __m256i limit = _mm256_add_epi32(margin, margin);
  return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_max_epu32(above, limit), above));
}

TAVIX_INLINE bool all_avx2(__m256 mask) {
  return _mm256_movemask_ps(mask) == 0xFF;
}

// Results of eight lanes, and where they are known to be the library's. A function tells whether all
// of its lanes are; sure is set where it says no.
struct Lanes {
  __m256 result, sure;
};

// y = library(x) for those lanes whose bits are set.
void ask_library(float (*library)(float), const float *x, float *y, uint64_t lanes);

// y = Function(x), to the bit. y may be x.
template <class Function, int n>
TAVIX_INLINE void library_avx2(const __m256 (&x)[n], __m256 (&y)[n]) {
  static_assert(n <= 8);
  Lanes lanes[n];
  if (__builtin_expect(!Function::lanes_avx2(x, lanes), false)) {
    float arguments[8 * n], results[8 * n];
    uint64_t unsure = 0;
    TAVIX_EACH(n) {
      _mm256_storeu_ps(arguments + 8 * i, x[i]);
      _mm256_storeu_ps(results + 8 * i, lanes[i].result);
      unsure |= uint64_t(0xFF & ~_mm256_movemask_ps(lanes[i].sure)) << (8 * i);
    }
    ask_library(Function::kLibrary, arguments, results, unsure);
    TAVIX_EACH(n) lanes[i].result = _mm256_loadu_ps(results + 8 * i);
  }
  TAVIX_EACH(n) y[i] = lanes[i].result;
}

struct Exp {
  static constexpr int kTogether = 4;  // vectors
  static constexpr float (*kLibrary)(float) = expf;

  // e^r = 1 + r q(r) for |r| <= ln(2)/2, a minimax polynomial: relative error below 2^-34.
  template <int n>
  static TAVIX_INLINE void near_zero_avx2(__m256d (&r)[n]) {
    __m256d r2[n], q[n], e[n];
    TAVIX_EACH(n) r2[i] = r[i] * r[i];
    TAVIX_EACH(n) e[i] = 0x1.11130b23e3378p-7 + r[i] * 0x1.6d9569691baeap-10;
    TAVIX_EACH(n) e[i] = e[i] + r2[i] * 0x1.9e8ecd3ede4cfp-13;
    TAVIX_EACH(n) q[i] = 0x1.55555350a4b19p-3 + r[i] * 0x1.555481a90fac0p-5;
    TAVIX_EACH(n) q[i] = q[i] + r2[i] * e[i];
    TAVIX_EACH(n) e[i] = 0x1.00000000e5891p+0 + r[i] * 0x1.000000424eb42p-1;
    TAVIX_EACH(n) e[i] = e[i] + r2[i] * q[i];
    TAVIX_EACH(n) r[i] = 1.0 + r[i] * e[i];
  }

  // x = k ln(2) + r, and e^x = 2^k e^r. Before it rounds, the library errs by less than 0.002 units
  // in the last place and this routine by less than 0.0008.
  template <int n>
  static TAVIX_INLINE bool lanes_avx2(const __m256 (&x)[n], Lanes (&lanes)[n]) {
    __m256i k[n];
    __m256d r[2 * n];  // lower and upper half of each vector
    TAVIX_EACH(n) k[i] = _mm256_cvtps_epi32(x[i] * std::numbers::log2e_v<float>);
    TAVIX_EACH(n) {
      const Double8 xd = widen_avx2(x[i]), kd = widen_avx2(k[i]);
      r[2 * i] = xd.low - kd.low * std::numbers::ln2;
      r[2 * i + 1] = xd.high - kd.high * std::numbers::ln2;
    }
    near_zero_avx2(r);

    __m256 normal[n], far[n], all = _mm256_castsi256_ps(_mm256_set1_epi32(-1));
    TAVIX_EACH(n) {
      const Double8 e_r = {r[2 * i], r[2 * i + 1]};
      const __m256i bits = _mm256_castps_si256(narrow_avx2(e_r));
      const __m256 magnitude = _mm256_andnot_ps(_mm256_set1_ps(-0.0f), x[i]);
      normal[i] = _mm256_cmp_ps(magnitude, _mm256_set1_ps(87.25f), _CMP_LE_OQ);
      far[i] = far_from_midpoint_avx2(low_words_avx2(e_r), _mm256_set1_epi32(ulps(0.003)));
      lanes[i] = {_mm256_castsi256_ps(_mm256_add_epi32(bits, _mm256_slli_epi32(k[i], 23))),
                  normal[i]};
      all = _mm256_and_ps(all, _mm256_and_ps(normal[i], far[i]));
    }
    if (all_avx2(all)) return true;

    TAVIX_EACH(n) {
      const __m256 infinite = _mm256_cmp_ps(x[i], _mm256_set1_ps(89.0f), _CMP_GE_OQ);
      const __m256 zero = _mm256_cmp_ps(x[i], _mm256_set1_ps(-104.0f), _CMP_LE_OQ);
      const __m256 limit = _mm256_and_ps(infinite, _mm256_set1_ps(INFINITY));
      const __m256 limited = _mm256_or_ps(infinite, zero);
      const __m256 sure = _mm256_and_ps(normal[i], in_lane_order_avx2(far[i]));
      lanes[i] = {_mm256_blendv_ps(lanes[i].result, limit, limited), _mm256_or_ps(sure, limited)};
    }
    return false;
  }
};

}  // namespace tavix::module

TAVIX_AVX2_END
