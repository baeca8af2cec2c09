// SPDX-License-Identifier: Apache-2.0
// e^x of eight lanes in single precision, within one unit in the last place of expf.
#pragma once

#include <numbers>

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

// 2^k for k from -126 to 127.
TAVIX_INLINE __m256 power_of_two_avx2(__m256i k) {
  return _mm256_castsi256_ps(_mm256_slli_epi32(_mm256_add_epi32(k, _mm256_set1_epi32(127)), 23));
}

// x = k ln(2) + r and e^x = 2^k (1 + r + r^2 q(r)), q a minimax polynomial for |r| <= ln(2)/2.
// Overflow gives infinity, underflow subnormal numbers and 0; NaN stays NaN.
TAVIX_INLINE __m256 exp8_avx2(__m256 x) {
  // k * kLn2High is exact: the upper part of ln(2) has 16 bits.
  constexpr float kLn2High = 0x1.62e4p-1f, kLn2Low = float(std::numbers::ln2 - kLn2High);
  // Operands of max and min in this order: the second one is taken when x is NaN.
  const __m256 above = _mm256_max_ps(_mm256_set1_ps(-104.0f), x);       // e^-104 rounds to 0
  const __m256 in_range = _mm256_min_ps(_mm256_set1_ps(89.0f), above);  // e^89 overflows
  const __m256i k = _mm256_cvtps_epi32(in_range * std::numbers::log2e_v<float>);
  const __m256 kf = _mm256_cvtepi32_ps(k);
  const __m256 r = in_range - kf * kLn2High - kf * kLn2Low;
  const __m256 r2 = r * r;
  const __m256 q2 = 0x1.5558f4p-5f + r * 0x1.123a6cp-7f + r2 * 0x1.6a2352p-10f;
  const __m256 q = 0x1.fffffcp-2f + r * 0x1.555490p-3f + r2 * q2;
  const __m256 e_r = (r2 * q + r) + 1.0f;
  // 2^k in two factors, since k is from -150 to 128.
  const __m256i half = _mm256_srai_epi32(k, 1);
  return e_r * power_of_two_avx2(half) * power_of_two_avx2(_mm256_sub_epi32(k, half));
}

}  // namespace tavix::module

TAVIX_AVX2_END
