// SPDX-License-Identifier: Apache-2.0
// The portable entries of arithmetic, statistics and softmax, and the checks that the AVX entries
// share with them.
#include "cpu/common_c/arithmetic/arithmetic.h"

#include <algorithm>

#include "common/blob_shape.h"
#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "cpu/common_c/arithmetic/statistics_rows.h"
#include "tavix/video_common_cpu/arithmetic.h"
#include "tavix/video_common_cpu/softmax.h"
#include "tavix/video_common_cpu/statistics.h"

namespace tavix::module {

static constexpr auto &kUnit = kArithmeticUnit;

int32_t check_binary(const LogOrigin &by, bool tells_unsupported, const BinaryJob &job,
                     uint32_t op) {
  const auto &[src1_frame, src2_frame, dst_frame, alpha, beta, gamma] = job;
  TAVIX_INVALID_AS_IF(by, any_null(src1_frame, src2_frame, dst_frame),
                      "src1_frame = (%p) src2_frame = (%p) dst_frame = (%p) one or more input "
                      "frames are null",
                      src1_frame, src2_frame, dst_frame);
  const TavixVideoInfo &src1 = src1_frame->video, &src2 = src2_frame->video,
                       &dst = dst_frame->video;
  // The missing comma and the doubled parentheses belong to the texts.
  TAVIX_INVALID_AS_IF(by, !same_shape(src1, src2),
                      "src1_frame info (width=%d, height=%d, channels=%d, format=%d). src2_frame "
                      "info : (width=%d height=%d, channels=%d, format=%d))",
                      src1.width, src1.height, src1.channels, src1.format, src2.width, src2.height,
                      src2.channels, src2.format);
  TAVIX_INVALID_AS_IF(by, !same_shape(src1, dst),
                      "src1_frame info (width=%d, height=%d, channels=%d, format=%d). dst_frame "
                      "info : (width=%d, height=%d, channels=%d, format=%d))",
                      src1.width, src1.height, src1.channels, src1.format, dst.width, dst.height,
                      dst.channels, dst.format);
  const bool supported = is_rgb_family(src1.format);
  TAVIX_REFUSE_AS_IF(by, !supported && tells_unsupported, TAVIX_ERROR_UNSUPPORTED,
                     "Unsupported pixel format: %d", src1.format);
  if (!supported) return TAVIX_ERROR_UNSUPPORTED;          // silent, on purpose
  if (op >= kBinaryOps) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  TAVIX_INVALID_AS_IF(by, !is_empty(src1) && src1.channels > kMaxChannels,
                      "src1_frame channels(%d) must not exceed %d", src1.channels, kMaxChannels);
  TAVIX_RETURN_IF_REFUSED(check_row_elements(by, src1));
  TAVIX_INVALID_AS_IF(by, any_null(alpha, beta, gamma),
                      "alpha(%p), beta(%p) and gamma(%p) must not be nullptr", alpha, beta, gamma);
  TAVIX_INVALID_AS_IF(by, has_pixels(src1) && any_plane_null(src1_frame, src2_frame, dst_frame),
                      "src1_frame->data[0](%p), src2_frame->data[0](%p) and dst_frame->data[0](%p) "
                      "must not be nullptr",
                      src1_frame->data[0], src2_frame->data[0], dst_frame->data[0]);
  return TAVIX_OK;
}

int32_t check_unary_rows(const LogOrigin &by, const UnaryJob &job) {
  const TavixVideoInfo &video = job.video();
  TAVIX_INVALID_AS_IF(by, !is_empty(video) && video.channels > kMaxChannels,
                      "src channels(%d) must not exceed %d", video.channels, kMaxChannels);
  TAVIX_RETURN_IF_REFUSED(check_row_elements(by, video));
  TAVIX_INVALID_AS_IF(by, any_null(job.scale, job.offset),
                      "scale(%p) and offset(%p) must not be nullptr", job.scale, job.offset);
  TAVIX_INVALID_AS_IF(by, has_pixels(video) && any_plane_null(job.src, job.dst),
                      "src->data[0](%p) and dst->data[0](%p) must not be nullptr", job.src->data[0],
                      job.dst->data[0]);
  return TAVIX_OK;
}

int32_t check_softmax_blobs(const LogOrigin &by, const TavixBlob *src, const TavixBlob *dst) {
  TAVIX_INVALID_AS_IF(by, any_null(src, dst), "src_blob(%p) or dst_blob(%p) is null",
                      static_cast<const void *>(src), static_cast<const void *>(dst));
  return check_same_dims(by, *src, *dst);
}

int32_t check_softmax_shape(const LogOrigin &by, const TavixBlob &src, int32_t axis,
                            AxisShape &shape) {
  TAVIX_INVALID_AS_IF(by, src.dims_size > TAVIX_BLOB_MAX_DIMS, "dims size(%d) must not exceed %d",
                      src.dims_size, TAVIX_BLOB_MAX_DIMS);
  shape = axis_shape(src, axis);
  if (shape.empty()) return TAVIX_OK;
  for (int32_t i = 0; i < src.dims_size; ++i)
    TAVIX_INVALID_AS_IF(by, src.dims[i] < 0, "dim[%d] value(%d) must not be negative", i,
                        src.dims[i]);
  TAVIX_INVALID_AS_IF(by, shape.outer < 0 || shape.inner < 0,
                      "32-bit products outer(%d) and inner(%d) of the dimensions before and after "
                      "axis %d must not be negative",
                      shape.outer, shape.inner, axis);
  return TAVIX_OK;
}

int32_t StatisticalFunctionOp(const TavixFrameV2 *src, int32_t op, TavixArray **dst_array) {
  constexpr LogOrigin by = {kUnit, "tavix::module::StatisticalFunctionOp"};
  const int32_t channels = src->video.channels;
  TAVIX_INVALID_AS_IF(by, op < 0 || op >= kStatOps, "Invalid input: op(%d) is out of range", op);
  TAVIX_INVALID_AS_IF(by, channels > kMaxChannels, "src channels(%d) must not exceed %d", channels,
                      kMaxChannels);
  TAVIX_RETURN_IF_REFUSED(check_row_elements(by, src->video));
  TAVIX_INVALID_AS_IF(by, has_pixels(src->video) && any_plane_null(src),
                      "src->data[0](%p) must not be nullptr",
                      static_cast<const void *>(src->data[0]));
  TavixArray *array = *dst_array;
  TAVIX_INVALID_AS_IF(
      by, array != nullptr && std::min(channels, array->count) > 0 && any_null(array->elements),
      "dst_array elements(%p) must not be nullptr", static_cast<const void *>(array->elements));

  const ChannelResults results = statistic_of(*src, op);

  if (array == nullptr) {
    array = TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, channels);
    TAVIX_REFUSE_AS_IF(by, array == nullptr, TAVIX_ERROR_MEMORY, "Failed to allocate dst_array");
    *dst_array = array;
  }
  for (int32_t i = 0; i < std::min(channels, array->count); ++i)
    array->elements[i] = {TAVIX_ARRAY_TYPE_DOUBLE, results[i]};
  array->count = channels;  // whatever it was: elements beyond the old count are not written
  return TAVIX_OK;
}

}  // namespace tavix::module

