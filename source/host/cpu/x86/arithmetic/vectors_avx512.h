// SPDX-License-Identifier: Apache-2.0
// What the kernel texts of this folder (*.inc) are written with, on vectors of sixteen floats.
// vectors_avx2.h has the same names. Include this header last.
#pragma once

#include <cstdint>

#include "cpu/x86/avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module::avx512 {

namespace instruction_set = avx512;
constexpr int kLanes = 16;

using Floats = __m512;
using Ints = __m512i;
using Doubles = __m512d;
using Mask = __mmask16;

TAVIX_INLINE Floats all_of(float x) {
  return _mm512_set1_ps(x);
}
TAVIX_INLINE Ints all_of(int32_t x) {
  return _mm512_set1_epi32(x);
}
TAVIX_INLINE Floats load(const void *p) {
  return _mm512_loadu_ps(p);
}
TAVIX_INLINE void store(void *p, Floats v) {
  _mm512_storeu_ps(p, v);
}

// Bytes as floats, and four vectors of floats as bytes: rounded half to even, clamped to 0..255; 2^31
// and more and NaN give 0.
using Bytes = __m512i;
constexpr int kBytes = 64;
TAVIX_INLINE Bytes load_bytes(const void *p) {
  return _mm512_loadu_si512(p);
}
TAVIX_INLINE void store_bytes(void *p, Bytes v) {
  _mm512_storeu_si512(p, v);
}
TAVIX_INLINE Floats bytes_as_floats(const void *p) {
  return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(_mm_loadu_si128(static_cast<const __m128i *>(p))));
}
TAVIX_INLINE Bytes round_to_bytes(Floats v0, Floats v1, Floats v2, Floats v3) {
  const __m512i words =
      _mm512_packus_epi16(_mm512_packs_epi32(_mm512_cvtps_epi32(v0), _mm512_cvtps_epi32(v1)),
                          _mm512_packs_epi32(_mm512_cvtps_epi32(v2), _mm512_cvtps_epi32(v3)));
  const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  return _mm512_permutexvar_epi32(order, words);
}

TAVIX_INLINE Bytes all_bytes(char x) {
  return _mm512_set1_epi8(x);
}
TAVIX_INLINE Bytes add_saturated(Bytes a, Bytes b) {
  return _mm512_adds_epu8(a, b);
}
TAVIX_INLINE Bytes sub_saturated(Bytes a, Bytes b) {
  return _mm512_subs_epu8(a, b);
}
TAVIX_INLINE Bytes min_bytes(Bytes a, Bytes b) {
  return _mm512_min_epu8(a, b);
}
TAVIX_INLINE Bytes max_bytes(Bytes a, Bytes b) {
  return _mm512_max_epu8(a, b);
}
// Products, no more than 255.
TAVIX_INLINE Bytes multiplied(Bytes a, Bytes b) {
  const Bytes even = _mm512_set1_epi16(0x00FF), odd = _mm512_set1_epi16(int16_t(0xFF00));
  const Bytes low = _mm512_mullo_epi16(a & even, b & even);
  const Bytes high = _mm512_mulhi_epu16(a & odd, b & odd);
  return _mm512_min_epu16(low, even) | _mm512_slli_epi16(_mm512_min_epu16(high, even), 8);
}
// Byte k of every 32-bit lane.
template <int k>
TAVIX_INLINE Floats byte_as_float(Bytes v) {
  return _mm512_cvtepi32_ps(_mm512_srli_epi32(v, 8 * k) & _mm512_set1_epi32(255));
}
TAVIX_INLINE Bytes choose_where_zero(Bytes b, Bytes yes, Bytes no) {
  return _mm512_mask_blend_epi8(_mm512_testn_epi8_mask(b, b), no, yes);
}

// The first count lanes.
TAVIX_INLINE Mask first_lanes(int32_t count) {
  return Mask(count < kLanes ? (1u << count) - 1 : 0xFFFF);
}
TAVIX_INLINE Floats load(const float *p, Mask lanes) {
  return _mm512_maskz_loadu_ps(lanes, p);
}
TAVIX_INLINE void store(float *p, Mask lanes, Floats v) {
  _mm512_mask_storeu_ps(p, lanes, v);
}

