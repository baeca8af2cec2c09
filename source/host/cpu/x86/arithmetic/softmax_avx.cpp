// SPDX-License-Identifier: Apache-2.0
// Softmax with AVX2. Lines along the last axis take the exponential of this folder and add in eight
// lanes; all others give the very bits of the portable implementation.
#include <cmath>

#include "common/frame_access.h"
#include "common/log.h"
#include "cpu/common_c/arithmetic/softmax.h"
#include "cpu/x86/arithmetic/library_math_avx2.h"
#include "cpu/x86/arithmetic/softmax_exp_avx2.h"
#include "cpu_dispatch/cpu_features.h"
#include "tavix/video_common_cpu/softmax.h"

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN
namespace tavix::module {

namespace {

constexpr int32_t kLanes = 8;

// Lane 0 of four is f over all eight lanes of v.
TAVIX_INLINE float max_lane_avx2(__m256 v) {
  const __m128 h = _mm_max_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  const __m128 q = _mm_max_ps(h, _mm_movehl_ps(h, h));
  return _mm_cvtss_f32(_mm_max_ss(q, _mm_movehdup_ps(q)));
}
TAVIX_INLINE float min_lane_avx2(__m256 v) {
  const __m256 sign = _mm256_set1_ps(-0.0f);
  return -max_lane_avx2(_mm256_xor_ps(v, sign));
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

// y = exp(x - max) of whole vectors; the sum of each lane.
template <bool normal>
TAVIX_INLINE __m256 exponentials_avx2(const float *x, float *y, int32_t whole, float max) {
  const __m256 m = _mm256_set1_ps(max);
  __m256 sum = _mm256_setzero_ps();
  for (int32_t k = 0; k < whole; k += kLanes) {
    const __m256 d = _mm256_sub_ps(_mm256_loadu_ps(x + k), m);
    const __m256 e = normal ? softmax_exp_normal_avx2(d) : softmax_exp_avx2(d);
    _mm256_storeu_ps(y + k, e);
    sum = _mm256_add_ps(sum, e);
  }
  return sum;
}

// A line of n contiguous values; y may be x.
void softmax_line_avx2(const float *x, float *y, int32_t n) {
  const int32_t whole = n / kLanes * kLanes, rest = n - whole;
  const Extent extent = extent_avx2(x, whole);
  float max = extent.max;
  for (int32_t k = whole; k < n; ++k) max = x[k] > max ? x[k] : max;

  // -80: where softmax_exp_normal_avx2 ends.
  float sum =
      add_lanes_avx2(extent.min - max >= -80.0f ? exponentials_avx2<true>(x, y, whole, max)
                                                : exponentials_avx2<false>(x, y, whole, max));
  float difference[kLanes] = {}, e[kLanes];
  for (int32_t k = 0; k < rest; ++k) difference[k] = x[whole + k] - max;
  if (rest > 0) expf_row_avx2(difference, e, kLanes);
  for (int32_t k = 0; k < rest; ++k) sum += y[whole + k] = e[k];

  const __m256 s = _mm256_set1_ps(sum);
  for (int32_t k = 0; k < whole; k += kLanes)
    _mm256_storeu_ps(y + k, _mm256_div_ps(_mm256_loadu_ps(y + k), s));
  for (int32_t k = whole; k < n; ++k) y[k] /= sum;
}

// The twin of softmax_panel_c: plain loops that the compiler vectorises around the exponential.
void softmax_panel_avx2(const float *x, float *y, int64_t stride, int32_t length, int32_t width) {
  constexpr int32_t kStrip = 1024;  // differences at a time, several elements of each line
  static_assert(kStrip >= kPanelLines);
  float max[kPanelLines], sum[kPanelLines], difference[kStrip], e[kStrip];
  for (int32_t i = 0; i < width; ++i) max[i] = x[i], sum[i] = 0.0f;
  for (int32_t k = 1; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) {
      const float v = x[k * stride + i];
      max[i] = v > max[i] ? v : max[i];
    }
  const int32_t rows = kStrip / width;
  for (int32_t k = 0; k < length; k += rows) {
    const int32_t count = length - k < rows ? length - k : rows;
    for (int32_t r = 0; r < count; ++r)
      for (int32_t i = 0; i < width; ++i)
        difference[r * width + i] = x[(k + r) * stride + i] - max[i];
    expf_row_avx2(difference, e, count * width);
    for (int32_t r = 0; r < count; ++r)
      for (int32_t i = 0; i < width; ++i) {
        y[(k + r) * stride + i] = e[r * width + i];
        sum[i] += e[r * width + i];
      }
  }
  for (int32_t k = 0; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) y[k * stride + i] /= sum[i];
}

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

namespace {

constexpr auto &kUnit = kArithmeticAvxUnit;

class SoftmaxBodyAVX final : public ParallelLoopBody {
 public:
  SoftmaxBodyAVX(const float *src, float *dst, const AxisShape &shape)
      : src_(src), dst_(dst), shape_(shape) {}

  void operator()(const Range &lines) const override {
    if (shape_.inner != 1) return for_each_panel(src_, dst_, shape_, lines, softmax_panel_avx2);
    for (int64_t i = lines.start; i < lines.end; ++i)
      softmax_line_avx2(src_ + i * shape_.length, dst_ + i * shape_.length, shape_.length);
  }

 private:
  const float *src_;
  float *dst_;
  AxisShape shape_;
};

}  // namespace

}  // namespace tavix::module

using namespace tavix::module;

int32_t TavixBlobSoftmaxAVX(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob) {
  TAVIX_REFUSE_IF(any_null(src_blob, dst_blob), TAVIX_ERROR_INVALID_PARAM,
                  "src_blob(%p) or dst_blob(%p) is null", src_blob, dst_blob);
  const int32_t dims = src_blob->dims_size;
  TAVIX_REFUSE_IF(dims != dst_blob->dims_size, TAVIX_ERROR_INVALID_PARAM,
                  "dims size mismatch: src=%d, dst=%d", dims, dst_blob->dims_size);
  const int32_t differing = differing_dim(*src_blob, *dst_blob);
  TAVIX_REFUSE_IF(differing >= 0, TAVIX_ERROR_INVALID_PARAM,
                  "dim[%d] value mismatch: src=%d, dst=%d", differing, src_blob->dims[differing],
                  dst_blob->dims[differing]);
  const int32_t real_axis = normalised_axis(*src_blob, axis);
  TAVIX_REFUSE_IF(real_axis < 0 || real_axis >= dims, TAVIX_ERROR_INVALID_PARAM,
                  "invalid axis: %d, dims size: %d", axis, dims);
  TAVIX_REFUSE_IF(
      src_blob->data_type != TAVIX_DATA_TYPE_FLOAT32 || dst_blob->data_type != src_blob->data_type,
      TAVIX_ERROR_UNSUPPORTED,
      "src blob data type %d or dst blob data type %d is not supported for AVX softmax",
      src_blob->data_type, dst_blob->data_type);
  const auto *src = static_cast<const float *>(TavixBufferDataGetV2(src_blob->buffer));
  auto *dst = static_cast<float *>(TavixBufferDataGetV2(dst_blob->buffer));
  if (any_null(src, dst)) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  TAVIX_REFUSE_IF(!use_avx2(), TAVIX_ERROR_UNSUPPORTED, "this processor has no AVX2");
  TAVIX_REFUSE_IF(dims > TAVIX_BLOB_MAX_DIMS, TAVIX_ERROR_INVALID_PARAM,
                  "dims size(%d) must not exceed %d", dims, TAVIX_BLOB_MAX_DIMS);
  const AxisShape shape = axis_shape(*src_blob, real_axis);
  const int32_t negative = negative_dim(*src_blob);
  TAVIX_REFUSE_IF(!shape.empty() && negative >= 0, TAVIX_ERROR_INVALID_PARAM,
                  "dim[%d] value(%d) must not be negative", negative, src_blob->dims[negative]);

  if (!shape.empty()) parallel_for_({0, shape.lines(), 1}, SoftmaxBodyAVX(src, dst, shape), -1.0);
  return TAVIX_OK;
}
