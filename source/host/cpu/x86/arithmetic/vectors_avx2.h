// SPDX-License-Identifier: Apache-2.0
// What the kernel texts of this folder (*.inc) are written with, on vectors of eight floats.
// vectors_avx512.h has the same names. Include this header last.
#pragma once

#include <cstdint>

#include "cpu/x86/lanes_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module::avx2 {

namespace instruction_set = avx2;
constexpr int kLanes = 8;

using Floats = __m256;
using Ints = __m256i;
using Doubles = __m256d;
using Mask = __m256;  // all ones or zeros in each lane

TAVIX_INLINE Floats all_of(float x) {
  return _mm256_set1_ps(x);
}
TAVIX_INLINE Ints all_of(int32_t x) {
  return _mm256_set1_epi32(x);
}
TAVIX_INLINE Floats load(const void *p) {
  return load_8_floats(p);
}
TAVIX_INLINE void store(void *p, Floats v) {
  store_8_floats(p, v);
}

// Bytes as floats, and four vectors of floats as bytes: rounded half to even, clamped to 0..255; 2^31
// and more and NaN give 0.
using Bytes = __m256i;
constexpr int kBytes = 32;
TAVIX_INLINE Bytes load_bytes(const void *p) {
  return load_256(p);
}
TAVIX_INLINE void store_bytes(void *p, Bytes v) {
  store_256(p, v);
}
TAVIX_INLINE Floats bytes_as_floats(const void *p) {
  return load_8_bytes(p);
}
TAVIX_INLINE Bytes round_to_bytes(Floats v0, Floats v1, Floats v2, Floats v3) {
  return pack_clamped(_mm256_cvtps_epi32(v0), _mm256_cvtps_epi32(v1), _mm256_cvtps_epi32(v2),
                      _mm256_cvtps_epi32(v3));
}

TAVIX_INLINE Bytes all_bytes(char x) {
  return _mm256_set1_epi8(x);
}
TAVIX_INLINE Bytes add_saturated(Bytes a, Bytes b) {
  return _mm256_adds_epu8(a, b);
}
TAVIX_INLINE Bytes sub_saturated(Bytes a, Bytes b) {
  return _mm256_subs_epu8(a, b);
}
TAVIX_INLINE Bytes min_bytes(Bytes a, Bytes b) {
  return _mm256_min_epu8(a, b);
}
TAVIX_INLINE Bytes max_bytes(Bytes a, Bytes b) {
  return _mm256_max_epu8(a, b);
}
// Products, no more than 255.
TAVIX_INLINE Bytes multiplied(Bytes a, Bytes b) {
  const Bytes even = _mm256_set1_epi16(0x00FF), odd = _mm256_set1_epi16(int16_t(0xFF00));
  const Bytes low = _mm256_mullo_epi16(a & even, b & even);
  const Bytes high = _mm256_mulhi_epu16(a & odd, b & odd);
  return _mm256_min_epu16(low, even) | _mm256_slli_epi16(_mm256_min_epu16(high, even), 8);
}
// Byte k of every 32-bit lane.
template <int k>
TAVIX_INLINE Floats byte_as_float(Bytes v) {
  return _mm256_cvtepi32_ps(_mm256_srli_epi32(v, 8 * k) & _mm256_set1_epi32(255));
}
TAVIX_INLINE Bytes choose_where_zero(Bytes b, Bytes yes, Bytes no) {
  return _mm256_blendv_epi8(no, yes, _mm256_cmpeq_epi8(b, _mm256_setzero_si256()));
}

// The first count lanes.
TAVIX_INLINE Mask first_lanes(int32_t count) {
  return _mm256_castsi256_ps(
      _mm256_cmpgt_epi32(_mm256_set1_epi32(count), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
}
TAVIX_INLINE Floats load(const float *p, Mask lanes) {
  return _mm256_maskload_ps(p, _mm256_castps_si256(lanes));
}
TAVIX_INLINE void store(float *p, Mask lanes, Floats v) {
  _mm256_maskstore_ps(p, _mm256_castps_si256(lanes), v);
}

// The second operand where either is NaN.
TAVIX_INLINE Floats max(Floats a, Floats b) {
  return _mm256_max_ps(a, b);
}
TAVIX_INLINE Floats min(Floats a, Floats b) {
  return _mm256_min_ps(a, b);
}
TAVIX_INLINE Floats square_root(Floats v) {
  return _mm256_sqrt_ps(v);
}
TAVIX_INLINE Floats magnitude(Floats v) {
  return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), v);
}

