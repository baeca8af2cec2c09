// SPDX-License-Identifier: Apache-2.0
// What the kernel texts (*.inc) are written with, on vectors of sixteen floats; vectors_avx2.h has
// the same names. A source file includes one of the two, before the texts.
#pragma once

#include <cstdint>

#include "cpu/x86/avx512.h"

// The target region and the namespace of a text, and the intrinsic of an operation.
#define TAVIX_VECTORS avx512
#define TAVIX_VECTORS_BEGIN TAVIX_AVX512_BEGIN TAVIX_OPEN_NAMESPACE(avx512)
#define TAVIX_VECTORS_END TAVIX_CLOSE_NAMESPACE TAVIX_AVX512_END
#define TAVIX_MM(operation) _mm512_##operation

TAVIX_VECTORS_BEGIN

constexpr int kLanes = 16;
constexpr int kBytes = 64;

using Floats = __m512;
using Ints = __m512i;
using Bytes = __m512i;
using Doubles = __m512d;
using HalfInts = __m256i;
using Mask = __mmask16;

TAVIX_INLINE __m128i load_quarter(const void *p) {  // of a vector: as many bytes as there are lanes
  return load_128(p);
}
TAVIX_INLINE __m256 load_half(const void *p) {
  return _mm256_loadu_ps(static_cast<const float *>(p));
}
TAVIX_INLINE __m256 lower(Floats v) {
  return _mm512_castps512_ps256(v);
}
TAVIX_INLINE __m256 upper(Floats v) {
  return _mm512_extractf32x8_ps(v, 1);
}
TAVIX_INLINE __m256i lower(Ints v) {
  return _mm512_castsi512_si256(v);
}
TAVIX_INLINE __m256i upper(Ints v) {
  return _mm512_extracti64x4_epi64(v, 1);
}
TAVIX_INLINE Floats joined(__m256 low, __m256 high) {
  return _mm512_insertf32x8(_mm512_castps256_ps512(low), high, 1);
}

TAVIX_INLINE Bytes clamped_to_bytes(Ints a, Ints b, Ints c, Ints d) {
  return pack_clamped_64(a, b, c, d);
}

// Blocks of eight are halves, the lower one first.
TAVIX_INLINE __m256 greatest_in_eights(Floats v) {
  return _mm256_max_ps(lower(v), upper(v));
}
TAVIX_INLINE __m256 add_in_eights(__m256 sums, Floats v) {
  return (sums + lower(v)) + upper(v);
}
TAVIX_INLINE __m256i eight_words(Ints v, int i) {
  return i == 0 ? lower(v) : upper(v);
}

#include "cpu/x86/vectors.inc"

TAVIX_INLINE Mask less_equal(Floats a, Floats b) {
  return _mm512_cmp_ps_mask(a, b, _CMP_LE_OQ);
}
TAVIX_INLINE Mask less(Floats a, Floats b) {
  return _mm512_cmp_ps_mask(a, b, _CMP_LT_OQ);
}
TAVIX_INLINE Mask greater(Ints a, Ints b) {
  return _mm512_cmpgt_epi32_mask(a, b);
}
TAVIX_INLINE Mask both(Mask a, Mask b) {
  return Mask(a & b);
}
TAVIX_INLINE Mask either(Mask a, Mask b) {
  return Mask(a | b);
}
TAVIX_INLINE uint32_t lane_bits(Mask m) {
  return m;
}
TAVIX_INLINE bool all(Mask m) {
  return m == 0xFFFF;
}
TAVIX_INLINE Mask every_lane() {
  return 0xFFFF;
}
TAVIX_INLINE Floats choose(Mask m, Floats yes, Floats no) {
  return _mm512_mask_blend_ps(m, no, yes);
}
TAVIX_INLINE Bytes choose_where_zero(Bytes b, Bytes yes, Bytes no) {
  return _mm512_mask_blend_epi8(_mm512_testn_epi8_mask(b, b), no, yes);
}

// The first count lanes.
TAVIX_INLINE Mask first_lanes(int32_t count) {
  return Mask(count < kLanes ? (1u << count) - 1 : 0xFFFF);
}
TAVIX_INLINE Floats load(const void *p, Mask lanes) {
  return _mm512_maskz_loadu_ps(lanes, p);
}
TAVIX_INLINE void store(void *p, Mask lanes, Floats v) {
  _mm512_mask_storeu_ps(p, lanes, v);
}
// The first count of eight, and other values in place of the rest.
TAVIX_INLINE Eights load_eight(const float *p, int32_t count, Eights other) {
  return _mm256_mask_loadu_ps(other, __mmask8((1u << count) - 1), p);
}
TAVIX_INLINE void store_eight(float *p, int32_t count, Eights v) {
  _mm256_mask_storeu_ps(p, __mmask8((1u << count) - 1), v);
}
// A vector of integers clamped to 0..255.
TAVIX_INLINE void store_clamped(uint8_t *p, Ints v) {
  store_128(p, pack_clamped_16(v));
}

// A table of eight words, looked up by the lowest three bits of an index.
TAVIX_INLINE Ints table_of_8(const uint32_t (&words)[8]) {
  return _mm512_broadcast_i64x4(load_256(words));
}
TAVIX_INLINE Ints look_up(Ints table, Ints index) {
  return _mm512_permutexvar_epi32(index, table);
}

// Rounded once here and twice in AVX2: only for results that are compared with a margin.
TAVIX_INLINE Doubles multiply_add(Doubles a, Doubles b, Doubles c) {
  return _mm512_fmadd_pd(a, b, c);
}

// Where a double is at least margin away from every midpoint of two floats. 2^32 of margin is one
// unit in the last place of a float.
TAVIX_INLINE __mmask8 far_from_midpoint(Doubles x, int32_t margin) {
  const Ints biased = _mm512_set1_epi64(int64_t(uint64_t(uint32_t(margin ^ INT32_MIN)) << 32));
  const Ints above = _mm512_add_epi64(_mm512_slli_epi64(_mm512_castpd_si512(x), 35), biased);
  return _mm512_cmpge_epu64_mask(above, _mm512_set1_epi64(int64_t(uint64_t(2 * margin) << 32)));
}
TAVIX_INLINE Mask far_from_midpoint(const DoublePair &x, int32_t margin) {
  return Mask(far_from_midpoint(x.low, margin) | far_from_midpoint(x.high, margin) << 8);
}
TAVIX_INLINE Mask in_lane_order(Mask m) {
  return m;
}

// A table of 16 doubles.
struct Table16 {
  Doubles first, second;

  explicit TAVIX_INLINE Table16(const double (&entries)[16])
      : first(load_doubles(entries)), second(load_doubles(entries + 8)) {}

  // The entries of the lowest four bits of an index.
  TAVIX_INLINE DoublePair look_up(Ints index) const {
    return {entries(lower(index)), entries(upper(index))};
  }

 private:
  TAVIX_INLINE Doubles entries(__m256i index) const {
    return _mm512_permutex2var_pd(first, _mm512_cvtepu32_epi64(index), second);
  }
};

TAVIX_VECTORS_END
