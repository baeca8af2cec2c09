// SPDX-License-Identifier: Apache-2.0
// Target regions of the AVX-512 levels, as those of avx2.h: F, BW, DQ and VL, and VBMI besides.
// Include this header last. The compiler takes FMA for part of AVX-512; that no multiplication and
// addition become one is a matter of -ffp-contract=off.
#pragma once

#include "cpu/x86/avx2.h"

#define TAVIX_PRAGMA(...) _Pragma(#__VA_ARGS__)

#if defined(__clang__)
#define TAVIX_REGION_BEGIN(features) \
  TAVIX_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#define TAVIX_AVX512_END TAVIX_PRAGMA(clang attribute pop)
#else
// What g++ 12's own headers leave undefined on purpose, it warns of where they are inlined.
#define TAVIX_REGION_BEGIN(features)                     \
  TAVIX_PRAGMA(GCC push_options)                         \
  TAVIX_PRAGMA(GCC target(features))                     \
  TAVIX_PRAGMA(GCC diagnostic push)                      \
  TAVIX_PRAGMA(GCC diagnostic ignored "-Wuninitialized") \
  TAVIX_PRAGMA(GCC diagnostic ignored "-Wmaybe-uninitialized")
#define TAVIX_AVX512_END TAVIX_PRAGMA(GCC diagnostic pop) TAVIX_PRAGMA(GCC pop_options)
#endif

#define TAVIX_AVX512_BEGIN TAVIX_REGION_BEGIN("avx512f,avx512bw,avx512dq,avx512vl")
#define TAVIX_AVX512VBMI_BEGIN TAVIX_REGION_BEGIN("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi")

// Vectors of 64 bytes, as those of 32.
TAVIX_AVX512_BEGIN

namespace tavix::module {

namespace {

TAVIX_INLINE __m512i load_512(const void *p) {
  return _mm512_loadu_si512(p);
}
TAVIX_INLINE void store_512(void *p, __m512i v) {
  _mm512_storeu_si512(p, v);
}
// The first 48 bytes.
TAVIX_INLINE void store_384(uint8_t *p, __m512i v) {
  store_256(p, _mm512_castsi512_si256(v));
  store_128(p + 32, _mm512_extracti32x4_epi32(v, 2));
}

// Lanes of 64 bits: the even ones, then the odd ones. Packs of two vectors, which go quarter by
// quarter, leave the first vector in the even ones.
TAVIX_INLINE __m512i even_then_odd(__m512i v) {
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), v);
}

// 64 integers clamped to 0..255.
TAVIX_INLINE __m512i pack_clamped_64(__m512i a, __m512i b, __m512i c, __m512i d) {
  const __m512i bytes = _mm512_packus_epi16(_mm512_packs_epi32(a, b), _mm512_packs_epi32(c, d));
  return _mm512_permutexvar_epi32(
      _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15), bytes);
}
// 16 integers clamped to 0..255.
TAVIX_INLINE __m128i pack_clamped_16(__m512i v) {
  return _mm512_cvtusepi32_epi8(_mm512_max_epi32(v, _mm512_setzero_si512()));
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512_END