TAVIX_INLINE Ints bits_of(Floats v) {
  return _mm256_castps_si256(v);
}
TAVIX_INLINE Floats from_bits(Ints v) {
  return _mm256_castsi256_ps(v);
}
TAVIX_INLINE Ints rounded(Floats v) {
  return _mm256_cvtps_epi32(v);
}
TAVIX_INLINE Ints add(Ints a, Ints b) {
  return _mm256_add_epi32(a, b);
}
TAVIX_INLINE Ints sub(Ints a, Ints b) {
  return _mm256_sub_epi32(a, b);
}
TAVIX_INLINE Ints bits_and(Ints a, Ints b) {
  return _mm256_and_si256(a, b);
}
template <int n>
TAVIX_INLINE Ints shift_left(Ints v) {
  return _mm256_slli_epi32(v, n);
}
template <int n>
TAVIX_INLINE Ints shift_right(Ints v) {  // keeps the sign
  return _mm256_srai_epi32(v, n);
}

// 16-bit lanes.
TAVIX_INLINE Ints add_16(Ints a, Ints b) {
  return _mm256_add_epi16(a, b);
}
TAVIX_INLINE Ints sub_16(Ints a, Ints b) {
  return _mm256_sub_epi16(a, b);
}
template <int n>
TAVIX_INLINE Ints shift_left_16(Ints v) {
  return _mm256_slli_epi16(v, n);
}
template <int n>
TAVIX_INLINE Ints shift_right_16(Ints v) {
  return _mm256_srli_epi16(v, n);
}
template <int n>
TAVIX_INLINE Ints shift_right_32(Ints v) {
  return _mm256_srli_epi32(v, n);
}
TAVIX_INLINE Ints unpack_low_16(Ints a, Ints b) {
  return _mm256_unpacklo_epi16(a, b);
}
TAVIX_INLINE Ints unpack_high_16(Ints a, Ints b) {
  return _mm256_unpackhi_epi16(a, b);
}
// Of neighbours, as 32 bits.
TAVIX_INLINE Ints squares_added(Ints v) {
  return _mm256_madd_epi16(v, v);
}
// The even or odd 32-bit words of each 128 bits of two vectors.
template <int odd>
TAVIX_INLINE Ints every_other_word(Ints a, Ints b) {
  return bits_of(_mm256_shuffle_ps(from_bits(a), from_bits(b), odd ? 0xDD : 0x88));
}
// Adds words 8 i to 8 i + 7 of a vector to eight others.
TAVIX_INLINE void add_eight_words(uint32_t *to, Ints words, int) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(to),
                      _mm256_add_epi32(words, _mm256_loadu_si256(reinterpret_cast<__m256i *>(to))));
}

TAVIX_INLINE Mask less_equal(Floats a, Floats b) {
  return _mm256_cmp_ps(a, b, _CMP_LE_OQ);
}
TAVIX_INLINE Mask less(Floats a, Floats b) {
  return _mm256_cmp_ps(a, b, _CMP_LT_OQ);
}
TAVIX_INLINE Mask greater(Ints a, Ints b) {
  return _mm256_castsi256_ps(_mm256_cmpgt_epi32(a, b));
}
TAVIX_INLINE Mask both(Mask a, Mask b) {
  return _mm256_and_ps(a, b);
}
TAVIX_INLINE Mask either(Mask a, Mask b) {
  return _mm256_or_ps(a, b);
}
TAVIX_INLINE bool all(Mask m) {
  return _mm256_movemask_ps(m) == 0xFF;
}
TAVIX_INLINE uint32_t lane_bits(Mask m) {
  return uint32_t(_mm256_movemask_ps(m));
}
TAVIX_INLINE Mask every_lane() {
  return _mm256_castsi256_ps(_mm256_set1_epi32(-1));
}
TAVIX_INLINE Mask no_lane() {
  return _mm256_setzero_ps();
}
TAVIX_INLINE Floats choose(Mask m, Floats yes, Floats no) {
  return _mm256_blendv_ps(no, yes, m);
}

