// SPDX-License-Identifier: Apache-2.0
// The value is computed in double. Rounded to float it is what the library returns, unless a
// midpoint of two floats lies within the margin that separates the two computations: those rare
// lanes, and special values, are left to the library.
#include "cpu/x86/arithmetic/library_math_avx2.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "common/frame_access.h"
#include "cpu/x86/arithmetic/row_blocks_avx2.h"
#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

// Eight doubles as two vectors, lanes 0 to 3 and 4 to 7 unless said otherwise.
struct Double8 {
  __m256d low, high;
};

TAVIX_INLINE Double8 widen_avx2(__m256 x) {
  return {_mm256_cvtps_pd(_mm256_castps256_ps128(x)), _mm256_cvtps_pd(_mm256_extractf128_ps(x, 1))};
}
TAVIX_INLINE Double8 widen_avx2(__m256i x) {
  return {_mm256_cvtepi32_pd(_mm256_castsi256_si128(x)),
          _mm256_cvtepi32_pd(_mm256_extracti128_si256(x, 1))};
}
TAVIX_INLINE __m256 narrow_avx2(Double8 x) {
  return _mm256_set_m128(_mm256_cvtpd_ps(x.high), _mm256_cvtpd_ps(x.low));
}

// The lower or upper 32 bits of each double, in the order that one shuffle gives; what is computed
// from them comes back with in_lane_order_avx2.
TAVIX_INLINE __m256i low_words_avx2(Double8 x) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castpd_ps(x.low), _mm256_castpd_ps(x.high), 0x88));
}
TAVIX_INLINE __m256i high_words_avx2(Double8 x) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castpd_ps(x.low), _mm256_castpd_ps(x.high), 0xDD));
}
TAVIX_INLINE __m256 in_lane_order_avx2(__m256 words) {
  return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(words), 0xD8));
}

// Margins around midpoints: 2^32 is one unit in the last place of a float.
constexpr int32_t ulps(double units) {
  return int32_t(units * 0x1p32);
}

// All ones where a double, judged by its low word, is at least margin away from every midpoint.
TAVIX_INLINE __m256 far_from_midpoint_avx2(__m256i low_words, __m256i margin) {
  const __m256i biased = _mm256_xor_si256(margin, _mm256_set1_epi32(INT32_MIN));
  const __m256i above = _mm256_add_epi32(_mm256_slli_epi32(low_words, 3), biased);
  const __m256i limit = _mm256_add_epi32(margin, margin);
  return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_max_epu32(above, limit), above));
}

TAVIX_INLINE bool all_avx2(__m256 mask) {
  return _mm256_movemask_ps(mask) == 0xFF;
}

// Results of eight lanes and where they are known to be the library's.
struct Lanes {
  __m256 result, sure;
};

// A function of kTogether vectors at a time: one dependency chain alone leaves the multipliers
// waiting, so that several go through every step together.
#define TAVIX_EACH(count) for (int i = 0; i < (count); ++i)

struct Exp {
  static constexpr int kTogether = 4;
  static float library(float x) { return expf(x); }

  // e^r = 1 + r q(r) for |r| <= ln(2)/2, a minimax polynomial: relative error below 2^-34.
  template <int n>
  static TAVIX_INLINE void near_zero_avx2(__m256d (&r)[n]) {
    __m256d r2[n], q[n], e[n];
    TAVIX_EACH(n) r2[i] = r[i] * r[i];
    TAVIX_EACH(n) e[i] = 0x1.11130b23e3378p-7 + r[i] * 0x1.6d9569691baeap-10;
    TAVIX_EACH(n) e[i] = e[i] + r2[i] * 0x1.9e8ecd3ede4cfp-13;
    TAVIX_EACH(n) q[i] = 0x1.55555350a4b19p-3 + r[i] * 0x1.555481a90fac0p-5;
    TAVIX_EACH(n) q[i] = q[i] + r2[i] * e[i];
    TAVIX_EACH(n) e[i] = 0x1.00000000e5891p+0 + r[i] * 0x1.000000424eb42p-1;
    TAVIX_EACH(n) e[i] = e[i] + r2[i] * q[i];
    TAVIX_EACH(n) r[i] = 1.0 + r[i] * e[i];
  }

