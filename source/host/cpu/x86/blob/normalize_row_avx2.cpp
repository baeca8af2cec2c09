// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/blob/normalize_row.h"

#include "cpu/x86/blob/element_lanes_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

#include "cpu/x86/blob/normalize_blocks.inc"

struct NormalizeLanesAvx2 {
  using Floats = __m256;
  static constexpr int kCount = 8;
  static constexpr bool kPrefetchesResults = true;

  static TAVIX_INLINE __m256 all(float v) { return _mm256_set1_ps(v); }
  static TAVIX_INLINE __m256 min(__m256 a, __m256 b) { return _mm256_min_ps(a, b); }
  static TAVIX_INLINE __m256i truncate(__m256 v) { return _mm256_cvttps_epi32(v); }

  template <class From>
  static TAVIX_INLINE __m256 load(const uint8_t *p) {
    return load_floats<From>(p);
  }
  static TAVIX_INLINE __m256 load(const float *p) { return load_8_floats(p); }
  static TAVIX_INLINE void store(uint8_t *p, __m256 v) { store_8_floats(p, v); }
  static TAVIX_INLINE void store_bytes(uint8_t *p, __m256i v) {
    store_64(p, _mm256_castsi256_si128(pack_clamped(v, v, v, v)));
  }
  static TAVIX_INLINE void store_bytes(uint8_t *p, __m256i a, __m256i b, __m256i c, __m256i d) {
    store_256(p, pack_clamped(a, b, c, d));
  }
};

}  // namespace

constinit const NormalizeRows kNormalizeRowsAvx2 =
    normalize_rows_of<NormalizeVectors<NormalizeLanesAvx2>>();

}  // namespace tavix::module

TAVIX_AVX2_END
