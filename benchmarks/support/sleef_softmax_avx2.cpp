// SPDX-License-Identifier: Apache-2.0
#include "support/sleef_softmax_avx2.h"

#include <cmath>

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

// SLEEF's header declares it only to files that are compiled for AVX2 as a whole.
extern "C" __m256 Sleef_expf8_u10avx2(__m256 x);

namespace tavix::benchmarks {

namespace {

constexpr int32_t kLanes = 8;

TAVIX_INLINE float reduce(__m256 v, bool max) {
  alignas(32) float lanes[kLanes];
  _mm256_store_ps(lanes, v);
  float result = lanes[0];
  for (int i = 1; i < kLanes; ++i)
    result = max ? (lanes[i] > result ? lanes[i] : result) : result + lanes[i];
  return result;
}

}  // namespace

void sleef_softmax_lines_avx2(const float *x, float *y, int32_t length, int32_t lines) {
  const int32_t whole = length / kLanes * kLanes;
  for (; lines > 0; --lines, x += length, y += length) {
    __m256 maxima = _mm256_set1_ps(-INFINITY), sums = _mm256_setzero_ps();
    for (int32_t k = 0; k < whole; k += kLanes)
      maxima = _mm256_max_ps(maxima, _mm256_loadu_ps(x + k));
    float max = reduce(maxima, true);
    for (int32_t k = whole; k < length; ++k) max = x[k] > max ? x[k] : max;
    const __m256 m = _mm256_set1_ps(max);
    for (int32_t k = 0; k < whole; k += kLanes) {
      const __m256 e = Sleef_expf8_u10avx2(_mm256_sub_ps(_mm256_loadu_ps(x + k), m));
      _mm256_storeu_ps(y + k, e);
      sums = _mm256_add_ps(sums, e);
    }
    float sum = reduce(sums, false);
    for (int32_t k = whole; k < length; ++k) sum += y[k] = std::exp(x[k] - max);
    const __m256 s = _mm256_set1_ps(sum);
    for (int32_t k = 0; k < whole; k += kLanes)
      _mm256_storeu_ps(y + k, _mm256_div_ps(_mm256_loadu_ps(y + k), s));
    for (int32_t k = whole; k < length; ++k) y[k] /= sum;
  }
}

void sleef_softmax_columns_avx2(const float *x, float *y, int32_t length, int32_t lines) {
  constexpr int32_t kPanel = 256;
  for (int32_t first = 0; first < lines; first += kPanel) {
    alignas(32) float max[kPanel], sum[kPanel];
    const int32_t width = lines - first < kPanel ? lines - first : kPanel;
    const int32_t whole = width / kLanes * kLanes;
    for (int32_t k = 0; k < length; ++k) {
      const float *row = x + int64_t(k) * lines + first;
      for (int32_t i = 0; i < width; ++i) max[i] = k == 0 || row[i] > max[i] ? row[i] : max[i];
    }
    for (int32_t i = 0; i < width; ++i) sum[i] = 0.0f;
    for (int32_t k = 0; k < length; ++k) {
      const float *from = x + int64_t(k) * lines + first;
      float *to = y + int64_t(k) * lines + first;
      for (int32_t i = 0; i < whole; i += kLanes) {
        const __m256 e =
            Sleef_expf8_u10avx2(_mm256_sub_ps(_mm256_loadu_ps(from + i), _mm256_load_ps(max + i)));
        _mm256_storeu_ps(to + i, e);
        _mm256_store_ps(sum + i, _mm256_add_ps(_mm256_load_ps(sum + i), e));
      }
      for (int32_t i = whole; i < width; ++i) sum[i] += to[i] = std::exp(from[i] - max[i]);
    }
    for (int32_t k = 0; k < length; ++k) {
      float *row = y + int64_t(k) * lines + first;
      for (int32_t i = 0; i < width; ++i) row[i] /= sum[i];
    }
  }
}

}  // namespace tavix::benchmarks

TAVIX_AVX2_END
