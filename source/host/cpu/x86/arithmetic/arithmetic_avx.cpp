// SPDX-License-Identifier: Apache-2.0
// The AVX entries of arithmetic, statistics and softmax, with checks of their own. Statistics run
// on any processor; the others refuse one that has no AVX2.
#include "common/blob_shape.h"
#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "cpu/common_c/arithmetic/arithmetic.h"
#include "cpu_dispatch/cpu_features.h"
#include "tavix/video_common_cpu/arithmetic.h"
#include "tavix/video_common_cpu/softmax.h"
#include "tavix/video_common_cpu/statistics.h"

using namespace tavix::module;

namespace {

constexpr auto &kUnit = kArithmeticAvxUnit;

// The last check of a call that has something to do.
int32_t check_processor(const LogOrigin &by) {
  TAVIX_REFUSE_AS_IF(by, !use_avx2(), TAVIX_ERROR_UNSUPPORTED, "the processor has no AVX2");
  return TAVIX_OK;
}

}  // namespace

int32_t TavixFrameBinaryArithmeticAVX(const TavixFrameV2 *src1_frame,
                                      const TavixFrameV2 *src2_frame, uint32_t op,
                                      const double *alpha, const double *beta, const double *gamma,
                                      TavixFrameV2 *dst_frame) {
  const BinaryJob job = {src1_frame, src2_frame, dst_frame, alpha, beta, gamma};
  TAVIX_RETURN_IF_REFUSED(check_binary(TAVIX_HERE(kUnit), false, job, op));
  if (!has_pixels(job.video())) return TAVIX_OK;
  TAVIX_RETURN_IF_REFUSED(check_processor(TAVIX_HERE(kUnit)));
  binary_rows()(job, op);
  return TAVIX_OK;
}

int32_t TavixFrameUnaryArithmeticAVX(const TavixFrameV2 *src, int32_t op, const double *scale,
                                     const double *offset, TavixFrameV2 *dst) {
  TAVIX_INVALID_IF(kUnit, any_null(src, dst), "src1_frame(%p) or dst_frame(%p) is null", src, dst);
  const TavixVideoInfo &a = src->video, &b = dst->video;
  TAVIX_INVALID_IF(kUnit, !same_shape(a, b),
                   "src1_frame(width=%d, height=%d, channels=%d, format=%d) and "
                   "dst_frame(width=%d, height=%d, channels=%d, format=%d) dimension mismatch",
                   a.width, a.height, a.channels, a.format, b.width, b.height, b.channels,
                   b.format);
  if (!is_rgb_family(a.format)) return TAVIX_ERROR_UNSUPPORTED;     // silent, on purpose
  if (op < 0 || op >= kUnaryOps) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  const UnaryJob job = {src, dst, scale, offset};
  TAVIX_RETURN_IF_REFUSED(check_unary_rows(TAVIX_HERE(kUnit), job));
  if (!has_pixels(a)) return TAVIX_OK;
  TAVIX_RETURN_IF_REFUSED(check_processor(TAVIX_HERE(kUnit)));
  unary_rows()(job, uint32_t(op));
  return TAVIX_OK;
}

int32_t TavixFrameStatisticalFunctionAVX(const TavixFrameV2 *src, int32_t op,
                                         TavixArray **dst_array) {
  TAVIX_INVALID_IF(kUnit, any_null(src, dst_array), "src_frame(%p) or dst_array(%p) is null", src,
                   dst_array);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(src->video.format), TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported pixel format: %d", src->video.format);
  return StatisticalFunctionOp(src, op, dst_array);
}

int32_t TavixBlobSoftmaxAVX(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob) {
  TAVIX_RETURN_IF_REFUSED(check_softmax_blobs(TAVIX_HERE(kUnit), src_blob, dst_blob));
  const int32_t real_axis = normalised_axis(*src_blob, axis);
  TAVIX_INVALID_IF(kUnit, !has_axis(*src_blob, real_axis), "invalid axis: %d, dims size: %d", axis,
                   src_blob->dims_size);
  TAVIX_REFUSE_IF(kUnit, !both_float(*src_blob, *dst_blob), TAVIX_ERROR_UNSUPPORTED,
                  "src blob data type %d or dst blob data type %d is not supported for AVX softmax",
                  src_blob->data_type, dst_blob->data_type);
  const auto *src = static_cast<const float *>(TavixBufferDataGetV2(src_blob->buffer));
  auto *dst = static_cast<float *>(TavixBufferDataGetV2(dst_blob->buffer));
  if (any_null(src, dst)) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  AxisShape shape;
  TAVIX_RETURN_IF_REFUSED(check_softmax_shape(TAVIX_HERE(kUnit), *src_blob, real_axis, shape));
  if (shape.empty()) return TAVIX_OK;
  TAVIX_RETURN_IF_REFUSED(check_processor(TAVIX_HERE(kUnit)));
  run_softmax(softmax_rows(), src, dst, shape);
  return TAVIX_OK;
}
