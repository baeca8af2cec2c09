// SPDX-License-Identifier: Apache-2.0
// What VBMI adds to vectors_avx512.h: permutations of bytes, and pixels of them. Include this
// header last.
#pragma once

#include "cpu/x86/cvt_color/pixel_orders_avx512.h"

#include "cpu/x86/cvt_color/samples_avx512.h"

// The texts of rows are compiled for this level.
#undef TAVIX_VECTORS
#undef TAVIX_VECTORS_BEGIN
#define TAVIX_VECTORS avx512vbmi
#define TAVIX_VECTORS_BEGIN TAVIX_AVX512VBMI_BEGIN TAVIX_OPEN_NAMESPACE(avx512vbmi)

TAVIX_VECTORS_BEGIN

using namespace avx512;
using avx512::permuted;
using avx512::replaced;

// Of two vectors: every first and every second byte, and the pairs of their low and high halves.
struct PairOrders {
  alignas(64) uint8_t split[2][64] = {}, join[2][64] = {};

  constexpr PairOrders() {
    for (int which = 0; which < 2; ++which)
      for (int i = 0; i < 64; ++i) {
        split[which][i] = uint8_t(2 * i + which);
        join[which][i] = uint8_t(32 * which + i / 2 + i % 2 * 64);
      }
  }
};
constexpr PairOrders kPairOrders;

TAVIX_INLINE Ints permuted(Ints a, Ints index, Ints b) {
  return _mm512_permutex2var_epi8(a, index, b);
}
TAVIX_INLINE Ints permuted(Ints a, Ints index, __mmask64 mask, Ints b) {
  return _mm512_mask2_permutex2var_epi8(a, index, mask, b);
}
TAVIX_INLINE Ints replaced(Ints v, __mmask64 mask, Ints index, Ints other) {
  return _mm512_mask_permutexvar_epi8(v, mask, index, other);
}

#include "cpu/x86/cvt_color/pixel_blocks.inc"
#include "cpu/x86/cvt_color/pixels_avx512.inc"

// Every first and every second byte of two vectors.
TAVIX_INLINE void split_pairs(Ints a, Ints b, Ints (&bytes)[2]) {
  for (int k = 0; k < 2; ++k) bytes[k] = permuted(a, load_ints(kPairOrders.split[k]), b);
}
// And back.
TAVIX_INLINE void join_pairs(Ints first, Ints second, Ints (&pairs)[2]) {
  for (int k = 0; k < 2; ++k) pairs[k] = permuted(first, load_ints(kPairOrders.join[k]), second);
}
// Pairs of half as many bytes.
TAVIX_INLINE Ints load_pairs(const uint8_t *first, const uint8_t *second) {
  return permuted(_mm512_castsi256_si512(load_256(first)), load_ints(kPairOrders.join[0]),
                  _mm512_castsi256_si512(load_256(second)));
}

TAVIX_VECTORS_END
