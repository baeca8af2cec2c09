// SPDX-License-Identifier: Apache-2.0
// Vectors of eight elements, and the conversions that AVX2 has no instruction for. Include this
// header last.
#pragma once

#include <cstdint>
#include <type_traits>

#include "cpu/x86/past_caches.h"
#include "cpu/x86/prefetch.h"
#include "cpu/x86/vectors_avx2.h"

TAVIX_VECTORS_BEGIN

// Four 64-bit integers of at most 53 significant bits, as doubles: the high half counts 2^32.
TAVIX_INLINE __m256d short_int64_to_double(__m256i v) {
  const __m256i halves = _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
  const __m128i flipped =
      _mm_xor_si128(_mm256_castsi256_si128(halves), _mm_set1_epi32(INT32_MIN));  // low - 2^31
  const __m256d low = _mm256_add_pd(_mm256_cvtepi32_pd(flipped), _mm256_set1_pd(0x1p31));
  const __m256d high = _mm256_cvtepi32_pd(_mm256_extracti128_si256(halves, 1));
  return _mm256_add_pd(_mm256_mul_pd(high, _mm256_set1_pd(0x1p32)), low);
}

// Beyond 2^53 the 11 low bits, too low to be anything but the side of a tie, become one sticky
// bit: what is left fits a double, and the float is rounded once.
TAVIX_INLINE __m128 int64_as_floats(__m256i v) {
  const __m256i low_mask = _mm256_set1_epi64x(0x7ff);
  const __m256i sticky = _mm256_andnot_si256(
      low_mask, _mm256_or_si256(v, _mm256_add_epi64(_mm256_and_si256(v, low_mask), low_mask)));
  const __m256i limit = _mm256_set1_epi64x(int64_t(1) << 53);
  const __m256i is_long =
      _mm256_or_si256(_mm256_cmpgt_epi64(v, limit),
                      _mm256_cmpgt_epi64(_mm256_sub_epi64(_mm256_setzero_si256(), limit), v));
  return _mm256_cvtpd_ps(short_int64_to_double(_mm256_blendv_epi8(v, sticky, is_long)));
}

// Both halves are exact floats; only their sum is rounded.
TAVIX_INLINE __m256 unsigned_as_floats(__m256i v) {
  const Floats high = as_floats(shift_right_32<16>(v)), low = as_floats(v & all_of(0xffff));
  return high * all_of(0x1p16f) + low;
}

#include "cpu/x86/blob/element_lanes.inc"

TAVIX_VECTORS_END
