// SPDX-License-Identifier: Apache-2.0
// Rows of the C library's functions: whole vectors, and the library itself where a lane is not sure.
#include "cpu/x86/arithmetic/library_math_avx2.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "common/frame_access.h"
#include "cpu/x86/arithmetic/library_lanes_avx2.h"
#include "cpu/x86/arithmetic/row_blocks_avx2.h"
#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

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
  static constexpr float (*kLibrary)(float) = logf;

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
  static TAVIX_INLINE bool lanes_avx2(const __m256 (&x)[n], Lanes (&lanes)[n]) {
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

    __m256 all = _mm256_castsi256_ps(_mm256_set1_epi32(-1));
    TAVIX_EACH(n) {
      const Double8 y = {r[2 * i], r[2 * i + 1]};
      // Positive, normal and finite: one signed comparison of bits that start at the smallest.
      const __m256i from_normal =
          _mm256_sub_epi32(_mm256_castps_si256(x[i]), _mm256_set1_epi32(0x00800000 + INT32_MIN));
      const __m256 normal = _mm256_castsi256_ps(
          _mm256_cmpgt_epi32(_mm256_set1_epi32(0x7F000000 + INT32_MIN), from_normal));
      const __m256 far = far_from_midpoint_avx2(low_words_avx2(y), _mm256_set1_epi32(ulps(0.001)));
      lanes[i] = {in_lane_order_avx2(narrow_avx2(y)), _mm256_and_ps(normal, far)};
      all = _mm256_and_ps(all, lanes[i].sure);
    }
    return all_avx2(all);
  }
};

// What a row is made of: arguments and what becomes of the results. Vector j of a group of
// Function::kTogether has parameters of its own.
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
                         load_8_floats(src + 4 * int64_t(i)) * scales.lanes[j]);
  }
  TAVIX_INLINE float argument(int32_t i) const {
    const float v = load<float>(src, i) * scale[i % kBlockFloats];
    return v <= least ? least : v;
  }
  TAVIX_INLINE void finish(int32_t i, int j, __m256 result) const {
    store_8_floats(dst + 4 * int64_t(i), result + offsets.lanes[j]);
  }
  TAVIX_INLINE void finish(int32_t i, float result) const {
    store(dst, i, result + offset[i % kBlockFloats]);
  }
};

// So many vectors from element at of the row on, which are vectors j and after of a group.
template <class Function, int n, class Row>
TAVIX_INLINE void run_vectors_avx2(const Row &row, int32_t at, int j) {
  __m256 x[n], y[n];
  TAVIX_EACH(n) x[i] = row.argument(at + 8 * i, j + i);
  library_avx2<Function>(x, y);
  TAVIX_EACH(n) row.finish(at + 8 * i, j + i, y[i]);
}

template <class Function, class Row>
TAVIX_INLINE void run_row_avx2(const Row &row, int32_t n) {
  constexpr int32_t kTogether = Function::kTogether;
  int32_t i = 0;
  for (; i <= n - 8 * kTogether; i += 8 * kTogether)
    run_vectors_avx2<Function, kTogether>(row, i, 0);
  for (int j = 0; i <= n - 8; i += 8, ++j) run_vectors_avx2<Function, 1>(row, i, j);
  for (; i < n; ++i) row.finish(i, Function::kLibrary(row.argument(i)));
}

template <class Row>
void call_library(float (*library)(float), const Row &row, int32_t n) {
  for (int32_t i = 0; i < n; ++i) row.finish(i, library(row.argument(i)));
}

// The functions of the library that the vectors know, whatever library is at hand.
void known_expf_row_avx2(const float *x, float *y, int32_t n) {
  run_row_avx2<Exp>(PlainRow{x, y}, n);
}
void known_logf_row_avx2(const float *x, float *y, int32_t n) {
  run_row_avx2<Log>(PlainRow{x, y}, n);
}

}  // namespace

void expf_row_avx2(const float *x, float *y, int32_t n, const LibraryFunction &expf) {
  if (!expf.known) return call_library(expf.call, PlainRow{x, y}, n);
  known_expf_row_avx2(x, y, n);
}
void logf_row_avx2(const float *x, float *y, int32_t n, const LibraryFunction &logf) {
  if (!logf.known) return call_library(logf.call, PlainRow{x, y}, n);
  known_logf_row_avx2(x, y, n);
}
void scaled_logf_row_avx2(const uint8_t *src, uint8_t *dst, int32_t n, float least,
                          const float (&scale)[kBlockFloats], const float (&offset)[kBlockFloats],
                          const LibraryFunction &logf) {
  const ScaledRow row = {
      src, dst, least, scale, offset, load_pattern_avx2(scale), load_pattern_avx2(offset)};
  logf.known ? run_row_avx2<Log>(row, n) : call_library(logf.call, row, n);
}

}  // namespace tavix::module

TAVIX_AVX2_END

namespace tavix::module {

void ask_library(float (*library)(float), const float *x, float *y, uint64_t lanes) {
  for (; lanes != 0; lanes &= lanes - 1) {
    const int lane = std::countr_zero(lanes);
    y[lane] = library(x[lane]);
  }
}

namespace {

// A thousand arguments around a centre, closest together in the middle, where libraries differ
// most.
constexpr int32_t kProbes = 1024;

LibraryFunction examined(float (*call)(float), void (*known_row)(const float *, float *, int32_t),
                         float centre, float reach) {
  float x[kProbes], y[kProbes];
  for (int32_t i = 0; i < kProbes; ++i) {
    const float t = float(i - kProbes / 2) / (kProbes / 2);
    x[i] = centre + reach * t * t * t;
  }
  known_row(x, y, kProbes);
  for (int32_t i = 0; i < kProbes; ++i)
    if (std::bit_cast<uint32_t>(call(x[i])) != std::bit_cast<uint32_t>(y[i])) return {call, false};
  return {call, true};
}

}  // namespace

LibraryFunction examined_expf(float (*call)(float)) {
  return examined(call, known_expf_row_avx2, 0.0f, 80.0f);
}
LibraryFunction examined_logf(float (*call)(float)) {
  return examined(call, known_logf_row_avx2, 1.0f, 0.4f);
}

const LibraryFunction &library_expf() {
  static LibraryFunction function = examined_expf(expf);
  return function;
}
const LibraryFunction &library_logf() {
  static LibraryFunction function = examined_logf(logf);
  return function;
}

}  // namespace tavix::module
