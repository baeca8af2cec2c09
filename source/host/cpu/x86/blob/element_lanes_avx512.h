// SPDX-License-Identifier: Apache-2.0
// Vectors of sixteen elements, as element_lanes_avx2.h has eight. Include this header last.
#pragma once

#include "cpu/x86/blob/element_lanes_avx2.h"
#include "cpu/x86/lanes_avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module {

namespace {

// Sixteen elements as floats.
template <class From>
TAVIX_INLINE __m512 load_floats_16(const uint8_t *p) {
  if constexpr (std::is_same_v<From, uint8_t>) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(load_128(p)));
  } else if constexpr (std::is_same_v<From, int8_t>) {
    return _mm512_cvtepi32_ps(_mm512_cvtepi8_epi32(load_128(p)));
  } else if constexpr (std::is_same_v<From, uint16_t>) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(load_256(p)));
  } else if constexpr (std::is_same_v<From, int16_t>) {
    return _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(load_256(p)));
  } else if constexpr (std::is_same_v<From, int32_t>) {
    return _mm512_cvtepi32_ps(load_512(p));
  } else if constexpr (std::is_same_v<From, uint32_t>) {
    return _mm512_cvtepu32_ps(load_512(p));
  } else if constexpr (std::is_same_v<From, int64_t>) {
    const __m256 low = _mm512_cvtepi64_ps(load_512(p)), high = _mm512_cvtepi64_ps(load_512(p + 64));
    return _mm512_insertf32x8(_mm512_castps256_ps512(low), high, 1);
  } else {
    return load_16_floats(p);
  }
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512_END
