// SPDX-License-Identifier: Apache-2.0
// Vectors of eight elements: what the row kernels of tensors and of normalisation load and store.
// Every helper touches exactly the bytes of its elements. Include this header last.
#pragma once

#include <cstdint>
#include <type_traits>

#include "cpu/x86/lanes_avx2.h"
#include "cpu/x86/prefetch.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

constexpr int kLanes = 8;

// Asks for the elements of a later block of a conversion; bytes go too slowly past to need it.
template <class T, int count>
TAVIX_INLINE void prefetch_elements(const uint8_t *block) {
  if constexpr (sizeof(T) > 1) prefetch<count * sizeof(T)>(block);
}

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
TAVIX_INLINE __m128 int64_to_float(__m256i v) {
  const __m256i low_mask = _mm256_set1_epi64x(0x7ff);
  const __m256i sticky = _mm256_andnot_si256(
      low_mask, _mm256_or_si256(v, _mm256_add_epi64(_mm256_and_si256(v, low_mask), low_mask)));
  const __m256i limit = _mm256_set1_epi64x(int64_t(1) << 53);
  const __m256i is_long =
      _mm256_or_si256(_mm256_cmpgt_epi64(v, limit),
                      _mm256_cmpgt_epi64(_mm256_sub_epi64(_mm256_setzero_si256(), limit), v));
  return _mm256_cvtpd_ps(short_int64_to_double(_mm256_blendv_epi8(v, sticky, is_long)));
}

// Eight elements as floats.
template <class From>
TAVIX_INLINE __m256 load_floats(const uint8_t *p) {
  if constexpr (std::is_same_v<From, uint8_t>) {
    return load_8_bytes(p);
  } else if constexpr (std::is_same_v<From, int8_t>) {
    return _mm256_cvtepi32_ps(_mm256_cvtepi8_epi32(load_64(p)));
  } else if constexpr (std::is_same_v<From, uint16_t>) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(load_128(p)));
  } else if constexpr (std::is_same_v<From, int16_t>) {
    return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(load_128(p)));
  } else if constexpr (std::is_same_v<From, int32_t>) {
    return _mm256_cvtepi32_ps(load_256(p));
  } else if constexpr (std::is_same_v<From, uint32_t>) {
    // Both halves are exact floats; only their sum is rounded.
    const __m256i v = load_256(p);
    const __m256 high = _mm256_cvtepi32_ps(_mm256_srli_epi32(v, 16));
    const __m256 low = _mm256_cvtepi32_ps(_mm256_and_si256(v, _mm256_set1_epi32(0xffff)));
    return _mm256_add_ps(_mm256_mul_ps(high, _mm256_set1_ps(0x1p16f)), low);
  } else if constexpr (std::is_same_v<From, int64_t>) {
    return _mm256_set_m128(int64_to_float(load_256(p + 32)), int64_to_float(load_256(p)));
  } else {
    return load_8_floats(p);
  }
}

// The low bytes of 32 integers.
TAVIX_INLINE __m256i pack_low_8(__m256i a, __m256i b, __m256i c, __m256i d) {
  const __m256i mask = _mm256_set1_epi32(0xff);
  return pack_clamped(_mm256_and_si256(a, mask), _mm256_and_si256(b, mask),
                      _mm256_and_si256(c, mask), _mm256_and_si256(d, mask));
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END
