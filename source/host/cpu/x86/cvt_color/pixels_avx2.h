// SPDX-License-Identifier: Apache-2.0
// How the rows of this folder store pixels, with an opaque fourth channel. Include this header
// last.
#pragma once

#include "cpu/x86/packed_pixels_avx2.h"

TAVIX_VECTORS_BEGIN

template <int channels, bool past_caches>
TAVIX_INLINE void store_pixels(uint8_t *p, const __m256 (&c)[3]) {
  if constexpr (channels == 3) {
    store_planes<past_caches>(p, c);
  } else {
    const __m256 all[4] = {c[0], c[1], c[2], all_of(1.0f)};
    store_planes<past_caches>(p, all);
  }
}

// Each half of a channel of bytes has its even columns before its odd ones.
template <int channels, bool past_caches>
TAVIX_INLINE void store_pixels(uint8_t *at, const __m256i (&c)[3]) {
  if constexpr (channels == 3) {
    store_three<past_caches>(at, c, true);
  } else {
    const __m256i alpha = all_bytes(-1);
    const __m256i even01 = _mm256_unpacklo_epi8(c[0], c[1]),
                  odd01 = _mm256_unpackhi_epi8(c[0], c[1]),
                  even23 = _mm256_unpacklo_epi8(c[2], alpha),
                  odd23 = _mm256_unpackhi_epi8(c[2], alpha);
    const __m256i even[2] = {_mm256_unpacklo_epi16(even01, even23),
                             _mm256_unpackhi_epi16(even01, even23)};
    const __m256i odd[2] = {_mm256_unpacklo_epi16(odd01, odd23),
                            _mm256_unpackhi_epi16(odd01, odd23)};
    for (int j = 0; j < 2; ++j) {
      store_halves<past_caches>(at + 32 * j, at + 64 + 32 * j,
                                _mm256_unpacklo_epi32(even[j], odd[j]));
      store_halves<past_caches>(at + 32 * j + 16, at + 80 + 32 * j,
                                _mm256_unpackhi_epi32(even[j], odd[j]));
    }
  }
}

TAVIX_VECTORS_END
