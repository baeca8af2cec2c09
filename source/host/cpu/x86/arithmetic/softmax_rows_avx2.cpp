// SPDX-License-Identifier: Apache-2.0
// Softmax with AVX2. Lines along the last axis take the exponential of this folder and add in eight
// lanes; all others give the very bits of the portable implementation.
#include <cmath>
#include <cstring>

#include "cpu/common_c/arithmetic/softmax_rows.h"
#include "cpu/x86/arithmetic/library_lanes_avx2.h"
#include "cpu/x86/arithmetic/library_math_avx2.h"
#include "cpu/x86/arithmetic/softmax_exp_avx2.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN
namespace tavix::module {

namespace {

constexpr int32_t kLanes = 8;

TAVIX_INLINE float max_lane_avx2(__m256 v) {
  const __m128 h = _mm_max_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  const __m128 q = _mm_max_ps(h, _mm_movehl_ps(h, h));
  return _mm_cvtss_f32(_mm_max_ss(q, _mm_movehdup_ps(q)));
}
TAVIX_INLINE float min_lane_avx2(__m256 v) {
  return -max_lane_avx2(_mm256_xor_ps(v, _mm256_set1_ps(-0.0f)));
}

// Upper half plus lower half, then neighbours twice.
TAVIX_INLINE float add_lanes_avx2(__m256 v) {
  const __m128 h = _mm_add_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  const __m128 q = _mm_hadd_ps(h, h);
  return _mm_cvtss_f32(_mm_hadd_ps(q, q));
}

// The least and the greatest value of whole vectors, NaN left out.
struct Extent {
  float min, max;
};

TAVIX_INLINE Extent extent_avx2(const float *x, int32_t whole) {
  constexpr int kChains = 4;  // comparisons in flight
  __m256 max[kChains], min[kChains];
  for (int j = 0; j < kChains; ++j) {
    max[j] = _mm256_set1_ps(-INFINITY);
    min[j] = _mm256_set1_ps(INFINITY);
  }
  int32_t k = 0;
  for (; k + kChains * kLanes <= whole; k += kChains * kLanes)
    for (int j = 0; j < kChains; ++j) {
      const __m256 v = _mm256_loadu_ps(x + k + kLanes * j);
      max[j] = _mm256_max_ps(v, max[j]);
      min[j] = _mm256_min_ps(v, min[j]);
    }
  for (; k < whole; k += kLanes) {
    const __m256 v = _mm256_loadu_ps(x + k);
    max[0] = _mm256_max_ps(v, max[0]);
    min[0] = _mm256_min_ps(v, min[0]);
  }
  for (int j = 1; j < kChains; ++j) {
    max[0] = _mm256_max_ps(max[0], max[j]);
    min[0] = _mm256_min_ps(min[0], min[j]);
  }
  return {min_lane_avx2(min[0]), max_lane_avx2(max[0])};
}

TAVIX_INLINE void divide_avx2(float *y, __m256 sum) {
  _mm256_storeu_ps(y, _mm256_div_ps(_mm256_loadu_ps(y), sum));
}

// A line whose quotients are still to be taken.
struct Unfinished {
  float *y;
  float sum;
};

TAVIX_INLINE void finish_avx2(const Unfinished &line, int32_t n) {
  const __m256 divisor = _mm256_set1_ps(line.sum);
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) divide_avx2(line.y + k, divisor);
  for (; k < n; ++k) line.y[k] /= line.sum;
}

// y = exp(x - max) of some vectors, added to the sum of each lane in order. Takes the quotients of
// another line on the way: the divider works beside the multipliers.
template <bool normal, bool other, int vectors>
TAVIX_INLINE __m256 exponentials_of_avx2(const float *x, float *y, __m256 max, __m256 sum,
                                         float *line, __m256 divisor) {
  __m256 e[vectors];
  for (int i = 0; i < vectors; ++i) e[i] = _mm256_sub_ps(_mm256_loadu_ps(x + kLanes * i), max);
  normal ? softmax_exp_normal_avx2(e) : softmax_exp_avx2(e);
  for (int i = 0; i < vectors; ++i) {
    _mm256_storeu_ps(y + kLanes * i, e[i]);
    sum = _mm256_add_ps(sum, e[i]);
    if (other) divide_avx2(line + kLanes * i, divisor);
  }
  return sum;
}

template <bool normal, bool other>
TAVIX_INLINE __m256 exponentials_avx2(const float *x, float *y, int32_t whole, float max,
                                      const Unfinished &line) {
  constexpr int kVectors = 4;
  const int64_t next_line = int64_t(whole) * 4;  // bytes, roughly
  const __m256 m = _mm256_set1_ps(max), divisor = _mm256_set1_ps(line.sum);
  __m256 sum = _mm256_setzero_ps();
  int32_t k = 0;
  for (; k + kVectors * kLanes <= whole; k += kVectors * kLanes) {
    prefetch<4 * kVectors * kLanes>(x + k, next_line);
    prefetch<4 * kVectors * kLanes>(y + k, next_line);
    sum = exponentials_of_avx2<normal, other, kVectors>(x + k, y + k, m, sum,
                                                        other ? line.y + k : nullptr, divisor);
  }
  for (; k < whole; k += kLanes)
    sum = exponentials_of_avx2<normal, other, 1>(x + k, y + k, m, sum, other ? line.y + k : nullptr,
                                                 divisor);
  return sum;
}

template <bool other>
TAVIX_INLINE float sum_of_exponentials_avx2(const float *x, float *y, int32_t whole, Extent extent,
                                            const Unfinished &line) {
  // -80: where softmax_exp_normal_avx2 ends.
  return add_lanes_avx2(extent.min - extent.max >= -80.0f
                            ? exponentials_avx2<true, other>(x, y, whole, extent.max, line)
                            : exponentials_avx2<false, other>(x, y, whole, extent.max, line));
}

// Contiguous lines of n values; y may be x. Lines go in groups: what is left of them after whole
// vectors takes the library's exponential together, and the quotients of a group are taken while
// the next one's exponentials are.
void softmax_lines_avx2(const float *x, float *y, int32_t n, int32_t lines) {
  constexpr int32_t kMost = 32;  // lines of a group
  const int32_t whole = n / kLanes * kLanes, rest = n - whole;
  const int32_t most = n > 1024 / kMost ? (n > 1024 ? 1 : 1024 / n) : kMost;  // 4 KiB
  Unfinished groups[2][kMost];
  Unfinished *group = groups[0], *before = groups[1];
  int32_t unfinished = 0;  // lines of the group before

  for (int32_t first = 0, count; first < lines; first += count) {
    count = lines - first < most ? lines - first : most;
    float difference[kMost * kLanes], e[kMost * kLanes];
    for (int32_t l = 0; l < count; ++l) {
      const int64_t at = int64_t(first + l) * n;
      const float *const line = x + at;
      Extent extent = extent_avx2(line, whole);
      for (int32_t k = whole; k < n; ++k) extent.max = line[k] > extent.max ? line[k] : extent.max;
      for (int32_t k = 0; k < rest; ++k) difference[l * rest + k] = line[whole + k] - extent.max;
      group[l] = {y + at,
                  unfinished > 0
                      ? sum_of_exponentials_avx2<true>(line, y + at, whole, extent, before[l])
                      : sum_of_exponentials_avx2<false>(line, y + at, whole, extent, {})};
    }
    if (rest > 0) {
      expf_row_avx2(difference, e, count * rest);
      for (int32_t l = 0; l < count; ++l)
        for (int32_t k = 0; k < rest; ++k) group[l].sum += group[l].y[whole + k] = e[l * rest + k];
      for (int32_t l = 0; l < count && unfinished > 0; ++l)
        for (int32_t k = whole; k < n; ++k) before[l].y[k] /= before[l].sum;
    }
    for (int32_t l = count; l < unfinished; ++l) finish_avx2(before[l], n);
    Unfinished *const done = before;
    before = group, group = done;
    unfinished = count;
  }
  for (int32_t l = 0; l < unfinished; ++l) finish_avx2(before[l], n);
}

// y = expf(x - max) of some vectors, added to the sums.
template <int n>
TAVIX_INLINE void column_exponentials_avx2(const float *x, float *y, const float *max, float *sum) {
  __m256 e[n];
  TAVIX_EACH(n) e[i] = _mm256_loadu_ps(x + 8 * i) - _mm256_loadu_ps(max + 8 * i);
  library_avx2<Exp>(e, e);
  TAVIX_EACH(n) {
    _mm256_storeu_ps(y + 8 * i, e[i]);
    _mm256_storeu_ps(sum + 8 * i, _mm256_loadu_ps(sum + 8 * i) + e[i]);
  }
}

TAVIX_INLINE __m256i first_lanes_avx2(int32_t count) {
  return _mm256_cmpgt_epi32(_mm256_set1_epi32(count), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}

// The same of the first elements of a vector.
TAVIX_INLINE void first_exponentials_avx2(const float *x, float *y, const float *max, float *sum,
                                          int32_t count) {
  const __m256i chosen = first_lanes_avx2(count);
  __m256 e[1] = {_mm256_maskload_ps(x, chosen) - _mm256_maskload_ps(max, chosen)};
  library_avx2<Exp>(e, e);
  _mm256_maskstore_ps(y, chosen, e[0]);
  _mm256_maskstore_ps(sum, chosen, _mm256_maskload_ps(sum, chosen) + e[0]);
}

// All of fewer neighbouring lines than lanes: exponentials of values in a row, whatever their line.
// Maxima and sums take whole vectors, whose lanes beyond the lines nobody looks at.
void softmax_narrow_avx2(const float *x, float *y, int32_t length, int32_t width) {
  constexpr int32_t kTogether = 128;  // values of each line
  const __m256i chosen = first_lanes_avx2(width);
  const int64_t n = int64_t(length) * width;
  __m256 max = _mm256_maskload_ps(x, chosen), sum = _mm256_setzero_ps();
  const int64_t end = n - kLanes;  // of whole vectors
  int64_t i = width;
  for (; i <= end; i += width) max = _mm256_max_ps(_mm256_loadu_ps(x + i), max);
  for (; i < n; i += width) max = _mm256_max_ps(_mm256_maskload_ps(x + i, chosen), max);

  for (int64_t first = 0; first < n; first += kTogether * width) {
    const int32_t count = int32_t(n - first < kTogether * width ? n - first : kTogether * width);
    float difference[kTogether * kLanes], e[kTogether * kLanes];
    int32_t j = 0;
    for (; j < count && first + j <= end; j += width)
      _mm256_storeu_ps(difference + j, _mm256_loadu_ps(x + first + j) - max);
    for (; j < count; j += width)
      _mm256_storeu_ps(difference + j, _mm256_maskload_ps(x + first + j, chosen) - max);
    for (; j % kLanes != 0; ++j) difference[j] = 0;
    expf_row_avx2(difference, e, j);
    for (j = 0; j < count; j += width) sum += _mm256_loadu_ps(e + j);
    std::memcpy(y + first, e, size_t(count) * sizeof(float));
  }

  float sums[kLanes * kLanes];  // of so many values in a row
  for (int32_t j = 0; j < kLanes; ++j) _mm256_storeu_ps(sums + j * width, sum);
  for (i = 0; i <= n - kLanes * width; i += kLanes * width)
    for (int32_t j = 0; j < kLanes * width; j += kLanes)
      divide_avx2(y + i + j, _mm256_loadu_ps(sums + j));
  for (int32_t j = 0; i < n; ++i, ++j) y[i] /= sums[j];
}

// The twin of softmax_panel_c: plain loops that the compiler vectorises around the exponential.
void softmax_panel_avx2(const float *x, float *y, int64_t stride, int32_t length, int32_t width) {
  if (width < kLanes && width == stride) return softmax_narrow_avx2(x, y, length, width);
  if (!library_expf().known) return kSoftmaxRowsC.panel(x, y, stride, length, width);
  float max[kPanelLines], sum[kPanelLines];
  for (int32_t i = 0; i < width; ++i) max[i] = x[i], sum[i] = 0.0f;
  for (int32_t k = 1; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) {
      const float v = x[k * stride + i];
      max[i] = v > max[i] ? v : max[i];
    }
  for (int32_t k = 0; k < length; ++k) {
    const float *const from = x + k * stride;
    float *const to = y + k * stride;
    int32_t i = 0;
    for (; i <= width - 32; i += 32) {
      prefetch<128>(from + i, 4 * int64_t(width));  // the panel that follows
      prefetch<128>(to + i, 4 * int64_t(width));
      column_exponentials_avx2<4>(from + i, to + i, max + i, sum + i);
    }
    for (; i <= width - 8; i += 8) column_exponentials_avx2<1>(from + i, to + i, max + i, sum + i);
    if (i < width) first_exponentials_avx2(from + i, to + i, max + i, sum + i, width - i);
  }
  for (int32_t k = 0; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) y[k * stride + i] /= sum[i];
}

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

constinit const SoftmaxRows kSoftmaxRowsAvx2 = {.panel = softmax_panel_avx2,
                                                .lines = softmax_lines_avx2};

}  // namespace tavix::module
