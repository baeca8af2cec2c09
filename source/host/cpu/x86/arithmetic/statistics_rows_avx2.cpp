// SPDX-License-Identifier: Apache-2.0
// Statistics with AVX2.
#include "cpu/common_c/arithmetic/statistics_rows.h"
#include "cpu/x86/arithmetic/statistics_extremes.h"

#include "cpu/x86/arithmetic/kernels_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module::avx2 {

namespace {

#include "cpu/x86/arithmetic/statistics_rows.inc"

// The lane-wise winner of sample v over extreme e; e stays where either is NaN.
TAVIX_INLINE __m256i winner(const MaxLanes<uint8_t> &, __m256i v, __m256i e) {
  return _mm256_max_epu8(v, e);
}
TAVIX_INLINE __m256i winner(const MinLanes<uint8_t> &, __m256i v, __m256i e) {
  return _mm256_min_epu8(v, e);
}
TAVIX_INLINE __m256i winner(const MaxLanes<float> &, __m256i v, __m256i e) {
  return _mm256_castps_si256(_mm256_max_ps(_mm256_castsi256_ps(v), _mm256_castsi256_ps(e)));
}
TAVIX_INLINE __m256i winner(const MinLanes<float> &, __m256i v, __m256i e) {
  return _mm256_castps_si256(_mm256_min_ps(_mm256_castsi256_ps(v), _mm256_castsi256_ps(e)));
}

// Two sets of lanes, even and odd blocks, hide the latency of the float comparisons.
template <class Lanes>
TAVIX_INLINE void accumulate_extremes(Lanes &lanes, const uint8_t *bytes, int64_t blocks) {
  __m256i *result = reinterpret_cast<__m256i *>(lanes.extreme);
  __m256i even[kVectors], odd[kVectors];
  for (int j = 0; j < kVectors; ++j) even[j] = odd[j] = _mm256_loadu_si256(result + j);
  for (; blocks >= 2; blocks -= 2, bytes += 2 * kStatBlock) {
    prefetch<2 * kStatBlock>(bytes);
    for (int j = 0; j < kVectors; ++j) {
      even[j] = winner(lanes, load_256(bytes + 32 * j), even[j]);
      odd[j] = winner(lanes, load_256(bytes + kStatBlock + 32 * j), odd[j]);
    }
  }
  for (int j = 0; j < kVectors; ++j) {
    if (blocks > 0) even[j] = winner(lanes, load_256(bytes + 32 * j), even[j]);
    _mm256_storeu_si256(result + j, winner(lanes, even[j], odd[j]));
  }
}

}  // namespace

void accumulate_extreme(MaxLanes<uint8_t> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extremes(lanes, bytes, blocks);
}
void accumulate_extreme(MaxLanes<float> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extremes(lanes, bytes, blocks);
}
void accumulate_extreme(MinLanes<uint8_t> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extremes(lanes, bytes, blocks);
}
void accumulate_extreme(MinLanes<float> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extremes(lanes, bytes, blocks);
}

}  // namespace tavix::module::avx2

TAVIX_AVX2_END

namespace tavix::module {

constinit const StatisticsRows kStatisticsRowsAvx2 = {
    avx2::accumulate_bytes,   avx2::accumulate_floats,  avx2::accumulate_bytes,
    avx2::accumulate_floats,  avx2::accumulate_extreme, avx2::accumulate_extreme,
    avx2::accumulate_extreme, avx2::accumulate_extreme};

}  // namespace tavix::module
