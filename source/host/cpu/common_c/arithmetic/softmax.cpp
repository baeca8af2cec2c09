// SPDX-License-Identifier: Apache-2.0
// Portable softmax. Every line by itself: its maximum, the sum of the exponentials in order, their
// quotients. An exponential is kept where it would be computed twice.
#include "cpu/common_c/arithmetic/softmax.h"

#include <cmath>

#include "common/frame_access.h"
#include "common/log.h"
#include "tavix/video_common_cpu/softmax.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kArithmeticUnit;

template <class T>
class SoftmaxBody final : public ParallelLoopBody {
 public:
  SoftmaxBody(const T *src, T *dst, const AxisShape &shape) : src_(src), dst_(dst), shape_(shape) {}

  void operator()(const Range &lines) const override {
    for_each_panel(src_, dst_, shape_, lines, softmax_panel_c);
  }

 private:
  const T *src_;
  T *dst_;
  AxisShape shape_;
};

}  // namespace

void softmax_panel_c(const float *x, float *y, int64_t stride, int32_t length, int32_t width) {
  float max[kPanelLines], sum[kPanelLines];
  std::copy_n(x, width, max);
  std::fill_n(sum, width, 0.0f);
  for (int32_t k = 1; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) {
      const float v = x[k * stride + i];
      max[i] = v > max[i] ? v : max[i];
    }
  for (int32_t k = 0; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) {
      const float e = std::exp(x[k * stride + i] - max[i]);
      y[k * stride + i] = e;
      sum[i] += e;
    }
  for (int32_t k = 0; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) y[k * stride + i] /= sum[i];
}

}  // namespace tavix::module

using namespace tavix::module;

int32_t TavixBlobSoftmaxCommonC(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob) {
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
                  "invalid axis: %d (real check %d in [0, %d))", axis, real_axis, dims);
  TAVIX_REFUSE_IF(
      src_blob->data_type != TAVIX_DATA_TYPE_FLOAT32 || dst_blob->data_type != src_blob->data_type,
      TAVIX_ERROR_UNSUPPORTED,
      "src_blob->data_type(%d),dst_blob->data_type(%d). only float data type is "
      "supported",
      src_blob->data_type, dst_blob->data_type);
  TAVIX_REFUSE_IF(any_null(src_blob->buffer, dst_blob->buffer), TAVIX_ERROR_INVALID_PARAM,
                  "src_blob->buffer(%p) or dst_blob->buffer(%p) is null", src_blob->buffer,
                  dst_blob->buffer);
  const auto *src = static_cast<const float *>(TavixBufferDataGetV2(src_blob->buffer));
  auto *dst = static_cast<float *>(TavixBufferDataGetV2(dst_blob->buffer));
  TAVIX_REFUSE_IF(any_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src buffer data(%p) or dst buffer data(%p) is null", src, dst);
  TAVIX_REFUSE_IF(dims > TAVIX_BLOB_MAX_DIMS, TAVIX_ERROR_INVALID_PARAM,
                  "dims size(%d) must not exceed %d", dims, TAVIX_BLOB_MAX_DIMS);
  const AxisShape shape = axis_shape(*src_blob, real_axis);
  const int32_t negative = negative_dim(*src_blob);
  TAVIX_REFUSE_IF(!shape.empty() && negative >= 0, TAVIX_ERROR_INVALID_PARAM,
                  "dim[%d] value(%d) must not be negative", negative, src_blob->dims[negative]);

  if (!shape.empty())
    parallel_for_({0, shape.lines(), 1}, SoftmaxBody<float>(src, dst, shape), -1.0);
  return TAVIX_OK;
}
