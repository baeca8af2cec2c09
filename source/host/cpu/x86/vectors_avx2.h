// SPDX-License-Identifier: Apache-2.0
// What the kernel texts (*.inc) are written with, on vectors of eight floats; vectors_avx512.h has
// the same names. A source file includes one of the two, before the texts.
#pragma once

#include <cstdint>

#include "cpu/x86/avx2.h"

// The target region and the namespace of a text, and the intrinsic of an operation.
#define TAVIX_VECTORS avx2
#define TAVIX_VECTORS_BEGIN TAVIX_AVX2_BEGIN TAVIX_OPEN_NAMESPACE(avx2)
#define TAVIX_VECTORS_END TAVIX_CLOSE_NAMESPACE TAVIX_AVX2_END
#define TAVIX_MM(operation) _mm256_##operation

TAVIX_VECTORS_BEGIN

constexpr int kLanes = 8;
constexpr int kBytes = 32;

using Floats = __m256;
using Ints = __m256i;
using Bytes = __m256i;
using Doubles = __m256d;
using HalfInts = __m128i;
using Mask = __m256;  // all ones or zeros in each lane

TAVIX_INLINE __m128i load_quarter(const void *p) {  // of a vector: as many bytes as there are lanes
  return load_64(p);
}
TAVIX_INLINE __m128 load_half(const void *p) {
  return _mm_loadu_ps(static_cast<const float *>(p));
}
TAVIX_INLINE __m128 lower(Floats v) {
  return _mm256_castps256_ps128(v);
}
TAVIX_INLINE __m128 upper(Floats v) {
  return _mm256_extractf128_ps(v, 1);
}
TAVIX_INLINE __m128i lower(Ints v) {
  return _mm256_castsi256_si128(v);
}
TAVIX_INLINE __m128i upper(Ints v) {
  return _mm256_extracti128_si256(v, 1);
}
TAVIX_INLINE Floats joined(__m128 low, __m128 high) {
  return _mm256_set_m128(high, low);
}

TAVIX_INLINE Bytes clamped_to_bytes(Ints a, Ints b, Ints c, Ints d) {
  return pack_clamped(a, b, c, d);
}

// Blocks of eight are whole vectors.
TAVIX_INLINE __m256 greatest_in_eights(Floats v) {
  return v;
}
TAVIX_INLINE __m256 add_in_eights(__m256 sums, Floats v) {
  return sums + v;
}
TAVIX_INLINE __m256i eight_words(Ints v, int) {
  return v;
}

#include "cpu/x86/vectors.inc"

TAVIX_INLINE Mask less_equal(Floats a, Floats b) {
  return _mm256_cmp_ps(a, b, _CMP_LE_OQ);
}
TAVIX_INLINE Mask less(Floats a, Floats b) {
  return _mm256_cmp_ps(a, b, _CMP_LT_OQ);
}
TAVIX_INLINE Mask greater(Ints a, Ints b) {
  return from_bits(_mm256_cmpgt_epi32(a, b));
}
TAVIX_INLINE Mask both(Mask a, Mask b) {
  return _mm256_and_ps(a, b);
}
TAVIX_INLINE Mask either(Mask a, Mask b) {
  return _mm256_or_ps(a, b);
}
TAVIX_INLINE uint32_t lane_bits(Mask m) {
  return uint32_t(_mm256_movemask_ps(m));
}
TAVIX_INLINE bool all(Mask m) {
  return lane_bits(m) == 0xFF;
}
TAVIX_INLINE Mask every_lane() {
  return from_bits(all_of(-1));
}
TAVIX_INLINE Floats choose(Mask m, Floats yes, Floats no) {
  return _mm256_blendv_ps(no, yes, m);
}
TAVIX_INLINE Bytes choose_where_zero(Bytes b, Bytes yes, Bytes no) {
  return _mm256_blendv_epi8(no, yes, _mm256_cmpeq_epi8(b, all_bytes(0)));
}

