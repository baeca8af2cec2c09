// SPDX-License-Identifier: Apache-2.0
// The value is computed in double, far closer to the true one than the library's function comes.
// Rounded to float it is what the library returns, unless a midpoint of two floats lies within the
// library's own error of it: those rare lanes, and special values, are left to the library.
#include "cpu/x86/arithmetic/library_math_avx2.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

// Eight doubles as two vectors, lanes 0 to 3 and 4 to 7.
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

struct Log {
  static constexpr int kTogether = 1;
  static float library(float x) { return logf(x); }

  // base + log(1 + r) for -1/16 <= r <= 1/8, a minimax polynomial: absolute error below 2^-37.
  static TAVIX_INLINE __m256d add_near_one_avx2(__m256d base, __m256d r) {
    const __m256d r2 = r * r;
    const __m256d p2 = -0x1.ffffff520e0edp-2 + r * 0x1.5555471a21273p-2;
    const __m256d p4 = -0x1.0001f481e6e90p-2 + r * 0x1.99e717dcd48c2p-3;
    const __m256d p6 = -0x1.53c88578a6277p-3 + r * 0x1.e1e2081e4c5cdp-4;
    return (base + r) + r2 * p2 + (r2 * r2) * (p4 + r2 * p6);
  }

  // How far beyond a midpoint the library's error may carry it, by the binade of log(x): glibc's
  // logf over all floats, and a twentieth more. A library that errs less is covered too.
  static TAVIX_INLINE __m256i margins_avx2(__m256i high_words) {
    constexpr int32_t kFirstBinade = (1023 - 6) << 20;
    const __m256i margins =  // below 2^-5, six binades, from 2 on
        _mm256_setr_epi32(ulps(0.334), ulps(0.107), ulps(0.334), ulps(0.069), ulps(0.0140),
                          ulps(0.0399), ulps(0.0209), ulps(0.0102));
    const __m256i magnitude = _mm256_and_si256(high_words, _mm256_set1_epi32(INT32_MAX));
    const __m256i above = _mm256_sub_epi32(magnitude, _mm256_set1_epi32(kFirstBinade));
    const __m256i binade = _mm256_srli_epi32(_mm256_max_epi32(above, _mm256_setzero_si256()), 20);
    return _mm256_permutevar8x32_epi32(margins, _mm256_min_epi32(binade, _mm256_set1_epi32(7)));
  }

  // x = 2^k z with z in [11/16, 11/8), which is cut into eight intervals. Each has a 1/c whose
  // binary logarithm is a multiple of 2^-16 to within 2^-35 and for which r = z/c - 1 is small and,
  // as a double, exact: log(x) = (k + log2(c)) ln(2) + log(1 + r). Around 1, c is 1 and nothing
  // cancels.
  static TAVIX_INLINE void lanes_avx2(const __m256 (&v)[1], Lanes (&lanes)[1]) {
    const __m256 x = v[0];
    const __m256 inverse_c =
        _mm256_setr_ps(0x1.608076p+0f, 0x1.498c8ep+0f, 0x1.2f47b2p+0f, 0x1.1b4a1ep+0f, 1.0f, 1.0f,
                       0x1.adcaf6p-1f, 0x1.86390ap-1f);
    const __m256 log2_c = _mm256_setr_ps(-0x1.d89p-2f, -0x1.7518p-2f, -0x1.f4cp-3f, -0x1.2b48p-3f,
                                         0.0f, 0.0f, 0x1.029p-2f, 0x1.914p-2f);
    const __m256i bits = _mm256_castps_si256(x);
    const __m256i offset = _mm256_sub_epi32(bits, _mm256_set1_epi32(0x3F300000));  // 11/16
    const __m256i k = _mm256_srai_epi32(offset, 23);
    const __m256i interval = _mm256_srli_epi32(offset, 20);  // the lowest three bits count
    const __m256 z = _mm256_castsi256_ps(_mm256_sub_epi32(bits, _mm256_slli_epi32(k, 23)));

    const Double8 zd = widen_avx2(z);
    const Double8 inverse = widen_avx2(_mm256_permutevar8x32_ps(inverse_c, interval));
    const Double8 base =
        widen_avx2(_mm256_cvtepi32_ps(k) + _mm256_permutevar8x32_ps(log2_c, interval));
    const Double8 y = {
        add_near_one_avx2(base.low * std::numbers::ln2, zd.low * inverse.low - 1.0),
        add_near_one_avx2(base.high * std::numbers::ln2, zd.high * inverse.high - 1.0)};

    // Positive, normal and finite: one signed comparison of bits that start at the smallest.
    const __m256i from_normal = _mm256_sub_epi32(bits, _mm256_set1_epi32(0x00800000 + INT32_MIN));
    const __m256 normal = _mm256_castsi256_ps(
        _mm256_cmpgt_epi32(_mm256_set1_epi32(0x7F000000 + INT32_MIN), from_normal));
    const __m256 far = far_from_midpoint_avx2(low_words_avx2(y), margins_avx2(high_words_avx2(y)));
    lanes[0] = {narrow_avx2(y), _mm256_and_ps(normal, in_lane_order_avx2(far))};
  }
};

// So many vectors of x to y; the lanes that were not sure, a byte for each vector.
template <class Function, int n>
TAVIX_INLINE void run_vectors_avx2(const float *x, float *y, uint8_t *unsure) {
  __m256 v[n];
  Lanes lanes[n];
  TAVIX_EACH(n) v[i] = _mm256_loadu_ps(x + 8 * i);
  Function::lanes_avx2(v, lanes);
  TAVIX_EACH(n) {
    _mm256_storeu_ps(y + 8 * i, lanes[i].result);
    unsure[i] = uint8_t(~_mm256_movemask_ps(lanes[i].sure));
  }
}

#undef TAVIX_EACH

// A stretch of the row at a time: first all vectors, then the lanes that were not sure.
template <class Function>
TAVIX_INLINE void run_row_avx2(const float *x, float *y, int32_t n) {
  constexpr int32_t kWords = 16;
  constexpr int kTogether = Function::kTogether;
  int32_t i = 0;
  while (i <= n - 8) {
    const float *const from = x + i;
    float *const to = y + i;
    const int32_t vectors = std::min((n - i) / 8, 8 * kWords);
    uint64_t unsure[kWords] = {};
    uint8_t *const bytes = reinterpret_cast<uint8_t *>(unsure);
    int32_t v = 0;
    for (; v <= vectors - kTogether; v += kTogether)
      run_vectors_avx2<Function, kTogether>(from + 8 * v, to + 8 * v, bytes + v);
    for (; v < vectors; ++v) run_vectors_avx2<Function, 1>(from + 8 * v, to + 8 * v, bytes + v);
    for (int32_t word = 0; word < kWords; ++word) {
      for (uint64_t left = unsure[word]; left != 0; left &= left - 1) {
        const int32_t lane = 64 * word + __builtin_ctzll(left);
        to[lane] = Function::library(from[lane]);
      }
    }
    i += 8 * vectors;
  }
  for (; i < n; ++i) y[i] = Function::library(x[i]);
}

}  // namespace

void expf_row_avx2(const float *x, float *y, int32_t n) {
  run_row_avx2<Exp>(x, y, n);
}
void logf_row_avx2(const float *x, float *y, int32_t n) {
  run_row_avx2<Log>(x, y, n);
}

}  // namespace tavix::module

TAVIX_AVX2_END