  // x = k ln(2) + r, and e^x = 2^k e^r. Before it rounds, the library errs by less than 0.002 units
  // in the last place and this routine by less than 0.0008.
  template <int n>
  static TAVIX_INLINE void lanes_avx2(const __m256 (&x)[n], Lanes (&lanes)[n]) {
    __m256i k[n];
    __m256d r[2 * n];  // lower and upper half of each vector
    TAVIX_EACH(n) k[i] = _mm256_cvtps_epi32(x[i] * std::numbers::log2e_v<float>);
    TAVIX_EACH(n) {
      const Double8 xd = widen_avx2(x[i]), kd = widen_avx2(k[i]);
      r[2 * i] = xd.low - kd.low * std::numbers::ln2;
      r[2 * i + 1] = xd.high - kd.high * std::numbers::ln2;
    }
    near_zero_avx2(r);

    __m256 normal[n], far[n], all = _mm256_castsi256_ps(_mm256_set1_epi32(-1));
    TAVIX_EACH(n) {
      const Double8 e_r = {r[2 * i], r[2 * i + 1]};
      const __m256i bits = _mm256_castps_si256(narrow_avx2(e_r));
      const __m256 magnitude = _mm256_andnot_ps(_mm256_set1_ps(-0.0f), x[i]);
      normal[i] = _mm256_cmp_ps(magnitude, _mm256_set1_ps(87.25f), _CMP_LE_OQ);
      far[i] = far_from_midpoint_avx2(low_words_avx2(e_r), _mm256_set1_epi32(ulps(0.003)));
      lanes[i] = {_mm256_castsi256_ps(_mm256_add_epi32(bits, _mm256_slli_epi32(k[i], 23))),
                  normal[i]};
      all = _mm256_and_ps(all, _mm256_and_ps(normal[i], far[i]));
    }
    if (all_avx2(all)) return;

    TAVIX_EACH(n) {
      const __m256 infinite = _mm256_cmp_ps(x[i], _mm256_set1_ps(89.0f), _CMP_GE_OQ);
      const __m256 zero = _mm256_cmp_ps(x[i], _mm256_set1_ps(-104.0f), _CMP_LE_OQ);
      const __m256 limit = _mm256_and_ps(infinite, _mm256_set1_ps(INFINITY));
      const __m256 limited = _mm256_or_ps(infinite, zero);
      const __m256 sure = _mm256_and_ps(normal[i], in_lane_order_avx2(far[i]));
      lanes[i] = {_mm256_blendv_ps(lanes[i].result, limit, limited), _mm256_or_ps(sure, limited)};
    }
  }
};

// A table of 16 doubles, looked up eight at a time. index: the lowest three bits count; select: its
// fourth bit, as a sign.
struct Table16 {
  __m256 low[2], high[2];  // the words of entries 0 to 7 and 8 to 15

  explicit TAVIX_INLINE Table16(const double (&entries)[16]) {
    for (int i = 0; i < 2; ++i) {
      const Double8 d = {_mm256_loadu_pd(entries + 8 * i), _mm256_loadu_pd(entries + 8 * i + 4)};
      low[i] = in_lane_order_avx2(_mm256_castsi256_ps(low_words_avx2(d)));
      high[i] = in_lane_order_avx2(_mm256_castsi256_ps(high_words_avx2(d)));
    }
  }
  static TAVIX_INLINE __m256i words(const __m256 (&of)[2], __m256i index, __m256 select) {
    return _mm256_castps_si256(_mm256_blendv_ps(_mm256_permutevar8x32_ps(of[0], index),
                                                _mm256_permutevar8x32_ps(of[1], index), select));
  }
};