// The first count lanes.
TAVIX_INLINE Mask first_lanes(int32_t count) {
  return greater(all_of(count), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}
TAVIX_INLINE Floats load(const void *p, Mask lanes) {
  return _mm256_maskload_ps(static_cast<const float *>(p), bits_of(lanes));
}
TAVIX_INLINE void store(void *p, Mask lanes, Floats v) {
  _mm256_maskstore_ps(static_cast<float *>(p), bits_of(lanes), v);
}
// The first count of eight, and other values in place of the rest.
TAVIX_INLINE Eights load_eight(const float *p, int32_t count, Eights other) {
  const Mask lanes = first_lanes(count);
  return choose(lanes, load(p, lanes), other);
}
TAVIX_INLINE void store_eight(float *p, int32_t count, Eights v) {  // a masked store is slow
  float values[8];
  store(values, v);
  for (int32_t i = 0; i < count; ++i) p[i] = values[i];
}
// A vector of integers clamped to 0..255.
TAVIX_INLINE void store_clamped(uint8_t *p, Ints v) {
  store_64(p, lower(pack_clamped(v, v, v, v)));
}

// A table of eight words, looked up by the lowest three bits of an index.
TAVIX_INLINE Ints table_of_8(const uint32_t (&words)[8]) {
  return load_ints(words);
}
TAVIX_INLINE Ints look_up(Ints table, Ints index) {
  return _mm256_permutevar8x32_epi32(table, index);
}

// Rounded twice here and once in AVX-512: only for results that are compared with a margin.
TAVIX_INLINE Doubles multiply_add(Doubles a, Doubles b, Doubles c) {
  return a * b + c;
}

// The lower or upper 32 bits of each double, in the order that one shuffle gives; in_lane_order
// goes there and back.
TAVIX_INLINE Ints low_words(const DoublePair &x) {
  return every_other_word<0>(_mm256_castpd_si256(x.low), _mm256_castpd_si256(x.high));
}
TAVIX_INLINE Ints high_words(const DoublePair &x) {
  return every_other_word<1>(_mm256_castpd_si256(x.low), _mm256_castpd_si256(x.high));
}
TAVIX_INLINE Floats in_lane_order(Floats words) {
  return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(words), 0xD8));
}

// Where a double is at least margin away from every midpoint of two floats, judged by its lower
// word; in the order of low_words. 2^32 of margin is one unit in the last place of a float.
TAVIX_INLINE Mask far_from_midpoint(const DoublePair &x, int32_t margin) {
  const Ints above = add(shift_left<3>(low_words(x)), all_of(margin ^ INT32_MIN));
  return from_bits(_mm256_cmpeq_epi32(_mm256_max_epu32(above, all_of(2 * margin)), above));
}

// A table of 16 doubles.
struct Table16 {
  Floats low[2], high[2];  // the words of entries 0 to 7 and 8 to 15

  explicit TAVIX_INLINE Table16(const double (&entries)[16]) {
    for (int i = 0; i < 2; ++i) {
      const DoublePair d = {load_doubles(entries + 8 * i), load_doubles(entries + 8 * i + 4)};
      low[i] = in_lane_order(from_bits(low_words(d)));
      high[i] = in_lane_order(from_bits(high_words(d)));
    }
  }
  // The entries of the lowest four bits of an index.
  TAVIX_INLINE DoublePair look_up(Ints index) const {
    const Ints in_order = bits_of(in_lane_order(from_bits(index)));  // of what follows
    const Floats select = from_bits(shift_left<28>(in_order));
    const Ints l = words(low, in_order, select), h = words(high, in_order, select);
    return {_mm256_castsi256_pd(_mm256_unpacklo_epi32(l, h)),
            _mm256_castsi256_pd(_mm256_unpackhi_epi32(l, h))};
  }

 private:
  static TAVIX_INLINE Ints words(const Floats (&of)[2], Ints index, Floats select) {
    return bits_of(choose(select, _mm256_permutevar8x32_ps(of[1], index),
                          _mm256_permutevar8x32_ps(of[0], index)));
  }
};

TAVIX_VECTORS_END
