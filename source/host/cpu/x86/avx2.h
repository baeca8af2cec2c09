// SPDX-License-Identifier: Apache-2.0
// Target regions, and bytes loaded and stored in them. What stands between the two macros is
// compiled for AVX2, everything else for the baseline. Include this header last and open a region
// after it, so that no template of another header is compiled for AVX2. Regions use no standard
// containers, no lambdas and do not throw.
#pragma once

#include <immintrin.h>

#if defined(__clang__)
#define TAVIX_AVX2_BEGIN \
  _Pragma("clang attribute push(__attribute__((target(\"avx2\"))), apply_to = function)")
#define TAVIX_AVX2_END _Pragma("clang attribute pop")
#else
#define TAVIX_AVX2_BEGIN _Pragma("GCC push_options") _Pragma("GCC target(\"avx2\")")
#define TAVIX_AVX2_END _Pragma("GCC pop_options")
#endif

// The namespace of one width of vectors. Each source file has one of its own.
// clang-format off
#define TAVIX_OPEN_NAMESPACE(vectors) namespace tavix::module::vectors { namespace {
#define TAVIX_CLOSE_NAMESPACE }}
// clang-format on

// A build that counts coverage leaves calls as calls: each branch counts where it is written.
#ifndef TAVIX_INLINE
#define TAVIX_INLINE inline __attribute__((always_inline))
#endif

// For each of some vectors that go through a step together: one dependency chain alone leaves the
// multipliers waiting.
#define TAVIX_EACH(count) for (int i = 0; i < (count); ++i)

// Every helper touches exactly the bytes that it names; nothing needs to be aligned.
TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

TAVIX_INLINE __m128i load_64(const void *p) {
  return _mm_loadl_epi64(static_cast<const __m128i *>(p));
}
TAVIX_INLINE __m128i load_128(const void *p) {
  return _mm_loadu_si128(static_cast<const __m128i *>(p));
}
TAVIX_INLINE __m256i load_256(const void *p) {
  return _mm256_loadu_si256(static_cast<const __m256i *>(p));
}
TAVIX_INLINE void store_64(void *p, __m128i v) {
  _mm_storel_epi64(static_cast<__m128i *>(p), v);
}
TAVIX_INLINE void store_128(void *p, __m128i v) {
  _mm_storeu_si128(static_cast<__m128i *>(p), v);
}
TAVIX_INLINE void store_256(void *p, __m256i v) {
  _mm256_storeu_si256(static_cast<__m256i *>(p), v);
}

// The halves of a vector, 16 bytes at either address.
TAVIX_INLINE __m256i load_halves(const void *low, const void *high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load_128(low)), load_128(high), 1);
}
template <bool past_caches = false>
TAVIX_INLINE void store_halves(void *low, void *high, __m256i v) {
  const __m128i first = _mm256_castsi256_si128(v), second = _mm256_extracti128_si256(v, 1);
  if constexpr (past_caches) {
    _mm_stream_si128(static_cast<__m128i *>(low), first);
    _mm_stream_si128(static_cast<__m128i *>(high), second);
  } else {
    store_128(low, first);
    store_128(high, second);
  }
}

// Lanes of 32 bits out of the two halves in turn: what packs, which go half by half, leave.
TAVIX_INLINE __m256i zip_halves(__m256i v) {
  return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// 32 integers clamped to 0..255.
TAVIX_INLINE __m256i pack_clamped(__m256i a, __m256i b, __m256i c, __m256i d) {
  return zip_halves(_mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d)));
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END