using namespace tavix::module;

int32_t TavixFrameBinaryArithmeticCommonC(const TavixFrameV2 *src1_frame,
                                          const TavixFrameV2 *src2_frame, uint32_t op,
                                          const double *alpha, const double *beta,
                                          const double *gamma, TavixFrameV2 *dst_frame) {
  const BinaryJob job = {src1_frame, src2_frame, dst_frame, alpha, beta, gamma};
  TAVIX_RETURN_IF_REFUSED(check_binary(TAVIX_HERE(kUnit), true, job, op));
  if (has_pixels(job.video())) kBinaryRowsC(job, op);
  return TAVIX_OK;
}

int32_t TavixFrameUnaryArithmeticCommonC(const TavixFrameV2 *src, int32_t op, const double *scale,
                                         const double *offset, TavixFrameV2 *dst) {
  TAVIX_INVALID_IF(kUnit, any_null(src, dst), "src:%p or dst:%p is nullptr", src, dst);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src, dst),
                   "src->data[0](%p) or dst->data[0](%p) pointers null", src->data[0],
                   dst->data[0]);
  const TavixVideoInfo &a = src->video, &b = dst->video;
  TAVIX_INVALID_IF(kUnit, !same_shape(a, b),
                   "src(width=%d, height=%d, channels=%d, format=%d) dst(width=%d, height=%d, "
                   "channels=%d, format=%d) frame info mismatch",
                   a.width, a.height, a.channels, a.format, b.width, b.height, b.channels,
                   b.format);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(a.format), TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported pixel format: %d", a.format);
  if (op < 0 || op >= kUnaryOps) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  const UnaryJob job = {src, dst, scale, offset};
  TAVIX_RETURN_IF_REFUSED(check_unary_rows(TAVIX_HERE(kUnit), job));
  if (has_pixels(a)) kUnaryRowsC(job, uint32_t(op));
  return TAVIX_OK;
}

int32_t TavixFrameStatisticalFunctionCommonC(const TavixFrameV2 *src, int32_t op,
                                             TavixArray **dst_array) {
  TAVIX_INVALID_IF(kUnit, any_null(src, dst_array), "src:%p or dst_array:%p is nullptr", src,
                   dst_array);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src), "src->data[0](%p) is nullptr", src->data[0]);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(src->video.format), TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported pixel format: %d", src->video.format);
  return StatisticalFunctionOp(src, op, dst_array);
}

int32_t TavixBlobSoftmaxCommonC(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob) {
  TAVIX_RETURN_IF_REFUSED(check_softmax_blobs(TAVIX_HERE(kUnit), src_blob, dst_blob));
  const int32_t real_axis = normalised_axis(*src_blob, axis);
  TAVIX_INVALID_IF(kUnit, !has_axis(*src_blob, real_axis),
                   "invalid axis: %d (real check %d in [0, %d))", axis, real_axis,
                   src_blob->dims_size);
  TAVIX_REFUSE_IF(kUnit, !both_float(*src_blob, *dst_blob), TAVIX_ERROR_UNSUPPORTED,
                  "src_blob->data_type(%d),dst_blob->data_type(%d). only float data type is "
                  "supported",
                  src_blob->data_type, dst_blob->data_type);
  TAVIX_INVALID_IF(kUnit, any_null(src_blob->buffer, dst_blob->buffer),
                   "src_blob->buffer(%p) or dst_blob->buffer(%p) is null", src_blob->buffer,
                   dst_blob->buffer);
  const auto *src = static_cast<const float *>(TavixBufferDataGetV2(src_blob->buffer));
  auto *dst = static_cast<float *>(TavixBufferDataGetV2(dst_blob->buffer));
  TAVIX_INVALID_IF(kUnit, any_null(src, dst), "src buffer data(%p) or dst buffer data(%p) is null",
                   src, dst);
  AxisShape shape;
  TAVIX_RETURN_IF_REFUSED(check_softmax_shape(TAVIX_HERE(kUnit), *src_blob, real_axis, shape));
  if (!shape.empty()) run_softmax(kSoftmaxRowsC, src, dst, shape);
  return TAVIX_OK;
}