// Doubles from their words, in the order that brings their words back in order: lanes 0, 1, 4, 5
// and 2, 3, 6, 7.
TAVIX_INLINE Double8 from_words_avx2(__m256i low, __m256i high) {
  return {_mm256_castsi256_pd(_mm256_unpacklo_epi32(low, high)),
          _mm256_castsi256_pd(_mm256_unpackhi_epi32(low, high))};
}

// The library cuts [0.7, 1.4) into sixteen intervals with a c in the middle of each (1 in the one
// around 1), and takes log(z) = log(c) + r + r^2 (a + b r + d r^2) with r = z/c - 1. The polynomial
// and the c are those that all its results agree with: the double computed here lies within 0.00013
// units in the last place of one that rounds to the library's result. That library is glibc; any
// other is told apart by its results and called for every argument.
struct Log {
  static constexpr int kTogether = 3;
  static float library(float x) { return logf(x); }

  // 1/c, whose lower words are zero, and log(c).
  static constexpr double kInverseC[16] = {0x1.661e1p+0,  0x1.571c8p+0, 0x1.4954cp+0, 0x1.3c995p+0,
                                           0x1.30d18p+0,  0x1.25e21p+0, 0x1.1bb49p+0, 0x1.12355p+0,
                                           0x1.0953fp+0,  1.0,          0x1.e608dp-1, 0x1.ca4b5p-1,
                                           0x1.b20350p-1, 0x1.9c2c6p-1, 0x1.886f2p-1, 0x1.76787p-1};
  static constexpr double kLogC[16] = {-0x1.57bd6afc07f26p-2, -0x1.2be815c7c195cp-2,
                                       -0x1.01ee6a60e006dp-2, -0x1.b31d42f5bbcf6p-3,
                                       -0x1.65747fe8be5aap-3, -0x1.1aa217623928ap-3,
                                       -0x1.a4e6430b11917p-4, -0x1.19701813fb139p-4,
                                       -0x1.252ec4f8d0c6ep-5, 0.0,
                                       0x1.aa5aa358a3cd8p-5,  0x1.c5e42df5c63b0p-4,
                                       0x1.526ebcba1d71ap-3,  0x1.bc2bea439e1e3p-3,
                                       0x1.1056c81b60763p-2,  0x1.4051b643599dcp-2};

  // x = 2^k z, and log(x) = k ln(2) + log(z).
  template <int n>
  static TAVIX_INLINE void lanes_avx2(const __m256 (&x)[n], Lanes (&lanes)[n]) {
    const Table16 inverse_c(kInverseC), log_c(kLogC);
    __m256d base[2 * n], r[2 * n], r2[2 * n], p[2 * n];  // two halves of each vector
    TAVIX_EACH(n) {
      const __m256i bits = _mm256_castps_si256(x[i]);
      const __m256i above = _mm256_sub_epi32(bits, _mm256_set1_epi32(0x3F330000));  // 0.7
      const __m256i k = _mm256_srai_epi32(above, 23);
      const __m256i z = _mm256_sub_epi32(bits, _mm256_slli_epi32(k, 23));
      const __m256i index = _mm256_srli_epi32(above, 19);
      const __m256 select = _mm256_castsi256_ps(_mm256_slli_epi32(above, 31 - 22));

      const Double8 zd = from_words_avx2(
          _mm256_slli_epi32(z, 29),
          _mm256_add_epi32(_mm256_srli_epi32(z, 3), _mm256_set1_epi32((1023 - 127) << 20)));
      const Double8 inverse =
          from_words_avx2(_mm256_setzero_si256(), Table16::words(inverse_c.high, index, select));
      const Double8 log = from_words_avx2(Table16::words(log_c.low, index, select),
                                          Table16::words(log_c.high, index, select));
      const Double8 k_biased = from_words_avx2(  // 1536 + k
          _mm256_setzero_si256(),
          _mm256_add_epi32(_mm256_slli_epi32(k, 10), _mm256_set1_epi32(0x40980000)));
      r[2 * i] = zd.low * inverse.low - 1.0;
      r[2 * i + 1] = zd.high * inverse.high - 1.0;
      base[2 * i] = (k_biased.low - 1536.0) * std::numbers::ln2 + log.low;
      base[2 * i + 1] = (k_biased.high - 1536.0) * std::numbers::ln2 + log.high;
    }
    TAVIX_EACH(2 * n) r2[i] = r[i] * r[i];
    TAVIX_EACH(2 * n) p[i] = -0x1.ffffef201ce43p-2 + r[i] * 0x1.5575b0d9dbbdap-2;
    TAVIX_EACH(2 * n) p[i] = p[i] + r2[i] * -0x1.00ea4196844dcp-2;
    TAVIX_EACH(2 * n) r[i] = (base[i] + r[i]) + r2[i] * p[i];

    TAVIX_EACH(n) {
      const Double8 y = {r[2 * i], r[2 * i + 1]};
      // Positive, normal and finite: one signed comparison of bits that start at the smallest.
      const __m256i from_normal =
          _mm256_sub_epi32(_mm256_castps_si256(x[i]), _mm256_set1_epi32(0x00800000 + INT32_MIN));
      const __m256 normal = _mm256_castsi256_ps(
          _mm256_cmpgt_epi32(_mm256_set1_epi32(0x7F000000 + INT32_MIN), from_normal));
      const __m256 far = far_from_midpoint_avx2(low_words_avx2(y), _mm256_set1_epi32(ulps(0.001)));
      lanes[i] = {in_lane_order_avx2(narrow_avx2(y)), _mm256_and_ps(normal, far)};
    }
  }
};

