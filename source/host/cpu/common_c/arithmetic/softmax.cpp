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

int32_t check_softmax_blobs(const char *unit, const char *function, const TavixBlob *src,
                            const TavixBlob *dst) {
  TAVIX_REFUSE_AS_IF(unit, function, any_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                     "src_blob(%p) or dst_blob(%p) is null", static_cast<const void *>(src),
                     static_cast<const void *>(dst));
  return check_same_dims(unit, function, *src, *dst);
}

int32_t check_softmax_shape(const char *unit, const char *function, const TavixBlob &src,
                            int32_t axis, AxisShape &shape) {
  TAVIX_REFUSE_AS_IF(unit, function, src.dims_size > TAVIX_BLOB_MAX_DIMS, TAVIX_ERROR_INVALID_PARAM,
                     "dims size(%d) must not exceed %d", src.dims_size, TAVIX_BLOB_MAX_DIMS);
  shape = axis_shape(src, axis);
  const int32_t i = negative_dim(src);
  TAVIX_REFUSE_AS_IF(unit, function, !shape.empty() && i >= 0, TAVIX_ERROR_INVALID_PARAM,
                     "dim[%d] value(%d) must not be negative", i, src.dims[i]);
  return TAVIX_OK;
}

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
  if (const int32_t status = check_softmax_blobs(kUnit, __func__, src_blob, dst_blob);
      status != TAVIX_OK)
    return status;
  const int32_t dims = src_blob->dims_size;
  const int32_t real_axis = normalised_axis(*src_blob, axis);
  TAVIX_REFUSE_IF(kUnit, real_axis < 0 || real_axis >= dims, TAVIX_ERROR_INVALID_PARAM,
                  "invalid axis: %d (real check %d in [0, %d))", axis, real_axis, dims);
  TAVIX_REFUSE_IF(
      kUnit,
      src_blob->data_type != TAVIX_DATA_TYPE_FLOAT32 || dst_blob->data_type != src_blob->data_type,
      TAVIX_ERROR_UNSUPPORTED,
      "src_blob->data_type(%d),dst_blob->data_type(%d). only float data type is "
      "supported",
      src_blob->data_type, dst_blob->data_type);
  TAVIX_REFUSE_IF(kUnit, any_null(src_blob->buffer, dst_blob->buffer), TAVIX_ERROR_INVALID_PARAM,
                  "src_blob->buffer(%p) or dst_blob->buffer(%p) is null", src_blob->buffer,
                  dst_blob->buffer);
  const auto *src = static_cast<const float *>(TavixBufferDataGetV2(src_blob->buffer));
  auto *dst = static_cast<float *>(TavixBufferDataGetV2(dst_blob->buffer));
  TAVIX_REFUSE_IF(kUnit, any_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src buffer data(%p) or dst buffer data(%p) is null", src, dst);
  AxisShape shape;
  if (const int32_t status = check_softmax_shape(kUnit, __func__, *src_blob, real_axis, shape);
      status != TAVIX_OK)
    return status;

  if (!shape.empty())
    parallel_for_({0, shape.lines(), 1}, SoftmaxBody<float>(src, dst, shape), -1.0);
  return TAVIX_OK;
}