// The second operand where either is NaN.
TAVIX_INLINE Floats max(Floats a, Floats b) {
  return _mm512_max_ps(a, b);
}
TAVIX_INLINE Floats min(Floats a, Floats b) {
  return _mm512_min_ps(a, b);
}
TAVIX_INLINE Floats square_root(Floats v) {
  return _mm512_sqrt_ps(v);
}
TAVIX_INLINE Floats magnitude(Floats v) {
  return _mm512_abs_ps(v);
}

TAVIX_INLINE Ints bits_of(Floats v) {
  return _mm512_castps_si512(v);
}
TAVIX_INLINE Floats from_bits(Ints v) {
  return _mm512_castsi512_ps(v);
}
TAVIX_INLINE Ints rounded(Floats v) {
  return _mm512_cvtps_epi32(v);
}
TAVIX_INLINE Ints add(Ints a, Ints b) {
  return _mm512_add_epi32(a, b);
}
TAVIX_INLINE Ints sub(Ints a, Ints b) {
  return _mm512_sub_epi32(a, b);
}
TAVIX_INLINE Ints bits_and(Ints a, Ints b) {
  return _mm512_and_si512(a, b);
}
template <int n>
TAVIX_INLINE Ints shift_left(Ints v) {
  return _mm512_slli_epi32(v, n);
}
template <int n>
TAVIX_INLINE Ints shift_right(Ints v) {  // keeps the sign
  return _mm512_srai_epi32(v, n);
}

// 16-bit lanes.
TAVIX_INLINE Ints add_16(Ints a, Ints b) {
  return _mm512_add_epi16(a, b);
}
TAVIX_INLINE Ints sub_16(Ints a, Ints b) {
  return _mm512_sub_epi16(a, b);
}
template <int n>
TAVIX_INLINE Ints shift_left_16(Ints v) {
  return _mm512_slli_epi16(v, n);
}
template <int n>
TAVIX_INLINE Ints shift_right_16(Ints v) {
  return _mm512_srli_epi16(v, n);
}
template <int n>
TAVIX_INLINE Ints shift_right_32(Ints v) {
  return _mm512_srli_epi32(v, n);
}
TAVIX_INLINE Ints unpack_low_16(Ints a, Ints b) {
  return _mm512_unpacklo_epi16(a, b);
}
TAVIX_INLINE Ints unpack_high_16(Ints a, Ints b) {
  return _mm512_unpackhi_epi16(a, b);
}
// Of neighbours, as 32 bits.
TAVIX_INLINE Ints squares_added(Ints v) {
  return _mm512_madd_epi16(v, v);
}
// The even or odd 32-bit words of each 128 bits of two vectors.
template <int odd>
TAVIX_INLINE Ints every_other_word(Ints a, Ints b) {
  return bits_of(_mm512_shuffle_ps(from_bits(a), from_bits(b), odd ? 0xDD : 0x88));
}
// Adds words 8 i to 8 i + 7 of a vector to eight others.
TAVIX_INLINE void add_eight_words(uint32_t *to, Ints v, int i) {
  const __m256i words = i == 0 ? _mm512_castsi512_si256(v) : _mm512_extracti64x4_epi64(v, 1);
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(to),
                      _mm256_add_epi32(words, _mm256_loadu_si256(reinterpret_cast<__m256i *>(to))));
}

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
TAVIX_INLINE bool all(Mask m) {
  return m == 0xFFFF;
}
TAVIX_INLINE uint32_t lane_bits(Mask m) {
  return m;
}
TAVIX_INLINE Mask every_lane() {
  return 0xFFFF;
}
TAVIX_INLINE Mask no_lane() {
  return 0;
}
TAVIX_INLINE Floats choose(Mask m, Floats yes, Floats no) {
  return _mm512_mask_blend_ps(m, no, yes);
}

// A table of eight words, looked up by the lowest three bits of an index.
TAVIX_INLINE Ints table_of_8(const uint32_t (&words)[8]) {
  return _mm512_broadcast_i64x4(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(words)));
}
TAVIX_INLINE Ints look_up(Ints table, Ints index) {
  return _mm512_permutexvar_epi32(index, table);
}

