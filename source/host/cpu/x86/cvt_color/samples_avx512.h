// SPDX-License-Identifier: Apache-2.0
// Vectors of samples as the row texts of this folder (*.inc) move and pack them, with AVX-512.
// Include this header last.
#pragma once

#include <cstdint>
#include <type_traits>

#include "cpu/tavix_cvt_color/yuv420.h"
#include "cpu/x86/past_caches.h"
#include "cpu/x86/prefetch.h"
#include "cpu/x86/vectors_avx512.h"

TAVIX_VECTORS_BEGIN

constexpr bool kBytesAhead = false;  // whole lines come in soon enough

#include "cpu/x86/cvt_color/samples.inc"

// A vector of integers clamped to bytes.
TAVIX_INLINE __m128i clamped_low(const Ints (&v)[1]) {
  return pack_clamped_16(v[0]);
}

TAVIX_INLINE Ints swap_pairs(Ints v) {
  return _mm512_shuffle_epi8(v, _mm512_broadcast_i32x4(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8,
                                                                     11, 10, 13, 12, 15, 14)));
}

// What permutations of floats or bytes take: an index for each element, and a bit of a mask.
template <class Vector>
using IndexOf = std::conditional_t<kIsFloats<Vector>, int32_t, uint8_t>;
template <class Vector>
using MaskOf = std::conditional_t<kIsFloats<Vector>, __mmask16, __mmask64>;

// Elements of a and b; where a mask has no bit, the index itself.
TAVIX_INLINE Floats permuted(Floats a, Ints index, Floats b) {
  return _mm512_permutex2var_ps(a, index, b);
}
TAVIX_INLINE Floats permuted(Floats a, Ints index, __mmask16 mask, Floats b) {
  return _mm512_mask2_permutex2var_ps(a, index, mask, b);
}
// v, but where the mask has a bit elements of another vector.
TAVIX_INLINE Floats replaced(Floats v, __mmask16 mask, Ints index, Floats other) {
  return _mm512_mask_permutexvar_ps(v, mask, index, other);
}
TAVIX_INLINE Floats chosen(__mmask16 mask, Floats no, Floats yes) {
  return _mm512_mask_blend_ps(mask, no, yes);
}
TAVIX_INLINE Ints chosen(__mmask64 mask, Ints no, Ints yes) {
  return _mm512_mask_blend_epi8(mask, no, yes);
}
TAVIX_INLINE void load_into(Floats &v, const void *p) {
  v = load(p);
}
TAVIX_INLINE void load_into(Ints &v, const void *p) {
  v = load_ints(p);
}
TAVIX_INLINE void store(void *p, Ints v) {
  store_ints(p, v);
}

TAVIX_VECTORS_END
