// SPDX-License-Identifier: Apache-2.0
// Vectors of samples as the row texts of this folder (*.inc) move and pack them, with AVX2.
// samples_avx512.h and samples_avx512vbmi.h have the same names. Include this header last.
#pragma once

#include <cstdint>

#include "cpu/tavix_cvt_color/yuv420.h"
#include "cpu/x86/past_caches.h"
#include "cpu/x86/prefetch.h"
#include "cpu/x86/vectors_avx2.h"

TAVIX_VECTORS_BEGIN

// Whether rows of bytes gain by asking for memory: half a line at a time comes in too late unasked.
constexpr bool kBytesAhead = true;

// The even lanes of 64 bits before the odd ones: what packs of two vectors leave.
TAVIX_INLINE Ints even_then_odd(Ints v) {
  return _mm256_permute4x64_epi64(v, _MM_SHUFFLE(3, 1, 2, 0));
}

#include "cpu/x86/cvt_color/pixel_blocks.inc"
#include "cpu/x86/cvt_color/samples.inc"

// One or two vectors of integers clamped to bytes.
template <int n>
TAVIX_INLINE __m128i clamped_low(const Ints (&v)[n]) {
  return _mm256_castsi256_si128(pack_clamped(v[0], v[n - 1], v[0], v[n - 1]));
}

TAVIX_INLINE Ints swap_pairs(Ints v) {
  return _mm256_shuffle_epi8(v, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                                    1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14)));
}
// Every first and every second byte of two vectors.
TAVIX_INLINE void split_pairs(Ints a, Ints b, Ints (&bytes)[2]) {
  const Ints low = all_words(0xff);
  bytes[0] = even_then_odd(_mm256_packus_epi16(a & low, b & low));
  bytes[1] = even_then_odd(_mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8)));
}
// And back.
TAVIX_INLINE void join_pairs(Ints first, Ints second, Ints (&pairs)[2]) {
  const Ints a = even_then_odd(first), b = even_then_odd(second);
  pairs[0] = _mm256_unpacklo_epi8(a, b);
  pairs[1] = _mm256_unpackhi_epi8(a, b);
}
// Pairs of half as many bytes.
TAVIX_INLINE Ints load_pairs(const uint8_t *first, const uint8_t *second) {
  return _mm256_cvtepu8_epi16(load_128(first)) |
         _mm256_slli_epi16(_mm256_cvtepu8_epi16(load_128(second)), 8);
}

TAVIX_VECTORS_END