// A table of eight words, looked up by the lowest three bits of an index.
TAVIX_INLINE Ints table_of_8(const uint32_t (&words)[8]) {
  return load_256(words);
}
TAVIX_INLINE Ints look_up(Ints table, Ints index) {
  return _mm256_permutevar8x32_epi32(table, index);
}

// Blocks of eight, whatever the width.
using Eights = __m256;
TAVIX_INLINE Eights eight_of(float x) {
  return _mm256_set1_ps(x);
}
TAVIX_INLINE Eights load_eight(const float *p) {
  return _mm256_loadu_ps(p);
}
TAVIX_INLINE void store_eight(float *p, Eights v) {
  _mm256_storeu_ps(p, v);
}
// The first count of them, and other values in place of the rest.
TAVIX_INLINE Eights load_eight(const float *p, int32_t count, Eights other) {
  const Mask lanes = first_lanes(count);
  return choose(lanes, load(p, lanes), other);
}
TAVIX_INLINE void store_eight(float *p, int32_t count, Eights v) {  // a masked store is slow
  float values[8];
  store(values, v);
  for (int32_t i = 0; i < count; ++i) p[i] = values[i];
}
TAVIX_INLINE Eights greatest_in_eights(Floats v) {
  return v;
}
TAVIX_INLINE Eights max_of_eights(Eights a, Eights b) {
  return _mm256_max_ps(a, b);
}
TAVIX_INLINE Eights min_of_eights(Eights a, Eights b) {
  return _mm256_min_ps(a, b);
}
// Whether no lane is below x; NaN is not.
TAVIX_INLINE bool none_below(Eights v, float x) {
  return _mm256_movemask_ps(_mm256_cmp_ps(v, _mm256_set1_ps(x), _CMP_LT_OQ)) == 0;
}
TAVIX_INLINE Eights least_in_eights(Floats v) {
  return v;
}
TAVIX_INLINE float greatest_of_eight(Eights v) {
  const __m128 h = _mm_max_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  const __m128 q = _mm_max_ps(h, _mm_movehl_ps(h, h));
  return _mm_cvtss_f32(_mm_max_ss(q, _mm_movehdup_ps(q)));
}
TAVIX_INLINE float greatest_lane(Floats v) {
  return greatest_of_eight(greatest_in_eights(v));
}

// Sums in eight lanes: blocks of eight are added one after the other.
TAVIX_INLINE Eights add_in_eights(Eights sums, Floats v) {
  return sums + v;
}
// Upper half plus lower half, then neighbours twice.
TAVIX_INLINE float total(Eights v) {
  const __m128 h = _mm_add_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  const __m128 q = _mm_add_ps(h, _mm_movehdup_ps(h));
  return _mm_cvtss_f32(_mm_add_ss(q, _mm_movehl_ps(q, q)));
}

// As many doubles as there are lanes.
struct DoublePair {
  Doubles low, high;
};
TAVIX_INLINE Doubles all_of(double x) {
  return _mm256_set1_pd(x);
}
// Rounded twice here and once in AVX-512: only for results that are compared with a margin.
TAVIX_INLINE Doubles multiply_add(Doubles a, Doubles b, Doubles c) {
  return a * b + c;
}
TAVIX_INLINE Doubles load_doubles(const double *p) {
  return _mm256_loadu_pd(p);
}
TAVIX_INLINE void store_doubles(double *p, Doubles v) {
  _mm256_storeu_pd(p, v);
}
TAVIX_INLINE Doubles floats_as_doubles(const void *p) {
  return _mm256_cvtps_pd(_mm_castsi128_ps(load_128(p)));
}
TAVIX_INLINE DoublePair widened(Floats x) {
  return {_mm256_cvtps_pd(_mm256_castps256_ps128(x)), _mm256_cvtps_pd(_mm256_extractf128_ps(x, 1))};
}
TAVIX_INLINE DoublePair widened(Ints x) {
  return {_mm256_cvtepi32_pd(_mm256_castsi256_si128(x)),
          _mm256_cvtepi32_pd(_mm256_extracti128_si256(x, 1))};
}
TAVIX_INLINE Floats narrowed(const DoublePair &x) {
  return _mm256_set_m128(_mm256_cvtpd_ps(x.high), _mm256_cvtpd_ps(x.low));
}