// What a row is made of: arguments, and results that may need more. Position j of a group of
// Function::kTogether vectors has parameters of its own.
struct PlainRow {
  const float *x;
  float *y;

  TAVIX_INLINE __m256 argument(int32_t i, int) const { return _mm256_loadu_ps(x + i); }
  TAVIX_INLINE float argument(int32_t i) const { return x[i]; }
  TAVIX_INLINE void finish(int32_t i, int, __m256 result) const { _mm256_storeu_ps(y + i, result); }
  TAVIX_INLINE void finish(int32_t i, float result) const { y[i] = result; }
};

// max(src * scale, least) to result + offset, NaN kept. dst may be src.
struct ScaledRow {
  const uint8_t *src;
  uint8_t *dst;
  float least;
  const float *scale, *offset;
  BlockPattern scales, offsets;

  TAVIX_INLINE __m256 argument(int32_t i, int j) const {
    return _mm256_max_ps(_mm256_set1_ps(least),
                         load8f_avx2(src + 4 * int64_t(i)) * scales.lanes[j]);
  }
  TAVIX_INLINE float argument(int32_t i) const {
    const float v = load<float>(src, i) * scale[i % kBlockFloats];
    return v <= least ? least : v;
  }
  TAVIX_INLINE void finish(int32_t i, int j, __m256 result) const {
    store8f_avx2(dst + 4 * int64_t(i), result + offsets.lanes[j]);
  }
  TAVIX_INLINE void finish(int32_t i, float result) const {
    store(dst, i, result + offset[i % kBlockFloats]);
  }
};

// A stretch of a row: so many vectors, their arguments, and a bit for each lane that is not sure.
struct Stretch {
  static constexpr int32_t kWords = 12, kVectors = 8 * kWords;
  float arguments[8 * kVectors];
  uint64_t unsure[kWords];
};

// Of any library: no lane is sure.
struct AnyLog {
  static constexpr int kTogether = 1;
  static float library(float x) { return logf(x); }

  template <int n>
  static TAVIX_INLINE void lanes_avx2(const __m256 (&x)[n], Lanes (&lanes)[n]) {
    TAVIX_EACH(n) lanes[i] = {x[i], _mm256_setzero_ps()};
  }
};