TAVIX_INLINE __m256 lower(Floats v) {
  return _mm512_castps512_ps256(v);
}
TAVIX_INLINE __m256 upper(Floats v) {
  return _mm512_extractf32x8_ps(v, 1);
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
  return _mm256_mask_loadu_ps(other, __mmask8((1u << count) - 1), p);
}
TAVIX_INLINE void store_eight(float *p, int32_t count, Eights v) {
  _mm256_mask_storeu_ps(p, __mmask8((1u << count) - 1), v);
}
TAVIX_INLINE Eights greatest_in_eights(Floats v) {
  return _mm256_max_ps(lower(v), upper(v));
}
TAVIX_INLINE Eights least_in_eights(Floats v) {
  return _mm256_min_ps(lower(v), upper(v));
}
TAVIX_INLINE Eights max_of_eights(Eights a, Eights b) {
  return _mm256_max_ps(a, b);
}
TAVIX_INLINE Eights min_of_eights(Eights a, Eights b) {
  return _mm256_min_ps(a, b);
}
// Whether no lane is below x; NaN is not.
TAVIX_INLINE bool none_below(Eights v, float x) {
  return _mm256_cmp_ps_mask(v, _mm256_set1_ps(x), _CMP_LT_OQ) == 0;
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
  return (sums + lower(v)) + upper(v);
}
// Upper half plus lower half, then neighbours twice.
TAVIX_INLINE float total(Eights v) {
  const __m128 h = _mm_add_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  const __m128 q = _mm_add_ps(h, _mm_movehdup_ps(h));
  return _mm_cvtss_f32(_mm_add_ss(q, _mm_movehl_ps(q, q)));
}

// As many doubles as there are lanes, in their order.
struct DoublePair {
  Doubles low, high;
};
TAVIX_INLINE Doubles all_of(double x) {
  return _mm512_set1_pd(x);
}
// Rounded once here and twice in AVX2: only for results that are compared with a margin.
TAVIX_INLINE Doubles multiply_add(Doubles a, Doubles b, Doubles c) {
  return _mm512_fmadd_pd(a, b, c);
}
TAVIX_INLINE Doubles load_doubles(const double *p) {
  return _mm512_loadu_pd(p);
}
TAVIX_INLINE void store_doubles(double *p, Doubles v) {
  _mm512_storeu_pd(p, v);
}
TAVIX_INLINE Doubles floats_as_doubles(const void *p) {
  return _mm512_cvtps_pd(_mm256_loadu_ps(static_cast<const float *>(p)));
}
TAVIX_INLINE DoublePair widened(Floats x) {
  return {_mm512_cvtps_pd(lower(x)), _mm512_cvtps_pd(upper(x))};
}
TAVIX_INLINE DoublePair widened(Ints x) {
  return {_mm512_cvtepi32_pd(_mm512_castsi512_si256(x)),
          _mm512_cvtepi32_pd(_mm512_extracti32x8_epi32(x, 1))};
}
TAVIX_INLINE Floats narrowed(const DoublePair &x) {
  return _mm512_insertf32x8(_mm512_castps256_ps512(_mm512_cvtpd_ps(x.low)), _mm512_cvtpd_ps(x.high),
                            1);
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
      : first(_mm512_loadu_pd(entries)), second(_mm512_loadu_pd(entries + 8)) {}

  // The entries of the lowest four bits of an index.
  TAVIX_INLINE DoublePair look_up(Ints index) const {
    return {entries(_mm512_castsi512_si256(index)), entries(_mm512_extracti32x8_epi32(index, 1))};
  }

 private:
  TAVIX_INLINE Doubles entries(__m256i index) const {
    return _mm512_permutex2var_pd(first, _mm512_cvtepu32_epi64(index), second);
  }
};

// Positive normal floats, and small integers, as doubles.
TAVIX_INLINE DoublePair widened_positive(Ints bits) {
  return widened(from_bits(bits));
}
TAVIX_INLINE DoublePair widened_small(Ints k) {
  return widened(k);
}
TAVIX_INLINE Floats narrowed_in_order(const DoublePair &x) {
  return narrowed(x);
}

}  // namespace tavix::module::avx512

TAVIX_AVX512_END