// The lower or upper 32 bits of each double, in the order that one shuffle gives; what is computed
// from them comes back with in_lane_order.
TAVIX_INLINE Ints low_words(const DoublePair &x) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castpd_ps(x.low), _mm256_castpd_ps(x.high), 0x88));
}
TAVIX_INLINE Ints high_words(const DoublePair &x) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castpd_ps(x.low), _mm256_castpd_ps(x.high), 0xDD));
}
TAVIX_INLINE Floats in_lane_order(Floats words) {
  return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(words), 0xD8));
}

// Where a double is at least margin away from every midpoint of two floats, judged by its lower
// word; in the order of low_words. 2^32 of margin is one unit in the last place of a float.
TAVIX_INLINE Mask far_from_midpoint(const DoublePair &x, int32_t margin) {
  const Ints biased = _mm256_set1_epi32(margin ^ INT32_MIN);
  const Ints above = _mm256_add_epi32(_mm256_slli_epi32(low_words(x), 3), biased);
  const Ints limit = _mm256_set1_epi32(2 * margin);
  return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_max_epu32(above, limit), above));
}

// A table of 16 doubles, and doubles made of words, all in an order whose low_words and narrowed
// halves are in_lane_order's argument: lanes 0, 1, 4, 5 and 2, 3, 6, 7.
TAVIX_INLINE DoublePair from_words(Ints low, Ints high) {
  return {_mm256_castsi256_pd(_mm256_unpacklo_epi32(low, high)),
          _mm256_castsi256_pd(_mm256_unpackhi_epi32(low, high))};
}

struct Table16 {
  Floats low[2], high[2];  // the words of entries 0 to 7 and 8 to 15

  explicit TAVIX_INLINE Table16(const double (&entries)[16]) {
    for (int i = 0; i < 2; ++i) {
      const DoublePair d = {_mm256_loadu_pd(entries + 8 * i), _mm256_loadu_pd(entries + 8 * i + 4)};
      low[i] = in_lane_order(_mm256_castsi256_ps(low_words(d)));
      high[i] = in_lane_order(_mm256_castsi256_ps(high_words(d)));
    }
  }
  // The entries of the lowest four bits of an index.
  TAVIX_INLINE DoublePair look_up(Ints index) const {
    const Floats select = _mm256_castsi256_ps(_mm256_slli_epi32(index, 28));
    return from_words(words(low, index, select), words(high, index, select));
  }

 private:
  static TAVIX_INLINE Ints words(const Floats (&of)[2], Ints index, Floats select) {
    return _mm256_castps_si256(_mm256_blendv_ps(_mm256_permutevar8x32_ps(of[0], index),
                                                _mm256_permutevar8x32_ps(of[1], index), select));
  }
};

// Positive normal floats, and small integers, as doubles in the order of Table16.
TAVIX_INLINE DoublePair widened_positive(Ints bits) {
  return from_words(
      _mm256_slli_epi32(bits, 29),
      _mm256_add_epi32(_mm256_srli_epi32(bits, 3), _mm256_set1_epi32((1023 - 127) << 20)));
}
TAVIX_INLINE DoublePair widened_small(Ints k) {
  const DoublePair biased = from_words(  // 1536 + k
      _mm256_setzero_si256(),
      _mm256_add_epi32(_mm256_slli_epi32(k, 10), _mm256_set1_epi32(0x40980000)));
  return {biased.low - 1536.0, biased.high - 1536.0};
}
TAVIX_INLINE Floats narrowed_in_order(const DoublePair &x) {
  return in_lane_order(narrowed(x));
}

}  // namespace tavix::module::avx2

TAVIX_AVX2_END