// So many vectors from element at of the row on, which are vectors v and after of the stretch, and j
// and after of a group.
template <class Function, int n, class Row>
TAVIX_INLINE void run_vectors_avx2(const Row &row, int32_t at, Stretch &stretch, int32_t v, int j) {
  uint8_t *const unsure = reinterpret_cast<uint8_t *>(stretch.unsure);
  __m256 x[n];
  Lanes lanes[n];
  TAVIX_EACH(n) x[i] = row.argument(at + 8 * i, j + i);
  TAVIX_EACH(n) _mm256_storeu_ps(stretch.arguments + 8 * (v + i), x[i]);
  Function::lanes_avx2(x, lanes);
  TAVIX_EACH(n) {
    row.finish(at + 8 * i, j + i, lanes[i].result);
    unsure[v + i] = uint8_t(~_mm256_movemask_ps(lanes[i].sure));
  }
}

#undef TAVIX_EACH

// A stretch of the row at a time: first all vectors, then the lanes that were not sure.
template <class Function, class Row>
TAVIX_INLINE void run_row_avx2(const Row &row, int32_t n) {
  constexpr int32_t kTogether = Function::kTogether;
  static_assert(Stretch::kVectors % kTogether == 0);
  int32_t i = 0;
  while (i <= n - 8) {
    const int32_t vectors = std::min((n - i) / 8, Stretch::kVectors);
    Stretch stretch;
    for (uint64_t &word : stretch.unsure) word = 0;
    int32_t v = 0;
    for (; v <= vectors - kTogether; v += kTogether)
      run_vectors_avx2<Function, kTogether>(row, i + 8 * v, stretch, v, 0);
    for (int j = 0; v < vectors; ++v, ++j)
      run_vectors_avx2<Function, 1>(row, i + 8 * v, stretch, v, j);
    for (int32_t word = 0; word < Stretch::kWords; ++word) {
      for (uint64_t left = stretch.unsure[word]; left != 0; left &= left - 1) {
        const int32_t lane = 64 * word + __builtin_ctzll(left);
        row.finish(i + lane, Function::library(stretch.arguments[lane]));
      }
    }
    i += 8 * vectors;
  }
  for (; i < n; ++i) row.finish(i, Function::library(row.argument(i)));
}

// logf of a thousand arguments from 0.6 to 1.4, close together around 1, where libraries differ most.
constexpr int32_t kProbes = 1024;
void probe_log_avx2(float (&x)[kProbes], float (&y)[kProbes]) {
  for (int32_t i = 0; i < kProbes; ++i) {
    const float t = float(i - kProbes / 2) / (kProbes / 2);
    x[i] = 1.0f + 0.4f * t * t * t;
  }
  run_row_avx2<Log>(PlainRow{x, y}, kProbes);
}

template <class Row>
void run_log_avx2(const Row &row, int32_t n, bool known) {
  known ? run_row_avx2<Log>(row, n) : run_row_avx2<AnyLog>(row, n);
}

}  // namespace

void expf_row_avx2(const float *x, float *y, int32_t n) {
  run_row_avx2<Exp>(PlainRow{x, y}, n);
}
void logf_row_avx2(const float *x, float *y, int32_t n, bool known) {
  run_log_avx2(PlainRow{x, y}, n, known);
}
void scaled_logf_row_avx2(const uint8_t *src, uint8_t *dst, int32_t n, float least,
                          const float (&scale)[kBlockFloats], const float (&offset)[kBlockFloats]) {
  const ScaledRow row = {
      src, dst, least, scale, offset, load_pattern_avx2(scale), load_pattern_avx2(offset)};
  run_log_avx2(row, n, logf_is_known());
}

}  // namespace tavix::module

TAVIX_AVX2_END

namespace tavix::module {

bool is_known_logf(float (*library)(float)) {
  float x[kProbes], y[kProbes];
  probe_log_avx2(x, y);
  for (int32_t i = 0; i < kProbes; ++i)
    if (std::bit_cast<uint32_t>(library(x[i])) != std::bit_cast<uint32_t>(y[i])) return false;
  return true;
}

bool logf_is_known() {
  static const bool known = is_known_logf(logf);
  return known;
}

}  // namespace tavix::module
